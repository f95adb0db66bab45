#pragma once

#include <string>
#include <unordered_map>
#include <vector>

// Names and sizes of the entries of the last listing, in listing order, so that a transfer knows
// the size of the file it fetches. Lookups are by exact name; the first entry of a name answers.
class MiniBase {
public:
    void Erase();
    void AddName(const std::string& name);
    void AddSize(long long size);
    long long FindSize(const std::string& name) const;

    const std::vector<std::string>& Names() const { return names_; }
    const std::vector<long long>& Sizes() const { return sizes_; }
    void Assign(std::vector<std::string> names, std::vector<long long> sizes);

private:
    std::vector<std::string> names_;
    std::vector<long long> sizes_;
    // Built on the first lookup: a listing of 100,000 names is read far more often than searched.
    mutable std::unordered_map<std::string, std::size_t> index_;
    mutable bool indexed_ = false;
};
