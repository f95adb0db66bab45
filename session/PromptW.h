#pragma once

#include <QWidget>

#include <cstdint>
#include <optional>
#include <string>

#include "MessageHandler.h"

class QCheckBox;
class QLineEdit;

// A one-line prompt. OK posts the answer code to its parent with the typed text in "prompt"
// (and the option text in "opt"), then closes unless "Stay open" is ticked; Cancel or Escape
// closes.
class PromptW : public QWidget, public MessageHandler {
    Q_OBJECT

public:
    static constexpr std::uint32_t kOk = 1;
    static constexpr std::uint32_t kCancel = 2;
    static constexpr std::uint32_t kStayOpen = 3;
    static constexpr int kTextCapacity = 255;

    PromptW(MessageHandler* parent, const std::string& title, const std::string& label,
            const std::string& text, std::uint32_t answer,
            std::optional<std::string> option = std::nullopt);

    QLineEdit* Field() const { return field_; }
    void MessageReceived(const Message& message) override;

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    MessageHandler* parent_;
    std::uint32_t answer_;
    std::optional<std::string> option_;
    // The text given, as bytes: a name that is not UTF-8 shows with replacement marks, and an
    // answer left as shown must still be that name.
    std::string given_;
    QLineEdit* field_;
    QCheckBox* stayOpen_;
};
