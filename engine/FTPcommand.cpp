#include "FTPcommand.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <string_view>

#include <fcntl.h>
#include <openssl/ssl.h>
#include <unistd.h>

#include "AlertHook.h"
#include "AsciiConversion.h"
#include "BarMonitor.h"
#include "GrowFast.h"
#include "Interrupter.h"
#include "ListingMonitor.h"
#include "ListingParser.h"
#include "LocalFile.h"
#include "MlsdParser.h"
#include "Reply.h"
#include "SocketIPS.h"
#include "StatusMonitor.h"
#include "TlsContext.h"
#include "ViewFolder.h"

namespace {

// A 425 (data connection refused) repeats the command; a server that always refuses is left.
constexpr int kDataAttempts = 8;
// After a 425 the next PORT moves ten ports on rather than one.
constexpr int kPortSkipAfter425 = 9;
// Far larger than the old 8192-byte blocks: fast links move much more per system call.
constexpr std::size_t kReceiveBlock = 1024 * 1024;
// Measured against sendfile on loopback: plain reads and sends of this size were as fast or faster.
constexpr std::size_t kSendBlock = 256 * 1024;
constexpr std::size_t kAsciiBlock = 64 * 1024;
// The goodbye waits a few seconds at most: a server that has not answered by then will not.
constexpr int kShortWaitMs = 3000;
// A server answers ABOR at once; the user waits no longer than this.
constexpr int kAbortWaitMs = 1500;
// After a first answer to ABOR that ended the transfer, the moment a second one may take.
constexpr int kSecondAnswerWaitMs = 300;
// After its data connection failed or stalled, a transfer's verdict is not worth a long wait.
constexpr int kFailedDataWaitMs = 5000;
constexpr std::uint32_t kListingColour = 0x000064FF;
const ControlChannel::Codes kListingCodes{"150", "125", "421", "550"};

constexpr FTPcommand::Fetch kAscii = FTPcommand::Fetch::Ascii;
constexpr FTPcommand::Fetch kResume = FTPcommand::Fetch::Resume;

// The local name of a fetched file: the last path component of the remote name. Empty when that
// component could not name a file inside the target folder.
std::string LocalNameOf(const char* remoteName) {
    std::string_view name(remoteName);
    name = name.substr(name.rfind('/') == std::string_view::npos ? 0 : name.rfind('/') + 1);
    if (name.empty() || name == "." || name == "..") {
        return {};
    }
    return std::string(name);
}

// A name as the log shows it: a NUL byte would end the line there.
std::string Shown(std::string name) {
    for (std::size_t at = 0; (at = name.find('\0', at)) != std::string::npos; at += 2) {
        name.replace(at, 1, "\\0");
    }
    return name;
}

// "256 MiB", "100 bytes": a limit as the log tells it.
std::string ByteText(std::size_t bytes) {
    return bytes % (1u << 20) == 0 ? std::to_string(bytes >> 20) + " MiB"
                                   : std::to_string(bytes) + " bytes";
}

// A listing line of either kind. An MLSD line that filled the line buffer may have been cut, and
// its name, which comes last, with it.
ListingParser::Result ParseListed(std::string_view line, bool mlsd) {
    if (!mlsd) {
        return ListingParser::Parse(line);
    }
    if (line.size() >= SocketIPS::kLineCapacity - 1) {
        return {ListingParser::Outcome::Malformed, {}};
    }
    return MlsdParser::Parse(line);
}

}  // namespace

FTPcommand::FTPcommand()
    : timeoutMs_(SocketIPS::kDefaultTimeoutMs),
      interrupter_(std::make_shared<Interrupter>()),
      control_(interrupter_, stop_) {
    data_.SetInterrupter(interrupter_);
}

FTPcommand::~FTPcommand() = default;

void FTPcommand::SetTimeout(int milliseconds) {
    timeoutMs_ = milliseconds;
    data_.SetTimeout(milliseconds);
    control_.SetTimeout(milliseconds);
}

void FTPcommand::SetQuiet(bool quiet) {
    quiet_ = quiet;
    control_.SetQuiet(quiet);
    data_.SetQuiet(quiet);
}

void FTPcommand::SetViewFolder(std::shared_ptr<ViewFolder> folder) {
    viewFolder_ = std::move(folder);
}

void FTPcommand::SetText(std::string& field, const std::string& value) {
    std::lock_guard lock(textMutex_);
    field = value;
}

std::string FTPcommand::HostText() const {
    std::lock_guard lock(textMutex_);
    return hostText_;
}

std::string FTPcommand::OperationText() const {
    std::lock_guard lock(textMutex_);
    return operationText_;
}

std::string FTPcommand::FileText() const {
    std::lock_guard lock(textMutex_);
    return fileText_;
}

void FTPcommand::Step(StatusMonitor* status, const char* statusText, const char* logText,
                      const char* operationText) {
    if (status != nullptr && statusText != nullptr) {
        status->SetTypeOperation(statusText);
    }
    if (logText != nullptr) {
        Log(logText);
    }
    if (operationText != nullptr) {
        SetText(operationText_, operationText);
    }
}

// ---- Replies ----

int FTPcommand::ResultOf(Outcome outcome) {
    switch (outcome) {
        case Outcome::Success:
            return 0;
        case Outcome::FirstFailure:
            return 2;
        case Outcome::SecondFailure:
            return 3;
        case Outcome::OtherFailure:
            return 4;
        case Outcome::NoReply:
            break;
    }
    return 1;
}

