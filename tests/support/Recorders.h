#pragma once

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include "AlertHook.h"
#include "LogMonitor.h"
#include "StatusMonitor.h"

// What the engine's workers report, recorded under a lock and read back by the test.
class Guarded {
protected:
    template <typename F>
    auto Locked(F f) const -> decltype(f()) {
        std::lock_guard lock(mutex_);
        return f();
    }

private:
    mutable std::mutex mutex_;
};

// Installs an alert hook that records every alert text; the previous silence comes back at the end.
class AlertRecorder : Guarded {
public:
    AlertRecorder() {
        AlertHook::Set(
            [this](const std::string& text) { Locked([&] { texts_.push_back(text); }); });
    }
    ~AlertRecorder() { AlertHook::Set(nullptr); }
    AlertRecorder(const AlertRecorder&) = delete;
    AlertRecorder& operator=(const AlertRecorder&) = delete;
    std::vector<std::string> Texts() const {
        return Locked([this] { return texts_; });
    }

private:
    std::vector<std::string> texts_;
};

class LogRecorder : public LogMonitor, Guarded {
public:
    void AddLine(const std::string& line) override {
        Locked([&] { lines_.push_back(line); });
    }
    std::vector<std::string> Lines() const {
        return Locked([this] { return lines_; });
    }
    bool Contains(const std::string& line) const {
        return Locked(
            [&] { return std::find(lines_.begin(), lines_.end(), line) != lines_.end(); });
    }

private:
    std::vector<std::string> lines_;
};

class StatusRecorder : public StatusMonitor, Guarded {
public:
    void SetTypeOperation(const std::string& text) override {
        Locked([&] { operations_.push_back(text); });
    }
    void SetMax(long long size) override {
        Locked([&] { max_ = size; });
    }
    void SetNbOctet(long long bytes) override {
        Locked([&] { bytes_ += bytes; });
    }
    void LoadFD(int files, int directories) override {
        Locked([&] { counts_.emplace_back(files, directories); });
    }
    std::string Text() override {
        return Locked([this] {
            return counts_.empty()
                       ? std::string()
                       : std::to_string(counts_.back().first) + " File(s), " +
                             std::to_string(counts_.back().second) + " Directory(s) fetched...";
        });
    }
    std::vector<std::string> Operations() const {
        return Locked([this] { return operations_; });
    }
    long long Bytes() const {
        return Locked([this] { return bytes_; });
    }
    long long Max() const {
        return Locked([this] { return max_; });
    }
    std::vector<std::pair<int, int>> Counts() const {
        return Locked([this] { return counts_; });
    }

private:
    std::vector<std::string> operations_;
    long long bytes_ = 0;
    long long max_ = 0;
    std::vector<std::pair<int, int>> counts_;
};
