#include "MessageHandler.h"

#include <QWidget>

#include "CrossThread.h"

void MessageHandler::PostMessage(Message message) {
    Post(self_, [this, message = std::move(message)] { MessageReceived(message); });
}

QWidget* MessageHandler::Widget() const {
    return qobject_cast<QWidget*>(self_);
}
