#pragma once

#include <string>

// The session's one-line status bar. Implementations must accept calls from any thread.
class BarMonitor {
public:
    virtual ~BarMonitor() = default;

    virtual void SetText(const std::string& text) = 0;
};
