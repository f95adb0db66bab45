#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Cache.h"
#include "FTPcommand.h"
#include "LocalListing.h"
#include "LogOnClock.h"
#include "LogOnRecipe.h"
#include "SessionView.h"
#include "WorkerSet.h"

class BarMonitor;
class CertificateTrust;
class ListingMonitor;
class LogMonitor;
class StatusMonitor;
class TreeWalk;
class ViewFolder;

// The work of one FTP session, without any window: its connection, its cache of host listings,
// the host and local folders it is in, how it logs on, and every host operation (listings,
// changes of folder, file commands, transfers, trees). Each operation runs on a worker of its
// own, one host operation at a time; what it shows and asks goes to the SessionView and the
// engine's monitors, never to a widget. The program's names (UpdateServeur, CDDISTANT, IN, OUT,
// ProcedeIN...) are kept.
class HostSession {
public:
    using Items = std::vector<EntryStringItem>;
    // Where the session reports: the status window, the FTP log, the status bar and the Full
    // Listing window; none may be null.
    struct Monitors {
        StatusMonitor* status;
        LogMonitor* log;
        BarMonitor* bar;
        ListingMonitor* fullListing;
    };
    // What a host listing showed: the lists the cache keeps, the panes show and a tree walk
    // reads, one copy for all.
    struct HostLists {
        Cache::Shared directories;
        Cache::Shared files;
        std::string path;  // where the host said they are; empty when it did not say
    };
    // How the last tree transfer ended: whole when every plain file and folder moved.
    struct TreeOutcome {
        bool whole = false;
        int files = 0;
        int folders = 0;
    };

    HostSession(SessionView& view, Monitors monitors, int firstDataPort, int passive);
    ~HostSession();
    HostSession(const HostSession&) = delete;
    HostSession& operator=(const HostSession&) = delete;

    // ---- Running operations ----
    // Runs a host operation on a worker named `name`; the view hears OperationEnded when it
    // ends, whatever happened (or sooner, when it goes on on a connection of its own). False
    // when no worker could start: nothing ran.
    bool Run(const char* name, std::function<void()> operation);
    // Runs local work (a local listing, a local command) on a worker, beside host operations.
    bool RunLocal(const char* name, std::function<void()> operation);
    // Tells the view that operation `id` has ended, once.
    void EndOperation(std::uint64_t id);
    // The workers, for a view that must not go before the last one has ended.
    WorkerSet& Workers() { return workers_; }

    // ---- Log-on ----
    // The log-on, then both panes filled; the view hears LoggedOn or LogOnFailed. Worker only.
    int Logon(const LogOnRecipe& recipe);
    // The log-on's current step and the seconds it may still wait, for a countdown.
    std::string LogOnLine() const { return logOnClock_.Line(); }
    int Timeout() const { return ftp_->Timeout(); }
    bool IsConnected() const { return connected_; }
    bool IsLoggingOn() const { return loggingOn_; }

    // ---- Folders and listings (workers) ----
    LocalListing::Contents UpdateClient(const std::optional<std::string>& directory);
    int UpdateServeur(const std::optional<std::string>& directory, HostLists* shown = nullptr);
    void CDLOCAL(const std::string& directory);
    void CDDISTANT(const std::string& directory);
    std::string LocalDirectory() const;
    std::string HostPath() const;
    // Set on the view's thread: an open Full Listing gets the listings' lines, and folders are
    // listed again for it instead of coming from the cache.
    void SetFullListingShown(bool shown) { fullListingShown_ = shown; }

    // ---- Host file commands (workers), each followed by a new host listing ----
    void MKDDISTANT(const std::string& name);
    void RMDDISTANT(const std::string& name);
    void DELDISTANT(const std::vector<std::string>& names);
    void RenameHost(const std::string& from, const std::string& to);
    void VIEWDISTANT(const std::vector<std::string>& names);

    // ---- Transfers (workers) ----
    // Selected files either way: on the session's connection, or with `spawn` on a second one
    // that shows in the transfer list while the view goes on with other work.
    void IN(const std::vector<std::string>& names, bool spawn);
    void OUT(const std::vector<std::string>& names, bool spawn);
    // The folder `name` of the current folder, with everything below it, either way.
    void WalkTree(bool get, const std::string& name);
    TreeOutcome LastTree() const;
    void SetBinary(bool binary) { binary_ = binary; }
    bool IsBinary() const { return binary_; }

    // ---- Stop and end ----
    // Stops the host operation that runs, from any thread. The session stays: a connection the
    // stop cost is made again for the next operation.
    void Stop();
    // The view goes: everything running stops, every second connection too, and a connected
    // session says goodbye on a worker. From any thread.
    void Close();

private:
    friend class TreeWalk;

    // Connections that die. A step that talks to the host runs on a live connection: one found
    // lost before or during it is made again with the recipe, in the folder the session was in,
    // and the step runs once more there.
    template <typename Step>
    int OnLiveConnection(Step step);
    bool Reconnect();
    // The connection is gone for good: one alert for the operation, saying what happened to it
    // and why.
    void ConnectionGone(const std::string& what);
    // Waits `seconds` unless the operation is stopped or the session closes meanwhile.
    bool Pause(FTPcommand& command, int seconds);
    // Another try after 1, 2 and 4 s, as a link that dropped may need a moment to come back.
    static constexpr int kRetryPauses[] = {1, 2, 4};

