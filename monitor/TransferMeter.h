#pragma once

#include <cstdint>
#include <optional>
#include <string>

// The byte count of the current file and what the status window makes of it once a second.
// Times are whole seconds from any steady clock. Not locked: StatusModel guards it.
class TransferMeter {
public:
    // Bytes after which the Stop button is offered for a file.
    static constexpr std::int64_t kStopThreshold = 2048;

    struct Reading {
        std::string speedText;      // right-hand text of the file bar
        std::string remainingText;  // left-hand text: name and remaining time, or empty
        std::int64_t bytes = 0;     // the file bar's position
    };

    // A new file of total bytes: count, speed and Stop start again.
    void StartFile(std::int64_t total);
    // The next file of a group: the count and the clock start again.
    void RestartClock(std::int64_t now);
    // Counts n more bytes. True once per file, when more than kStopThreshold bytes have passed
    // and Stop should be enabled.
    bool Count(std::int64_t n, std::int64_t now);
    // The figures of one pulse, or nothing to show when no name was given yet or no byte came.
    std::optional<Reading> Update(std::int64_t now, const std::optional<std::string>& name);
    // Speed and count back to 0; the rest stays.
    void Reset();

    std::int64_t Bytes() const { return bytes_; }
    std::int64_t Total() const { return total_; }
    std::int64_t Speed() const { return speed_; }
    bool StopArmed() const { return stopArmed_; }

private:
    std::int64_t total_ = 0;
    std::int64_t bytes_ = 0;
    std::int64_t bytesAtLastUpdate_ = 0;
    std::int64_t startTime_ = 0;
    std::int64_t speed_ = 0;
    // Armed from the start, so that bytes counted before any file never touch the button.
    bool stopArmed_ = true;
};
