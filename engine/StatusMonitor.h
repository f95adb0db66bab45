#pragma once

#include <string>

// What the engine reports to a status window. Implementations must accept calls from any thread.
class StatusMonitor {
public:
    virtual ~StatusMonitor() = default;

    virtual void SetTypeOperation(const std::string& text) = 0;
    virtual void SetMax(long long size) = 0;
    virtual void SetNbOctet(long long bytes) = 0;
    virtual void LoadFD(int files, int directories) = 0;
    // The counts line the window shows now; the listing copies it into the status bar.
    virtual std::string Text() = 0;

    // What a session reports beyond the engine: the file of a list that moves now, its place in
    // the list, and a new start.
    virtual void SetNameFichier(const std::string&) {}
    virtual void SetNbFile(int /*index*/, int /*count*/) {}
    virtual void Reset() {}
};
