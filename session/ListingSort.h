#pragma once

#include <functional>
#include <string>
#include <vector>

#include "EntryStringItem.h"

// The order of both panes: by name without regard to case (cistrcmp), equal names keeping their
// listing order. The verbose form reports the passes of the pairwise sort that first defined this
// order ("Sorting...[i/n]" for every pass, then "Sorting...ok"), while sorting in n log n.
class ListingSort {
public:
    using Progress = std::function<void(const std::string& text)>;

    static void SortList(std::vector<EntryStringItem>& items, const Progress& progress = {});
    static std::string PassText(int pass, int count);
};
