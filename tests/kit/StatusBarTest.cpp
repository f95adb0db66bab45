#include "StatusBar.h"

#include <QAction>
#include <QMenu>

#include <gtest/gtest.h>

#include <thread>

#include "GuiWait.h"
#include "RecordingWindow.h"

// The history holds each directory once, takes them from workers too, and a choice from it asks
// the window to go there.
TEST(StatusBarTest, TheHistoryHoldsEachDirectoryOnceAndPostsTheOneChosen) {
    RecordingWindow window;
    auto* bar = new StatusBar(&window, "Idle.");
    std::thread([&] {
        bar->SetText("3 File(s), 1 Directory(s) fetched...");
        bar->AddEntryInMenu("/home/R&D");
        bar->AddEntryInMenu("/tmp");
        bar->AddEntryInMenu("/home/R&D");
    }).join();
    EXPECT_EQ(bar->Text(), "3 File(s), 1 Directory(s) fetched...");
    ASSERT_TRUE(WaitUntil([&] { return bar->HistoryMenu()->actions().size() == 2; }));
    Settle();
    const QList<QAction*> items = bar->HistoryMenu()->actions();
    ASSERT_EQ(items.size(), 2);
    items[0]->trigger();
    ASSERT_TRUE(WaitUntil([&] { return window.Received().size() == 1; }));
    EXPECT_EQ(window.Received().front().what, 38u);  // the session window's change of directory
    EXPECT_EQ(window.Received().front().FindString("prompt"), "/home/R&D");
    EXPECT_TRUE(items[0]->isChecked()) << "the menu marks the choice";
}
