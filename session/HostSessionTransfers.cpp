// The session's transfers: selected files either way, on the session's connection or a second
// one, and whole folder trees. Everything here runs on workers.
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

// ---- Selected files ----

void HostSession::IN(const std::vector<std::string>& names, bool spawn) {
    const std::string local = HostPath::WithSlash(LocalDirectory());
    if (spawn) {
        Detach(true, names, local, HostPath());
        return;
    }
    monitors_.status->Reset();
    ProcedeIN(names, local, *ftp_, connectionType_, monitors_.status);
    UpdateClient(std::nullopt);
}

void HostSession::OUT(const std::vector<std::string>& names, bool spawn) {
    const std::string local = HostPath::WithSlash(LocalDirectory());
    if (spawn) {
        Detach(false, names, local, HostPath());
        return;
    }
    monitors_.status->Reset();
    ProcedeOUT(names, local, *ftp_, connectionType_, monitors_.status);
    UpdateServeur(std::nullopt);
}

// Runs a list on a second connection of its own, while the view goes on with other work; the
// transfer shows in the transfer list, which can stop it.
void HostSession::Detach(bool get, std::vector<std::string> names, const std::string& local,
                         const std::string& hostFolder) {
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
    if (!operationEnded_.exchange(true)) {
        view_.OperationEnded();  // the view is free from here on
    }
    // A log-on that failed has told why, unless the user stopped it.
    if (LogOnSecond(*connection)) {
        std::atomic<int> type{1};  // a second connection starts in binary
        if (connection->CWD(hostFolder.c_str()) != 0) {
            Tell("Impossible to change host directory.");
        } else if (get) {
            ProcedeIN(names, local, *connection, type, nullptr);
        } else {
            ProcedeOUT(names, local, *connection, type, nullptr);
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
                            TreeWalk* walk, bool links) {
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
        int result = 0;
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
                result = command.GETBINARY(name.c_str(), local.c_str(), status, passive_, false);
            } else {
                SetOperation(status, "BINARY Multi Selected Receiving...(REGET)");
                result = command.REGETBINARY(name.c_str(), local.c_str(), status, passive_);
                failure = "REGet file aborted";
                // The part is of another file: the engine said so and appended nothing.
                if (result == FTPcommand::kResumeMismatch) {
                    if (Ask("Get " + name + " whole, in place of the local part?",
                            {"Get(Overwrite)", "Skip"}, SessionView::Kind::Warning, 1) != 0) {
                        continue;
                    }
                    std::error_code error;
                    fs::remove(path, error);
                    result =
                        command.GETBINARY(name.c_str(), local.c_str(), status, passive_, false);
                    failure = "Get file aborted";
                }
            }
        } else if (binary) {
            SetOperation(status, "BINARY Multi Selected Receiving...");
            result = command.GETBINARY(name.c_str(), local.c_str(), status, passive_, false);
        } else {
            result = command.GETASCII(name.c_str(), local.c_str(), status, passive_, false);
        }
        // A link to a folder, a dangling one or a loop: RETR is refused, the rest goes on.
        if (links && result >= 2 && result <= 4) {
            walk->Skip("Link left out, the server sends no file for it: ", name);
            continue;
        }
        if (result != 0) {
            ReportAbort(failure);
            return false;
        }
    }
    return true;
}

bool HostSession::ProcedeOUT(const std::vector<std::string>& names, const std::string& local,
                             FTPcommand& command, std::atomic<int>& type, StatusMonitor* status) {
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
        const int result = binary ? command.PUTBINARY(name.c_str(), local.c_str(), status, passive_)
                                  : command.PUTASCII(name.c_str(), local.c_str(), status, passive_);
        if (result != 0) {
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
    SetLocalDirectory(startLocal);
    UpdateClient(std::nullopt);
    if (HostPath() != startHost && ftp_->CWD(startHost.c_str()) != 0) {
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
    if (whole && walk.Skipped() > 0) {
        Tell("The tree was not moved whole: " + std::to_string(walk.Skipped()) +
             (walk.Skipped() == 1 ? " entry was left out" : " entries were left out") +
             " (links, names that cannot be a file name here, or "
             "folders that could not be made or entered).\nThe FTP log names them.");
    }
    {
        std::lock_guard lock(treeMutex_);
        lastTree_ = {whole && walk.Skipped() == 0, walk.Files(), walk.Folders()};
    }
    view_.TreeWalking(false);
}
