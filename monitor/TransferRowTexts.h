#pragma once

#include <optional>
#include <string>

// The cell texts of a transfer list row, from a transfer's byte counts.
namespace TransferRowTexts {

// "%lld B"; nothing while the count is 0 (the cell keeps what it shows).
std::optional<std::string> Bytes(long long count);
// "%.1f%%" of done over total; nothing while the total is 0.
std::optional<std::string> Percent(long long done, long long total);
// The speed of `gained` bytes in half a second: "%.1f KB/s" above 1024 bytes a second (a
// kilobyte of 1024 bytes), else "%.1f B/s", also for nothing or less (a new file began).
std::string Speed(long long gained);
// "%d Item" for one row, "%d Items" otherwise.
std::string Count(int rows);

}  // namespace TransferRowTexts
