#include <unistd.h>

#include <fstream>
#include <stdexcept>

#include "LocalPort.h"
#include "TestServer.h"

namespace {

// Debian's vsftpd standalone on a free port, anonymous log-on with uploads into /pub.
class VsftpdServer : public TestServer {
public:
    explicit VsftpdServer(const std::string& extraConfig) : TestServer("vsftpd") {
        // vsftpd refuses an anonymous root that its user can write: uploads go to /pub.
        std::filesystem::create_directories(folder_ / "empty");
        port_ = FreeLocalPort();
        const std::filesystem::path config = folder_ / "vsftpd.conf";
        std::ofstream out(config);
        out << "listen=YES\nlisten_ipv6=NO\nlisten_address=127.0.0.1\n"
            << "listen_port=" << port_ << "\n"
            << "background=NO\nanonymous_enable=YES\nlocal_enable=NO\nwrite_enable=YES\n"
            << "anon_upload_enable=YES\nanon_mkdir_write_enable=YES\nanon_other_write_enable=YES\n"
            << "anon_umask=022\nno_anon_password=YES\nseccomp_sandbox=NO\n"
            << "anon_root=" << root_.string() << "\n"
            << "secure_chroot_dir=" << (folder_ / "empty").string() << "\n"
            << "xferlog_enable=YES\nxferlog_std_format=NO\nlog_ftp_protocol=YES\n"
            << "vsftpd_log_file=" << log_.string() << "\n"
            << extraConfig;
        if (geteuid() != 0) {
            out << "run_as_launching_user=YES\n";
        }
        out.close();
        process_ = std::make_unique<ChildProcess>(
            std::vector<std::string>{"/usr/sbin/vsftpd", config.string()});
        if (!WaitUntilListening(port_, *process_)) {
            throw std::runtime_error("vsftpd did not start (is vsftpd installed?)");
        }
    }

    std::vector<std::string> Commands() const override {
        // Lines look like: ... FTP command: Client "127.0.0.1", "CWD /pub"
        constexpr std::string_view kMarker = "FTP command: Client \"";
        std::vector<std::string> commands;
        std::ifstream in(log_);
        for (std::string line; std::getline(in, line);) {
            std::size_t at = line.find(kMarker);
            std::size_t open = at == std::string::npos ? at : line.find("\", \"", at);
            if (open != std::string::npos && line.size() > open + 5) {
                commands.push_back(line.substr(open + 4, line.size() - open - 5));
            }
        }
        return commands;
    }

private:
    std::filesystem::path log_ = folder_ / "vsftpd.log";
};

}  // namespace

std::unique_ptr<TestServer> StartVsftpd(const std::string& extraConfig) {
    return std::make_unique<VsftpdServer>(extraConfig);
}
