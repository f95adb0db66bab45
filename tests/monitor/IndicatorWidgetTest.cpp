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

QColor PixelAt(QWidget& widget, int x, int y) {
    return widget.grab().toImage().pixelColor(x, y);
}

}  // namespace

TEST(IndicatorWidgetTest, ThePrimaryButtonTogglesThePercentageOthersMoveTheTexts) {
    Indicator indicator("FileInProgress", 2);
    Click(&indicator, Qt::LeftButton, Qt::LeftButton);
    EXPECT_TRUE(indicator.PercentInBar());
    EXPECT_EQ(indicator.InfoMode(), 2);

    Click(&indicator, Qt::RightButton, Qt::RightButton);
    EXPECT_EQ(indicator.InfoMode(), 3) << "texts below the bar";
    Click(&indicator, Qt::LeftButton, Qt::LeftButton | Qt::RightButton);
    EXPECT_EQ(indicator.InfoMode(), 2) << "two buttons count as not the primary alone";
    EXPECT_TRUE(indicator.PercentInBar());

    Indicator barOnly("bar", 7);
    EXPECT_EQ(barOnly.InfoMode(), 1);
    Click(&barOnly, Qt::RightButton, Qt::RightButton);
    EXPECT_EQ(barOnly.InfoMode(), 1);
}

TEST(IndicatorWidgetTest, NullTextsAreIgnored) {
    Indicator indicator("Multiple files...", 2);
    indicator.SetText1("Multiple files.");
    indicator.SetText1(static_cast<const char*>(nullptr));
    indicator.SetText2(static_cast<const char*>(nullptr));
    EXPECT_EQ(indicator.Text1(), "Multiple files.");
    EXPECT_EQ(indicator.Text2(), "");
}

TEST(IndicatorWidgetTest, TheBlueBarFillsItsShareAndStopsAtTheSlant) {
    Indicator indicator("FileInProgress", 2);
    indicator.SetBlueBar();
    indicator.resize(300, 31);
    const int barTop = 15;
    const int middle = 21;

    indicator.SetMax(0);
    indicator.SetPosition(50);
    EXPECT_EQ(PixelAt(indicator, 60, middle), QColor(255, 255, 255)) << "no max, no fill";

    indicator.SetMax(100);
    indicator.SetPosition(50);  // leading edge at x = 142 on a 300 pixel bar
    EXPECT_EQ(PixelAt(indicator, 60, middle), QColor(51, 152, 255));
    EXPECT_EQ(PixelAt(indicator, 250, middle), QColor(255, 255, 255));
    // The slant: just right of the edge the top row is empty while the bottom row is filled.
    EXPECT_EQ(PixelAt(indicator, 150, barTop + 1), QColor(255, 255, 255));
    EXPECT_EQ(PixelAt(indicator, 150, 27), QColor(51, 152, 255));
}

TEST(IndicatorWidgetTest, ThePercentageIsWrittenInsideTheFilledPart) {
    Indicator indicator("FileInProgress", 2);
    indicator.SetBlueBar();
    indicator.resize(300, 31);
    indicator.SetMax(100);
    indicator.SetPosition(50);
    const QImage plain = indicator.grab().toImage();
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
