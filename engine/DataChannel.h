#pragma once

#include <sys/socket.h>

#include <functional>
#include <memory>
#include <string>

class Interrupter;
class SocketIPS;

// The data connection of one transfer or listing. Passive: we connect to the server's port at
// the control connection's peer address (never at an address the server names). Active: we
// listen at the control connection's local address and accept only the control's peer; anyone
// else who connects first is turned away.
class DataChannel {
public:
    using Log = std::function<void(const std::string&)>;

    static constexpr int kPortTries = 200;
    // A data connection that moves no byte for this long has stalled, however long the control
    // connection's replies may take.
    static constexpr int kIdleTimeoutMs = 30000;

    DataChannel();
    ~DataChannel();
    DataChannel(const DataChannel&) = delete;
    DataChannel& operator=(const DataChannel&) = delete;

    void SetInterrupter(std::shared_ptr<Interrupter> interrupter);
    // Bounds each wait on the data connection, at most kIdleTimeoutMs.
    void SetTimeout(int milliseconds);
    // Quiet: a failed connection is told by whoever uses it, without the socket's alerts.
    void SetQuiet(bool quiet) { quiet_ = quiet; }

    bool Connect(const sockaddr_storage& peer, int port);
    // Listens on `local`'s address from `firstPort` on (0: any free port), moving one port on
    // while a port is taken. The port listened on, or 0.
    int Listen(const sockaddr_storage& local, int firstPort);
    // Waits for the server's connection from `expectedPeer`'s address within the time-out.
    bool Accept(const sockaddr_storage& expectedPeer, const Log& log);

    SocketIPS* Socket() const { return data_.get(); }
    bool IsListening() const { return listener_ != nullptr; }
    void Close();

    // "h1,h2,h3,h4,p1,p2" for PORT; empty when the address is not IPv4.
    static std::string PortArgument(const sockaddr_storage& local, int port);
    // "|1|a.b.c.d|port|" or "|2|v6 address|port|" for EPRT.
    static std::string EprtArgument(const sockaddr_storage& local, int port);
    // True for an IPv6 address that is not an IPv4 one in disguise.
    static bool IsIPv6(const sockaddr_storage& address);
    // The port after `port`, wrapping from 65535 to the first unprivileged one.
    static int NextPort(int port);
    static bool SameHost(const sockaddr_storage& a, const sockaddr_storage& b);
    static std::string HostText(const sockaddr_storage& address);

private:
    std::unique_ptr<SocketIPS> NewSocket() const;

    std::shared_ptr<Interrupter> interrupter_;
    int timeoutMs_ = kIdleTimeoutMs;
    bool quiet_ = false;
    std::unique_ptr<SocketIPS> listener_;
    std::unique_ptr<SocketIPS> data_;
};
