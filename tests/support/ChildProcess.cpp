#include "ChildProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <thread>

extern char** environ;

ChildProcess::ChildProcess(const std::vector<std::string>& arguments) {
    int pipeFds[2];
    if (pipe2(pipeFds, O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe failed");
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
    std::vector<char*> argv;
    for (const auto& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    int failed = posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(pipeFds[1]);
    output_ = pipeFds[0];
    if (failed != 0) {
        close(output_);
        throw std::runtime_error("cannot start " + arguments[0]);
    }
}

ChildProcess::~ChildProcess() {
    if (pid_ > 0) {
        kill(pid_, SIGTERM);
        for (int i = 0; i < 50 && Running(); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        if (Running()) {
            kill(pid_, SIGKILL);
            Reap(0);
        }
    }
    close(output_);
}

bool ChildProcess::Reap(int options) {
    int status = 0;
    if (pid_ <= 0 || waitpid(pid_, &status, options) != pid_) {
        return pid_ > 0;
    }
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    pid_ = -1;
    return false;
}

bool ChildProcess::Running() {
    return Reap(WNOHANG);
}

int ChildProcess::Wait() {
    Reap(0);
    return status_;
}

std::string ChildProcess::ReadLine() {
    std::string line;
    for (char c; read(output_, &c, 1) == 1 && c != '\n';) {
        line += c;
    }
    return line;
}

std::string ChildProcess::ReadAll() {
    std::string all;
    char buffer[4096];
    for (ssize_t got; (got = read(output_, buffer, sizeof buffer)) > 0;) {
        all.append(buffer, static_cast<std::size_t>(got));
    }
    return all;
}
