#include "Recorders.h"

#include <algorithm>

#include "AlertHook.h"

AlertRecorder::AlertRecorder() {
    AlertHook::Set([this](const std::string& text) {
        std::lock_guard lock(mutex_);
        texts_.push_back(text);
    });
}

AlertRecorder::~AlertRecorder() {
    AlertHook::Set(nullptr);
}

std::vector<std::string> AlertRecorder::Texts() const {
    std::lock_guard lock(mutex_);
    return texts_;
}

void LogRecorder::AddLine(const std::string& line) {
    std::lock_guard lock(mutex_);
    lines_.push_back(line);
}

std::vector<std::string> LogRecorder::Lines() const {
    std::lock_guard lock(mutex_);
    return lines_;
}

bool LogRecorder::Contains(const std::string& line) const {
    std::lock_guard lock(mutex_);
    return std::find(lines_.begin(), lines_.end(), line) != lines_.end();
}

void StatusRecorder::SetTypeOperation(const std::string& text) {
    std::lock_guard lock(mutex_);
    operations_.push_back(text);
}

void StatusRecorder::SetMax(long long size) {
    std::lock_guard lock(mutex_);
    max_ = size;
}

void StatusRecorder::SetNbOctet(long long bytes) {
    std::lock_guard lock(mutex_);
    bytes_ += bytes;
}

void StatusRecorder::LoadFD(int files, int directories) {
    std::lock_guard lock(mutex_);
    counts_.emplace_back(files, directories);
}

std::string StatusRecorder::Text() {
    std::lock_guard lock(mutex_);
    if (counts_.empty()) {
        return {};
    }
    return std::to_string(counts_.back().first) + " File(s), " +
           std::to_string(counts_.back().second) + " Directory(s) fetched...";
}

std::vector<std::string> StatusRecorder::Operations() const {
    std::lock_guard lock(mutex_);
    return operations_;
}

long long StatusRecorder::Bytes() const {
    std::lock_guard lock(mutex_);
    return bytes_;
}

long long StatusRecorder::Max() const {
    std::lock_guard lock(mutex_);
    return max_;
}

std::vector<std::pair<int, int>> StatusRecorder::Counts() const {
    std::lock_guard lock(mutex_);
    return counts_;
}
