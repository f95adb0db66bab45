#include "TreeWalk.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "HostPath.h"
#include "LogMonitor.h"
#include "StatusMonitor.h"

namespace {

namespace fs = std::filesystem;

// A server that lists a subfolder in every folder cannot keep a tree transfer walking.
constexpr int kMaxTreeDepth = 64;

// A folder made or found inside the chosen one, never a link that leads elsewhere.
bool MakeLocalFolder(const fs::path& folder) {
    std::error_code error;
    fs::create_directory(folder, error);
    return fs::symlink_status(folder, error).type() == fs::file_type::directory;
}

}  // namespace

void TreeWalk::Skip(const char* why, const std::string& name) {
    session_.LogLine(why + name);
    ++skipped_;
}

void TreeWalk::Failed(const std::string& name) {
    session_.LogLine("Not moved: " + session_.HostPath() + "/" + name);
    ++failed_;
}

std::vector<std::string> TreeWalk::Named(const std::vector<EntryStringItem>& items, int type) {
    std::vector<std::string> names;
    for (const EntryStringItem& item : items) {
        if (item.type != type) {
            continue;
        }
        if (!HostPath::IsPlainName(item.text)) {
            Skip("Name skipped: ", item.text);
        } else {
            names.push_back(item.text);
        }
    }
    return names;
}

bool TreeWalk::IsInside(const std::string& path) const {
    return std::find(hostFolders_.begin(), hostFolders_.end(), path) != hostFolders_.end();
}

bool TreeWalk::Get(const std::string& name) {
    hostFolders_.push_back(session_.HostPath());
    return RECURIN(name, 0);
}

bool TreeWalk::Put(const std::string& name) {
    hostFolders_.push_back(session_.HostPath());
    return RECUROUT(name, 0);
}

// CWD to an absolute host folder; a failure ends the walk with its alert, since going on would
// write into the wrong folders.
bool TreeWalk::BackToHostFolder(const std::string& path) {
    if (session_.OnLiveConnection([&] { return session_.ftp_->CWD(path.c_str()); }) == 0) {
        session_.SetHostPath(path);
        return true;
    }
    // After a stop the walk ends without a word.
    if (!session_.stopped_ && !session_.abortReported_.exchange(true)) {
        session_.Tell("Impossible to change host directory.");
    }
    return false;
}

// After a listing failed, the host may or may not have entered the folder: ask it.
bool TreeWalk::ReturnToHostFolder(const std::string& path) {
    std::optional<std::string> now;
    session_.OnLiveConnection([&] {
        now = session_.ftp_->PWD();
        return now ? 0 : 1;
    });
    return now && *now == path ? true : BackToHostFolder(path);
}

bool TreeWalk::RECURIN(const std::string& name, int depth) {
    const std::string parentLocal = session_.LocalDirectory();
    const std::string parentHost = session_.HostPath();
    const fs::path target = fs::path(parentLocal) / name;
    if (depth >= kMaxTreeDepth || !HostPath::IsPlainName(name) || !MakeLocalFolder(target)) {
        Skip("Folder skipped: ", name);
        return true;
    }
    HostSession::HostLists listing;
    if (session_.OnLiveConnection([&] { return session_.ListHostFolder(name, &listing); }) != 0) {
        Skip("Folder skipped: ", name);
        return ReturnToHostFolder(parentHost);
    }
    const std::string here = session_.HostPath();
    if (IsInside(here)) {
        Skip("Folder skipped, the walk is inside it already: ", here);
        return BackToHostFolder(parentHost);
    }
    hostFolders_.push_back(here);
    ++folders_;
    session_.SetLocalDirectory(target.string());
    const bool whole = GetFolderContents(listing, depth);
    hostFolders_.pop_back();
    session_.SetLocalDirectory(parentLocal);
    return BackToHostFolder(parentHost) && whole;
}

// The files of the folder just listed, its links, then its folders. A link is tried as a file:
// RETR resolves it on the server, so a link to a file arrives as that file under the link's
// name; no local link is ever made.
bool TreeWalk::GetFolderContents(const HostSession::HostLists& listing, int depth) {
    const std::string local = HostPath::WithSlash(session_.LocalDirectory());
    const std::vector<std::string> files = Named(*listing.files, EntryStringItem::File);
    const std::vector<std::string> links = Named(*listing.files, EntryStringItem::Link);
    StatusMonitor* status = session_.monitors_.status;
    status->LoadFD(static_cast<int>(files.size() + links.size()), 0);
    const int skipped = skipped_;
    FTPcommand& ftp = *session_.ftp_;
    const int failed = failed_;
    if (!files.empty() &&
        !session_.ProcedeIN(files, local, ftp, session_.connectionType_, status, nullptr, this)) {
        return false;
    }
    if (!links.empty() && !session_.ProcedeIN(links, local, ftp, session_.connectionType_, status,
                                              nullptr, this, true)) {
        return false;
    }
    files_ +=
        static_cast<int>(files.size() + links.size()) - (skipped_ - skipped) - (failed_ - failed);
    for (const EntryStringItem& item : *listing.directories) {
        // A link is listed among the files too, and was tried there.
        if (item.text == ".." || item.type != EntryStringItem::Directory) {
            continue;
        }
        if (!RECURIN(item.text, depth + 1)) {
            return false;
        }
    }
    return true;
}

bool TreeWalk::RECUROUT(const std::string& name, int depth) {
    const std::string parentLocal = session_.LocalDirectory();
    const std::string parentHost = session_.HostPath();
    const fs::path source = fs::path(parentLocal) / name;
    std::error_code error;
    if (depth >= kMaxTreeDepth || !HostPath::IsPlainName(name) ||
        fs::symlink_status(source, error).type() != fs::file_type::directory) {
        Skip("Folder skipped: ", name);
        return true;
    }
    // A folder that is there already is used as it is.
    session_.OnLiveConnection([&] { return session_.ftp_->MKD(name.c_str()); });
    if (session_.EnterHostFolder(name) != 0) {
        Skip("Folder skipped: ", name);
        return ReturnToHostFolder(parentHost);
    }
    ++folders_;
    session_.SetLocalDirectory(source.string());
    const bool whole = PutFolderContents(LocalListing::Read(source.string()), depth);
    session_.SetLocalDirectory(parentLocal);
    return BackToHostFolder(parentHost) && whole;
}

bool TreeWalk::PutFolderContents(const LocalListing::Contents& contents, int depth) {
    // A local link is not followed: it may lead anywhere on this machine.
    for (const EntryStringItem& item : contents.files) {
        if (item.type == EntryStringItem::Link) {
            Skip("Link not followed: ", item.text);
        }
    }
    const std::vector<std::string> files = Named(contents.files, EntryStringItem::File);
    StatusMonitor* status = session_.monitors_.status;
    status->LoadFD(static_cast<int>(files.size()), 0);
    if (!files.empty()) {
        const int failed = failed_;
        if (!session_.ProcedeOUT(files, HostPath::WithSlash(session_.LocalDirectory()),
                                 *session_.ftp_, session_.connectionType_, status, nullptr, this)) {
            return false;
        }
        files_ += static_cast<int>(files.size()) - (failed_ - failed);
    }
    for (const EntryStringItem& item : contents.directories) {
        if (item.type != EntryStringItem::Directory) {
            continue;  // a link, listed among the files too and logged there
        }
        if (!RECUROUT(item.text, depth + 1)) {
            return false;
        }
    }
    return true;
}
