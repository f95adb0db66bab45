#include "FTPWindow.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QDesktopServices>
#include <QDragEnterEvent>
#include <QGuiApplication>
#include <QMimeData>
#include <QPushButton>
#include <QScreen>
#include <QUrl>

#include <filesystem>

#include "Alert.h"
#include "CrossThread.h"
#include "DirWindow.h"
#include "EntryListModel.h"
#include "FTPcommand.h"
#include "LPBListView.h"
#include "LocalFile.h"
#include "LocalListing.h"
#include "LogWindow.h"
#include "MessageCodes.h"
#include "PathLabel.h"
#include "PromptW.h"
#include "SessionLayout.h"
#include "StatusBar.h"
#include "StatusWindow.h"

namespace {

constexpr QSize kPreferredSize(1040, 680);
constexpr int kQuitTimeoutMs = 5000;

}  // namespace

FTPWindow::FTPWindow(QRect frame, const std::string& title, const std::string& host,
                     const std::string& login, const std::string& password,
                     const std::string& fontFamily, const std::string& fontStyle, int fontSize,
                     int firstDataPort, int passive, MessageHandler* application)
    : MessageHandler(this),
      application_(application),
      host_(host),
      login_(login),
      password_(password),
      firstDataPort_(firstDataPort),
      passive_(passive),
      ftp_(std::make_unique<FTPcommand>()) {
    setWindowTitle(QString::fromStdString(title));
    setAcceptDrops(true);
    ui_ = SessionLayout::Build(this, this, application);
    statusBar_ = new StatusBar(this);
    ApplyFont(fontFamily, fontStyle, fontSize);

    // The old frame was made for a small screen: keep its place, give the panes room.
    QSize size = frame.size().expandedTo(kPreferredSize);
    resize(size);
    if (QScreen* screen = QGuiApplication::primaryScreen()) {
        move(screen->availableGeometry().center() - rect().center());
    }
    setMinimumSize(300, 250);
    setMaximumSize(1500, 1500);

    fullListing_ = new DirWindow(this);
    log_ = new LogWindow("FTP Log: " + host, this);
    status_ = new StatusWindow(this);
    std::error_code error;
    std::filesystem::path start = std::filesystem::current_path(error);
    localDirectory_ = LocalListing::Resolve(error ? "/" : start.string(), nullptr);
}

FTPWindow::~FTPWindow() = default;

QPushButton* FTPWindow::Button(const std::string& name) const {
    auto found = ui_.buttons.find(name);
    return found != ui_.buttons.end() ? found->second : nullptr;
}

std::string FTPWindow::LocalDirectory() const {
    std::lock_guard lock(pathMutex_);
    return localDirectory_;
}

std::string FTPWindow::HostPath() const {
    std::lock_guard lock(pathMutex_);
    return hostPath_;
}

void FTPWindow::ApplyFont(const std::string& family, const std::string& style, int size) {
    if (family.empty() || style.empty()) {
        return;
    }
    QFont font(QString::fromStdString(family), size < 1 ? 10 : size);
    font.setStyleName(QString::fromStdString(style));
    for (LPBListView* list :
         {ui_.localDirectories, ui_.localFiles, ui_.hostDirectories, ui_.hostFiles}) {
        list->setFont(font);
    }
}

// ---- Dispatch ----

