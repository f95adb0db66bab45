#include "MlsdParser.h"

#include <gtest/gtest.h>

namespace {

using Kind = ListingParser::Kind;
using Outcome = ListingParser::Outcome;

// 2024-01-01 12:00:00 UTC.
constexpr std::time_t kNewYearNoon = 1704110400;

TEST(MlsdParserTest, ReadsFactsLines) {
    struct Case {
        std::string line;
        Outcome outcome;
        Kind kind;
        std::string name;
        long long size;
        std::optional<std::time_t> modified;
    };
    const std::string longName(256, 'n');
    const Case cases[] = {
        // The name is all after the first space: its own spaces, semicolons and equals signs too.
        {"type=file;size=5000000000;modify=20240101120000; name with spaces", Outcome::Entry,
         Kind::File, "name with spaces", 5000000000LL, kNewYearNoon},
        {"type=file;size=1;  two  spaces;a=b ",
         Outcome::Entry,
         Kind::File,
         " two  spaces;a=b ",
         1,
         {}},
        // Fact names and type values in any case, facts in any order, unknown facts ignored.
        {"Modify=20240101120000.123;UNIX.mode=0644;Size=7;Type=FILE; f", Outcome::Entry, Kind::File,
         "f", 7, kNewYearNoon},
        {"type=dir;size=4096;perm=el; docs", Outcome::Entry, Kind::Directory, "docs", 4096, {}},
        {"type=OS.unix=slink:/etc; etc", Outcome::Entry, Kind::Link, "etc", 0, {}},
        {"type=OS.unix=symlink;size=11; passwd", Outcome::Entry, Kind::Link, "passwd", 11, {}},
        // A malformed time is no time; the entry stays.
        {"type=file;size=3;modify=20241340250000; t", Outcome::Entry, Kind::File, "t", 3, {}},
        // The listed folder, its parent and unknown types are no entries.
        {"type=cdir;modify=20240101120000; /pub", Outcome::NotAnEntry, Kind::File, "", 0, {}},
        {"type=pdir; ..", Outcome::NotAnEntry, Kind::File, "", 0, {}},
        {"type=OS.unix=chr-13/29; tty", Outcome::NotAnEntry, Kind::File, "", 0, {}},
        {" no facts", Outcome::NotAnEntry, Kind::File, "", 0, {}},
        // Names that would leave the local folder.
        {"type=file;size=1; ..", Outcome::Unsafe, Kind::File, "..", 1, {}},
        {"type=file;size=1; a/b", Outcome::Unsafe, Kind::File, "a/b", 1, {}},
        {std::string("type=file; a\0b", 14),
         Outcome::Unsafe,
         Kind::File,
         std::string("a\0b", 3),
         0,
         {}},
        {"type=file; a\rb", Outcome::Unsafe, Kind::File, "a\rb", 0, {}},
        // Lines that cannot be trusted: no name, broken or repeated facts, sizes past 64 bits or
        // not numbers, names longer than a local name may be.
        {"type=file;size=5;", Outcome::Malformed, Kind::File, "", 0, {}},
        {"type=file;size=9223372036854775808; big", Outcome::Malformed, Kind::File, "", 0, {}},
        {"type=file;size=12ab; x", Outcome::Malformed, Kind::File, "", 0, {}},
        {"type=file;SIZE=1;size=2; twice", Outcome::Malformed, Kind::File, "", 0, {}},
        {"type=file;noequals; x", Outcome::Malformed, Kind::File, "", 0, {}},
        {"type=file; " + longName, Outcome::Malformed, Kind::File, "", 0, {}},
        {"type=file;x=" + std::string(100000, 'v') + "; " + std::string(100000, 'n'),
         Outcome::Malformed,
         Kind::File,
         "",
         0,
         {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.line.substr(0, 80)));
        ListingParser::Result result = MlsdParser::Parse(c.line);
        EXPECT_EQ(result.outcome, c.outcome);
        if (c.outcome == Outcome::Entry || c.outcome == Outcome::Unsafe) {
            EXPECT_EQ(result.entry.kind, c.kind);
            EXPECT_EQ(result.entry.name, c.name);
            EXPECT_EQ(result.entry.size, c.size);
            EXPECT_EQ(result.entry.modified, c.modified);
        }
    }
}

}  // namespace
