#pragma once

#include <optional>
#include <string>
#include <string_view>

// Reads one line of a Unix long listing ("drwxr-xr-x 2 ftp ftp 4096 Jan 01 12:00 my dir") or of
// a DOS-style one ("01-01-20  12:00PM       <DIR>          my dir").
class ListingParser {
public:
    enum class Kind { File, Directory, Link };
    enum class Outcome {
        Entry,       // a file, directory or link to show
        NotAnEntry,  // a total line, a DOS line, an error text, "." or "..": skipped silently
        Malformed,   // ends before the name field
        Unsafe,      // a name that could leave the target folder if used as a local path
    };
    struct Entry {
        Kind kind = Kind::File;
        std::string name;
        long long size = 0;
    };
    struct Result {
        Outcome outcome = Outcome::NotAnEntry;
        Entry entry;
    };

    static constexpr std::size_t kNameCapacity = 255;

    static Result Parse(std::string_view line);

private:
    static Result ParseDos(std::string_view line);
    static Result Checked(Entry entry);
};
