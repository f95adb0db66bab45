#pragma once

#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ReplyReader.h"

class Interrupter;
class LogMonitor;
class SocketIPS;
class TlsConnection;
class TlsContext;

// The control connection of one FTP session: sends command lines and reads whole replies within
// a deadline, each line to the log. What a reply means to a command is judged here too; turning
// that into the program's result codes is the caller's business.
class ControlChannel {
public:
    using Clock = std::chrono::steady_clock;
    struct Codes {
        const char* success1;
        const char* success2;
        const char* failure1;
        const char* failure2;
    };
    enum class Outcome { Success, FirstFailure, SecondFailure, OtherFailure, NoReply };
    struct Answer {
        Outcome outcome = Outcome::NoReply;
        int code = 0;
    };

    // `stop` is the session's stop flag: a stopped wait ends at once without a reply.
    ControlChannel(std::shared_ptr<Interrupter> interrupter, const std::atomic<int>& stop);
    ~ControlChannel();
    ControlChannel(const ControlChannel&) = delete;
    ControlChannel& operator=(const ControlChannel&) = delete;

    void SetLog(LogMonitor* log) { log_ = log; }
    // A text that must never show in the log: every sent line holding it shows "****" instead,
    // until Reveal. Meant for the log-on, the only time a password travels.
    void Conceal(const std::string& secret);
    void Reveal() { secrets_.clear(); }
    void SetTimeout(int milliseconds);
    void Log(const std::string& line) const;

    // 0 connected; else SocketIPS::Connect's result. Replaces any earlier connection.
    int Connect(const char* host, int port);
    bool IsOpen() const;
    // Why the last Connect failed, for the user; empty after a success or a stop.
    std::string ConnectFailure() const;
    // The last read ended because its time was up, not because the connection ended.
    bool TimedOut() const;
    // Puts the connection under TLS (after 234 to AUTH TLS, or at once for implicit TLS).
    // Refused when the server sent more than its reply before it: those bytes came in clear
    // and would pass for protected ones. False with the reason in `error`.
    bool StartTls(const TlsContext& context, const std::string& host, std::string* error);
    // The connection's TLS, or null.
    TlsConnection* Tls() const;
    const sockaddr_storage& LocalAddress() const;
    const sockaddr_storage& PeerAddress() const;

    // 0 sent; 1 not sent (no connection, a line break in it, or a connection that was ended);
    // 3 the send failed.
    int SendLine(const char* word, const char* argument);
    // Reads replies until one decides: an awaited code, or any other final reply.
    Answer Await(const Codes& codes, int timeoutMs);
    Answer Await(const Codes& codes) { return Await(codes, timeoutMs_); }
    // Sends a line and returns its final reply.
    std::optional<FtpReply> SendAndRead(const char* word, const char* argument);
    // The next whole reply of any kind before the deadline.
    std::optional<FtpReply> ReadReply(Clock::time_point deadline);
    std::string LastReplyText() const;

    // Safe from any thread: ends the connection under a blocked wait; later sends are refused
    // quietly, since the user asked for it.
    void End();
    // The connection can no longer carry a command and its reply: closed or reset by the server
    // or the network, a 421, a reply that never came, a send that failed, or ended by End.
    bool Lost() const;
    // Why, for the user ("the server closed the connection"); empty while it is not lost.
    std::string LostReason() const;
    // Failures are told by the session that reconnects, without the socket's alerts.
    void SetQuiet(bool quiet) { quiet_ = quiet; }
    // Reads, logs and drops what the server sent unasked, without waiting: a 421 or the end of
    // the connection shows in Lost() then.
    void DropLateReplies();
    // The code of the last whole reply, 0 before the first.
    int LastReplyCode() const { return lastReplyCode_; }

    static bool HoldsLineBreak(const char* text);

private:
    void LogSent(std::string line) const;
    void MarkLost(std::string reason);
    void MarkLostByRead();
    void MarkLostByDeadline();
    void AddTelnetText(std::string_view text);
    bool LearnWhetherServerSpeaksTelnet();

    std::shared_ptr<Interrupter> interrupter_;
    const std::atomic<int>& stop_;
    std::vector<std::string> secrets_;
    int timeoutMs_;
    LogMonitor* log_ = nullptr;
    // Guards the socket pointer against End from another thread while the owner replaces it.
    mutable std::mutex socketMutex_;
    std::unique_ptr<SocketIPS> socket_;
    ReplyReader replies_;
    // Learnt when a line first holds a 0xFF byte: whether the server reads it as Telnet.
    std::optional<bool> speaksTelnet_;
    // A reply broke the reader's limits: the connection cannot be read in step any more.
    bool broken_ = false;
    std::atomic<bool> ended_{false};
    bool quiet_ = false;
    // Set by the owner's thread only; End from another thread sets ended_.
    bool lost_ = false;
    std::string lostReason_;
    int lastReplyCode_ = 0;
    mutable std::mutex replyMutex_;
    std::string lastReply_;
};
