#include "TransferRowTexts.h"

#include <cstdio>

namespace TransferRowTexts {

std::optional<std::string> Bytes(long long count) {
    if (count == 0) {
        return std::nullopt;
    }
    return std::to_string(count) + " B";
}

std::optional<std::string> Percent(long long done, long long total) {
    if (total == 0) {
        return std::nullopt;
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.1f%%",
                  static_cast<double>(done) / static_cast<double>(total) * 100.0);
    return text;
}

std::string Speed(long long gained) {
    // A pass comes every half second.
    double perSecond = static_cast<double>(gained) * 2.0;
    char text[48];
    if (perSecond > 1024.0) {
        std::snprintf(text, sizeof text, "%.1f KB/s", perSecond / 1024.0);
    } else {
        std::snprintf(text, sizeof text, "%.1f B/s", perSecond);
    }
    return text;
}

std::string Count(int rows) {
    return std::to_string(rows) + (rows == 1 ? " Item" : " Items");
}

}  // namespace TransferRowTexts
