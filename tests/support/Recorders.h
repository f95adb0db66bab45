#pragma once

#include <algorithm>
#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "AlertHook.h"
#include "LogMonitor.h"
#include "StatusMonitor.h"

// Lines that the engine's workers report, read back by the test.
class LockedLines {
public:
    void Add(const std::string& line) {
        std::lock_guard lock(mutex_);
        lines_.push_back(line);
    }
    std::vector<std::string> All() const {
        std::lock_guard lock(mutex_);
        return lines_;
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
};

// Records every alert text while it exists; alerts go back to stderr at the end.
class AlertRecorder {
public:
    AlertRecorder() {
        AlertHook::Set([this](const std::string& text) { texts_.Add(text); });
    }
    ~AlertRecorder() { AlertHook::Set(nullptr); }
    std::vector<std::string> Texts() const { return texts_.All(); }

private:
    LockedLines texts_;
};

class LogRecorder : public LogMonitor {
public:
    void AddLine(const std::string& line) override { lines_.Add(line); }
    std::vector<std::string> Lines() const { return lines_.All(); }
    bool Contains(const std::string& line) const {
        auto all = lines_.All();
        return std::find(all.begin(), all.end(), line) != all.end();
    }

private:
    LockedLines lines_;
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
