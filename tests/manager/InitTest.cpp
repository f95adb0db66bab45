#include "Init.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "TempDir.h"

namespace {

using namespace std::string_literals;
using Names = std::vector<std::string>;
using Entry = Init::Entry;

std::string Section(const std::string& name, const std::string& host) {
    return "[" + name + "]\nADD=" + host + "\nLOGIN=u\nPASS=p\nFONT=f\n";
}

class InitTest : public ::testing::Test {
protected:
    Init& Reading(const std::string& contents) {
        EXPECT_TRUE(init.OpenFile(folder.Write("connections.ini", contents).string()));
        return init;
    }
    static void ExpectEntry(const std::optional<Entry>& entry, const std::optional<std::string>& a,
                            const std::optional<std::string>& l,
                            const std::optional<std::string>& p,
                            const std::optional<std::string>& f) {
        ASSERT_TRUE(entry);
        EXPECT_EQ(entry->address, a);
        EXPECT_EQ(entry->login, l);
        EXPECT_EQ(entry->password, p);
        EXPECT_EQ(entry->font, f);
    }

    TempDir folder;
    Init init;
};

TEST_F(InitTest, ListsASectionAndReturnsItsFourValuesAgainAndAgain) {
    Init& file = Reading("\n[a]\nADD=h\nLOGIN=u\nPASS=p\nFONT=f\n");
    EXPECT_EQ(file.GetListSection(), Names{"a"});
    ExpectEntry(file.FoundEntry("[a]"), "h", "u", "p", "f");
    ExpectEntry(file.FoundEntry("[a]"), "h", "u", "p", "f");  // read from the start again
    EXPECT_FALSE(file.FoundEntry("[b]"));
    EXPECT_FALSE(file.FoundEntry("[A]"));
}

TEST_F(InitTest, AFirstLineHeaderIsFoundButNotListedAndInitQvftpIsNeverListed) {
    Init& file = Reading(Section("first", "1") + Section("InitQvftp", "2") + Section("b", "3"));
    EXPECT_EQ(file.GetListSection(), Names{"b"});
    ExpectEntry(file.FoundEntry("[first]"), "1", "u", "p", "f");
    ExpectEntry(file.FoundEntry("[b]"), "3", "u", "p", "f");
}

TEST_F(InitTest, AMissingKeyTakesTheLaterKeysFromTheNextSection) {
    Init& file = Reading("\n[a]\nADD=h\nPASS=p\n[b]\nADD=h2\nLOGIN=u2\nPASS=p2\nFONT=f2\n");
    EXPECT_EQ(file.GetListSection(), (Names{"a", "b"}));
    ExpectEntry(file.FoundEntry("[a]"), "h", std::nullopt, "p2", "f2");
    ExpectEntry(file.FoundEntry("[b]"), "h2", "u2", "p2", "f2");
}

TEST_F(InitTest, NothingLongerThanFortyNineCharactersMatches) {
    const struct {
        std::size_t length;
        bool matches;
    } patterns[] = {{1, true}, {48, true}, {49, true}, {50, false}, {200, false}};
    for (const auto& row : patterns) {
        const std::string pattern(row.length - 1, 'k');
        bool matched = init.Search('x', pattern + "=", true) != 0;
        for (char c : std::string(300, 'k') + "=") {
            matched = matched || init.Search(c, pattern + "=", false) != 0;
        }
        EXPECT_EQ(matched, row.matches) << row.length;
    }
    // "[" + 47 characters + "]" and its line feed make 50: that section cannot be found.
    Init& file =
        Reading("\n" + Section(std::string(46, 'n'), "46") + Section(std::string(47, 'n'), "47"));
    ExpectEntry(file.FoundEntry("[" + std::string(46, 'n') + "]"), "46", "u", "p", "f");
    EXPECT_FALSE(file.FoundEntry("[" + std::string(47, 'n') + "]"));
}

TEST_F(InitTest, EachReaderHasItsOwnMatchWindow) {
    Init other;
    EXPECT_EQ(init.Search('A', "AB", true), 0);
    EXPECT_EQ(other.Search('X', "XY", true), 0);
    EXPECT_EQ(init.Search('B', "AB", false), 1);
    EXPECT_EQ(other.Search('Y', "XY", false), 1);
}

TEST_F(InitTest, AMissingFileIsCreatedEmptyAndYieldsNothing) {
    const auto path = folder / "absent.ini";
    ASSERT_TRUE(init.OpenFile(path.string()));
    EXPECT_TRUE(std::filesystem::is_regular_file(path));
    EXPECT_EQ(std::filesystem::file_size(path), 0u);
    EXPECT_TRUE(init.GetListSection().empty());
    EXPECT_FALSE(init.FoundEntry("[a]"));
    EXPECT_FALSE(init.GetField("ADD="));
}

TEST_F(InitTest, TruncatedLongAndBinaryInputIsBounded) {
    // The last value has no line feed: it never ended, so it is not given.
    ExpectEntry(Reading("\n[a]\nADD=h\nLOGIN=u\nPASS=p\nFONT=f").FoundEntry("[a]"), "h", "u", "p",
                std::nullopt);
    // A 10 KB header and value are cut to 255 bytes; bytes that are not text are only bytes.
    const std::string huge(10 * 1024, 'x');
    Init& file = Reading("\n["s + huge + "]\n\x01\x7f\n[a]\nADD=" + huge +
                         "\nLOGIN=u\0\xff\nPASS=p\nFONT=f\n"s);
    EXPECT_EQ(file.GetListSection(), (Names{std::string(Init::kMaxText, 'x'), "a"}));
    ExpectEntry(file.FoundEntry("[a]"), std::string(Init::kMaxText, 'x'), "u\0\xff"s, "p", "f");
}

TEST_F(InitTest, TracesProgressButNeverAValue) {
    std::ostringstream trace;
    Init& file = Reading("\n[a]\nADD=h\nLOGIN=u\nPASS=Secret123\nFONT=f\n");
    file.SetTrace(&trace);
    ExpectEntry(file.FoundEntry("[a]"), "h", "u", "Secret123", "f");
    EXPECT_NE(trace.str().find("([a]) Found"), std::string::npos) << trace.str();
    EXPECT_EQ(trace.str().find("Secret123"), std::string::npos) << trace.str();
}

}  // namespace
