#include "TransferMeter.h"

#include <gtest/gtest.h>

namespace {

const std::optional<std::string> kName = std::string("a.bin");

}  // namespace

TEST(TransferMeterTest, StopIsArmedOnceAFileHasPassed2048Bytes) {
    TransferMeter meter;
    EXPECT_FALSE(meter.Count(5000, 0)) << "bytes before the first file never touch Stop";

    meter.StartFile(5000);
    EXPECT_FALSE(meter.StopArmed());
    EXPECT_FALSE(meter.Count(2048, 0));
    EXPECT_TRUE(meter.Count(1, 0));
    EXPECT_FALSE(meter.Count(1000, 0)) << "once per file";

    meter.StartFile(2048);
    EXPECT_FALSE(meter.Count(1024, 0));
    EXPECT_FALSE(meter.Count(1024, 0));
    EXPECT_FALSE(meter.StopArmed()) << "a file under 2049 bytes never arms Stop";
}

TEST(TransferMeterTest, FirstSecondThenSpeedThenStall) {
    TransferMeter meter;
    meter.StartFile(10000);
    meter.Count(500, 100);
    std::optional<TransferMeter::Reading> reading = meter.Update(100, kName);
    ASSERT_TRUE(reading);
    EXPECT_EQ(reading->speedText, "0.5KB/10.0KB");
    EXPECT_EQ(reading->remainingText, "");
    EXPECT_EQ(reading->bytes, 500);

    meter.Count(1500, 101);
    reading = meter.Update(102, kName);
    ASSERT_TRUE(reading);
    EXPECT_EQ(meter.Speed(), 1000) << "2000 bytes over the 2 seconds since the first chunk";
    EXPECT_EQ(reading->speedText, "2.0KB/10.0KB, 1000B/s");
    EXPECT_EQ(reading->remainingText, "a.bin :8.0s remaining");

    reading = meter.Update(103, kName);
    ASSERT_TRUE(reading);
    EXPECT_EQ(reading->speedText, "2.0KB/10.0KB, ZZzz...");
    EXPECT_EQ(reading->remainingText, "");
}

TEST(TransferMeterTest, NothingToShowWithoutANameOrBytes) {
    TransferMeter meter;
    meter.StartFile(10000);
    EXPECT_FALSE(meter.Update(5, kName)) << "no byte yet";
    meter.Count(100, 5);
    EXPECT_FALSE(meter.Update(6, std::nullopt)) << "no name given yet";
    // The pulse without a name still takes the count in, so the next one sees a stall.
    ASSERT_TRUE(meter.Update(7, kName));
    EXPECT_EQ(meter.Speed(), 0);
}

TEST(TransferMeterTest, TheNextFileOfAGroupRestartsCountAndClock) {
    TransferMeter meter;
    meter.StartFile(4000);
    meter.Count(3000, 10);
    meter.RestartClock(20);
    EXPECT_EQ(meter.Bytes(), 0);
    meter.Count(2000, 21);  // the count is 0 again, so this first chunk restarts the clock
    std::optional<TransferMeter::Reading> reading = meter.Update(23, kName);
    ASSERT_TRUE(reading);
    EXPECT_EQ(meter.Speed(), 1000);
    meter.Reset();
    EXPECT_EQ(meter.Bytes(), 0);
    EXPECT_EQ(meter.Speed(), 0);
    EXPECT_EQ(meter.Total(), 4000);
}
