#include "PyFtpServer.h"

#include <fstream>
#include <stdexcept>

#ifndef TARVIK_TEST_SUPPORT_DIR
#error "TARVIK_TEST_SUPPORT_DIR must name the folder of ftpd.py"
#endif

PyFtpServer::PyFtpServer(std::vector<Account> accounts, int bytesPerSecond,
                         const std::string& address, const std::vector<std::string>& extra)
    : TestServer("pyftpdlib"), accounts_(std::move(accounts)) {
    // Debian's interpreter: the python3 first on PATH may be another one, without pyftpdlib.
    std::vector<std::string> arguments = {"/usr/bin/python3",
                                          std::string(TARVIK_TEST_SUPPORT_DIR) + "/ftpd.py",
                                          "--root",
                                          root_.string(),
                                          "--log",
                                          log_.string(),
                                          "--address",
                                          address};
    for (const auto& account : accounts_) {
        arguments.push_back("--user");
        arguments.push_back(account.name + ":" + account.password);
    }
    if (bytesPerSecond > 0) {
        arguments.push_back("--rate");
        arguments.push_back(std::to_string(bytesPerSecond));
    }
    arguments.insert(arguments.end(), extra.begin(), extra.end());
    process_ = std::make_unique<ChildProcess>(arguments);
    std::string line = process_->ReadLine(std::chrono::seconds(20));
    port_ = line.empty() ? 0 : std::stoi(line);
    if (port_ <= 0) {
        throw std::runtime_error("pyftpdlib did not start (is python3-pyftpdlib installed?)");
    }
}

std::vector<std::string> PyFtpServer::Commands() const {
    std::vector<std::string> commands;
    std::ifstream in(log_);
    for (std::string line; std::getline(in, line);) {
        commands.push_back(line);
    }
    return commands;
}
