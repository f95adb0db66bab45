#include "StatusBar.h"

#include <QActionGroup>
#include <QEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QThread>

#include "CrossThread.h"
#include "MessageHandler.h"

namespace {

const QColor kViewColour(230, 230, 230);
const QColor kTopShade(155, 155, 155);
const QColor kBottomShade(180, 180, 180);

QFont BarFont() {
    // The original's face; fontconfig picks a sans face where it is missing.
    QFont font(QStringLiteral("Swis721 BT"));
    font.setStyleName(QStringLiteral("Roman"));
    font.setStyleHint(QFont::SansSerif);
    font.setPixelSize(11);
    return font;
}

// "&" would be read as a mnemonic marker in a menu item.
QString MenuLabel(const std::string& path) {
    return QString::fromStdString(path).replace(QLatin1Char('&'), QStringLiteral("&&"));
}

}  // namespace

StatusBar::StatusBar(MessageHandler* owner, const char* text)
    : QWidget(owner != nullptr ? owner->Widget() : nullptr),
      owner_(owner),
      menu_(new QMenu(this)),
      choices_(new QActionGroup(menu_)) {
    setObjectName(QStringLiteral("StatusBar"));
    setFont(BarFont());
    setFixedHeight(kHeight);
    if (text != nullptr) {
        text_ = text;
    }
    choices_->setExclusive(true);
    connect(menu_, &QMenu::triggered, this, [this](QAction* action) {
        if (owner_ != nullptr) {
            owner_->PostMessage(Message(kChangeDirectory)
                                    .AddString("prompt", action->data().toString().toStdString()));
        }
    });
    if (parentWidget() != nullptr) {
        parentWidget()->installEventFilter(this);
        FollowOwner();
    }
}

void StatusBar::SetText(const std::string& text) {
    {
        std::lock_guard lock(textMutex_);
        text_ = text;
    }
    ScheduleRedraw();
}

// A listing sets the text for every line it reads: one redraw for a burst of them.
void StatusBar::ScheduleRedraw() {
    if (!redrawPending_.exchange(true)) {
        Post(this, [this] {
            redrawPending_ = false;
            update();
        });
    }
}

void StatusBar::SetText(const char* text) {
    if (text != nullptr) {
        SetText(std::string(text));
        return;
    }
    {
        std::lock_guard lock(textMutex_);
        text_.reset();
    }
    ScheduleRedraw();
}

std::string StatusBar::Text() const {
    std::lock_guard lock(textMutex_);
    return text_.value_or(std::string());
}

bool StatusBar::HasText() const {
    return TextIfAny().has_value();
}

std::optional<std::string> StatusBar::TextIfAny() const {
    std::lock_guard lock(textMutex_);
    return text_;
}

void StatusBar::AddEntryInMenu(const std::string& directory) {
    if (QThread::currentThread() == thread()) {
        AddEntryNow(directory);
    } else {
        Post(this, [this, directory] { AddEntryNow(directory); });
    }
}

void StatusBar::AddEntryNow(const std::string& directory) {
    const QString path = QString::fromStdString(directory);
    for (const QAction* action : menu_->actions()) {
        if (action->data().toString() == path) {
            return;
        }
    }
    QAction* action = menu_->addAction(MenuLabel(directory));
    action->setData(path);
    action->setCheckable(true);
    choices_->addAction(action);
}

void StatusBar::FollowOwner() {
    const QWidget* window = parentWidget();
    setGeometry(0, window->height() - kHeight, std::max(0, window->width() - kCornerWidth),
                kHeight);
    raise();
}

bool StatusBar::eventFilter(QObject* watched, QEvent* event) {
    if (watched == parentWidget() && event->type() == QEvent::Resize) {
        FollowOwner();
    }
    return QWidget::eventFilter(watched, event);
}

void StatusBar::DrawTriangle(QPainter& painter, bool pressed) const {
    const int bottom = height() - 1;
    // A small downward triangle shaded in blue, or in red while its menu is open.
    for (int x = 4; x <= 10; ++x) {
        const int shade = 10 * x + 120;
        painter.setPen(pressed ? QColor(shade, 0, 0) : QColor(0, 0, shade));
        painter.drawLine(QPoint(x, 2), QPoint(7, bottom - 2));
    }
}

void StatusBar::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const int right = width() - 1;
    const int bottom = height() - 1;
    painter.fillRect(rect(), kViewColour);
    painter.setPen(Qt::white);
    painter.drawLine(QPoint(0, 1), QPoint(right, 1));
    painter.drawLine(QPoint(0, 1), QPoint(0, bottom));
    painter.setPen(kTopShade);
    painter.drawLine(QPoint(0, 0), QPoint(right, 0));
    painter.setPen(kBottomShade);
    painter.drawLine(QPoint(1, bottom), QPoint(right, bottom));
    DrawTriangle(painter, pressed_);
    if (const std::optional<std::string> text = TextIfAny()) {
        painter.setPen(Qt::black);
        painter.drawText(QPoint(15, bottom - 2), QString::fromStdString(*text));
    }
}

void StatusBar::mousePressEvent(QMouseEvent*) {
    pressed_ = true;
    repaint();
    // Synchronous, as the original's pop-up: a choice is posted by the menu's triggered signal.
    menu_->exec(mapToGlobal(QPoint(0, height() + 2)));
    pressed_ = false;
    update();
}
