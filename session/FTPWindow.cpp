#include "FTPWindow.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QDesktopServices>
#include <QDragEnterEvent>
#include <QGuiApplication>
#include <QLabel>
#include <QMimeData>
#include <QPushButton>
#include <QScreen>
#include <QTimer>
#include <QUrl>

#include <filesystem>
#include <unordered_map>

#include "Alert.h"
#include "CrossThread.h"
#include "DirWindow.h"
#include "EntryListModel.h"
#include "HostPath.h"
#include "LPBListView.h"
#include "LocalFile.h"
#include "LogWindow.h"
#include "MessageCodes.h"
#include "PathLabel.h"
#include "PromptW.h"
#include "SessionLayout.h"
#include "StatusBar.h"
#include "StatusWindow.h"

namespace {

constexpr QSize kPreferredSize(1040, 680);

}  // namespace

FTPWindow::FTPWindow(QRect frame, const std::string& title, const std::string& host,
                     const std::string& login, const std::string& password,
                     const std::string& fontFamily, const std::string& fontStyle, int fontSize,
                     int firstDataPort, int passive, MessageHandler* application)
    : MessageHandler(this),
      application_(application),
      host_(host),
      login_(login),
      password_(password) {
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
    SessionView& view = *this;
    core_ = std::make_unique<HostSession>(
        view, HostSession::Monitors{status_, log_, statusBar_, fullListing_}, firstDataPort,
        passive);
}

FTPWindow::~FTPWindow() = default;

QPushButton* FTPWindow::Button(const std::string& name) const {
    auto found = ui_.buttons.find(name);
    return found != ui_.buttons.end() ? found->second : nullptr;
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
             w.SpawnLocal("ThreadREFRESHClient", [&w] { w.core_->UpdateClient(std::nullopt); });
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
        {kStop, [](W& w, M) { w.core_->Stop(); }},
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
             w.SpawnHost("ThreadCDDISTANT",
                         [&w, target = PromptOf(m)] { w.core_->CDDISTANT(target); });
         }},
        {kOpenFileManager, [](W& w, M) { w.OpenFileManager(); }},
        {kToggleLog, [](W& w, M) { w.ToggleLog(); }},
        {kReloadHost,
         [](W& w, M) {
             w.SpawnHost("ThreadREFRESHServeur", [&w] { w.core_->UpdateServeur(std::nullopt); });
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
        SpawnHost("ThreadCDDISTANT", [this, target = *selected] { core_->CDDISTANT(target); });
    } else {
        Prompt("Change host directory...", "Directory :", "hostdir", kChangeHost);
    }
}

void FTPWindow::ChangeLocal(const std::string& directory) {
    SpawnLocal("ThreadCDLOCAL", [this, directory] { core_->CDLOCAL(directory); });
}

void FTPWindow::ToggleAscii() {
    core_->SetBinary(!core_->IsBinary());
    QSignalBlocker quiet(ui_.ascii);
    ui_.ascii->setChecked(!core_->IsBinary());
}

// The selection is read here, on the window's thread, and handed to the worker.
void FTPWindow::StartGet() {
    std::vector<std::string> names = ui_.hostFiles->SelectedTexts();
    if (hostArgument_) {
        names.push_back(*hostArgument_);
    }
    if (names.empty()) {
        Prompt("Get a host file...", "File :", "filename", kGetNamed);
        return;
    }
    const bool spawn = ui_.spawnItem->isChecked();
    if (SpawnHost("ThreadIN", [this, names, spawn] { core_->IN(names, spawn); })) {
        hostArgument_.reset();
    }
}

void FTPWindow::StartSend() {
    std::vector<std::string> names = ui_.localFiles->SelectedTexts();
    if (names.empty()) {
        Alert::Go("Nothing to do.");
        return;
    }
    const bool spawn = ui_.spawnItem->isChecked();
    SpawnHost("ThreadOUT", [this, names, spawn] { core_->OUT(names, spawn); });
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
    SpawnHost(get ? "ThreadREPIN" : "ThreadREPOUT",
              [this, get, folder = *folder] { core_->WalkTree(get, folder); });
}

