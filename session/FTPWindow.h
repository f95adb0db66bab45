#pragma once

#include <QMainWindow>
#include <QPointer>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "ArchiveUnpacker.h"
#include "EntryStringItem.h"
#include "HostSession.h"
#include "LogOnRecipe.h"
#include "MessageHandler.h"
#include "SessionLayout.h"
#include "SessionView.h"
#include "XFerWin.h"

class DirWindow;
class LPBListView;
class LogWindow;
class PathLabel;
class QLabel;
class QPushButton;
class StatusBar;
class StatusWindow;

// The window of one FTP session: the local machine on the left, the host on the right, each a
// directory list above a file list, with the buttons between and below them.
//
// Every command arrives as a Message. The session's work is its HostSession, which runs each
// host operation on a worker of its own while the host-side controls are disabled (one host
// operation at a time; others are dropped) and reports back through SessionView, which the
// window answers with Post. A closing window hides itself, stops the session and deletes itself
// once the session's last worker has ended.
class FTPWindow : public QMainWindow, public MessageHandler, private SessionView {
    Q_OBJECT

public:
    enum Code : std::uint32_t {
        kSendSelected = 1,
        kGetSelected = 2,
        kQuickLogout = 3,
        kReloadLocal = 4,
        kOpenLocal = 5,
        kOpenHost = 6,
        kAskLocalMkdir = 7,
        kAskHostMkdir = 8,
        kRemoveLocalFolder = 9,
        kRemoveHostFolder = 10,
        kDeleteLocalFiles = 11,
        kDeleteHostFiles = 12,
        kToggleAscii = 13,
        kSendAll = 14,
        kGetAll = 15,
        kViewLocal = 16,
        kViewHost = 17,
        kStop = 18,
        kGetTree = 20,
        kSendTree = 21,
        kMakeHostFolder = 25,
        kMakeLocalFolder = 26,
        kGunzip = 30,
        kUntar = 31,
        kExec = 32,
        kToggleFullListing = 35,
        kSelectListingLines = 36,
        kChangeLocal = 37,
        kChangeHost = 38,
        kChangeLocalToo = 40,
        kOpenFileManager = 41,
        kToggleLog = 43,
        kReloadHost = 44,
        kSelectAllLocal = 45,
        kSelectAllHost = 46,
        kClearLocal = 47,
        kClearHost = 48,
        kMinimize = 49,
        kToggleSpawn = 50,
        kRenameLocalFolders = 60,
        kRenameLocal = 61,
        kRenameHostFolders = 65,
        kRenameHost = 66,
        kRenameLocalFiles = 70,
        kRenameHostFiles = 75,
        kLocalSelection = 80,
        kHostSelection = 81,
        kGetNamed = 82,
        kUnzip = 130,
    };

    // What the connection form hands over for the log-on; the window adds host, user and
    // password.
    using LogOn = LogOnRecipe;
    using TreeOutcome = HostSession::TreeOutcome;

    FTPWindow(QRect frame, const std::string& title, const std::string& host,
              const std::string& login, const std::string& password, const std::string& fontFamily,
              const std::string& fontStyle, int fontSize, int firstDataPort, int passive,
              MessageHandler* application = nullptr);
    ~FTPWindow() override;

    // Logs on and fills both panes, on a worker thread. May be called from any thread.
    void Init(LogOn logOn);
    // The application's transfer list, where second connections show while they run.
    void SetTransferList(XFerWin* list) { transferList_ = list; }
    XFerWin* TransferList() const { return transferList_; }
    void MessageReceived(const Message& message) override;
    // Asks "Are you sure you want to LOGOUT ?" unless the quick-quit flag is set; on yes tells
    // the application the session ends.
    bool QuitRequested();

    // What the panes show, for the tests and the benchmarks. GUI thread.
    LPBListView* LocalFiles() const { return ui_.localFiles; }
    LPBListView* LocalDirectories() const { return ui_.localDirectories; }
    LPBListView* HostFiles() const { return ui_.hostFiles; }
    LPBListView* HostDirectories() const { return ui_.hostDirectories; }
    PathLabel* LocalLabel() const { return ui_.localLabel; }
    PathLabel* HostLabel() const { return ui_.hostLabel; }
    StatusBar* Bar() const { return statusBar_; }
    StatusWindow* Status() const { return status_; }
    LogWindow* Log() const { return log_; }
    DirWindow* FullListing() const { return fullListing_; }
    QPushButton* Button(const std::string& name) const;
    // "Not encrypted" while the session's connection runs without TLS.
    QLabel* SecurityMark() const { return ui_.securityMark; }
    QAction* SpawnItem() const { return ui_.spawnItem; }
    bool IsBusy() const { return busy_; }
    bool IsConnected() const { return core_->IsConnected(); }
    bool IsLoggingOn() const { return loggingOn_; }
    std::string LocalDirectory() const { return core_->LocalDirectory(); }
    std::string HostPath() const { return core_->HostPath(); }
    int ThreadsRunning() const { return core_->Workers().Running(); }
    // How the last tree transfer ended: whole when every plain file and folder moved.
    TreeOutcome LastTree() const { return core_->LastTree(); }

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void ApplyFont(const std::string& family, const std::string& style, int size);

