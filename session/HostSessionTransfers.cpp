// The session's transfers: selected files either way, on the session's connection or a second
// one, and whole folder trees. Everything here runs on workers.
#include <algorithm>
#include <filesystem>
#include <system_error>

#include "HostPath.h"
#include "HostSession.h"
#include "LocalFile.h"
#include "LogMonitor.h"
#include "StatusMonitor.h"
#include "TreeWalk.h"

namespace {

namespace fs = std::filesystem;

// The trailing blank and the wording are the program's own.
constexpr const char* kExistingLocalFile =
    "File: %s\nis on the local directory.\nWarning ! If the FTP server don't manage the REST "
    "function for reget, please do not select \"ReGet\". ";

std::string ExistingLocalFileText(const std::string& name) {
    std::string text = kExistingLocalFile;
    return text.replace(text.find("%s"), 2, name);
}

bool IsLocalLink(const fs::path& path) {
    std::error_code error;
    return fs::symlink_status(path, error).type() == fs::file_type::symlink;
}

// One alert for a tree that went through but not whole: the files that failed for good, the
// entries left out.
std::string NotWholeText(int failed, int skipped) {
    std::string text = "The tree was not moved whole: ";
    if (failed > 0) {
        text += std::to_string(failed) +
                (failed == 1 ? " file could not be moved" : " files could not be moved");
        text += skipped > 0 ? ", and " : ".";
    }
    if (skipped > 0) {
        text += std::to_string(skipped) +
                (skipped == 1 ? " entry was left out" : " entries were left out") +
                " (links, names that cannot be a file name here, or folders that could not be "
                "made or entered).";
    }
    return text + "\nThe FTP log names them.";
}

void SetOperation(StatusMonitor* status, const char* text) {
    if (status != nullptr) {
        status->SetTypeOperation(text);
    }
}

}  // namespace

void HostSession::ReportAbort(const char* text) {
    // One alert for a stopped list, and for a stopped tree however many lists it had left.
    if (!abortReported_.exchange(true)) {
        Tell(text);
    }
}

// Sends TYPE I or TYPE A when the connection's last type differs.
void HostSession::SetType(FTPcommand& command, std::atomic<int>& type, bool binary) {
    const int wanted = binary ? 1 : 0;
    if (type != wanted) {
        binary ? command.BINARY() : command.ASCII();
        type = wanted;
    }
}

// ---- One file, tried again ----

int HostSession::AttemptMove(FTPcommand& command, Move move, const std::string& name,
                             const std::string& local, StatusMonitor* status) {
    const char* file = name.c_str();
    switch (move) {
        case Move::Get:
            return command.GETBINARY(file, local.c_str(), status, passive_, false);
        case Move::Reget:
            return command.REGETBINARY(file, local.c_str(), status, passive_);
        case Move::GetAscii:
            return command.GETASCII(file, local.c_str(), status, passive_, false);
        case Move::Put:
        case Move::PutAscii:
            break;
    }
    // An upload goes on after what arrived, where the server can start a file midway.
    long long offset = 0;
    if (move == Move::Put && command.OffersRestStream()) {
        offset = std::max(0LL, command.SIZE(file).value_or(0));
        if (offset > LocalFile::SizeOf(local + name)) {
            offset = 0;  // another file than ours: sent again whole
        }
    }
    return command.Store(move == Move::PutAscii, local + name, file, status, passive_, offset);
}

// A connection that a retry finds lost is made again: the session's own in its folder, a second
// one as it was first logged on, in the folder it worked in.
bool HostSession::MakeAgain(FTPcommand& command, std::atomic<int>& type,
                            const std::string* hostFolder) {
    command.ReadPending();
    if (!command.ConnectionLost()) {
        return true;
    }
    if (hostFolder == nullptr) {
        return Reconnect();
    }
    LogLine("Connection lost: reconnecting...");
    command.Rearm();
    if (!LogOnSecond(command) || command.CWD(hostFolder->c_str()) != 0) {
        return false;
    }
    type = 1;  // a second connection logs on in binary
    return true;
}

// The data ended whole and only the verdict was lost: the server's size of the file says whether
// all of it is there.
bool HostSession::VerifiedBySize(FTPcommand& command, const std::string& name,
                                 const std::string& path) {
    const std::optional<long long> size = command.SIZE(name.c_str());
    const bool whole = size && *size == LocalFile::SizeOf(path);
    LogLine(name + (whole ? ": the server's size says the file is whole."
                          : ": the server's size does not match: the file is tried again."));
    return whole;
}

