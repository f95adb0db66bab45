#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

// A program started with an argument vector (no shell), its standard output readable through a
// pipe. The destructor ends it with SIGTERM, then SIGKILL, and reaps it.
class ChildProcess {
public:
    explicit ChildProcess(const std::vector<std::string>& arguments);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // One line of the child's standard output; empty when the output ends first.
    std::string ReadLine();
    // Everything left on standard output, up to its end.
    std::string ReadAll();
    bool Running();
    // Waits for the end and returns the exit status (-1 when killed by a signal).
    int Wait();
    pid_t Pid() const { return pid_; }

private:
    // True while the child runs; with `options` 0, waits for its end.
    bool Reap(int options);

    pid_t pid_ = -1;
    int status_ = -1;
    int output_ = -1;
};
