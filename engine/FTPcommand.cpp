#include "FTPcommand.h"

#include <chrono>
#include <cstdlib>
#include <string_view>
#include <thread>

#include "AlertHook.h"
#include "Interrupter.h"
#include "LogMonitor.h"
#include "Reply.h"
#include "SocketIPS.h"
#include "StatusMonitor.h"

namespace {

constexpr int kEmptyReadsBeforeGivingUp = 3;
constexpr auto kEmptyReadPause = std::chrono::milliseconds(100);

}  // namespace

FTPcommand::FTPcommand()
    : timeoutMs_(SocketIPS::kDefaultTimeoutMs), interrupter_(std::make_shared<Interrupter>()) {}

FTPcommand::~FTPcommand() = default;

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
    auto control = std::make_unique<SocketIPS>();
    control->SetInterrupter(interrupter_);
    control->SetTimeout(timeoutMs_);
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