int FTPcommand::WaitFor(const char* success1, const char* success2, const char* failure1,
                        const char* failure2) {
    return ResultOf(control_.Await({success1, success2, failure1, failure2}).outcome);
}

// ---- Connection and log-on ----

int FTPcommand::Connect(const char* host, const char* port, StatusMonitor* status) {
    {
        std::lock_guard lock(featuresMutex_);
        features_ = {};  // a new connection may reach another server
    }
    mlsdRefused_ = false;
    host_ = host;
    port_ = port != nullptr ? port : "";
    Step(status, "CONNECTING...", "CONNECTING...", "CONNECTING...");
    SetText(hostText_, host_ + " ?");
    if (control_.Connect(host, std::atoi(port_.c_str())) != 0) {
        unreachable_ = IsStopped() ? "" : control_.ConnectFailure();
        return 1;
    }
    Step(status, "CONNECT OK", "CONNECT OK", "CONNECT OK");
    SetText(hostText_, host_);
    protectData_ = false;
    dataSession_.reset();
    if (security_ == Security::Implicit && !SecureControl()) {
        return 1;
    }
    if (int result = ReadGreeting(); result != 0) {
        return result;
    }
    const bool explicitTls =
        security_ == Security::ExplicitIfAvailable || security_ == Security::ExplicitRequired;
    return explicitTls && !NegotiateExplicitTls() ? 1 : 0;
}

void FTPcommand::FreeSession::operator()(SSL_SESSION* session) const {
    SSL_SESSION_free(session);
}

void FTPcommand::SetSecurity(Security security, std::string caFile) {
    security_ = security;
    caFile_ = std::move(caFile);
    tls_.reset();
}

// The handshake, then the certificate: one that does not verify goes on only if the check says
// so. Until then nothing has been sent on the connection.
bool FTPcommand::SecureControl() {
    std::string error;
    if (!tls_ && !(tls_ = TlsContext::Create(caFile_, &error))) {
        AlertHook::Raise(error);
        return false;
    }
    if (!control_.StartTls(*tls_, host_, &error)) {
        AlertHook::Raise("No TLS connection with " + host_ + ": " + error + ".");
        control_.End();
        return false;
    }
    const TlsConnection::Certificate certificate = control_.Tls()->PeerCertificate();
    if (!certificate.verified &&
        !(certificateCheck_ && certificateCheck_(certificate, host_, std::atoi(port_.c_str())))) {
        Log("Certificate refused: " + certificate.problem + ".");
        if (!certificateCheck_) {
            AlertHook::Raise("The certificate of " + host_ +
                             " cannot be trusted: " + certificate.problem + ".");
        }
        control_.End();
        return false;
    }
    controlFingerprint_ = certificate.sha256;
    Log("TLS connection with " + host_ + " (certificate " + certificate.sha256 + ").");
    return true;
}

bool FTPcommand::NegotiateExplicitTls() {
    std::optional<FtpReply> reply = control_.SendAndRead("AUTH", "TLS");
    if (reply && reply->code == 234) {
        return SecureControl();
    }
    if (!reply) {
        unreachable_ = IsStopped() ? "" : "The server gave no answer to AUTH TLS.";
        control_.End();
        return false;
    }
    if (security_ == Security::ExplicitRequired) {
        AlertHook::Raise(
            "The server does not offer TLS: the log-on stopped before the user name and "
            "password were sent.");
        control_.End();
        return false;
    }
    if (plainCheck_ && !plainCheck_(host_, std::atoi(port_.c_str()), reply->Text())) {
        Log("The server does not offer TLS: the log-on stopped there.");
        control_.End();
        return false;
    }
    Log("The server does not offer TLS: the session goes on in plain FTP.");
    return true;
}

// PBSZ 0 then PROT P: the data connections under TLS too. A server that will not is left in
// clear only when the user accepted plain FTP as a fallback.
bool FTPcommand::ProtectData() {
    if (!IsControlProtected()) {
        return true;
    }
    std::optional<FtpReply> size = control_.SendAndRead("PBSZ", "0");
    std::optional<FtpReply> prot = size ? control_.SendAndRead("PROT", "P") : std::nullopt;
    protectData_ = prot && prot->code / 100 == 2;
    if (protectData_ || security_ == Security::ExplicitIfAvailable) {
        return true;
    }
    AlertHook::Raise("The server will not protect the data connections (PROT P was refused).");
    return false;
}

// Under TLS 1.3 a server may take each session ticket once: the next data connection resumes
// with the newest ticket, which came on the data connection just ended.
void FTPcommand::KeepDataSession() {
    SocketIPS* socket = data_.Socket();
    if (socket == nullptr || socket->Tls() == nullptr) {
        return;
    }
    socket->CloseSocket();
    if (SSL_SESSION* session = socket->Tls()->TakeSession()) {
        dataSession_.reset(session);
    }
}

// Resumes the control connection's session (vsftpd insists); otherwise the data connection's
// certificate must be the control connection's, or a third party could be serving the data.
bool FTPcommand::SecureData() {
    SocketIPS* socket = data_.Socket();
    if (!dataSession_) {
        dataSession_.reset(control_.Tls()->TakeSession());
    }
    std::string error;
    if (!socket->StartTls(*tls_, host_, dataSession_.get(), &error)) {
        Log("No TLS on the data connection: " + error + ".");
        return false;
    }
    if (!socket->Tls()->Resumed() &&
        socket->Tls()->PeerCertificate().sha256 != controlFingerprint_) {
        Log("The data connection showed another certificate than the control connection.");
        return false;
    }
    return true;
}