    // Dispatch.
    using Handler = void (*)(FTPWindow&, const Message&);
    static const std::unordered_map<std::uint32_t, Handler>& Handlers();
    static std::string PromptOf(const Message& message);
    void OpenLocal();
    void OpenHost();
    void ChangeLocal(const std::string& directory);
    void ToggleAscii();
    void StartGet();
    void StartSend();
    void StartTree(bool get);
    // A host operation on the session's worker, under the busy rule: dropped while another
    // runs. The session tells when it has ended.
    bool SpawnHost(const char* name, std::function<void()> operation);
    void SpawnLocal(const char* name, std::function<void()> operation);
    void StartLogOnClock();
    void Prompt(const char* title, const char* label, const char* text, std::uint32_t answer,
                std::optional<std::string> option = std::nullopt);
    void PromptRenames(LPBListView* list, bool folders, bool local);
    void ToggleLog();
    void ToggleFullListing();
    void ShowLocalSelection();
    void ShowHostSelection();
    void OpenFileManager();
    void ShowSecurity(bool controlProtected, bool dataProtected);
    long long LenFile(const std::string& name) const;

    // Start and end of a host operation.
    void RemoteStart();
    void RemoteEnd(const std::string& status = "Idle.");
    void EnableHostControls(bool enabled);

    // File and folder commands (FTPWindowCommands.cpp), started on the GUI thread.
    std::vector<std::string> SelectedOrNothing(LPBListView* list);
    std::string LocalPath(const std::string& name) const;
    void MKDLOCAL(const std::string& name);
    void RMDLOCAL();
    void DELLOCAL();
    void RenameLocal(const std::string& from, const std::string& to);
    void VIEWLOCAL();
    void OpenWithDesktop(const std::string& path);
    void Unpack(ArchiveUnpacker::Kind kind);
    void EXEC();
    void MKDDISTANT(const std::string& name);
    void RMDDISTANT();
    void DELDISTANT();
    void RenameHost(const std::string& from, const std::string& to);
    void VIEWDISTANT();

    // Closing.
    void Teardown();

    // What the session shows and asks (SessionView), from its workers.
    void ShowHostLists(SharedItems directories, SharedItems files) override;
    void ShowLocalLists(Items directories, Items files, const std::string& folder) override;
    void ShowHostPath(const std::string& text) override;
    void HostFolderListed(const std::string& path, bool toHistory) override;
    void ShowStatus(bool shown) override;
    void TreeWalking(bool walking) override;
    // Also from local workers: a window that is going says nothing more.
    void Tell(const std::string& text) override;
    int Ask(const std::string& text, const std::vector<std::string>& buttons, Kind kind,
            int otherwise) override;
    void LoggedOn(bool controlProtected, bool dataProtected) override;
    void LogOnFailed() override;
    void OperationEnded(const std::string& status) override;
    void TransferStarted(TransferInfo* transfer) override;
    void TransferEnded(TransferInfo* transfer) override;
    void HostChanged() override;
    void OpenFetched(const std::string& path) override;

    MessageHandler* application_;
    QPointer<XFerWin> transferList_;
    std::string host_;
    std::string login_;
    std::string password_;

    // GUI-thread state.
    bool busy_ = false;
    std::atomic<bool> closing_{false};
    std::atomic<bool> quickQuit_{false};
    std::atomic<bool> loggingOn_{false};
    // The name typed at "Get a host file...", fetched with the selection. GUI thread.
    std::optional<std::string> hostArgument_;

    SessionLayout::Widgets ui_;
    StatusBar* statusBar_ = nullptr;
    StatusWindow* status_ = nullptr;
    LogWindow* log_ = nullptr;
    DirWindow* fullListing_ = nullptr;
    // The session's work; the window goes only once its last worker has ended.
    std::unique_ptr<HostSession> core_;
};
