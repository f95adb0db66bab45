#include "CrossThread.h"

#include <QObject>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
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
