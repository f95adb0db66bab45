#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What an archive holds, read before anything is unpacked, and which of its entries may land in
// the local folder: none that starts at "/", climbs with "..", lies under a link of the same
// archive, or is a link leading out of it.
class ArchiveEntries {
public:
    enum class Type { File, Directory, Link, HardLink, Other };
    struct Entry {
        std::string name;  // as the archive stores it
        Type type = Type::File;
        std::string target;  // of a link; empty when unknown
    };
    struct Plan {
        std::vector<std::string> safe;
        std::vector<std::string> unsafe;
    };

    // One line of `tar --list --verbose --numeric-owner --quoting-style=c`.
    static std::optional<Entry> ParseTarLine(std::string_view line);
    // The central directory of a zip file; none when the file is not a readable zip.
    static std::optional<std::vector<Entry>> ReadZip(const std::string& path);
    // In a zip a backslash separates too, and links keep their targets in their data: a zip's
    // links are never trusted.
    static Plan Check(const std::vector<Entry>& entries, bool zip);

private:
    static std::optional<std::string> Unquote(std::string_view& text);
};
