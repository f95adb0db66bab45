#include "ScriptedPeer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "LocalPort.h"

namespace {

// Waits until fd is readable, the peer is stopped or the time runs out.
bool WaitReadable(int fd, int wakeFd, std::chrono::milliseconds timeout) {
    pollfd fds[2] = {{fd, POLLIN, 0}, {wakeFd, POLLIN, 0}};
    int ready = poll(fds, 2, static_cast<int>(timeout.count()));
    return ready > 0 && fds[1].revents == 0 && fds[0].revents != 0;
}

}  // namespace

// What a step can do with the control connection and its data connections.
class ScriptedPeer::Connection {
public:
    Connection(ScriptedPeer& peer, int fd) : peer_(peer), fd_(fd) {}
    ~Connection() {
        CloseData();
        Close();
        for (int fd : intruderFds_) {
            close(fd);
        }
    }

    void Send(const std::string& bytes) {
        if (fd_ >= 0) {
            [[maybe_unused]] ssize_t sent = send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        }
    }

    // One line from the client, without its CR LF; empty when the client closed or timed out.
    // An unscripted FEAT is answered on the way unless `expected` is FEAT.
    std::string ReadLine(const std::string& expected = {}) {
        while (fd_ >= 0) {
            std::size_t end = pending_.find("\r\n");
            if (end != std::string::npos) {
                std::string line = pending_.substr(0, end);
                pending_.erase(0, end + 2);
                if (!expected.starts_with("FEAT") && AnsweredFeat(line)) {
                    continue;
                }
                peer_.Locked([&] { peer_.commands_.push_back(line); });
                return line;
            }
            std::string got = Receive(fd_, std::chrono::seconds(10));
            if (got.empty()) {
                return {};
            }
            pending_ += got;
        }
        return {};
    }

    // Records what the client sends until it closes the connection or the peer stops.
    void Drain() {
        for (std::string got;
             fd_ >= 0 && !(got = Receive(fd_, std::chrono::seconds(60))).empty();) {
            pending_ += got;
            for (std::size_t end; (end = pending_.find("\r\n")) != std::string::npos;) {
                std::string line = pending_.substr(0, end);
                pending_.erase(0, end + 2);
                AnsweredFeat(line);
            }
        }
    }

    void Close() {
        if (fd_ >= 0) {
            close(fd_);
            fd_ = -1;
        }
    }

    void Mismatch(const std::string& text) {
        peer_.Locked([&] { peer_.mismatches_.push_back(text); });
    }

    int OpenPassive() {
        CloseData();
        int port = 0;
        passiveFd_ = ListenOnLoopback(port);
        return port;
    }

    void ReadPort() {
        CloseData();
        std::string line = ReadLine();
        int n[6] = {};
        if (std::sscanf(line.c_str(), "PORT %d,%d,%d,%d,%d,%d", &n[0], &n[1], &n[2], &n[3], &n[4],
                        &n[5]) != 6) {
            return Mismatch("expected PORT, got " + line);
        }
        activePort_ = n[4] * 256 + n[5];
        peer_.Locked([&] { peer_.announcedPorts_.push_back(activePort_); });
    }

    void SendData(const std::string& bytes) {
        int fd = DataConnection();
        if (fd >= 0) {
            [[maybe_unused]] ssize_t sent = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        }
        CloseData();
    }

    std::string ReceiveData() {
        std::string bytes;
        int fd = DataConnection();
        for (std::string got; fd >= 0 && !(got = Receive(fd, std::chrono::seconds(10))).empty();) {
            bytes += got;
        }
        CloseData();
        return bytes;
    }

