#include "ListingParser.h"

#include <gtest/gtest.h>

namespace {

using Kind = ListingParser::Kind;
using Outcome = ListingParser::Outcome;

struct Case {
    const char* line;
    Outcome outcome;
    Kind kind;
    const char* name;
    long long size;
};

const Case kCases[] = {
    // Runs of blanks between fields, a year instead of a time.
    {"-rw-r--r--    1 owner    group        1234 Jan  1  2024 spaced  name.txt", Outcome::Entry,
     Kind::File, "spaced  name.txt", 1234},
    // A link is cut at " ->": its target is never part of the name. The usual lines of each
    // kind are read through a whole listing in TransferPeerTest.
    {"lrwxrwxrwx 1 root root 11 Jan 01 12:00 passwd -> /etc/passwd", Outcome::Entry, Kind::Link,
     "passwd", 11},
    // Sizes beyond 32 bits.
    {"-rw-r--r-- 1 a b 5000000000 Jan 01 12:00 huge.iso", Outcome::Entry, Kind::File, "huge.iso",
     5000000000LL},
    // The line ends inside the eighth field: that field is the name.
    {"-rw-r--r-- 1 a b 5 Jan 01 lonely", Outcome::Entry, Kind::File, "lonely", 5},
    // "." and ".." directories are not shown.
    {"drwxr-xr-x 2 ftp ftp 4096 Jan 01 12:00 ..", Outcome::NotAnEntry, Kind::File, "", 0},
    {"lrwxrwxrwx 2 ftp ftp 4096 Jan 01 12:00 .. -> /", Outcome::NotAnEntry, Kind::File, "", 0},
    // DOS-style listings of Windows servers.
    {"12-31-2019  23:59                 7 late.txt", Outcome::Entry, Kind::File, "late.txt", 7},
    {"01-01-20  12:00PM       <DIR>          ..", Outcome::NotAnEntry, Kind::File, "", 0},
    {"01-01-20  12:00PM             1 ../up", Outcome::Unsafe, Kind::File, "../up", 1},
    {"01-01-20  12:00PM             1", Outcome::Malformed, Kind::File, "", 0},
    // Lines that are no entries: totals, error texts, devices.
    {"2024 was a good year", Outcome::NotAnEntry, Kind::File, "", 0},
    {"crw-rw-rw- 1 root root 1, 3 Jan 01 12:00 null", Outcome::NotAnEntry, Kind::File, "", 0},
    {"", Outcome::NotAnEntry, Kind::File, "", 0},
    // Lines that stop before the name.
    {"-rw-r--r-- 1 ftp ftp 123", Outcome::Malformed, Kind::File, "", 0},
    {"-rw-r--r-- 1 ftp ftp 123 Jan 01", Outcome::Malformed, Kind::File, "", 0},
    {"-rw-r--r-- 1 ftp ftp 123 Jan 01 12:00   ", Outcome::Malformed, Kind::File, "", 0},
    {"d", Outcome::Malformed, Kind::File, "", 0},
    // Names that would leave the local folder.
    {"-rw-r--r-- 1 a b 1 Jan 01 12:00 a/b", Outcome::Unsafe, Kind::File, "a/b", 1},
    {"drwxr-xr-x 1 a b 1 Jan 01 12:00 ../../etc", Outcome::Unsafe, Kind::Directory, "../../etc", 1},
    {"-rw-r--r-- 1 a b 1 Jan 01 12:00 ..", Outcome::Unsafe, Kind::File, "..", 1},
    {"-rw-r--r-- 1 a b 1 Jan 01 12:00 /etc/passwd", Outcome::Unsafe, Kind::File, "/etc/passwd", 1},
};

TEST(ListingParserTest, ReadsEveryKindOfLine) {
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.line);
        ListingParser::Result result = ListingParser::Parse(c.line);
        EXPECT_EQ(result.outcome, c.outcome);
        if (c.outcome == Outcome::Entry || c.outcome == Outcome::Unsafe) {
            EXPECT_EQ(result.entry.kind, c.kind);
            EXPECT_EQ(result.entry.name, c.name);
            EXPECT_EQ(result.entry.size, c.size);
        }
    }
}

TEST(ListingParserTest, LongNamesAreCut) {
    std::string name(1000, 'n');
    auto result = ListingParser::Parse("-rw-r--r-- 1 a b 1 Jan 01 12:00 " + name);
    ASSERT_EQ(result.outcome, Outcome::Entry);
    EXPECT_EQ(result.entry.name, name.substr(0, ListingParser::kNameCapacity));
}

}  // namespace
