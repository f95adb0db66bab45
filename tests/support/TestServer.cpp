#include "TestServer.h"

#include <pwd.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <random>
#include <regex>
#include <set>
#include <stdexcept>

#include "LocalPort.h"
#include "PyFtpServer.h"

#if !defined(TARVIK_TEST_SUPPORT_DIR) || !defined(TARVIK_FTP_SERVERS_DIR) || \
    !defined(TARVIK_SYSLOG_TO_FILE)
#error "TARVIK_TEST_SUPPORT_DIR, TARVIK_FTP_SERVERS_DIR and TARVIK_SYSLOG_TO_FILE must be defined"
#endif

namespace fs = std::filesystem;

TestServer::TestServer(std::string name) : name_(std::move(name)) {
    fs::create_directories(Pub());
    const auto open = fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                      fs::perms::others_read | fs::perms::others_exec;
    fs::permissions(folder_.Path(), open);
    fs::permissions(root_, open);
    fs::permissions(Pub(), fs::perms::all);
}

void TestServer::Launch(const std::vector<std::string>& arguments, const std::string& hint) {
    process_ = std::make_unique<ChildProcess>(arguments);
    if (!WaitUntilListening(port_, *process_)) {
        throw std::runtime_error(name_ + " did not start (" + hint +
                                 "): " + TempDir::Read(folder_ / "server.log"));
    }
}

std::vector<std::vector<std::string>> TestServer::LogMatches(const std::string& pattern) const {
    const std::regex regex(pattern);
    std::vector<std::vector<std::string>> found;
    std::ifstream in(log_);
    for (std::string line; std::getline(in, line);) {
        if (std::smatch match; std::regex_search(line, match, regex)) {
            found.emplace_back(match.begin(), match.end());
        }
    }
    return found;
}

std::vector<std::string> TestServer::Commands(const std::string& pattern) const {
    std::vector<std::string> commands;
    for (const auto& match : LogMatches(pattern)) {
        commands.push_back(match[1]);
    }
    return commands;
}

std::string RandomBytes(std::size_t size, unsigned seed) {
    std::mt19937 generator(seed);
    std::string bytes(size, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(generator());
    }
    return bytes;
}

PyFtpServer::PyFtpServer(std::vector<Account> accounts, int bytesPerSecond,
                         const std::string& address, const std::vector<std::string>& extra)
    : TestServer("pyftpdlib"), accounts_(std::move(accounts)) {
    // Debian's interpreter: the python3 first on PATH may be another one, without pyftpdlib.
    std::vector<std::string> arguments = {"/usr/bin/python3", TARVIK_TEST_SUPPORT_DIR "/ftpd.py"};
    arguments.insert(arguments.end(), {"--root", root_.string(), "--log", log_.string()});
    arguments.insert(arguments.end(),
                     {"--address", address, "--rate", std::to_string(bytesPerSecond)});
    for (const auto& account : accounts_) {
        arguments.insert(arguments.end(), {"--user", account.name + ":" + account.password});
    }
    arguments.insert(arguments.end(), extra.begin(), extra.end());
    process_ = std::make_unique<ChildProcess>(arguments);
    // It prints the port it listens on, or ends.
    std::string line = process_->ReadLine();
    port_ = line.empty() ? 0 : std::stoi(line);
    if (port_ <= 0) {
        throw std::runtime_error("pyftpdlib did not start (is python3-pyftpdlib installed?)");
    }
}

