// One line of a LIST listing (Unix ls -l or DOS) and of an MLSD listing (RFC 3659).
#include <gtest/gtest.h>

#include "ListingParser.h"
#include "MlsdParser.h"

namespace {

using Kind = ListingParser::Kind;
using Outcome = ListingParser::Outcome;

struct Case {
    std::string line;
    Outcome outcome;
    Kind kind = Kind::File;
    std::string name = {};
    long long size = 0;
    std::optional<std::time_t> modified = {};
};

void Check(ListingParser::Result (*parse)(std::string_view), const std::vector<Case>& cases) {
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.line.substr(0, 80)));
        ListingParser::Result result = parse(c.line);
        EXPECT_EQ(result.outcome, c.outcome);
        if (c.outcome == Outcome::Entry || c.outcome == Outcome::Unsafe) {
            EXPECT_EQ(result.entry.kind, c.kind);
            EXPECT_EQ(result.entry.name, c.name);
            EXPECT_EQ(result.entry.size, c.size);
            EXPECT_EQ(result.entry.modified, c.modified);
        }
    }
}

TEST(ListingParserTest, ReadsEveryKindOfLine) {
    const std::string longName(1000, 'n');
    Check(ListingParser::Parse,
          {
              // Runs of blanks between fields, a year instead of a time.
              {"-rw-r--r--    1 owner    group        1234 Jan  1  2024 spaced  name.txt",
               Outcome::Entry, Kind::File, "spaced  name.txt", 1234},
              // A link is cut at " ->": its target is never part of the name.
              {"lrwxrwxrwx 1 root root 11 Jan 01 12:00 passwd -> /etc/passwd", Outcome::Entry,
               Kind::Link, "passwd", 11},
              {"-rw-r--r-- 1 a b 5000000000 Jan 01 12:00 huge.iso", Outcome::Entry, Kind::File,
               "huge.iso", 5000000000LL},
              // The line ends inside the eighth field: that field is the name.
              {"-rw-r--r-- 1 a b 5 Jan 01 lonely", Outcome::Entry, Kind::File, "lonely", 5},
              {"-rw-r--r-- 1 a b 1 Jan 01 12:00 " + longName, Outcome::Entry, Kind::File,
               longName.substr(0, ListingParser::kNameCapacity), 1},
              {"drwxr-xr-x 2 ftp ftp 4096 Jan 01 12:00 ..", Outcome::NotAnEntry},
              {"lrwxrwxrwx 2 ftp ftp 4096 Jan 01 12:00 .. -> /", Outcome::NotAnEntry},
              // DOS-style listings of Windows servers.
              {"12-31-2019  23:59                 7 late.txt", Outcome::Entry, Kind::File,
               "late.txt", 7},
              {"01-01-20  12:00PM       <DIR>          ..", Outcome::NotAnEntry},
              {"01-01-20  12:00PM             1 ../up", Outcome::Unsafe, Kind::File, "../up", 1},
              {"01-01-20  12:00PM             1", Outcome::Malformed},
              // Totals, error texts, devices.
              {"2024 was a good year", Outcome::NotAnEntry},
              {"crw-rw-rw- 1 root root 1, 3 Jan 01 12:00 null", Outcome::NotAnEntry},
              {"", Outcome::NotAnEntry},
              // Lines that stop before the name.
              {"-rw-r--r-- 1 ftp ftp 123", Outcome::Malformed},
              {"-rw-r--r-- 1 ftp ftp 123 Jan 01 12:00   ", Outcome::Malformed},
              {"d", Outcome::Malformed},
              // Names that would leave the local folder.
              {"-rw-r--r-- 1 a b 1 Jan 01 12:00 a/b", Outcome::Unsafe, Kind::File, "a/b", 1},
              {"drwxr-xr-x 1 a b 1 Jan 01 12:00 ../../etc", Outcome::Unsafe, Kind::Directory,
               "../../etc", 1},
              {"-rw-r--r-- 1 a b 1 Jan 01 12:00 ..", Outcome::Unsafe, Kind::File, "..", 1},
          });
}

TEST(MlsdParserTest, ReadsFactsLines) {
    const std::time_t newYearNoon = 1704110400;  // 2024-01-01 12:00:00 UTC
    Check(MlsdParser::Parse,
          {
              // The name is all after the first space: its own spaces, semicolons and equals too.
              {"type=file;size=5000000000;modify=20240101120000; name with spaces", Outcome::Entry,
               Kind::File, "name with spaces", 5000000000LL, newYearNoon},
              {"type=file;size=1;  two  spaces;a=b ", Outcome::Entry, Kind::File,
               " two  spaces;a=b ", 1},
              // Fact names and type values in any case, facts in any order, unknown facts ignored.
              {"Modify=20240101120000.123;UNIX.mode=0644;Size=7;Type=FILE; f", Outcome::Entry,
               Kind::File, "f", 7, newYearNoon},
              {"type=dir;size=4096;perm=el; docs", Outcome::Entry, Kind::Directory, "docs", 4096},
              {"type=OS.unix=slink:/etc; etc", Outcome::Entry, Kind::Link, "etc"},
              {"type=OS.unix=symlink;size=11; passwd", Outcome::Entry, Kind::Link, "passwd", 11},
              // A malformed time is no time; the entry stays.
              {"type=file;size=3;modify=20241340250000; t", Outcome::Entry, Kind::File, "t", 3},
              // The listed folder, its parent and unknown types are no entries.
              {"type=cdir;modify=20240101120000; /pub", Outcome::NotAnEntry},
              {"type=pdir; ..", Outcome::NotAnEntry},
              {"type=OS.unix=chr-13/29; tty", Outcome::NotAnEntry},
              {" no facts", Outcome::NotAnEntry},
              // Names that would leave the local folder.
              {"type=file;size=1; ..", Outcome::Unsafe, Kind::File, "..", 1},
              {"type=file;size=1; a/b", Outcome::Unsafe, Kind::File, "a/b", 1},
              {std::string("type=file; a\0b", 14), Outcome::Unsafe, Kind::File,
               std::string("a\0b", 3)},
              {"type=file; a\rb", Outcome::Unsafe, Kind::File, "a\rb"},
              // No name, sizes past 64 bits or not numbers, broken or repeated facts, names
              // longer than a local name may be.
              {"type=file;size=5;", Outcome::Malformed},
              {"type=file;size=9223372036854775808; big", Outcome::Malformed},
              {"type=file;size=12ab; x", Outcome::Malformed},
              {"type=file;SIZE=1;size=2; twice", Outcome::Malformed},
              {"type=file;noequals; x", Outcome::Malformed},
              {"type=file; " + std::string(256, 'n'), Outcome::Malformed},
              {"type=file;x=" + std::string(100000, 'v') + "; " + std::string(100000, 'n'),
               Outcome::Malformed},
          });
}

}  // namespace
