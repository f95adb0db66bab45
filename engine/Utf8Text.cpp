#include "Utf8Text.h"

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

bool IsContinuation(unsigned char c) {
    return (c & 0xC0) == 0x80;
}

}  // namespace

// The ranges of well-formed sequences (Unicode's table 3-7); a piece that breaks off after its
// lead byte is replaced as one, as the Unicode standard recommends.
std::size_t Utf8Text::SequenceAt(std::string_view bytes, std::size_t at, std::size_t& bad) {
    auto lead = static_cast<unsigned char>(bytes[at]);
    bad = 1;
    if (lead < 0x80) {
        return 1;
    }
    std::size_t length = lead >= 0xC2 && lead <= 0xDF   ? 2
                         : lead >= 0xE0 && lead <= 0xEF ? 3
                         : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                        : 0;
    if (length == 0) {
        return 0;
    }
    // The second byte has narrower bounds after some leads: no overlongs, surrogates or
    // code points past U+10FFFF.
    unsigned char low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned char high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    for (std::size_t i = 1; i < length; ++i) {
        if (at + i >= bytes.size()) {
            return 0;
        }
        auto c = static_cast<unsigned char>(bytes[at + i]);
        bool fits = i == 1 ? c >= low && c <= high : IsContinuation(c);
        if (!fits) {
            return 0;
        }
        bad = i + 1;
    }
    return length;
}

bool Utf8Text::IsValid(std::string_view bytes) {
    for (std::size_t at = 0, bad = 0; at < bytes.size();) {
        std::size_t length = SequenceAt(bytes, at, bad);
        if (length == 0) {
            return false;
        }
        at += length;
    }
    return true;
}

std::string Utf8Text::DisplayForm(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    for (std::size_t at = 0, bad = 0; at < bytes.size();) {
        std::size_t length = SequenceAt(bytes, at, bad);
        if (length == 0) {
            text += kReplacement;
            at += bad;
        } else {
            text += bytes.substr(at, length);
            at += length;
        }
    }
    return text;
}
