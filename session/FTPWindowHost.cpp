// The session window's worker side: log-on, listings, changes of directory, second connections.
// Everything here runs on worker threads and reaches widgets only through Post.
#include <QLabel>
#include <QPushButton>
#include <QTimer>

#include <mutex>

#include "Alert.h"
#include "CertificateTrust.h"
#include "CrossThread.h"
#include "DirWindow.h"
#include "FTPWindow.h"
#include "FTPcommand.h"
#include "HostPath.h"
#include "LPBListView.h"
#include "ListingSort.h"
#include "LocalFile.h"
#include "LocalListing.h"
#include "LogOnClock.h"
#include "LogWindow.h"
#include "MessageCodes.h"
#include "PathLabel.h"
#include "StatusBar.h"
#include "StatusWindow.h"

namespace {

const char* const kHostUnreachable = "Impossible connection\nHost unreachable.";
const char* const kFirewallUnreachable = "Impossible connection\nFirewall unreachable.";

}  // namespace

// One alert per failed log-on: the engine has told any refusal in its own words, so only a
// server that was never reached is reported here, with the cause on a line of its own.
void FTPWindow::ReportUnreachable(const FTPcommand& command, const char* what) {
    if (!command.Unreachable().empty()) {
        Alert::Go(std::string(what) + "\n" + command.Unreachable());
    }
}

void FTPWindow::LogLine(const std::string& line) {
    log_->AddLine(line);
}

void FTPWindow::SetBar(const std::string& text) {
    statusBar_->SetText(text);
}

void FTPWindow::SetHostLabel(const std::string& text) {
    Post(this, [this, text] { ui_.hostLabel->SetFullText(text); });
}

void FTPWindow::Init(LogOn logOn) {
    loggingOn_ = true;
    Post(this, [this, logOn = std::move(logOn)] {
        logOn_ = logOn;
        RemoteStart();
        StartLogOnClock();
        threads_.Spawn("ThreadLOGIN", [this, logOn] { Logon(logOn); });
    });
}

// Once a second while the log-on waits, the status window tells how long it may still wait.
void FTPWindow::StartLogOnClock() {
    if (!logOnClock_) {
        logOnClock_ = std::make_unique<LogOnClock>(status_, ftp_->Timeout());
    }
    auto* timer = new QTimer(this);
    connect(timer, &QTimer::timeout, this, [this, timer] {
        if (!loggingOn_) {
            timer->deleteLater();
        } else if (const std::string line = logOnClock_->Line(); !line.empty()) {
            status_->SetTypeOperation(line);
        }
    });
    timer->start(1000);
}

int FTPWindow::Logon(const LogOn& logOn) {
    std::string line = "LOGIN to " + host_ + " ... (40s time out)";
    LogLine(line);
    if (logOn.firewall) {
        LogLine("Firewall selected.");
    }
    Post(this, [this, line] {
        status_->SetTitle(host_);
        status_->SetEnabledSHControl(false);
        status_->show();
        status_->SetTypeOperation(line);
    });
    ftp_->SetLog(log_);
    Secure(*ftp_, logOn);
    int result = logOn.firewall ? LogOnThroughFirewall(*ftp_, logOn, true)
                                : ftp_->Init(host_.c_str(), logOn.port.c_str(), login_.c_str(),
                                             password_.c_str(), logOnClock_.get());
    if (result != 0) {
        // A log-on stopped by closing the window needs no word.
        if (!logOn.firewall && !closing_) {
            ReportUnreachable(*ftp_, kHostUnreachable);
        }
        quickQuit_ = quickQuit_ || !logOn.firewall;
        loggingOn_ = false;
        RemoteEnd();
        PostMessage(Message(kQuitRequested));
        return result;
    }
    connected_ = true;
    const bool controlProtected = ftp_->IsControlProtected();
    const bool dataProtected = ftp_->IsDataProtected();
    Post(this, [this, controlProtected, dataProtected] {
        ShowSecurity(controlProtected, dataProtected);
    });
    ftp_->SetNextActivePort(firstDataPort_);
    SetBar("Selecting STREAM MODE...");
    ftp_->MODESTREAM();
    UpdateClient(std::nullopt);
    UpdateServeur(logOn.startPath);
    if (logOn.localDirectory && !logOn.localDirectory->empty()) {
        UpdateClient(logOn.localDirectory);
    }
    if (logOn.hostDirectory && !logOn.hostDirectory->empty() &&
        UpdateServeur(logOn.hostDirectory) != 0) {
        Tell("Invalid offset directory.");
    }
    firstListing_ = false;
    loggingOn_ = false;
    RemoteEnd();
    Post(this, [this] {
        if (isHidden() && !closing_) {
            show();
        }
    });
    return 0;
}

