#include "FTPcommand.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <thread>

#include "AlertHook.h"
#include "AsciiConversion.h"
#include "BarMonitor.h"
#include "Interrupter.h"
#include "ListingMonitor.h"
#include "ListingParser.h"
#include "LocalFile.h"
#include "LogMonitor.h"
#include "Reply.h"
#include "SocketIPS.h"
#include "StatusMonitor.h"

namespace {

constexpr int kEmptyReadsBeforeGivingUp = 3;
constexpr auto kEmptyReadPause = std::chrono::milliseconds(100);
// A 425 (data connection refused) repeats the command; a server that always refuses is left.
constexpr int kDataAttempts = 8;
// Ports tried by one PORT before giving up, and where the port number wraps.
constexpr int kPortTries = 200;
constexpr int kFirstUnprivilegedPort = 1024;
constexpr int kLastPort = 65535;
// Far larger than the old 8192-byte blocks: fast links move much more per system call.
constexpr std::size_t kReceiveBlock = 1024 * 1024;
// Measured against sendfile on loopback: plain reads and sends of this size were as fast or faster.
constexpr std::size_t kSendBlock = 256 * 1024;
constexpr std::size_t kAsciiBlock = 64 * 1024;
constexpr std::uint32_t kListingColour = 0x000064FF;
constexpr const char* kTemporaryFolder = "/var/tmp/";

int NextPort(int port) {
    return port >= kLastPort ? kFirstUnprivilegedPort : port + 1;
}

int Clamped(long long value) {
    return static_cast<int>(std::clamp<long long>(value, 0, INT_MAX));
}

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

}  // namespace

FTPcommand::FTPcommand()
    : timeoutMs_(SocketIPS::kDefaultTimeoutMs), interrupter_(std::make_shared<Interrupter>()) {}

FTPcommand::~FTPcommand() = default;

std::unique_ptr<SocketIPS> FTPcommand::NewSocket() const {
    auto socket = std::make_unique<SocketIPS>();
    socket->SetInterrupter(interrupter_);
    socket->SetTimeout(timeoutMs_);
    return socket;
}

void FTPcommand::SetTimeout(int milliseconds) {
    timeoutMs_ = milliseconds;
    if (control_) {
        control_->SetTimeout(milliseconds);
    }
}

