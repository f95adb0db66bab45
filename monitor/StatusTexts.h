#pragma once

#include <cstdint>
#include <string>

// The texts of the status window. A kilobyte is 1000 bytes here (the transfer list counts 1024).

inline constexpr char kStatusTitle[] = "Tarvik Status";
inline constexpr char kGroupText[] = "Multiple files.";
inline constexpr char kStalledMark[] = "ZZzz...";

// The window's text fields hold at most this many bytes; longer texts are cut.
inline constexpr std::size_t kTextCapacity = 255;

// Speed in bytes per second: 0 stalled, -1 no whole second measured yet.
inline constexpr std::int64_t kSpeedStalled = 0;
inline constexpr std::int64_t kSpeedUnknown = -1;

// "2.0KB/10.0KB, 1.5KB/s"; bytes per second with no decimals up to 1024 B/s; the stalled mark
// when nothing came since the last pulse; only the counts in the first second.
std::string SpeedText(std::int64_t bytes, std::int64_t total, std::int64_t speed);
// "name :8.0s remaining"; empty unless the speed is known and above 0.
std::string RemainingText(const std::string& name, std::int64_t total, std::int64_t bytes,
                          std::int64_t speed);
// The counts line of a listing; empty when both are 0.
std::string CountsText(int files, int directories);
// "3/7".
std::string IndexText(std::int64_t index, std::int64_t count);
// text cut to kTextCapacity bytes, never inside a UTF-8 sequence.
std::string Bounded(std::string text);
