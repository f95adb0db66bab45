#include "LogWindow.h"

#include <QAction>
#include <QListView>
#include <QMenu>
#include <QMenuBar>

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "GuiWait.h"
#include "RecordingWindow.h"

namespace {

QAction* MenuItem(LogWindow& log, const QString& text) {
    for (QAction* menu : log.findChild<QMenuBar*>(QStringLiteral("menuLOG"))->actions()) {
        for (QAction* item : menu->menu()->actions()) {
            if (item->text() == text) {
                return item;
            }
        }
    }
    return nullptr;
}

class LogWindowTest : public ::testing::Test {
protected:
    LogWindowTest() : log(new LogWindow("FTP Log: ftp.example.org", &session)) {
        // As the session window does: 43 shows or hides its log window.
        session.onMessage = [this](const Message& message) {
            if (message.what == 43) {
                log->setVisible(!log->isVisible());
            }
        };
        session.show();
    }

    RecordingWindow session;
    LogWindow* log;
};

}  // namespace

TEST_F(LogWindowTest, IsAHiddenFloatingWindowWithTheLogMenu) {
    EXPECT_FALSE(log->isVisible());
    EXPECT_EQ(log->windowTitle(), QStringLiteral("FTP Log: ftp.example.org"));
    EXPECT_EQ(log->windowType(), Qt::Tool) << "floats above its session window";
    EXPECT_EQ(log->parentWidget(), &session);
    ASSERT_NE(MenuItem(*log, "Clear log"), nullptr);
    ASSERT_NE(MenuItem(*log, "Close"), nullptr);
    EXPECT_EQ(MenuItem(*log, "Clear log")->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_L));
    EXPECT_EQ(MenuItem(*log, "Close")->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_W));
}

TEST_F(LogWindowTest, CloseOnlyHidesItAndTellsTheOwner) {
    log->show();
    log->AddLine("220 Welcome");
    ASSERT_TRUE(WaitUntil([&] { return log->LineCount() == 1; }));

    MenuItem(*log, "Close")->trigger();
    ASSERT_TRUE(WaitUntil([&] { return !session.Received().empty(); }));
    EXPECT_EQ(session.Codes(), std::vector<std::uint32_t>{43});
    EXPECT_FALSE(log->isVisible());
    EXPECT_EQ(log->LineCount(), 1) << "still alive, lines kept";

    // Closing a hidden log window says nothing.
    EXPECT_FALSE(log->close());
    Settle();
    EXPECT_EQ(session.Received().size(), 1u);

    log->SetQuitAllowed(true);
    log->show();
    EXPECT_TRUE(log->close()) << "the owner going away lets it close";
}

TEST_F(LogWindowTest, WithoutAnOwnerCloseHidesItself) {
    LogWindow alone("FTP Log", nullptr);
    alone.show();
    EXPECT_FALSE(alone.close());
    EXPECT_FALSE(alone.isVisible());
}

TEST_F(LogWindowTest, ClearLogEmptiesItAndANullLineAddsNothing) {
    log->AddLine("USER anonymous");
    log->AddLine(static_cast<const char*>(nullptr));
    log->AddLine("331 Please specify the password.");
    ASSERT_TRUE(WaitUntil([&] { return log->LineCount() == 2; }));
    Settle();
    EXPECT_EQ(log->LineCount(), 2);

    MenuItem(*log, "Clear log")->trigger();
    ASSERT_TRUE(WaitUntil([&] { return log->LineCount() == 0; }));
    MenuItem(*log, "Clear log")->trigger();
    Settle();
    EXPECT_EQ(log->LineCount(), 0);
    log->AddLine("PWD");
    ASSERT_TRUE(WaitUntil([&] { return log->LineCount() == 1; }));
    EXPECT_EQ(log->LineAt(0), "PWD");
}

TEST_F(LogWindowTest, LinesFromWorkersArriveInOrderWithTheLastOneSelected) {
    constexpr int kPerThread = 500;
    std::vector<std::thread> workers;
    for (int worker = 0; worker < 2; ++worker) {
        workers.emplace_back([this, worker] {
            for (int index = 0; index < kPerThread; ++index) {
                log->AddLine(std::to_string(worker) + ":" + std::to_string(index));
            }
        });
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    ASSERT_TRUE(WaitUntil([&] { return log->LineCount() == 2 * kPerThread; }));
    std::vector<int> next(2, 0);
    for (int row = 0; row < log->LineCount(); ++row) {
        const std::string line = log->LineAt(row);
        const int worker = line[0] - '0';
        EXPECT_EQ(line.substr(2), std::to_string(next[worker]++));
    }
    EXPECT_EQ(log->List()->currentIndex().row(), 2 * kPerThread - 1);
    EXPECT_EQ(log->List()->palette().color(QPalette::Text), QColor(150, 0, 0));
}
