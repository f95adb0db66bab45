#include "Init.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "TempDir.h"

namespace {

using namespace std::string_literals;
using Names = std::vector<std::string>;
using Field = std::optional<std::string>;

std::string Section(const std::string& name, const std::string& host) {
    return "[" + name + "]\nADD=" + host + "\nLOGIN=u\nPASS=p\nFONT=f\n";
}

TEST(InitTest, ListsSectionsAndFindsTheirValues) {
    const std::string huge(10 * 1024, 'x');
    const std::string kept(Init::kMaxText, 'x');
    const std::string n46(46, 'n');
    const std::string n47(47, 'n');
    struct Lookup {
        std::string marker;
        std::optional<std::array<Field, 4>> entry;  // address, login, password, font
    };
    struct Case {
        const char* what;
        std::string contents;
        std::optional<Names> listed;
        std::vector<Lookup> lookups;
    };
    const Case cases[] = {
        {"one section, found again and again, names compared exactly",
         "\n" + Section("a", "h"),
         Names{"a"},
         {{"[a]", {{"h", "u", "p", "f"}}},
          {"[a]", {{"h", "u", "p", "f"}}},
          {"[b]", {}},
          {"[A]", {}}}},
        {"a header on the first line is found but not listed, InitQvftp never listed",
         Section("first", "1") + Section("InitQvftp", "2") + Section("b", "3"),
         Names{"b"},
         {{"[first]", {{"1", "u", "p", "f"}}}, {"[b]", {{"3", "u", "p", "f"}}}}},
        {"a missing key takes the later keys from the next section",
         "\n[a]\nADD=h\nPASS=p\n[b]\nADD=h2\nLOGIN=u2\nPASS=p2\nFONT=f2\n",
         Names{"a", "b"},
         {{"[a]", {{"h", std::nullopt, "p2", "f2"}}}, {"[b]", {{"h2", "u2", "p2", "f2"}}}}},
        // "[" + 47 characters + "]" and its line feed fill the 49-character match window.
        {"a header too long for the match window cannot be found",
         "\n" + Section(n46, "46") + Section(n47, "47"),
         std::nullopt,
         {{"[" + n46 + "]", {{"46", "u", "p", "f"}}}, {"[" + n47 + "]", {}}}},
        {"a last value without its line feed never ended",
         "\n[a]\nADD=h\nLOGIN=u\nPASS=p\nFONT=f",
         Names{"a"},
         {{"[a]", {{"h", "u", "p", std::nullopt}}}}},
        {"long names and values are cut, bytes that are not text are only bytes",
         "\n["s + huge + "]\n\x01\x7f\n[a]\nADD=" + huge + "\nLOGIN=u\0\xff\nPASS=p\nFONT=f\n"s,
         Names{kept, "a"},
         {{"[a]", {{kept, "u\0\xff"s, "p", "f"}}}}},
    };
    TempDir folder;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Init init;
        ASSERT_TRUE(init.OpenFile(folder.Write("connections.ini", c.contents).string()));
        if (c.listed) {
            EXPECT_EQ(init.GetListSection(), *c.listed);
        }
        for (const Lookup& lookup : c.lookups) {
            const auto entry = init.FoundEntry(lookup.marker);
            ASSERT_EQ(entry.has_value(), lookup.entry.has_value()) << lookup.marker;
            if (entry) {
                EXPECT_EQ((std::array<Field, 4>{entry->address, entry->login, entry->password,
                                                entry->font}),
                          *lookup.entry);
            }
        }
    }
}

TEST(InitTest, AMissingFileIsCreatedEmptyAndYieldsNothing) {
    TempDir folder;
    const auto path = folder / "absent.ini";
    Init init;
    ASSERT_TRUE(init.OpenFile(path.string()));
    EXPECT_EQ(std::filesystem::file_size(path), 0u);
    EXPECT_TRUE(init.GetListSection().empty());
    EXPECT_FALSE(init.FoundEntry("[a]"));
}

// Two readers at once (two imports) must not share what they have read.
TEST(InitTest, EachReaderHasItsOwnMatchWindow) {
    Init one;
    Init other;
    EXPECT_EQ(one.Search('A', "AB", true), 0);
    EXPECT_EQ(other.Search('X', "XY", true), 0);
    EXPECT_EQ(one.Search('B', "AB", false), 1);
    EXPECT_EQ(other.Search('Y', "XY", false), 1);
}

TEST(InitTest, TracesProgressButNeverAValue) {
    TempDir folder;
    Init init;
    ASSERT_TRUE(init.OpenFile(
        folder.Write("a.ini", "\n[a]\nADD=h\nLOGIN=u\nPASS=Secret123\nFONT=f\n").string()));
    std::ostringstream trace;
    init.SetTrace(&trace);
    ASSERT_TRUE(init.FoundEntry("[a]"));
    EXPECT_NE(trace.str().find("([a]) Found"), std::string::npos) << trace.str();
    EXPECT_EQ(trace.str().find("Secret123"), std::string::npos) << trace.str();
}

}  // namespace
