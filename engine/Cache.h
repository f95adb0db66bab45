#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "EntryStringItem.h"

// The parsed listings of the host directories a session has visited, by host path, so that going
// back to a directory needs no new LIST. A re-listed directory replaces its entry and moves to the
// end. "Reload" is what refreshes an entry. Beyond a total number of kept items the folders
// looked at least recently are dropped, so that a long session cannot fill the memory.
class Cache {
public:
    using Items = std::vector<EntryStringItem>;
    // A listing is kept once: the host panes show the very lists the cache holds.
    using Shared = std::shared_ptr<const Items>;

    static constexpr std::size_t kDefaultItemLimit = 4000000;
    explicit Cache(std::size_t itemLimit = kDefaultItemLimit) : itemLimit_(itemLimit) {}

    // A null key adds nothing. The raw listing lines are not kept: they would double what a
    // listing costs, and only the Full Listing window shows them, while it is open.
    void Add(const char* key, Shared directories, Shared files);
    void Remove(const char* key);

    // The stored list, or null for an unknown key.
    Shared SearchDIRECTORY(const char* key) const;
    Shared SearchFILE(const char* key) const;

    // Every key, in cache order.
    std::vector<std::string> GetList() const;
    std::vector<std::string> GetListEntry() const { return GetList(); }
    bool IsEmpty() const { return entries_.empty(); }

private:
    struct Entry {
        std::string key;
        Shared directories;
        Shared files;
        mutable std::uint64_t lastUse = 0;

        std::size_t ItemCount() const;
    };

    const Entry* Find(const char* key) const;
    void DropLeastRecentlyUsed();

    std::size_t itemLimit_;
    std::size_t items_ = 0;
    mutable std::uint64_t uses_ = 0;
    std::vector<Entry> entries_;
};
