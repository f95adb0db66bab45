// The listing line reader on an arbitrary line, then on each line of the input cut at LF as a
// listing arrives. A name shown as an entry must be usable as a local file name as it is.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "ListingParser.h"

namespace {

void ParseOne(std::string_view line) {
    const ListingParser::Result result = ListingParser::Parse(line);
    if (result.outcome != ListingParser::Outcome::Entry) {
        return;
    }
    const std::string& name = result.entry.name;
    if (name.empty() || name.size() > ListingParser::kNameCapacity || name == "." || name == ".." ||
        name.find('/') != std::string::npos) {
        __builtin_trap();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    ParseOne(text);
    if (text.find('\n') == std::string_view::npos) {
        return 0;
    }
    std::size_t start = 0;
    for (std::size_t end; (end = text.find('\n', start)) != std::string_view::npos;
         start = end + 1) {
        ParseOne(text.substr(start, end - start));
    }
    ParseOne(text.substr(start));
    return 0;
}
