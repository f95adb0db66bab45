#pragma once

#include <string>
#include <vector>

#include "EntryStringItem.h"
#include "HostSession.h"
#include "LocalListing.h"

// One recursive transfer of a folder and everything below it, on the session's own connection:
// depth first, each side back where it was after each folder, the panes left alone meanwhile.
// A name that cannot be a local one, a link, a folder that leads back into the walk or one that
// cannot be made or entered is left out, logged and counted; a failed transfer ends the walk.
class TreeWalk {
public:
    explicit TreeWalk(HostSession& session) : session_(session) {}

    // Gets the host folder `name` of the session's host folder into a local folder of the same
    // name (RECURIN), or sends the local folder `name` into a host folder (RECUROUT). False when
    // the walk had to stop.
    bool Get(const std::string& name);
    bool Put(const std::string& name);

    // Leaves an entry out, with its reason in the log.
    void Skip(const char* why, const std::string& name);
    // A file that failed for good: the walk goes on, and counts it.
    void Failed(const std::string& name);
    // The names of a listing's entries of one type; names that cannot be a file name here are
    // left out.
    std::vector<std::string> Named(const std::vector<EntryStringItem>& items, int type);

    int Files() const { return files_; }
    int Folders() const { return folders_; }
    int Skipped() const { return skipped_; }
    int FailedFiles() const { return failed_; }

private:
    bool RECURIN(const std::string& name, int depth);
    bool RECUROUT(const std::string& name, int depth);
    bool GetFolderContents(const HostSession::HostLists& listing, int depth);
    bool PutFolderContents(const LocalListing::Contents& contents, int depth);
    bool BackToHostFolder(const std::string& path);
    bool ReturnToHostFolder(const std::string& path);
    bool IsInside(const std::string& path) const;

    HostSession& session_;
    // The host folders the walk is inside, from its start down to where it is now.
    std::vector<std::string> hostFolders_;
    int files_ = 0;
    int folders_ = 0;
    int skipped_ = 0;
    int failed_ = 0;
};