    // Connections.
    void Secure(FTPcommand& command);
    bool MayGoOnInClear(CertificateTrust& trust, const std::string& host, int port,
                        const std::string& refusal);
    bool LogOnThroughFirewall(FTPcommand& command, bool session);
    void ReportUnreachable(const FTPcommand& command, const char* what);
    std::unique_ptr<FTPcommand> DuplicateNewConnection();
    bool LogOnSecond(FTPcommand& command);

    // Folders and listings.
    void ShowHostLists(HostLists lists);
    int ListHostFolder(const std::optional<std::string>& directory, HostLists* lists);
    int ReceiveListing(Items* files, Items* directories);
    int EnterHostFolder(const std::string& name);
    std::optional<std::string> AskHostPath();
    void PWDThread();
    void ShowHostFolder(const std::string& path, bool listed);
    void SetLocalDirectory(const std::string& path);

    // Transfers.
    void Detach(bool get, std::vector<std::string> names, const std::string& local,
                const std::string& hostFolder);
    // `walk`: the tree the names belong to, none for a list. `links`: the names are links,
    // tried as files; one the server will not send is left out rather than ending the tree.
    // `hostFolder`: where a second connection works, none for the session's own.
    bool ProcedeIN(const std::vector<std::string>& names, const std::string& local,
                   FTPcommand& command, std::atomic<int>& type, StatusMonitor* status,
                   const std::string* hostFolder, TreeWalk* walk = nullptr, bool links = false);
    bool ProcedeOUT(const std::vector<std::string>& names, const std::string& local,
                    FTPcommand& command, std::atomic<int>& type, StatusMonitor* status,
                    const std::string* hostFolder, TreeWalk* walk = nullptr);
    bool GoesOn(FTPcommand& command, TreeWalk* walk, const std::string& name);
    void SetType(FTPcommand& command, std::atomic<int>& type, bool binary);
    void ReportAbort(const char* text);
    // One file either way, tried again after a failure that may pass (see MoveFile).
    enum class Move { Get, Reget, GetAscii, Put, PutAscii };
    // `hostFolder`: the folder of a second connection, made again there after a loss; none for
    // the session's own connection.
    int MoveFile(FTPcommand& command, std::atomic<int>& type, Move move, const std::string& name,
                 const std::string& local, StatusMonitor* status, const std::string* hostFolder);
    int AttemptMove(FTPcommand& command, Move move, const std::string& name,
                    const std::string& local, StatusMonitor* status);
    bool MakeAgain(FTPcommand& command, std::atomic<int>& type, const std::string* hostFolder);
    bool VerifiedBySize(FTPcommand& command, const std::string& name, const std::string& path);

    // What the user sees.
    void LogLine(const std::string& line);
    void SetBar(const std::string& text);
    void Tell(const std::string& text);
    int Ask(const std::string& text, const std::vector<std::string>& buttons,
            SessionView::Kind kind, int otherwise);
    void SetHostPath(const std::string& path);

    SessionView& view_;
    Monitors monitors_;
    LogOnRecipe recipe_;
    int firstDataPort_;
    int passive_;
    std::unique_ptr<FTPcommand> ftp_;
    std::shared_ptr<ViewFolder> viewFolder_;
    // The log-on's steps, for the view's countdown.
    LogOnClock logOnClock_;

    std::atomic<bool> closing_{false};
    std::atomic<bool> connected_{false};
    std::atomic<bool> loggingOn_{false};
    std::atomic<bool> abortReported_{false};
    std::atomic<bool> binary_{true};
    std::atomic<bool> fullListingShown_{false};
    std::atomic<bool> firstListing_{true};
    // The session connection's transfer type: 0 ASCII, 1 binary, 2 not sent yet.
    std::atomic<int> connectionType_{2};
    // The number of the host operation that runs and has not told the view it ended, 0 for
    // none: an operation that moved to a second connection ends early, and its worker, still
    // running, must not end the next one.
    std::atomic<std::uint64_t> running_{0};
    std::uint64_t operations_ = 0;  // GUI thread
    // The running operation was stopped by the user; its lost connection was told already.
    std::atomic<bool> stopped_{false};
    std::atomic<bool> connectionGone_{false};
    // What the status bar keeps when the operation ends; empty for "Idle.".
    std::string failedText_;

    mutable std::mutex pathMutex_;
    std::string localDirectory_;
    std::string hostPath_;
    Cache cache_;  // touched by the one host operation that runs at a time

    // Second connections running now: a closing session stops them, and never starts another.
    std::mutex detachedMutex_;
    std::vector<FTPcommand*> detached_;
    mutable std::mutex treeMutex_;
    TreeOutcome lastTree_;
    WorkerSet workers_;
};

template <typename Step>
int HostSession::OnLiveConnection(Step step) {
    // A 421 or a closed connection from the idle time before: known without sending anything.
    ftp_->ReadPending();
    if (ftp_->ConnectionLost() && !Reconnect()) {
        return 1;
    }
    int result = step();
    if (result != 0 && ftp_->ConnectionLost() && !stopped_ && Reconnect()) {
        result = step();
        // Lost again within the same step: the link will not hold.
        if (result != 0 && ftp_->ConnectionLost() && !stopped_) {
            ConnectionGone("was lost again: " + ftp_->LostReason());
        }
    }
    return result;
}
