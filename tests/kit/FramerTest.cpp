#include "Framer.h"

#include <QApplication>
#include <QMouseEvent>

#include <gtest/gtest.h>

#include "RecordingWindow.h"

namespace {

class FramerTest : public ::testing::Test {
protected:
    FramerTest() {
        window.resize(400, 300);
        framer->setGeometry(0, 0, 301, 200);
        framer->SetRatio(0.5F);
        window.show();
    }

    // Drags the tab from x to x with button, holding held.
    void Drag(int fromX, int toX, Qt::MouseButton button, Qt::MouseButtons held) {
        const auto send = [&](QEvent::Type type, int x, Qt::MouseButton which,
                              Qt::MouseButtons down) {
            QMouseEvent event(type, QPointF(x, 50), framer->mapToGlobal(QPointF(x, 50)), which,
                              down, Qt::NoModifier);
            QApplication::sendEvent(framer, &event);
        };
        send(QEvent::MouseButtonPress, fromX, button, held);
        send(QEvent::MouseMove, (fromX + toX) / 2, Qt::NoButton, held);
        send(QEvent::MouseMove, toX, Qt::NoButton, held);
        send(QEvent::MouseButtonRelease, toX, button, Qt::NoButton);
    }

    RecordingWindow window;
    Framer* framer = new Framer("Frame1", Framer::kSideBySide, 5, &window);
};

}  // namespace

TEST_F(FramerTest, PanesMeetTheTabWhichStaysInsideAndKeepsItsShare) {
    EXPECT_EQ(framer->GetView1()->geometry(), QRect(0, 0, 147, 200));
    EXPECT_EQ(framer->GetView2()->geometry(), QRect(154, 0, 147, 200)) << "past the 7-pixel tab";
    framer->resize(601, 200);
    EXPECT_EQ(framer->GetTabPosition().x(), 300) << "lock mode 5 keeps the share";
    framer->SetRatio(1.5F);
    EXPECT_EQ(framer->GetTabPosition().x(), 599) << "the far edge less the clamp";
    framer->SetRatio(-1.0F);
    EXPECT_EQ(framer->GetTabPosition().x(), 1);
    EXPECT_EQ(framer->GetRect1().width(), 0);

    Framer stacked("Frame3boutons", Framer::kStacked, 5);
    stacked.resize(100, 201);
    stacked.SetRatio(0.25F);
    EXPECT_EQ(stacked.GetRect1(), QRect(0, 0, 100, 47));
    EXPECT_EQ(stacked.GetRect2(), QRect(0, 54, 100, 147));
}

TEST_F(FramerTest, OnlyThePrimaryButtonDragsTheTabAndNoFurtherThanThePanesAllow) {
    Drag(150, 90, Qt::RightButton, Qt::RightButton);
    Drag(150, 90, Qt::LeftButton, Qt::LeftButton | Qt::RightButton);
    EXPECT_EQ(framer->GetTabPosition().x(), 150);
    Drag(150, 90, Qt::LeftButton, Qt::LeftButton);
    EXPECT_EQ(framer->GetView1()->width(), 87);
    framer->GetView2()->setMinimumWidth(100);
    Drag(90, 290, Qt::LeftButton, Qt::LeftButton);
    EXPECT_EQ(framer->GetRect2().width(), 100) << "a pane's captions are never cut by a drag";
}
