// The session window's transfers: selected files either way, on the session's connection or a
// second one, and whole folder trees. Everything here runs on worker threads.
#include <QWidget>

#include <cstdio>
#include <filesystem>
#include <system_error>

#include "Alert.h"
#include "CrossThread.h"
#include "FTPWindow.h"
#include "FTPcommand.h"
#include "HostPath.h"
#include "LocalFile.h"
#include "StatusWindow.h"
#include "XFerWin.h"

namespace {

namespace fs = std::filesystem;

// A server that lists a subfolder in every folder cannot keep a tree transfer walking.
constexpr int kMaxTreeDepth = 64;

// The trailing blank and the wording are the program's own.
constexpr const char* kExistingLocalFile =
    "File: %s\nis on the local directory.\nWarning ! If the FTP server don't manage the REST "
    "function for reget, please do not select \"ReGet\". ";

std::string ExistingLocalFileText(const std::string& name) {
    std::string text = kExistingLocalFile;
    return text.replace(text.find("%s"), 2, name);
}

// A name that may be one component of a local path; what a server lists is data, never a path.
bool IsPlainName(const std::string& name) {
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of(std::string("/\r\n\0", 4)) == std::string::npos;
}

// A folder made or found inside the chosen one, never a link that leads elsewhere.
bool MakeLocalFolder(const fs::path& folder) {
    std::error_code error;
    fs::create_directory(folder, error);
    return fs::symlink_status(folder, error).type() == fs::file_type::directory;
}

bool IsLocalLink(const fs::path& path) {
    std::error_code error;
    return fs::symlink_status(path, error).type() == fs::file_type::symlink;
}

}  // namespace

// The host folders a tree transfer is inside, from its start down to where it is now.
struct FTPWindow::TreeWalk {
    std::vector<std::string> hostFolders;
    int files = 0;
    int folders = 0;
    int skipped = 0;  // names, links and folders left out, each logged

    void Skip(FTPWindow& window, const char* why, const std::string& name) {
        window.LogLine(why + name);
        ++skipped;
    }

    // The names of a listing's entries of one type; names that cannot be a file name here are
    // left out.
    std::vector<std::string> Named(FTPWindow& window, const std::vector<EntryStringItem>& items,
                                   int type) {
        std::vector<std::string> names;
        for (const EntryStringItem& item : items) {
            if (item.type != type) {
                continue;
            }
            if (!IsPlainName(item.text)) {
                Skip(window, "Name skipped: ", item.text);
            } else {
                names.push_back(item.text);
            }
        }
        return names;
    }

    bool IsInside(const std::string& path) const {
        return std::find(hostFolders.begin(), hostFolders.end(), path) != hostFolders.end();
    }
};

void FTPWindow::ReportAbort(const char* text) {
    // One alert for a stopped list, and for a stopped tree however many lists it had left.
    if (!abortReported_.exchange(true)) {
        Tell(text);
    }
}

// Sends TYPE I or TYPE A when the connection's last type differs.
void FTPWindow::SetType(FTPcommand& command, std::atomic<int>& type, bool binary) {
    int wanted = binary ? 1 : 0;
    if (type != wanted) {
        binary ? command.BINARY() : command.ASCII();
        type = wanted;
    }
}

// ---- Selected files ----

FTPWindow::Ran FTPWindow::IN(std::vector<std::string> names, bool spawn, XFerWin* list) {
    std::string local = HostPath::WithSlash(LocalDirectory());
    if (names.empty()) {
        Post(this, [this] { Prompt("Get a host file...", "File :", "filename", kGetNamed); });
        return Ran::Nothing;
    }
    if (spawn) {
        Detach(true, std::move(names), local, HostPath(), list);
        return Ran::Detached;
    }
    status_->Reset();
    ProcedeIN(names, local, *ftp_, connectionType_, status_);
    UpdateClient(std::nullopt);
    return Ran::OnSession;
}

