#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

// A real FTP server started for one test on 127.0.0.1, serving a fresh folder of its own.
// "/pub" on the server is writable by the test's user on every kind of server.
class TestServer {
public:
    virtual ~TestServer() = default;

    virtual std::string Name() const = 0;
    virtual int Port() const = 0;
    virtual std::string User() const = 0;
    virtual std::string Password() const = 0;
    // The folder the server shows as "/".
    virtual const std::filesystem::path& Root() const = 0;
    // Every command line the server received so far, in order.
    virtual std::vector<std::string> Commands() const = 0;

    std::string PortText() const { return std::to_string(Port()); }
    std::filesystem::path Pub() const { return Root() / "pub"; }
};

// "pyftpdlib", "vsftpd", "pure-ftpd" or "proftpd".
std::unique_ptr<TestServer> StartTestServer(const std::string& kind);
