#include "HostSession.h"

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <thread>

#include "BarMonitor.h"
#include "CertificateTrust.h"
#include "HostPath.h"
#include "ListingMonitor.h"
#include "ListingSort.h"
#include "LogMonitor.h"
#include "StatusMonitor.h"
#include "ViewFolder.h"

namespace {

const char* const kHostUnreachable = "Impossible connection\nHost unreachable.";
const char* const kFirewallUnreachable = "Impossible connection\nFirewall unreachable.";
constexpr int kQuitTimeoutMs = 5000;

std::string Quoted(const std::string& text) {
    return "\"" + text + "\"";
}

std::string CertificateQuestion(const TlsConnection::Certificate& certificate,
                                const std::string& host, int port, bool changed) {
    std::string text;
    if (changed) {
        text = "Warning: the certificate of " + host + ":" + std::to_string(port) +
               " is not the one you trusted before. Someone may stand between you and the "
               "server.\n\n";
    }
    return text + "The certificate of " + host + ":" + std::to_string(port) +
           " cannot be verified: " + certificate.problem + ".\n\nSubject: " + certificate.subject +
           "\nIssuer: " + certificate.issuer + "\nValid from " + certificate.notBefore + " to " +
           certificate.notAfter + "\nSHA-256: " + certificate.sha256 +
           "\n\nDo you trust this certificate?";
}

}  // namespace

HostSession::HostSession(SessionView& view, Monitors monitors, int firstDataPort, int passive)
    : view_(view),
      monitors_(monitors),
      firstDataPort_(firstDataPort),
      passive_(passive),
      ftp_(std::make_unique<FTPcommand>()),
      viewFolder_(std::make_shared<ViewFolder>()),
      logOnClock_(monitors.status, ftp_->Timeout()) {
    ftp_->SetViewFolder(viewFolder_);
    ftp_->SetLog(monitors_.log);
    std::error_code error;
    std::filesystem::path start = std::filesystem::current_path(error);
    localDirectory_ = LocalListing::Resolve(error ? "/" : start.string(), nullptr);
}

HostSession::~HostSession() = default;

// ---- Running operations ----

bool HostSession::Run(const char* name, std::function<void()> operation) {
    if (closing_) {
        return false;
    }
    abortReported_ = false;
    stopped_ = false;
    connectionGone_ = false;
    failedText_.clear();
    const std::uint64_t id = ++operations_;
    running_ = id;
    const bool started = workers_.Spawn(name, [this, id, operation = std::move(operation)] {
        operation();
        EndOperation(id);
    });
    if (!started) {
        running_ = 0;
    }
    return started;
}

void HostSession::EndOperation(std::uint64_t id) {
    std::uint64_t running = id;
    if (running_.compare_exchange_strong(running, 0)) {
        view_.OperationEnded(failedText_.empty() ? "Idle." : failedText_);
    }
}

bool HostSession::RunLocal(const char* name, std::function<void()> operation) {
    return !closing_ && workers_.Spawn(name, std::move(operation));
}

// ---- What the user sees ----

void HostSession::LogLine(const std::string& line) {
    monitors_.log->AddLine(line);
}

void HostSession::SetBar(const std::string& text) {
    monitors_.bar->SetText(text);
}

// After the one alert of a lost connection, what failed because of it says nothing more.
void HostSession::Tell(const std::string& text) {
    if (!closing_ && !connectionGone_) {
        view_.Tell(text);
    }
}

int HostSession::Ask(const std::string& text, const std::vector<std::string>& buttons,
                     SessionView::Kind kind, int otherwise) {
    return closing_ ? otherwise : view_.Ask(text, buttons, kind, otherwise);
}

std::string HostSession::LocalDirectory() const {
    std::lock_guard lock(pathMutex_);
    return localDirectory_;
}

std::string HostSession::HostPath() const {
    std::lock_guard lock(pathMutex_);
    return hostPath_;
}

void HostSession::SetHostPath(const std::string& path) {
    std::lock_guard lock(pathMutex_);
    hostPath_ = path;
}

