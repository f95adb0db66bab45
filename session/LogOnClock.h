#pragma once

#include <chrono>
#include <mutex>
#include <string>

#include "StatusMonitor.h"

// Passes the log-on's steps on to the status window and remembers when the current one began,
// so that the window can show how long the engine still waits for an answer.
class LogOnClock : public StatusMonitor {
public:
    LogOnClock(StatusMonitor* target, int timeoutMs);

    void SetTypeOperation(const std::string& text) override;
    void SetMax(long long size) override { target_->SetMax(size); }
    void SetNbOctet(long long bytes) override { target_->SetNbOctet(bytes); }
    void LoadFD(int files, int directories) override { target_->LoadFD(files, directories); }
    std::string Text() override { return target_->Text(); }

    // "LOGIN...Waiting for reply... (37 s left)": the current step and the seconds it may still
    // wait; the step alone when no step has begun yet.
    std::string Line() const;

private:
    using Clock = std::chrono::steady_clock;

    StatusMonitor* target_;
    const std::chrono::milliseconds timeout_;
    mutable std::mutex mutex_;
    std::string step_;
    Clock::time_point since_ = Clock::now();
};
