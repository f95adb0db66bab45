#pragma once

#include <string>
#include <vector>

#include "EntryStringItem.h"

// The parsed listings of the host directories a session has visited, by host path, so that going
// back to a directory needs no new LIST. A re-listed directory replaces its entry and moves to the
// end. No size limit and no expiry: "Reload" is what refreshes an entry.
class Cache {
public:
    using Items = std::vector<EntryStringItem>;

    // A null key adds nothing.
    void Add(const char* key, Items directories, Items files, Items complete,
             std::vector<std::string> names, std::vector<long long> sizes);
    void Remove(const char* key);

    // The stored list, or null for an unknown key. Valid until the entry is replaced or removed.
    const Items* SearchDIRECTORY(const char* key) const;
    const Items* SearchFILE(const char* key) const;
    const Items* SearchCOMPLET(const char* key) const;
    const std::vector<std::string>* SearchNames(const char* key) const;
    const std::vector<long long>* SearchSizes(const char* key) const;

    // Every key, in cache order.
    std::vector<std::string> GetList() const;
    std::vector<std::string> GetListEntry() const { return GetList(); }
    bool IsEmpty() const { return entries_.empty(); }

private:
    struct Entry {
        std::string key;
        Items directories;
        Items files;
        Items complete;
        std::vector<std::string> names;
        std::vector<long long> sizes;
    };

    const Entry* Find(const char* key) const;

    std::vector<Entry> entries_;
};
