#pragma once

#include <ctime>
#include <optional>
#include <string_view>

#include "ListingParser.h"

// Reads one line of an MLSD listing: facts, a space, then the name exactly as the rest of the
// line ("type=file;size=5000000000;modify=20240101120000; name with spaces"). Sizes are exact
// 64-bit numbers; the kind comes from the type fact. The current and parent directory entries,
// and types this program does not know, are skipped. Names obey the same rules as LIST names.
class MlsdParser {
public:
    using Result = ListingParser::Result;

    static Result Parse(std::string_view line);
    // "YYYYMMDDHHMMSS" with optional fraction, in UTC; nothing when malformed.
    static std::optional<std::time_t> TimeOf(std::string_view value);
};