// The greeting comes before anything is sent: 120 asks to wait, 220 opens the session, and a
// refusal such as "421 Too many users" ends it with the server's own words.
int FTPcommand::ReadGreeting() {
    Answer answer = control_.Await({"220", "220", nullptr, nullptr});
    if (answer.outcome == Outcome::Success) {
        return 0;
    }
    if (answer.outcome != Outcome::NoReply) {
        AlertHook::Raise(control_.LastReplyText());
    } else if (!IsStopped() && control_.TimedOut()) {
        unreachable_ = "No answer from " + host_ + " within " +
                       std::to_string((timeoutMs_ + 999) / 1000) + " s.";
    } else if (!IsStopped()) {
        unreachable_ = "The server closed the connection before it said hello.";
    }
    return 1;
}

int FTPcommand::Init(const char* host, const char* port, const char* user, const char* password,
                     StatusMonitor* status) {
    unreachable_.clear();
    user_ = user != nullptr ? std::optional<std::string>(user) : std::nullopt;
    password_ = password != nullptr ? std::optional<std::string>(password) : std::nullopt;
    if (password_) {
        control_.Conceal(*password_);
    }
    if (host != nullptr && Connect(host, port, status) != 0) {
        return 1;
    }
    if (user == nullptr && password == nullptr) {
        return 0;  // connected only: a firewall dialogue comes first
    }
    const int loggedOn = Logonto(status);
    control_.Reveal();
    if (loggedOn != 0 && IsStopped()) {
        return 1;  // the user stopped it: nothing to report
    }
    switch (loggedOn) {
        case 0:
            if (!ProtectData()) {
                QUIT();
                return 1;
            }
            AskFeatures();
            return 0;
        case 2:
        case 3:
            AlertHook::Raise("Password not accepted.");
            QUIT();
            return 1;
        case 4:
            AlertHook::Raise("The server refused the log-on:\n" + control_.LastReplyText());
            QUIT();
            return 1;
        default:
            AlertHook::Raise("Error during logon.");
            QUIT();
            return 1;
    }
}

int FTPcommand::Logonto(StatusMonitor* status) {
    Step(status, "LOGIN...", "LOGIN...", "LOGIN...");
    bool loggedIn = false;
    if (!user_ || user_->empty()) {
        Step(status, "LOGIN...skiped", "LOGIN...skiped", nullptr);
    } else {
        if (control_.SendLine("USER", user_->c_str()) != 0) {
            return 1;  // not a refusal: the line never went
        }
        Step(status, "LOGIN...Waiting for reply...", nullptr, nullptr);
        Answer answer = control_.Await({"331", "230", "421", "500"});
        if (answer.outcome != Outcome::Success) {
            return ResultOf(answer.outcome);
        }
        Log("LOGIN OK");
        // A 2xx to USER means logged in already: a PASS now would be out of sequence.
        loggedIn = answer.code / 100 == 2;
    }
    Step(status, "PASSWORD...", "PASSWORD...", "PASSWORD...");
    if (!password_ || loggedIn) {
        Step(status, "PASSWORD...skiped", "PASSWORD...skiped", nullptr);
    } else {
        if (control_.SendLine("PASS", password_->c_str()) != 0) {
            return 1;  // not a refusal: the line never went
        }
        Step(status, "PASSWORD...Waiting for reply...", nullptr, nullptr);
        if (int result = WaitFor("230", "230", "530", "421"); result != 0) {
            return result;
        }
        Log("PASSWORD OK");
    }
    Step(status, "LOGIN COMPLETE.", "END LOGIN", "LOGIN COMPLETE");
    return 0;
}

Features FTPcommand::ServerFeatures() const {
    std::lock_guard lock(featuresMutex_);
    return features_;
}

// Once per connection, after the log-on (RFC 2389 lets a server hide features before it). A server
// from before FEAT refuses it and offers nothing, which is no failure of the log-on.
void FTPcommand::AskFeatures() {
    std::optional<FtpReply> reply = control_.SendAndRead("FEAT", nullptr);
    if (!reply) {
        Log("FEAT got no answer: the server's features are unknown.");
    }
    Features features = reply ? Features::FromReply(*reply) : Features{};
    {
        std::lock_guard lock(featuresMutex_);
        features_ = features;
    }
    // Names stay bytes either way; this asks a server that would translate them not to (RFC
    // 2640). A refusal changes nothing.
    if (features.OffersUtf8()) {
        control_.SendAndRead("OPTS", "UTF8 ON");
    }
}

// ---- One-line commands ----

int FTPcommand::Command(const char* word, const char* argument, const Codes& codes) {
    if (int sent = control_.SendLine(word, argument); sent != 0) {
        return sent;
    }
    return ResultOf(control_.Await(codes).outcome);
}

int FTPcommand::SendRAW(const char* line) {
    if (line == nullptr || *line == '\0') {
        return 0;
    }
    return control_.SendLine(line, nullptr);
}

int FTPcommand::Quote(const char* line) {
    if (line == nullptr || *line == '\0') {
        return 0;
    }
    std::optional<FtpReply> reply = control_.SendAndRead(line, nullptr);
    if (!reply) {
        return 1;
    }
    return reply->code < 400 ? 0 : 4;
}

int FTPcommand::QUIT() {
    if (int sent = control_.SendLine("QUIT", nullptr); sent != 0) {
        return sent;
    }
    int waitMs = std::min(timeoutMs_, kShortWaitMs);
    return ResultOf(control_.Await({"221", "221", "421", "500"}, waitMs).outcome);
}

int FTPcommand::CWD(const char* directory) {
    return Command("CWD", directory, {"250", "250", "500", "550"});
}

