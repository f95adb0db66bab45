#pragma once

#include <QMainWindow>
#include <QPointer>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "Alert.h"
#include "ArchiveUnpacker.h"
#include "Cache.h"
#include "EntryStringItem.h"
#include "FTPcommand.h"
#include "LocalListing.h"
#include "MessageHandler.h"
#include "MiniBase.h"
#include "SessionLayout.h"
#include "ThreadSet.h"
#include "XFerWin.h"

class DirWindow;
class LPBListView;
class CertificateTrust;
class LogOnClock;
class LogWindow;
class PathLabel;
class QLabel;
class QPushButton;
class StatusBar;
class StatusWindow;
class ViewFolder;

// The window of one FTP session: the local machine on the left, the host on the right, each a
// directory list above a file list, with the buttons between and below them.
//
// Every command arrives as a Message. Commands that talk to the host run on a worker thread of
// their own while the host-side controls are disabled (one host operation at a time; others are
// dropped). Workers reach widgets only through Post and never outlive the window: a closing
// window hides itself, stops its connection and deletes itself once its last worker has ended.
class FTPWindow : public QMainWindow, public MessageHandler {
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

    // What the connection form hands over for the log-on.
    struct LogOn {
        std::optional<std::string> startPath;
        std::optional<std::string> localDirectory;
        std::optional<std::string> hostDirectory;
        std::string port = "21";
        bool firewall = false;
        std::string firewallHost;
        std::string firewallUser;
        std::string firewallPassword;
        std::string firewallPort = "21";
        std::string firewallCommand;
        FTPcommand::Security security = FTPcommand::Security::Plain;
        // Where the answers about certificates that do not verify are kept; none asks each time.
        std::shared_ptr<CertificateTrust> trust;
    };

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

    // A second connection for a transfer beside the session, set up as the session's but not
    // connected yet; LogOnSecond logs it on, in binary mode. Worker threads only.
    std::unique_ptr<FTPcommand> DuplicateNewConnection();
    bool LogOnSecond(FTPcommand& command);
    // TLS as the log-on asks, and the user's say on a certificate that does not verify and on a
    // host that offers no TLS.
    void Secure(FTPcommand& command, const LogOn& logOn);

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
    bool IsConnected() const { return connected_; }
    bool IsLoggingOn() const { return loggingOn_; }
    std::string LocalDirectory() const;
    std::string HostPath() const;
    int ThreadsRunning() const { return threads_.Running(); }
    // How the last tree transfer ended: whole when every plain file and folder moved.
    struct TreeOutcome {
        bool whole = false;
        int files = 0;
        int folders = 0;
    };
    TreeOutcome LastTree() const;

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    using Items = std::vector<EntryStringItem>;

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
    bool SpawnHost(const char* name, std::function<void()> operation);
    void SpawnLocal(const char* name, std::function<void()> operation);
    void Prompt(const char* title, const char* label, const char* text, std::uint32_t answer,
                std::optional<std::string> option = std::nullopt);
    void PromptRenames(LPBListView* list, bool folders, bool local);
    void ToggleLog();
    void ToggleFullListing();
    void ShowLocalSelection();
    void ShowHostSelection();
    void OpenFileManager();

    // Start and end of a host operation.
    void RemoteStart();
    void RemoteEnd();
    void DetachOk();
    void EnableHostControls(bool enabled);

    // Worker side.
    int Logon(const LogOn& logOn);
    static bool MayGoOnInClear(CertificateTrust& trust, const std::string& host, int port,
                               const std::string& refusal);
    void ShowSecurity(bool controlProtected, bool dataProtected);
    int LogOnThroughFirewall(FTPcommand& command, const LogOn& logOn, bool session);
    void ReportUnreachable(const FTPcommand& command, const char* what);
    void StartLogOnClock();
    LocalListing::Contents UpdateClient(const std::optional<std::string>& directory);
    // What a host listing showed: the lists the cache keeps, the panes show and a tree walk
    // reads, one copy for all.
    struct HostLists {
        Cache::Shared directories;
        Cache::Shared files;
    };
    int UpdateServeur(const std::optional<std::string>& directory, HostLists* shown = nullptr);
    // Asks the host where it is; `listed`, when given, is cached as that folder's listing.
    void PWDThread(const HostLists* listed);
    void CDLOCAL(const std::string& directory);
    void CDDISTANT(const std::string& directory);
    long long LenFile(const std::string& name) const;
    void ShowHostLists(HostLists lists);
    void SetHostLabel(const std::string& text);
    void SetBar(const std::string& text);
    void LogLine(const std::string& line);

