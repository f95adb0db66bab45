#include "MessageHandler.h"

#include <QThread>

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

#include "GuiWait.h"
#include "RecordingWindow.h"

TEST(MessageHandlerTest, MessagesFromWorkersArriveOnTheWindowsThreadInTheOrderPosted) {
    RecordingWindow window;
    bool onWindowThread = true;
    window.onMessage = [&](const Message&) {
        onWindowThread = onWindowThread && QThread::currentThread() == window.thread();
    };
    constexpr int kPerThread = 200;
    std::vector<std::thread> workers;
    for (int sender = 0; sender < 3; ++sender) {
        workers.emplace_back([&window, sender] {
            for (int index = 0; index < kPerThread; ++index) {
                window.PostMessage(Message(7).AddInt32("sender", sender).AddInt32("index", index));
            }
        });
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    ASSERT_TRUE(WaitUntil([&] { return window.Received().size() == 3 * kPerThread; }));
    EXPECT_TRUE(onWindowThread);
    std::vector<int> next(3, 0);
    for (const Message& message : window.Received()) {
        const int sender = *message.FindInt32("sender");
        EXPECT_EQ(message.FindInt32("index"), next[sender]) << "sender " << sender;
        ++next[sender];
    }
}

TEST(MessageHandlerTest, AMessageToAWindowDeletedFirstIsDropped) {
    auto window = std::make_unique<RecordingWindow>();
    bool received = false;
    window->onMessage = [&](const Message&) { received = true; };
    window->PostMessage(Message(43));
    window.reset();
    Settle();
    EXPECT_FALSE(received);
}
