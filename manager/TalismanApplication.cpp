#include "TalismanApplication.h"

#include <QApplication>
#include <QDesktopServices>
#include <QFileInfo>
#include <QLineEdit>
#include <QMessageBox>
#include <QTimer>
#include <QUrl>

#include <algorithm>

#include "Alert.h"
#include "FTPWindow.h"
#include "FieldLimit.h"
#include "MessageCodes.h"
#include "QuickLaunch.h"
#include "TalismanWindow.h"
#include "XFerWin.h"

namespace {
constexpr std::chrono::seconds kQuitGrace(10);
// Where the transfer list first appears, the first time a transfer needs it: wide enough for
// its seven columns to be read (the old 600 by 100 could not show a file name and its size).
const QRect kTransferListFrame(40, 40, 760, 140);
}  // namespace

TalismanApplication::TalismanApplication(const std::string& settingsPath)
    : MessageHandler(this),
      transferList_(std::make_unique<XFerWin>(kTransferListFrame, "Transfer status")),
      main_(new TalismanWindow(this, settingsPath)) {
    main_->setAttribute(Qt::WA_DeleteOnClose);
    main_->SetTransferList(transferList_.get());
}

TalismanApplication::~TalismanApplication() {
    delete main_.data();
}

void TalismanApplication::ReadyToRun() {
    if (showOnReady_ && main_ && main_->isHidden()) {
        main_->show();
    }
}

void TalismanApplication::ArgvReceived(const std::vector<std::string>& paths) {
    OpenQuickLaunchFiles(paths);
}

void TalismanApplication::RefsReceived(const std::vector<std::string>& paths) {
    OpenQuickLaunchFiles(paths);
    showOnReady_ = false;
}

void TalismanApplication::OpenQuickLaunchFiles(const std::vector<std::string>& paths) {
    for (const std::string& path : paths) {
        if (!QFileInfo::exists(QString::fromStdString(path))) {
            continue;
        }
        std::optional<QuickLaunch::Form> form = QuickLaunch::Read(path);
        if (!form) {
            Alert::Go("Bad Quick-Launch file format.");
            continue;
        }
        Message open(FourCC("open"));
        open.AddString("Server", form->host)
            .AddString("Login", form->user)
            .AddString("Password", form->password)
            .AddString("LocalDirectory", form->localDirectory)
            .AddString("HostDirectory", form->hostDirectory)
            .AddString("FTPPort", form->port);
        MessageReceived(open);
    }
}

// Closes every session (each stops its connection and deletes itself once its workers have
// ended), then ends the program. QApplication::quit() would not do: it asks every window to close
// and a session's status and log windows decline.
void TalismanApplication::Quit() {
    quitting_ = true;
    std::erase_if(alive_, [](const QPointer<FTPWindow>& window) { return window.isNull(); });
    for (const QPointer<FTPWindow>& window : alive_) {
        window->PostMessage(Message(FTPWindow::kQuickLogout));
    }
    ExitWhenSessionsAreGone();
    // A session that cannot end (a server that never lets go) does not keep the program alive.
    QTimer::singleShot(kQuitGrace, [] { QCoreApplication::exit(0); });
}

void TalismanApplication::ExitWhenSessionsAreGone() {
    bool gone = std::all_of(alive_.begin(), alive_.end(),
                            [](const QPointer<FTPWindow>& window) { return window.isNull(); });
    if (quitting_ && gone) {
        QCoreApplication::exit(0);
    }
}

void TalismanApplication::BringMainWindowBack() {
    if (!main_) {
        Quit();
        return;
    }
    main_->show();
    main_->setWindowState(main_->windowState() & ~Qt::WindowMinimized);
    main_->raise();
}

void TalismanApplication::ShowAbout() {
    QMessageBox::about(main_, "About Tarvik",
                       QString::fromUtf8(TalismanWindow::kTitle) +
                           "\n\nA graphical FTP client for the Linux desktop.\n"
                           "Marlowen Tarvik, ported to Qt 6.");
}

void TalismanApplication::MessageReceived(const Message& message) {
    switch (message.what) {
        case 1:
            main_->PostMessage(Message(TalismanWindow::kReload));
            break;
        case 3:
            main_->PostMessage(Message(TalismanWindow::kErase));
            break;
        case 5:
            if (main_) {
                main_->Form().login->setText("anonymous");
                main_->Form().password->setText(kAnonymousPassword);
            }
            break;
        case 6:
            main_->PostMessage(Message(TalismanWindow::kConnect));
            break;
        case FourCC("AddW"):
            if (auto window = message.FindPointer("this")) {
                auto* session = static_cast<FTPWindow*>(*window);
                sessions_.push_back(session);
                alive_.emplace_back(session);
                connect(session, &QObject::destroyed, this, [this] {
                    // The pointer is cleared only after this signal: look again once it is.
                    QTimer::singleShot(0, this, [this] { ExitWhenSessionsAreGone(); });
                });
            }
            break;
        case FourCC("EndW"):
            if (auto window = message.FindPointer("this")) {
                std::erase(sessions_, static_cast<FTPWindow*>(*window));
                if (sessions_.empty() && !quitting_) {
                    BringMainWindowBack();
                }
            }
            break;
        case FourCC("Show"):
            BringMainWindowBack();
            break;
        case FourCC("help"):
            QDesktopServices::openUrl(
                QUrl::fromLocalFile(QApplication::applicationDirPath() + "/index.html"));
            break;
        case FourCC("open"):
            if (!main_) {
                Quit();
                break;
            }
            for (auto [field, widget] : {std::pair{"Server", main_->Form().host},
                                         {"Login", main_->Form().login},
                                         {"Password", main_->Form().password},
                                         {"LocalDirectory", main_->Form().localDirectory},
                                         {"HostDirectory", main_->Form().hostDirectory},
                                         {"FTPPort", main_->Form().port}}) {
                // setText skips the field's validator: the settings file's limit still holds.
                if (auto text = message.FindString(field)) {
                    widget->setText(FieldLimit::Fitted(QString::fromStdString(*text)));
                }
            }
            main_->PostMessage(Message(TalismanWindow::kConnect));
            break;
        case kAboutRequested:
            ShowAbout();
            break;
        case kQuitRequested:
            Quit();
            break;
        default:
            break;
    }
}
