#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "EntryStringItem.h"

// The sizes of the entries of the last listing, by name, so that a transfer knows the size of
// the file it fetches. Lookups are by exact name; the first entry of a name answers. A name is
// kept as a 64-bit hash with its size, 16 bytes an entry: a listing of a million names costs
// 16 MB here, not the 70 MB its names would.
class MiniBase {
public:
    void Erase();
    // AddName and AddSize come in pairs, the name first.
    void AddName(std::string_view name);
    void AddSize(long long size);
    long long FindSize(std::string_view name) const;

    // The names and sizes of the files among `items` (a listing kept by the cache).
    static MiniBase Of(const std::vector<EntryStringItem>& items);

private:
    struct Entry {
        std::uint64_t key;
        long long size;
    };
    static std::uint64_t KeyOf(std::string_view name);

    // In listing order until the first lookup sorts them by key, the first of equal keys first.
    mutable std::vector<Entry> entries_;
    mutable bool sorted_ = true;
    std::uint64_t pendingKey_ = 0;
};
