#include "RecordingWindow.h"

void RecordingWindow::MessageReceived(const Message& message) {
    received_.push_back(message);
    if (onMessage) {
        onMessage(message);
    }
}

std::vector<std::uint32_t> RecordingWindow::Codes() const {
    std::vector<std::uint32_t> codes;
    for (const Message& message : received_) {
        codes.push_back(message.what);
    }
    return codes;
}
