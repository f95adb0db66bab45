#pragma once

#include "TestServer.h"

// pyftpdlib (Debian's python3-pyftpdlib) with named users, its data connections throttled when
// asked.
class PyFtpServer : public TestServer {
public:
    struct Account {
        std::string name;
        std::string password;
    };
    // `extra`: more arguments for ftpd.py (its TLS certificate, for one).
    explicit PyFtpServer(std::vector<Account> accounts = {{"tester", "s3cret"}},
                         int bytesPerSecond = 0, const std::string& address = "127.0.0.1",
                         const std::vector<std::string>& extra = {});
    std::string User() const override { return accounts_.front().name; }
    std::string Password() const override { return accounts_.front().password; }
    std::vector<std::string> Commands() const override { return TestServer::Commands("^(.*)$"); }

private:
    std::vector<Account> accounts_;
};
