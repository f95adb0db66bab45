#include <pwd.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <stdexcept>

#include "LocalPort.h"
#include "TestServer.h"

#if !defined(TARVIK_FTP_SERVERS_DIR) || !defined(TARVIK_SYSLOG_TO_FILE)
#error "TARVIK_FTP_SERVERS_DIR and TARVIK_SYSLOG_TO_FILE must be defined"
#endif

namespace {

// Password() as a SHA-512 crypt, made by: openssl passwd -6 -salt tarvik s3cret
constexpr const char* kPasswordHash =
    "$6$tarvik$xgCs8tRDwNY2y3Se.944.N.CzjxxKCKg1QUYzVWCzwSux3KSj8aAZiHh8MpJSD2Wp."
    "xGkpKfZRZtRemB8ckG6/";

// pure-ftpd (Debian's, unpacked by scripts/ftp-servers.sh) standalone on a free port, with one
// virtual user chrooted to the served folder. Root only: as another user Debian's build (with
// privilege separation) refuses every log-on.
class PureFtpdServer : public TestServer {
public:
    PureFtpdServer() : TestServer("pure-ftpd") {
        namespace fs = std::filesystem;
        const fs::path usr = fs::path(TARVIK_FTP_SERVERS_DIR) / "pure-ftpd/usr";
        if (!fs::exists(usr / "sbin/pure-ftpd")) {
            throw std::runtime_error("pure-ftpd is not unpacked in " + usr.parent_path().string() +
                                     ": run scripts/ftp-servers.sh " TARVIK_FTP_SERVERS_DIR);
        }
        if (geteuid() != 0) {
            throw std::runtime_error(
                "pure-ftpd needs root: started as another user, Debian's "
                "build refuses every log-on");
        }
        // The virtual user works as "nobody" in its chroot.
        const passwd* nobody = getpwnam("nobody");
        if (nobody == nullptr) {
            throw std::runtime_error("no user nobody for pure-ftpd's virtual user");
        }
        // pure-pw's text format: name:hash:uid:gid:gecos:home, then 12 limits left empty.
        const std::string ids =
            std::to_string(nobody->pw_uid) + ":" + std::to_string(nobody->pw_gid);
        TempDir::WriteFile(folder_ / "users.txt", User() + ":" + kPasswordHash + ":" + ids + "::" +
                                                      root_.string() + std::string(12, ':') + "\n");
        const std::string database = (folder_ / "users.pdb").string();
        ChildProcess makeDatabase({(usr / "bin/pure-pw").string(), "mkdb", database, "-f",
                                   (folder_ / "users.txt").string()});
        if (makeDatabase.Wait() != 0) {
            throw std::runtime_error("pure-pw could not make the user database");
        }

        port_ = FreeLocalPort();
        // In a process group of its own, to end its sessions with it. -E no anonymous, -A chroot,
        // -H no name look-ups, -d log every command.
        process_ = std::make_unique<ChildProcess>(std::vector<std::string>{
            "/usr/bin/setsid", "/usr/bin/env", "LD_PRELOAD=" TARVIK_SYSLOG_TO_FILE,
            "TARVIK_SYSLOG_FILE=" + log_.string(), (usr / "sbin/pure-ftpd").string(), "-S",
            "127.0.0.1," + std::to_string(port_), "-l", "puredb:" + database, "-E", "-A", "-H",
            "-d", "-g", (folder_ / "pure-ftpd.pid").string()});
        if (!WaitUntilListening(port_, *process_)) {
            throw std::runtime_error(
                "pure-ftpd did not start (missing libraries? see scripts/deps.sh)");
        }
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
        // Lines look like: (tester@127.0.0.1) [DEBUG] Command [cwd] [/pub]; the verb in lower
        // case.
        constexpr std::string_view kMarker = "[DEBUG] Command [";
        std::vector<std::string> commands;
        std::ifstream in(log_);
        for (std::string line; std::getline(in, line);) {
            std::size_t at = line.find(kMarker);
            std::size_t verbEnd =
                at == std::string::npos ? at : line.find("] [", at + kMarker.size());
            if (verbEnd == std::string::npos || line.back() != ']') {
                continue;
            }
            std::string command = line.substr(at + kMarker.size(), verbEnd - at - kMarker.size());
            std::transform(command.begin(), command.end(), command.begin(),
                           [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
            std::string argument = line.substr(verbEnd + 3, line.size() - verbEnd - 4);
            commands.push_back(argument.empty() ? command : command + " " + argument);
        }
        return commands;
    }

private:
    std::filesystem::path log_ = folder_ / "syslog.log";
};

}  // namespace

std::unique_ptr<TestServer> StartPureFtpd() {
    return std::make_unique<PureFtpdServer>();
}
