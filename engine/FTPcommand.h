#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "EntryStringItem.h"
#include "MiniBase.h"

class BarMonitor;
class Interrupter;
class ListingMonitor;
class LocalFile;
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

    // Data connections. A transfer's `mode` is 0 for active (PORT: the server connects to us) or
    // 1 for passive (PASV: we connect to the server's port at the control connection's host).
    int PORT();
    int PASV();
    void Waiting();

    // Fetches `name` into `localDirectory` + its last path component, or into "/var/tmp/" when
    // `toTemporary` is set. The local name never leaves that folder.
    int GETASCII(const char* name, const char* localDirectory, StatusMonitor* status, int mode,
                 bool toTemporary);
    int GETBINARY(const char* name, const char* localDirectory, StatusMonitor* status, int mode,
                  bool toTemporary);
    // Resumes a partly fetched file at its local length.
    int REGETBINARY(const char* name, const char* localDirectory, StatusMonitor* status, int mode);
    // Sends `localDirectory` + `name` under `name`.
    int PUTASCII(const char* name, const char* localDirectory, StatusMonitor* status, int mode);
    int PUTBINARY(const char* name, const char* localDirectory, StatusMonitor* status, int mode);
    static long long GetLenFile(const char* path);

    using Items = std::vector<EntryStringItem>;
    // Lists `directory` (null: the current one) into the files and directories lists (links go
    // to both), the full-listing view and the mini-base.
    int LISTING(const char* directory, Items* files, Items* directories, StatusMonitor* status,
                int mode, ListingMonitor* view, BarMonitor* bar);
    void ExpoitLISTING(Items* files, Items* directories, StatusMonitor* status,
                       ListingMonitor* view, BarMonitor* bar);

    void EraseMiniBase() { miniBase_.Erase(); }
    void AddName(const std::string& name) { miniBase_.AddName(name); }
    void AddSize(long long size) { miniBase_.AddSize(size); }
    long long FindSize(const char* name) const { return name ? miniBase_.FindSize(name) : 0; }
    const MiniBase& GetMiniBase() const { return miniBase_; }
    void SetMiniBase(const MiniBase& miniBase) { miniBase_ = miniBase; }

    void SetLog(LogMonitor* log) { log_ = log; }
    // Bounds every connect and reply wait; 40 s unless a test asks for less.
    void SetTimeout(int milliseconds);

    std::string HostText() const;
    std::string OperationText() const;
    std::string FileText() const;
    long long TransferTotal() const { return transferTotal_; }
    long long TransferDone() const { return transferDone_; }
    // False while an active-mode transfer waits for the server to connect.
    bool AcceptIdle() const { return acceptIdle_; }
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

    enum class Fetch { Ascii, Binary, Resume };
    enum class PumpEnd { Done, Stopped, ReceiveFailed, SendFailed, WriteFailed };
    int FetchFile(Fetch kind, const char* name, const char* localDirectory, StatusMonitor* status,
                  int mode, bool toTemporary);
    int SendFile(bool ascii, const char* name, const char* localDirectory, StatusMonitor* status,
                 int mode);
    int OpenData(const char* verb, const char* argument, int mode, const char* success1,
                 const char* success2, const char* failure1, const char* failure2,
                 long long restOffset);
    bool ConnectPassive(int port);
    int SendListCommand(const char* directory);
    PumpEnd PumpToFile(LocalFile& file, StatusMonitor* status, bool ascii);
    PumpEnd PumpFromFile(LocalFile& file, StatusMonitor* status);
    PumpEnd PumpAsciiFromFile(LocalFile& file, StatusMonitor* status);
    void AddListed(const EntryStringItem& name, const std::string& line, long long size,
                   Items* list, Items* secondList, ListingMonitor* view);
    void DropData();
    void ClearStop();
    std::unique_ptr<SocketIPS> NewSocket() const;

    std::optional<std::string> user_;
    std::optional<std::string> password_;
    std::string host_;
    std::string port_;
    std::atomic<int> stop_{0};
    std::atomic<long long> transferTotal_{0};
    std::atomic<long long> transferDone_{0};
    std::atomic<bool> acceptIdle_{true};
    std::atomic<int> nextActivePort_{0};
    int timeoutMs_;

    mutable std::mutex textMutex_;
    std::string hostText_;
    std::string operationText_;
    std::string fileText_;

    // Guards the control pointer against STOP from another thread while the owner replaces it.
    mutable std::mutex controlMutex_;
    std::unique_ptr<SocketIPS> control_;
    std::unique_ptr<SocketIPS> data_;
    std::unique_ptr<SocketIPS> listener_;
    std::shared_ptr<Interrupter> interrupter_;
    LogMonitor* log_ = nullptr;
    MiniBase miniBase_;
};
