#include "SocketIPS.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>

#include "AlertHook.h"
#include "Interrupter.h"
#include "TlsConnection.h"

namespace {

constexpr const char* kSendAlert = "Send error.\nConnection closed by remote host.";
// The misspelling is the program's own text.
constexpr const char* kReceiveAlert = "Reveive errror.";
// A control line costs one system call per read-ahead refill; listings read many lines.
constexpr std::size_t kReadAheadCapacity = 64 * 1024;
// One splice moves at most this much: also the size of the kernel pipe behind it.
constexpr std::size_t kSpliceChunk = 1024 * 1024;
// How long the end of a TLS connection waits for the peer to close its side.
constexpr int kTlsEndMs = 3000;

socklen_t LengthOf(const sockaddr_storage& address) {
    return address.ss_family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
}

void SetPort(sockaddr_storage& address, int port) {
    if (address.ss_family == AF_INET6) {
        reinterpret_cast<sockaddr_in6&>(address).sin6_port = htons(static_cast<uint16_t>(port));
    } else {
        reinterpret_cast<sockaddr_in&>(address).sin_port = htons(static_cast<uint16_t>(port));
    }
}

// The first LF or CR in [begin, end), or end. memchr scans a listing many bytes at a time. A NUL
// is no line end: the line that holds it is the reader's to judge, the lines after it stand.
const char* LineEnd(const char* begin, const char* end) {
    const char* lf = static_cast<const char*>(std::memchr(begin, '\n', end - begin));
    const char* stop = lf != nullptr ? lf : end;
    if (const void* cr = std::memchr(begin, '\r', stop - begin)) {
        stop = static_cast<const char*>(cr);
    }
    return stop;
}

int Milliseconds(std::chrono::steady_clock::time_point deadline) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    return static_cast<int>(std::max<long long>(0, left.count()));
}

}  // namespace

SocketIPS::SocketIPS() : readAhead_(kReadAheadCapacity) {}

SocketIPS::SocketIPS(int descriptor) : fd_(descriptor), readAhead_(kReadAheadCapacity) {
    closed_ = false;
    // Every wait goes through poll, bounded and interruptible: the descriptor must not block.
    fcntl(fd_, F_SETFL, fcntl(fd_, F_GETFL) | O_NONBLOCK);
    RememberAddresses();
}

void SocketIPS::RememberAddresses() {
    socklen_t length = sizeof address_;
    getsockname(fd_, reinterpret_cast<sockaddr*>(&address_), &length);
    length = sizeof peer_;
    getpeername(fd_, reinterpret_cast<sockaddr*>(&peer_), &length);
}

SocketIPS::~SocketIPS() {
    if (tls_ && !closed_) {
        EndTls();
    }
    for (int descriptor : {fd_, pipe_[0], pipe_[1]}) {
        if (descriptor >= 0) {
            close(descriptor);
        }
    }
}

void SocketIPS::SetInterrupter(std::shared_ptr<Interrupter> interrupter) {
    interrupter_ = std::move(interrupter);
}

void SocketIPS::SetDescriptor(int descriptor) {
    std::lock_guard lock(fdMutex_);
    if (fd_ >= 0) {
        close(fd_);
    }
    fd_ = descriptor;
    closed_ = true;
    recvCount_ = recvPosition_ = 0;
}

SocketIPS::Wait SocketIPS::WaitFor(short events, int timeoutMs) const {
    if (fd_ < 0) {
        return Wait::Failed;
    }
    pollfd fds[2] = {{fd_, events, 0}, {interrupter_ ? interrupter_->Fd() : -1, POLLIN, 0}};
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (true) {
        int ready = poll(fds, 2, Milliseconds(deadline));
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        if (ready < 0) {
            return Wait::Failed;
        }
        if (fds[1].revents != 0) {
            return Wait::Interrupted;
        }
        if (ready == 0) {
            return Wait::TimedOut;
        }
        return Wait::Ready;
    }
}