FTPWindow::Ran FTPWindow::OUT(std::vector<std::string> names, bool spawn, XFerWin* list) {
    std::string local = HostPath::WithSlash(LocalDirectory());
    if (names.empty()) {
        Tell("Nothing to do.");
        return Ran::Nothing;
    }
    if (spawn) {
        Detach(false, std::move(names), local, HostPath(), list);
        return Ran::Detached;
    }
    status_->Reset();
    ProcedeOUT(names, local, *ftp_, connectionType_, status_);
    UpdateServeur(std::nullopt);
    return Ran::OnSession;
}

// Runs a list on a second connection of its own, while the window goes on with other work; the
// transfer shows in the transfer list, which can stop it.
void FTPWindow::Detach(bool get, std::vector<std::string> names, const std::string& local,
                       const std::string& hostFolder, XFerWin* list) {
    std::unique_ptr<FTPcommand> connection = DuplicateNewConnection();
    {
        // Known to the window, and stoppable from the transfer list, before it connects: a
        // window that closes meanwhile stops it wherever it is; one that closed never starts it.
        std::lock_guard lock(detachedMutex_);
        if (closing_) {
            RemoteEnd();
            return;
        }
        detached_.push_back(connection.get());
    }
    if (list != nullptr) {
        list->AddEntry(connection.get(), true);
    }
    RemoteEnd();  // the window is free from here on
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
    if (list != nullptr) {
        list->RemoveEntry(connection.get());
    }
    std::lock_guard lock(detachedMutex_);
    detached_.erase(std::find(detached_.begin(), detached_.end(), connection.get()));
}

// Gets the names one after the other into `local`; the first failure ends the list. A local
// file that is there already is resumed, overwritten or skipped, as the user says.
bool FTPWindow::ProcedeIN(const std::vector<std::string>& names, const std::string& local,
                          FTPcommand& command, std::atomic<int>& type, StatusWindow* status,
                          TreeWalk* walk, bool links) {
    bool binary = binary_;
    if (status != nullptr) {
        Post(this, [status] { status->show(); });
        status->SetTypeOperation(binary ? "BINARY Multi Selected Receiving..."
                                        : "ASCII Multi Selected Receiving...");
    }
    SetType(command, type, binary);
    int count = static_cast<int>(names.size());
    int index = 1;
    for (const std::string& name : names) {
        if (status != nullptr) {
            status->SetNbFile(index++, count);
            status->SetNameFichier(name);
        }
        std::string path = local + name;
        if (walk != nullptr && IsLocalLink(path)) {
            walk->Skip(*this, "Local link not written through: ", path);
            continue;
        }
        const char* failure = "Get file aborted";
        int result = 0;
        if (binary && LocalFile::SizeOf(path) > 0) {
            int choice = Ask(ExistingLocalFileText(name),
                             {"ReGet(Append)", "Get(Overwrite)", "Skip"}, AlertKind::Idea, 2);
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
                            {"Get(Overwrite)", "Skip"}, AlertKind::Warning, 1) != 0) {
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
            walk->Skip(*this, "Link left out, the server sends no file for it: ", name);
            continue;
        }
        if (result != 0) {
            ReportAbort(failure);
            return false;
        }
    }
    return true;
}

bool FTPWindow::ProcedeOUT(const std::vector<std::string>& names, const std::string& local,
                           FTPcommand& command, std::atomic<int>& type, StatusWindow* status) {
    bool binary = binary_;
    if (status != nullptr) {
        Post(this, [status] { status->show(); });
    }
    SetOperation(status,
                 binary ? "BINARY Multi Selected Sending..." : "ASCII Multi Selected Sending...");
    SetType(command, type, binary);
    int count = static_cast<int>(names.size());
    int index = 1;
    for (const std::string& name : names) {
        if (status != nullptr) {
            status->SetNbFile(index++, count);
            status->SetNameFichier(name);
            status->SetMax(LocalFile::SizeOf(local + name));
        }
        int result = binary ? command.PUTBINARY(name.c_str(), local.c_str(), status, passive_)
                            : command.PUTASCII(name.c_str(), local.c_str(), status, passive_);
        if (result != 0) {
            ReportAbort("Put file process aborted");
            return false;
        }
    }
    return true;
}

