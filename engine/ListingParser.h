#pragma once

#include <ctime>
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
        // From MLSD's modify fact; LIST lines leave it unknown.
        std::optional<std::time_t> modified;
    };
    struct Result {
        Outcome outcome = Outcome::NotAnEntry;
        Entry entry;
    };

    static constexpr std::size_t kNameCapacity = 255;

    static Result Parse(std::string_view line);
    // An Entry, or Unsafe for a name that is no plain file name: ".", "..", or one holding a
    // slash, NUL, CR or LF.
    static Result Checked(Entry entry);

private:
    static Result ParseDos(std::string_view line);
};
