// Work handed between threads: posts and calls to a window, and the workers of a window.
#include "CrossThread.h"
#include "ThreadSet.h"

#include <QObject>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "GuiWait.h"

TEST(CrossThreadTest, PostRunsLaterInOrderOnTheTargetsThreadOrIsDroppedWithItsTarget) {
    QObject target;
    std::vector<int> order;
    Post(&target, [&] { order.push_back(1); });
    Post(&target, [&] { order.push_back(2); });
    EXPECT_TRUE(order.empty()) << "Post never runs its function at once";
    std::thread([&] {
        Post(&target, [&] {
            EXPECT_EQ(QThread::currentThread(), target.thread());
            order.push_back(3);
        });
    }).join();
    ASSERT_TRUE(WaitUntil([&] { return order.size() == 3; }));
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));

    auto doomed = std::make_unique<QObject>();
    auto capture = std::make_shared<int>(0);
    std::weak_ptr<int> watch = capture;
    bool ran = false;
    Post(doomed.get(), [&ran, capture] { ran = true; });
    capture.reset();
    doomed.reset();
    Settle();
    EXPECT_FALSE(ran);
    EXPECT_TRUE(watch.expired()) << "the dropped function's captures are destroyed";
}

TEST(CrossThreadTest, CallRunsOnTheTargetsThreadAndReturnsItsResult) {
    QObject target;
    std::optional<std::string> answer;
    bool voidCall = false;
    std::atomic<bool> done = false;
    std::thread worker([&] {
        answer = Call(&target, [&] {
            return target.thread() == QThread::currentThread() ? std::string("GUI") : "worker";
        });
        voidCall = Call(&target, [] {});
        done = true;
    });
    ASSERT_TRUE(WaitUntil([&] { return done.load(); }));
    worker.join();
    EXPECT_EQ(answer, "GUI");
    EXPECT_TRUE(voidCall);
    // On the target's own thread it runs at once instead of waiting for itself.
    EXPECT_EQ(Call(&target, [] { return 7; }), 7);
}

namespace {

// Tells when Call has queued it: Qt moves it while the worker holds the hand-over lock.
struct SignalsWhenQueued {
    SignalsWhenQueued(std::atomic<bool>* queued, bool* ran) : queued(queued), ran(ran) {}
    SignalsWhenQueued(SignalsWhenQueued&& other) noexcept : queued(other.queued), ran(other.ran) {
        bool lockHeld = false;
        std::thread([&] {
            auto& lock = crossthread_detail::HandOverLock();
            lockHeld = !lock.try_lock();
            if (!lockHeld) {
                lock.unlock();
            }
        }).join();
        if (lockHeld) {
            *queued = true;
        }
    }
    int operator()() const { return *ran = true; }
    std::atomic<bool>* queued;
    bool* ran;
};

}  // namespace

TEST(CrossThreadTest, CallToATargetDeletedBeforeItRunsComesBackEmpty) {
    auto target = std::make_unique<QObject>();
    std::atomic<bool> queued = false;
    std::atomic<bool> done = false;
    bool ran = false;
    std::optional<int> answer = 42;
    std::thread worker([&] {
        answer = Call(target.get(), SignalsWhenQueued(&queued, &ran));
        done = true;
    });
    while (!queued) {
        std::this_thread::yield();
    }
    { std::lock_guard queuedNow(crossthread_detail::HandOverLock()); }
    target.reset();
    ASSERT_TRUE(WaitUntil([&] { return done.load(); }));
    worker.join();
    EXPECT_FALSE(ran);
    EXPECT_FALSE(answer.has_value());
}

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