namespace {

fs::path Unpacked(const std::string& file) {
    const fs::path path = fs::path(TARVIK_FTP_SERVERS_DIR) / file;
    if (!fs::exists(path)) {
        throw std::runtime_error(path.string() + " is missing: run scripts/ftp-servers.sh " +
                                 TARVIK_FTP_SERVERS_DIR);
    }
    return path;
}

// Debian's vsftpd standalone, anonymous log-on with uploads into /pub.
class VsftpdServer : public TestServer {
public:
    explicit VsftpdServer(const std::string& extraConfig) : TestServer("vsftpd") {
        // vsftpd refuses an anonymous root that its user can write: uploads go to /pub.
        fs::create_directories(folder_ / "empty");
        port_ = FreeLocalPort();
        const fs::path config = TempDir::WriteFile(
            folder_ / "vsftpd.conf",
            "listen=YES\nlisten_ipv6=NO\nlisten_address=127.0.0.1\nlisten_port=" + PortText() +
                "\nbackground=NO\nanonymous_enable=YES\nlocal_enable=NO\nwrite_enable=YES\n"
                "anon_upload_enable=YES\nanon_mkdir_write_enable=YES\n"
                "anon_other_write_enable=YES\nanon_umask=022\nno_anon_password=YES\n"
                "seccomp_sandbox=NO\nanon_root=" +
                root_.string() + "\nsecure_chroot_dir=" + (folder_ / "empty").string() +
                "\nxferlog_enable=YES\nxferlog_std_format=NO\nlog_ftp_protocol=YES\n"
                "vsftpd_log_file=" +
                log_.string() + "\n" + extraConfig +
                (geteuid() != 0 ? "run_as_launching_user=YES\n" : ""));
        Launch({"/usr/sbin/vsftpd", config.string()}, "is vsftpd installed?");
    }

    std::vector<std::string> Commands() const override {
        return TestServer::Commands(R"re(FTP command: Client "[^"]*", "(.*)"$)re");
    }
};

// Debian's proftpd, unpacked by scripts/ftp-servers.sh, anonymous log-on with uploads anywhere.
// Not as root it runs in a user namespace of its own, where it may chroot the anonymous session.
class ProftpdServer : public TestServer {
public:
    ProftpdServer() : TestServer("proftpd") {
        const fs::path binary = Unpacked("proftpd/usr/sbin/proftpd");
        // As root the sessions run as nobody; in the user namespace root is the only user there
        // is, hence RootLogin.
        const bool root = geteuid() == 0;
        const std::string user = root ? "nobody" : "root";
        const std::string group = root ? "nogroup" : "root";
        port_ = FreeLocalPort();
        const fs::path config = TempDir::WriteFile(
            folder_ / "proftpd.conf",
            "ServerType standalone\nDefaultAddress 127.0.0.1\nSocketBindTight on\nUseIPv6 off\n"
            "Port " +
                PortText() + "\nUser " + user + "\nGroup " + group + "\nPidFile " +
                (folder_ / "proftpd.pid").string() + "\nScoreboardFile " +
                (folder_ / "proftpd.scoreboard").string() + "\nSystemLog " +
                (folder_ / "server.log").string() +
                "\nDelayEngine off\nWtmpLog off\nTransferLog none\nControlsEngine off\n"
                "UseReverseDNS off\nRequireValidShell off\nUseFtpUsers off\n"
                "AuthOrder mod_auth_unix.c\nUmask 022\nAllowOverwrite on\nAllowStoreRestart on\n"
                // Its trace, unlike its ExtendedLog, has each command before the reply goes out.
                "TraceLog " +
                log_.string() + "\nTrace command:7 response:9\n<Anonymous " + root_.string() +
                ">\n  User " + user + "\n  Group " + group + "\n  UserAlias anonymous " + user +
                "\n  RootLogin on\n</Anonymous>\n");
        std::vector<std::string> arguments{binary.string(), "-n", "-q", "-c", config.string()};
        if (!root) {
            arguments.insert(arguments.begin(),
                             {"/usr/bin/unshare", "--user", "--map-root-user", "--mount"});
        }
        Launch(arguments, "missing libraries? see scripts/deps.sh");
    }