void FTPWindow::SetOperation(StatusWindow* status, const char* text) {
    if (status != nullptr) {
        status->SetTypeOperation(text);
    }
}

// ---- Trees ----

FTPWindow::TreeOutcome FTPWindow::LastTree() const {
    std::lock_guard lock(treeMutex_);
    return lastTree_;
}

// The walk's frame: the window steps aside, the status window stays, and both sides end in the
// folders where the walk began, listed again.
void FTPWindow::WalkTree(bool get, const std::string& folder) {
    Post(this, [this] {
        hide();
        status_->SetEnabledSHControl(false);
        status_->show();
    });
    std::string startLocal = LocalDirectory();
    std::string startHost = HostPath();
    firstListing_ = false;
    TreeWalk walk;
    walk.hostFolders.push_back(startHost);
    bool whole = get ? RECURIN(folder, walk, 0) : RECUROUT(folder, walk, 0);
    UpdateClient(startLocal);
    if (HostPath() != startHost && !BackToHostFolder(startHost)) {
        whole = false;
    }
    UpdateServeur(std::nullopt);
    LogLine((whole ? "Tree done: " : "Tree stopped: ") + std::to_string(walk.files) + " files, " +
            std::to_string(walk.folders) + " folders.");
    // A stopped walk has said why; a finished one that left entries out must say so too.
    if (whole && walk.skipped > 0) {
        Tell("The tree was not moved whole: " + std::to_string(walk.skipped) +
             (walk.skipped == 1 ? " entry was left out" : " entries were left out") +
             " (links, names that cannot be a file name here, or "
             "folders that could not be made or entered).\nThe FTP log names them.");
    }
    {
        std::lock_guard lock(treeMutex_);
        lastTree_ = {whole && walk.skipped == 0, walk.files, walk.folders};
    }
    Post(this, [this] {
        status_->SetEnabledSHControl(true);
        if (!closing_) {
            show();
        }
    });
}

// CWD to an absolute host folder; a failure ends the walk with its alert, since going on would
// write into the wrong folders.
bool FTPWindow::BackToHostFolder(const std::string& path) {
    if (ftp_->CWD(path.c_str()) == 0) {
        std::lock_guard lock(pathMutex_);
        hostPath_ = path;
        return true;
    }
    if (!abortReported_.exchange(true)) {
        Tell("Impossible to change host directory.");
    }
    return false;
}

// Gets the host folder `name`, a child of the current host folder, into a local folder of the
// same name, depth first; both sides end where they were. False when the walk must stop.
bool FTPWindow::RECURIN(const std::string& name, TreeWalk& walk, int depth) {
    std::string parentLocal = LocalDirectory();
    std::string parentHost = HostPath();
    fs::path target = fs::path(parentLocal) / name;
    if (depth >= kMaxTreeDepth || !IsPlainName(name) || !MakeLocalFolder(target)) {
        walk.Skip(*this, "Folder skipped: ", name);
        return true;
    }
    HostLists listing;
    if (UpdateServeur(name, &listing) != 0) {
        walk.Skip(*this, "Folder skipped: ", name);
        return ReturnToHostFolder(parentHost);
    }
    std::string here = HostPath();
    if (walk.IsInside(here)) {
        walk.Skip(*this, "Folder skipped, the walk is inside it already: ", here);
        return BackToHostFolder(parentHost);
    }
    walk.hostFolders.push_back(here);
    ++walk.folders;
    UpdateClient(target.string());
    bool whole = GetFolderContents(listing, walk, depth);
    walk.hostFolders.pop_back();
    UpdateClient(parentLocal);
    return BackToHostFolder(parentHost) && whole;
}