// A session in clear says so beside the host's path, where the eye is; one under TLS shows it.
void FTPWindow::ShowSecurity(bool controlProtected, bool dataProtected) {
    QLabel* mark = ui_.securityMark;
    const char* style =
        "QLabel { color: white; background: rgb(170,30,30); padding: 3px 6px;"
        " border-radius: 3px; font-weight: bold; }";
    if (!controlProtected) {
        mark->setText(tr("Not encrypted"));
        mark->setToolTip(tr("The password, the commands and the files travel in clear."));
    } else if (!dataProtected) {
        mark->setText(tr("Files not encrypted"));
        mark->setToolTip(tr("The log-on travels under TLS; the files travel in clear."));
    } else {
        mark->setText(tr("TLS"));
        mark->setToolTip(tr("The log-on, the commands and the files travel under TLS."));
        style =
            "QLabel { color: white; background: rgb(40,120,60); padding: 3px 6px;"
            " border-radius: 3px; font-weight: bold; }";
    }
    mark->setStyleSheet(style);
    mark->setAccessibleName(mark->text());
    mark->show();
}

// Connects to the firewall, sends its user, password and command line by line, then logs on
// to the host over the same connection. The session's own log-on reports failures as it goes.
int FTPWindow::LogOnThroughFirewall(FTPcommand& command, const LogOn& logOn, bool session) {
    StatusMonitor* status = session ? logOnClock_.get() : nullptr;
    command.Conceal(logOn.firewallPassword);
    command.Conceal(password_);  // the firewall command may carry it (%p)
    if (command.Init(logOn.firewallHost.c_str(), logOn.firewallPort.c_str(), nullptr, nullptr,
                     nullptr) != 0) {
        if (!closing_) {
            ReportUnreachable(command, kFirewallUnreachable);
        }
        if (session) {
            quickQuit_ = true;
        }
        return 1;
    }
    // Each line gets its reply read, so that the log-on after them reads its own.
    auto say = [&](const std::string& line) {
        int result = command.Quote(line.c_str());
        if (result != 0 && session) {
            quickQuit_ = true;  // as when the firewall cannot be reached
        }
        if (result != 0 && !closing_) {
            Alert::Go(result == 1 ? std::string("The firewall did not answer.")
                                  : "The firewall refused the log-on:\n" + command.LastReplyText());
        }
        return result;
    };
    for (const std::string* line : {&logOn.firewallUser, &logOn.firewallPassword}) {
        if (int result = say(*line); result != 0) {
            return result;
        }
    }
    if (session) {
        LogLine("Firewall command...");
    }
    if (int result = say(logOn.firewallCommand); result != 0) {
        return result;
    }
    if (session) {
        LogLine("Firewall command sent");
    }
    std::string login = login_;
    if (logOn.firewallCommand.find("USER") != std::string::npos) {
        login.clear();  // the command carried the user already
    }
    if (command.Init(nullptr, nullptr, login.c_str(), password_.c_str(), status) != 0) {
        if (!closing_) {
            ReportUnreachable(command, kHostUnreachable);
        }
        return 1;
    }
    return 0;
}

