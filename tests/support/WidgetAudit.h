#pragma once

#include <QStringList>

class QWidget;

// Checks a window the way a keyboard or screen-reader user meets it.
namespace WidgetAudit {
// "Ctrl+W: Close, Clear" for each key sequence that two enabled actions or shortcuts of the
// window answer at once (Qt then runs neither and prints "Ambiguous shortcut overload"). Another
// window's keys count only where Qt lets them in: those of a visible tool window of this one,
// which hands its owner's keys on while it is active.
QStringList AmbiguousShortcuts(const QWidget& window);
// The class and text of each visible control (buttons, fields, lists, boxes) that a screen
// reader could not name: no accessible name, no text, no label naming it as its buddy.
QStringList UnnamedControls(const QWidget& window);
}  // namespace WidgetAudit
