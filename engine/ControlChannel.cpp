#include "ControlChannel.h"

#include <strings.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "LogMonitor.h"
#include "Reply.h"
#include "SocketIPS.h"

namespace {

constexpr std::size_t kChunk = 16 * 1024;

int MillisecondsUntil(ControlChannel::Clock::time_point deadline) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline -
                                                                      ControlChannel::Clock::now());
    return static_cast<int>(std::max<long long>(0, left.count()));
}

ControlChannel::Outcome OutcomeOf(Reply::Verdict verdict) {
    switch (verdict) {
        case Reply::Verdict::Success:
            return ControlChannel::Outcome::Success;
        case Reply::Verdict::FirstFailure:
            return ControlChannel::Outcome::FirstFailure;
        case Reply::Verdict::SecondFailure:
            return ControlChannel::Outcome::SecondFailure;
        case Reply::Verdict::OtherFailure:
        case Reply::Verdict::Undecided:
            break;
    }
    return ControlChannel::Outcome::OtherFailure;
}

}  // namespace

ControlChannel::ControlChannel(std::shared_ptr<Interrupter> interrupter,
                               const std::atomic<int>& stop)
    : interrupter_(std::move(interrupter)), stop_(stop), timeoutMs_(SocketIPS::kDefaultTimeoutMs) {}

ControlChannel::~ControlChannel() = default;

bool ControlChannel::HoldsLineBreak(const char* text) {
    return text != nullptr && std::strpbrk(text, "\r\n") != nullptr;
}

void ControlChannel::SetTimeout(int milliseconds) {
    timeoutMs_ = milliseconds;
    if (socket_) {
        socket_->SetTimeout(milliseconds);
    }
}

void ControlChannel::Log(const std::string& line) const {
    if (log_ != nullptr) {
        log_->AddLine(line);
    }
}

int ControlChannel::Connect(const char* host, int port) {
    auto socket = std::make_unique<SocketIPS>();
    socket->SetInterrupter(interrupter_);
    socket->SetTimeout(timeoutMs_);
    socket->SetQuiet(quiet_);
    {
        std::lock_guard lock(socketMutex_);
        socket_ = std::move(socket);
    }
    replies_.Reset();
    speaksTelnet_.reset();
    broken_ = false;
    ended_ = false;
    lost_ = false;
    lostReason_.clear();
    lastReplyCode_ = 0;
    return socket_->Connect(host, port);
}

std::string ControlChannel::ConnectFailure() const {
    return socket_ != nullptr ? socket_->ConnectFailure() : std::string();
}

bool ControlChannel::TimedOut() const {
    return socket_ != nullptr && socket_->LastRecvState() == SocketIPS::RecvState::TimedOut;
}

bool ControlChannel::IsOpen() const {
    return socket_ != nullptr && !socket_->IsClosed();
}

const sockaddr_storage& ControlChannel::LocalAddress() const {
    static const sockaddr_storage kNone{};
    return socket_ ? socket_->Address() : kNone;
}

const sockaddr_storage& ControlChannel::PeerAddress() const {
    static const sockaddr_storage kNone{};
    return socket_ ? socket_->PeerAddress() : kNone;
}

bool ControlChannel::Lost() const {
    return lost_ || ended_ || broken_ || !socket_ || socket_->IsClosed();
}

std::string ControlChannel::LostReason() const {
    if (!Lost()) {
        return {};
    }
    return !lostReason_.empty() ? lostReason_
           : ended_             ? "the connection was ended here"
           : broken_            ? "the server's reply could not be read in step"
                                : "there is no connection";
}

void ControlChannel::MarkLost(std::string reason) {
    if (!lost_) {
        lost_ = true;
        lostReason_ = std::move(reason);
        Log("Connection lost: " + lostReason_ + ".");
    }
}

