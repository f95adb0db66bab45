#pragma once

#include <functional>
#include <memory>
#include <string>

// Named worker threads that run detached; the set only counts them, so that their owner can learn,
// without blocking, when the last one has ended. The count lives in state the workers share: the
// set (and its owner) may go as soon as the last worker has reported, while it still unwinds.
class WorkerSet {
public:
    WorkerSet();
    ~WorkerSet();
    WorkerSet(const WorkerSet&) = delete;
    WorkerSet& operator=(const WorkerSet&) = delete;

    // Starts body on a new thread named name (cut to the 15 bytes that Linux keeps). False if
    // the system refused the thread; body is then not run.
    bool Spawn(const std::string& name, std::function<void()> body);
    int Running() const;
    // callback runs once no worker is running: at once on this thread when none is, else on the
    // thread of the last one, as its very last step.
    void WhenIdle(std::function<void()> callback);

private:
    struct State;
    std::shared_ptr<State> state_;
};
