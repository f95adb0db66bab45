#pragma once

#include <QMetaObject>
#include <QObject>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <type_traits>
#include <utility>

// The one way work crosses from a worker thread to the GUI thread. A worker never touches a
// widget: it posts a function to the window (Post) or asks the window and waits (Call). The GUI
// thread never waits for a worker.
//
// Post(target, fn): fn runs later on target's thread; it is dropped if target is deleted first.
// Call(target, fn): runs fn on target's thread and waits for it; on that thread itself fn runs at
// once. Returns std::optional<Result> (bool for void functions), empty/false when target was
// deleted before fn could run.
//
// The caller must know that target still exists when it posts: the windows that workers report to
// are deleted only once their workers have ended.

namespace crossthread_detail {

// Qt queues a call under locks that ThreadSanitizer cannot see, so by itself the hand-over looks
// like a race. Queueing under this lock, and taking it again before the call runs or is dropped,
// gives the checker the ordering that really exists.
std::recursive_mutex& HandOverLock();
void HandOverBarrier();
bool OnThreadOf(const QObject* target);

template <typename F>
class HandedOver {
public:
    explicit HandedOver(F fn) : fn_(std::move(fn)) {}
    HandedOver(HandedOver&& other) noexcept(std::is_nothrow_move_constructible_v<F>)
        : fn_(std::move(other.fn_)) {}
    HandedOver(const HandedOver&) = delete;
    HandedOver& operator=(const HandedOver&) = delete;
    HandedOver& operator=(HandedOver&&) = delete;
    // Also runs when Qt drops the call, before the captured state is destroyed.
    ~HandedOver() { HandOverBarrier(); }

    void operator()() {
        HandOverBarrier();
        fn_();
    }

private:
    F fn_;
};

template <typename R>
using Outcome = std::conditional_t<std::is_void_v<R>, bool, std::optional<R>>;

// Where the caller of Call waits for its answer.
template <typename R>
class Waiter {
public:
    template <typename F>
    void Run(F& fn) {
        Outcome<R> outcome{};
        if constexpr (std::is_void_v<R>) {
            fn();
            outcome = true;
        } else {
            outcome.emplace(fn());
        }
        Finish(std::move(outcome));
    }

    void Finish(Outcome<R> outcome = {}) {
        std::lock_guard lock(mutex_);
        if (!done_) {
            outcome_ = std::move(outcome);
            done_ = true;
        }
        condition_.notify_all();
    }

    Outcome<R> Wait() {
        std::unique_lock lock(mutex_);
        condition_.wait(lock, [this] { return done_; });
        return std::move(outcome_);
    }

private:
    std::mutex mutex_;
    std::condition_variable condition_;
    bool done_ = false;
    Outcome<R> outcome_{};
};

template <typename F, typename R>
class Answer {
public:
    Answer(F fn, std::shared_ptr<Waiter<R>> waiter)
        : fn_(std::move(fn)), waiter_(std::move(waiter)) {}
    Answer(Answer&&) noexcept(std::is_nothrow_move_constructible_v<F>) = default;
    Answer(const Answer&) = delete;
    Answer& operator=(const Answer&) = delete;
    Answer& operator=(Answer&&) = delete;
    // A dropped call still wakes the caller, with an empty outcome.
    ~Answer() {
        if (waiter_) {
            waiter_->Finish();
        }
    }

    void operator()() { waiter_->Run(fn_); }

private:
    F fn_;
    std::shared_ptr<Waiter<R>> waiter_;
};

}  // namespace crossthread_detail

template <typename F>
void Post(QObject* target, F&& fn) {
    using Task = crossthread_detail::HandedOver<std::decay_t<F>>;
    std::lock_guard handOver(crossthread_detail::HandOverLock());
    QMetaObject::invokeMethod(target, Task(std::forward<F>(fn)), Qt::QueuedConnection);
}

template <typename F>
auto Call(QObject* target, F&& fn) {
    using R = std::invoke_result_t<std::decay_t<F>&>;
    using Outcome = crossthread_detail::Outcome<R>;
    if (crossthread_detail::OnThreadOf(target)) {
        if constexpr (std::is_void_v<R>) {
            fn();
            return Outcome(true);
        } else {
            return Outcome(fn());
        }
    }
    auto waiter = std::make_shared<crossthread_detail::Waiter<R>>();
    Post(target, crossthread_detail::Answer<std::decay_t<F>, R>(std::forward<F>(fn), waiter));
    return waiter->Wait();
}
