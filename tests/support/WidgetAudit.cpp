#include "WidgetAudit.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAbstractSlider>
#include <QAbstractSpinBox>
#include <QAccessible>
#include <QAction>
#include <QComboBox>
#include <QKeySequence>
#include <QLineEdit>
#include <QMap>
#include <QMenu>
#include <QPlainTextEdit>
#include <QShortcut>
#include <QTabBar>
#include <QTextEdit>
#include <QWidget>

namespace WidgetAudit {

namespace {

template <typename... Kinds>
bool IsAny(const QWidget& widget) {
    return ((qobject_cast<const Kinds*>(&widget) != nullptr) || ...);
}

bool IsControl(const QWidget& widget) {
    return IsAny<QAbstractButton, QLineEdit, QAbstractItemView, QComboBox, QAbstractSpinBox,
                 QAbstractSlider, QPlainTextEdit, QTextEdit, QTabBar>(widget);
}

// What a screen reader says: the accessible name, else a button's text or a field's label buddy.
QString AccessibleName(const QWidget& widget) {
    QAccessibleInterface* accessible =
        QAccessible::queryAccessibleInterface(const_cast<QWidget*>(&widget));
    return accessible != nullptr ? accessible->text(QAccessible::Name) : widget.accessibleName();
}

QString Describe(const QWidget& widget) {
    QString text;
    if (const auto* button = qobject_cast<const QAbstractButton*>(&widget)) {
        text = button->text();
    }
    return QString("%1 \"%2\" (%3)")
        .arg(widget.metaObject()->className(), text, widget.objectName());
}

// The window that must be active for the object's keys to work: a menu's is that of the bar or
// widget it hangs from.
const QWidget* WindowOf(const QObject* object) {
    for (; object != nullptr; object = object->parent()) {
        const auto* widget = qobject_cast<const QWidget*>(object);
        if (widget != nullptr && widget->isWindow() &&
            qobject_cast<const QMenu*>(widget) == nullptr) {
            return widget;
        }
    }
    return nullptr;
}

bool SharesKeysWith(const QWidget& window, const QObject* object) {
    const QWidget* owner = WindowOf(object);
    return owner == &window ||
           (owner != nullptr && owner->windowType() == Qt::Tool && owner->isVisible() &&
            owner->parentWidget() != nullptr && owner->parentWidget()->window() == &window);
}

}  // namespace

QStringList AmbiguousShortcuts(const QWidget& window) {
    QMap<QString, QStringList> owners;
    const auto note = [&](const QKeySequence& keys, const QString& owner) {
        if (!keys.isEmpty()) {
            owners[keys.toString(QKeySequence::PortableText)].append(owner);
        }
    };
    for (const QAction* action : window.findChildren<QAction*>()) {
        if (action->isEnabled() && !action->isSeparator() && SharesKeysWith(window, action)) {
            for (const QKeySequence& keys : action->shortcuts()) {
                note(keys, action->text());
            }
        }
    }
    for (const QShortcut* shortcut : window.findChildren<QShortcut*>()) {
        if (shortcut->isEnabled() && SharesKeysWith(window, shortcut)) {
            note(shortcut->key(), shortcut->objectName());
        }
    }
    QStringList ambiguous;
    for (auto it = owners.cbegin(); it != owners.cend(); ++it) {
        if (it.value().size() > 1) {
            ambiguous.append(it.key() + ": " + it.value().join(", "));
        }
    }
    return ambiguous;
}

QStringList UnnamedControls(const QWidget& window) {
    QStringList unnamed;
    for (const QWidget* widget : window.findChildren<QWidget*>()) {
        if (widget->isVisibleTo(&window) && IsControl(*widget) &&
            AccessibleName(*widget).trimmed().isEmpty()) {
            unnamed.append(Describe(*widget));
        }
    }
    return unnamed;
}

}  // namespace WidgetAudit
