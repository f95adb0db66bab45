#include "StatusModel.h"

#include <gtest/gtest.h>

namespace {

class StatusModelTest : public ::testing::Test {
protected:
    StatusModelTest() : status([this] { return now; }) {}

    void StartFile(const std::string& name, int size) {
        status.SetTypeOperation("Receiving...");
        status.SetNameFichier(name);
        status.SetMax(size);
    }

    std::int64_t now = 1000;
    StatusModel status;
};

}  // namespace

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
    struct Step {
        int seconds;
        int bytes;
        const char* speed;
        const char* remaining;
    };
    const Step steps[] = {
        {0, 500, "0.5KB/10.0KB", ""},  // the first second shows only the counts
        {2, 1500, "2.0KB/10.0KB, 1000B/s", "a.bin :8.0s remaining"},
        {1, 0, "2.0KB/10.0KB, ZZzz...", ""},  // no name and no remaining time while stalled
    };
    for (const Step& step : steps) {
        now += step.seconds;
        status.SetNbOctet(step.bytes);
        ASSERT_TRUE(status.Update());
        const IndicatorModel file = status.View().file.figures;
        EXPECT_EQ(file.Text2(), step.speed);
        EXPECT_EQ(file.Text1(), step.remaining);
    }
    EXPECT_EQ(status.View().file.figures.Position(), 2000);
}
