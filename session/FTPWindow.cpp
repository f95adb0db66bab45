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
#include <unordered_map>

#include "Alert.h"
#include "CrossThread.h"
#include "DirWindow.h"
#include "EntryListModel.h"
#include "FTPcommand.h"
#include "LPBListView.h"
#include "LocalFile.h"
#include "LocalListing.h"
#include "LogOnClock.h"
#include "LogWindow.h"
#include "MessageCodes.h"
#include "PathLabel.h"
#include "PromptW.h"
#include "SessionLayout.h"
#include "StatusBar.h"
#include "StatusWindow.h"
#include "ViewFolder.h"

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
      ftp_(std::make_unique<FTPcommand>()),
      viewFolder_(std::make_shared<ViewFolder>()) {
    ftp_->SetViewFolder(viewFolder_);
    setWindowTitle(QString::fromStdString(title));
    setAcceptDrops(true);
    ui_ = SessionLayout::Build(this, this, application);
    statusBar_ = new StatusBar(this);
    ApplyFont(fontFamily, fontStyle, fontSize);

    // No smaller than what keeps every caption whole.
    setMinimumSize(minimumSizeHint());
    setMaximumSize(1500, 1500);
    // The old frame was made for a small screen: keep its place, give the panes room.
    QSize size = frame.size().expandedTo(kPreferredSize);
    if (QScreen* screen = QGuiApplication::primaryScreen()) {
        // Whole on a small screen too, as far as the captions allow.
        resize(size.boundedTo(screen->availableGeometry().size()));
        move(screen->availableGeometry().center() - rect().center());
    } else {
        resize(size);
    }

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

// One row per command: the code and what it does. Host operations run on a worker of their own
// and are dropped while another one runs; the stop passes always.
const std::unordered_map<std::uint32_t, FTPWindow::Handler>& FTPWindow::Handlers() {
    using W = FTPWindow;
    using M = const Message&;
    static const std::unordered_map<std::uint32_t, Handler> table = {
        {kSendSelected, [](W& w, M) { w.StartSend(); }},
        {kGetSelected, [](W& w, M) { w.StartGet(); }},
        {kSendAll,
         [](W& w, M) {
             if (!w.busy_) {
                 w.ui_.localFiles->SelectAll();
                 w.StartSend();
             }
         }},
        {kGetAll,
         [](W& w, M) {
             if (!w.busy_) {
                 w.ui_.hostFiles->SelectAll();
                 w.StartGet();
             }
         }},
        {kGetNamed,
         [](W& w, M m) {
             w.hostArgument_ = PromptOf(m);
             w.PostMessage(Message(kGetSelected));
         }},
        {kGetTree, [](W& w, M) { w.StartTree(true); }},
        {kSendTree, [](W& w, M) { w.StartTree(false); }},
        {kQuickLogout,
         [](W& w, M) {
             w.quickQuit_ = true;
             w.PostMessage(Message(kQuitRequested));
         }},
        {kQuitRequested, [](W& w, M) { w.close(); }},
        {kReloadLocal,
         [](W& w, M) {
             w.SpawnLocal("ThreadREFRESHClient", [&w] { w.UpdateClient(std::nullopt); });
         }},
        {kOpenLocal, [](W& w, M) { w.OpenLocal(); }},
        {kOpenHost, [](W& w, M) { w.OpenHost(); }},
        {kAskLocalMkdir,
         [](W& w, M) {
             w.Prompt("Create a new local directory...", "Directory :", "foo", kMakeLocalFolder);
         }},
        {kAskHostMkdir,
         [](W& w, M) {
             w.Prompt("Create a new host directory...", "Directory :", "foo", kMakeHostFolder);
         }},
        {kMakeLocalFolder,
         [](W& w, M m) {
             if (!w.busy_) {
                 w.MKDLOCAL(PromptOf(m));
             }
         }},
        {kMakeHostFolder, [](W& w, M m) { w.MKDDISTANT(PromptOf(m)); }},
        {kRemoveLocalFolder, [](W& w, M) { w.RMDLOCAL(); }},
        {kRemoveHostFolder, [](W& w, M) { w.RMDDISTANT(); }},
        {kDeleteLocalFiles, [](W& w, M) { w.DELLOCAL(); }},
        {kDeleteHostFiles, [](W& w, M) { w.DELDISTANT(); }},
        {kRenameLocal,
         [](W& w, M m) { w.RenameLocal(m.FindString("opt").value_or(""), PromptOf(m)); }},
        {kRenameHost,
         [](W& w, M m) { w.RenameHost(m.FindString("opt").value_or(""), PromptOf(m)); }},
        {kViewLocal, [](W& w, M) { w.VIEWLOCAL(); }},
        {kViewHost, [](W& w, M) { w.VIEWDISTANT(); }},
        {kUntar, [](W& w, M) { w.Unpack(ArchiveUnpacker::Kind::Tar); }},
        {kUnzip, [](W& w, M) { w.Unpack(ArchiveUnpacker::Kind::Zip); }},
        {kGunzip, [](W& w, M) { w.Unpack(ArchiveUnpacker::Kind::Gzip); }},
        {kExec, [](W& w, M) { w.EXEC(); }},
        {kToggleAscii, [](W& w, M) { w.ToggleAscii(); }},
        // Never busy-guarded: it interrupts the running host operation at once.
        {kStop, [](W& w, M) { w.ftp_->STOP(); }},
        {kToggleFullListing, [](W& w, M) { w.ToggleFullListing(); }},
        {kSelectListingLines,
         [](W& w, M m) {
             if (auto row = m.FindInt32("num");
                 row && *row >= 0 && *row < w.ui_.hostFiles->Model()->rowCount()) {
                 w.fullListing_->SelectContaining(w.ui_.hostFiles->Model()->At(*row).text);
             }
         }},
        {kChangeLocal, [](W& w, M m) { w.ChangeLocal(PromptOf(m)); }},
        {kChangeLocalToo, [](W& w, M m) { w.ChangeLocal(PromptOf(m)); }},
        {kChangeHost,
         [](W& w, M m) {
             w.SpawnHost("ThreadCDDISTANT", [&w, target = PromptOf(m)] {
                 w.CDDISTANT(target);
                 w.RemoteEnd();
             });
         }},
        {kOpenFileManager, [](W& w, M) { w.OpenFileManager(); }},
        {kToggleLog, [](W& w, M) { w.ToggleLog(); }},
        {kReloadHost,
         [](W& w, M) {
             w.SpawnHost("ThreadREFRESHServeur", [&w] {
                 w.UpdateServeur(std::nullopt);
                 w.RemoteEnd();
             });
         }},
        {kSelectAllLocal, [](W& w, M) { w.ui_.localFiles->SelectAll(); }},
        {kSelectAllHost, [](W& w, M) { w.ui_.hostFiles->SelectAll(); }},
        {kClearLocal, [](W& w, M) { w.ui_.localFiles->UnSelectAll(); }},
        {kClearHost, [](W& w, M) { w.ui_.hostFiles->UnSelectAll(); }},
        {kMinimize, [](W& w, M) { w.showMinimized(); }},
        {kToggleSpawn, [](W& w, M) { w.ui_.spawnItem->setChecked(!w.ui_.spawnItem->isChecked()); }},
        {kRenameLocalFolders, [](W& w, M) { w.PromptRenames(w.ui_.localDirectories, true, true); }},
        {kRenameHostFolders, [](W& w, M) { w.PromptRenames(w.ui_.hostDirectories, true, false); }},
        {kRenameLocalFiles, [](W& w, M) { w.PromptRenames(w.ui_.localFiles, false, true); }},
        {kRenameHostFiles, [](W& w, M) { w.PromptRenames(w.ui_.hostFiles, false, false); }},
        {kLocalSelection, [](W& w, M) { w.ShowLocalSelection(); }},
        {kHostSelection, [](W& w, M) { w.ShowHostSelection(); }},
    };
    return table;
}

void FTPWindow::MessageReceived(const Message& message) {
    if (auto found = Handlers().find(message.what); found != Handlers().end()) {
        found->second(*this, message);
    }
}

std::string FTPWindow::PromptOf(const Message& message) {
    return message.FindString("prompt").value_or("");
}

void FTPWindow::OpenLocal() {
    if (auto selected = ui_.localDirectories->FirstSelected(); selected && !selected->empty()) {
        ChangeLocal(*selected);
    } else {
        Prompt("Change local directory...", "Directory :", "localdir", kChangeLocal);
    }
}

void FTPWindow::OpenHost() {
    if (auto selected = ui_.hostDirectories->FirstSelected(); selected && !selected->empty()) {
        SpawnHost("ThreadCDDISTANT", [this, target = *selected] {
            CDDISTANT(target);
            RemoteEnd();
        });
    } else {
        Prompt("Change host directory...", "Directory :", "hostdir", kChangeHost);
    }
}

void FTPWindow::ChangeLocal(const std::string& directory) {
    SpawnLocal("ThreadCDLOCAL", [this, directory] { CDLOCAL(directory); });
}

void FTPWindow::ToggleAscii() {
    binary_ = !binary_;
    QSignalBlocker quiet(ui_.ascii);
    ui_.ascii->setChecked(!binary_);
}

// The selection is read here, on the window's thread, and handed to the worker.
void FTPWindow::StartGet() {
    std::vector<std::string> names = ui_.hostFiles->SelectedTexts();
    if (hostArgument_) {
        names.push_back(*hostArgument_);
    }
    bool spawn = ui_.spawnItem->isChecked();
    XFerWin* list = transferList_.data();
    if (SpawnHost("ThreadIN", [this, names, spawn, list] {
            if (IN(names, spawn, list) != Ran::Detached) {
                RemoteEnd();
            }
            PostMessage(Message(kReloadLocal));
        })) {
        hostArgument_.reset();
    }
}

void FTPWindow::StartSend() {
    std::vector<std::string> names = ui_.localFiles->SelectedTexts();
    bool spawn = ui_.spawnItem->isChecked();
    XFerWin* list = transferList_.data();
    SpawnHost("ThreadOUT", [this, names, spawn, list] {
        Ran ran = OUT(names, spawn, list);
        if (ran != Ran::Detached) {
            RemoteEnd();
        }
        if (ran != Ran::Nothing) {
            PostMessage(Message(kReloadHost));
        }
    });
}

// A tree always runs on the session's connection: the Spawn item is unchecked for good.
void FTPWindow::StartTree(bool get) {
    if (busy_ || closing_) {
        return;
    }
    LPBListView* folders = get ? ui_.hostDirectories : ui_.localDirectories;
    std::optional<std::string> folder = folders->FirstSelected();
    if (!folder || *folder == ".." || *folder == "/" || folder->empty()) {
        Alert::Go(get ? "Please select a host directory." : "Please select a local directory.");
        return;
    }
    ui_.spawnItem->setChecked(false);
    SpawnHost(get ? "ThreadREPIN" : "ThreadREPOUT", [this, get, folder = *folder] {
        WalkTree(get, folder);
        RemoteEnd();
    });
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

// The raw lines cost as much as the listing itself: only an open Full Listing keeps them. Opened,
// it lists the host folder again to show its lines.
void FTPWindow::ToggleFullListing() {
    bool show = fullListing_->isHidden();
    fullListingShown_ = show;
    fullListing_->SetReceiving(show);
    fullListing_->setVisible(show);
    ui_.fullListingItem->setChecked(show);
    if (!show) {
        fullListing_->SetLines({});
    } else if (connected_ && !loggingOn_) {
        PostMessage(Message(kReloadHost));
    }
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
    const EntryStringItem* item = ui_.hostFiles->FirstSelectedItem();
    statusBar_->SetText("Host file: " + *selected + " [" +
                        std::to_string(item != nullptr ? std::max(item->size, 0LL) : 0) +
                        " Bytes]");
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
    // Until the log-on ends there is nothing to log out of: Stop ends it without a question.
    if (!quickQuit_ && !loggingOn_ &&
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
    {
        std::lock_guard lock(detachedMutex_);
        for (FTPcommand* connection : detached_) {
            connection->STOP();
        }
    }
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

void FTPWindow::Tell(const std::string& text) {
    if (!closing_) {
        Alert::Go(text);
    }
}

int FTPWindow::Ask(const std::string& text, const std::vector<std::string>& buttons, AlertKind kind,
                   int otherwise) {
    return closing_ ? otherwise : Alert::Go(text, buttons, kind);
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
