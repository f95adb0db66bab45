#include "StatusBar.h"

#include <QAction>
#include <QMenu>

#include <gtest/gtest.h>

#include <thread>

#include "GuiWait.h"
#include "RecordingWindow.h"

namespace {

class StatusBarTest : public ::testing::Test {
protected:
    StatusBarTest() { window.resize(500, 300); }

    RecordingWindow window;
    StatusBar* bar = new StatusBar(&window, "Idle.");
};

}  // namespace

TEST_F(StatusBarTest, TheHistoryHoldsEachDirectoryOnceAndPostsTheOneChosen) {
    bar->AddEntryInMenu("/home/R&D");
    bar->AddEntryInMenu("/tmp");
    bar->AddEntryInMenu("/home/R&D");
    const QList<QAction*> items = bar->HistoryMenu()->actions();
    ASSERT_EQ(items.size(), 2);
    items[0]->trigger();
    ASSERT_TRUE(WaitUntil([&] { return window.Received().size() == 1; }));
    EXPECT_EQ(window.Received().front().what, 38u);
    EXPECT_EQ(window.Received().front().FindString("prompt"), "/home/R&D");
    EXPECT_TRUE(items[0]->isChecked()) << "the menu marks the choice";
}

TEST_F(StatusBarTest, WorkersMaySetTheTextAndAddDirectories) {
    std::thread([&] {
        bar->SetText("3 File(s), 1 Directory(s) fetched...");
        bar->AddEntryInMenu("/incoming");
    }).join();
    EXPECT_EQ(bar->Text(), "3 File(s), 1 Directory(s) fetched...");
    ASSERT_TRUE(WaitUntil([&] { return bar->HistoryMenu()->actions().size() == 1; }));
    EXPECT_EQ(bar->HistoryMenu()->actions().at(0)->data().toString(), "/incoming");
    bar->SetText(nullptr);
    EXPECT_FALSE(bar->HasText());
}