void FTPWindow::MessageReceived(const Message& message) {
    std::string prompt = message.FindString("prompt").value_or("");
    switch (message.what) {
        case kQuickLogout:
            quickQuit_ = true;
            PostMessage(Message(kQuitRequested));
            break;
        case kQuitRequested:
            close();
            break;
        case kReloadLocal:
            SpawnLocal("ThreadREFRESHClient", [this] { UpdateClient(std::nullopt); });
            break;
        case kOpenLocal:
            if (auto selected = ui_.localDirectories->FirstSelected();
                selected && !selected->empty()) {
                SpawnLocal("ThreadCDLOCAL", [this, target = *selected] { CDLOCAL(target); });
            } else {
                Prompt("Change local directory...", "Directory :", "localdir", kChangeLocal);
            }
            break;
        case kOpenHost:
            if (auto selected = ui_.hostDirectories->FirstSelected();
                selected && !selected->empty()) {
                SpawnHost("ThreadCDDISTANT", [this, target = *selected] {
                    CDDISTANT(target);
                    RemoteEnd();
                });
            } else {
                Prompt("Change host directory...", "Directory :", "hostdir", kChangeHost);
            }
            break;
        case kAskLocalMkdir:
            Prompt("Create a new local directory...", "Directory :", "foo", kMakeLocalFolder);
            break;
        case kAskHostMkdir:
            Prompt("Create a new host directory...", "Directory :", "foo", kMakeHostFolder);
            break;
        case kToggleAscii:
            binary_ = !binary_;
            {
                QSignalBlocker quiet(ui_.ascii);
                ui_.ascii->setChecked(!binary_);
            }
            break;
        case kStop:
            // Never busy-guarded: it interrupts the running host operation at once.
            ftp_->STOP();
            break;
        case kToggleFullListing:
            ToggleFullListing();
            break;
        case kSelectListingLines:
            if (auto row = message.FindInt32("num");
                row && *row >= 0 && *row < ui_.hostFiles->Model()->rowCount()) {
                fullListing_->SelectContaining(ui_.hostFiles->Model()->At(*row).text);
            }
            break;
        case kChangeLocal:
        case kChangeLocalToo:
            SpawnLocal("ThreadCDLOCAL", [this, prompt] { CDLOCAL(prompt); });
            break;
        case kChangeHost:
            SpawnHost("ThreadCDDISTANT", [this, prompt] {
                CDDISTANT(prompt);
                RemoteEnd();
            });
            break;
        case kOpenFileManager:
            OpenFileManager();
            break;
        case kToggleLog:
            ToggleLog();
            break;
        case kReloadHost:
            SpawnHost("ThreadREFRESHServeur", [this] {
                UpdateServeur(std::nullopt);
                RemoteEnd();
            });
            break;
        case kSelectAllLocal:
            ui_.localFiles->SelectAll();
            break;
        case kSelectAllHost:
            ui_.hostFiles->SelectAll();
            break;
        case kClearLocal:
            ui_.localFiles->UnSelectAll();
            break;
        case kClearHost:
            ui_.hostFiles->UnSelectAll();
            break;
        case kMinimize:
            showMinimized();
            break;
        case kToggleSpawn:
            ui_.spawnItem->setChecked(!ui_.spawnItem->isChecked());
            break;
        case kRenameLocalFolders:
            PromptRenames(ui_.localDirectories, true, true);
            break;
        case kRenameHostFolders:
            PromptRenames(ui_.hostDirectories, true, false);
            break;
        case kRenameLocalFiles:
            PromptRenames(ui_.localFiles, false, true);
            break;
        case kRenameHostFiles:
            PromptRenames(ui_.hostFiles, false, false);
            break;
        case kLocalSelection:
            ShowLocalSelection();
            break;
        case kHostSelection:
            ShowHostSelection();
            break;
        default:
            NotYetAvailable(message);
            break;
    }
}

void FTPWindow::NotYetAvailable(const Message& message) {
    // Transfers and file commands come with their own work; until then they are only noted.
    static const std::uint32_t kLater[] = {kSendSelected,
                                           kGetSelected,
                                           kSendAll,
                                           kGetAll,
                                           kGetTree,
                                           kSendTree,
                                           kGetNamed,
                                           kRemoveLocalFolder,
                                           kRemoveHostFolder,
                                           kDeleteLocalFiles,
                                           kDeleteHostFiles,
                                           kViewLocal,
                                           kViewHost,
                                           kMakeHostFolder,
                                           kMakeLocalFolder,
                                           kGunzip,
                                           kUntar,
                                           kExec,
                                           kRenameLocal,
                                           kRenameHost,
                                           kUnzip,
                                           kSimpleData,
                                           kRefsReceived};
    if (std::find(std::begin(kLater), std::end(kLater), message.what) != std::end(kLater)) {
        LogLine("Command " + std::to_string(message.what) + " is not available in this version.");
    }
}

bool FTPWindow::SpawnHost(const char* name, std::function<void()> operation) {
    if (busy_ || closing_) {
        return false;  // one host operation at a time: the others are dropped without a word
    }
    RemoteStart();
    if (!threads_.Spawn(name, std::move(operation))) {
        RemoteEnd();
        return false;
    }
    return true;
}

void FTPWindow::SpawnLocal(const char* name, std::function<void()> operation) {
    if (!closing_) {
        threads_.Spawn(name, std::move(operation));
    }
}

void FTPWindow::Prompt(const char* title, const char* label, const char* text, std::uint32_t answer,
                       std::optional<std::string> option) {
    auto* prompt = new PromptW(this, title, label, text, answer, std::move(option));
    prompt->show();
}

void FTPWindow::PromptRenames(LPBListView* list, bool folders, bool local) {
    std::vector<std::string> names = list->SelectedTexts();
    if (names.empty()) {
        Alert::Go("Nothing to do.");
        return;
    }
    const char* title = local ? (folders ? "Rename a local folder" : "Rename a local file")
                              : (folders ? "Rename a host folder" : "Rename a host file");
    int offset = 0;
    for (const std::string& name : names) {
        auto* prompt =
            new PromptW(this, title, "New name :", name, local ? kRenameLocal : kRenameHost, name);
        prompt->show();
        prompt->move(prompt->pos() + QPoint(0, offset));  // one above the other
        offset += prompt->height() + 8;
    }
}

