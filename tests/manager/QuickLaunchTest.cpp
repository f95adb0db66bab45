#include "QuickLaunch.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "ByteWriter.h"
#include "TempDir.h"

namespace {

// A line as the file holds it: its length counting the zero byte, the text, the zero byte.
std::string Line(const std::string& text) {
    return ByteWriter().Int(static_cast<std::int32_t>(text.size() + 1)).Raw(text).Byte(0).Bytes();
}

TEST(QuickLaunchTest, WritesSevenLinesAndReadsThemBack) {
    TempDir folder;
    const std::string path = (folder / "work.tql").string();
    QuickLaunch::Form form{"ftp.example.org/pub", "alice", "s3cret", "/home/a/", "/pub", "2121"};
    ASSERT_TRUE(QuickLaunch::Write(path, form));
    EXPECT_EQ(TempDir::Read(path), Line("TarvikQuick-Launch") + Line("ftp.example.org/pub") +
                                       Line("alice") + Line("s3cret") + Line("/home/a/") +
                                       Line("/pub") + Line("2121"));
    struct stat info {};
    ASSERT_EQ(stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u) << "it holds a password";
    auto read = QuickLaunch::Read(path);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->host, form.host);
    EXPECT_EQ(read->port, form.port);
}

TEST(QuickLaunchTest, ForeignOrTruncatedFiles) {
    TempDir folder;
    const std::string zero(4, '\0');
    EXPECT_FALSE(QuickLaunch::Read((folder / "missing").string()));
    const auto fifo = folder / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_FALSE(QuickLaunch::Read(fifo.string())) << "refused, not waited on";
    EXPECT_FALSE(QuickLaunch::Read(folder.Write("foreign", Line("SomethingElse")).string()));
    EXPECT_FALSE(QuickLaunch::Read(folder.Write("zero", zero).string()));
    const std::string huge = ByteWriter().Int(5121).Raw(std::string(5121, 'x')).Bytes();
    EXPECT_FALSE(QuickLaunch::Read(folder.Write("huge", huge).string()))
        << "one beyond the longest";
    // A later line out of range, or a file cut short, leaves the field empty.
    auto partial = QuickLaunch::Read(
        folder.Write("partial", Line("TarvikQuick-Launch") + Line("host") + zero).string());
    ASSERT_TRUE(partial);
    EXPECT_EQ(partial->host, "host");
    EXPECT_EQ(partial->user, "");
}

}  // namespace