int SocketIPS::Connect(const char* host, int port) {
    if (host == nullptr) {
        return 1;
    }
    hostName_ = host;
    port_ = port;
    connectFailure_.clear();
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    std::string service = std::to_string(port);
    // getaddrinfo is thread-safe, unlike the old resolver calls: no process-wide lock needed.
    if (getaddrinfo(host, service.c_str(), &hints, &found) != 0 || found == nullptr) {
        connectFailure_ = "Name not found: " + hostName_ + ".";
        return 1;
    }
    // One time-out for every address together: a host with several silent ones must not
    // multiply the wait.
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs_);
    int result = 2;
    for (addrinfo* candidate = found; candidate != nullptr; candidate = candidate->ai_next) {
        result = ConnectTo(*candidate, Milliseconds(deadline));
        if (result != 2 || (interrupter_ && interrupter_->IsTriggered()) ||
            Milliseconds(deadline) == 0) {
            break;
        }
    }
    freeaddrinfo(found);
    return result;
}

int SocketIPS::ConnectAddress(const sockaddr_storage& address, int port) {
    sockaddr_storage target = address;
    SetPort(target, port);
    addrinfo candidate{};
    candidate.ai_family = target.ss_family;
    candidate.ai_addr = reinterpret_cast<sockaddr*>(&target);
    candidate.ai_addrlen = LengthOf(target);
    port_ = port;
    return ConnectTo(candidate, timeoutMs_);
}

int SocketIPS::ConnectTo(const addrinfo& candidate, int timeoutMs) {
    int descriptor = socket(candidate.ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        return 1;
    }
    SetDescriptor(descriptor);
    int failed = connect(fd_, candidate.ai_addr, candidate.ai_addrlen) == 0 ? 0 : errno;
    Wait wait = Wait::Ready;
    if (failed == EINPROGRESS && (wait = WaitFor(POLLOUT, timeoutMs)) == Wait::Ready) {
        socklen_t length = sizeof failed;
        getsockopt(fd_, SOL_SOCKET, SO_ERROR, &failed, &length);
    }
    if (failed != 0) {
        ExplainConnectFailure(wait, failed);
        CloseSocket();
        return 2;
    }
    int one = 1;
    setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    socklen_t length = sizeof address_;
    if (getsockname(fd_, reinterpret_cast<sockaddr*>(&address_), &length) != 0) {
        return 1;
    }
    length = sizeof peer_;
    getpeername(fd_, reinterpret_cast<sockaddr*>(&peer_), &length);
    closed_ = false;
    return 0;
}

// The last address tried gives the reason: with several, the user sees the final one.
void SocketIPS::ExplainConnectFailure(Wait wait, int error) {
    const std::string port = std::to_string(port_);
    if (wait == Wait::Interrupted) {
        connectFailure_.clear();  // stopped by the user: nothing to explain
    } else if (wait == Wait::TimedOut) {
        connectFailure_ = "No answer from " + hostName_ + " within " +
                          std::to_string((timeoutMs_ + 999) / 1000) + " s.";
    } else if (error == ECONNREFUSED) {
        connectFailure_ = "Connection refused on port " + port + ".";
    } else {
        connectFailure_ = std::string(std::strerror(error)) + " (port " + port + ").";
    }
}

int SocketIPS::Listen(int port, const sockaddr_storage& local) {
    int descriptor = socket(local.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        std::perror("creation de la socket d'ecoute impossible.\n");
        return 0;
    }
    SetDescriptor(descriptor);
    int one = 1;
    setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    sockaddr_storage address = local;
    SetPort(address, port);
    if (bind(fd_, reinterpret_cast<sockaddr*>(&address), LengthOf(address)) != 0) {
        std::perror("nommage impossible.\n");
        return 0;
    }
    if (listen(fd_, 1) != 0) {
        return 0;
    }
    // With port 0 the system picks one: remember the address actually bound.
    socklen_t length = sizeof address_;
    if (getsockname(fd_, reinterpret_cast<sockaddr*>(&address_), &length) != 0) {
        address_ = address;
    }
    closed_ = false;
    return 1;
}