int FTPcommand::MKD(const char* directory) {
    if (directory == nullptr) {
        return 1;
    }
    return Command("MKD", directory, {"257", "257", "500", "550"});
}

int FTPcommand::RMD(const char* directory) {
    if (directory == nullptr) {
        return 1;
    }
    return Command("RMD", directory, {"250", "257", "500", "550"});
}

int FTPcommand::DELE(const char* file) {
    if (file == nullptr) {
        return 1;
    }
    return Command("DELE", file, {"250", "250", "450", "550"});
}

int FTPcommand::RENAME(const char* from, const char* to) {
    if (from == nullptr || to == nullptr) {
        return 1;
    }
    if (ControlChannel::HoldsLineBreak(to)) {
        return control_.SendLine("RNTO", to);  // refused, and logged, before RNFR leaves
    }
    // After a refused RNFR an RNTO would only be out of sequence.
    if (int result = Command("RNFR", from, {"350", "350", "450", "550"}); result != 0) {
        return result;
    }
    return Command("RNTO", to, {"250", "250", "500", "501"});
}

int FTPcommand::REST(long long offset) {
    if (offset <= 0) {
        return 1;
    }
    std::string text = std::to_string(offset);
    return Command("REST", text.c_str(), {"350", "350", "500", "501"});
}

int FTPcommand::ASCII() {
    return Command("TYPE", "A", {"200", "200", "500", "501"});
}

int FTPcommand::BINARY() {
    return Command("TYPE", "I", {"200", "200", "500", "501"});
}

int FTPcommand::MODESTREAM() {
    if (stop_) {
        return 1;
    }
    return Command("MODE", "S", {"200", "200", "500", "501"});
}

std::optional<std::string> FTPcommand::PWD() {
    std::optional<FtpReply> reply = control_.SendAndRead("PWD", nullptr);
    if (!reply || reply->code != 257) {
        return std::nullopt;
    }
    return Reply::QuotedPath(reply->lines.front());
}

int FTPcommand::STOP() {
    std::lock_guard lock(phaseMutex_);
    stop_ = 1;
    interrupter_->Trigger();
    // A reply being awaited could arrive after the next command was sent: end the connection.
    if (!dataPhase_) {
        control_.End();
    }
    return 0;
}

void FTPcommand::RAZinfo() {
    transferTotal_ = 0;
    transferDone_ = 0;
}

void FTPcommand::ClearStop() {
    stop_ = 0;
    interrupter_->Clear();
}

long long FTPcommand::GetLenFile(const char* path) {
    return path != nullptr ? LocalFile::SizeOf(path) : 0;
}

// ---- Data connections ----

bool FTPcommand::IsIPv6() const {
    return DataChannel::IsIPv6(control_.PeerAddress());
}

// PORT on IPv4, EPRT on IPv6: both announce a port we listen on for the server.
int FTPcommand::PORT() {
    if (!control_.IsOpen()) {
        return 1;
    }
    const sockaddr_storage& local = control_.LocalAddress();
    int port = data_.Listen(local, nextActivePort_);
    if (port == 0) {
        return 1;
    }
    if (nextActivePort_ != 0) {
        nextActivePort_ = DataChannel::NextPort(port);
    }
    bool extended = IsIPv6();
    std::string argument =
        extended ? DataChannel::EprtArgument(local, port) : DataChannel::PortArgument(local, port);
    int result =
        Command(extended ? "EPRT" : "PORT", argument.c_str(), {"200", "200", "425", "421"});
    if (result != 0) {
        data_.Close();
    }
    return result;
}

int FTPcommand::PASV() {
    if (IsIPv6()) {
        return EPSV();
    }
    std::optional<FtpReply> reply = control_.SendAndRead("PASV", nullptr);
    if (!reply || reply->code != 227) {
        return 0;
    }
    for (const std::string& line : reply->lines) {
        if (int port = Reply::PassivePort(line); port != 0) {
            return port;
        }
    }
    return 0;
}

int FTPcommand::EPSV() {
    std::optional<FtpReply> reply = control_.SendAndRead("EPSV", nullptr);
    if (!reply || reply->code != 229) {
        return 0;
    }
    return Reply::ExtendedPassivePort(reply->Text());
}

void FTPcommand::Waiting() {
    acceptIdle_ = false;
    data_.Accept(control_.PeerAddress(), [this](const std::string& line) { Log(line); });
    acceptIdle_ = true;
}

int FTPcommand::OpenDataConnection(int mode) {
    if (mode == 0) {
        return PORT() == 0 ? 0 : 1;
    }
    int port = PASV();
    if (port == 0 || !data_.Connect(control_.PeerAddress(), port)) {
        data_.Close();
        return 1;
    }
    return 0;
}

