#include "Cache.h"

#include <algorithm>

void Cache::Add(const char* key, Shared directories, Shared files) {
    if (key == nullptr) {
        return;
    }
    Remove(key);
    entries_.push_back({key, std::move(directories), std::move(files), ++uses_});
    items_ += entries_.back().ItemCount();
    while (items_ > itemLimit_ && entries_.size() > 1) {
        DropLeastRecentlyUsed();
    }
}

std::size_t Cache::Entry::ItemCount() const {
    return (directories ? directories->size() : 0) + (files ? files->size() : 0);
}

void Cache::DropLeastRecentlyUsed() {
    auto oldest =
        std::min_element(entries_.begin(), entries_.end() - 1,  // never the entry just added
                         [](const Entry& a, const Entry& b) { return a.lastUse < b.lastUse; });
    items_ -= oldest->ItemCount();
    entries_.erase(oldest);
}

void Cache::Remove(const char* key) {
    if (key == nullptr) {
        return;
    }
    auto found = std::find_if(entries_.begin(), entries_.end(),
                              [key](const Entry& entry) { return entry.key == key; });
    if (found != entries_.end()) {
        items_ -= found->ItemCount();
        entries_.erase(found);
    }
}

const Cache::Entry* Cache::Find(const char* key) const {
    if (key == nullptr) {
        return nullptr;
    }
    for (const Entry& entry : entries_) {
        if (entry.key == key) {
            entry.lastUse = ++uses_;
            return &entry;
        }
    }
    return nullptr;
}

Cache::Shared Cache::SearchDIRECTORY(const char* key) const {
    const Entry* entry = Find(key);
    return entry != nullptr ? entry->directories : nullptr;
}

Cache::Shared Cache::SearchFILE(const char* key) const {
    const Entry* entry = Find(key);
    return entry != nullptr ? entry->files : nullptr;
}

std::vector<std::string> Cache::GetList() const {
    std::vector<std::string> keys;
    keys.reserve(entries_.size());
    for (const Entry& entry : entries_) {
        keys.push_back(entry.key);
    }
    return keys;
}
