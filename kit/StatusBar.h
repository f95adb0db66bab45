#pragma once

#include <QWidget>

#include <atomic>
#include <mutex>
#include <optional>
#include <string>

#include "BarMonitor.h"

class MessageHandler;
class QActionGroup;
class QMenu;
class QPainter;

// The one-line bar along the bottom of a session window: a short text and, behind the triangle
// at its left end, the menu of host directories visited. Choosing one posts 38 with "prompt" set
// to its path to the owner. It keeps itself along the bottom edge of the owner's window, leaving
// the resize corner free. SetText, Text and AddEntryInMenu may be called from any thread.
class StatusBar : public QWidget, public BarMonitor {
    Q_OBJECT

public:
    static constexpr std::uint32_t kChangeDirectory = 38;
    static constexpr int kHeight = 14;
    static constexpr int kCornerWidth = 14;

    explicit StatusBar(MessageHandler* owner, const char* text = nullptr);

    void SetText(const std::string& text) override;
    // Null leaves the bar without text.
    void SetText(const char* text);
    // A copy of the text; empty when there is none.
    std::string Text() const;
    bool HasText() const;

    // One item per directory: a path already in the menu is not added again.
    void AddEntryInMenu(const std::string& directory);
    QMenu* HistoryMenu() const { return menu_; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    std::optional<std::string> TextIfAny() const;
    void AddEntryNow(const std::string& directory);
    void FollowOwner();
    void ScheduleRedraw();
    void DrawTriangle(QPainter& painter, bool pressed) const;

    MessageHandler* owner_;
    QMenu* menu_;
    QActionGroup* choices_;
    mutable std::mutex textMutex_;
    std::atomic<bool> redrawPending_{false};
    std::optional<std::string> text_;
    bool pressed_ = false;
};