// Opens the data connection for one command (RETR, STOR, LIST) and leaves it in data_.
int FTPcommand::OpenData(const char* verb, const char* argument, int mode, const Codes& codes,
                         long long restOffset) {
    finalReplyRead_ = false;
    dataReply_ = 0;
    if ((mode != 0 && mode != 1) || !control_.IsOpen()) {
        return 1;
    }
    if (ControlChannel::HoldsLineBreak(argument)) {
        return control_.SendLine(verb, argument);  // refused and logged before PORT or PASV
    }
    for (int attempt = 0; attempt < kDataAttempts; ++attempt) {
        if (OpenDataConnection(mode) != 0) {
            return 1;
        }
        int result = restOffset > 0 ? REST(restOffset) : 0;
        if (result == 0) {
            result = control_.SendLine(verb, argument);
        }
        if (result != 0) {
            data_.Close();
            return result;
        }
        Answer answer = control_.Await(codes);
        dataReply_ = answer.code;
        if (answer.code == 425) {
            data_.Close();  // no data connection: try a fresh one
            if (mode == 0 && nextActivePort_ != 0) {
                nextActivePort_ += kPortSkipAfter425;
            }
            continue;
        }
        if (answer.outcome != Outcome::Success) {
            data_.Close();
            return ResultOf(answer.outcome);
        }
        // A final reply at once: the server had nothing to send and is done already.
        finalReplyRead_ = answer.code >= 200;
        if (mode == 0) {
            Waiting();
        }
        if (data_.Socket() == nullptr || (protectData_ && !SecureData())) {
            return FinishTransfer(PumpEnd::ReceiveFailed);
        }
        return 0;
    }
    return 1;
}

template <typename Pump>
FTPcommand::PumpEnd FTPcommand::RunPump(Pump pump) {
    {
        std::lock_guard lock(phaseMutex_);
        dataPhase_ = true;
    }
    PumpEnd end = pump();
    std::lock_guard lock(phaseMutex_);
    dataPhase_ = false;
    return end;
}

// Closes the data connection and reads the server's verdict on the transfer, also after a
// failure or a stop, so that the next command gets its own reply. 0 only when every byte moved
// and the server confirmed it.
int FTPcommand::FinishTransfer(PumpEnd end) {
    if (end == PumpEnd::ReceiveFailed && data_.Socket() != nullptr &&
        data_.Socket()->LastRecvState() == SocketIPS::RecvState::Cut) {
        Log("The server's TLS data ended without its closing notice.");
    }
    KeepDataSession();
    data_.Close();
    RAZinfo();
    if (stop_) {
        end = PumpEnd::Stopped;
        ClearStop();
    }
    // Data this side gave up on, where the server may still be sending or waiting for more.
    const bool cutHere = end == PumpEnd::Stopped || end == PumpEnd::Mismatch ||
                         end == PumpEnd::LocalFailed || end == PumpEnd::TooLong;
    const bool dataFailed = end == PumpEnd::ReceiveFailed || end == PumpEnd::SendFailed;
    Answer verdict{Outcome::Success, 226};
    if (finalReplyRead_) {
        finalReplyRead_ = false;  // the server had nothing to send and was done at once
    } else if (cutHere) {
        verdict = Abort(std::min(timeoutMs_, kAbortWaitMs));
        if (verdict.outcome == Outcome::NoReply) {
            STOP();  // its answer may still come: this connection can no longer be read in step
        }
    } else {
        verdict = control_.Await({"226", "250", "421", "500"},
                                 dataFailed ? std::min(timeoutMs_, kFailedDataWaitMs) : timeoutMs_);
    }
    NoteFinish(end, verdict);
    if (end == PumpEnd::Done) {
        return verdict.outcome == Outcome::NoReply ? kVerdictLost : ResultOf(verdict.outcome);
    }
    const bool refused = verdict.outcome != Outcome::Success && verdict.outcome != Outcome::NoReply;
    return !cutHere && refused ? ResultOf(verdict.outcome) : 1;
}

void FTPcommand::NoteFinish(PumpEnd end, const Answer& verdict) {
    switch (end) {
        case PumpEnd::Stopped:
            lastFailure_ = Failure::Stopped;
            return;
        case PumpEnd::LocalFailed:
            lastFailure_ = Failure::Local;
            return;
        case PumpEnd::Mismatch:
        case PumpEnd::TooLong:
            lastFailure_ = Failure::Refused;
            return;
        case PumpEnd::ReceiveFailed:
        case PumpEnd::SendFailed:
            lastFailure_ = Failure::Transient;
            return;
        case PumpEnd::Done:
            break;
    }
    lastFailure_ = verdict.outcome == Outcome::Success ? Failure::None
                   : verdict.code / 100 == 5           ? Failure::Refused
                                                       : Failure::Transient;
}

// A data command that never started: refused for good (5xx), stopped, or worth another try.
void FTPcommand::NoteOpenFailure() {
    const int code = dataReply_ != 0 ? dataReply_ : control_.LastReplyCode();
    lastFailure_ = IsStopped()                           ? Failure::Stopped
                   : code / 100 == 5 && !control_.Lost() ? Failure::Refused
                                                         : Failure::Transient;
}

// The standard's way out of a transfer: ABOR, answered by the transfer's own verdict (426, or
// 226 when it had ended anyway) and then by ABOR's (225 or 226). Both are read, so that the
// session goes on in step; a server that answers once gets a moment for a second answer.
FTPcommand::Answer FTPcommand::Abort(int waitMs) {
    if (control_.SendLine("ABOR", nullptr) != 0) {
        return {};
    }
    auto deadline = Clock::now() + std::chrono::milliseconds(waitMs);
    Answer verdict;
    for (int finals = 0; finals < 2;) {
        std::optional<FtpReply> reply = control_.ReadReply(deadline);
        if (!reply) {
            break;
        }
        // pure-ftpd answers a download cut by the client with a 150 line.
        if (reply->IsPreliminary() || reply->code == 0) {
            continue;
        }
        if (++finals == 1) {
            verdict = {Outcome::OtherFailure, reply->code};
            if (reply->code / 100 == 2) {
                deadline = std::min(deadline,
                                    Clock::now() + std::chrono::milliseconds(kSecondAnswerWaitMs));
            }
        }
    }
    return verdict;
}

// ---- Transfers ----