std::unique_ptr<SocketIPS> SocketIPS::Accept() {
    if (fd_ < 0 || WaitFor(POLLIN) != Wait::Ready) {
        return nullptr;
    }
    int accepted = accept4(fd_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (accepted < 0) {
        return nullptr;
    }
    auto connection = std::make_unique<SocketIPS>(accepted);
    connection->SetInterrupter(interrupter_);
    connection->SetTimeout(timeoutMs_);
    connection->SetQuiet(quiet_);
    return connection;
}

int SocketIPS::LocalPort() const {
    if (address_.ss_family == AF_INET6) {
        return ntohs(reinterpret_cast<const sockaddr_in6&>(address_).sin6_port);
    }
    return ntohs(reinterpret_cast<const sockaddr_in&>(address_).sin_port);
}

std::uint32_t SocketIPS::GetLocalIP() const {
    if (fd_ < 0) {
        return 0;
    }
    if (address_.ss_family == AF_INET) {
        return ntohl(reinterpret_cast<const sockaddr_in&>(address_).sin_addr.s_addr);
    }
    const auto& v6 = reinterpret_cast<const sockaddr_in6&>(address_);
    if (address_.ss_family == AF_INET6 && IN6_IS_ADDR_V4MAPPED(&v6.sin6_addr)) {
        std::uint32_t v4 = 0;
        std::memcpy(&v4, &v6.sin6_addr.s6_addr[12], sizeof v4);
        return ntohl(v4);
    }
    return 0;
}

int SocketIPS::GetOctetIP(long address, int n) {
    return static_cast<int>((static_cast<unsigned long>(address) >> (8 * n)) & 0xFF);
}

void SocketIPS::Add(const char* bytes, int length) {
    if (bytes == nullptr || length <= 0) {
        return;
    }
    if (sendBuffer_.size() + static_cast<std::size_t>(length) > kSendCapacity) {
        // A truncated command would reach the server without its end: refuse it whole.
        sendOverflow_ = true;
        return;
    }
    sendBuffer_.append(bytes, static_cast<std::size_t>(length));
}

int SocketIPS::Flush() {
    if (sendOverflow_) {
        std::fprintf(stderr, "Tarvik: command longer than %zu bytes not sent\n", kSendCapacity);
        sendBuffer_.clear();
        sendOverflow_ = false;
        return 3;
    }
    if (sendBuffer_.empty()) {
        return 0;
    }
    bool interrupted = false;
    bool sent = SendAll(sendBuffer_.data(), sendBuffer_.size(), &interrupted);
    sendBuffer_.clear();
    return sent ? 0 : FailSend(interrupted);
}

int SocketIPS::SendC(char byte) {
    return SendData(&byte, 1);
}

int SocketIPS::SendData(const char* bytes, int length) {
    if (bytes == nullptr || length <= 0) {
        return 0;
    }
    bool interrupted = false;
    return SendAll(bytes, static_cast<std::size_t>(length), &interrupted) ? 0
                                                                          : FailSend(interrupted);
}

int SocketIPS::FailSend(bool interrupted) {
    // A stop asked by the user is not an error worth an alert, nor is what fails after it on the
    // connection that the stop ended.
    interrupted = interrupted || (interrupter_ && interrupter_->IsTriggered());
    if (!interrupted && !quiet_) {
        AlertHook::Raise(kSendAlert);
    }
    return 3;
}

bool SocketIPS::SendAll(const char* bytes, std::size_t length, bool* interrupted) {
    if (tls_) {
        return SendTls(bytes, length, interrupted);
    }
    while (length > 0) {
        if (closed_ || fd_ < 0) {
            return false;
        }
        ssize_t sent = send(fd_, bytes, length, MSG_NOSIGNAL);
        if (sent > 0) {
            bytes += sent;
            length -= static_cast<std::size_t>(sent);
            continue;
        }
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            Wait wait = WaitFor(POLLOUT);
            if (wait == Wait::Ready) {
                continue;
            }
            *interrupted = wait == Wait::Interrupted;
        }
        return false;
    }
    return true;
}

bool SocketIPS::OpenPipe() {
    if (pipe_[0] >= 0) {
        return true;
    }
    if (pipe2(pipe_, O_CLOEXEC | O_NONBLOCK) != 0) {
        pipe_[0] = pipe_[1] = -1;
        return false;
    }
    fcntl(pipe_[1], F_SETPIPE_SZ, static_cast<int>(kSpliceChunk));
    return true;
}

