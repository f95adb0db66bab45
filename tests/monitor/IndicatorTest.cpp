#include "IndicatorGeometry.h"
#include "IndicatorModel.h"

#include <gtest/gtest.h>

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