std::string FTPcommand::ViewFolderPath() {
    if (!viewFolder_) {
        viewFolder_ = std::make_shared<ViewFolder>();
    }
    return viewFolder_->Path();
}

std::string FTPcommand::LocalPathOf(const char* name, const char* localDirectory,
                                    bool toTemporary) {
    if (name == nullptr || localDirectory == nullptr) {
        return {};
    }
    std::string localName = LocalNameOf(name);
    std::string folder = toTemporary ? ViewFolderPath() : localDirectory;
    if (localName.empty() || folder.empty()) {
        return {};
    }
    return folder + localName;
}

int FTPcommand::GETASCII(const char* name, const char* localDirectory, StatusMonitor* status,
                         int mode, bool toTemporary) {
    return FetchTo(Fetch::Ascii, name, LocalPathOf(name, localDirectory, toTemporary), status, mode,
                   toTemporary);
}

int FTPcommand::GETBINARY(const char* name, const char* localDirectory, StatusMonitor* status,
                          int mode, bool toTemporary) {
    return FetchTo(Fetch::Binary, name, LocalPathOf(name, localDirectory, toTemporary), status,
                   mode, toTemporary);
}

int FTPcommand::REGETBINARY(const char* name, const char* localDirectory, StatusMonitor* status,
                            int mode) {
    return FetchTo(Fetch::Resume, name, LocalPathOf(name, localDirectory, false), status, mode,
                   false);
}

int FTPcommand::Retrieve(Fetch kind, const char* name, const std::string& localPath,
                         StatusMonitor* status, int mode) {
    return FetchTo(kind, name, localPath, status, mode, false);
}

int FTPcommand::FetchTo(Fetch kind, const char* name, const std::string& localPath,
                        StatusMonitor* status, int mode, bool toViewFolder) {
    SetText(fileText_, name != nullptr ? name : "");
    SetText(operationText_, kind == kAscii    ? "Get ASCII"
                            : kind == kResume ? "ReGet BINARY"
                                              : "Get BINARY");
    lastFailure_ = Failure::Refused;
    if (name == nullptr || localPath.empty()) {
        return 1;
    }
    const long long part = kind == kResume ? GetLenFile(localPath.c_str()) : 0;
    if (kind == kResume && part <= 0) {
        return 1;  // nothing to resume: REST refuses offset 0
    }
    lastFailure_ = Failure::None;
    // The end of the local part comes again and is compared before anything is appended.
    const auto overlap =
        static_cast<std::size_t>(std::min<long long>(part, static_cast<long long>(kResumeOverlap)));
    const long long offset = part - static_cast<long long>(overlap);
    // The local file is touched only once the server has said that data is coming.
    if (int result = OpenData("RETR", name, mode, {"125", "150", "550", "425"}, offset);
        result != 0) {
        NoteOpenFailure();
        return result;
    }
    if (toViewFolder) {
        unlink(localPath.c_str());  // an earlier view of the same name, in our private folder
    }
    LocalFile file(localPath, kind == kResume ? LocalFile::Mode::Append
                              : toViewFolder  ? LocalFile::Mode::Private
                                              : LocalFile::Mode::Overwrite);
    if (!file.IsOpen()) {
        Log("The local file could not be written: " + localPath);
        return FinishTransfer(PumpEnd::LocalFailed);
    }
    long long expected = miniBase_.FindSize(name);
    if (expected != 0 && status != nullptr) {
        status->SetMax(expected);
    }
    transferTotal_ = expected;
    transferDone_ = part;
    if (kind == kResume && status != nullptr) {
        status->SetNbOctet(part);
    }
    const PumpEnd end = RunPump([&] {
        const PumpEnd checked =
            overlap > 0 ? CheckOverlap(localPath, part, overlap) : PumpEnd::Done;
        return checked == PumpEnd::Done ? PumpToFile(file, status, kind == kAscii) : checked;
    });
    const int result = FinishTransfer(end);
    if (end == PumpEnd::Mismatch) {
        AlertHook::Raise("The local part of " + std::string(name) +
                         " is not the start of the server's file: nothing was appended.");
        return kResumeMismatch;
    }
    return result == 0 && kind != kAscii ? CheckSize(name, localPath) : result;
}

