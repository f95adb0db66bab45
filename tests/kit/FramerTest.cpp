#include "Framer.h"

#include <QApplication>
#include <QMouseEvent>

#include <gtest/gtest.h>

#include "GuiWait.h"
#include "RecordingWindow.h"

namespace {

void Mouse(QWidget* widget, QEvent::Type type, QPoint at, Qt::MouseButton button,
           Qt::MouseButtons held) {
    QMouseEvent event(type, QPointF(at), QPointF(widget->mapToGlobal(at)), button, held,
                      Qt::NoModifier);
    QApplication::sendEvent(widget, &event);
}

class FramerTest : public ::testing::Test {
protected:
    FramerTest() {
        window.resize(400, 300);
        framer = new Framer("Frame1", Framer::kSideBySide, 1, &window);
        framer->setGeometry(0, 0, 301, 200);
    }

    // The tab sits across x in a side-by-side framer.
    void Drag(int fromX, int toX, Qt::MouseButton button, Qt::MouseButtons held) {
        const int y = 50;
        Mouse(framer, QEvent::MouseButtonPress, {fromX, y}, button, held);
        Mouse(framer, QEvent::MouseMove, {(fromX + toX) / 2, y}, Qt::NoButton, held);
        Mouse(framer, QEvent::MouseMove, {toX, y}, Qt::NoButton, held);
        Mouse(framer, QEvent::MouseButtonRelease, {toX, y}, button, Qt::NoButton);
    }

    RecordingWindow window;
    Framer* framer;
};

}  // namespace

TEST_F(FramerTest, ModesOutsideTheKnownOnesFallBack) {
    Framer fifth("f", 5, 3);
    EXPECT_EQ(fifth.GetTabMode(), Framer::kSideBySide);
    EXPECT_EQ(fifth.GetLockMode(), 1);
    Framer stacked("s", Framer::kStacked, 2);
    EXPECT_EQ(stacked.GetTabMode(), Framer::kStacked);
    EXPECT_EQ(stacked.GetLockMode(), 2);
    stacked.SetLockMode(0);
    EXPECT_EQ(stacked.GetLockMode(), 1);
    stacked.SetLockMode(5);
    EXPECT_EQ(stacked.GetLockMode(), 5);
    EXPECT_EQ(fifth.GetView1()->objectName(), QStringLiteral("View1"));
    EXPECT_EQ(fifth.GetView2()->objectName(), QStringLiteral("View2"));
}

TEST_F(FramerTest, RatioIsClampedAndTheTabKeptInside) {
    framer->SetRatio(1.5F);
    EXPECT_FLOAT_EQ(framer->GetRatio(), 1.0F);
    EXPECT_EQ(framer->GetTabPosition().x(), framer->width() - 2) << "the far edge less the clamp";

    framer->SetRatio(-1.0F);
    EXPECT_FLOAT_EQ(framer->GetRatio(), 0.0F);
    EXPECT_EQ(framer->GetTabPosition().x(), 1);
    EXPECT_EQ(framer->GetRect1().width(), 0);

    framer->SetRatio(0.5F);
    EXPECT_EQ(framer->GetTabPosition().x(), 150);
    // The panes meet the tab on either side and fill the rest.
    const QRect first = framer->GetRect1();
    const QRect second = framer->GetRect2();
    EXPECT_EQ(first.left(), 0);
    EXPECT_EQ(second.left() - first.right() - 1, framer->GetTabSize());
    EXPECT_EQ(second.right(), framer->width() - 1);
    EXPECT_EQ(first.height(), framer->height());
    EXPECT_EQ(framer->GetView1()->geometry(), first);
    EXPECT_EQ(framer->GetView2()->geometry(), second);
}

TEST_F(FramerTest, StackedPanesSplitTheHeight) {
    Framer stacked("Frame3boutons", Framer::kStacked, 1);
    stacked.resize(100, 201);
    stacked.SetRatio(0.25F);
    EXPECT_EQ(stacked.GetTabPosition().y(), 50);
    EXPECT_EQ(stacked.GetRect1(), QRect(0, 0, 100, 47));
    EXPECT_EQ(stacked.GetRect2().top(), 54);
    EXPECT_EQ(stacked.GetRect2().bottom(), 200);
}

TEST_F(FramerTest, ANewPaneTakesThePlaceAndTheOldOneIsHandedBack) {
    framer->SetRatio(0.5F);
    auto* mine = new QWidget;
    framer->SetView1(mine);
    EXPECT_EQ(framer->GetView1(), mine);
    EXPECT_EQ(mine->parentWidget(), framer);
    EXPECT_EQ(mine->geometry(), framer->GetRect1());

    QWidget replacement;
    framer->SetView1(&replacement);
    EXPECT_EQ(mine->parentWidget(), nullptr) << "removed, not deleted";
    delete mine;
    framer->SetView1(nullptr);
    EXPECT_EQ(framer->GetView1(), &replacement);
    replacement.setParent(nullptr);
}

TEST_F(FramerTest, LockModesShareAResize) {
    window.show();
    framer->SetRatio(0.5F);
    const int secondWidth = framer->GetRect2().width();
    const int firstWidth = framer->GetRect1().width();

    framer->SetLockMode(2);
    framer->resize(401, 200);
    EXPECT_EQ(framer->GetRect2().width(), secondWidth) << "lock mode 2 keeps the second pane";
    EXPECT_EQ(framer->GetRect1().width(), firstWidth + 100);

    framer->SetLockMode(1);
    framer->resize(301, 200);
    EXPECT_EQ(framer->GetRect1().width(), firstWidth + 100) << "lock mode 1 keeps the first pane";

    framer->SetLockMode(5);
    framer->SetRatio(0.5F);
    framer->resize(601, 200);
    EXPECT_EQ(framer->GetTabPosition().x(), 300) << "lock mode 5 keeps the share";
}

TEST_F(FramerTest, OnlyThePrimaryButtonDragsAndTheEndOfADragIsPosted) {
    window.show();
    framer->SetRatio(0.5F);
    framer->SendMessageIfMoved(61);
    EXPECT_EQ(framer->GetMessW(), 61);

    Drag(150, 90, Qt::RightButton, Qt::RightButton);
    Drag(150, 90, Qt::LeftButton, Qt::LeftButton | Qt::RightButton);
    EXPECT_EQ(framer->GetTabPosition().x(), 150);

    Drag(150, 90, Qt::LeftButton, Qt::LeftButton);
    EXPECT_EQ(framer->GetTabPosition().x(), 90);
    EXPECT_EQ(framer->GetView1()->width(), 87);
    ASSERT_TRUE(WaitUntil([&] { return !window.Received().empty(); }));
    Settle();
    EXPECT_EQ(window.Codes(), std::vector<std::uint32_t>{61}) << "one message, for the one drag";

    framer->SendMessageIfMoved(0);
    Drag(90, 120, Qt::LeftButton, Qt::LeftButton);
    Settle();
    EXPECT_EQ(framer->GetTabPosition().x(), 120);
    EXPECT_EQ(window.Received().size(), 1u) << "code 0 posts nothing";
}