// One file, tried again when it failed for a cause that may pass (a reset or stalled data
// connection, a lost control connection, a 4xx): up to three more times, after 1, 2 and 4 s, on
// a connection made again when it was lost. A binary download resumes from its local part, which
// the engine compares before it appends; an upload goes on after what arrived where the server
// offers REST STREAM. A 5xx, a stop or a local failure is final.
int HostSession::MoveFile(FTPcommand& command, std::atomic<int>& type, Move move,
                          const std::string& name, const std::string& local, StatusMonitor* status,
                          const std::string* hostFolder) {
    const bool session = hostFolder == nullptr;
    const std::string path = local + name;
    for (int attempt = 0;; ++attempt) {
        const bool ascii = move == Move::GetAscii || move == Move::PutAscii;
        SetType(command, type, !ascii);
        int result = AttemptMove(command, move, name, local, status);
        if (result == FTPcommand::kVerdictLost) {
            result =
                MakeAgain(command, type, hostFolder) && VerifiedBySize(command, name, path) ? 0 : 1;
            if (result == 0) {
                return 0;
            }
        } else if (result == 0 || result == FTPcommand::kResumeMismatch ||
                   command.LastFailure() != FTPcommand::Failure::Transient) {
            return result;
        }
        if (attempt == static_cast<int>(std::size(kRetryPauses)) || (session && stopped_)) {
            return result;
        }
        const int pause = kRetryPauses[attempt];
        LogLine(name + " did not move whole: trying again in " + std::to_string(pause) + " s.");
        if (!Pause(command, pause) || !MakeAgain(command, type, hostFolder)) {
            return result;
        }
        // Binary downloads go on from the local part; ASCII ones, which have no offsets, begin
        // again.
        if (move == Move::Get || move == Move::Reget) {
            move = LocalFile::SizeOf(path) > 0 ? Move::Reget : Move::Get;
        }
    }
}

// ---- Selected files ----

void HostSession::IN(const std::vector<std::string>& names, bool spawn) {
    const std::string local = HostPath::WithSlash(LocalDirectory());
    if (spawn) {
        Detach(true, names, local, HostPath());
        return;
    }
    monitors_.status->Reset();
    ProcedeIN(names, local, *ftp_, connectionType_, monitors_.status, nullptr);
    UpdateClient(std::nullopt);
}

void HostSession::OUT(const std::vector<std::string>& names, bool spawn) {
    const std::string local = HostPath::WithSlash(LocalDirectory());
    if (spawn) {
        Detach(false, names, local, HostPath());
        return;
    }
    monitors_.status->Reset();
    ProcedeOUT(names, local, *ftp_, connectionType_, monitors_.status, nullptr);
    UpdateServeur(std::nullopt);
}

// Runs a list on a second connection of its own, while the view goes on with other work; the
// transfer shows in the transfer list, which can stop it.
void HostSession::Detach(bool get, std::vector<std::string> names, const std::string& local,
                         const std::string& hostFolder) {
    const std::uint64_t operation = running_;
    std::unique_ptr<FTPcommand> connection = DuplicateNewConnection();
    {
        // Known to the session, and stoppable from the transfer list, before it connects: a
        // session that closes meanwhile stops it wherever it is; one that closed never starts it.
        std::lock_guard lock(detachedMutex_);
        if (closing_) {
            return;
        }
        detached_.push_back(connection.get());
    }
    view_.TransferStarted(connection.get());
    EndOperation(operation);  // the view is free from here on
    // A log-on that failed has told why, unless the user stopped it.
    if (LogOnSecond(*connection)) {
        std::atomic<int> type{1};  // a second connection starts in binary
        connection->SetQuiet(true);
        if (connection->CWD(hostFolder.c_str()) != 0) {
            Tell("Impossible to change host directory.");
        } else if (get) {
            ProcedeIN(names, local, *connection, type, nullptr, &hostFolder);
        } else {
            ProcedeOUT(names, local, *connection, type, nullptr, &hostFolder);
        }
        connection->QUIT();
    }
    abortReported_ = false;
    view_.TransferEnded(connection.get());
    if (get) {
        UpdateClient(std::nullopt);
    } else {
        view_.HostChanged();
    }
    std::lock_guard lock(detachedMutex_);
    detached_.erase(std::find(detached_.begin(), detached_.end(), connection.get()));
}

