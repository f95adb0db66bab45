#include "Alert.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>

#include <cstdio>
#include <memory>
#include <mutex>

#include "AlertHook.h"
#include "CrossThread.h"

namespace {

std::mutex responderMutex;
std::shared_ptr<Alert::Responder> currentResponder;

std::shared_ptr<Alert::Responder> CurrentResponder() {
    std::lock_guard lock(responderMutex);
    return currentResponder;
}

QMessageBox::Icon IconFor(AlertKind kind) {
    switch (kind) {
        case AlertKind::Empty:
            return QMessageBox::NoIcon;
        case AlertKind::Info:
            return QMessageBox::Information;
        case AlertKind::Idea:
            return QMessageBox::Question;
        case AlertKind::Warning:
            return QMessageBox::Warning;
        case AlertKind::Stop:
            return QMessageBox::Critical;
    }
    return QMessageBox::NoIcon;
}

// Runs on the GUI thread.
int ShowBox(const std::string& text, const std::vector<std::string>& buttons, AlertKind kind,
            const std::string& title) {
    QMessageBox box(IconFor(kind), QString::fromStdString(title.empty() ? "Tarvik" : title),
                    QString::fromStdString(text));
    // The text may carry a server's reply: never let it be read as markup.
    box.setTextFormat(Qt::PlainText);
    std::vector<QPushButton*> pushButtons;
    for (const std::string& label : buttons) {
        // One role for all keeps the buttons in the order given; the rightmost is the default,
        // as on the original platform.
        pushButtons.push_back(
            box.addButton(QString::fromStdString(label), QMessageBox::AcceptRole));
    }
    box.setDefaultButton(pushButtons.back());
    // Escape answers as the button that says no to the question (or skips), or the only one.
    for (QPushButton* button : pushButtons) {
        const QString label = button->text();
        if (pushButtons.size() == 1 || label == "No" || label == "Skip" ||
            label.startsWith("Cancel")) {
            box.setEscapeButton(button);
            break;
        }
    }
    box.exec();
    for (std::size_t index = 0; index < pushButtons.size(); ++index) {
        if (box.clickedButton() == pushButtons[index]) {
            return static_cast<int>(index);
        }
    }
    return static_cast<int>(pushButtons.size()) - 1;
}

}  // namespace

int Alert::Go(const std::string& text, const std::vector<std::string>& buttons, AlertKind kind,
              const std::string& title) {
    const std::vector<std::string> labels =
        buttons.empty() ? std::vector<std::string>{"OK"} : buttons;
    if (const auto responder = CurrentResponder()) {
        return (*responder)(text, labels);
    }
    QCoreApplication* application = QCoreApplication::instance();
    if (application == nullptr || qobject_cast<QApplication*>(application) == nullptr) {
        std::fprintf(stderr, "Tarvik alert: %s\n", text.c_str());
        return 0;
    }
    const auto answer = Call(application, [&] { return ShowBox(text, labels, kind, title); });
    return answer.value_or(static_cast<int>(labels.size()) - 1);
}

Alert::Responder Alert::SetResponder(Responder responder) {
    std::lock_guard lock(responderMutex);
    Responder previous = currentResponder ? *currentResponder : Responder();
    currentResponder = responder ? std::make_shared<Responder>(std::move(responder)) : nullptr;
    return previous;
}

void Alert::InstallEngineHook() {
    AlertHook::Set([](const std::string& text) { Go(text, {"OK"}, AlertKind::Warning); });
}
