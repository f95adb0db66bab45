#include "ThreadSet.h"

#include <QObject>
#include <QThread>

#include <pthread.h>

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <memory>
#include <string>

#include "GuiWait.h"

namespace {

std::string CurrentThreadName() {
    char name[32] = {};
    pthread_getname_np(pthread_self(), name, sizeof name);
    return name;
}

}  // namespace

TEST(ThreadSetTest, WorkersRunUnderTheirNameCutTo15Bytes) {
    ThreadSet threads;
    std::string shortName;
    std::string longName;
    std::latch done(2);
    ASSERT_TRUE(threads.Spawn("ThreadIN", [&] {
        shortName = CurrentThreadName();
        done.count_down();
    }));
    ASSERT_TRUE(threads.Spawn("ThreadREFRESHServeur", [&] {
        longName = CurrentThreadName();
        done.count_down();
    }));
    done.wait();
    EXPECT_EQ(shortName, "ThreadIN");
    EXPECT_EQ(longName, "ThreadREFRESHSe");
    EXPECT_TRUE(WaitUntil([&] { return threads.Running() == 0; }));
}

TEST(ThreadSetTest, WhenIdleRunsAtOnceWithNoWorkerElseOnceTheLastEnds) {
    QObject context;
    ThreadSet threads;
    int immediate = 0;
    threads.WhenIdle(&context, [&] { ++immediate; });
    EXPECT_EQ(immediate, 1);

    std::latch release(1);
    threads.Spawn("ThreadOUT", [&] { release.wait(); });
    threads.Spawn("ThreadIN", [&] { release.wait(); });
    EXPECT_EQ(threads.Running(), 2);
    int idle = 0;
    bool onContextThread = false;
    threads.WhenIdle(&context, [&] {
        ++idle;
        onContextThread = QThread::currentThread() == context.thread();
    });
    Settle();
    EXPECT_EQ(idle, 0) << "workers are still running";

    release.count_down();
    ASSERT_TRUE(WaitUntil([&] { return idle == 1; }));
    EXPECT_TRUE(onContextThread);
    EXPECT_EQ(threads.Running(), 0);
    Settle();
    EXPECT_EQ(idle, 1);
}

TEST(ThreadSetTest, TheSetMayBeDeletedAsSoonAsTheLastWorkerHasReported) {
    // The worker's captures die while the window, and its set, are already being deleted.
    struct Window : QObject {
        ThreadSet threads;
    };
    auto window = std::make_unique<Window>();
    std::atomic<int> captureGone = 0;
    auto capture = std::shared_ptr<int>(new int(0), [&](int* value) {
        delete value;
        ++captureGone;
    });
    std::latch release(1);
    window->threads.Spawn("ThreadCDDISTANT", [&release, capture] { release.wait(); });
    capture.reset();
    bool deleted = false;
    window->threads.WhenIdle(window.get(), [&] {
        window.reset();
        deleted = true;
    });
    release.count_down();
    ASSERT_TRUE(WaitUntil([&] { return deleted; }));
    EXPECT_EQ(captureGone, 1) << "the body's captures go before the window hears it is idle";
}

TEST(ThreadSetTest, WhenIdleIsDroppedWhenItsContextIsDeleted) {
    ThreadSet threads;
    auto context = std::make_unique<QObject>();
    std::latch release(1);
    threads.Spawn("ViewFile", [&] { release.wait(); });
    bool ran = false;
    threads.WhenIdle(context.get(), [&] { ran = true; });
    context.reset();
    release.count_down();
    ASSERT_TRUE(WaitUntil([&] { return threads.Running() == 0; }));
    Settle();
    EXPECT_FALSE(ran);
}
