#include "ScriptedPeer.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "LocalPort.h"

namespace {

void CloseFd(int& fd) {
    if (fd >= 0) {
        close(fd);
        fd = -1;
    }
}

}  // namespace

ScriptedPeer::ScriptedPeer() : wakeFd_(eventfd(0, EFD_CLOEXEC)) {
    listenFd_ = ListenOnLoopback(port_);
}

ScriptedPeer::~ScriptedPeer() {
    Stop();
    close(listenFd_);
    close(wakeFd_);
}

ScriptedPeer& ScriptedPeer::Do(std::function<void()> step) {
    steps_.push_back(std::move(step));
    return *this;
}

ScriptedPeer& ScriptedPeer::Reply(const std::string& line) {
    return Do([this, line] { Send(control_, line + "\r\n"); });
}

ScriptedPeer& ScriptedPeer::Expect(const std::string& prefix) {
    return Do([this, prefix] {
        std::string line = ReadLine(prefix);
        if (!line.starts_with(prefix)) {
            Mismatch("expected " + prefix + ", got " + line);
        }
    });
}

ScriptedPeer& ScriptedPeer::Silence() {
    // Records what the client sends until it closes the connection or the peer stops.
    return Do([this] {
        for (std::string got;
             control_ >= 0 && !(got = Receive(control_, std::chrono::seconds(60))).empty();) {
            pending_ += got;
            for (std::size_t end; (end = pending_.find("\r\n")) != std::string::npos;) {
                std::string line = pending_.substr(0, end);
                pending_.erase(0, end + 2);
                AnsweredFeat(line);
            }
        }
    });
}

ScriptedPeer& ScriptedPeer::Close() {
    return Do([this] { CloseFd(control_); });
}

ScriptedPeer& ScriptedPeer::NextConnection() {
    return Do([this] {
        earlierControls_.push_back(control_);
        control_ = -1;
        pending_.clear();
        if (WaitReadable(listenFd_, std::chrono::seconds(30))) {
            control_ = accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC);
        }
    });
}

ScriptedPeer& ScriptedPeer::Pause(std::chrono::milliseconds duration) {
    return Do([this, duration] { WaitReadable(-1, duration); });
}

ScriptedPeer& ScriptedPeer::Passive(const std::string& announcedAddress) {
    return Do([this, announcedAddress] {
        CloseData();
        int port = 0;
        passiveFd_ = ListenOnLoopback(port);
        Send(control_, "227 Entering Passive Mode (" + announcedAddress + "," +
                           std::to_string(port / 256) + "," + std::to_string(port % 256) +
                           ").\r\n");
    });
}

ScriptedPeer& ScriptedPeer::Active(const std::string& reply) {
    return Do([this, reply] {
        CloseData();
        std::string line = ReadLine();
        int n[6] = {};
        if (std::sscanf(line.c_str(), "PORT %d,%d,%d,%d,%d,%d", &n[0], &n[1], &n[2], &n[3], &n[4],
                        &n[5]) != 6) {
            Mismatch("expected PORT, got " + line);
        } else {
            activePort_ = n[4] * 256 + n[5];
            Locked([&] { announcedPorts_.push_back(activePort_); });
        }
        Send(control_, reply + "\r\n");
    });
}

ScriptedPeer& ScriptedPeer::SendData(const std::string& bytes) {
    return Do([this, bytes] {
        Send(DataConnection(), bytes);
        CloseData();
    });
}

