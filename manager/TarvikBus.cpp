#include "TarvikBus.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QTimer>

#include "FTPWindow.h"
#include "Message.h"
#include "TalismanApplication.h"
#include "TalismanWindow.h"

namespace {

// A program that is busy (a modal question open) still answers within this.
constexpr int kHandOverTimeoutMs = 10000;

}  // namespace

// The object is in place before the name is taken, so that no call finds the name without it.
TarvikBus::Claimed TarvikBus::Claim() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() ||
        !bus.registerObject(kPath, this, QDBusConnection::ExportScriptableSlots)) {
        return Claimed::NoBus;
    }
    if (!bus.registerService(kService)) {
        bus.unregisterObject(kPath);
        return Claimed::ByAnother;
    }
    return Claimed::ByThisProgram;
}

bool TarvikBus::HandOver(const QStringList& items, bool desktop) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        return false;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(kService, kPath, kService, "OpenArguments");
    call << items << desktop;
    return bus.call(call, QDBus::Block, kHandOverTimeoutMs).type() == QDBusMessage::ReplyMessage;
}

void TarvikBus::open(const QVariantMap& fields) {
    if (application_ == nullptr) {
        return;  // not serving yet
    }
    Message request(FourCC("open"));
    for (const char* name :
         {"Server", "Login", "Password", "LocalDirectory", "HostDirectory", "FTPPort"}) {
        const QVariant value = fields.value(name);
        if (value.typeId() == QMetaType::QString) {
            request.AddString(name, value.toString().toStdString());
        }
    }
    application_->PostMessage(std::move(request));
}

void TarvikBus::Show() {
    if (application_ == nullptr) {
        return;
    }
    application_->PostMessage(Message(FourCC("Show")));
}

// Answered at once and carried out afterwards: an alert on the way (a file that is not a
// Quick-Launch file) must not keep the later start waiting.
void TarvikBus::OpenArguments(const QStringList& items, bool desktop) {
    if (application_ == nullptr) {
        return;
    }
    std::vector<std::string> opened;
    for (const QString& item : items) {
        opened.push_back(item.toStdString());
    }
    // A later start without files (from a terminal or the desktop's menu) asks for the main
    // window.
    QTimer::singleShot(0, application_, [application = application_, opened, desktop] {
        if (opened.empty()) {
            application->PostMessage(Message(FourCC("Show")));
        }
        application->Open(opened, desktop);
    });
}

QStringList TarvikBus::Sessions() const {
    QStringList titles;
    if (application_ == nullptr) {
        return titles;
    }
    for (const FTPWindow* window : application_->Sessions()) {
        titles << window->windowTitle();
    }
    return titles;
}