    std::vector<std::string> Commands() const override {
        // Each session traces, in turn: "[pid] <response:9>: clearing response lists before
        // dispatching command 'CWD'", then "[pid] <command:7>: dispatching PRE_CMD command
        // 'CWD /pub' to mod_core.c" once for each module that looks at it. PASS shows as
        // "PASS (hidden)".
        std::vector<std::string> commands;
        std::set<std::string> starting;
        for (const auto& match :
             LogMatches(R"(\[(\d+)\] <\w+:\d>: (?:clearing response lists )"
                        R"(before dispatching|dispatching PRE_CMD command '(.*)' to mod_))")) {
            if (!match[2].empty() && starting.erase(match[1]) > 0) {
                commands.push_back(match[2]);
            } else if (match[2].empty()) {
                starting.insert(match[1]);
            }
        }
        return commands;
    }
};

// Password() as a SHA-512 crypt, made by: openssl passwd -6 -salt tarvik s3cret
constexpr const char* kPasswordHash =
    "$6$tarvik$xgCs8tRDwNY2y3Se.944.N.CzjxxKCKg1QUYzVWCzwSux3KSj8aAZiHh8MpJSD2Wp."
    "xGkpKfZRZtRemB8ckG6/";

// Debian's pure-ftpd, unpacked by scripts/ftp-servers.sh, with one virtual user chrooted to the
// served folder. Root only: as another user Debian's build (with privilege separation) refuses
// every log-on.
class PureFtpdServer : public TestServer {
public:
    PureFtpdServer() : TestServer("pure-ftpd") {
        const fs::path server = Unpacked("pure-ftpd/usr/sbin/pure-ftpd");
        const fs::path pw = Unpacked("pure-ftpd/usr/bin/pure-pw");
        if (geteuid() != 0) {
            throw std::runtime_error("pure-ftpd needs root: Debian's build refuses other users");
        }
        // The virtual user works as "nobody" in its chroot.
        const passwd* nobody = getpwnam("nobody");
        if (nobody == nullptr) {
            throw std::runtime_error("no user nobody for pure-ftpd's virtual user");
        }
        // pure-pw's text format: name:hash:uid:gid:gecos:home, then 12 limits left empty.
        const fs::path users =
            TempDir::WriteFile(folder_ / "users.txt",
                               User() + ":" + kPasswordHash + ":" + std::to_string(nobody->pw_uid) +
                                   ":" + std::to_string(nobody->pw_gid) + "::" + root_.string() +
                                   std::string(12, ':') + "\n");
        const std::string database = (folder_ / "users.pdb").string();
        if (ChildProcess({pw.string(), "mkdb", database, "-f", users.string()}).Wait() != 0) {
            throw std::runtime_error("pure-pw could not make the user database");
        }
        port_ = FreeLocalPort();
        // In a process group of its own, to end its sessions with it. -E no anonymous, -A chroot,
        // -H no name look-ups, -d log every command (to syslog, which the preload turns into
        // log_).
        Launch({"/usr/bin/setsid", "/usr/bin/env", "LD_PRELOAD=" TARVIK_SYSLOG_TO_FILE,
                "TARVIK_SYSLOG_FILE=" + log_.string(), server.string(), "-S",
                "127.0.0.1," + PortText(), "-l", "puredb:" + database, "-E", "-A", "-H", "-d", "-g",
                (folder_ / "pure-ftpd.pid").string()},
               "missing libraries? see scripts/deps.sh");
    }

    ~PureFtpdServer() override {
        // Sessions outlive the server, and hold the test's standard error open.
        if (process_ && process_->Running()) {
            kill(-process_->Pid(), SIGTERM);
        }
    }

    std::string User() const override { return "tester"; }
    std::string Password() const override { return "s3cret"; }

    std::vector<std::string> Commands() const override {
        // (tester@127.0.0.1) [DEBUG] Command [cwd] [/pub]; the verb in lower case.
        std::vector<std::string> commands;
        for (auto match : LogMatches(R"(\[DEBUG\] Command \[([^\]]*)\] \[(.*)\]$)")) {
            std::transform(match[1].begin(), match[1].end(), match[1].begin(), ::toupper);
            commands.push_back(match[2].empty() ? match[1] : match[1] + " " + match[2]);
        }
        return commands;
    }
};

}  // namespace

std::unique_ptr<TestServer> StartVsftpd(const std::string& extraConfig) {
    return std::make_unique<VsftpdServer>(extraConfig);
}

std::unique_ptr<TestServer> StartTestServer(const std::string& kind) {
    if (kind == "pyftpdlib") {
        return std::make_unique<PyFtpServer>();
    }
    if (kind == "vsftpd") {
        return StartVsftpd();
    }
    if (kind == "pure-ftpd") {
        return std::make_unique<PureFtpdServer>();
    }
    if (kind == "proftpd") {
        return std::make_unique<ProftpdServer>();
    }
    throw std::invalid_argument("unknown test server " + kind);
}