// ---- Log-on ----

// One alert per failed log-on: the engine has told any refusal in its own words, so only a
// server that was never reached is reported here, with the cause on a line of its own.
void HostSession::ReportUnreachable(const FTPcommand& command, const char* what) {
    if (!command.Unreachable().empty()) {
        Tell(std::string(what) + "\n" + command.Unreachable());
    }
}

int HostSession::Logon(const LogOnRecipe& recipe) {
    loggingOn_ = true;
    recipe_ = recipe;
    const std::string line = "LOGIN to " + recipe_.host + " ... (40s time out)";
    LogLine(line);
    if (recipe_.firewall) {
        LogLine("Firewall selected.");
    }
    monitors_.status->SetTypeOperation(line);
    Secure(*ftp_);
    const bool loggedOn =
        recipe_.firewall
            ? LogOnThroughFirewall(*ftp_, true)
            : ftp_->Init(recipe_.host.c_str(), recipe_.port.c_str(), recipe_.user.c_str(),
                         recipe_.password.c_str(), &logOnClock_) == 0;
    if (!loggedOn) {
        // A log-on stopped by closing the view needs no word.
        if (!recipe_.firewall && !closing_) {
            ReportUnreachable(*ftp_, kHostUnreachable);
        }
        loggingOn_ = false;
        view_.LogOnFailed();
        return 1;
    }
    connected_ = true;
    // From here on the session tells what fails, after it has tried again.
    ftp_->SetQuiet(true);
    view_.LoggedOn(ftp_->IsControlProtected(), ftp_->IsDataProtected());
    ftp_->SetNextActivePort(firstDataPort_);
    SetBar("Selecting STREAM MODE...");
    ftp_->MODESTREAM();
    UpdateClient(std::nullopt);
    UpdateServeur(recipe_.startPath);
    if (recipe_.localDirectory && !recipe_.localDirectory->empty()) {
        UpdateClient(recipe_.localDirectory);
    }
    if (recipe_.hostDirectory && !recipe_.hostDirectory->empty() &&
        UpdateServeur(recipe_.hostDirectory) != 0) {
        Tell("Invalid offset directory.");
    }
    firstListing_ = false;
    loggingOn_ = false;
    return 0;
}

// Connects to the firewall, sends its user, password and command line by line, then logs on
// to the host over the same connection. The session's own log-on reports failures as it goes.
bool HostSession::LogOnThroughFirewall(FTPcommand& command, bool session) {
    StatusMonitor* status = session ? &logOnClock_ : nullptr;
    command.Conceal(recipe_.firewallPassword);
    command.Conceal(recipe_.password);  // the firewall command may carry it (%p)
    if (command.Init(recipe_.firewallHost.c_str(), recipe_.firewallPort.c_str(), nullptr, nullptr,
                     nullptr) != 0) {
        ReportUnreachable(command, kFirewallUnreachable);
        return false;
    }
    // Each line gets its reply read, so that the log-on after them reads its own.
    auto say = [&](const std::string& line) {
        const int result = command.Quote(line.c_str());
        if (result != 0) {
            Tell(result == 1 ? std::string("The firewall did not answer.")
                             : "The firewall refused the log-on:\n" + command.LastReplyText());
        }
        return result == 0;
    };
    if (!say(recipe_.firewallUser) || !say(recipe_.firewallPassword)) {
        return false;
    }
    if (session) {
        LogLine("Firewall command...");
    }
    if (!say(recipe_.firewallCommand)) {
        return false;
    }
    if (session) {
        LogLine("Firewall command sent");
    }
    std::string login = recipe_.user;
    if (recipe_.firewallCommand.find("USER") != std::string::npos) {
        login.clear();  // the command carried the user already
    }
    if (command.Init(nullptr, nullptr, login.c_str(), recipe_.password.c_str(), status) != 0) {
        ReportUnreachable(command, kHostUnreachable);
        return false;
    }
    return true;
}