void FTPWindow::ToggleLog() {
    bool show = log_->isHidden();
    log_->setVisible(show);
    ui_.logItem->setChecked(show);
    status_->SetEtatLog(show);
}

void FTPWindow::ToggleFullListing() {
    bool show = fullListing_->isHidden();
    fullListing_->setVisible(show);
    ui_.fullListingItem->setChecked(show);
}

void FTPWindow::ShowLocalSelection() {
    auto selected = ui_.localFiles->FirstSelected();
    if (!selected) {
        statusBar_->SetText("Idle.");
        return;
    }
    statusBar_->SetText("Local file: " + *selected + " [" + std::to_string(LenFile(*selected)) +
                        " Bytes]");
}

void FTPWindow::ShowHostSelection() {
    auto selected = ui_.hostFiles->FirstSelected();
    if (!selected) {
        statusBar_->SetText("Idle.");
        return;
    }
    statusBar_->SetText("Host file: " + *selected + " [" +
                        std::to_string(hostSizes_.FindSize(*selected)) + " Bytes]");
}

void FTPWindow::OpenFileManager() {
    QDesktopServices::openUrl(QUrl::fromLocalFile(QString::fromStdString(LocalDirectory())));
}

// ---- Start and end of a host operation ----

void FTPWindow::EnableHostControls(bool enabled) {
    for (QPushButton* control : ui_.hostControls) {
        control->setEnabled(enabled);
    }
}

// GUI thread, before the worker starts: the flag is set before any second command can come in.
void FTPWindow::RemoteStart() {
    abortReported_ = false;
    busy_ = true;
    EnableHostControls(false);
    status_->SetEtatLog(log_->isVisible());
    status_->SetEnabledSHControl(true);
}

void FTPWindow::RemoteEnd() {
    Post(this, [this] {
        abortReported_ = false;
        status_->Reset();
        status_->hide();
        EnableHostControls(true);
        statusBar_->SetText("Idle.");
        busy_ = false;
    });
}

void FTPWindow::DetachOk() {
    Post(this, [this] {
        EnableHostControls(true);
        abortReported_ = false;
        statusBar_->SetText("Idle.");
        busy_ = false;
    });
}

// ---- Closing ----

bool FTPWindow::QuitRequested() {
    if (!quickQuit_ &&
        Alert::Go("Are you sure you want to LOGOUT ?", {"Yes", "No"}, AlertKind::Warning) != 0) {
        return false;
    }
    if (application_ != nullptr) {
        application_->PostMessage(Message(FourCC("EndW")).AddPointer("this", this));
    }
    return true;
}

void FTPWindow::closeEvent(QCloseEvent* event) {
    event->ignore();
    if (closing_ || !QuitRequested()) {
        return;
    }
    Teardown();
}

// The window goes away without waiting for anyone: it hides, stops what runs, says goodbye on a
// worker, and deletes itself once the last worker has ended.
void FTPWindow::Teardown() {
    closing_ = true;
    hide();
    status_->hide();
    log_->hide();
    fullListing_->hide();
    if (busy_ || loggingOn_) {
        ftp_->STOP();
    } else if (connected_) {
        threads_.Spawn("ThreadQUIT", [this] {
            ftp_->SetTimeout(kQuitTimeoutMs);
            ftp_->QUIT();
        });
    }
    threads_.WhenIdle(this, [this] {
        log_->SetQuitAllowed(true);
        fullListing_->SetMayQuit(true);
        deleteLater();
    });
}

// ---- Dropped files ----

void FTPWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasUrls()) {
        event->acceptProposedAction();
    }
}

// A folder dropped first becomes the local directory; dropped files are selected in their
// folder and sent.
void FTPWindow::dropEvent(QDropEvent* event) {
    if (busy_ || closing_) {
        return;
    }
    std::vector<std::filesystem::path> paths;
    for (const QUrl& url : event->mimeData()->urls()) {
        if (url.isLocalFile()) {
            paths.emplace_back(url.toLocalFile().toStdString());
        }
    }
    if (paths.empty()) {
        return;
    }
    event->acceptProposedAction();
    std::error_code error;
    if (std::filesystem::is_directory(std::filesystem::symlink_status(paths.front(), error))) {
        SpawnLocal("ThreadCDLOCAL", [this, folder = paths.front().string()] { CDLOCAL(folder); });
        return;
    }
    SpawnLocal("ThreadCDLOCAL", [this, paths] {
        CDLOCAL(paths.front().parent_path().string());
        Post(this, [this, paths] {
            ui_.localFiles->UnSelectAll();
            for (const auto& path : paths) {
                ui_.localFiles->SelectText(path.filename().string());
            }
            PostMessage(Message(kSendSelected));
        });
    });
}
