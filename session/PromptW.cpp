#include "PromptW.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

PromptW::PromptW(MessageHandler* parent, const std::string& title, const std::string& label,
                 const std::string& text, std::uint32_t answer, std::optional<std::string> option)
    : QWidget(parent != nullptr ? parent->Widget() : nullptr, Qt::Dialog),
      MessageHandler(this),
      parent_(parent),
      answer_(answer),
      option_(std::move(option)),
      given_(text),
      field_(new QLineEdit(QString::fromStdString(text), this)),
      stayOpen_(new QCheckBox(tr("Stay open"), this)) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QString::fromStdString(title));
    field_->setMaxLength(kTextCapacity);
    field_->selectAll();
    auto* ok = new QPushButton(tr("OK"), this);
    auto* cancel = new QPushButton(tr("Cancel"), this);
    ok->setDefault(true);
    connect(ok, &QPushButton::clicked, this, [this] { PostMessage(Message(kOk)); });
    connect(field_, &QLineEdit::returnPressed, this, [this] { PostMessage(Message(kOk)); });
    connect(cancel, &QPushButton::clicked, this, [this] { PostMessage(Message(kCancel)); });
    auto* form = new QFormLayout;
    auto* caption = new QLabel(QString::fromStdString(label), this);
    caption->setTextFormat(Qt::PlainText);
    form->addRow(caption, field_);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(stayOpen_);
    buttons->addStretch();
    buttons->addWidget(cancel);
    buttons->addWidget(ok);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addLayout(buttons);
    setMinimumWidth(320);
}

void PromptW::MessageReceived(const Message& message) {
    switch (message.what) {
        case kOk: {
            Message reply(answer_);
            const bool untouched = field_->text() == QString::fromStdString(given_);
            reply.AddString("prompt", untouched ? given_ : field_->text().toStdString());
            if (option_) {
                reply.AddString("opt", *option_);
            }
            if (parent_ != nullptr) {
                parent_->PostMessage(std::move(reply));
            }
            if (stayOpen_->isChecked()) {
                field_->clear();
            } else {
                close();
            }
            break;
        }
        case kCancel:
            close();
            break;
        case kStayOpen:
            stayOpen_->toggle();
            break;
        default:
            break;
    }
}

// A dialog's Escape: the window is a plain widget, which would let the key pass unheard.
void PromptW::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier) {
        PostMessage(Message(kCancel));
        return;
    }
    QWidget::keyPressEvent(event);
}