// The server's bytes before the end of the local part, against the local ones: a part of
// another file, or of an older version of this one, is never continued.
FTPcommand::PumpEnd FTPcommand::CheckOverlap(const std::string& localPath, long long part,
                                             std::size_t overlap) {
    std::string local(overlap, '\0');
    const int fd = ::open(localPath.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    const bool read =
        fd >= 0 && ::pread(fd, local.data(), overlap,
                           static_cast<off_t>(part - static_cast<long long>(overlap))) ==
                       static_cast<ssize_t>(overlap);
    if (fd >= 0) {
        ::close(fd);
    }
    if (!read) {
        return PumpEnd::LocalFailed;
    }
    std::string remote(overlap, '\0');
    for (std::size_t got = 0; got < overlap;) {
        const int received =
            data_.Socket()->RecvBin(remote.data() + got, static_cast<int>(overlap - got));
        if (received <= 0) {
            const bool shorter = data_.Socket()->LastRecvState() == SocketIPS::RecvState::EndOfData;
            return stop_     ? PumpEnd::Stopped
                   : shorter ? PumpEnd::Mismatch  // the server's file ends before the local part
                             : PumpEnd::ReceiveFailed;
        }
        got += static_cast<std::size_t>(received);
    }
    if (remote != local) {
        Log("The server's bytes before the end of the local part differ from the local ones.");
        return PumpEnd::Mismatch;
    }
    return PumpEnd::Done;
}

// A binary download is whole only if it has the size the server gives for the file. A server
// that has SIZE says so in FEAT (RFC 3659); others are not asked.
int FTPcommand::CheckSize(const char* name, const std::string& localPath) {
    if (!OffersSize()) {
        return 0;
    }
    const std::optional<long long> size = SIZE(name);
    if (!size) {
        return 0;
    }
    const long long local = GetLenFile(localPath.c_str());
    if (local == *size) {
        return 0;
    }
    const std::string text = std::string(name) + " arrived with " + std::to_string(local) +
                             " bytes where the server has " + std::to_string(*size) +
                             ": it is incomplete.";
    quiet_ ? Log(text) : AlertHook::Raise(text);
    lastFailure_ = Failure::Transient;  // the data ended early: the rest may come
    return 1;
}

std::optional<long long> FTPcommand::SIZE(const char* name) {
    std::optional<FtpReply> reply = control_.SendAndRead("SIZE", name);
    if (!reply || reply->code != 213 || reply->lines.empty()) {
        return std::nullopt;
    }
    const std::string& line = reply->lines.front();
    long long size = -1;
    const char* digits = line.c_str() + std::min<std::size_t>(4, line.size());
    if (std::from_chars(digits, line.c_str() + line.size(), size).ec != std::errc() || size < 0) {
        return std::nullopt;
    }
    return size;
}

FTPcommand::PumpEnd FTPcommand::PumpToFile(LocalFile& file, StatusMonitor* status, bool ascii) {
    std::vector<char> block(ascii ? kAsciiBlock : 0);
    SocketIPS& socket = *data_.Socket();
    while (true) {
        if (stop_) {
            return PumpEnd::Stopped;
        }
        // Binary data goes from the socket to the file in the kernel; ASCII data is looked at.
        long long got = ascii ? socket.RecvBin(block.data(), static_cast<int>(block.size()))
                              : socket.ReceiveToFile(file.Fd(), kReceiveBlock);
        if (got == 0) {
            return PumpEnd::Done;
        }
        if (got == -2) {
            return PumpEnd::LocalFailed;
        }
        if (got < 0) {
            return stop_ ? PumpEnd::Stopped : PumpEnd::ReceiveFailed;
        }
        long long kept = got;
        if (ascii) {
            kept = static_cast<long long>(
                AsciiConversion::StripCarriageReturns(block.data(), static_cast<std::size_t>(got)));
            if (!file.WriteAll(block.data(), static_cast<std::size_t>(kept))) {
                return PumpEnd::LocalFailed;
            }
        }
        transferDone_ += got;
        if (status != nullptr) {
            status->SetNbOctet(kept);
        }
    }
}

int FTPcommand::PUTASCII(const char* name, const char* localDirectory, StatusMonitor* status,
                         int mode) {
    std::string folder = localDirectory != nullptr ? localDirectory : "";
    return Store(true, folder + (name != nullptr ? name : ""), name, status, mode);
}

int FTPcommand::PUTBINARY(const char* name, const char* localDirectory, StatusMonitor* status,
                          int mode) {
    std::string folder = localDirectory != nullptr ? localDirectory : "";
    return Store(false, folder + (name != nullptr ? name : ""), name, status, mode);
}

int FTPcommand::Store(bool ascii, const std::string& localPath, const char* name,
                      StatusMonitor* status, int mode, long long offset) {
    SetText(operationText_, ascii ? "Put ASCII" : "Put BINARY");
    SetText(fileText_, name != nullptr ? name : "");
    lastFailure_ = Failure::Refused;
    if (name == nullptr) {
        return 1;
    }
    // Opened before STOR, so that a missing file leaves nothing behind on the server.
    LocalFile file(localPath, LocalFile::Mode::Read);
    lastFailure_ = Failure::Local;
    if (!file.IsOpen() || (offset > 0 && (offset > file.Size() || !file.Seek(offset)))) {
        return 1;
    }
    lastFailure_ = Failure::None;
    if (int result = OpenData("STOR", name, mode, {"150", "125", "532", "425"}, offset);
        result != 0) {
        NoteOpenFailure();
        return result;
    }
    transferTotal_ = file.Size();
    transferDone_ = offset;
    if (offset > 0 && status != nullptr) {
        status->SetNbOctet(offset);
    }
    return FinishTransfer(RunPump([&] { return PumpFromFile(file, status, ascii, offset); }));
}

// Sends the file as it was when the transfer began: a file that keeps growing ends there.
FTPcommand::PumpEnd FTPcommand::PumpFromFile(LocalFile& file, StatusMonitor* status, bool ascii,
                                             long long from) {
    std::vector<char> block(ascii ? kAsciiBlock : kSendBlock);
    std::string converted;
    SocketIPS& socket = *data_.Socket();
    for (long long sent = from, size = transferTotal_; sent < size;) {
        std::size_t want = static_cast<std::size_t>(
            std::min<long long>(static_cast<long long>(block.size()), size - sent));
        ssize_t got = file.Read(block.data(), want);
        if (got == 0) {
            break;  // the file shrank meanwhile
        }
        if (got < 0) {
            return PumpEnd::LocalFailed;
        }
        const char* bytes = block.data();
        std::size_t length = static_cast<std::size_t>(got);
        std::size_t lineEnds = 0;
        if (ascii) {
            converted.clear();
            lineEnds = AsciiConversion::AddCarriageReturns(bytes, length, converted);
            bytes = converted.data();
            length = converted.size();
        }
        if (stop_) {
            return PumpEnd::Stopped;
        }
        if (socket.SendData(bytes, static_cast<int>(length)) != 0) {
            return stop_ ? PumpEnd::Stopped : PumpEnd::SendFailed;
        }
        sent += got;
        transferDone_ += got;
        if (status != nullptr) {
            if (lineEnds > 0) {
                status->SetNbOctet(static_cast<long long>(lineEnds));  // the CRs added
            }
            status->SetNbOctet(got);
        }
    }
    return PumpEnd::Done;
}

// ---- Listings ----

// MLSD when offered. A server that offers it and then refuses it with a permanent failure gets
// LIST for this listing; one that did not understand it (500, 502) for the rest of the connection.
int FTPcommand::OpenListing(const char* directory, int mode) {
    listingByMlsd_ = ListsWithMlsd();
    int result = OpenData(listingByMlsd_ ? "MLSD" : "LIST", directory, mode, kListingCodes, 0);
    if (!listingByMlsd_ || result == 0 || dataReply_ / 100 != 5) {
        return result;
    }
    if (dataReply_ == 500 || dataReply_ == 502) {
        Log("MLSD was refused: listings use LIST on this connection.");
        mlsdRefused_ = true;
    }
    listingByMlsd_ = false;
    return OpenData("LIST", directory, mode, kListingCodes, 0);
}

int FTPcommand::LISTING(const char* directory, Items* files, Items* directories,
                        StatusMonitor* status, int mode, ListingMonitor* view, BarMonitor* bar) {
    lastFailure_ = Failure::None;
    if (int result = OpenListing(directory, mode); result != 0) {
        NoteOpenFailure();
        return result;
    }
    PumpEnd end = RunPump([&] { return ReadListing(files, directories, status, view, bar); });
    int result = FinishTransfer(end);
    if (result != 0) {
        Log("The listing is incomplete.");
    }
    return result;
}

void FTPcommand::ExpoitLISTING(Items* files, Items* directories, StatusMonitor* status,
                               ListingMonitor* view, BarMonitor* bar) {
    if (data_.Socket() != nullptr) {
        ReadListing(files, directories, status, view, bar);
    }
}

void FTPcommand::AddListed(ListingParser::Entry entry, std::string_view line, Items* files,
                           Items* directories, ListingMonitor* view) {
    using Kind = ListingParser::Kind;
    int type = entry.kind == Kind::File        ? EntryStringItem::File
               : entry.kind == Kind::Directory ? EntryStringItem::Directory
                                               : EntryStringItem::Link;
    miniBase_.AddName(entry.name);
    miniBase_.AddSize(entry.size);
    if (view != nullptr) {
        view->AddLine(EntryStringItem{std::string(line), type, {}, kListingColour});
        view->ShowLast();
    }
    // A link is offered in both panes: its target may be either.
    Items* list = entry.kind == Kind::File ? files : directories;
    Items* second = entry.kind == Kind::Link ? files : nullptr;
    const long long size = entry.kind == Kind::File ? entry.size : -1;
    if (second != nullptr) {
        GrowFast(*second, EntryStringItem{entry.name, type, {}, 0, size, entry.modified});
    }
    if (list != nullptr) {
        GrowFast(*list, EntryStringItem{std::move(entry.name), type, {}, 0, size, entry.modified});
    }
}

FTPcommand::PumpEnd FTPcommand::ReadListing(Items* files, Items* directories, StatusMonitor* status,
                                            ListingMonitor* view, BarMonitor* bar) {
    int fileCount = 0;
    int directoryCount = 0;
    std::size_t entries = 0;
    std::size_t bytes = 0;
    std::size_t malformed = 0;
    miniBase_.Erase();
    if (view != nullptr) {
        view->Clear();
    }
    SocketIPS& socket = *data_.Socket();
    while (!stop_) {
        std::optional<std::string_view> line = socket.RecvLine();
        if (!line) {
            if (malformed > 0) {
                Log(std::to_string(malformed) +
                    " listing lines could not be read and were skipped.");
            }
            bool ended = socket.LastRecvState() == SocketIPS::RecvState::EndOfData;
            return ended ? PumpEnd::Done : stop_ ? PumpEnd::Stopped : PumpEnd::ReceiveFailed;
        }
        if (line->empty()) {
            continue;
        }
        // Lines that are no entry cost nothing kept, but their bytes count too.
        bytes += line->size();
        if (bytes > listingByteLimit_) {
            Log("The listing passed " + ByteText(listingByteLimit_) + " and was stopped there.");
            return PumpEnd::TooLong;
        }
        ListingParser::Result parsed = ParseListed(*line, listingByMlsd_);
        if (parsed.outcome == ListingParser::Outcome::Unsafe) {
            Log("Unsafe name skipped: " + Shown(parsed.entry.name));
        }
        malformed += parsed.outcome == ListingParser::Outcome::Malformed ? 1 : 0;
        if (parsed.outcome != ListingParser::Outcome::Entry) {
            continue;
        }
        if (++entries > listingLimit_) {
            Log("The listing passed " + std::to_string(listingLimit_) +
                " entries and was stopped there.");
            return PumpEnd::TooLong;
        }
        ++(parsed.entry.kind == ListingParser::Kind::File ? fileCount : directoryCount);
        if (status != nullptr) {
            status->LoadFD(fileCount, directoryCount);  // a link counts as a directory
        }
        AddListed(std::move(parsed.entry), *line, files, directories, view);
        if (bar != nullptr && status != nullptr) {
            bar->SetText(status->Text());
        }
    }
    return PumpEnd::Stopped;
}
