#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ControlChannel.h"
#include "DataChannel.h"
#include "EntryStringItem.h"
#include "Features.h"
#include "ListingParser.h"
#include "MiniBase.h"
#include "TlsConnection.h"
#include "TransferInfo.h"

class BarMonitor;
class Interrupter;
class ListingMonitor;
class LocalFile;
class LogMonitor;
class SocketIPS;
class StatusMonitor;
class TlsContext;
class ViewFolder;

// One FTP session: the control connection, the log-on, the one-line commands, the data
// connections, the transfers and the listings. One worker thread drives it at a time; STOP and
// the text and counter accessors may be called from any other thread.
//
// Results: 0 success; 1 missing or refused argument, no connection, no reply, a cut data
// connection, a local file error or a stop; 2 and 3 the reply carried the command's first or
// second failure code (3 also for a failed send); 4 any other failure reply; 5 (a resume) the
// local part is not the start of the server's file, and nothing was appended.
class FTPcommand : public TransferInfo {
public:
    static constexpr int kResumeMismatch = 5;
    // 6 (a transfer): the data ended whole but the server's verdict never came, as when a router
    // dropped the idle control connection during a long transfer; only SIZE can tell now.
    static constexpr int kVerdictLost = 6;
    // Why the last transfer failed: a stop, the local file, a refusal the server would repeat
    // (5xx, or a resume of another file), or what another try may mend (a reset or stalled data
    // connection, a 4xx, a lost control connection).
    enum class Failure { None, Stopped, Local, Refused, Transient };
    // A resume fetches this much of the local part again and compares it.
    static constexpr std::size_t kResumeOverlap = 64 * 1024;
    // Plain: no TLS. ExplicitIfAvailable: AUTH TLS, and plain FTP when the server refuses it.
    // ExplicitRequired: AUTH TLS or nothing. Implicit: TLS from the first byte.
    enum class Security { Plain, ExplicitIfAvailable, ExplicitRequired, Implicit };
    // Asked, on the session's worker, about a certificate that does not verify: true to go on.
    using CertificateCheck = std::function<bool(const TlsConnection::Certificate& certificate,
                                                const std::string& host, int port)>;

    FTPcommand();
    ~FTPcommand() override;
    FTPcommand(const FTPcommand&) = delete;
    FTPcommand& operator=(const FTPcommand&) = delete;

    // Connects and logs on. A refusal or a log-on error is told by the engine's own alert; a
    // server that could not be reached is not: Unreachable() then says why.
    int Init(const char* host, const char* port, const char* user, const char* password,
             StatusMonitor* status);
    // Why the last Init did not reach the server ("Connection refused on port 2199."); empty
    // when it did, when the reason was already told, or when the user stopped it.
    const std::string& Unreachable() const { return unreachable_; }
    // Keeps `secret` out of the log until the log-on ends (a firewall's password, sent as a line
    // of its own).
    void Conceal(const std::string& secret) { control_.Conceal(secret); }
    int Logonto(StatusMonitor* status);
    // Reads whole replies until one decides: an awaited code, or any other final reply (another
    // 2xx succeeds, anything else fails).
    int WaitFor(const char* success1, const char* success2, const char* failure1,
                const char* failure2);
    int SendRAW(const char* line);
    // Sends a raw line and reads its whole reply: 0 for 2xx and 3xx, 4 for a failure reply.
    int Quote(const char* line);

    int QUIT();
    int CWD(const char* directory);
    int MKD(const char* directory);
    int RMD(const char* directory);
    int DELE(const char* file);
    int RENAME(const char* from, const char* to);
    int REST(long long offset);
    int ASCII();
    int BINARY();
    int MODESTREAM();
    std::optional<std::string> PWD();
    int STOP() override;
    void RAZinfo();

    // Data connections. A transfer's `mode` is 0 for active (PORT: the server connects to us) or
    // 1 for passive (PASV: we connect to the server). On an IPv6 control connection they send
    // EPRT and EPSV.
    int PORT();
    int PASV();
    void Waiting();

    // Fetches `name` into `localDirectory` + its last path component, or into the private view
    // folder when `toTemporary` is set. The local name never leaves that folder.
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

    enum class Fetch { Ascii, Binary, Resume };
    // The transfers above with the local file named in full.
    int Retrieve(Fetch kind, const char* name, const std::string& localPath, StatusMonitor* status,
                 int mode);
    // `offset` > 0: the server has that much already; REST, then STOR of the rest.
    int Store(bool ascii, const std::string& localPath, const char* name, StatusMonitor* status,
              int mode, long long offset = 0);
    Failure LastFailure() const { return lastFailure_; }
    // The server's size of a file (SIZE); nothing when it does not tell.
    std::optional<long long> SIZE(const char* name);

