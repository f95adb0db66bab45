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
    StatusBarTest() : bar(new StatusBar(&window, "Idle.")) { window.resize(500, 300); }

    RecordingWindow window;
    StatusBar* bar;
};

}  // namespace

TEST_F(StatusBarTest, KeepsOneHistoryItemPerDirectory) {
    bar->AddEntryInMenu("/pub");
    bar->AddEntryInMenu("/pub/linux");
    bar->AddEntryInMenu("/pub");
    const QList<QAction*> items = bar->HistoryMenu()->actions();
    ASSERT_EQ(items.size(), 2);
    EXPECT_EQ(items[0]->text(), QStringLiteral("/pub"));
    EXPECT_EQ(items[1]->text(), QStringLiteral("/pub/linux"));
}

TEST_F(StatusBarTest, AHistoryItemPostsChangeDirectoryWithItsPath) {
    // "&" is kept in the path even though a menu would read it as a mnemonic.
    bar->AddEntryInMenu("/home/R&D");
    bar->AddEntryInMenu("/tmp");
    bar->HistoryMenu()->actions().at(0)->trigger();
    ASSERT_TRUE(WaitUntil([&] { return window.Received().size() == 1; }));
    const Message& message = window.Received().front();
    EXPECT_EQ(message.what, 38u);
    EXPECT_EQ(message.FindString("prompt"), "/home/R&D");
    EXPECT_TRUE(bar->HistoryMenu()->actions().at(0)->isChecked()) << "the menu marks the choice";
}

TEST_F(StatusBarTest, WorkersMaySetTheTextAndAddDirectories) {
    std::thread worker([&] {
        bar->SetText("3 File(s), 1 Directory(s) fetched...");
        bar->AddEntryInMenu("/incoming");
    });
    worker.join();
    EXPECT_EQ(bar->Text(), "3 File(s), 1 Directory(s) fetched...");
    ASSERT_TRUE(WaitUntil([&] { return bar->HistoryMenu()->actions().size() == 1; }));
    EXPECT_EQ(bar->HistoryMenu()->actions().at(0)->data().toString(), QStringLiteral("/incoming"));
}

TEST_F(StatusBarTest, ANullTextLeavesTheBarWithoutText) {
    EXPECT_TRUE(bar->HasText());
    EXPECT_EQ(bar->Text(), "Idle.");
    bar->SetText(nullptr);
    EXPECT_FALSE(bar->HasText());
    EXPECT_EQ(bar->Text(), "");
    bar->SetText("");
    EXPECT_TRUE(bar->HasText());
}

TEST_F(StatusBarTest, FollowsTheBottomEdgeLeavingTheResizeCorner) {
    EXPECT_EQ(bar->objectName(), QStringLiteral("StatusBar"));
    window.show();
    EXPECT_EQ(bar->geometry(), QRect(0, 300 - 14, 500 - 14, 14));
    window.resize(640, 480);
    EXPECT_EQ(bar->geometry(), QRect(0, 480 - 14, 640 - 14, 14));
}
