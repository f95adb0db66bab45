// The parsers of the replies that carry data (257, 227, 229) on one arbitrary reply text.
#include "FuzzHelpers.h"
#include "Reply.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = TextOf(data, size);
    // The path lies between two quotes of the text.
    const auto path = Reply::QuotedPath(text);
    Require(!path || path->size() + 2 <= text.size());
    for (const int port : {Reply::PassivePort(text), Reply::ExtendedPassivePort(text)}) {
        Require(port >= 0 && port <= 65535);
    }
    return 0;
}
