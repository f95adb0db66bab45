#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "TempDir.h"

// A real FTP server started for one test on 127.0.0.1, serving a fresh folder of its own.
// "/pub" on the server is writable by the test's user on every kind of server.
class TestServer {
public:
    virtual ~TestServer() = default;
    const std::string& Name() const { return name_; }
    int Port() const { return port_; }
    std::string PortText() const { return std::to_string(port_); }
    virtual std::string User() const { return "anonymous"; }
    virtual std::string Password() const { return "tarvik@example.org"; }
    // The folder the server shows as "/".
    const std::filesystem::path& Root() const { return root_; }
    std::filesystem::path Pub() const { return root_ / "pub"; }
    // Every command line the server received so far, in order.
    virtual std::vector<std::string> Commands() const = 0;

protected:
    // Makes root/pub; a server that drops privileges still gets through to pub and writes in it.
    explicit TestServer(std::string name);
    // Starts the server on port_ and waits until it listens there.
    void Launch(const std::vector<std::string>& arguments, const std::string& hint);
    // The groups of each line of the server's log that matches `pattern`, and the first groups.
    std::vector<std::vector<std::string>> LogMatches(const std::string& pattern) const;
    std::vector<std::string> Commands(const std::string& pattern) const;

    std::string name_;
    TempDir folder_{"tarvik-" + name_};
    std::filesystem::path root_ = folder_ / "root";
    std::filesystem::path log_ = folder_ / "commands.log";
    std::unique_ptr<ChildProcess> process_;
    int port_ = 0;
};

// Bytes to serve that no line-end conversion or cut leaves as they were; the same for a seed.
std::string RandomBytes(std::size_t size, unsigned seed);

// "pyftpdlib", "vsftpd", "pure-ftpd" or "proftpd". vsftpd and proftpd: anonymous log-on.
// pure-ftpd: one virtual user, and only as root.
std::unique_ptr<TestServer> StartTestServer(const std::string& kind);
// `extraConfig`: more lines for vsftpd.conf (its TLS settings, for one).
std::unique_ptr<TestServer> StartVsftpd(const std::string& extraConfig = {});
