#pragma once

#include <memory>

#include "ChildProcess.h"
#include "TempDir.h"
#include "TestServer.h"

// vsftpd (Debian's vsftpd) standalone on a free port, anonymous log-on with uploads into /pub.
class VsftpdServer : public TestServer {
public:
    VsftpdServer();

    std::string Name() const override { return "vsftpd"; }
    int Port() const override { return port_; }
    std::string User() const override { return "anonymous"; }
    std::string Password() const override { return "tarvik@example.org"; }
    const std::filesystem::path& Root() const override { return root_; }
    std::vector<std::string> Commands() const override;

private:
    TempDir folder_{"tarvik-vsftpd"};
    std::filesystem::path root_;
    std::filesystem::path log_;
    std::unique_ptr<ChildProcess> process_;
    int port_ = 0;
};
