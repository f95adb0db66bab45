#include "Framer.h"

#include <QMouseEvent>
#include <QPainter>

#include <algorithm>
#include <cmath>

#include "MessageHandler.h"

namespace {

const QColor kViewColour(232, 232, 232);
const QColor kTabFrameColour(170, 170, 170);

int ValidLockMode(int lockMode) {
    return (lockMode == 1 || lockMode == 2 || lockMode == 5) ? lockMode : 1;
}

}  // namespace

Framer::Framer(const std::string& name, int tabMode, int lockMode, QWidget* parent)
    : QWidget(parent),
      view1_(new QWidget(this)),
      view2_(new QWidget(this)),
      emptyView1_(view1_),
      emptyView2_(view2_),
      tabMode_(tabMode == kStacked ? kStacked : kSideBySide),
      lockMode_(ValidLockMode(lockMode)) {
    setObjectName(QString::fromStdString(name));
    view1_->setObjectName(QStringLiteral("View1"));
    view2_->setObjectName(QStringLiteral("View2"));
    setAutoFillBackground(true);
    QPalette colours = palette();
    colours.setColor(QPalette::Window, kViewColour);
    setPalette(colours);
    // Until the view is shown, the tab sits at a third, as the first split of the original did.
    position_ = Extent() / 3;
    LayOut();
}

QRect Framer::GetRect1() const {
    const int length = std::max(0, TabStart());
    return tabMode_ == kStacked ? QRect(0, 0, width(), length) : QRect(0, 0, length, height());
}

QRect Framer::GetRect2() const {
    const int start = TabStart() + tabSize_;
    const int length = std::max(0, Extent() - start);
    return tabMode_ == kStacked ? QRect(0, start, width(), length)
                                : QRect(start, 0, length, height());
}

QRect Framer::TabRect() const {
    return tabMode_ == kStacked ? QRect(0, TabStart(), width(), tabSize_)
                                : QRect(TabStart(), 0, tabSize_, height());
}

QPoint Framer::GetTabPosition() const {
    return tabMode_ == kStacked ? QPoint(0, position_) : QPoint(position_, 0);
}

void Framer::SetTabPosition(QPoint point) {
    // The original's bound: the panes and the tab together, less two pixels.
    const int farthest = std::max(1, Extent() - 2);
    position_ = std::clamp(Along(point), 1, farthest);
    LayOut();
}

void Framer::SetTabSize(int size) {
    tabSize_ = std::max(1, size);
    LayOut();
}

void Framer::SetRatio(float ratio) {
    ratio_ = std::clamp(ratio, 0.0F, 1.0F);
    PlaceAtRatio();
}

void Framer::SetLockMode(int lockMode) {
    lockMode_ = ValidLockMode(lockMode);
}

void Framer::PlaceAtRatio() {
    const int farEdge = Extent() - 1;
    const int along = static_cast<int>(ratio_ * static_cast<float>(farEdge));
    SetTabPosition(tabMode_ == kStacked ? QPoint(0, along) : QPoint(along, 0));
}

void Framer::SetView1(QWidget* view) {
    ReplaceView(view1_, view);
}

void Framer::SetView2(QWidget* view) {
    ReplaceView(view2_, view);
}

void Framer::ReplaceView(QWidget*& slot, QWidget* view) {
    if (view == nullptr || view == slot) {
        return;
    }
    QWidget* old = slot;
    slot = view;
    view->setParent(this);
    LayOut();
    view->show();
    if (old == emptyView1_ || old == emptyView2_) {
        delete old;  // ours, made only to fill the pane
        (old == emptyView1_ ? emptyView1_ : emptyView2_) = nullptr;
    } else {
        old->hide();
        old->setParent(nullptr);
    }
}

void Framer::LayOut() {
    view1_->setGeometry(GetRect1());
    view2_->setGeometry(GetRect2());
    update();
}

void Framer::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QRect tab = TabRect();
    painter.setPen(kTabFrameColour);
    painter.drawRect(tab.adjusted(0, 0, -1, -1));
}

void Framer::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    if (!shown_) {
        PlaceAtRatio();
        return;
    }
    const int oldExtent = Along(event->oldSize());
    const int newExtent = Extent();
    if (oldExtent <= 0) {
        PlaceAtRatio();
        return;
    }
    switch (lockMode_) {
        case 2: {
            const int secondPane = std::max(0, oldExtent - (TabStart() + tabSize_));
            position_ = newExtent - secondPane - tabSize_ + tabSize_ / 2;
            break;
        }
        case 5:
            position_ = static_cast<int>(std::lround(static_cast<double>(position_) *
                                                     (newExtent - 1) / std::max(1, oldExtent - 1)));
            break;
        default:
            break;  // the first pane keeps its size: the tab stays where it is
    }
    SetTabPosition(GetTabPosition());
}

void Framer::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (!shown_) {
        // The share asked for applies once the view has its real size.
        shown_ = true;
        PlaceAtRatio();
    }
}

void Framer::mousePressEvent(QMouseEvent* event) {
    // Only the primary button alone drags the tab.
    dragging_ = event->buttons() == Qt::LeftButton;
}

void Framer::mouseMoveEvent(QMouseEvent* event) {
    if (!dragging_) {
        return;
    }
    if (event->buttons() != Qt::LeftButton) {
        EndDrag();
        return;
    }
    const int along = DragLimit(Along(event->position().toPoint()));
    if (along != position_) {
        SetTabPosition(tabMode_ == kStacked ? QPoint(0, along) : QPoint(along, 0));
    }
}

// A drag stops where a pane would go below its smallest size, so no caption is cut; when the
// whole is too small for both, the tab goes where it is dragged.
int Framer::DragLimit(int along) const {
    const int least =
        Along(view1_->minimumSizeHint().expandedTo(view1_->minimumSize())) + tabSize_ / 2;
    const int most = Extent() - tabSize_ + tabSize_ / 2 -
                     Along(view2_->minimumSizeHint().expandedTo(view2_->minimumSize()));
    return least <= most ? std::clamp(along, least, most) : along;
}

void Framer::mouseReleaseEvent(QMouseEvent*) {
    if (dragging_) {
        EndDrag();
    }
}

void Framer::EndDrag() {
    dragging_ = false;
    if (messageCode_ < 1) {
        return;
    }
    if (auto* handler = dynamic_cast<MessageHandler*>(window())) {
        handler->PostMessage(Message(static_cast<std::uint32_t>(messageCode_)));
    }
}
