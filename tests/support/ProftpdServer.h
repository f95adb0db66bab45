#pragma once

#include <memory>

#include "ChildProcess.h"
#include "TempDir.h"
#include "TestServer.h"

// proftpd (Debian's, unpacked by scripts/ftp-servers.sh) standalone on a free port, anonymous
// log-on with uploads anywhere. Not as root it runs in a user namespace of its own, where it may
// chroot the anonymous session.
class ProftpdServer : public TestServer {
public:
    ProftpdServer();

    std::string Name() const override { return "proftpd"; }
    int Port() const override { return port_; }
    std::string User() const override { return "anonymous"; }
    std::string Password() const override { return "tarvik@example.org"; }
    const std::filesystem::path& Root() const override { return root_; }
    std::vector<std::string> Commands() const override;

private:
    TempDir folder_{"tarvik-proftpd"};
    std::filesystem::path root_;
    std::filesystem::path log_;
    std::unique_ptr<ChildProcess> process_;
    int port_ = 0;
};
