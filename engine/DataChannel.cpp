#include "DataChannel.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <chrono>
#include <cstring>

#include "SocketIPS.h"

namespace {

constexpr int kFirstUnprivilegedPort = 1024;
constexpr int kLastPort = 65535;

// The IPv4 address of an IPv4 or IPv4-mapped IPv6 address, in network order.
bool IPv4Of(const sockaddr_storage& address, in_addr& v4) {
    if (address.ss_family == AF_INET) {
        v4 = reinterpret_cast<const sockaddr_in&>(address).sin_addr;
        return true;
    }
    const auto& v6 = reinterpret_cast<const sockaddr_in6&>(address);
    if (address.ss_family == AF_INET6 && IN6_IS_ADDR_V4MAPPED(&v6.sin6_addr)) {
        std::memcpy(&v4, &v6.sin6_addr.s6_addr[12], sizeof v4);
        return true;
    }
    return false;
}

}  // namespace

int DataChannel::NextPort(int port) {
    return port >= kLastPort ? kFirstUnprivilegedPort : port + 1;
}

DataChannel::DataChannel() = default;
DataChannel::~DataChannel() = default;

void DataChannel::SetTimeout(int milliseconds) {
    timeoutMs_ = std::min(milliseconds, kIdleTimeoutMs);
}

void DataChannel::SetInterrupter(std::shared_ptr<Interrupter> interrupter) {
    interrupter_ = std::move(interrupter);
}

std::unique_ptr<SocketIPS> DataChannel::NewSocket() const {
    auto socket = std::make_unique<SocketIPS>();
    socket->SetInterrupter(interrupter_);
    socket->SetTimeout(timeoutMs_);
    socket->SetQuiet(quiet_);
    return socket;
}

void DataChannel::Close() {
    data_.reset();
    listener_.reset();
}

bool DataChannel::Connect(const sockaddr_storage& peer, int port) {
    Close();
    data_ = NewSocket();
    if (data_->ConnectAddress(peer, port) != 0) {
        data_.reset();
        return false;
    }
    return true;
}

int DataChannel::Listen(const sockaddr_storage& local, int firstPort) {
    Close();
    auto listener = NewSocket();
    int port = firstPort;
    for (int tries = 0; listener->Listen(port, local) == 0; ++tries) {
        if (tries + 1 == kPortTries || port == 0) {
            return 0;
        }
        port = NextPort(port);
    }
    listener_ = std::move(listener);
    return listener_->LocalPort();
}

bool DataChannel::Accept(const sockaddr_storage& expectedPeer, const Log& log) {
    if (!listener_) {
        return false;
    }
    using Clock = std::chrono::steady_clock;
    auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs_);
    while (Clock::now() < deadline) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        listener_->SetTimeout(static_cast<int>(left.count()) + 1);
        std::unique_ptr<SocketIPS> accepted = listener_->Accept();
        if (!accepted) {
            break;  // timed out, stopped or failed
        }
        if (SameHost(accepted->PeerAddress(), expectedPeer)) {
            data_ = std::move(accepted);
            break;
        }
        // Whoever reaches a predictable port first must not become the file.
        log("Data connection from " + HostText(accepted->PeerAddress()) +
            " refused: it is not the server.");
    }
    listener_.reset();
    return data_ != nullptr;
}

std::string DataChannel::PortArgument(const sockaddr_storage& local, int port) {
    in_addr v4{};
    if (!IPv4Of(local, v4)) {
        return {};
    }
    std::uint32_t address = ntohl(v4.s_addr);
    return std::to_string(address >> 24) + ',' + std::to_string((address >> 16) & 0xFF) + ',' +
           std::to_string((address >> 8) & 0xFF) + ',' + std::to_string(address & 0xFF) + ',' +
           std::to_string(port / 256) + ',' + std::to_string(port % 256);
}

std::string DataChannel::EprtArgument(const sockaddr_storage& local, int port) {
    std::string family = IsIPv6(local) ? "2" : "1";
    return '|' + family + '|' + HostText(local) + '|' + std::to_string(port) + '|';
}

bool DataChannel::IsIPv6(const sockaddr_storage& address) {
    in_addr v4{};
    return address.ss_family == AF_INET6 && !IPv4Of(address, v4);
}

bool DataChannel::SameHost(const sockaddr_storage& a, const sockaddr_storage& b) {
    in_addr a4{};
    in_addr b4{};
    if (IPv4Of(a, a4) && IPv4Of(b, b4)) {
        return a4.s_addr == b4.s_addr;
    }
    if (a.ss_family != AF_INET6 || b.ss_family != AF_INET6) {
        return false;
    }
    const auto& a6 = reinterpret_cast<const sockaddr_in6&>(a);
    const auto& b6 = reinterpret_cast<const sockaddr_in6&>(b);
    return std::memcmp(&a6.sin6_addr, &b6.sin6_addr, sizeof a6.sin6_addr) == 0;
}

std::string DataChannel::HostText(const sockaddr_storage& address) {
    char text[INET6_ADDRSTRLEN] = "";
    in_addr v4{};
    if (IPv4Of(address, v4)) {
        inet_ntop(AF_INET, &v4, text, sizeof text);
    } else if (address.ss_family == AF_INET6) {
        inet_ntop(AF_INET6, &reinterpret_cast<const sockaddr_in6&>(address).sin6_addr, text,
                  sizeof text);
    }
    return text;
}
