// The LIST and MLSD line readers on an arbitrary line, then on each line of the input cut at LF
// as a listing arrives. A name shown as an entry must be usable as a local file name as it is.
#include "FuzzHelpers.h"
#include "ListingParser.h"
#include "MlsdParser.h"

namespace {

void Check(const ListingParser::Result& result) {
    const std::string& name = result.entry.name;
    Require(result.outcome != ListingParser::Outcome::Entry ||
            (!name.empty() && name.size() <= ListingParser::kNameCapacity && name != "." &&
             name != ".." &&
             name.find_first_of(std::string_view("/\0\r\n", 4)) == std::string::npos &&
             result.entry.size >= 0));
}

void ParseOne(std::string_view line) {
    Check(ListingParser::Parse(line));
    Check(MlsdParser::Parse(line));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = TextOf(data, size);
    if (text.find('\n') != std::string_view::npos) {
        ParseOne(text);
    }
    ForEachLine(text, ParseOne);
    return 0;
}
