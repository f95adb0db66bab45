#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

class Interrupter;
class LogMonitor;
class SocketIPS;
class StatusMonitor;

// One FTP session: the control connection, the log-on and the one-line commands.
// One worker thread drives it at a time; STOP and the text and counter accessors may be called
// from any other thread.
//
// Results: 0 success; 1 missing argument, no connection or no reply; 2 and 3 the reply carried
// the command's first or second failure code (3 also for a failed send); 4 any other 4xx or 5xx.
class FTPcommand {
public:
    FTPcommand();
    ~FTPcommand();
    FTPcommand(const FTPcommand&) = delete;
    FTPcommand& operator=(const FTPcommand&) = delete;

    int Init(const char* host, const char* port, const char* user, const char* password,
             StatusMonitor* status);
    int Logonto(StatusMonitor* status);
    int WaitFor(const char* success1, const char* success2, const char* failure1,
                const char* failure2);
    int SendRAW(const char* line);

    int QUIT();
    int CWD(const char* directory);
    int MKD(const char* directory);
    int RMD(const char* directory);
    int DELE(const char* file);
    int RENAME(const char* from, const char* to);
    int REST(int offset);
    int ASCII();
    int BINARY();
    int MODESTREAM();
    std::optional<std::string> PWD();
    int STOP();
    void RAZinfo();

    void SetLog(LogMonitor* log) { log_ = log; }
    // Bounds every connect and reply wait; 40 s unless a test asks for less.
    void SetTimeout(int milliseconds);

    std::string HostText() const;
    std::string OperationText() const;
    std::string FileText() const;
    int TransferTotal() const { return transferTotal_; }
    int TransferDone() const { return transferDone_; }
    bool IsStopped() const { return stop_ != 0; }
    int NextActivePort() const { return nextActivePort_; }
    void SetNextActivePort(int port) { nextActivePort_ = port; }

private:
    int SendLine(const char* word, const char* argument);
    int Command(const char* word, const char* argument, const char* success1, const char* success2,
                const char* failure1, const char* failure2);
    int Connect(const char* host, const char* port, StatusMonitor* status);
    void Log(const std::string& line);
    void Step(StatusMonitor* status, const char* statusText, const char* logText,
              const char* operationText);
    void SetText(std::string& field, const std::string& value);

    std::optional<std::string> user_;
    std::optional<std::string> password_;
    std::string host_;
    std::string port_;
    std::atomic<int> stop_{0};
    std::atomic<int> transferTotal_{0};
    std::atomic<int> transferDone_{0};
    std::atomic<int> nextActivePort_{0};
    int timeoutMs_;

    mutable std::mutex textMutex_;
    std::string hostText_;
    std::string operationText_;
    std::string fileText_;

    // Guards the control pointer against STOP from another thread while the owner replaces it.
    mutable std::mutex controlMutex_;
    std::unique_ptr<SocketIPS> control_;
    std::shared_ptr<Interrupter> interrupter_;
    LogMonitor* log_ = nullptr;
};