    using Items = std::vector<EntryStringItem>;
    // Lists `directory` (null: the current one) into the files and directories lists (links go
    // to both), the full-listing view and the mini-base. 0 only for a complete listing. MLSD
    // when the server offers it, else LIST; the lists are the same either way.
    int LISTING(const char* directory, Items* files, Items* directories, StatusMonitor* status,
                int mode, ListingMonitor* view, BarMonitor* bar);
    void ExpoitLISTING(Items* files, Items* directories, StatusMonitor* status,
                       ListingMonitor* view, BarMonitor* bar);

    // What the server offered in its answer to FEAT after the log-on: nothing before it, and
    // nothing from a server without FEAT. Safe from any thread.
    Features ServerFeatures() const;
    bool OffersMlsd() const { return ServerFeatures().OffersMlsd(); }
    bool OffersUtf8() const { return ServerFeatures().OffersUtf8(); }
    bool OffersSize() const { return ServerFeatures().OffersSize(); }
    bool OffersRestStream() const { return ServerFeatures().OffersRestStream(); }
    // True while listings use MLSD: offered, allowed, and not refused on this connection yet.
    bool ListsWithMlsd() const { return OffersMlsd() && mlsdAllowed_ && !mlsdRefused_; }
    // LIST even where MLSD is offered: for a server whose MLSD listings are wrong.
    void AllowMlsd(bool allowed) { mlsdAllowed_ = allowed; }

    void EraseMiniBase() { miniBase_.Erase(); }
    void AddName(std::string_view name) { miniBase_.AddName(name); }
    void AddSize(long long size) { miniBase_.AddSize(size); }
    long long FindSize(const char* name) const { return name ? miniBase_.FindSize(name) : 0; }
    const MiniBase& GetMiniBase() const { return miniBase_; }
    void SetMiniBase(const MiniBase& miniBase) { miniBase_ = miniBase; }

    void SetLog(LogMonitor* log) { control_.SetLog(log); }
    // Failures are told by the caller, a session that tries again, without the sockets' alerts.
    void SetQuiet(bool quiet);
    // The control connection can carry no more commands (ControlChannel::Lost), and why.
    bool ConnectionLost() const { return control_.Lost(); }
    std::string LostReason() const { return control_.LostReason(); }
    // Clears a stop before the connection is made again.
    void Rearm() { ClearStop(); }
    // Reads what the server sent unasked (a 421 before it closes an idle connection), without
    // waiting, so that ConnectionLost knows.
    void ReadPending() { control_.DropLateReplies(); }
    // Before Init. `caFile` empty: the system's certificates are trusted.
    void SetSecurity(Security security, std::string caFile = {});
    // None: a certificate that does not verify ends the log-on.
    void SetCertificateCheck(CertificateCheck check) { certificateCheck_ = std::move(check); }
    // Asked, on the session's worker, when a server refuses AUTH TLS under "Explicit TLS if
    // available", before anything else is sent: true to go on in plain FTP. `refusal` is the
    // server's reply. None: the session goes on in plain FTP.
    using PlainCheck =
        std::function<bool(const std::string& host, int port, const std::string& refusal)>;
    void SetPlainCheck(PlainCheck check) { plainCheck_ = std::move(check); }
    // The control connection runs TLS; the data connections too when PROT P was agreed.
    bool IsControlProtected() const { return control_.Tls() != nullptr; }
    bool IsDataProtected() const { return protectData_; }
    // Bounds every connect, reply and data wait; 40 s unless a test asks for less.
    void SetTimeout(int milliseconds);
    int Timeout() const { return timeoutMs_; }
    // Where files fetched for viewing go; a private folder of its own is made when none is set.
    void SetViewFolder(std::shared_ptr<ViewFolder> folder);
    // What one listing may hold: a server can send lines of any length, for ever.
    static constexpr std::size_t kMaxListingEntries = 1000000;
    static constexpr std::size_t kMaxListingBytes = 256u << 20;
    void SetListingLimit(std::size_t entries, std::size_t bytes = kMaxListingBytes) {
        listingLimit_ = entries;
        listingByteLimit_ = bytes;
    }

    std::string HostText() const override;
    std::string OperationText() const override;
    std::string FileText() const override;
    // The last reply the server sent, all its lines, for messages that quote the server.
    std::string LastReplyText() const { return control_.LastReplyText(); }
    long long TransferTotal() const override { return transferTotal_; }
    long long TransferDone() const override { return transferDone_; }
    // False while an active-mode transfer waits for the server to connect.
    bool AcceptIdle() const { return acceptIdle_; }
    bool IsStopped() const { return stop_ != 0; }
    int NextActivePort() const { return nextActivePort_; }
    void SetNextActivePort(int port) { nextActivePort_ = port; }

private:
    using Clock = ControlChannel::Clock;
    using Codes = ControlChannel::Codes;
    using Outcome = ControlChannel::Outcome;
    using Answer = ControlChannel::Answer;
    enum class PumpEnd { Done, Stopped, ReceiveFailed, SendFailed, LocalFailed, TooLong, Mismatch };