// The files of the folder just listed, its links, then its folders. A link is tried as a file:
// RETR resolves it on the server, so a link to a file arrives as that file under the link's
// name; no local link is ever made.
bool FTPWindow::GetFolderContents(const HostLists& listing, TreeWalk& walk, int depth) {
    const std::string local = HostPath::WithSlash(LocalDirectory());
    std::vector<std::string> files = walk.Named(*this, *listing.files, EntryStringItem::File);
    std::vector<std::string> links = walk.Named(*this, *listing.files, EntryStringItem::Link);
    status_->LoadFD(static_cast<int>(files.size() + links.size()), 0);
    const int skipped = walk.skipped;
    if (!files.empty() && !ProcedeIN(files, local, *ftp_, connectionType_, status_, &walk)) {
        return false;
    }
    if (!links.empty() && !ProcedeIN(links, local, *ftp_, connectionType_, status_, &walk, true)) {
        return false;
    }
    walk.files += static_cast<int>(files.size() + links.size()) - (walk.skipped - skipped);
    if (!files.empty() || !links.empty()) {
        UpdateClient(std::nullopt);
    }
    for (const EntryStringItem& item : *listing.directories) {
        // A link is listed among the files too, and was tried there.
        if (item.text == ".." || item.type != EntryStringItem::Directory) {
            continue;
        }
        if (!RECURIN(item.text, walk, depth + 1)) {
            return false;
        }
    }
    return true;
}

// After a listing failed, the host may or may not have entered the folder: ask it.
bool FTPWindow::ReturnToHostFolder(const std::string& path) {
    std::optional<std::string> now = ftp_->PWD();
    return now && *now == path ? true : BackToHostFolder(path);
}

// Sends the local folder `name`, a child of the current local folder, into a host folder of the
// same name, depth first; both sides end where they were. False when the walk must stop.
bool FTPWindow::RECUROUT(const std::string& name, TreeWalk& walk, int depth) {
    std::string parentLocal = LocalDirectory();
    std::string parentHost = HostPath();
    fs::path source = fs::path(parentLocal) / name;
    std::error_code error;
    if (depth >= kMaxTreeDepth || !IsPlainName(name) ||
        fs::symlink_status(source, error).type() != fs::file_type::directory) {
        walk.Skip(*this, "Folder skipped: ", name);
        return true;
    }
    ftp_->MKD(name.c_str());  // a folder that is there already is used as it is
    if (UpdateServeur(name) != 0) {
        walk.Skip(*this, "Folder skipped: ", name);
        return ReturnToHostFolder(parentHost);
    }
    ++walk.folders;
    LocalListing::Contents contents = UpdateClient(source.string());
    bool whole = PutFolderContents(contents, walk, depth);
    UpdateClient(parentLocal);
    return BackToHostFolder(parentHost) && whole;
}

bool FTPWindow::PutFolderContents(const LocalListing::Contents& contents, TreeWalk& walk,
                                  int depth) {
    // A local link is not followed: it may lead anywhere on this machine.
    for (const EntryStringItem& item : contents.files) {
        if (item.type == EntryStringItem::Link) {
            walk.Skip(*this, "Link not followed: ", item.text);
        }
    }
    std::vector<std::string> files = walk.Named(*this, contents.files, EntryStringItem::File);
    status_->LoadFD(static_cast<int>(files.size()), 0);
    if (!files.empty()) {
        if (!ProcedeOUT(files, HostPath::WithSlash(LocalDirectory()), *ftp_, connectionType_,
                        status_)) {
            return false;
        }
        walk.files += static_cast<int>(files.size());
        UpdateServeur(std::nullopt);
    }
    for (const EntryStringItem& item : contents.directories) {
        if (item.type != EntryStringItem::Directory) {
            continue;  // a link, listed among the files too and logged there
        }
        if (!RECUROUT(item.text, walk, depth + 1)) {
            return false;
        }
    }
    return true;
}
