#include "StatusTexts.h"

#include <gtest/gtest.h>

TEST(StatusTextsTest, SpeedAndRemainingTime) {
    struct Case {
        std::int64_t bytes, total, speed;
        const char* speedText;
        const char* remaining;  // for the name "a.bin"
    };
    const Case cases[] = {
        {1024, 10000, 1024, "1.0KB/10.0KB, 1024B/s", "a.bin :8.8s remaining"},
        {1025, 10000, 1025, "1.0KB/10.0KB, 1.0KB/s", "a.bin :8.8s remaining"},  // over 1024
        {2500000, 7340032, 2500, "2500.0KB/7340.0KB, 2.5KB/s", "a.bin :1936.0s remaining"},
        {2000, 10000, kSpeedStalled, "2.0KB/10.0KB, ZZzz...", ""},
        {500, 10000, kSpeedUnknown, "0.5KB/10.0KB", ""},  // the first second
    };
    for (const Case& c : cases) {
        EXPECT_EQ(SpeedText(c.bytes, c.total, c.speed), c.speedText) << c.speedText;
        EXPECT_EQ(RemainingText("a.bin", c.total, c.bytes, c.speed), c.remaining) << c.speedText;
    }
    // A name that fills the field pushes the time out rather than overflowing it.
    EXPECT_EQ(RemainingText(std::string(300, 'n'), 10, 0, 1), std::string(kTextCapacity, 'n'));
}

TEST(StatusTextsTest, CountsAndLongTextsCutOutsideMultiByteCharacters) {
    EXPECT_EQ(CountsText(0, 2), "0 File(s), 2 Directory(s) fetched...");
    EXPECT_EQ(CountsText(0, 0), "");
    EXPECT_EQ(IndexText(2, 7), "2/7");
    // 254 ASCII bytes, then a two-byte character across the limit.
    EXPECT_EQ(Bounded(std::string(254, 'x') + "\xC3\xA9tail"), std::string(254, 'x'));
    EXPECT_EQ(Bounded(std::string(253, 'x') + "\xC3\xA9tail"), std::string(253, 'x') + "\xC3\xA9");
}
