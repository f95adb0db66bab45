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

}  // namespace

// A blue file bar, half full: its slanted leading edge is at x = 142. Other buttons move the
// texts; a click of the primary button alone writes the percentage inside the bar, and only there.
TEST(IndicatorWidgetTest, TheBarFillsItsShareAndAPrimaryClickWritesThePercentageInside) {
    Indicator indicator("FileInProgress", 2);
    indicator.SetBlueBar();
    indicator.resize(300, 31);
    indicator.SetMax(100);
    indicator.SetPosition(50);
    const QImage plain = indicator.grab().toImage();
    EXPECT_EQ(plain.pixelColor(60, 21), QColor(51, 152, 255));
    EXPECT_EQ(plain.pixelColor(250, 21), QColor(Qt::white));
    Click(&indicator, Qt::RightButton, Qt::RightButton);
    EXPECT_NE(indicator.grab().toImage(), plain) << "other buttons move the texts";
    Click(&indicator, Qt::LeftButton, Qt::LeftButton | Qt::RightButton);
    EXPECT_EQ(indicator.grab().toImage(), plain) << "two buttons are not the primary alone";
    Click(&indicator, Qt::LeftButton, Qt::LeftButton);
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
