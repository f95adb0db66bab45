#include "VsftpdServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>
#include <thread>

namespace {

int FreePort() {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    bind(fd, reinterpret_cast<sockaddr*>(&address), length);
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    close(fd);
    return ntohs(address.sin_port);
}

bool Accepts(int port) {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bool connected = connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    close(fd);
    return connected;
}

}  // namespace

VsftpdServer::VsftpdServer() : root_(folder_ / "root"), log_(folder_ / "vsftpd.log") {
    namespace fs = std::filesystem;
    // vsftpd refuses an anonymous root that its user can write: uploads go to /pub.
    fs::create_directories(root_ / "pub");
    fs::create_directories(folder_ / "empty");
    fs::permissions(folder_.Path(), fs::perms::owner_all | fs::perms::group_read |
                                        fs::perms::group_exec | fs::perms::others_read |
                                        fs::perms::others_exec);
    fs::permissions(root_, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                               fs::perms::others_read | fs::perms::others_exec);
    fs::permissions(root_ / "pub", fs::perms::all);
    port_ = FreePort();
    fs::path config = folder_ / "vsftpd.conf";
    std::ofstream out(config);
    out << "listen=YES\nlisten_ipv6=NO\nlisten_address=127.0.0.1\n"
        << "listen_port=" << port_ << "\n"
        << "background=NO\nanonymous_enable=YES\nlocal_enable=NO\nwrite_enable=YES\n"
        << "anon_upload_enable=YES\nanon_mkdir_write_enable=YES\nanon_other_write_enable=YES\n"
        << "anon_umask=022\nno_anon_password=YES\nseccomp_sandbox=NO\n"
        << "anon_root=" << root_.string() << "\n"
        << "secure_chroot_dir=" << (folder_ / "empty").string() << "\n"
        << "xferlog_enable=YES\nxferlog_std_format=NO\nlog_ftp_protocol=YES\n"
        << "vsftpd_log_file=" << log_.string() << "\n";
    if (geteuid() != 0) {
        out << "run_as_launching_user=YES\n";
    }
    out.close();
    process_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{"/usr/sbin/vsftpd", config.string()});
    for (int i = 0; i < 100 && !Accepts(port_); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    if (!process_->Running()) {
        throw std::runtime_error("vsftpd did not start (is vsftpd installed?)");
    }
}

std::vector<std::string> VsftpdServer::Commands() const {
    // Lines look like: ... FTP command: Client "127.0.0.1", "CWD /pub"
    constexpr std::string_view kMarker = "FTP command: Client \"";
    std::vector<std::string> commands;
    std::ifstream in(log_);
    for (std::string line; std::getline(in, line);) {
        std::size_t at = line.find(kMarker);
        if (at == std::string::npos) {
            continue;
        }
        std::size_t open = line.find("\", \"", at + kMarker.size());
        if (open != std::string::npos && line.size() > open + 5) {
            commands.push_back(line.substr(open + 4, line.size() - open - 5));
        }
    }
    return commands;
}
