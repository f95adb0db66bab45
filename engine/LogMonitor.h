#pragma once

#include <string>

// One line of the FTP log. Implementations must accept calls from any thread.
class LogMonitor {
public:
    virtual ~LogMonitor() = default;

    virtual void AddLine(const std::string& line) = 0;
    // A command as it went to the server (passwords already masked).
    virtual void AddSent(const std::string& line) { AddLine(line); }
};