// After a read that ended for want of bytes: the connection's end, or a failure, loses it.
void ControlChannel::MarkLostByRead() {
    switch (socket_->LastRecvState()) {
        case SocketIPS::RecvState::EndOfData:
        case SocketIPS::RecvState::Cut:
            MarkLost("the server closed the connection");
            break;
        case SocketIPS::RecvState::Failed:
            MarkLost("the connection was cut");
            break;
        default:
            break;  // a deadline or a stop: the caller judges
    }
}

void ControlChannel::End() {
    std::lock_guard lock(socketMutex_);
    ended_ = true;
    if (socket_) {
        socket_->Shutdown();
    }
}

bool ControlChannel::StartTls(const TlsContext& context, const std::string& host,
                              std::string* error) {
    if (!socket_ || broken_ || ended_) {
        *error = "the connection is closed";
        return false;
    }
    if (!replies_.IsEmpty()) {
        *error = "the server sent more than its reply before TLS began";
        return false;
    }
    return socket_->StartTls(context, host, nullptr, error);
}

TlsConnection* ControlChannel::Tls() const {
    return socket_ ? socket_->Tls() : nullptr;
}

std::string ControlChannel::LastReplyText() const {
    std::lock_guard lock(replyMutex_);
    return lastReply_;
}

int ControlChannel::SendLine(const char* word, const char* argument) {
    if (!socket_ || broken_ || ended_) {
        return 1;
    }
    // A line break inside an argument would smuggle a second command to the server.
    if (HoldsLineBreak(word) || HoldsLineBreak(argument)) {
        Log("Not sent: a command argument holds a line break.");
        return 1;
    }
    DropLateReplies();
    const bool holdsIac = std::strchr(word, '\xFF') != nullptr ||
                          (argument != nullptr && std::strchr(argument, '\xFF') != nullptr);
    if (holdsIac && !speaksTelnet_ && !LearnWhetherServerSpeaksTelnet()) {
        return 3;
    }
    AddTelnetText(word);
    if (argument != nullptr) {
        socket_->Add(" ", 1);
        AddTelnetText(argument);
    }
    socket_->Add("\r\n", 2);
    LogSent(argument != nullptr ? std::string(word) + " " + argument : std::string(word));
    const int sent = socket_->Flush();
    if (sent != 0 && !ended_) {
        MarkLost("the command could not be sent");
    }
    return sent;
}

// The standard has the control connection speak Telnet, where 0xFF starts a command and a data
// 0xFF goes doubled. proftpd reads it so: a name with "\xFF\xFE x" sent as it is would name "x".
// vsftpd, pure-ftpd and pyftpdlib take every byte as it comes and would not find a doubled one.
// So the server is asked once, with "MODE " IAC DONT "." "S": a Telnet reader drops the DONT and
// its option and keeps the stream mode every transfer uses; any other server knows no mode ".S"
// or "\xFF\xFE.S", and nothing changes either way. (pure-ftpd does not answer a line that begins
// with IAC at all, hence an argument.)
bool ControlChannel::LearnWhetherServerSpeaksTelnet() {
    replies_.SetTelnet(true);  // the reply may begin with a Telnet answer to the DONT
    socket_->Add("MODE \xFF\xFE.S\r\n", 11);
    LogSent("MODE S (after a Telnet DONT: does the server read 0xFF bytes as Telnet?)");
    if (socket_->Flush() != 0) {
        return false;
    }
    std::optional<FtpReply> reply;
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs_);
    while ((reply = ReadReply(deadline)) && reply->IsPreliminary()) {
    }
    if (!reply) {
        return false;
    }
    // No Telnet answers come after this one: 0xFF bytes of names are sent doubled from now on.
    // proftpd does not double them in its replies, so what it sends is taken as it is.
    replies_.SetTelnet(false);
    const bool telnet = reply->code / 100 == 2;
    if (reply->code != 530) {  // before the log-on nothing can be learnt; ask again after it
        speaksTelnet_ = telnet;
    }
    return true;
}