void FTPcommand::Log(const std::string& line) {
    if (log_ != nullptr) {
        log_->AddLine(line);
    }
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

int FTPcommand::Connect(const char* host, const char* port, StatusMonitor* status) {
    auto control = NewSocket();
    {
        std::lock_guard lock(controlMutex_);
        control_ = std::move(control);
    }
    host_ = host;
    port_ = port != nullptr ? port : "";
    Step(status, "CONNECTING...", "CONNECTING...", "CONNECTING...");
    SetText(hostText_, host_ + " ?");
    if (control_->Connect(host, std::atoi(port_.c_str())) != 0) {
        return 1;
    }
    Step(status, "CONNECT OK", "CONNECT OK", "CONNECT OK");
    SetText(hostText_, host_);
    return 0;
}

int FTPcommand::Init(const char* host, const char* port, const char* user, const char* password,
                     StatusMonitor* status) {
    user_ = user != nullptr ? std::optional<std::string>(user) : std::nullopt;
    password_ = password != nullptr ? std::optional<std::string>(password) : std::nullopt;
    if (host != nullptr && Connect(host, port, status) != 0) {
        return 1;
    }
    if (user == nullptr && password == nullptr) {
        return 0;  // connected only: a firewall dialogue comes first
    }
    int result = Logonto(status);
    switch (result) {
        case 0:
            return 0;
        case 1:
            AlertHook::Raise("Error during logon.");
            QUIT();
            return 1;
        case 2:
        case 3:
            AlertHook::Raise("Password not accepted.");
            QUIT();
            return 1;
        default:
            return 1;
    }
}

int FTPcommand::Logonto(StatusMonitor* status) {
    Step(status, "LOGIN...", "LOGIN...", "LOGIN...");
    if (!user_ || user_->empty()) {
        Step(status, "LOGIN...skiped", "LOGIN...skiped", nullptr);
    } else {
        if (int sent = SendLine("USER", user_->c_str()); sent != 0) {
            return sent;
        }
        Step(status, "LOGIN...Waiting for reply...", nullptr, nullptr);
        if (int result = WaitFor("331", "230", "421", "500"); result != 0) {
            return result;
        }
        Log("LOGIN OK");
    }
    Step(status, "PASSWORD...", "PASSWORD...", "PASSWORD...");
    if (!password_) {
        Step(status, "PASSWORD...skiped", "PASSWORD...skiped", nullptr);
    } else {
        // Sent even after a 230 to USER: the rest of that reply is skipped by this wait.
        if (int sent = SendLine("PASS", password_->c_str()); sent != 0) {
            return sent;
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

int FTPcommand::WaitFor(const char* success1, const char* success2, const char* failure1,
                        const char* failure2) {
    if (stop_) {
        return 0;
    }
    if (!control_) {
        return 1;
    }
    int emptyReads = 0;
    while (true) {
        std::optional<std::string> line = control_->RecvString();
        if (stop_) {
            return 0;
        }
        if (!line) {
            if (control_->LastRecvState() == SocketIPS::RecvState::TimedOut ||
                ++emptyReads >= kEmptyReadsBeforeGivingUp) {
                return 1;
            }
            std::this_thread::sleep_for(kEmptyReadPause);
            continue;
        }
        Log(*line);
        switch (Reply::Judge(*line, success1, success2, failure1, failure2)) {
            case Reply::Verdict::Success:
                return 0;
            case Reply::Verdict::FirstFailure:
                return 2;
            case Reply::Verdict::SecondFailure:
                return 3;
            case Reply::Verdict::OtherFailure:
                return 4;
            case Reply::Verdict::Undecided:
                break;  // a preliminary line or the rest of an earlier reply
        }
    }
}

int FTPcommand::SendLine(const char* word, const char* argument) {
    if (!control_) {
        return 1;
    }
    control_->Add(word, static_cast<int>(std::string_view(word).size()));
    if (argument != nullptr) {
        control_->Add(" ", 1);
        control_->Add(argument, static_cast<int>(std::string_view(argument).size()));
    }
    control_->Add("\r\n", 2);
    return control_->Flush();
}

int FTPcommand::Command(const char* word, const char* argument, const char* success1,
                        const char* success2, const char* failure1, const char* failure2) {
    if (int sent = SendLine(word, argument); sent != 0) {
        return sent;
    }
    return WaitFor(success1, success2, failure1, failure2);
}

int FTPcommand::SendRAW(const char* line) {
    if (line == nullptr || *line == '\0') {
        return 0;
    }
    return SendLine(line, nullptr);
}

int FTPcommand::QUIT() {
    return Command("QUIT", nullptr, "221", "221", "421", "500");
}

int FTPcommand::CWD(const char* directory) {
    return Command("CWD", directory, "250", "250", "500", "550");
}

int FTPcommand::MKD(const char* directory) {
    if (directory == nullptr) {
        return 1;
    }
    return Command("MKD", directory, "257", "257", "500", "550");
}

int FTPcommand::RMD(const char* directory) {
    if (directory == nullptr) {
        return 1;
    }
    return Command("RMD", directory, "250", "257", "500", "550");
}

int FTPcommand::DELE(const char* file) {
    if (file == nullptr) {
        return 1;
    }
    return Command("DELE", file, "250", "250", "450", "550");
}

int FTPcommand::RENAME(const char* from, const char* to) {
    if (from == nullptr || to == nullptr) {
        return 1;
    }
    // The RNFR verdict is not used: a refused RNFR shows in the RNTO reply.
    if (int sent = SendLine("RNFR", from); sent != 0) {
        return sent;
    }
    WaitFor("350", "350", "450", "550");
    return Command("RNTO", to, "250", "250", "500", "501");
}

int FTPcommand::REST(int offset) {
    if (offset <= 0) {
        return 1;
    }
    std::string text = std::to_string(offset);
    return Command("REST", text.c_str(), "350", "350", "500", "501");
}

int FTPcommand::ASCII() {
    return Command("TYPE", "A", "200", "200", "500", "501");
}

int FTPcommand::BINARY() {
    return Command("TYPE", "I", "200", "200", "500", "501");
}

int FTPcommand::MODESTREAM() {
    if (stop_) {
        return 0;
    }
    return Command("MODE", "S", "200", "200", "500", "501");
}

std::optional<std::string> FTPcommand::PWD() {
    if (SendLine("PWD", nullptr) != 0) {
        return std::nullopt;
    }
    while (true) {
        std::optional<std::string> line = control_->RecvString();
        if (!line) {
            return std::nullopt;  // closed, silent or stopped: never read past the end
        }
        Log(*line);
        if (Reply::IsPathReply(*line)) {
            return Reply::QuotedPath(*line);
        }
    }
}

int FTPcommand::STOP() {
    stop_ = 1;
    interrupter_->Trigger();
    std::lock_guard lock(controlMutex_);
    if (control_) {
        control_->Shutdown();
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

void FTPcommand::DropData() {
    data_.reset();
    listener_.reset();
}

long long FTPcommand::GetLenFile(const char* path) {
    return path != nullptr ? LocalFile::SizeOf(path) : 0;
}

int FTPcommand::PORT() {
    if (!control_) {
        return 1;
    }
    std::uint32_t address = control_->GetLocalIP();
    if (address == 0) {
        return 1;  // no IPv4 address to announce (an IPv6 control connection)
    }
    auto listener = NewSocket();
    int tries = 0;
    while (listener->Listen(nextActivePort_, control_->Address()) == 0) {
        nextActivePort_ = NextPort(nextActivePort_);
        if (++tries == kPortTries) {
            return 1;
        }
    }
    int port = listener->LocalPort();
    listener_ = std::move(listener);
    nextActivePort_ = NextPort(port);
    char text[64];
    std::snprintf(text, sizeof text, "%d,%d,%d,%d,%d,%d", SocketIPS::GetOctetIP(address, 3),
                  SocketIPS::GetOctetIP(address, 2), SocketIPS::GetOctetIP(address, 1),
                  SocketIPS::GetOctetIP(address, 0), port / 256, port % 256);
    SendLine("PORT", text);
    return WaitFor("200", "200", "425", "421");
}

int FTPcommand::PASV() {
    if (!control_ || SendLine("PASV", nullptr) != 0) {
        return 0;
    }
    while (true) {
        std::optional<std::string> line = control_->RecvString();
        if (!line) {
            return 0;  // closed, silent or stopped
        }
        Log(*line);
        if (Reply::IsPassiveReply(*line)) {
            return Reply::PassivePort(*line);
        }
        if (line->starts_with('4') || line->starts_with('5')) {
            return 0;  // PASV refused: waiting on would never end
        }
    }
}

void FTPcommand::Waiting() {
    acceptIdle_ = false;
    data_.reset();
    if (listener_) {
        data_ = listener_->Accept();
    }
    listener_.reset();
    acceptIdle_ = true;
}

bool FTPcommand::ConnectPassive(int port) {
    data_ = NewSocket();
    if (data_->Connect(host_.c_str(), port) != 0) {
        data_.reset();
        return false;
    }
    return true;
}

// Opens the data connection for one command (RETR, STOR) and leaves it in data_ on success.
int FTPcommand::OpenData(const char* verb, const char* argument, int mode, const char* success1,
                         const char* success2, const char* failure1, const char* failure2,
                         long long restOffset) {
    if (mode != 0 && mode != 1) {
        return 1;
    }
    int passivePort = mode == 1 ? PASV() : 0;
    if (mode == 1 && passivePort == 0) {
        return 1;
    }
    for (int attempt = 0; attempt < kDataAttempts; ++attempt) {
        if (mode == 0 && PORT() != 0) {
            DropData();
            return 1;
        }
        if (restOffset > 0) {
            if (int result = REST(restOffset); result != 0) {
                DropData();
                return result;
            }
        }
        if (mode == 1 && !ConnectPassive(passivePort)) {
            return 1;
        }
        if (SendLine(verb, argument) != 0) {
            DropData();
            return 3;
        }
        int result = WaitFor(success1, success2, failure1, failure2);
        if (result == 3) {
            DropData();  // 425: no data connection, try a fresh one
            continue;
        }
        if (result == 2 || result == 4) {
            DropData();
            return result;
        }
        if (mode == 0) {
            Waiting();
        }
        return data_ ? 0 : 1;
    }
    return 1;
}

int FTPcommand::GETASCII(const char* name, const char* localDirectory, StatusMonitor* status,
                         int mode, bool toTemporary) {
    return FetchFile(Fetch::Ascii, name, localDirectory, status, mode, toTemporary);
}

int FTPcommand::GETBINARY(const char* name, const char* localDirectory, StatusMonitor* status,
                          int mode, bool toTemporary) {
    return FetchFile(Fetch::Binary, name, localDirectory, status, mode, toTemporary);
}

int FTPcommand::REGETBINARY(const char* name, const char* localDirectory, StatusMonitor* status,
                            int mode) {
    return FetchFile(Fetch::Resume, name, localDirectory, status, mode, false);
}

int FTPcommand::FetchFile(Fetch kind, const char* name, const char* localDirectory,
                          StatusMonitor* status, int mode, bool toTemporary) {
    SetText(fileText_, name != nullptr ? name : "");
    SetText(operationText_, kind == Fetch::Ascii    ? "Get ASCII"
                            : kind == Fetch::Binary ? "Get BINARY"
                                                    : "ReGet BINARY");
    if (name == nullptr || localDirectory == nullptr) {
        return 1;
    }
    std::string localName = LocalNameOf(name);
    if (localName.empty()) {
        return 1;
    }
    std::string path = (toTemporary ? kTemporaryFolder : localDirectory) + localName;
    long long offset = kind == Fetch::Resume ? GetLenFile(path.c_str()) : 0;
    if (kind == Fetch::Resume && offset <= 0) {
        return 1;  // nothing to resume: REST refuses offset 0
    }
    if (int result = OpenData("RETR", name, mode, "125", "150", "550", "425", offset);
        result != 0) {
        return result;
    }
    auto fileMode = kind == Fetch::Resume ? LocalFile::Mode::Append : LocalFile::Mode::Overwrite;
    LocalFile file(path, fileMode, toTemporary);
    if (!file.IsOpen()) {
        DropData();
        WaitFor("226", "226", "421", "500");  // the server's end of the aborted transfer
        return 1;
    }
    long long expected = miniBase_.FindSize(name);
    if (expected != 0 && status != nullptr) {
        status->SetMax(Clamped(expected));
    }
    transferTotal_ = expected;
    transferDone_ = offset;
    if (kind == Fetch::Resume && status != nullptr) {
        status->SetNbOctet(Clamped(offset));
    }
    PumpEnd end = PumpToFile(file, status, kind == Fetch::Ascii);
    DropData();
    RAZinfo();
    switch (end) {
        case PumpEnd::Done:
            return WaitFor("226", "226", "421", "500");
        case PumpEnd::Stopped:
            ClearStop();
            return kind == Fetch::Binary ? 1 : 0;
        case PumpEnd::WriteFailed:
            WaitFor("226", "226", "421", "500");
            return 1;
        default:
            // The socket has shown its alert. Read the server's end of the transfer so that it
            // does not answer the next command.
            WaitFor("226", "226", "421", "500");
            return 0;
    }
}

FTPcommand::PumpEnd FTPcommand::PumpToFile(LocalFile& file, StatusMonitor* status, bool ascii) {
    std::vector<char> block(ascii ? kAsciiBlock : 0);
    while (true) {
        if (stop_) {
            return PumpEnd::Stopped;
        }
        // Binary data goes from the socket to the file in the kernel; ASCII data is looked at.
        long long got = ascii ? data_->RecvBin(block.data(), static_cast<int>(block.size()))
                              : data_->ReceiveToFile(file.Fd(), kReceiveBlock);
        if (got == 0) {
            return PumpEnd::Done;
        }
        if (got == -2) {
            return PumpEnd::WriteFailed;
        }
        if (got < 0) {
            return stop_ ? PumpEnd::Stopped : PumpEnd::ReceiveFailed;
        }
        long long kept = got;
        if (ascii) {
            kept = static_cast<long long>(
                AsciiConversion::StripCarriageReturns(block.data(), static_cast<std::size_t>(got)));
            if (!file.WriteAll(block.data(), static_cast<std::size_t>(kept))) {
                return PumpEnd::WriteFailed;
            }
        }
        transferDone_ += got;
        if (status != nullptr) {
            status->SetNbOctet(static_cast<int>(kept));
        }
    }
}

int FTPcommand::PUTASCII(const char* name, const char* localDirectory, StatusMonitor* status,
                         int mode) {
    return SendFile(true, name, localDirectory, status, mode);
}

int FTPcommand::PUTBINARY(const char* name, const char* localDirectory, StatusMonitor* status,
                          int mode) {
    return SendFile(false, name, localDirectory, status, mode);
}

int FTPcommand::SendFile(bool ascii, const char* name, const char* localDirectory,
                         StatusMonitor* status, int mode) {
    SetText(operationText_, ascii ? "Put ASCII" : "Put BINARY");
    SetText(fileText_, name != nullptr ? name : "");
    if (name == nullptr) {
        return 1;
    }
    // Opened before STOR, so that a missing file leaves nothing behind on the server.
    LocalFile file(std::string(localDirectory != nullptr ? localDirectory : "") + name,
                   LocalFile::Mode::Read);
    if (!file.IsOpen()) {
        return 1;
    }
    if (int result = OpenData("STOR", name, mode, "150", "125", "532", "425", 0); result != 0) {
        return result;
    }
    transferTotal_ = file.Size();
    transferDone_ = 0;
    PumpEnd end = ascii ? PumpAsciiFromFile(file, status) : PumpFromFile(file, status);
    DropData();
    if (end == PumpEnd::Stopped) {
        ClearStop();
    }
    if (end != PumpEnd::Done) {
        RAZinfo();
        return 0;
    }
    if (int result = WaitFor("226", "226", "421", "500"); result != 0) {
        return result;
    }
    RAZinfo();
    return 0;
}

FTPcommand::PumpEnd FTPcommand::PumpFromFile(LocalFile& file, StatusMonitor* status) {
    std::vector<char> block(kSendBlock);
    long long size = transferTotal_;
    for (long long sent = 0; sent < size;) {
        ssize_t got = file.Read(block.data(), block.size());
        if (got <= 0) {
            break;  // the file shrank meanwhile
        }
        if (stop_) {
            return PumpEnd::Stopped;
        }
        if (data_->SendData(block.data(), static_cast<int>(got)) != 0) {
            return stop_ ? PumpEnd::Stopped : PumpEnd::SendFailed;
        }
        sent += got;
        transferDone_ += got;
        if (status != nullptr) {
            status->SetNbOctet(static_cast<int>(got));
        }
    }
    return PumpEnd::Done;
}

FTPcommand::PumpEnd FTPcommand::PumpAsciiFromFile(LocalFile& file, StatusMonitor* status) {
    std::vector<char> block(kAsciiBlock);
    std::string converted;
    long long size = transferTotal_;
    for (long long sent = 0; sent < size;) {
        ssize_t got = file.Read(block.data(), block.size());
        if (got <= 0) {
            break;
        }
        converted.clear();
        std::size_t lineEnds = AsciiConversion::AddCarriageReturns(block.data(), got, converted);
        // Stop is honoured at line ends, as a byte-by-byte sender would see it.
        if (lineEnds > 0 && stop_) {
            return PumpEnd::Stopped;
        }
        if (data_->SendData(converted.data(), static_cast<int>(converted.size())) != 0) {
            return stop_ ? PumpEnd::Stopped : PumpEnd::SendFailed;
        }
        if (status != nullptr) {
            if (lineEnds > 0) {
                status->SetNbOctet(static_cast<int>(lineEnds));  // the CRs added
            }
            status->SetNbOctet(static_cast<int>(got));
        }
        sent += got;
        transferDone_ += got;
    }
    return PumpEnd::Done;
}

int FTPcommand::SendListCommand(const char* directory) {
    return SendLine("LIST", directory);
}

int FTPcommand::LISTING(const char* directory, Items* files, Items* directories,
                        StatusMonitor* status, int mode, ListingMonitor* view, BarMonitor* bar) {
    if (mode == 1) {
        int port = PASV();
        if (port == 0 || !ConnectPassive(port)) {
            return 1;
        }
        if (int sent = SendListCommand(directory); sent != 0) {
            DropData();
            return sent;
        }
        if (int result = WaitFor("150", "125", "421", "550"); result != 0) {
            DropData();
            return result;
        }
    } else {
        for (int attempt = 0;; ++attempt) {
            PORT();
            if (int sent = SendListCommand(directory); sent != 0) {
                DropData();
                return sent;
            }
            int result = WaitFor("150", "125", "421", "425");
            if (result == 3 && attempt + 1 < kDataAttempts) {
                nextActivePort_ += 9;  // with PORT's own step, each retry moves ten ports on
                continue;
            }
            if (result != 0) {
                DropData();
                return result;
            }
            break;
        }
        Waiting();
    }
    ExpoitLISTING(files, directories, status, view, bar);
    DropData();
    WaitFor("226", "226", "421", "500");
    return 0;
}

void FTPcommand::AddListed(const EntryStringItem& item, const std::string& line, long long size,
                           Items* list, Items* secondList, ListingMonitor* view) {
    if (list != nullptr) {
        list->push_back(item);
    }
    if (secondList != nullptr) {
        secondList->push_back(item);
    }
    if (view != nullptr) {
        view->AddLine(EntryStringItem{line, item.type, {}, kListingColour});
        view->ShowLast();
    }
    miniBase_.AddName(item.text);
    miniBase_.AddSize(size);
}

void FTPcommand::ExpoitLISTING(Items* files, Items* directories, StatusMonitor* status,
                               ListingMonitor* view, BarMonitor* bar) {
    int fileCount = 0;
    int directoryCount = 0;
    miniBase_.Erase();
    if (view != nullptr) {
        view->Clear();
    }
    while (data_ && !stop_) {
        std::optional<std::string> line = data_->RecvString();
        if (!line || line->empty()) {
            break;
        }
        ListingParser::Result parsed = ListingParser::Parse(*line);
        if (parsed.outcome == ListingParser::Outcome::Unsafe) {
            Log("Unsafe name skipped: " + parsed.entry.name);
        }
        if (parsed.outcome != ListingParser::Outcome::Entry) {
            continue;
        }
        const ListingParser::Entry& entry = parsed.entry;
        switch (entry.kind) {
            case ListingParser::Kind::File:
                ++fileCount;
                break;
            case ListingParser::Kind::Directory:
            case ListingParser::Kind::Link:  // a link counts as a directory
                ++directoryCount;
                break;
        }
        if (status != nullptr) {
            status->LoadFD(fileCount, directoryCount);
        }
        switch (entry.kind) {
            case ListingParser::Kind::File:
                AddListed({entry.name, EntryStringItem::File, {}, 0}, *line, entry.size, files,
                          nullptr, view);
                break;
            case ListingParser::Kind::Directory:
                AddListed({entry.name, EntryStringItem::Directory, {}, 0}, *line, entry.size,
                          directories, nullptr, view);
                break;
            case ListingParser::Kind::Link:
                // Offered in both panes: its target may be either.
                AddListed({entry.name, EntryStringItem::Link, {}, 0}, *line, entry.size,
                          directories, files, view);
                break;
        }
        if (bar != nullptr && status != nullptr) {
            bar->SetText(status->Text());
        }
    }
}
