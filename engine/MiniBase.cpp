#include "MiniBase.h"

#include "GrowFast.h"

void MiniBase::Erase() {
    Assign({}, {});
}

void MiniBase::AddName(const std::string& name) {
    GrowFast(names_, name);
    indexed_ = false;
}

void MiniBase::AddSize(long long size) {
    GrowFast(sizes_, size);
}

void MiniBase::Assign(std::vector<std::string> names, std::vector<long long> sizes) {
    names_ = std::move(names);
    sizes_ = std::move(sizes);
    index_.clear();
    indexed_ = false;
}

long long MiniBase::FindSize(const std::string& name) const {
    if (!indexed_) {
        index_.clear();
        index_.reserve(names_.size());
        for (std::size_t i = 0; i < names_.size(); ++i) {
            index_.emplace(names_[i], i);  // keeps the first of equal names
        }
        indexed_ = true;
    }
    auto found = index_.find(name);
    if (found == index_.end() || found->second >= sizes_.size()) {
        return 0;
    }
    return sizes_[found->second];
}
