#pragma once

#include <algorithm>
#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "AlertHook.h"
#include "LogMonitor.h"
#include "StatusMonitor.h"

// What the engine's workers report, recorded under a lock and read back by the test.
class LogRecorder : public LogMonitor {
public:
    void AddLine(const std::string& line) override {
        std::lock_guard lock(mutex_);
        lines_.push_back(line);
    }
    std::vector<std::string> Lines() const {
        std::lock_guard lock(mutex_);
        return lines_;
    }
    bool Contains(const std::string& line) const {
        auto lines = Lines();
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
};

// Records every alert text while it exists; alerts go back to stderr at the end.
class AlertRecorder {
public:
    AlertRecorder() {
        AlertHook::Set([this](const std::string& text) { texts_.AddLine(text); });
    }
    ~AlertRecorder() { AlertHook::Set(nullptr); }
    std::vector<std::string> Texts() const { return texts_.Lines(); }

private:
    LogRecorder texts_;
};

class StatusRecorder : public StatusMonitor {
public:
    void SetTypeOperation(const std::string&) override {}
    void SetMax(long long size) override { max = size; }
    void SetNbOctet(long long count) override { bytes += count; }
    void LoadFD(int fileCount, int directoryCount) override {
        files = fileCount;
        directories = directoryCount;
    }
    std::string Text() override { return {}; }

    std::atomic<long long> bytes{0}, max{0};
    std::atomic<int> files{0}, directories{0};
};
