// The control-connection framer on arbitrary bytes, cut into arbitrary chunks: the first input
// byte seeds the chunk sizes, the rest is what the server sent. The replies must not depend on
// how the bytes were cut, which is how TCP hands them over. Each reply is read as a FEAT answer
// too.
#include <vector>

#include "Features.h"
#include "FuzzHelpers.h"
#include "ReplyReader.h"

namespace {

void Drain(ReplyReader& reader, std::vector<FtpReply>& out) {
    while (auto reply = reader.Next()) {
        // Three digits, whatever they are: a code outside 1xx-5xx is a reply too (RFC 2228).
        Require(reply->code >= 0 && reply->code <= 999);
        Require(!reply->lines.empty() && reply->lines.size() <= ReplyReader::kMaxLines + 1 &&
                reply->code == ReplyReader::CodeOf(reply->lines.front()));
        for (const auto& line : reply->lines) {
            Require(line.size() <= ReplyReader::kLineCapacity &&
                    line.find('\n') == std::string::npos);
        }
        // Only a 211 reply lists features.
        Require(reply->code == 211 || Features::FromReply(*reply).Empty());
        out.push_back(std::move(*reply));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    std::uint32_t state = data[0] | 0x100u;
    const std::string_view bytes = TextOf(data + 1, size - 1);

    ReplyReader chunked;
    std::vector<FtpReply> fromChunks;
    for (std::size_t at = 0; at < bytes.size();) {
        // xorshift: mostly short chunks, now and then one long enough to span a whole line.
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        const std::size_t length = (state & 7) == 0 ? 1 + state % 8192 : 1 + state % 16;
        chunked.Feed(bytes.substr(at, length));
        Drain(chunked, fromChunks);
        at += length;
    }
    ReplyReader whole;
    std::vector<FtpReply> fromWhole;
    whole.Feed(bytes);
    Drain(whole, fromWhole);

    Require(fromChunks.size() == fromWhole.size() && chunked.Overflowed() == whole.Overflowed());
    for (std::size_t i = 0; i < fromWhole.size(); ++i) {
        Require(fromChunks[i].code == fromWhole[i].code &&
                fromChunks[i].lines == fromWhole[i].lines);
    }
    return 0;
}
