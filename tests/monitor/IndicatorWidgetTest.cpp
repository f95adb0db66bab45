#include "Indicator.h"

#include <QApplication>
#include <QImage>
#include <QMouseEvent>

#include <gtest/gtest.h>

namespace {

void Click(QWidget* widget, Qt::MouseButton button, Qt::MouseButtons held) {
    QMouseEvent press(QEvent::MouseButtonPress, QPointF(20, 20), QPointF(20, 20), button, held,
                      Qt::NoModifier);
    QApplication::sendEvent(widget, &press);
}

// A blue file bar, half full: its slanted leading edge is at x = 142.
class IndicatorWidgetTest : public ::testing::Test {
protected:
    IndicatorWidgetTest() {
        indicator.SetBlueBar();
        indicator.resize(300, 31);
        indicator.SetMax(100);
        indicator.SetPosition(50);
    }
    Indicator indicator{"FileInProgress", 2};
    const QColor blue{51, 152, 255};
    const QColor white{255, 255, 255};
};

}  // namespace

TEST_F(IndicatorWidgetTest, ThePrimaryButtonTogglesThePercentageOthersMoveTheTexts) {
    Click(&indicator, Qt::LeftButton, Qt::LeftButton);
    EXPECT_TRUE(indicator.PercentInBar());
    Click(&indicator, Qt::RightButton, Qt::RightButton);
    EXPECT_EQ(indicator.InfoMode(), 3) << "texts below the bar";
    Click(&indicator, Qt::LeftButton, Qt::LeftButton | Qt::RightButton);
    EXPECT_EQ(indicator.InfoMode(), 2) << "two buttons count as not the primary alone";
    EXPECT_TRUE(indicator.PercentInBar());

    Indicator barOnly("bar", 7);
    Click(&barOnly, Qt::RightButton, Qt::RightButton);
    EXPECT_EQ(barOnly.InfoMode(), 1) << "a bar without texts has nothing to move";
}

TEST_F(IndicatorWidgetTest, TheBarFillsItsShareAndThePercentageIsWrittenInside) {
    const QImage plain = indicator.grab().toImage();
    EXPECT_EQ(plain.pixelColor(60, 21), blue);
    EXPECT_EQ(plain.pixelColor(250, 21), white);
    indicator.SetPercentInBar(true);
    const QImage withPercent = indicator.grab().toImage();
    int changedInside = 0;
    int changedOutside = 0;
    for (int y = 0; y < plain.height(); ++y) {
        for (int x = 0; x < plain.width(); ++x) {
            if (plain.pixel(x, y) != withPercent.pixel(x, y)) {
                (x < 142 && y >= 15 && y <= 28 ? changedInside : changedOutside)++;
            }
        }
    }
    EXPECT_GT(changedInside, 10);
    EXPECT_EQ(changedOutside, 0);
}