bool FTPWindow::SpawnHost(const char* name, std::function<void()> operation) {
    if (busy_ || closing_) {
        return false;  // one host operation at a time: the others are dropped without a word
    }
    RemoteStart();
    if (!core_->Run(name, std::move(operation))) {
        RemoteEnd();
        return false;
    }
    return true;
}

void FTPWindow::SpawnLocal(const char* name, std::function<void()> operation) {
    if (!closing_) {
        core_->RunLocal(name, std::move(operation));
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
    core_->SetFullListingShown(show);
    fullListing_->SetReceiving(show);
    fullListing_->setVisible(show);
    ui_.fullListingItem->setChecked(show);
    if (!show) {
        fullListing_->SetLines({});
    } else if (core_->IsConnected() && !loggingOn_) {
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
    busy_ = true;
    EnableHostControls(false);
    status_->SetEtatLog(log_->isVisible());
    status_->SetEnabledSHControl(true);
}

// `status` stays in the status bar: "Idle.", or what went wrong.
void FTPWindow::RemoteEnd(const std::string& status) {
    status_->Reset();
    status_->hide();
    EnableHostControls(true);
    statusBar_->SetText(status);
    busy_ = false;
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
// worker, and deletes itself once the session's last worker has ended.
void FTPWindow::Teardown() {
    closing_ = true;
    hide();
    status_->hide();
    log_->hide();
    fullListing_->hide();
    core_->Close();
    core_->Workers().WhenIdle([this] {
        Post(this, [this] {
            log_->SetQuitAllowed(true);
            fullListing_->SetMayQuit(true);
            deleteLater();
        });
    });
}

// ---- Log-on ----

void FTPWindow::Init(LogOn logOn) {
    loggingOn_ = true;
    logOn.host = host_;
    logOn.user = login_;
    logOn.password = password_;
    Post(this, [this, logOn = std::move(logOn)] {
        RemoteStart();
        status_->SetTitle(host_);
        status_->SetEnabledSHControl(false);
        status_->show();
        StartLogOnClock();
        if (!core_->Run("ThreadLOGIN", [this, logOn] { core_->Logon(logOn); })) {
            loggingOn_ = false;
            RemoteEnd();
        }
    });
}

// Once a second while the log-on waits, the status window tells how long it may still wait.
void FTPWindow::StartLogOnClock() {
    auto* timer = new QTimer(this);
    connect(timer, &QTimer::timeout, this, [this, timer] {
        if (!loggingOn_) {
            timer->deleteLater();
        } else if (const std::string line = core_->LogOnLine(); !line.empty()) {
            status_->SetTypeOperation(line);
        }
    });
    timer->start(1000);
}

// A session in clear says so beside the host's path, where the eye is; one under TLS shows it.
void FTPWindow::ShowSecurity(bool controlProtected, bool dataProtected) {
    QLabel* mark = ui_.securityMark;
    const char* style =
        "QLabel { color: white; background: rgb(170,30,30); padding: 3px 6px;"
        " border-radius: 3px; font-weight: bold; }";
    if (!controlProtected) {
        mark->setText(tr("Not encrypted"));
        mark->setToolTip(tr("The password, the commands and the files travel in clear."));
    } else if (!dataProtected) {
        mark->setText(tr("Files not encrypted"));
        mark->setToolTip(tr("The log-on travels under TLS; the files travel in clear."));
    } else {
        mark->setText(tr("TLS"));
        mark->setToolTip(tr("The log-on, the commands and the files travel under TLS."));
        style =
            "QLabel { color: white; background: rgb(40,120,60); padding: 3px 6px;"
            " border-radius: 3px; font-weight: bold; }";
    }
    mark->setStyleSheet(style);
    mark->setAccessibleName(mark->text());
    mark->show();
}

long long FTPWindow::LenFile(const std::string& name) const {
    return LocalFile::SizeOf(HostPath::WithSlash(LocalDirectory()) + name);
}

// ---- What the session shows and asks: each call comes from one of its workers ----

void FTPWindow::ShowHostLists(SharedItems directories, SharedItems files) {
    Post(this, [this, directories = std::move(directories), files = std::move(files)] {
        ui_.hostDirectories->SetShared(directories);
        ui_.hostFiles->SetShared(files);
    });
}

void FTPWindow::ShowLocalLists(Items directories, Items files, const std::string& folder) {
    Post(this,
         [this, directories = std::move(directories), files = std::move(files), folder]() mutable {
             ui_.localDirectories->SetItems(std::move(directories));
             ui_.localFiles->SetItems(std::move(files));
             ui_.localLabel->SetFullText(" Local: " + folder);
         });
}

void FTPWindow::ShowHostPath(const std::string& text) {
    Post(this, [this, text] { ui_.hostLabel->SetFullText(text); });
}

void FTPWindow::HostFolderListed(const std::string& path, bool toHistory) {
    if (toHistory) {
        statusBar_->AddEntryInMenu(path);
    }
    Post(this, [this, path] {
        fullListing_->setWindowTitle(QString::fromStdString("Full Listing: " + path));
    });
}

void FTPWindow::ShowStatus(bool shown) {
    Post(this, [this, shown] { status_->setVisible(shown); });
}

// The window steps aside while a tree moves; the status window stays.
void FTPWindow::TreeWalking(bool walking) {
    Post(this, [this, walking] {
        status_->SetEnabledSHControl(!walking);
        if (walking) {
            hide();
            status_->show();
        } else if (!closing_) {
            show();
        }
    });
}

void FTPWindow::Tell(const std::string& text) {
    if (!closing_) {
        Alert::Go(text);
    }
}

int FTPWindow::Ask(const std::string& text, const std::vector<std::string>& buttons, Kind kind,
                   int otherwise) {
    return closing_ ? otherwise
                    : Alert::Go(text, buttons,
                                kind == Kind::Warning ? AlertKind::Warning : AlertKind::Idea);
}

void FTPWindow::LoggedOn(bool controlProtected, bool dataProtected) {
    Post(this, [this, controlProtected, dataProtected] {
        ShowSecurity(controlProtected, dataProtected);
    });
}

// Nothing to log out of: the window goes without the question.
void FTPWindow::LogOnFailed() {
    loggingOn_ = false;
    quickQuit_ = true;
    PostMessage(Message(kQuitRequested));
}

void FTPWindow::OperationEnded(const std::string& status) {
    loggingOn_ = false;
    Post(this, [this, status] { RemoteEnd(status); });
}

void FTPWindow::TransferStarted(TransferInfo* transfer) {
    if (XFerWin* list = transferList_.data()) {
        list->AddEntry(transfer, true);
    }
}

void FTPWindow::TransferEnded(TransferInfo* transfer) {
    if (XFerWin* list = transferList_.data()) {
        list->RemoveEntry(transfer);
    }
}

void FTPWindow::HostChanged() {
    PostMessage(Message(kReloadHost));
}

void FTPWindow::OpenFetched(const std::string& path) {
    Post(this, [this, path] { OpenWithDesktop(path); });
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
        SpawnLocal("ThreadCDLOCAL",
                   [this, folder = paths.front().string()] { core_->CDLOCAL(folder); });
        return;
    }
    SpawnLocal("ThreadCDLOCAL", [this, paths] {
        core_->CDLOCAL(paths.front().parent_path().string());
        Post(this, [this, paths] {
            ui_.localFiles->UnSelectAll();
            for (const auto& path : paths) {
                ui_.localFiles->SelectText(path.filename().string());
            }
            PostMessage(Message(kSendSelected));
        });
    });
}
