#pragma once

#include "Message.h"

class QObject;
class QWidget;

// The message side of a window. A window derives from its Qt class first and from this second,
// handing itself to the constructor, so that its QObject outlives nothing posted to it:
//
//     class LogWindow : public QWidget, public MessageHandler { ... };
//     LogWindow::LogWindow(...) : QWidget(...), MessageHandler(this) {}
//
// PostMessage may be called from any thread; the message reaches MessageReceived on the window's
// own thread, in the order posted, and is dropped if the window is deleted first.
class MessageHandler {
public:
    MessageHandler(const MessageHandler&) = delete;
    MessageHandler& operator=(const MessageHandler&) = delete;

    void PostMessage(Message message);
    virtual void MessageReceived(const Message& message) = 0;

    QObject* Object() const { return self_; }
    // The window as a widget; null if the handler is not a widget.
    QWidget* Widget() const;

protected:
    explicit MessageHandler(QObject* self) : self_(self) {}
    virtual ~MessageHandler() = default;

private:
    QObject* self_;
};
