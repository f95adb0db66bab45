#include "Emblem.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>

namespace {

const QColor kDeep(24, 58, 110);
const QColor kLight(236, 242, 250);
const QColor kAccent(242, 153, 38);

void DrawPane(QPainter& painter, const QRectF& pane) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(kLight);
    painter.drawRoundedRect(pane, pane.width() * 0.08, pane.width() * 0.08);
    painter.setBrush(kDeep.lighter(160));
    const qreal line = pane.height() / 9;
    for (int row = 1; row <= 4; ++row) {
        painter.drawRect(QRectF(pane.left() + pane.width() * 0.15, pane.top() + line * row * 1.6,
                                pane.width() * (row % 2 ? 0.7 : 0.5), line * 0.55));
    }
}

}  // namespace

QPixmap Emblem::Draw(int size) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(size / 64.0, size / 64.0);

    QLinearGradient background(0, 0, 0, 64);
    background.setColorAt(0, kDeep.lighter(130));
    background.setColorAt(1, kDeep);
    painter.setPen(Qt::NoPen);
    painter.setBrush(background);
    painter.drawRoundedRect(QRectF(2, 2, 60, 60), 12, 12);

    DrawPane(painter, QRectF(8, 12, 20, 40));
    DrawPane(painter, QRectF(36, 12, 20, 40));

    QPainterPath arrow;
    arrow.moveTo(22, 29);
    arrow.lineTo(36, 29);
    arrow.lineTo(36, 24);
    arrow.lineTo(45, 32);
    arrow.lineTo(36, 40);
    arrow.lineTo(36, 35);
    arrow.lineTo(22, 35);
    arrow.closeSubpath();
    painter.setBrush(kAccent);
    painter.setPen(QPen(kDeep, 1.2));
    painter.drawPath(arrow);
    return pixmap;
}

QPixmap Emblem::Splash(const QString& version) {
    QPixmap pixmap(420, 200);
    pixmap.fill(kLight);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(kDeep, 2));
    painter.drawRect(pixmap.rect().adjusted(1, 1, -1, -1));
    painter.drawPixmap(24, 40, Draw(112));

    QFont title = painter.font();
    title.setPointSize(26);
    title.setBold(true);
    painter.setFont(title);
    painter.drawText(QRect(156, 44, 250, 44), Qt::AlignLeft | Qt::AlignVCenter, "Tarvik");

    QFont text = painter.font();
    text.setPointSize(10);
    text.setBold(false);
    painter.setFont(text);
    painter.drawText(QRect(158, 92, 250, 60), Qt::AlignLeft | Qt::TextWordWrap,
                     "FTP client for the Linux desktop\nVersion " + version);
    painter.setPen(kDeep.lighter(170));
    painter.drawText(QRect(158, 160, 250, 20), Qt::AlignLeft, "Starting...");
    return pixmap;
}
