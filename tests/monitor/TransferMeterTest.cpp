#include "TransferMeter.h"

#include <gtest/gtest.h>

TEST(TransferMeterTest, NothingToShowWithoutNameOrBytesAndTheNextFileRestartsTheClock) {
    const std::optional<std::string> name = "a.bin";
    TransferMeter meter;
    meter.StartFile(10000);
    EXPECT_FALSE(meter.Update(5, name)) << "no byte yet";
    meter.Count(100, 5);
    EXPECT_FALSE(meter.Update(6, std::nullopt)) << "no name given yet";
    ASSERT_TRUE(meter.Update(7, name));
    EXPECT_EQ(meter.Speed(), 0) << "the nameless pulse took the count in: a stall";

    meter.RestartClock(20);
    EXPECT_EQ(meter.Bytes(), 0);
    meter.Count(2000, 21);  // the first chunk of the next file starts its clock
    ASSERT_TRUE(meter.Update(23, name));
    EXPECT_EQ(meter.Speed(), 1000);
}