// Empties `length` bytes of the pipe into the file: spliced where the file system takes it,
// copied through a buffer where it does not.
long long SocketIPS::DrainPipe(int fileFd, std::size_t length) {
    std::size_t left = length;
    while (left > 0 && spliceToFileWorks_) {
        ssize_t moved = splice(pipe_[0], nullptr, fileFd, nullptr, left, SPLICE_F_MOVE);
        if (moved > 0) {
            left -= static_cast<std::size_t>(moved);
        } else if (moved < 0 && errno == EINVAL) {
            spliceToFileWorks_ = false;
        } else if (moved < 0 && errno == EINTR) {
            continue;
        } else {
            return -2;
        }
    }
    char buffer[64 * 1024];
    while (left > 0) {
        ssize_t got = read(pipe_[0], buffer, std::min(left, sizeof buffer));
        if (got <= 0) {
            return -2;
        }
        for (ssize_t done = 0; done < got;) {
            ssize_t written = write(fileFd, buffer + done, static_cast<std::size_t>(got - done));
            if (written <= 0 && errno != EINTR) {
                return -2;
            }
            done += std::max<ssize_t>(written, 0);
        }
        left -= static_cast<std::size_t>(got);
    }
    return static_cast<long long>(length);
}

long long SocketIPS::ReceiveToFile(int fileFd, std::size_t count) {
    if (recvPosition_ < recvCount_) {
        std::vector<char> buffered(std::min(count, recvCount_ - recvPosition_));
        TakeBuffered(buffered.data(), buffered.size());
        ssize_t written = write(fileFd, buffered.data(), buffered.size());
        return written == static_cast<ssize_t>(buffered.size()) ? written : -2;
    }
    // TLS bytes are decrypted here: no splice for them.
    if (tls_ || !OpenPipe()) {
        std::vector<char> block(std::min(count, kSpliceChunk));
        int got = RecvBin(block.data(), static_cast<int>(block.size()));
        if (got <= 0) {
            return got;
        }
        return write(fileFd, block.data(), static_cast<std::size_t>(got)) == got ? got : -2;
    }
    while (true) {
        if (closed_ || fd_ < 0) {
            recvState_ = RecvState::Failed;
            return -1;
        }
        ssize_t got = splice(fd_, nullptr, pipe_[1], nullptr, std::min(count, kSpliceChunk),
                             SPLICE_F_MOVE | SPLICE_F_NONBLOCK);
        if (got > 0) {
            recvState_ = RecvState::Ok;
            return DrainPipe(fileFd, static_cast<std::size_t>(got));
        }
        if (got == 0) {
            recvState_ = RecvState::EndOfData;
            return 0;
        }
        if (errno == EINTR) {
            continue;
        }
        const bool later = errno == EAGAIN;
        if (later && WaitToReceive(POLLIN, timeoutMs_)) {
            continue;
        }
        if (!later) {
            recvState_ = RecvState::Failed;
        }
        if (recvState_ != RecvState::Interrupted && !quiet_) {
            AlertHook::Raise(kReceiveAlert);
        }
        return -1;
    }
}

ssize_t SocketIPS::ReceiveSome(char* buffer, std::size_t capacity, int timeoutMs) {
    if (tls_) {
        return ReceiveTls(buffer, capacity, timeoutMs);
    }
    while (true) {
        if (closed_ || fd_ < 0) {
            recvState_ = RecvState::Failed;
            return -1;
        }
        ssize_t got = recv(fd_, buffer, capacity, 0);
        if (got > 0) {
            recvState_ = RecvState::Ok;
            return got;
        }
        if (got == 0) {
            recvState_ = RecvState::EndOfData;
            return 0;
        }
        if (errno == EINTR) {
            continue;
        }
        if (errno != EAGAIN && errno != EWOULDBLOCK) {
            recvState_ = RecvState::Failed;
            return -1;
        }
        if (!WaitToReceive(POLLIN, timeoutMs)) {
            return -1;
        }
    }
}

// A wait in the middle of a receive; when it ends without the socket ready, the receive's state
// says why.
bool SocketIPS::WaitToReceive(short events, int timeoutMs) {
    switch (WaitFor(events, timeoutMs)) {
        case Wait::Ready:
            return true;
        case Wait::TimedOut:
            recvState_ = RecvState::TimedOut;
            return false;
        case Wait::Interrupted:
            recvState_ = RecvState::Interrupted;
            return false;
        case Wait::Failed:
            break;
    }
    recvState_ = RecvState::Failed;
    return false;
}

bool SocketIPS::Refill() {
    ssize_t got = ReceiveSome(readAhead_.data(), readAhead_.size(), timeoutMs_);
    recvPosition_ = 0;
    recvCount_ = got > 0 ? static_cast<std::size_t>(got) : 0;
    return got > 0;
}

