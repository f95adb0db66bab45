#include "ScriptedPeer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <stdexcept>

namespace {

// Waits until fd is readable, the peer is stopped or the time runs out.
bool WaitReadable(int fd, int wakeFd, std::chrono::milliseconds timeout) {
    pollfd fds[2] = {{fd, POLLIN, 0}, {wakeFd, POLLIN, 0}};
    int ready = poll(fds, 2, static_cast<int>(timeout.count()));
    return ready > 0 && fds[1].revents == 0 && fds[0].revents != 0;
}

}  // namespace

ScriptedPeer::ScriptedPeer() {
    listenFd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (listenFd_ < 0 || bind(listenFd_, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        listen(listenFd_, 4) != 0 ||
        getsockname(listenFd_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        throw std::runtime_error("scripted peer cannot listen");
    }
    port_ = ntohs(address.sin_port);
    wakeFd_ = eventfd(0, EFD_CLOEXEC);
}

ScriptedPeer::~ScriptedPeer() {
    Stop();
    close(listenFd_);
    close(wakeFd_);
}

ScriptedPeer& ScriptedPeer::Do(Step step) {
    steps_.push_back(std::move(step));
    return *this;
}

ScriptedPeer& ScriptedPeer::Reply(const std::string& line) {
    return Do([line](Connection& c) { c.Send(line + "\r\n"); });
}

ScriptedPeer& ScriptedPeer::Raw(const std::string& bytes) {
    return Do([bytes](Connection& c) { c.Send(bytes); });
}

ScriptedPeer& ScriptedPeer::Expect(const std::string& prefix) {
    return Do([prefix](Connection& c) {
        std::string line = c.ReadLine();
        if (line.compare(0, prefix.size(), prefix) != 0) {
            c.Peer().RecordMismatch("expected " + prefix + ", got " + line);
        }
    });
}

ScriptedPeer& ScriptedPeer::Silence() {
    return Do([](Connection& c) { c.Drain(); });
}

ScriptedPeer& ScriptedPeer::Close() {
    return Do([](Connection& c) { c.Close(); });
}

ScriptedPeer& ScriptedPeer::Pause(std::chrono::milliseconds duration) {
    return Do([duration](Connection& c) {
        pollfd wake{c.Peer().wakeFd_, POLLIN, 0};
        poll(&wake, 1, static_cast<int>(duration.count()));
    });
}

ScriptedPeer& ScriptedPeer::Passive(const std::string& announcedAddress) {
    return Do([announcedAddress](Connection& c) {
        int port = c.OpenPassive();
        c.Send("227 Entering Passive Mode (" + announcedAddress + "," + std::to_string(port / 256) +
               "," + std::to_string(port % 256) + ").\r\n");
    });
}

ScriptedPeer& ScriptedPeer::Active(const std::string& reply) {
    return Do([reply](Connection& c) {
        int port = c.ReadPort();
        c.Peer().RecordPort(port);
        c.Send(reply + "\r\n");
    });
}

ScriptedPeer& ScriptedPeer::SendData(const std::string& bytes) {
    return Do([bytes](Connection& c) { c.SendData(bytes); });
}

ScriptedPeer& ScriptedPeer::ReceiveData() {
    return Do([](Connection& c) { c.Peer().RecordData(c.ReceiveData()); });
}

ScriptedPeer& ScriptedPeer::ResetData(const std::string& bytes) {
    return Do([bytes](Connection& c) { c.ResetData(bytes); });
}

ScriptedPeer& ScriptedPeer::Intrude(const std::string& fromAddress, const std::string& bytes) {
    return Do([fromAddress, bytes](Connection& c) { c.Intrude(fromAddress, bytes); });
}

void ScriptedPeer::Start() {
    thread_ = std::thread([this] { Run(); });
}

void ScriptedPeer::Run() {
    if (WaitReadable(listenFd_, wakeFd_, std::chrono::seconds(30))) {
        int fd = accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd >= 0) {
            Connection connection(*this, fd);
            for (auto& step : steps_) {
                if (stopping_) {
                    break;
                }
                step(connection);
            }
            connection.Close();
        }
    }
    std::lock_guard lock(mutex_);
    done_ = true;
    doneChanged_.notify_all();
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

std::string ScriptedPeer::Received() const {
    std::lock_guard lock(mutex_);
    return received_;
}

std::vector<std::string> ScriptedPeer::Commands() const {
    std::lock_guard lock(mutex_);
    return commands_;
}

std::vector<std::string> ScriptedPeer::Mismatches() const {
    std::lock_guard lock(mutex_);
    return mismatches_;
}

std::string ScriptedPeer::DataReceived() const {
    std::lock_guard lock(mutex_);
    return dataReceived_;
}

std::vector<int> ScriptedPeer::AnnouncedPorts() const {
    std::lock_guard lock(mutex_);
    return announcedPorts_;
}

void ScriptedPeer::RecordData(const std::string& bytes) {
    std::lock_guard lock(mutex_);
    dataReceived_ += bytes;
}

void ScriptedPeer::RecordPort(int port) {
    std::lock_guard lock(mutex_);
    announcedPorts_.push_back(port);
}

void ScriptedPeer::Record(const char* bytes, std::size_t length) {
    std::lock_guard lock(mutex_);
    received_.append(bytes, length);
}

void ScriptedPeer::RecordCommand(const std::string& line) {
    std::lock_guard lock(mutex_);
    commands_.push_back(line);
}

void ScriptedPeer::RecordMismatch(const std::string& text) {
    std::lock_guard lock(mutex_);
    mismatches_.push_back(text);
}

void ScriptedPeer::Connection::Send(const std::string& bytes) {
    if (fd_ >= 0) {
        [[maybe_unused]] ssize_t sent = send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }
}

std::string ScriptedPeer::Connection::ReadLine(std::chrono::milliseconds timeout) {
    while (fd_ >= 0) {
        std::size_t end = pending_.find("\r\n");
        if (end != std::string::npos) {
            std::string line = pending_.substr(0, end);
            pending_.erase(0, end + 2);
            peer_.RecordCommand(line);
            return line;
        }
        if (!WaitReadable(fd_, peer_.wakeFd_, timeout)) {
            return {};
        }
        char buffer[4096];
        ssize_t got = recv(fd_, buffer, sizeof buffer, 0);
        if (got <= 0) {
            return {};
        }
        peer_.Record(buffer, static_cast<std::size_t>(got));
        pending_.append(buffer, static_cast<std::size_t>(got));
    }
    return {};
}

void ScriptedPeer::Connection::Drain() {
    while (fd_ >= 0 && WaitReadable(fd_, peer_.wakeFd_, std::chrono::seconds(60))) {
        char buffer[4096];
        ssize_t got = recv(fd_, buffer, sizeof buffer, 0);
        if (got <= 0) {
            return;
        }
        peer_.Record(buffer, static_cast<std::size_t>(got));
    }
}

ScriptedPeer::Connection::~Connection() {
    CloseData();
    Close();
    for (int fd : intruderFds_) {
        close(fd);
    }
}

int ScriptedPeer::Connection::OpenPassive() {
    CloseData();
    passiveFd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    bind(passiveFd_, reinterpret_cast<sockaddr*>(&address), length);
    listen(passiveFd_, 1);
    getsockname(passiveFd_, reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin_port);
}

int ScriptedPeer::Connection::ReadPort() {
    CloseData();
    std::string line = ReadLine();
    int numbers[6] = {};
    if (std::sscanf(line.c_str(), "PORT %d,%d,%d,%d,%d,%d", &numbers[0], &numbers[1], &numbers[2],
                    &numbers[3], &numbers[4], &numbers[5]) != 6) {
        peer_.RecordMismatch("expected PORT, got " + line);
        return 0;
    }
    activePort_ = numbers[4] * 256 + numbers[5];
    return activePort_;
}

int ScriptedPeer::Connection::DataConnection() {
    if (dataFd_ >= 0) {
        return dataFd_;
    }
    if (passiveFd_ >= 0) {
        if (WaitReadable(passiveFd_, peer_.wakeFd_, std::chrono::seconds(10))) {
            dataFd_ = accept4(passiveFd_, nullptr, nullptr, SOCK_CLOEXEC);
        }
    } else if (activePort_ > 0) {
        dataFd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<uint16_t>(activePort_));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (connect(dataFd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
            close(dataFd_);
            dataFd_ = -1;
        }
    }
    if (dataFd_ < 0) {
        peer_.RecordMismatch("no data connection");
    }
    return dataFd_;
}

void ScriptedPeer::Connection::SendData(const std::string& bytes) {
    int fd = DataConnection();
    if (fd >= 0) {
        [[maybe_unused]] ssize_t sent = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }
    CloseData();
}

std::string ScriptedPeer::Connection::ReceiveData() {
    std::string bytes;
    int fd = DataConnection();
    while (fd >= 0 && WaitReadable(fd, peer_.wakeFd_, std::chrono::seconds(10))) {
        char buffer[4096];
        ssize_t got = recv(fd, buffer, sizeof buffer, 0);
        if (got <= 0) {
            break;
        }
        bytes.append(buffer, static_cast<std::size_t>(got));
    }
    CloseData();
    return bytes;
}

void ScriptedPeer::Connection::ResetData(const std::string& bytes) {
    int fd = DataConnection();
    if (fd < 0) {
        return;
    }
    if (bytes.empty()) {
        char buffer[4096];
        if (WaitReadable(fd, peer_.wakeFd_, std::chrono::seconds(10))) {
            [[maybe_unused]] ssize_t got = recv(fd, buffer, sizeof buffer, 0);
        }
    } else {
        [[maybe_unused]] ssize_t sent = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }
    linger reset{1, 0};  // close with RST instead of FIN
    setsockopt(fd, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
    CloseData();
}

void ScriptedPeer::Connection::Intrude(const std::string& fromAddress, const std::string& bytes) {
    int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in from{};
    from.sin_family = AF_INET;
    inet_pton(AF_INET, fromAddress.c_str(), &from.sin_addr);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(static_cast<uint16_t>(activePort_));
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(fd, reinterpret_cast<sockaddr*>(&from), sizeof from) != 0 ||
        connect(fd, reinterpret_cast<sockaddr*>(&to), sizeof to) != 0) {
        peer_.RecordMismatch("the intruder could not connect");
    } else {
        [[maybe_unused]] ssize_t sent = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }
    intruderFds_.push_back(fd);  // kept open: the client must turn it away by itself
}

void ScriptedPeer::Connection::CloseData() {
    for (int* fd : {&dataFd_, &passiveFd_}) {
        if (*fd >= 0) {
            close(*fd);
            *fd = -1;
        }
    }
    activePort_ = 0;
}

void ScriptedPeer::Connection::Close() {
    if (fd_ >= 0) {
        close(fd_);
        fd_ = -1;
    }
}
