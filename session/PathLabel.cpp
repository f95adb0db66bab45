#include "PathLabel.h"

#include <QResizeEvent>

PathLabel::PathLabel(const QString& name, QWidget* parent) : QLabel(parent) {
    setObjectName(name);
    setMinimumWidth(40);
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    setTextInteractionFlags(Qt::TextSelectableByMouse);
    // Host paths come from the server: shown as they are, never as markup.
    setTextFormat(Qt::PlainText);
    SetFullText("Nothing");
}

void PathLabel::SetFullText(const std::string& text) {
    full_ = QString::fromStdString(text);
    // A tool tip has no plain-text switch: escaped inside a paragraph that keeps spaces.
    setToolTip(QStringLiteral("<p style='white-space:pre'>%1</p>").arg(full_.toHtmlEscaped()));
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
