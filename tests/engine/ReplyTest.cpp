#include "Reply.h"

#include <gtest/gtest.h>

using Verdict = Reply::Verdict;

TEST(ReplyTest, JudgesLinesAgainstTheAwaitedCodes) {
    struct Case {
        const char* line;
        Verdict verdict;
    };
    // Awaiting CWD: success 250, failures 500 then 550.
    const Case cases[] = {
        {"250 Directory changed.", Verdict::Success},
        {"250-first line of a longer reply", Verdict::Success},
        {"150 file 250.txt", Verdict::Success},  // codes are found anywhere in the line
        {"500 Unknown command.", Verdict::FirstFailure},
        {"550 No such directory.", Verdict::SecondFailure},
        {"530 Not logged in.", Verdict::OtherFailure},
        {"421 Timeout.", Verdict::OtherFailure},
        {"226 Transfer complete.", Verdict::Undecided},
        {"   indented continuation", Verdict::Undecided},
        {"", Verdict::Undecided},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Reply::Judge(c.line, "250", "250", "500", "550"), c.verdict) << c.line;
    }
}

TEST(ReplyTest, NullCodesAreNotLookedFor) {
    EXPECT_EQ(Reply::Judge("550 x", "250", nullptr, nullptr, nullptr), Verdict::OtherFailure);
    EXPECT_EQ(Reply::Judge("331 x", nullptr, "331", nullptr, nullptr), Verdict::Success);
}

TEST(ReplyTest, PathOfA257Reply) {
    EXPECT_TRUE(Reply::IsPathReply("257 \"/pub\""));
    EXPECT_FALSE(Reply::IsPathReply("250 ok"));
    EXPECT_EQ(Reply::QuotedPath("257 \"/pub/incoming\" is the current directory"), "/pub/incoming");
    EXPECT_EQ(Reply::QuotedPath("257 \"/\""), "/");
    EXPECT_EQ(Reply::QuotedPath("257 \"/no/closing/quote"), "/no/closing/quote");
    EXPECT_EQ(Reply::QuotedPath("257"), "");
}
