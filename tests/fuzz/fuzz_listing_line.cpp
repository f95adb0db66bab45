// The LIST and MLSD line readers on an arbitrary line, then on each line of the input cut at LF
// as a listing arrives. A name shown as an entry must be usable as a local file name as it is.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "ListingParser.h"
#include "MlsdParser.h"

namespace {

void Check(const ListingParser::Result& result) {
    if (result.outcome != ListingParser::Outcome::Entry) {
        return;
    }
    const std::string& name = result.entry.name;
    if (name.empty() || name.size() > ListingParser::kNameCapacity || name == "." || name == ".." ||
        name.find_first_of(std::string_view("/\0\r\n", 4)) != std::string::npos ||
        result.entry.size < 0) {
        __builtin_trap();
    }
}

void ParseOne(std::string_view line) {
    Check(ListingParser::Parse(line));
    Check(MlsdParser::Parse(line));
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