    // Transfers (FTPWindowTransfers.cpp). A list runs on the session's connection, or on a
    // second one when "Spawn a new connection for data exchanges" is checked.
    enum class Ran { OnSession, Detached, Nothing };
    struct TreeWalk;
    Ran IN(std::vector<std::string> names, bool spawn, XFerWin* list);
    Ran OUT(std::vector<std::string> names, bool spawn, XFerWin* list);
    void Detach(bool get, std::vector<std::string> names, const std::string& local,
                const std::string& hostFolder, XFerWin* list);
    // `walk`: the tree the names belong to, none for a list. `links`: the names are links,
    // tried as files; one the server will not send is left out rather than ending the tree.
    bool ProcedeIN(const std::vector<std::string>& names, const std::string& local,
                   FTPcommand& command, std::atomic<int>& type, StatusWindow* status,
                   TreeWalk* walk = nullptr, bool links = false);
    bool ProcedeOUT(const std::vector<std::string>& names, const std::string& local,
                    FTPcommand& command, std::atomic<int>& type, StatusWindow* status);
    void WalkTree(bool get, const std::string& folder);
    bool RECURIN(const std::string& name, TreeWalk& walk, int depth);
    bool RECUROUT(const std::string& name, TreeWalk& walk, int depth);
    bool GetFolderContents(const HostLists& listing, TreeWalk& walk, int depth);
    bool PutFolderContents(const LocalListing::Contents& contents, TreeWalk& walk, int depth);
    bool BackToHostFolder(const std::string& path);
    bool ReturnToHostFolder(const std::string& path);
    void ReportAbort(const char* text);
    void SetType(FTPcommand& command, std::atomic<int>& type, bool binary);
    void SetOperation(StatusWindow* status, const char* text);

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
    // An alert or a question from a worker; a window that is going says nothing more, and its
    // question gets the answer `otherwise`.
    void Tell(const std::string& text);
    int Ask(const std::string& text, const std::vector<std::string>& buttons, AlertKind kind,
            int otherwise);

    MessageHandler* application_;
    QPointer<XFerWin> transferList_;
    std::string host_;
    std::string login_;
    std::string password_;
    LogOn logOn_;
    int firstDataPort_;
    int passive_;

    // GUI-thread state.
    bool busy_ = false;
    std::atomic<bool> closing_{false};
    std::atomic<bool> quickQuit_{false};
    std::atomic<bool> connected_{false};
    std::atomic<bool> loggingOn_{false};
    std::atomic<bool> abortReported_{false};
    std::atomic<bool> binary_{true};
    std::atomic<int> connectionType_{2};
    std::atomic<bool> firstListing_{true};
    // The Full Listing window is open: listings send it their lines, the cache is passed by.
    std::atomic<bool> fullListingShown_{false};

    // Shared with the workers.
    mutable std::mutex pathMutex_;
    std::string localDirectory_;
    std::string hostPath_;
    Cache cache_;  // touched by the one host operation that runs at a time

    std::unique_ptr<FTPcommand> ftp_;
    // Host files fetched to be viewed; removed with the window.
    std::shared_ptr<ViewFolder> viewFolder_;
    // Second connections running now: a closing window stops them.
    std::mutex detachedMutex_;
    std::vector<FTPcommand*> detached_;
    // The name typed at "Get a host file...", fetched with the selection. GUI thread.
    std::optional<std::string> hostArgument_;
    mutable std::mutex treeMutex_;
    TreeOutcome lastTree_;
    // The status window's steps during the log-on, with the seconds each may still wait; it
    // outlives the workers that report to it.
    std::unique_ptr<LogOnClock> logOnClock_;
    ThreadSet threads_;

    SessionLayout::Widgets ui_;
    StatusBar* statusBar_ = nullptr;
    StatusWindow* status_ = nullptr;
    LogWindow* log_ = nullptr;
    DirWindow* fullListing_ = nullptr;
};
