#include "PathLabel.h"

#include <QResizeEvent>

PathLabel::PathLabel(const QString& name, QWidget* parent) : QLabel(parent) {
    setObjectName(name);
    setMinimumWidth(40);
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    setTextInteractionFlags(Qt::TextSelectableByMouse);
    SetFullText("Nothing");
}

void PathLabel::SetFullText(const std::string& text) {
    full_ = QString::fromStdString(text);
    setToolTip(full_);
    Elide();
}

void PathLabel::resizeEvent(QResizeEvent* event) {
    QLabel::resizeEvent(event);
    Elide();
}

void PathLabel::Elide() {
    int room = std::max(0, contentsRect().width() - 2);
    setText(fontMetrics().elidedText(full_, Qt::ElideMiddle, room));
}