    static int ResultOf(Outcome outcome);
    int Connect(const char* host, const char* port, StatusMonitor* status);
    int ReadGreeting();
    void AskFeatures();
    int OpenListing(const char* directory, int mode);
    bool SecureControl();
    bool NegotiateExplicitTls();
    bool ProtectData();
    bool SecureData();
    void KeepDataSession();
    PumpEnd CheckOverlap(const std::string& localPath, long long part, std::size_t overlap);
    int CheckSize(const char* name, const std::string& localPath);
    int Command(const char* word, const char* argument, const Codes& codes);
    void Log(const std::string& line) const { control_.Log(line); }
    void Step(StatusMonitor* status, const char* statusText, const char* logText,
              const char* operationText);
    void SetText(std::string& field, const std::string& value);

    int OpenDataConnection(int mode);
    int OpenData(const char* verb, const char* argument, int mode, const Codes& codes,
                 long long restOffset);
    int FetchTo(Fetch kind, const char* name, const std::string& localPath, StatusMonitor* status,
                int mode, bool toViewFolder);
    template <typename Pump>
    PumpEnd RunPump(Pump pump);
    int FinishTransfer(PumpEnd end);
    Answer Abort(int waitMs);
    int EPSV();
    std::string LocalPathOf(const char* name, const char* localDirectory, bool toTemporary);
    std::string ViewFolderPath();
    PumpEnd PumpToFile(LocalFile& file, StatusMonitor* status, bool ascii);
    PumpEnd PumpFromFile(LocalFile& file, StatusMonitor* status, bool ascii, long long from);
    void NoteOpenFailure();
    void NoteFinish(PumpEnd end, const Answer& verdict);
    PumpEnd ReadListing(Items* files, Items* directories, StatusMonitor* status,
                        ListingMonitor* view, BarMonitor* bar);
    void AddListed(ListingParser::Entry entry, std::string_view line, Items* files,
                   Items* directories, ListingMonitor* view);
    void ClearStop();
    bool IsIPv6() const;

    std::optional<std::string> user_;
    std::optional<std::string> password_;
    std::string host_;
    std::string unreachable_;
    std::string port_;
    std::atomic<int> stop_{0};
    std::atomic<long long> transferTotal_{0};
    std::atomic<long long> transferDone_{0};
    std::atomic<bool> acceptIdle_{true};
    // While data moves, STOP leaves the control connection open so that the server's answer to
    // the cut transfer can still be read. Guarded by phaseMutex_.
    bool dataPhase_ = false;
    std::atomic<int> nextActivePort_{0};
    int timeoutMs_;
    std::size_t listingLimit_ = kMaxListingEntries;
    std::size_t listingByteLimit_ = kMaxListingBytes;
    // The final reply of a transfer came with its start (a server that had nothing to send).
    bool finalReplyRead_ = false;
    Failure lastFailure_ = Failure::None;
    bool quiet_ = false;
    // The code of the last reply to a data command (RETR, STOR, LIST, MLSD); 0 for none.
    int dataReply_ = 0;
    // The listing being read is MLSD's, not LIST's.
    bool listingByMlsd_ = false;
    // The server offered MLSD but did not understand it: LIST for the rest of the connection.
    std::atomic<bool> mlsdRefused_{false};
    std::atomic<bool> mlsdAllowed_{true};

    mutable std::mutex featuresMutex_;
    Features features_;

    mutable std::mutex textMutex_;
    std::string hostText_;
    std::string operationText_;
    std::string fileText_;

    // Orders STOP against the start and end of a data phase.
    std::mutex phaseMutex_;
    std::shared_ptr<Interrupter> interrupter_;
    ControlChannel control_;
    DataChannel data_;
    std::shared_ptr<ViewFolder> viewFolder_;
    MiniBase miniBase_;

    Security security_ = Security::Plain;
    std::string caFile_;
    std::shared_ptr<TlsContext> tls_;
    CertificateCheck certificateCheck_;
    PlainCheck plainCheck_;
    std::string controlFingerprint_;
    bool protectData_ = false;
    struct FreeSession {
        void operator()(SSL_SESSION* session) const;
    };
    std::unique_ptr<SSL_SESSION, FreeSession> dataSession_;  // the next data connection resumes it
};
