// The parsers of the replies that carry data (257, 227, 229) on one arbitrary reply text.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Reply.h"

namespace {

void CheckPort(int port) {
    if (port < 0 || port > 65535) {
        __builtin_trap();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    // The path lies between two quotes of the text.
    if (const auto path = Reply::QuotedPath(text); path && path->size() + 2 > text.size()) {
        __builtin_trap();
    }
    CheckPort(Reply::PassivePort(text));
    CheckPort(Reply::ExtendedPassivePort(text));
    return 0;
}
