#include "MiniBase.h"

#include <algorithm>
#include <functional>

#include "GrowFast.h"

void MiniBase::Erase() {
    entries_ = {};
    sorted_ = true;
}

std::uint64_t MiniBase::KeyOf(std::string_view name) {
    return std::hash<std::string_view>{}(name);
}

void MiniBase::AddName(std::string_view name) {
    pendingKey_ = KeyOf(name);
}

void MiniBase::AddSize(long long size) {
    GrowFast(entries_, Entry{pendingKey_, size});
    sorted_ = false;
}

long long MiniBase::FindSize(std::string_view name) const {
    const auto byKey = [](const Entry& a, const Entry& b) { return a.key < b.key; };
    if (!sorted_) {
        std::stable_sort(entries_.begin(), entries_.end(), byKey);
        sorted_ = true;
    }
    const Entry wanted{KeyOf(name), 0};
    auto found = std::lower_bound(entries_.begin(), entries_.end(), wanted, byKey);
    return found != entries_.end() && found->key == wanted.key ? found->size : 0;
}

MiniBase MiniBase::Of(const std::vector<EntryStringItem>& items) {
    MiniBase base;
    for (const EntryStringItem& item : items) {
        if (item.type == EntryStringItem::File) {
            base.AddName(item.text);
            base.AddSize(std::max(item.size, 0LL));  // 0: not known
        }
    }
    return base;
}
