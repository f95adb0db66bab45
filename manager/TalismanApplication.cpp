#include "TalismanApplication.h"

#include <QApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QTimer>
#include <QUrl>

#include <algorithm>
#include <filesystem>

#include "Alert.h"
#include "CrossThread.h"
#include "Emblem.h"
#include "FTPWindow.h"
#include "FtpUrl.h"
#include "LaunchArguments.h"
#include "MessageCodes.h"
#include "QuickLaunch.h"
#include "TalismanWindow.h"
#include "XFerWin.h"

namespace {
constexpr std::chrono::seconds kQuitGrace(10);
constexpr std::chrono::milliseconds kSplashAtMost(1500);
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

void TalismanApplication::Open(const std::vector<std::string>& items, bool desktop) {
    // Started from the desktop's menu, the program gets no files: then the main window shows.
    if (desktop && !items.empty()) {
        showOnReady_ = false;
    }
    toOpen_.insert(toOpen_.end(), items.begin(), items.end());
    OpenNext();
}

// One item after the other, so that sessions come in the order they were asked for.
void TalismanApplication::OpenNext() {
    while (!reading_ && !toOpen_.empty()) {
        const std::string item = std::move(toOpen_.front());
        toOpen_.pop_front();
        if (LaunchArguments::IsFtpLink(item)) {
            OpenLink(item);
        } else {
            ReadQuickLaunchFile(item);
        }
    }
}

void TalismanApplication::ReadQuickLaunchFile(const std::string& path) {
    reading_ = true;
    const bool started = readers_.Spawn("QuickLaunch", [self = QPointer(this), path] {
        std::error_code error;
        // A file that is not there (any more) is no request.
        const bool exists = std::filesystem::exists(std::filesystem::symlink_status(path, error));
        std::optional<QuickLaunch::Form> form =
            exists ? QuickLaunch::Read(path) : std::optional<QuickLaunch::Form>();
        // Through the Qt application, which outlives this object: a read that ends while the
        // program quits finds nobody to tell.
        Post(QCoreApplication::instance(), [self, exists, form = std::move(form)] {
            if (!self) {
                return;
            }
            if (exists) {
                self->OpenQuickLaunchForm(form);
            }
            self->reading_ = false;
            self->OpenNext();
        });
    });
    if (!started) {
        reading_ = false;
    }
}

void TalismanApplication::OpenQuickLaunchForm(const std::optional<QuickLaunch::Form>& form) {
    if (!form) {
        Alert::Go("Bad Quick-Launch file format.");
        return;
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

// ftp://[user[:password]@]host[:port][/path]: anonymous without a user, the password asked
// when a user comes without one. The host folder is the link's, or the log-on folder.
void TalismanApplication::OpenLink(const std::string& link) {
    std::optional<FtpUrl> url = FtpUrl::Parse(link);
    if (!url || url->HoldsLineBreak()) {
        Alert::Go(
            "This ftp:// link cannot be opened: it names no host, its port is not a "
            "number, or it holds a line break.");
        return;
    }
    Message open(FourCC("open"));
    open.AddString("Server", url->host)
        .AddString("FTPPort", url->port)
        .AddString("HostDirectory", url->StartFolder())
        .AddString("Login", url->user.value_or("anonymous"));
    if (url->password) {
        open.AddString("Password", *url->password);
    } else if (!url->user) {
        open.AddString("Password", kAnonymousPassword);
    } else {
        AskPassword(std::move(open), *url->user, url->host);
        return;
    }
    MessageReceived(open);
}

// Asked without holding anything up: other links and sessions go on meanwhile.
void TalismanApplication::AskPassword(Message open, const std::string& user,
                                      const std::string& host) {
    auto* dialog = new QInputDialog();
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle("Tarvik");
    dialog->setLabelText(QString::fromStdString("Password for " + user + " on " + host + ":"));
    // The names come from a link: shown as they are, never as rich text.
    for (QLabel* label : dialog->findChildren<QLabel*>()) {
        label->setTextFormat(Qt::PlainText);
    }
    dialog->setTextEchoMode(QLineEdit::Password);
    connect(dialog, &QInputDialog::textValueSelected, this, [this, open](const QString& text) {
        Message withPassword = open;
        withPassword.AddString("Password", text.toStdString());
        MessageReceived(withPassword);
    });
    dialog->open();
}

// The main window is shown and usable meanwhile; a click on the splash closes it too.
void TalismanApplication::ShowSplash() {
    splash_ = new QSplashScreen(Emblem::Splash(TARVIK_VERSION));
    splash_->setAttribute(Qt::WA_DeleteOnClose);
    splash_->show();
    QTimer::singleShot(kSplashAtMost, splash_, &QWidget::close);
    // A session opened from the desktop is what the user waits for: the splash makes way.
    auto* watch = new QTimer(splash_);
    connect(watch, &QTimer::timeout, splash_, [this] {
        if (!sessions_.empty() && splash_) {
            splash_->close();
        }
    });
    watch->start(50);
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

// Not modal: the program goes on while it is open.
void TalismanApplication::ShowAbout() {
    auto* about = new QMessageBox(main_);
    about->setAttribute(Qt::WA_DeleteOnClose);
    about->setWindowTitle("About Tarvik");
    about->setTextFormat(Qt::PlainText);
    about->setIconPixmap(Emblem::Draw(64));
    about->setText(QString("Tarvik %1").arg(TARVIK_VERSION));
    about->setInformativeText(
        QString("A graphical FTP client for the Linux desktop: saved connection forms, the local "
                "machine and the host side by side, files and whole folder trees moved in ASCII "
                "or binary, interrupted downloads resumed.\n\n"
                "Licence: GNU General Public License, version 3 or later.\n"
                "Qt %1 (built with %2).")
            .arg(qVersion(), QT_VERSION_STR));
    about->setStandardButtons(QMessageBox::Ok);
    about->open();
}

QString TalismanApplication::ManualPath() {
    const QString folder = QCoreApplication::applicationDirPath();
    for (const QString& candidate :
         {folder + "/index.html", folder + "/../share/tarvik/manual/index.html",
          QString(TARVIK_SOURCE_MANUAL)}) {
        if (QFileInfo(candidate).isFile()) {
            return QDir::cleanPath(candidate);
        }
    }
    return {};
}

// Said rather than silent: a menu item that does nothing leaves the user guessing.
void TalismanApplication::ShowManual() {
    const QString path = ManualPath();
    if (path.isEmpty() || !QDesktopServices::openUrl(QUrl::fromLocalFile(path))) {
        Alert::Go(path.isEmpty() ? "The manual is not installed."
                                 : "The manual could not be opened:\n" + path.toStdString());
    }
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
            ShowManual();
            break;
        case FourCC("open"):
            if (!main_) {
                Quit();
                break;
            }
            {
                // The main window fills its form and connects as one step, in the order the
                // requests came: two requests make two sessions, each with its own values.
                Message request = message;
                request.what = TalismanWindow::kOpenRequest;
                main_->PostMessage(std::move(request));
            }
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
