#pragma once

#include "EntryStringItem.h"

// The full-listing view that shows the raw LIST lines as they arrive.
// Implementations must accept calls from any thread and are expected to batch redraws.
class ListingMonitor {
public:
    virtual ~ListingMonitor() = default;

    virtual void Clear() = 0;
    virtual void AddLine(const EntryStringItem& line) = 0;
    // Select the last line and scroll to it.
    virtual void ShowLast() = 0;
};