ScriptedPeer& ScriptedPeer::ResetData(const std::string& bytes) {
    return Do([this, bytes] {
        int fd = DataConnection();
        if (fd < 0) {
            return;
        }
        if (bytes.empty()) {
            Receive(fd, std::chrono::seconds(10));
        } else {
            Send(fd, bytes);
        }
        linger reset{1, 0};  // close with RST instead of FIN
        setsockopt(fd, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
        CloseData();
    });
}

ScriptedPeer& ScriptedPeer::Intrude(const std::string& fromAddress, const std::string& bytes) {
    return Do([this, fromAddress, bytes] {
        int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in from = Loopback(0);
        inet_pton(AF_INET, fromAddress.c_str(), &from.sin_addr);
        sockaddr_in to = Loopback(activePort_);
        if (bind(fd, reinterpret_cast<sockaddr*>(&from), sizeof from) != 0 ||
            connect(fd, reinterpret_cast<sockaddr*>(&to), sizeof to) != 0) {
            Mismatch("the intruder could not connect");
        } else {
            Send(fd, bytes);
        }
        intruderFds_.push_back(fd);  // kept open: the client must turn it away by itself
    });
}

void ScriptedPeer::Start() {
    thread_ = std::thread([this] { Run(); });
}

void ScriptedPeer::Run() {
    if (WaitReadable(listenFd_, std::chrono::seconds(30)) &&
        (control_ = accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0) {
        for (auto& step : steps_) {
            if (stopping_) {
                break;
            }
            step();
        }
    }
    CloseData();
    CloseFd(control_);
    for (int fd : intruderFds_) {
        close(fd);
    }
    for (int fd : earlierControls_) {
        close(fd);
    }
    Locked([this] {
        done_ = true;
        doneChanged_.notify_all();
    });
}

bool ScriptedPeer::WaitDone(std::chrono::milliseconds timeout) {
    std::unique_lock lock(mutex_);
    return doneChanged_.wait_for(lock, timeout, [this] { return done_; });
}

void ScriptedPeer::Stop() {
    stopping_ = true;
    std::uint64_t one = 1;
    [[maybe_unused]] ssize_t written = write(wakeFd_, &one, sizeof one);
    if (thread_.joinable()) {
        thread_.join();
    }
}

void ScriptedPeer::Send(int fd, const std::string& bytes) {
    if (fd >= 0) {
        [[maybe_unused]] ssize_t sent = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }
}

// One line from the client, without its CR LF; empty when the client closed or timed out. An
// unscripted FEAT is answered on the way unless `expected` is FEAT.
std::string ScriptedPeer::ReadLine(const std::string& expected) {
    while (control_ >= 0) {
        std::size_t end = pending_.find("\r\n");
        if (end != std::string::npos) {
            std::string line = pending_.substr(0, end);
            pending_.erase(0, end + 2);
            if (!expected.starts_with("FEAT") && AnsweredFeat(line)) {
                continue;
            }
            Locked([&] { commands_.push_back(line); });
            return line;
        }
        std::string got = Receive(control_, std::chrono::seconds(10));
        if (got.empty()) {
            return {};
        }
        pending_ += got;
    }
    return {};
}

// A FEAT the script does not expect gets what a server from before FEAT answers, and is left out
// of the record: scripts written for such a server need not mention it.
bool ScriptedPeer::AnsweredFeat(const std::string& line) {
    if (line != "FEAT") {
        return false;
    }
    Send(control_, "502 Command not implemented.\r\n");
    Locked([&] {
        // The line just read ends where the bytes not yet read begin.
        received_.erase(received_.size() - pending_.size() - (line.size() + 2), line.size() + 2);
    });
    return true;
}

// What arrives on fd next, recorded when it is the control connection; empty at its end.
std::string ScriptedPeer::Receive(int fd, std::chrono::milliseconds timeout) {
    char buffer[4096];
    ssize_t got = WaitReadable(fd, timeout) ? recv(fd, buffer, sizeof buffer, 0) : 0;
    std::string bytes(buffer, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    if (fd == control_) {
        Locked([&] { received_ += bytes; });
    }
    return bytes;
}

// Waits until fd is readable, the peer is stopped or the time runs out.
bool ScriptedPeer::WaitReadable(int fd, std::chrono::milliseconds timeout) const {
    pollfd fds[2] = {{fd, POLLIN, 0}, {wakeFd_, POLLIN, 0}};
    int ready = poll(fds, 2, static_cast<int>(timeout.count()));
    return ready > 0 && fds[1].revents == 0 && fds[0].revents != 0;
}

int ScriptedPeer::DataConnection() {
    if (dataFd_ < 0 && passiveFd_ >= 0 && WaitReadable(passiveFd_, std::chrono::seconds(10))) {
        dataFd_ = accept4(passiveFd_, nullptr, nullptr, SOCK_CLOEXEC);
    } else if (dataFd_ < 0 && activePort_ > 0) {
        dataFd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address = Loopback(activePort_);
        if (connect(dataFd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
            CloseFd(dataFd_);
        }
    }
    if (dataFd_ < 0) {
        Mismatch("no data connection");
    }
    return dataFd_;
}

void ScriptedPeer::CloseData() {
    CloseFd(dataFd_);
    CloseFd(passiveFd_);
    activePort_ = 0;
}

void ScriptedPeer::Mismatch(const std::string& text) {
    Locked([&] { mismatches_.push_back(text); });
}
