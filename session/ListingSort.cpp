#include "ListingSort.h"

#include <algorithm>

#include "StringHelpers.h"

void ListingSort::SortList(std::vector<EntryStringItem>& items, const Progress& progress) {
    std::stable_sort(items.begin(), items.end(),
                     [](const EntryStringItem& a, const EntryStringItem& b) {
                         return cistrcmp(a.text.c_str(), b.text.c_str()) < 0;
                     });
    if (!progress) {
        return;
    }
    int count = static_cast<int>(items.size());
    for (int pass = 0; pass < count - 1; ++pass) {
        progress(PassText(pass, count));
    }
    progress("Sorting...ok");
}

std::string ListingSort::PassText(int pass, int count) {
    return "Sorting...[" + std::to_string(pass) + "/" + std::to_string(count) + "]";
}