std::size_t SocketIPS::TakeBuffered(char* buffer, std::size_t capacity) {
    std::size_t take = std::min(capacity, recvCount_ - recvPosition_);
    std::memcpy(buffer, readAhead_.data() + recvPosition_, take);
    recvPosition_ += take;
    return take;
}

int SocketIPS::RecvCar() {
    if (recvPosition_ == recvCount_ && !Refill()) {
        return 0;
    }
    return static_cast<unsigned char>(readAhead_[recvPosition_++]);
}

void SocketIPS::SwallowOne() {
    RecvCar();
}

std::optional<std::string> SocketIPS::RecvString() {
    std::optional<std::string_view> line = RecvLine();
    return line ? std::optional<std::string>(*line) : std::nullopt;
}

// Over-long lines are cut; the rest of the line is read and dropped.
void SocketIPS::KeepOfLine(const char* bytes, std::size_t length) {
    std::size_t room = kLineCapacity - 1 - std::min(lineBuffer_.size(), kLineCapacity - 1);
    lineBuffer_.append(bytes, std::min(length, room));
}

std::optional<std::string_view> SocketIPS::RecvLine() {
    if (closed_) {
        return std::nullopt;
    }
    lineBuffer_.clear();
    bool spanning = false;  // the line began in an earlier block: it is kept in lineBuffer_
    while (true) {
        if (recvPosition_ == recvCount_ && !Refill()) {
            return std::nullopt;  // end of data, before or in the middle of a line
        }
        const char* begin = readAhead_.data() + recvPosition_;
        const char* end = readAhead_.data() + recvCount_;
        const char* stop = LineEnd(begin, end);
        std::size_t length = static_cast<std::size_t>(stop - begin);
        recvPosition_ += length;
        if (stop == end) {
            KeepOfLine(begin, length);
            spanning = true;
            continue;
        }
        char ending = *stop;
        ++recvPosition_;
        if (spanning || (ending == '\r' && recvPosition_ == recvCount_)) {
            KeepOfLine(begin, length);  // the block may be refilled before the caller reads
            spanning = true;
        }
        if (ending == '\r') {
            SwallowOne();  // the LF of a CR LF pair
        }
        if (spanning) {
            return std::string_view(lineBuffer_);
        }
        return std::string_view(begin, std::min(length, kLineCapacity - 1));
    }
}

std::optional<std::string> SocketIPS::RecvBuf() {
    std::string text(kRecvBufCapacity, '\0');
    int got = RecvBin(text.data(), kRecvBufCapacity);
    if (got <= 0) {
        return std::nullopt;
    }
    text.resize(static_cast<std::size_t>(got));
    return text;
}

int SocketIPS::RecvBin(char* buffer, int capacity) {
    if (buffer == nullptr || capacity <= 0) {
        return 0;
    }
    if (recvPosition_ < recvCount_) {
        return static_cast<int>(TakeBuffered(buffer, static_cast<std::size_t>(capacity)));
    }
    ssize_t got = ReceiveSome(buffer, static_cast<std::size_t>(capacity), timeoutMs_);
    // A cut TLS connection is told by the transfer that it ends.
    if (got < 0 && recvState_ != RecvState::Interrupted && recvState_ != RecvState::Cut &&
        !quiet_) {
        AlertHook::Raise(kReceiveAlert);
    }
    return static_cast<int>(got);
}

long SocketIPS::ReceiveQuietly(char* buffer, std::size_t capacity, int timeoutMs) {
    if (recvPosition_ < recvCount_) {
        return static_cast<long>(TakeBuffered(buffer, capacity));
    }
    return ReceiveSome(buffer, capacity, timeoutMs);
}

void SocketIPS::CloseSocket() {
    if (tls_ && !closed_) {
        EndTls();
    }
    // Only the owner closes, so no other thread can be blocked on this descriptor now.
    std::lock_guard lock(fdMutex_);
    if (fd_ >= 0) {
        close(fd_);
        fd_ = -1;
    }
    closed_ = true;
}

void SocketIPS::Shutdown() {
    std::lock_guard lock(fdMutex_);
    if (fd_ >= 0) {
        shutdown(fd_, SHUT_RDWR);
    }
}

// ---- TLS ----