void ControlChannel::AddTelnetText(std::string_view text) {
    if (!speaksTelnet_.value_or(false)) {
        socket_->Add(text.data(), static_cast<int>(text.size()));
        return;
    }
    for (std::size_t iac; (iac = text.find('\xFF')) != std::string_view::npos;) {
        socket_->Add(text.data(), static_cast<int>(iac + 1));
        socket_->Add("\xFF", 1);
        text.remove_prefix(iac + 1);
    }
    socket_->Add(text.data(), static_cast<int>(text.size()));
}

void ControlChannel::Conceal(const std::string& secret) {
    if (!secret.empty()) {
        secrets_.push_back(secret);
    }
}

void ControlChannel::LogSent(std::string line) const {
    if (log_ == nullptr) {
        return;
    }
    if (line.size() > 5 && strncasecmp(line.c_str(), "PASS ", 5) == 0) {
        line = "PASS ****";  // whatever it is, even an anonymous e-mail address
    }
    for (const std::string& secret : secrets_) {
        for (auto at = line.find(secret); at != std::string::npos; at = line.find(secret, at + 4)) {
            line.replace(at, secret.size(), "****");
        }
    }
    log_->AddSent(line);
}

// A reply that came after its command was given up on (the second answer to a stopped transfer,
// a verdict later than its wait) must not pass for the next command's: what is there is read,
// logged and dropped before a command leaves.
void ControlChannel::DropLateReplies() {
    while (ReadReply(Clock::now())) {
    }
}

std::optional<FtpReply> ControlChannel::ReadReply(Clock::time_point deadline) {
    char buffer[kChunk];
    while (socket_ && !broken_) {
        if (std::optional<FtpReply> reply = replies_.Next()) {
            for (const std::string& line : reply->lines) {
                Log(line);
            }
            lastReplyCode_ = reply->code;
            // 421 may come at any time: the server is closing the connection.
            if (reply->code == 421) {
                MarkLost("the server said: " + reply->Text());
            }
            std::lock_guard lock(replyMutex_);
            lastReply_ = reply->Text();
            return reply;
        }
        if (replies_.Overflowed()) {
            Log("The server's reply passed " + std::to_string(ReplyReader::kMaxLines) +
                " lines: connection closed.");
            broken_ = true;
            socket_->Shutdown();
            break;
        }
        long got = socket_->ReceiveQuietly(buffer, sizeof buffer, MillisecondsUntil(deadline));
        if (got <= 0) {
            MarkLostByRead();
            break;  // closed, silent until the deadline, or stopped
        }
        replies_.Feed(std::string_view(buffer, static_cast<std::size_t>(got)));
    }
    return std::nullopt;
}

ControlChannel::Answer ControlChannel::Await(const Codes& codes, int timeoutMs) {
    auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!stop_) {
        std::optional<FtpReply> reply = ReadReply(deadline);
        if (!reply || stop_) {
            MarkLostByDeadline();
            break;
        }
        Reply::Verdict verdict = Reply::Judge(reply->code, codes.success1, codes.success2,
                                              codes.failure1, codes.failure2);
        if (verdict != Reply::Verdict::Undecided) {  // else a preliminary: the final one follows
            return {OutcomeOf(verdict), reply->code};
        }
    }
    return {};
}

std::optional<FtpReply> ControlChannel::SendAndRead(const char* word, const char* argument) {
    if (SendLine(word, argument) != 0) {
        return std::nullopt;
    }
    auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs_);
    while (!stop_) {
        std::optional<FtpReply> reply = ReadReply(deadline);
        if (!reply || stop_) {
            MarkLostByDeadline();
            break;
        }
        if (reply->IsFinal()) {
            return reply;
        }
    }
    return std::nullopt;
}

// A reply that did not come within its time may still come, after the next command has been
// sent: the connection can no longer be read in step.
void ControlChannel::MarkLostByDeadline() {
    if (!stop_ && socket_ && socket_->LastRecvState() == SocketIPS::RecvState::TimedOut) {
        MarkLost("no answer came in time");
    }
}
