// What a server offers, from its answer to FEAT (RFC 2389), and the names it lists as bytes.
#include <gtest/gtest.h>

#include "Features.h"
#include "ReplyReader.h"
#include "Utf8Text.h"

namespace {

FtpReply ReplyOf(int code, std::vector<std::string> lines) {
    return {code, std::move(lines)};
}

TEST(FeaturesTest, ReadsTheFeaturesOfAFeatReply) {
    struct Case {
        const char* name;
        FtpReply reply;
        bool mlsd, utf8, size, restStream;
    };
    const Case cases[] = {
        {"pyftpdlib: MLST stands for MLSD, REST with STREAM",
         ReplyOf(211, {"211-Features supported:", " EPRT", " MDTM", " MLST type*;size*;modify*;",
                       " REST STREAM", " SIZE", " TVFS", " UTF8", "211 End FEAT."}),
         true, true, true, true},
        {"lower case, MLSD named itself, extra spaces",
         ReplyOf(211,
                 {"211-Extensions:", "  mlsd", " utf8  ", " size", " rest   stream ", "211 End"}),
         true, true, true, true},
        {"the code repeated on each line; REST without STREAM",
         ReplyOf(211, {"211-Features:", "211-SIZE", "211- REST", "211 End"}), false, false, true,
         false},
        {"no features", ReplyOf(211, {"211 No features."}), false, false, false, false},
        {"not implemented", ReplyOf(502, {"502 Command not implemented."}), false, false, false,
         false},
        {"a feature name with control bytes is no feature",
         ReplyOf(211, {"211-Features:", " \x01UTF8", " \x7fSIZE", "211 End"}), false, false, false,
         false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Features features = Features::FromReply(c.reply);
        EXPECT_EQ(features.OffersMlsd(), c.mlsd);
        EXPECT_EQ(features.OffersUtf8(), c.utf8);
        EXPECT_EQ(features.OffersSize(), c.size);
        EXPECT_EQ(features.OffersRestStream(), c.restStream);
    }
    Features pyftpdlib = Features::FromReply(cases[0].reply);
    EXPECT_EQ(pyftpdlib.Parameters("mlst"), "type*;size*;modify*;");
    EXPECT_EQ(pyftpdlib.Parameters("TVFS"), "");
    EXPECT_EQ(pyftpdlib.Parameters("LANG"), std::nullopt);
}

TEST(Utf8TextTest, TellsUtf8NamesAndShowsOtherBytesAsReplacementCharacters) {
    const std::string kFffd = "\xEF\xBF\xBD";
    struct Case {
        std::string bytes;
        bool valid;
        std::string display;
    };
    const Case cases[] = {
        {"plain.txt", true, "plain.txt"},
        {"caf\xC3\xA9 \xE2\x98\x95.txt", true, "caf\xC3\xA9 \xE2\x98\x95.txt"},
        {"\xFF\xFE.bin", false, kFffd + kFffd + ".bin"},
        {"caf\xE9", false, "caf" + kFffd},                           // Latin-1
        {"\xC0\xAF", false, kFffd + kFffd},                          // an overlong "/"
        {"\xED\xA0\x80", false, kFffd + kFffd + kFffd},              // a surrogate
        {"\xF4\x90\x80\x80", false, kFffd + kFffd + kFffd + kFffd},  // past U+10FFFF
        {"a\xE2\x98", false, "a" + kFffd},  // cut short: one piece, one replacement
        {std::string("a\0b", 3), true, std::string("a\0b", 3)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.bytes));
        EXPECT_EQ(Utf8Text::IsValid(c.bytes), c.valid);
        EXPECT_EQ(Utf8Text::DisplayForm(c.bytes), c.display);
        EXPECT_TRUE(Utf8Text::IsValid(Utf8Text::DisplayForm(c.bytes)));
    }
}

}  // namespace
