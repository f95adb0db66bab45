#include "LogOnClock.h"

#include <algorithm>

LogOnClock::LogOnClock(StatusMonitor* target, int timeoutMs)
    : target_(target), timeout_(timeoutMs) {}

void LogOnClock::SetTypeOperation(const std::string& text) {
    {
        std::lock_guard lock(mutex_);
        step_ = text;
        since_ = Clock::now();
    }
    target_->SetTypeOperation(text);
}

std::string LogOnClock::Line() const {
    std::lock_guard lock(mutex_);
    const auto left = std::chrono::ceil<std::chrono::seconds>(timeout_ - (Clock::now() - since_));
    if (step_.empty()) {
        return step_;
    }
    return step_ + " (" + std::to_string(std::max<long long>(left.count(), 0)) + " s left)";
}
