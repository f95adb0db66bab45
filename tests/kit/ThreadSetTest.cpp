#include "ThreadSet.h"

#include <QObject>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <memory>
#include <string>

#include "GuiWait.h"

TEST(ThreadSetTest, WhenIdleWaitsForTheLastWorkerOnItsContextsThreadUnlessTheContextIsGone) {
    QObject context;
    ThreadSet threads;
    int idle = 0;
    threads.WhenIdle(&context, [&] { ++idle; });
    EXPECT_EQ(idle, 1) << "no worker: at once";

    std::latch release(1);
    threads.Spawn("ThreadOUT", [&] { release.wait(); });
    threads.Spawn("ThreadIN", [&] { release.wait(); });
    bool onContextThread = false;
    threads.WhenIdle(&context, [&] {
        ++idle;
        onContextThread = QThread::currentThread() == context.thread();
    });
    auto gone = std::make_unique<QObject>();
    bool ranForGone = false;
    threads.WhenIdle(gone.get(), [&] { ranForGone = true; });
    gone.reset();
    Settle();
    EXPECT_EQ(idle, 1) << "workers are still running";

    release.count_down();
    ASSERT_TRUE(WaitUntil([&] { return idle == 2; }));
    EXPECT_TRUE(onContextThread);
    Settle();
    EXPECT_EQ(idle, 2);
    EXPECT_FALSE(ranForGone);
}

TEST(ThreadSetTest, TheSetMayBeDeletedAsSoonAsTheLastWorkerHasReported) {
    // The worker's captures die while the window, and its set, are already being deleted.
    struct Window : QObject {
        ThreadSet threads;
    };
    auto window = std::make_unique<Window>();
    auto capture = std::make_shared<int>(0);
    std::weak_ptr<int> watch = capture;
    std::latch release(1);
    window->threads.Spawn("ThreadCDDISTANT", [&release, capture] { release.wait(); });
    capture.reset();
    bool captureGoneFirst = false;
    window->threads.WhenIdle(window.get(), [&] {
        captureGoneFirst = watch.expired();
        window.reset();
    });
    release.count_down();
    ASSERT_TRUE(WaitUntil([&] { return window == nullptr; }));
    EXPECT_TRUE(captureGoneFirst) << "the body's captures go before the window hears it is idle";
}
