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

class LogWindowTest : public ::testing::Test {
protected:
    LogWindowTest() {
        // As the session window does: 43 shows or hides its log window.
        session.onMessage = [this](const Message& message) {
            if (message.what == 43) {
                log->setVisible(!log->isVisible());
            }
        };
        session.show();
    }

    QAction* MenuItem(const QString& text) {
        for (QAction* menu : log->findChild<QMenuBar*>()->actions()) {
            for (QAction* item : menu->menu()->actions()) {
                if (item->text().remove('&') == text) {
                    return item;
                }
            }
        }
        ADD_FAILURE() << "no menu item " << text.toStdString();
        return new QAction(log);
    }

    RecordingWindow session;
    LogWindow* log = new LogWindow("FTP Log: ftp.example.org", &session);
};

}  // namespace

TEST_F(LogWindowTest, ClearEmptiesItAndClosingOnlyHidesIt) {
    EXPECT_FALSE(log->isVisible());
    log->show();
    log->AddLine("USER anonymous");
    log->AddLine("331 Please specify the password.");
    ASSERT_TRUE(WaitUntil([&] { return log->LineCount() == 2; }));
    MenuItem("Clear log")->trigger();
    ASSERT_TRUE(WaitUntil([&] { return log->LineCount() == 0; }));
    log->AddLine("220 Welcome");
    ASSERT_TRUE(WaitUntil([&] { return log->LineCount() == 1; }));
    EXPECT_EQ(log->LineAt(0), "220 Welcome");

    MenuItem("Close")->trigger();
    ASSERT_TRUE(WaitUntil([&] { return !session.Received().empty(); }));
    EXPECT_EQ(session.Codes(), std::vector<std::uint32_t>{43}) << "the owner is told";
    EXPECT_FALSE(log->isVisible());
    EXPECT_EQ(log->LineCount(), 1) << "still alive, lines kept";
    EXPECT_FALSE(log->close());
    Settle();
    EXPECT_EQ(session.Received().size(), 1u) << "closing a hidden log window says nothing";

    log->SetQuitAllowed(true);
    log->show();
    EXPECT_TRUE(log->close()) << "the owner going away lets it close";

    LogWindow alone("FTP Log", nullptr);
    alone.show();
    EXPECT_FALSE(alone.close());
    EXPECT_FALSE(alone.isVisible());
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
        EXPECT_EQ(line.substr(2), std::to_string(next[line[0] - '0']++));
    }
    EXPECT_EQ(log->List()->currentIndex().row(), 2 * kPerThread - 1);
}
