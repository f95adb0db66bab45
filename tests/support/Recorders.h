#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "LogMonitor.h"
#include "StatusMonitor.h"

// Installs an alert hook that records every alert text; the previous silence comes back at the end.
class AlertRecorder {
public:
    AlertRecorder();
    ~AlertRecorder();
    AlertRecorder(const AlertRecorder&) = delete;
    AlertRecorder& operator=(const AlertRecorder&) = delete;

    std::vector<std::string> Texts() const;

private:
    mutable std::mutex mutex_;
    std::vector<std::string> texts_;
};

class LogRecorder : public LogMonitor {
public:
    void AddLine(const std::string& line) override;
    std::vector<std::string> Lines() const;
    bool Contains(const std::string& line) const;

private:
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
};

class StatusRecorder : public StatusMonitor {
public:
    void SetTypeOperation(const std::string& text) override;
    void SetMax(long long size) override;
    void SetNbOctet(long long bytes) override;
    void LoadFD(int files, int directories) override;
    std::string Text() override;

    std::vector<std::string> Operations() const;
    long long Bytes() const;
    long long Max() const;
    std::vector<std::pair<int, int>> Counts() const;

private:
    mutable std::mutex mutex_;
    std::vector<std::string> operations_;
    long long bytes_ = 0;
    long long max_ = 0;
    std::vector<std::pair<int, int>> counts_;
};
