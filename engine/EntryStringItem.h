#pragma once

#include <cstdint>
#include <string>

// One entry of a listing pane: a name (or a whole listing line) with its kind.
struct EntryStringItem {
    enum Type : int { File = 0, Directory = 1, Link = 2 };

    std::string text;
    int type = File;
    std::string path;
    // 0xRRGGBBAA; 0 means the view's own text colour.
    std::uint32_t colour = 0;

    bool operator==(const EntryStringItem&) const = default;
};
