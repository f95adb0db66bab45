#include <unistd.h>

#include <fstream>
#include <set>
#include <stdexcept>

#include "LocalPort.h"
#include "TestServer.h"

#ifndef TARVIK_FTP_SERVERS_DIR
#error "TARVIK_FTP_SERVERS_DIR must name the folder of the unpacked FTP servers"
#endif

namespace {

// proftpd (Debian's, unpacked by scripts/ftp-servers.sh) standalone on a free port, anonymous
// log-on with uploads anywhere. Not as root it runs in a user namespace of its own, where it may
// chroot the anonymous session.
class ProftpdServer : public TestServer {
public:
    ProftpdServer() : TestServer("proftpd") {
        namespace fs = std::filesystem;
        const fs::path binary = fs::path(TARVIK_FTP_SERVERS_DIR) / "proftpd/usr/sbin/proftpd";
        if (!fs::exists(binary)) {
            throw std::runtime_error("proftpd is not unpacked in " TARVIK_FTP_SERVERS_DIR
                                     ": run scripts/ftp-servers.sh " TARVIK_FTP_SERVERS_DIR);
        }
        // As root the sessions run as nobody; in the user namespace root is the only user there
        // is, hence RootLogin.
        const bool root = geteuid() == 0;
        const std::string user = root ? "nobody" : "root";
        const std::string group = root ? "nogroup" : "root";
        const fs::path config = folder_ / "proftpd.conf";
        port_ = FreeLocalPort();
        std::ofstream out(config);
        out << "ServerType standalone\nDefaultAddress 127.0.0.1\nSocketBindTight on\nUseIPv6 off\n"
            << "Port " << port_ << "\n"
            << "User " << user << "\nGroup " << group << "\n"
            << "PidFile " << (folder_ / "proftpd.pid").string() << "\n"
            << "ScoreboardFile " << (folder_ / "proftpd.scoreboard").string() << "\n"
            << "SystemLog " << (folder_ / "proftpd.log").string() << "\n"
            << "DelayEngine off\nWtmpLog off\nTransferLog none\nControlsEngine off\n"
            << "UseReverseDNS off\nRequireValidShell off\nUseFtpUsers off\n"
            << "AuthOrder mod_auth_unix.c\nUmask 022\nAllowOverwrite on\nAllowStoreRestart on\n"
            // Its trace, unlike its ExtendedLog, has each command before the reply goes out.
            << "TraceLog " << log_.string() << "\nTrace command:7 response:9\n"
            << "<Anonymous " << root_.string() << ">\n"
            << "  User " << user << "\n  Group " << group << "\n  UserAlias anonymous " << user
            << "\n  RootLogin on\n</Anonymous>\n";
        out.close();

        std::vector<std::string> arguments{binary.string(), "-n", "-q", "-c", config.string()};
        if (!root) {
            arguments.insert(arguments.begin(),
                             {"/usr/bin/unshare", "--user", "--map-root-user", "--mount"});
        }
        process_ = std::make_unique<ChildProcess>(arguments);
        if (!WaitUntilListening(port_, *process_)) {
            throw std::runtime_error(
                "proftpd did not start (missing libraries? see scripts/deps.sh): " +
                TempDir::Read(folder_ / "proftpd.log"));
        }
    }

    std::vector<std::string> Commands() const override {
        // Each session traces, in turn: "[pid] <response:9>: clearing response lists before
        // dispatching command 'CWD'", then "[pid] <command:7>: dispatching PRE_CMD command
        // 'CWD /pub' to mod_core.c" once for each module that looks at it. PASS shows as
        // "PASS (hidden)".
        constexpr std::string_view kStart = "clearing response lists before dispatching command";
        constexpr std::string_view kCommand = "dispatching PRE_CMD command '";
        std::vector<std::string> commands;
        std::set<std::string> starting;
        std::ifstream in(log_);
        for (std::string line; std::getline(in, line);) {
            std::size_t open = line.find('[');
            std::size_t close = line.find(']', open);
            if (close == std::string::npos) {
                continue;
            }
            std::string session = line.substr(open, close - open);
            std::size_t at = line.find(kCommand);
            std::size_t end = line.rfind("' to mod_");
            if (line.find(kStart) != std::string::npos) {
                starting.insert(session);
            } else if (at != std::string::npos && end != std::string::npos && end > at &&
                       starting.erase(session) > 0) {
                commands.push_back(line.substr(at + kCommand.size(), end - at - kCommand.size()));
            }
        }
        return commands;
    }

private:
    std::filesystem::path log_ = folder_ / "trace.log";
};

}  // namespace

std::unique_ptr<TestServer> StartProftpd() {
    return std::make_unique<ProftpdServer>();
}
