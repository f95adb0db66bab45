#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

// One entry of a listing pane: a name (or a whole listing line) with its kind.
struct EntryStringItem {
    enum Type : int { File = 0, Directory = 1, Link = 2 };

    std::string text;
    int type = File;
    std::string path;
    // 0xRRGGBBAA; 0 means the view's own text colour.
    std::uint32_t colour = 0;
    // What the host's listing said of a file: its size (-1 unknown) and, from MLSD, its time.
    long long size = -1;
    std::optional<std::time_t> modified = std::nullopt;

    bool operator==(const EntryStringItem&) const = default;
};
