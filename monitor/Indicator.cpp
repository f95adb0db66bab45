#include "Indicator.h"

#include <QMouseEvent>
#include <QPainter>

#include "StatusTexts.h"

namespace {

const QColor kViewColour(230, 230, 230);
const QColor kBackground(255, 255, 255);
const QColor kFrame(170, 170, 170);
const QColor kText(0, 0, 0);
const QColor kGreyBar(170, 170, 170);
const QColor kBlueBar(51, 152, 255);

QRect ToQRect(const PixelRect& rect) {
    return QRect(QPoint(rect.left, rect.top), QPoint(rect.right, rect.bottom));
}

QColor Lighter(const QColor& colour) {
    return QColor((colour.red() + 255) / 2, (colour.green() + 255) / 2, (colour.blue() + 255) / 2);
}

QColor Darker(const QColor& colour, int numerator, int denominator) {
    return QColor(colour.red() * numerator / denominator, colour.green() * numerator / denominator,
                  colour.blue() * numerator / denominator);
}

void Line(QPainter& painter, const QColor& colour, int x1, int y1, int x2, int y2) {
    painter.setPen(colour);
    painter.drawLine(QPoint(x1, y1), QPoint(x2, y2));
}

}  // namespace

Indicator::Indicator(const std::string& name, int infoMode, QWidget* parent)
    : QWidget(parent), infoMode_(ValidInfoMode(infoMode)), barColour_(kGreyBar) {
    setObjectName(QString::fromStdString(name));
    setAttribute(Qt::WA_OpaquePaintEvent);
}

void Indicator::SetMax(std::int64_t max) {
    figures_.SetMax(max);
    update();
}

void Indicator::SetPosition(std::int64_t position) {
    figures_.SetPosition(position);
    update();
}

void Indicator::Add(std::int64_t amount) {
    figures_.Add(amount);
    update();
}

void Indicator::SetText1(const std::string& text) {
    figures_.SetText1(text);
    update();
}

void Indicator::SetText2(const std::string& text) {
    figures_.SetText2(text);
    update();
}

void Indicator::SetText1(const char* text) {
    if (text != nullptr) {
        SetText1(std::string(text));
    }
}

void Indicator::SetText2(const char* text) {
    if (text != nullptr) {
        SetText2(std::string(text));
    }
}

void Indicator::SetFigures(const IndicatorModel& figures) {
    if (figures == figures_) {
        return;
    }
    figures_ = figures;
    update();
}

void Indicator::SetBlueBar() {
    barColour_ = kBlueBar;
    update();
}

void Indicator::SetDefaultInfo(bool on) {
    defaultInfo_ = on;
    update();
}

void Indicator::SetPercentInBar(bool on) {
    percentInBar_ = on;
    update();
}

QSize Indicator::sizeHint() const {
    return {200, infoMode_ == 1 ? 18 : 31};
}

void Indicator::mousePressEvent(QMouseEvent* event) {
    if (event->buttons() == Qt::LeftButton) {
        percentInBar_ = !percentInBar_;
    } else if (infoMode_ == 2 || infoMode_ == 3) {
        infoMode_ = 5 - infoMode_;
    }
    update();
}

void Indicator::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), kViewColour);
    const IndicatorGeometry geometry = IndicatorGeometry::For(width(), height(), infoMode_);
    painter.fillRect(ToQRect(geometry.bar), kBackground);
    if (figures_.Max() > 0) {
        DrawBar(painter, geometry.bar);
        if (percentInBar_) {
            WritePercentInBar(painter, geometry.bar);
        }
    }
    WriteText(painter, geometry);
    DrawBox(painter, geometry.box);
}

void Indicator::DrawBar(QPainter& painter, const PixelRect& bar) const {
    const int edge = LeadingEdge(bar, figures_.Position(), figures_.Max());
    const int slantEnd = edge + bar.Height();
    painter.save();
    painter.setClipRect(ToQRect(bar));
    painter.fillRect(QRect(QPoint(bar.left + 1, bar.top + 1), QPoint(edge - 1, bar.bottom - 1)),
                     barColour_);
    // The slant: one column at a time, each filled from the edge down.
    painter.setPen(barColour_);
    for (int column = edge; column <= slantEnd; ++column) {
        painter.drawLine(QPoint(column, bar.top + (column - edge)), QPoint(column, bar.bottom));
    }
    const QColor light = Lighter(barColour_);
    const QColor shadow = Darker(barColour_, 2, 3);
    Line(painter, light, bar.left, bar.top, edge, bar.top);
    Line(painter, light, bar.left, bar.top, bar.left, bar.bottom);
    Line(painter, shadow, bar.left, bar.bottom, slantEnd, bar.bottom);
    Line(painter, shadow, edge, bar.top, slantEnd, bar.bottom);
    painter.restore();
}

void Indicator::WritePercentInBar(QPainter& painter, const PixelRect& bar) const {
    const int edge = LeadingEdge(bar, figures_.Position(), figures_.Max());
    const QString text = QString::fromStdString(PercentText(figures_.Position(), figures_.Max()));
    const int textWidth = painter.fontMetrics().horizontalAdvance(text);
    painter.save();
    painter.setClipRect(ToQRect(bar));
    painter.setPen(kText);
    painter.drawText(QPoint(edge - textWidth, PercentBaseline(bar)), text);
    painter.restore();
}

void Indicator::WriteText(QPainter& painter, const IndicatorGeometry& geometry) const {
    if (infoMode_ == 1) {
        return;
    }
    const QString left = defaultInfo_ ? objectName() : QString::fromStdString(figures_.Text1());
    const QString right =
        defaultInfo_ ? QString::fromStdString(IndexText(figures_.Position(), figures_.Max()))
                     : QString::fromStdString(figures_.Text2());
    const QFontMetrics metrics = painter.fontMetrics();
    const int top = infoMode_ == 2 ? 2 : geometry.box.bottom + 3;
    const int baseline = top + metrics.ascent() - 1;
    const int rightWidth = metrics.horizontalAdvance(right);
    const int rightX = geometry.bounds.right - rightWidth - 1;
    // The left text gives way to the right one rather than running under it; cut in the middle,
    // a long file name keeps its remaining time in view.
    const int leftRoom = std::max(0, rightX - 1 - (right.isEmpty() ? 0 : 8));
    painter.setPen(kText);
    painter.drawText(QPoint(1, baseline), metrics.elidedText(left, Qt::ElideMiddle, leftRoom));
    painter.drawText(QPoint(rightX, baseline), right);
}

void Indicator::DrawBox(QPainter& painter, const PixelRect& box) const {
    // A sunken frame: dark above and to the left, light below and to the right.
    const QColor half = Darker(kFrame, 1, 2);
    const QColor light = Lighter(kFrame);
    Line(painter, kFrame, box.left, box.top, box.right, box.top);
    Line(painter, kFrame, box.left, box.top, box.left, box.bottom);
    Line(painter, half, box.left + 1, box.top + 1, box.right - 1, box.top + 1);
    Line(painter, half, box.left + 1, box.top + 1, box.left + 1, box.bottom - 1);
    Line(painter, kFrame, box.left + 1, box.bottom - 1, box.right - 1, box.bottom - 1);
    Line(painter, kFrame, box.right - 1, box.top + 1, box.right - 1, box.bottom - 1);
    Line(painter, light, box.left, box.bottom, box.right, box.bottom);
    Line(painter, light, box.right, box.top, box.right, box.bottom);
}