    void ResetData(const std::string& bytes) {
        int fd = DataConnection();
        if (fd < 0) {
            return;
        }
        if (bytes.empty()) {
            Receive(fd, std::chrono::seconds(10));
        } else {
            [[maybe_unused]] ssize_t sent = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        }
        linger reset{1, 0};  // close with RST instead of FIN
        setsockopt(fd, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
        CloseData();
    }

    void Intrude(const std::string& fromAddress, const std::string& bytes) {
        int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in from{};
        from.sin_family = AF_INET;
        inet_pton(AF_INET, fromAddress.c_str(), &from.sin_addr);
        sockaddr_in to = Loopback(activePort_);
        if (bind(fd, reinterpret_cast<sockaddr*>(&from), sizeof from) != 0 ||
            connect(fd, reinterpret_cast<sockaddr*>(&to), sizeof to) != 0) {
            Mismatch("the intruder could not connect");
        } else {
            [[maybe_unused]] ssize_t sent = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        }
        intruderFds_.push_back(fd);  // kept open: the client must turn it away by itself
    }

private:
    // A FEAT the script does not expect gets what a server from before FEAT answers, and is left
    // out of the record: scripts written for such a server need not mention it.
    bool AnsweredFeat(const std::string& line) {
        if (line != "FEAT") {
            return false;
        }
        Send("502 Command not implemented.\r\n");
        peer_.Locked([&] {
            // The line just read ends where the bytes not yet read begin.
            std::size_t at = peer_.received_.size() - pending_.size() - (line.size() + 2);
            peer_.received_.erase(at, line.size() + 2);
        });
        return true;
    }

    // What arrives on fd next, recorded when it is the control connection; empty at its end.
    std::string Receive(int fd, std::chrono::milliseconds timeout) {
        char buffer[4096];
        ssize_t got =
            WaitReadable(fd, peer_.wakeFd_, timeout) ? recv(fd, buffer, sizeof buffer, 0) : 0;
        std::string bytes(buffer, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
        if (fd == fd_) {
            peer_.Locked([&] { peer_.received_ += bytes; });
        }
        return bytes;
    }

    int DataConnection() {
        if (dataFd_ < 0 && passiveFd_ >= 0 &&
            WaitReadable(passiveFd_, peer_.wakeFd_, std::chrono::seconds(10))) {
            dataFd_ = accept4(passiveFd_, nullptr, nullptr, SOCK_CLOEXEC);
        } else if (dataFd_ < 0 && activePort_ > 0) {
            dataFd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
            sockaddr_in address = Loopback(activePort_);
            if (connect(dataFd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
                close(dataFd_);
                dataFd_ = -1;
            }
        }
        if (dataFd_ < 0) {
            Mismatch("no data connection");
        }
        return dataFd_;
    }

    void CloseData() {
        for (int* fd : {&dataFd_, &passiveFd_}) {
            if (*fd >= 0) {
                close(*fd);
                *fd = -1;
            }
        }
        activePort_ = 0;
    }

    ScriptedPeer& peer_;
    int fd_;
    std::string pending_;
    int passiveFd_ = -1;
    int activePort_ = 0;
    int dataFd_ = -1;
    std::vector<int> intruderFds_;
};

ScriptedPeer::ScriptedPeer() : wakeFd_(eventfd(0, EFD_CLOEXEC)) {
    listenFd_ = ListenOnLoopback(port_);
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
        std::string line = c.ReadLine(prefix);
        if (line.compare(0, prefix.size(), prefix) != 0) {
            c.Mismatch("expected " + prefix + ", got " + line);
        }
    });
}

ScriptedPeer& ScriptedPeer::Silence() {
    return Do([](Connection& c) { c.Drain(); });
}

ScriptedPeer& ScriptedPeer::Close() {
    return Do([](Connection& c) { c.Close(); });
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
        c.ReadPort();
        c.Send(reply + "\r\n");
    });
}

ScriptedPeer& ScriptedPeer::SendData(const std::string& bytes) {
    return Do([bytes](Connection& c) { c.SendData(bytes); });
}

ScriptedPeer& ScriptedPeer::ReceiveData() {
    return Do([this](Connection& c) {
        std::string bytes = c.ReceiveData();
        Locked([&] { dataReceived_ += bytes; });
    });
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
        }
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
