// The figures the status window shows, computed apart from any widget.
#include <gtest/gtest.h>

#include "IndicatorGeometry.h"
#include "IndicatorModel.h"
#include "StatusModel.h"
#include "StatusTexts.h"

TEST(IndicatorModelTest, TheBarNeverMovesBackThroughZeroAndCountsPast4GiB) {
    IndicatorModel bar;
    bar.SetMax(100);
    bar.SetPosition(40);
    bar.SetMax(0);
    EXPECT_EQ(bar.Max(), 100) << "a max of 0 or less is ignored";
    EXPECT_EQ(bar.Position(), 0) << "but the position restarts";
    bar.SetPosition(50);
    bar.SetPosition(0);
    bar.SetPosition(-3);
    EXPECT_EQ(bar.Position(), 50);
    bar.SetPosition(20);
    EXPECT_EQ(bar.Position(), 20);
    bar.SetMax(6'000'000'000);
    bar.SetPosition(5'000'000'000);
    EXPECT_EQ(bar.Position(), 5'000'000'000);
    EXPECT_EQ(PercentText(bar.Position(), bar.Max()), "83%") << "truncated, not rounded";
    EXPECT_EQ(PercentText(150, 100), "100%");
    EXPECT_EQ(PercentText(-5, 100), "0%");
}

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
    // 254 ASCII bytes, then a two-byte character across the limit.
    EXPECT_EQ(Bounded(std::string(254, 'x') + "\xC3\xA9tail"), std::string(254, 'x'));
    EXPECT_EQ(Bounded(std::string(253, 'x') + "\xC3\xA9tail"), std::string(253, 'x') + "\xC3\xA9");
}

class StatusModelTest : public ::testing::Test {
protected:
    void StartFile(const std::string& name, int size) {
        status.SetTypeOperation("Receiving...");
        status.SetNameFichier(name);
        status.SetMax(size);
    }

    std::int64_t now = 1000;
    StatusModel status{[this] { return now; }};
};

TEST_F(StatusModelTest, AGroupShowsItsIndicatorAndRestartsTheCountButAGroupOfOneIsNoGroup) {
    StartFile("a.bin", 10000);
    status.SetNbOctet(700);
    const StatusView before = status.View();
    EXPECT_FALSE(status.SetNbFile(1, 1));
    EXPECT_EQ(status.View(), before);

    EXPECT_TRUE(status.SetNbFile(1, 3));
    EXPECT_TRUE(status.View().group.visible);
    EXPECT_EQ(status.View().group.figures.Text2(), "1/3");
    EXPECT_EQ(status.Bytes(), 0);
    StartFile("b.bin", 4000);
    EXPECT_EQ(status.View().group.figures.Text1(), "Multiple files.");
    status.SetNbFile(2, 3);
    EXPECT_EQ(status.View().group.figures.Position(), 2);
    EXPECT_EQ(status.View().group.figures.Text2(), "2/3");
    status.SetNbOctet(900);
    status.Reset();
    EXPECT_FALSE(status.View().group.visible);
    EXPECT_FALSE(status.View().file.visible);
    EXPECT_EQ(status.Bytes(), 0) << "the next transfer counts from 0";
}

TEST_F(StatusModelTest, ThePulseShowsCountsThenSpeedAndRemainingTimeThenTheStall) {
    StartFile("a.bin", 10000);
    EXPECT_TRUE(status.View().file.visible);
    EXPECT_EQ(status.View().file.figures.Text1(), "a.bin");
    const struct {
        int seconds;
        int bytes;
        const char* speed;
        const char* remaining;
    } steps[] = {
        {0, 500, "0.5KB/10.0KB", ""},  // the first second shows only the counts
        {2, 1500, "2.0KB/10.0KB, 1000B/s", "a.bin :8.0s remaining"},
        {1, 0, "2.0KB/10.0KB, ZZzz...", ""},  // no name and no remaining time while stalled
    };
    for (const auto& step : steps) {
        now += step.seconds;
        status.SetNbOctet(step.bytes);
        ASSERT_TRUE(status.Update());
        const IndicatorModel file = status.View().file.figures;
        EXPECT_EQ(file.Text2(), step.speed);
        EXPECT_EQ(file.Text1(), step.remaining);
    }
    EXPECT_EQ(status.View().file.figures.Position(), 2000);
}