namespace {

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

// A host that showed a trusted certificate before is never logged on to in clear: a refusal of
// TLS there is what a man in the middle does. Another is asked about once.
bool FTPWindow::MayGoOnInClear(CertificateTrust& trust, const std::string& host, int port,
                               const std::string& refusal) {
    const std::string where = host + ":" + std::to_string(port);
    if (trust.IsPinned(host, port)) {
        Alert::Go(where +
                  " refused TLS, though you trusted its certificate before: someone may "
                  "stand between you and the server. The log-on stopped before the user "
                  "name and password were sent.\n\nThe server said: " +
                  refusal);
        return false;
    }
    // One question at a time: sessions to one host that start together are asked once.
    static std::mutex asking;
    std::lock_guard oneAtATime(asking);
    if (trust.AcceptsPlain(host, port)) {
        return true;
    }
    if (Alert::Go(host + " does not offer TLS: the password would travel in clear. Go on?",
                  {"Go on", "Cancel"}, AlertKind::Warning) != 0) {
        return false;
    }
    if (!trust.AcceptPlain(host, port)) {
        Alert::Go("Your answer could not be saved: it holds until Tarvik ends.");
    }
    return true;
}

void FTPWindow::Secure(FTPcommand& command, const LogOn& logOn) {
    command.SetSecurity(logOn.security);
    std::shared_ptr<CertificateTrust> trust = logOn.trust;
    if (!trust) {
        return;
    }
    command.SetPlainCheck([trust](const std::string& host, int port, const std::string& refusal) {
        return MayGoOnInClear(*trust, host, port, refusal);
    });
    // Asked from the worker; the question waits on the GUI thread for the user.
    command.SetCertificateCheck(
        [trust](const TlsConnection::Certificate& certificate, const std::string& host, int port) {
            const auto verdict = trust->Judge(host, port, certificate.sha256);
            if (verdict == CertificateTrust::Verdict::Trusted) {
                return true;
            }
            const int answer =
                Alert::Go(CertificateQuestion(certificate, host, port,
                                              verdict == CertificateTrust::Verdict::Changed),
                          {"Trust always", "This time", "Cancel"}, AlertKind::Warning);
            if (answer == 0 && !trust->TrustAlways(host, port, certificate.sha256)) {
                Alert::Go(
                    "The trusted certificates could not be saved: this one is trusted until "
                    "Tarvik ends.");
            }
            if (answer == 1) {
                trust->TrustThisTime(host, port, certificate.sha256);
            }
            return answer == 0 || answer == 1;
        });
}

std::unique_ptr<FTPcommand> FTPWindow::DuplicateNewConnection() {
    auto command = std::make_unique<FTPcommand>();
    command->SetNextActivePort(ftp_->NextActivePort() + 500);
    command->SetMiniBase(ftp_->GetMiniBase());
    Secure(*command, logOn_);
    return command;
}

bool FTPWindow::LogOnSecond(FTPcommand& command) {
    int result = logOn_.firewall ? LogOnThroughFirewall(command, logOn_, false)
                                 : command.Init(host_.c_str(), logOn_.port.c_str(), login_.c_str(),
                                                password_.c_str(), nullptr);
    if (result != 0) {
        if (!logOn_.firewall && !closing_) {
            ReportUnreachable(command, kHostUnreachable);
        }
        return false;
    }
    command.BINARY();
    return true;
}

long long FTPWindow::LenFile(const std::string& name) const {
    return LocalFile::SizeOf(HostPath::WithSlash(LocalDirectory()) + name);
}

// ---- Local side ----

LocalListing::Contents FTPWindow::UpdateClient(const std::optional<std::string>& directory) {
    LogLine("UPDATING local listing...");
    std::string target = LocalListing::Resolve(LocalDirectory(), directory ? &*directory : nullptr);
    {
        std::lock_guard lock(pathMutex_);
        localDirectory_ = target;
    }
    LogLine(target);
    LocalListing::Contents contents = LocalListing::Read(target);
    ListingSort::SortList(contents.directories);
    ListingSort::SortList(contents.files);
    Items directories{{"..", EntryStringItem::Directory, HostPath::Child(target, ".."), 0},
                      {"/", EntryStringItem::Directory, "/", 0}};
    directories.insert(directories.end(), contents.directories.begin(), contents.directories.end());
    Post(this,
         [this, target, directories = std::move(directories), files = contents.files]() mutable {
             ui_.localDirectories->SetItems(std::move(directories));
             ui_.localFiles->SetItems(std::move(files));
             ui_.localLabel->SetFullText(" Local: " + target);
         });
    return contents;
}

void FTPWindow::CDLOCAL(const std::string& directory) {
    if (directory.empty()) {
        Tell("Please enter a local directory name\nfor the cd operation.");
        return;
    }
    UpdateClient(directory);
}

// ---- Host side ----

void FTPWindow::ShowHostLists(HostLists lists) {
    Post(this, [this, lists = std::move(lists)] {
        ui_.hostDirectories->SetShared(lists.directories);
        ui_.hostFiles->SetShared(lists.files);
    });
}

int FTPWindow::UpdateServeur(const std::optional<std::string>& directory, HostLists* shown) {
    Items directories;
    Items files;
    Post(this, [this] { status_->Reset(); });
    SetBar("UPDATING host listing...");
    LogLine("UPDATING host listing...");
    status_->SetTypeOperation("UPDATING host listing...");
    if (connectionType_ == 1) {
        // Listings are taken in the host's default type: only a binary session is switched back.
        status_->SetTypeOperation("UPDATING host listing... SENDING MODE...");
        SetBar("UPDATING host listing... SENDING MODE...");
        ftp_->ASCII();
        connectionType_ = 0;
    }
    if (directory) {
        status_->SetTypeOperation("UPDATING host listing...SENDING COMMAND...");
        if (ftp_->CWD(directory->c_str()) != 0) {
            SetBar("Error");
            return 1;
        }
    }
    status_->SetTypeOperation(firstListing_ ? "UPDATING host listing... WAITING for reply."
                                            : "UPDATING host listing... DELETING lists...");
    SetBar("UPDATING host listing... WAITING for reply.");
    // The raw lines only go to a Full Listing window that is open: nothing else keeps them.
    ListingMonitor* lines = fullListingShown_ ? fullListing_ : nullptr;
    if (ftp_->LISTING(nullptr, &files, &directories, status_, passive_, lines, statusBar_) != 0) {
        SetBar("Error: the listing is incomplete.");  // and neither shown nor cached
        return 1;
    }
    if (directory) {
        LogLine(*directory);
    }
    auto progress = [this](const std::string& text) { SetBar(text); };
    ListingSort::SortList(directories, progress);
    ListingSort::SortList(files, progress);
    directories.insert(directories.begin(), {"..", EntryStringItem::Directory, {}, 0});
    SetHostLabel("Directory request...");
    status_->SetTypeOperation("Jumping to directory...");
    HostLists lists{std::make_shared<const Items>(std::move(directories)),
                    std::make_shared<const Items>(std::move(files))};
    PWDThread(&lists);
    if (shown != nullptr) {
        *shown = lists;
    }
    ShowHostLists(std::move(lists));
    return 0;
}

void FTPWindow::PWDThread(const HostLists* listed) {
    std::optional<std::string> path = ftp_->PWD();
    if (!path) {
        SetHostLabel("Not available.");
        return;
    }
    SetBar("Adding to cache...");
    if (listed != nullptr) {
        cache_.Add(path->c_str(), listed->directories, listed->files);
        statusBar_->AddEntryInMenu(*path);
    }
    {
        std::lock_guard lock(pathMutex_);
        hostPath_ = *path;
    }
    SetBar("Idle");
    SetHostLabel(" Host: " + HostPath::WithSlash(*path));
    Post(this, [this, path = *path] {
        fullListing_->setWindowTitle(QString::fromStdString("Full Listing: " + path));
    });
}

void FTPWindow::CDDISTANT(const std::string& directory) {
    if (directory.empty()) {
        Tell("Please enter a host directory name\nfor the cd operation.");
        return;
    }
    std::string current = HostPath();
    std::string target =
        directory == ".." ? HostPath::Parent(current) : HostPath::Child(current, directory);
    SetBar("Cache request...");
    HostLists cached{cache_.SearchDIRECTORY(target.c_str()), cache_.SearchFILE(target.c_str())};
    // An open Full Listing shows the server's lines, which only a new listing brings.
    bool hit = !fullListingShown_ && cached.directories && cached.files;
    if (!hit) {
        if (UpdateServeur(directory) != 0) {
            Tell("Impossible to change host directory.");
            return;
        }
        PWDThread(nullptr);
        SetBar("Idle.");
        return;
    }
    SetBar("Cache OK, Changing host directory...");
    // The lists change only once the host has agreed to the change.
    if (ftp_->CWD(directory.c_str()) != 0) {
        Tell("Impossible to change host directory.");
        return;
    }
    SetBar("Cache request...ok");
    ftp_->SetMiniBase(MiniBase::Of(*cached.files));
    ShowHostLists(std::move(cached));
    PWDThread(nullptr);
    SetBar("Idle.");
}