// Gets the names one after the other into `local`; the first failure ends the list. A local
// file that is there already is resumed, overwritten or skipped, as the user says.
bool HostSession::ProcedeIN(const std::vector<std::string>& names, const std::string& local,
                            FTPcommand& command, std::atomic<int>& type, StatusMonitor* status,
                            const std::string* hostFolder, TreeWalk* walk, bool links) {
    const bool binary = binary_;
    if (status != nullptr) {
        view_.ShowStatus(true);
        status->SetTypeOperation(binary ? "BINARY Multi Selected Receiving..."
                                        : "ASCII Multi Selected Receiving...");
    }
    SetType(command, type, binary);
    const int count = static_cast<int>(names.size());
    int index = 1;
    for (const std::string& name : names) {
        if (status != nullptr) {
            status->SetNbFile(index++, count);
            status->SetNameFichier(name);
        }
        const std::string path = local + name;
        if (walk != nullptr && IsLocalLink(path)) {
            walk->Skip("Local link not written through: ", path);
            continue;
        }
        const char* failure = "Get file aborted";
        Move move = binary ? Move::Get : Move::GetAscii;
        if (binary && LocalFile::SizeOf(path) > 0) {
            const int choice =
                Ask(ExistingLocalFileText(name), {"ReGet(Append)", "Get(Overwrite)", "Skip"},
                    SessionView::Kind::Idea, 2);
            if (choice == 2) {
                continue;
            }
            if (choice == 1) {
                std::error_code error;
                fs::remove(path, error);
                SetOperation(status, "BINARY Multi Receiving...");
            } else {
                SetOperation(status, "BINARY Multi Selected Receiving...(REGET)");
                move = Move::Reget;
                failure = "REGet file aborted";
            }
        } else if (binary) {
            SetOperation(status, "BINARY Multi Selected Receiving...");
        }
        int result = MoveFile(command, type, move, name, local, status, hostFolder);
        // The part is of another file: the engine said so and appended nothing.
        if (result == FTPcommand::kResumeMismatch) {
            if (Ask("Get " + name + " whole, in place of the local part?",
                    {"Get(Overwrite)", "Skip"}, SessionView::Kind::Warning, 1) != 0) {
                continue;
            }
            std::error_code error;
            fs::remove(path, error);
            result = MoveFile(command, type, Move::Get, name, local, status, hostFolder);
            failure = "Get file aborted";
        }
        // A link to a folder, a dangling one or a loop: RETR is refused, the rest goes on.
        if (links && result != 0 && command.LastFailure() == FTPcommand::Failure::Refused) {
            walk->Skip("Link left out, the server sends no file for it: ", name);
            continue;
        }
        if (result != 0 && !GoesOn(command, walk, name)) {
            ReportAbort(failure);
            return false;
        }
    }
    return true;
}

// A tree goes on past a file that failed for good and counts it; a stop, or a connection gone
// for good, ends it, as the first failure ends a list.
bool HostSession::GoesOn(FTPcommand& command, TreeWalk* walk, const std::string& name) {
    if (walk == nullptr || stopped_ || connectionGone_ || closing_ ||
        command.LastFailure() == FTPcommand::Failure::Stopped) {
        return false;
    }
    walk->Failed(name);
    return true;
}

bool HostSession::ProcedeOUT(const std::vector<std::string>& names, const std::string& local,
                             FTPcommand& command, std::atomic<int>& type, StatusMonitor* status,
                             const std::string* hostFolder, TreeWalk* walk) {
    const bool binary = binary_;
    if (status != nullptr) {
        view_.ShowStatus(true);
    }
    SetOperation(status,
                 binary ? "BINARY Multi Selected Sending..." : "ASCII Multi Selected Sending...");
    SetType(command, type, binary);
    const int count = static_cast<int>(names.size());
    int index = 1;
    for (const std::string& name : names) {
        if (status != nullptr) {
            status->SetNbFile(index++, count);
            status->SetNameFichier(name);
            status->SetMax(LocalFile::SizeOf(local + name));
        }
        const int result = MoveFile(command, type, binary ? Move::Put : Move::PutAscii, name, local,
                                    status, hostFolder);
        if (result != 0 && !GoesOn(command, walk, name)) {
            ReportAbort("Put file process aborted");
            return false;
        }
    }
    return true;
}

// ---- Trees ----

HostSession::TreeOutcome HostSession::LastTree() const {
    std::lock_guard lock(treeMutex_);
    return lastTree_;
}

// The walk's frame: the view steps aside, the status window stays, and both panes end on the
// folders where the walk began, listed again. The panes are left alone while it walks.
void HostSession::WalkTree(bool get, const std::string& name) {
    view_.TreeWalking(true);
    const std::string startLocal = LocalDirectory();
    const std::string startHost = HostPath();
    firstListing_ = false;
    TreeWalk walk(*this);
    bool whole = get ? walk.Get(name) : walk.Put(name);
    // Both sides go back where the walk began, also after a stop: a connection the stop cost is
    // made again for it.
    stopped_ = false;
    SetLocalDirectory(startLocal);
    UpdateClient(std::nullopt);
    if (HostPath() != startHost &&
        OnLiveConnection([&] { return ftp_->CWD(startHost.c_str()); }) != 0) {
        whole = false;
        if (!abortReported_.exchange(true)) {
            Tell("Impossible to change host directory.");
        }
    } else {
        SetHostPath(startHost);
    }
    UpdateServeur(std::nullopt);
    LogLine((whole ? "Tree done: " : "Tree stopped: ") + std::to_string(walk.Files()) + " files, " +
            std::to_string(walk.Folders()) + " folders.");
    // A stopped walk has said why; a finished one that left entries out must say so too.
    if (whole && (walk.Skipped() > 0 || walk.FailedFiles() > 0)) {
        Tell(NotWholeText(walk.FailedFiles(), walk.Skipped()));
    }
    {
        std::lock_guard lock(treeMutex_);
        lastTree_ = {whole && walk.Skipped() == 0 && walk.FailedFiles() == 0, walk.Files(),
                     walk.Folders()};
    }
    view_.TreeWalking(false);
}
