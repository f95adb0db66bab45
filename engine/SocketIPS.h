#pragma once

#include <openssl/types.h>
#include <sys/socket.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class Interrupter;
class TlsConnection;
class TlsContext;
// As <openssl/ssl.h> names it, without including all of it.
typedef struct ssl_session_st SSL_SESSION;

// One TCP endpoint: a control connection, a data connection, a listener or an accepted
// connection. Every wait is bounded by a time-out and can be woken by an Interrupter, so that
// another thread can stop a blocked call. The descriptor is only closed by the owner.
class SocketIPS {
public:
    // Cut: a TLS connection that ended without close_notify, which an attacker can cause.
    enum class RecvState { Ok, EndOfData, Failed, Cut, TimedOut, Interrupted };

    static constexpr int kDefaultTimeoutMs = 40000;
    static constexpr std::size_t kSendCapacity = 4096;
    static constexpr std::size_t kLineCapacity = 5120;
    static constexpr int kRecvBufCapacity = 800;

    SocketIPS();
    explicit SocketIPS(int descriptor);
    ~SocketIPS();
    SocketIPS(const SocketIPS&) = delete;
    SocketIPS& operator=(const SocketIPS&) = delete;

    // 0 connected; 1 no socket, unknown host or no local address; 2 connect refused or failed.
    int Connect(const char* host, int port);
    // Connects to an address already known (a data connection goes to the control's peer).
    int ConnectAddress(const sockaddr_storage& address, int port);
    // 1 listening on `port` at the address of `local`; 0 on failure.
    int Listen(int port, const sockaddr_storage& local);
    std::unique_ptr<SocketIPS> Accept();

    // Local IPv4 address in host order, 0 when there is none.
    std::uint32_t GetLocalIP() const;
    // The local port of a connection or a listener.
    int LocalPort() const;
    static int GetOctetIP(long address, int n);

    void Add(const char* bytes, int length);
    int Flush();
    int SendC(char byte);
    int SendData(const char* bytes, int length);

    // Moves up to `count` received bytes into a local file without copying them through user
    // space where the system allows it (splice). Returns the bytes written, 0 at the end of data,
    // -1 on a receive failure (with the receive alert unless interrupted) and -2 when the file
    // could not be written.
    long long ReceiveToFile(int fileFd, std::size_t count);

    int RecvCar();
    std::optional<std::string> RecvString();
    // RecvString without a copy: the line stays valid until the next receive.
    std::optional<std::string_view> RecvLine();
    std::optional<std::string> RecvBuf();
    int RecvBin(char* buffer, int capacity);
    // One receive without alerts, waiting at most `timeoutMs`: bytes read, 0 at the end of data,
    // -1 on failure (LastRecvState says which).
    long ReceiveQuietly(char* buffer, std::size_t capacity, int timeoutMs);

    // Starts TLS on this connected socket and completes the handshake within the time-out;
    // from then on every byte goes through it. Refused when the peer has already sent bytes
    // that were read ahead: they came before TLS and cannot be trusted. `resume`: a session to
    // resume, or null. False with the reason in `error`.
    bool StartTls(const TlsContext& context, const std::string& host, SSL_SESSION* resume,
                  std::string* error);
    TlsConnection* Tls() const { return tls_.get(); }

    void CloseSocket();
    // Safe from any thread: ends the connection under a blocked call without closing it.
    void Shutdown();

    void SetInterrupter(std::shared_ptr<Interrupter> interrupter);
    // Quiet: failures are left to the caller to tell, without the alerts.
    void SetQuiet(bool quiet) { quiet_ = quiet; }
    void SetTimeout(int milliseconds) { timeoutMs_ = milliseconds; }
    RecvState LastRecvState() const { return recvState_; }
    bool IsClosed() const { return closed_; }
    int Descriptor() const { return fd_; }
    // After Connect: the local address of the connection.
    const sockaddr_storage& Address() const { return address_; }
    // The other end of a connected or accepted socket.
    const sockaddr_storage& PeerAddress() const { return peer_; }
    int Timeout() const { return timeoutMs_; }
    const std::string& HostName() const { return hostName_; }
    int Port() const { return port_; }
    // Why the last Connect failed, as one sentence for the user ("Connection refused on port
    // 2199."); empty after a success or a stop.
    const std::string& ConnectFailure() const { return connectFailure_; }

private:
    enum class Wait { Ready, TimedOut, Interrupted, Failed };

    Wait WaitFor(short events) const { return WaitFor(events, timeoutMs_); }
    Wait WaitFor(short events, int timeoutMs) const;
    bool WaitToReceive(short events, int timeoutMs);
    ssize_t ReceiveTls(char* buffer, std::size_t capacity, int timeoutMs);
    void EndTls();
    std::size_t ReadAvailableTls(char* buffer, std::size_t capacity);
    bool SendTls(const char* bytes, std::size_t length, bool* interrupted);
    void RememberAddresses();
    int ConnectTo(const struct addrinfo& candidate, int timeoutMs);
    void ExplainConnectFailure(Wait wait, int error);
    bool SendAll(const char* bytes, std::size_t length, bool* interrupted);
    int FailSend(bool interrupted);
    bool Refill();
    ssize_t ReceiveSome(char* buffer, std::size_t capacity, int timeoutMs);
    std::size_t TakeBuffered(char* buffer, std::size_t capacity);
    void SwallowOne();
    void KeepOfLine(const char* bytes, std::size_t length);
    void SetDescriptor(int descriptor);
    bool OpenPipe();
    long long DrainPipe(int fileFd, std::size_t length);

    std::string hostName_;
    int port_ = 0;
    std::string connectFailure_;
    int fd_ = -1;
    std::string sendBuffer_;
    bool sendOverflow_ = false;
    std::vector<char> readAhead_;
    std::string lineBuffer_;
    std::size_t recvCount_ = 0;
    std::size_t recvPosition_ = 0;
    bool closed_ = true;
    sockaddr_storage address_{};
    sockaddr_storage peer_{};
    int timeoutMs_ = kDefaultTimeoutMs;
    RecvState recvState_ = RecvState::Ok;
    std::shared_ptr<Interrupter> interrupter_;
    // Kernel pipe between the socket and a file for ReceiveToFile; -1 until first needed.
    int pipe_[2] = {-1, -1};
    bool spliceToFileWorks_ = true;
    bool quiet_ = false;
    std::unique_ptr<TlsConnection> tls_;
    // Guards fd_ against Shutdown from another thread while the owner closes it.
    mutable std::mutex fdMutex_;
};
