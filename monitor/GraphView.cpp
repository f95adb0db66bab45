#include "GraphView.h"

#include <QPainter>
#include <QThread>

#include <algorithm>
#include <cmath>

#include "CrossThread.h"

namespace {

const QColor kViewColour(230, 230, 230);
const QColor kValueColour(50, 50, 150);
const QColor kBadValueColour(255, 0, 0);

// Roughly a minute of one sample a second.
constexpr QSize kPreferredSize(64, 40);

}  // namespace

GraphView::GraphView(const std::string& name, QWidget* parent) : QWidget(parent) {
    setObjectName(QString::fromStdString(name));
    setAttribute(Qt::WA_OpaquePaintEvent);
}

QSize GraphView::sizeHint() const {
    return kPreferredSize;
}

void GraphView::AddValue(float value) {
    if (QThread::currentThread() == thread()) {
        Append(value);
        return;
    }
    Post(this, [this, value] { Append(value); });
}

void GraphView::Append(float value) {
    // One column per sample: the last column is rect().right(); past it, start again on the left.
    if (samples_.size() > static_cast<std::size_t>(std::max(rect().right(), 0))) {
        samples_.clear();
    }
    samples_.push_back(value);
    update();
}

void GraphView::FitScale(int bottom) {
    for (const float value : samples_) {
        // An infinite value would halve the scale down to nothing; it fills its column instead.
        while (std::isfinite(value) && value * scale_ > static_cast<float>(bottom)) {
            scale_ /= 2;
        }
    }
}

void GraphView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), kViewColour);
    const int bottom = rect().bottom();
    // No room for a line: leave the scale alone rather than halve it away.
    if (bottom < 1) {
        return;
    }
    FitScale(bottom);
    const int height = bottom + 1;
    for (int column = 0; column < Count(); ++column) {
        const float y = samples_[column] * scale_;
        if (!(y >= 0)) {
            painter.fillRect(column, 0, 1, height, kBadValueColour);
            continue;
        }
        // Whole pixels from the bottom up; a 0 leaves the column empty.
        const int pixels = std::isfinite(y) ? static_cast<int>(std::lround(y)) : height;
        painter.fillRect(column, height - pixels, 1, pixels, kValueColour);
    }
}
