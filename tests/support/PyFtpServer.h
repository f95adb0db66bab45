#pragma once

#include <memory>

#include "ChildProcess.h"
#include "TempDir.h"
#include "TestServer.h"

// pyftpdlib (Debian's python3-pyftpdlib) with named users, and anonymous log-on when asked.
class PyFtpServer : public TestServer {
public:
    struct Account {
        std::string name;
        std::string password;
    };

    explicit PyFtpServer(std::vector<Account> accounts = {{"tester", "s3cret"}},
                         bool anonymous = false, const std::string& address = "127.0.0.1",
                         int bytesPerSecond = 0);

    std::string Name() const override { return "pyftpdlib"; }
    int Port() const override { return port_; }
    std::string User() const override { return accounts_.front().name; }
    std::string Password() const override { return accounts_.front().password; }
    const std::filesystem::path& Root() const override { return root_; }
    std::vector<std::string> Commands() const override;

private:
    std::vector<Account> accounts_;
    TempDir folder_{"tarvik-pyftpd"};
    std::filesystem::path root_;
    std::filesystem::path log_;
    std::unique_ptr<ChildProcess> process_;
    int port_ = 0;
};
