#include "IndicatorGeometry.h"
#include "IndicatorModel.h"

#include <gtest/gtest.h>

TEST(IndicatorModelTest, SetMaxKeepsANonPositiveMaxButAlwaysResetsThePosition) {
    IndicatorModel bar;
    bar.SetMax(100);
    bar.SetPosition(40);
    bar.SetMax(0);
    EXPECT_EQ(bar.Max(), 100);
    EXPECT_EQ(bar.Position(), 0);
    bar.SetPosition(10);
    bar.SetMax(-5);
    EXPECT_EQ(bar.Max(), 100);
    EXPECT_EQ(bar.Position(), 0);
    bar.SetMax(7);
    EXPECT_EQ(bar.Max(), 7);
}

TEST(IndicatorModelTest, SetPositionNeverMovesABarBackThroughZero) {
    IndicatorModel bar;
    bar.SetMax(100);
    bar.SetPosition(50);
    bar.SetPosition(0);
    EXPECT_EQ(bar.Position(), 50);
    bar.SetPosition(-3);
    EXPECT_EQ(bar.Position(), 50);
    bar.SetPosition(20);
    EXPECT_EQ(bar.Position(), 20);
    bar.SetPosition(70);
    EXPECT_EQ(bar.Position(), 70);
    bar.Add(5);
    EXPECT_EQ(bar.Position(), 75);
    bar.Add(2147483647);
    EXPECT_EQ(bar.Position(), 2147483647) << "saturates instead of wrapping";
}

TEST(IndicatorModelTest, TextsAreBounded) {
    IndicatorModel bar;
    bar.SetText1(std::string(400, 'a'));
    bar.SetText2("1/3");
    EXPECT_EQ(bar.Text1().size(), 255u);
    EXPECT_EQ(bar.Text2(), "1/3");
}

TEST(IndicatorGeometryTest, TheBoxLeavesALineForTheTextsAboveOrBelow) {
    const IndicatorGeometry above = IndicatorGeometry::For(300, 31, 2);
    EXPECT_EQ(above.bounds, (PixelRect{0, 0, 299, 30}));
    EXPECT_EQ(above.box, (PixelRect{0, 13, 299, 30}));
    EXPECT_EQ(above.bar, (PixelRect{2, 15, 297, 28}));
    const IndicatorGeometry below = IndicatorGeometry::For(300, 31, 3);
    EXPECT_EQ(below.box, (PixelRect{0, 0, 299, 17}));
    const IndicatorGeometry barOnly = IndicatorGeometry::For(300, 31, 1);
    EXPECT_EQ(barOnly.box, barOnly.bounds);
    EXPECT_EQ(ValidInfoMode(0), 1);
    EXPECT_EQ(ValidInfoMode(4), 1);
    EXPECT_EQ(ValidInfoMode(3), 3);
}

TEST(IndicatorGeometryTest, TheSlantedEdgeRunsFromBeforeTheBarToJustPastIt) {
    const PixelRect bar{2, 15, 297, 28};  // 295 wide, 13 high
    EXPECT_EQ(LeadingEdge(bar, 0, 100), -13) << "the whole slant lies left of the bar";
    EXPECT_EQ(LeadingEdge(bar, 50, 100), 142);
    EXPECT_EQ(LeadingEdge(bar, 100, 100), 298) << "3 pixels more at a full bar";
    EXPECT_EQ(LeadingEdge(bar, 250, 100), 298) << "the position is taken up to max";
    EXPECT_EQ(PercentBaseline(bar), 26);
}

TEST(IndicatorGeometryTest, PercentageIsTruncated) {
    EXPECT_EQ(PercentText(50, 100), "50%");
    EXPECT_EQ(PercentText(2, 3), "66%");
    EXPECT_EQ(PercentText(150, 100), "100%");
    EXPECT_EQ(PercentText(-5, 100), "0%");
}
