#include "StatusTexts.h"

#include <gtest/gtest.h>

TEST(StatusTextsTest, SpeedIsInBytesUpTo1024AndInKilobytesOfAThousandAbove) {
    EXPECT_EQ(SpeedText(1024, 10000, 1024), "1.0KB/10.0KB, 1024B/s");
    EXPECT_EQ(SpeedText(1025, 10000, 1025), "1.0KB/10.0KB, 1.0KB/s");
    EXPECT_EQ(SpeedText(1500, 10000, 1), "1.5KB/10.0KB, 1B/s");
    EXPECT_EQ(SpeedText(2500000, 7340032, 2500), "2500.0KB/7340.0KB, 2.5KB/s");
}

TEST(StatusTextsTest, StalledAndFirstSecondShowOnlyTheCounts) {
    EXPECT_EQ(SpeedText(2000, 10000, kSpeedStalled), "2.0KB/10.0KB, ZZzz...");
    EXPECT_EQ(SpeedText(500, 10000, kSpeedUnknown), "0.5KB/10.0KB");
    EXPECT_EQ(RemainingText("a.bin", 10000, 2000, kSpeedStalled), "");
    EXPECT_EQ(RemainingText("a.bin", 10000, 2000, kSpeedUnknown), "");
}

TEST(StatusTextsTest, RemainingTimeFollowsTheName) {
    EXPECT_EQ(RemainingText("a.bin", 10000, 2000, 1000), "a.bin :8.0s remaining");
    EXPECT_EQ(RemainingText("b", 1000, 0, 3), "b :333.3s remaining");
    // A name that fills the field pushes the time out rather than overflowing it.
    const std::string longName(300, 'n');
    EXPECT_EQ(RemainingText(longName, 10, 0, 1), std::string(kTextCapacity, 'n'));
}

TEST(StatusTextsTest, CountsOfAListingAndOfAGroup) {
    EXPECT_EQ(CountsText(3, 1), "3 File(s), 1 Directory(s) fetched...");
    EXPECT_EQ(CountsText(0, 2), "0 File(s), 2 Directory(s) fetched...");
    EXPECT_EQ(CountsText(0, 0), "");
    EXPECT_EQ(IndexText(2, 7), "2/7");
}

TEST(StatusTextsTest, LongTextsAreCutOutsideMultiByteCharacters) {
    EXPECT_EQ(Bounded("short"), "short");
    // 254 ASCII bytes, then a two-byte character across the limit.
    const std::string text = std::string(254, 'x') + "\xC3\xA9" + "tail";
    EXPECT_EQ(Bounded(text), std::string(254, 'x'));
    const std::string fits = std::string(253, 'x') + "\xC3\xA9" + "tail";
    EXPECT_EQ(Bounded(fits), std::string(253, 'x') + "\xC3\xA9");
}
