#pragma once

#include <QWidget>

#include <functional>
#include <vector>

#include "MessageHandler.h"

// A stand-in for a session window: it records every message it receives and can react to them.
class RecordingWindow : public QWidget, public MessageHandler {
public:
    RecordingWindow() : MessageHandler(this) {}

    void MessageReceived(const Message& message) override {
        received_.push_back(message);
        if (onMessage) {
            onMessage(message);
        }
    }
    const std::vector<Message>& Received() const { return received_; }
    std::vector<std::uint32_t> Codes() const {
        std::vector<std::uint32_t> codes;
        for (const Message& message : received_) {
            codes.push_back(message.what);
        }
        return codes;
    }
    // Runs after each message is recorded.
    std::function<void(const Message&)> onMessage;

private:
    std::vector<Message> received_;
};
