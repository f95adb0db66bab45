// Replies as the standard frames them: the code is the first three digits of the first line, a
// "ddd-" reply ends at "ddd ", and digits anywhere else mean nothing. What the replies carry: a
// path, a passive port, the features of a server (RFC 2389).
#include <gtest/gtest.h>

#include "Features.h"
#include "Reply.h"
#include "ReplyReader.h"

namespace {

std::vector<FtpReply> Framed(const std::string& bytes, std::size_t chunk, bool telnet = false) {
    ReplyReader reader;
    reader.SetTelnet(telnet);
    std::vector<FtpReply> replies;
    for (std::size_t at = 0; at < bytes.size(); at += chunk) {
        reader.Feed(std::string_view(bytes).substr(at, chunk));
        while (auto reply = reader.Next()) {
            replies.push_back(*reply);
        }
    }
    return replies;
}

TEST(ReplyReaderTest, FramesRepliesWhateverTheirDigitsAndHowTheBytesArrive) {
    struct Case {
        const char* name;
        std::string bytes;
        std::vector<int> codes;
        std::size_t linesOfFirst;
    };
    const Case cases[] = {
        {"a code-like number in the text", "550 q1250.csv: No such file\r\n", {550}, 1},
        {"continuation lines without the code", "211-F:\r\n MDTM\r\n SIZE\r\n211 E\r\n", {211}, 4},
        {"another code inside a multi-line reply", "230-a\r\n226 no end\r\n230 end\r\n", {230}, 3},
        {"bare LF line ends, then two replies at once", "150 here\n226 done\n", {150, 226}, 1},
        {"a line that is no reply", "hello there\r\n220 hi\r\n", {0, 220}, 1},
        {"digits not followed by a space or dash", "2201 x\r\n", {0}, 1},
        {"a last line of the code alone", "230-a\r\n230\r\n", {230}, 2},
        {"codes outside 1xx-5xx", "633-x\r\n633 y\r\n999 z\r\n", {633, 999}, 2},
    };
    for (const Case& c : cases) {
        for (std::size_t chunk : {c.bytes.size(), std::size_t{1}, std::size_t{7}}) {
            std::vector<FtpReply> replies = Framed(c.bytes, chunk);
            std::vector<int> codes;
            for (const FtpReply& reply : replies) {
                codes.push_back(reply.code);
            }
            EXPECT_EQ(codes, c.codes) << c.name << ", chunks of " << chunk;
            ASSERT_FALSE(replies.empty()) << c.name;
            EXPECT_EQ(replies.front().lines.size(), c.linesOfFirst) << c.name;
        }
    }
}

// A Telnet server answers a negotiation before its reply. A doubled 0xFF is one, as vsftpd
// sends it; a single one (proftpd, pure-ftpd) is the name's own.
TEST(ReplyReaderTest, TelnetCommandsAreDroppedOnlyForATelnetServer) {
    const std::string telnet = "\xFF\xFC.250 \xFF\xFF\xFE x\r\n";
    for (std::size_t chunk : {telnet.size(), std::size_t{1}, std::size_t{2}}) {
        const std::vector<FtpReply> replies = Framed(telnet, chunk, true);
        ASSERT_EQ(replies.size(), 1u) << "chunks of " << chunk;
        EXPECT_EQ(replies[0].code, 250);
        EXPECT_EQ(replies[0].Text(), "250 \xFF\xFE x");
    }
    EXPECT_EQ(Framed("257 \"/\xFF\xFE\xFF\xFF\xFF\"\r\n", 1).at(0).Text(),
              "257 \"/\xFF\xFE\xFF\xFF\"");
}

TEST(ReplyTest, ParsesThePathAndThePassivePorts) {
    EXPECT_EQ(Reply::QuotedPath("257 \"/pub/incoming\" is the current directory"), "/pub/incoming");
    EXPECT_EQ(Reply::QuotedPath("257 \"/say \"\"hi\"\"\" created"), "/say \"hi\"");
    EXPECT_EQ(Reply::QuotedPath("257 \"/\""), "/");
    EXPECT_EQ(Reply::QuotedPath("257 /no/quotes"), std::nullopt);
    EXPECT_EQ(Reply::QuotedPath("257 \"/no/closing"), std::nullopt);

    const std::pair<const char*, int> passive[] = {
        {"227 Entering Passive Mode (192,168,1,2,19,137).", 19 * 256 + 137},
        {"227 Entering Passive Mode 127,0,0,1,4,1", 1025},  // no parentheses
        {"227 (1,1,1,1,1,1", 257},
        {"227 (192,168,1,2,19)", 0},
        {"227 (0,0,0,0,0,0)", 0},
        {"227 (1,1,1,1,999,1)", 0},
    };
    for (const auto& [text, port] : passive) {
        EXPECT_EQ(Reply::PassivePort(text), port) << text;
    }
    const std::pair<const char*, int> extended[] = {
        {"229 Entering Extended Passive Mode (|||6446|)", 6446},
        {"229 (!!!2121!)", 2121},
        {"229 (|||70000|)", 0},
        {"229 (||6446|)", 0},
        {"229 (|||6446)", 0},
        {"229 no port", 0},
    };
    for (const auto& [text, port] : extended) {
        EXPECT_EQ(Reply::ExtendedPassivePort(text), port) << text;
    }
}

TEST(FeaturesTest, ReadsTheFeaturesOfAFeatReply) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"pyftpdlib: MLST stands for MLSD, REST with STREAM",
         "211-Features supported:\n EPRT\n MDTM\n MLST type*;size*;modify*;\n REST STREAM\n"
         " SIZE\n TVFS\n UTF8\n211 End FEAT.\n",
         " MLSD UTF8 SIZE REST"},
        {"lower case, MLSD named itself, extra spaces",
         "211-Extensions:\n  mlsd\n utf8  \n size\n rest   stream \n211 End\n",
         " MLSD UTF8 SIZE REST"},
        {"the code repeated on each line; REST without STREAM",
         "211-Features:\n211-SIZE\n211- REST\n211 End\n", " SIZE"},
        {"not implemented", "502 Command not implemented.\n", ""},
        {"a name with control bytes is no feature", "211-Features:\n \x01UTF8\n \x7fSIZE\n211 E\n",
         ""},
    };
    for (const auto& [name, bytes, offered] : cases) {
        const Features f = Features::FromReply(Framed(bytes, 100).front());
        EXPECT_EQ(std::string(f.OffersMlsd() ? " MLSD" : "") + (f.OffersUtf8() ? " UTF8" : "") +
                      (f.OffersSize() ? " SIZE" : "") + (f.OffersRestStream() ? " REST" : ""),
                  offered)
            << name;
    }
    Features pyftpdlib = Features::FromReply(Framed(std::get<1>(cases[0]), 100).front());
    EXPECT_EQ(pyftpdlib.Parameters("mlst"), "type*;size*;modify*;");
    EXPECT_EQ(pyftpdlib.Parameters("TVFS"), "");
    EXPECT_EQ(pyftpdlib.Parameters("LANG"), std::nullopt);
}

}  // namespace
