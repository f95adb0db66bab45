#include "CrossThread.h"

#include <QCoreApplication>
#include <QObject>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "GuiWait.h"

namespace {

// Tells, from its destructor, that the state a posted function captured has been let go.
struct Witness {
    explicit Witness(std::atomic<int>* released) : released(released) {}
    ~Witness() { ++*released; }
    std::atomic<int>* released;
};

}  // namespace

TEST(CrossThreadTest, PostRunsLaterOnTheTargetsThreadInOrder) {
    QObject target;
    std::vector<int> order;
    Post(&target, [&] { order.push_back(1); });
    Post(&target, [&] { order.push_back(2); });
    EXPECT_TRUE(order.empty()) << "Post never runs its function at once";

    std::thread worker([&] {
        Post(&target, [&] {
            EXPECT_EQ(QThread::currentThread(), target.thread());
            order.push_back(3);
        });
    });
    worker.join();
    ASSERT_TRUE(WaitUntil([&] { return order.size() == 3; }));
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

TEST(CrossThreadTest, PostToATargetDeletedBeforeItRunsIsDropped) {
    auto target = std::make_unique<QObject>();
    std::atomic<int> released = 0;
    bool ran = false;
    auto witness = std::make_shared<Witness>(&released);
    Post(target.get(), [&ran, witness] { ran = true; });
    witness.reset();
    target.reset();
    Settle();
    EXPECT_FALSE(ran);
    EXPECT_EQ(released, 1) << "the dropped function's captures are destroyed";
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
}

TEST(CrossThreadTest, CallOnTheTargetsOwnThreadRunsAtOnce) {
    QObject target;
    int runs = 0;
    const std::optional<int> answer = Call(&target, [&] { return ++runs; });
    EXPECT_EQ(answer, 1);
    EXPECT_TRUE(Call(&target, [&] { ++runs; }));
    EXPECT_EQ(runs, 2);
}

namespace {

// Signals once Call is handing the function to Qt: it is moved into the queued call while the
// worker holds the hand-over lock, which another thread then cannot take.
struct SignalsWhenQueued {
    SignalsWhenQueued(std::atomic<bool>* queued, bool* ran) : queued(queued), ran(ran) {}
    SignalsWhenQueued(SignalsWhenQueued&& other) noexcept : queued(other.queued), ran(other.ran) {
        bool lockHeld = false;
        std::thread probe([&] {
            auto& lock = crossthread_detail::HandOverLock();
            lockHeld = !lock.try_lock();
            if (!lockHeld) {
                lock.unlock();
            }
        });
        probe.join();
        if (lockHeld) {
            *queued = true;
        }
    }
    int operator()() const {
        *ran = true;
        return 1;
    }
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
    {
        // The call is queued once the worker has let go of the hand-over lock.
        std::lock_guard queuedNow(crossthread_detail::HandOverLock());
    }
    target.reset();
    ASSERT_TRUE(WaitUntil([&] { return done.load(); }));
    worker.join();
    EXPECT_FALSE(ran);
    EXPECT_FALSE(answer.has_value());
}
