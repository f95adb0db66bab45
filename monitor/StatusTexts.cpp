#include "StatusTexts.h"

#include <cstdarg>
#include <cstdio>

namespace {

std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));

std::string Format(const char* format, ...) {
    char buffer[512];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(buffer, sizeof buffer, format, arguments);
    va_end(arguments);
    return Bounded(buffer);
}

double Kilobytes(std::int64_t bytes) {
    return static_cast<double>(bytes) / 1000.0;
}

}  // namespace

std::string SpeedText(std::int64_t bytes, std::int64_t total, std::int64_t speed) {
    if (speed > 1024) {
        return Format("%.1fKB/%.1fKB, %.1fKB/s", Kilobytes(bytes), Kilobytes(total),
                      Kilobytes(speed));
    }
    if (speed == kSpeedStalled) {
        return Format("%.1fKB/%.1fKB, %s", Kilobytes(bytes), Kilobytes(total), kStalledMark);
    }
    if (speed == kSpeedUnknown) {
        return Format("%.1fKB/%.1fKB", Kilobytes(bytes), Kilobytes(total));
    }
    return Format("%.1fKB/%.1fKB, %.0fB/s", Kilobytes(bytes), Kilobytes(total),
                  static_cast<double>(speed));
}

std::string RemainingText(const std::string& name, std::int64_t total, std::int64_t bytes,
                          std::int64_t speed) {
    if (speed <= 0) {
        return {};
    }
    const double seconds = static_cast<double>(total - bytes) / static_cast<double>(speed);
    char tail[64];
    std::snprintf(tail, sizeof tail, " :%.1fs remaining", seconds);
    // The name goes first, so a very long one pushes the time out, as a fixed buffer would.
    return Bounded(name + tail);
}

std::string CountsText(int files, int directories) {
    if (files == 0 && directories == 0) {
        return {};
    }
    return Format("%d File(s), %d Directory(s) fetched...", files, directories);
}

std::string IndexText(std::int64_t index, std::int64_t count) {
    return Format("%lld/%lld", static_cast<long long>(index), static_cast<long long>(count));
}

std::string Bounded(std::string text) {
    if (text.size() <= kTextCapacity) {
        return text;
    }
    std::size_t end = kTextCapacity;
    // Step back over continuation bytes (10xxxxxx) to the start of the cut sequence.
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
        --end;
    }
    text.resize(end);
    return text;
}
