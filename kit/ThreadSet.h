#pragma once

#include <functional>
#include <string>

#include "WorkerSet.h"

class QObject;

// The worker threads of one window. Each runs detached under its own name; the set only counts
// them, so that the window can wait, without blocking, until none is left before it deletes itself.
// The count lives in state that the workers share, so the set (and its window) may be deleted as
// soon as the last worker has reported, while that worker is still unwinding.
class ThreadSet {
public:
    ThreadSet() = default;
    ThreadSet(const ThreadSet&) = delete;
    ThreadSet& operator=(const ThreadSet&) = delete;

    // Starts body on a new thread named name (cut to the 15 bytes that Linux keeps).
    // False if the system refused the thread; body is then not run.
    bool Spawn(const std::string& name, std::function<void()> body);

    int Running() const;

    // callback runs on context's thread once no worker is running: at once when none is, else
    // after the last one ends. It is dropped if context is deleted first.
    void WhenIdle(QObject* context, std::function<void()> callback);

private:
    WorkerSet workers_;
};