bool SocketIPS::StartTls(const TlsContext& context, const std::string& host, SSL_SESSION* resume,
                         std::string* error) {
    if (recvPosition_ < recvCount_) {
        *error = "the server sent bytes before TLS began";
        return false;
    }
    tls_ = std::make_unique<TlsConnection>(context, fd_, host, resume);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs_);
    while (true) {
        const TlsConnection::Status status = tls_->Handshake();
        if (status == TlsConnection::Status::Done) {
            return true;
        }
        const bool waits =
            status == TlsConnection::Status::WantRead || status == TlsConnection::Status::WantWrite;
        const Wait wait =
            waits ? WaitFor(status == TlsConnection::Status::WantRead ? POLLIN : POLLOUT,
                            Milliseconds(deadline))
                  : Wait::Failed;
        if (wait != Wait::Ready) {
            *error = wait == Wait::TimedOut      ? "no TLS answer in time"
                     : wait == Wait::Interrupted ? "stopped"
                                                 : tls_->LastError();
            tls_.reset();
            return false;
        }
    }
}

ssize_t SocketIPS::ReceiveTls(char* buffer, std::size_t capacity, int timeoutMs) {
    while (true) {
        if (closed_ || fd_ < 0) {
            recvState_ = RecvState::Failed;
            return -1;
        }
        const TlsConnection::Io io = tls_->Read(buffer, capacity);
        switch (io.status) {
            case TlsConnection::Status::Done:
                recvState_ = RecvState::Ok;
                return static_cast<ssize_t>(
                    io.bytes + ReadAvailableTls(buffer + io.bytes, capacity - io.bytes));
            case TlsConnection::Status::Closed:
                recvState_ = RecvState::EndOfData;
                return 0;
            case TlsConnection::Status::Cut:
                recvState_ = RecvState::Cut;
                return -1;
            case TlsConnection::Status::Failed:
                recvState_ = RecvState::Failed;
                return -1;
            case TlsConnection::Status::WantRead:
            case TlsConnection::Status::WantWrite:
                break;
        }
        const short events = io.status == TlsConnection::Status::WantRead ? POLLIN : POLLOUT;
        if (!WaitToReceive(events, timeoutMs)) {
            return -1;
        }
    }
}

// close_notify, so that the peer knows the data ended here and was not cut (vsftpd refuses an
// upload without it); then our half closed, and what the peer still sends read through TLS and
// dropped until it closes too: its session tickets are kept that way, and closing with unread
// bytes would reset the connection and throw away the end of an upload still in flight.
void SocketIPS::EndTls() {
    tls_->Close();
    ::shutdown(fd_, SHUT_WR);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kTlsEndMs);
    char sink[4096];
    while (true) {
        const TlsConnection::Io io = tls_->Read(sink, sizeof sink);
        if (io.status == TlsConnection::Status::Done) {
            continue;
        }
        if (io.status != TlsConnection::Status::WantRead ||
            WaitFor(POLLIN, Milliseconds(deadline)) != Wait::Ready) {
            break;
        }
    }
}

// One TLS record holds 16 KiB at most: the records already here are taken together, so that a
// large receive costs one write to the file rather than one per record.
std::size_t SocketIPS::ReadAvailableTls(char* buffer, std::size_t capacity) {
    std::size_t total = 0;
    while (total < capacity) {
        const TlsConnection::Io io = tls_->Read(buffer + total, capacity - total);
        if (io.status != TlsConnection::Status::Done) {
            break;  // nothing more at once; an end or an error shows at the next receive
        }
        total += io.bytes;
    }
    return total;
}

bool SocketIPS::SendTls(const char* bytes, std::size_t length, bool* interrupted) {
    while (length > 0) {
        if (closed_ || fd_ < 0) {
            return false;
        }
        const TlsConnection::Io io = tls_->Write(bytes, length);
        if (io.status == TlsConnection::Status::Done) {
            bytes += io.bytes;
            length -= io.bytes;
            continue;
        }
        if (io.status != TlsConnection::Status::WantRead &&
            io.status != TlsConnection::Status::WantWrite) {
            return false;
        }
        const Wait wait = WaitFor(io.status == TlsConnection::Status::WantRead ? POLLIN : POLLOUT);
        if (wait != Wait::Ready) {
            *interrupted = wait == Wait::Interrupted;
            return false;
        }
    }
    return true;
}