// TLS as the recipe asks, and the user's say on a certificate that does not verify and on a
// host that offers no TLS; both are asked from the worker and wait for the user.
void HostSession::Secure(FTPcommand& command) {
    command.SetSecurity(recipe_.security);
    std::shared_ptr<CertificateTrust> trust = recipe_.trust;
    if (!trust) {
        return;
    }
    command.SetPlainCheck(
        [this, trust](const std::string& host, int port, const std::string& refusal) {
            return MayGoOnInClear(*trust, host, port, refusal);
        });
    command.SetCertificateCheck([this, trust](const TlsConnection::Certificate& certificate,
                                              const std::string& host, int port) {
        const auto verdict = trust->Judge(host, port, certificate.sha256);
        if (verdict == CertificateTrust::Verdict::Trusted) {
            return true;
        }
        const int answer =
            Ask(CertificateQuestion(certificate, host, port,
                                    verdict == CertificateTrust::Verdict::Changed),
                {"Trust always", "This time", "Cancel"}, SessionView::Kind::Warning, 2);
        if (answer == 0 && !trust->TrustAlways(host, port, certificate.sha256)) {
            Tell(
                "The trusted certificates could not be saved: this one is trusted until "
                "Tarvik ends.");
        }
        if (answer == 1) {
            trust->TrustThisTime(host, port, certificate.sha256);
        }
        return answer == 0 || answer == 1;
    });
}

// A host that showed a trusted certificate before is never logged on to in clear: a refusal of
// TLS there is what a man in the middle does. Another is asked about once.
bool HostSession::MayGoOnInClear(CertificateTrust& trust, const std::string& host, int port,
                                 const std::string& refusal) {
    const std::string where = host + ":" + std::to_string(port);
    if (trust.IsPinned(host, port)) {
        Tell(where +
             " refused TLS, though you trusted its certificate before: someone may stand "
             "between you and the server. The log-on stopped before the user name and password "
             "were sent.\n\nThe server said: " +
             refusal);
        return false;
    }
    // One question at a time: sessions to one host that start together are asked once.
    static std::mutex asking;
    std::lock_guard oneAtATime(asking);
    if (trust.AcceptsPlain(host, port)) {
        return true;
    }
    if (Ask(host + " does not offer TLS: the password would travel in clear. Go on?",
            {"Go on", "Cancel"}, SessionView::Kind::Warning, 1) != 0) {
        return false;
    }
    if (!trust.AcceptPlain(host, port)) {
        Tell("Your answer could not be saved: it holds until Tarvik ends.");
    }
    return true;
}

std::unique_ptr<FTPcommand> HostSession::DuplicateNewConnection() {
    auto command = std::make_unique<FTPcommand>();
    command->SetNextActivePort(ftp_->NextActivePort() + 500);
    command->SetMiniBase(ftp_->GetMiniBase());
    Secure(*command);
    return command;
}

bool HostSession::LogOnSecond(FTPcommand& command) {
    const bool loggedOn =
        recipe_.firewall
            ? LogOnThroughFirewall(command, false)
            : command.Init(recipe_.host.c_str(), recipe_.port.c_str(), recipe_.user.c_str(),
                           recipe_.password.c_str(), nullptr) == 0;
    if (!loggedOn) {
        if (!recipe_.firewall) {
            ReportUnreachable(command, kHostUnreachable);
        }
        return false;
    }
    command.BINARY();
    return true;
}

// ---- Connections that die ----

bool HostSession::Reconnect() {
    if (stopped_ || closing_ || connectionGone_) {
        return false;
    }
    const std::string cause = ftp_->LostReason();
    LogLine("Connection lost: reconnecting...");
    ftp_->Rearm();
    const bool loggedOn =
        recipe_.firewall ? LogOnThroughFirewall(*ftp_, false)
                         : ftp_->Init(recipe_.host.c_str(), recipe_.port.c_str(),
                                      recipe_.user.c_str(), recipe_.password.c_str(), nullptr) == 0;
    if (!loggedOn) {
        // A refusal has been told in the server's words; an unreachable server is told here.
        const std::string why = ftp_->Unreachable();
        ConnectionGone("was lost and could not be made again: " +
                       (why.empty() ? cause : cause + "; " + why));
        return false;
    }
    connectionType_ = 2;
    ftp_->MODESTREAM();
    const std::string folder = HostPath();
    if (!folder.empty() && ftp_->CWD(folder.c_str()) != 0) {
        ConnectionGone("was lost and could not be made again: " + cause + "; the folder " + folder +
                       " could not be entered again");
        return false;
    }
    LogLine("Connection made again.");
    return true;
}

