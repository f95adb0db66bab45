#pragma once

#include <string>
#include <vector>

#include "EntryStringItem.h"

// The local side of a session: where a change of directory leads, and what a directory holds.
class LocalListing {
public:
    struct Contents {
        std::vector<EntryStringItem> directories;
        std::vector<EntryStringItem> files;
    };

    // The directory reached from `current` (ending in "/") by `argument`: "/" stays "/", an
    // absolute argument is taken as it stands, a relative one is resolved when it can be entered
    // and otherwise leaves `current`. The result always ends in "/". Never changes the process's
    // working directory, which every session shares.
    static std::string Resolve(const std::string& current, const std::string* argument);

    // Every entry except "." and "..", in the order the file system gives them, links not
    // followed: files, directories, and links in both lists.
    static Contents Read(const std::string& directory);
};