void HostSession::ConnectionGone(const std::string& what) {
    if (!connectionGone_.exchange(true) && !closing_ && !stopped_) {
        view_.Tell("The connection to " + recipe_.host + " " + what + ".");
    }
}

bool HostSession::Pause(FTPcommand& command, int seconds) {
    for (int left = seconds * 20; left > 0; --left) {
        if (closing_ || command.IsStopped() || (&command == ftp_.get() && stopped_)) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return !closing_;
}

// ---- Local side ----

void HostSession::SetLocalDirectory(const std::string& path) {
    std::lock_guard lock(pathMutex_);
    localDirectory_ = path;
}

LocalListing::Contents HostSession::UpdateClient(const std::optional<std::string>& directory) {
    LogLine("UPDATING local listing...");
    std::string target = LocalListing::Resolve(LocalDirectory(), directory ? &*directory : nullptr);
    SetLocalDirectory(target);
    LogLine(target);
    LocalListing::Contents contents = LocalListing::Read(target);
    ListingSort::SortList(contents.directories);
    ListingSort::SortList(contents.files);
    Items directories{{"..", EntryStringItem::Directory, HostPath::Child(target, ".."), 0},
                      {"/", EntryStringItem::Directory, "/", 0}};
    directories.insert(directories.end(), contents.directories.begin(), contents.directories.end());
    view_.ShowLocalLists(std::move(directories), contents.files, target);
    return contents;
}

void HostSession::CDLOCAL(const std::string& directory) {
    if (directory.empty()) {
        Tell("Please enter a local directory name\nfor the cd operation.");
        return;
    }
    UpdateClient(directory);
}

// ---- Host side ----

void HostSession::ShowHostLists(HostLists lists) {
    view_.ShowHostLists(std::move(lists.directories), std::move(lists.files));
}

int HostSession::UpdateServeur(const std::optional<std::string>& directory, HostLists* shown) {
    StatusMonitor& status = *monitors_.status;
    status.Reset();
    SetBar("UPDATING host listing...");
    LogLine("UPDATING host listing...");
    status.SetTypeOperation("UPDATING host listing...");
    HostLists lists;
    if (OnLiveConnection([&] { return ListHostFolder(directory, &lists); }) != 0) {
        failedText_ = "Error: the listing is incomplete.";
        return 1;
    }
    if (directory) {
        LogLine(*directory);
    }
    ShowHostFolder(lists.path, true);
    if (shown != nullptr) {
        *shown = lists;
    }
    ShowHostLists(std::move(lists));
    return 0;
}

// Lists the folder `directory` of the current one (none: the current one) and keeps it in the
// cache under the path the host gives; nothing shows. 0 for a whole listing.
int HostSession::ListHostFolder(const std::optional<std::string>& directory, HostLists* lists) {
    StatusMonitor& status = *monitors_.status;
    if (connectionType_ == 1) {
        // Listings are taken in the host's default type: only a binary session is switched back.
        status.SetTypeOperation("UPDATING host listing... SENDING MODE...");
        SetBar("UPDATING host listing... SENDING MODE...");
        ftp_->ASCII();
        connectionType_ = 0;
    }
    if (directory) {
        status.SetTypeOperation("UPDATING host listing...SENDING COMMAND...");
        if (ftp_->CWD(directory->c_str()) != 0) {
            SetBar("Error");
            return 1;
        }
    }
    status.SetTypeOperation(firstListing_ ? "UPDATING host listing... WAITING for reply."
                                          : "UPDATING host listing... DELETING lists...");
    SetBar("UPDATING host listing... WAITING for reply.");
    Items directories;
    Items files;
    if (ReceiveListing(&files, &directories) != 0) {
        SetBar("Error: the listing is incomplete.");  // and neither shown nor cached
        return 1;
    }
    auto progress = [this](const std::string& text) { SetBar(text); };
    ListingSort::SortList(directories, progress);
    ListingSort::SortList(files, progress);
    directories.insert(directories.begin(), {"..", EntryStringItem::Directory, {}, 0});
    status.SetTypeOperation("Jumping to directory...");
    *lists = {std::make_shared<const Items>(std::move(directories)),
              std::make_shared<const Items>(std::move(files)), AskHostPath().value_or("")};
    if (!lists->path.empty()) {
        SetBar("Adding to cache...");
        cache_.Add(lists->path.c_str(), lists->directories, lists->files);
    }
    return 0;
}

// The current folder's listing, taken again when its data connection failed for a cause that may
// pass; a lost control connection is left to the caller, which makes it again and enters the
// folder once more.
int HostSession::ReceiveListing(Items* files, Items* directories) {
    // The raw lines only go to a Full Listing window that is open: nothing else keeps them.
    ListingMonitor* lines = fullListingShown_ ? monitors_.fullListing : nullptr;
    for (int attempt = 0;; ++attempt) {
        files->clear();
        directories->clear();
        const int result = ftp_->LISTING(nullptr, files, directories, monitors_.status, passive_,
                                         lines, monitors_.bar);
        if (result == 0 || ftp_->LastFailure() != FTPcommand::Failure::Transient ||
            attempt == static_cast<int>(std::size(kRetryPauses)) || stopped_) {
            return result;
        }
        ftp_->ReadPending();
        if (ftp_->ConnectionLost()) {
            return result;
        }
        const int pause = kRetryPauses[attempt];
        LogLine("The listing did not arrive whole: trying again in " + std::to_string(pause) +
                " s.");
        if (!Pause(*ftp_, pause)) {
            return result;
        }
    }
}

// Enters the folder `name` of the current one, without listing it.
int HostSession::EnterHostFolder(const std::string& name) {
    return OnLiveConnection([&] {
        if (ftp_->CWD(name.c_str()) != 0) {
            return 1;
        }
        return AskHostPath() ? 0 : 1;
    });
}

// Where the host says the session is now; nothing when it does not say.
std::optional<std::string> HostSession::AskHostPath() {
    std::optional<std::string> path = ftp_->PWD();
    if (path) {
        SetHostPath(*path);
    }
    return path;
}

// Asks the host where it is and shows it.
void HostSession::PWDThread() {
    std::optional<std::string> path = AskHostPath();
    ShowHostFolder(path ? *path : std::string(), false);
}

// The host's path in the view, "Not available." when the host did not tell it; a folder just
// `listed` goes to the history.
void HostSession::ShowHostFolder(const std::string& path, bool listed) {
    if (path.empty()) {
        view_.ShowHostPath("Not available.");
        return;
    }
    SetBar("Idle");
    view_.ShowHostPath(" Host: " + HostPath::WithSlash(path));
    view_.HostFolderListed(path, listed);
}

void HostSession::CDDISTANT(const std::string& directory) {
    if (directory.empty()) {
        Tell("Please enter a host directory name\nfor the cd operation.");
        return;
    }
    std::string current = HostPath();
    std::string target =
        directory == ".." ? HostPath::Parent(current) : HostPath::Child(current, directory);
    SetBar("Cache request...");
    HostLists cached{cache_.SearchDIRECTORY(target.c_str()), cache_.SearchFILE(target.c_str()),
                     target};
    // An open Full Listing shows the server's lines, which only a new listing brings.
    bool hit = !fullListingShown_ && cached.directories && cached.files;
    if (!hit) {
        if (UpdateServeur(directory) != 0) {
            Tell("Impossible to change host directory.");
            return;
        }
        SetBar("Idle.");
        return;
    }
    SetBar("Cache OK, Changing host directory...");
    // The lists change only once the host has agreed to the change.
    if (OnLiveConnection([&] { return ftp_->CWD(directory.c_str()); }) != 0) {
        Tell("Impossible to change host directory.");
        return;
    }
    SetBar("Cache request...ok");
    ftp_->SetMiniBase(MiniBase::Of(*cached.files));
    ShowHostLists(std::move(cached));
    PWDThread();
    SetBar("Idle.");
}

// ---- Host file commands ----

void HostSession::MKDDISTANT(const std::string& name) {
    monitors_.status->SetNameFichier(name);
    monitors_.status->SetTypeOperation("CREATING directory...");
    if (OnLiveConnection([&] { return ftp_->MKD(name.c_str()); }) != 0) {
        Tell("Impossible to create this directory.\n" + ftp_->LastReplyText());
    }
    UpdateServeur(std::nullopt);
}

void HostSession::RMDDISTANT(const std::string& name) {
    monitors_.status->SetNameFichier(name);
    monitors_.status->SetTypeOperation("DELETING directory...");
    if (OnLiveConnection([&] { return ftp_->RMD(name.c_str()); }) != 0) {
        Tell("Impossible to delete this directory.\n(Not found/Not empty/No access.)");
    }
    UpdateServeur(std::nullopt);
}

void HostSession::DELDISTANT(const std::vector<std::string>& names) {
    StatusMonitor& status = *monitors_.status;
    view_.ShowStatus(true);
    const int count = static_cast<int>(names.size());
    for (int i = 0; i < count; ++i) {
        status.SetNbFile(i + 1, count);
        status.SetNameFichier(names[static_cast<std::size_t>(i)]);
        status.SetTypeOperation("DELETING file...");
        status.SetMax(1);
        const char* name = names[static_cast<std::size_t>(i)].c_str();
        if (OnLiveConnection([&] { return ftp_->DELE(name); }) != 0) {
            Tell("Impossible to delete this file.\n(Not found/No access)");
        } else {
            status.SetNbOctet(1);
        }
    }
    status.SetMax(100);
    UpdateServeur(std::nullopt);
}

void HostSession::RenameHost(const std::string& from, const std::string& to) {
    if (OnLiveConnection([&] { return ftp_->RENAME(from.c_str(), to.c_str()); }) != 0) {
        Tell("Impossible to rename this entry.");
    }
    UpdateServeur(std::nullopt);
}

// Each file goes to the session's private view folder, then to the desktop's viewer.
void HostSession::VIEWDISTANT(const std::vector<std::string>& names) {
    StatusMonitor& status = *monitors_.status;
    view_.ShowStatus(true);
    const bool binary = binary_;
    SetType(*ftp_, connectionType_, binary);
    for (const std::string& name : names) {
        status.SetNameFichier(name);
        status.SetTypeOperation(binary ? "BINARY View file..." : "ASCII View file...");
        const int result = OnLiveConnection([&] {
            SetType(*ftp_, connectionType_, binary);
            return binary ? ftp_->GETBINARY(name.c_str(), "", &status, passive_, true)
                          : ftp_->GETASCII(name.c_str(), "", &status, passive_, true);
        });
        const std::string path = viewFolder_->Path() + name;
        if (result != 0 || viewFolder_->Path().empty()) {
            Tell("Impossible to view " + Quoted(path));
        } else {
            view_.OpenFetched(path);
        }
    }
}

// ---- Stop and end ----

void HostSession::Stop() {
    stopped_ = true;
    ftp_->STOP();
}

// The session goes without waiting for anyone: it stops what runs, stops its second
// connections, and says goodbye on a worker when it was logged on and idle.
void HostSession::Close() {
    const bool wasBusy = running_ != 0 || loggingOn_;
    {
        std::lock_guard lock(detachedMutex_);
        closing_ = true;
        for (FTPcommand* connection : detached_) {
            connection->STOP();
        }
    }
    if (wasBusy) {
        ftp_->STOP();
    } else if (connected_) {
        workers_.Spawn("ThreadQUIT", [this] {
            ftp_->SetTimeout(kQuitTimeoutMs);
            ftp_->QUIT();
        });
    }
}
