#include "TestServer.h"

#include <stdexcept>

#include "PyFtpServer.h"

TestServer::TestServer(std::string name) : name_(std::move(name)) {
    namespace fs = std::filesystem;
    fs::create_directories(Pub());
    const auto open = fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                      fs::perms::others_read | fs::perms::others_exec;
    fs::permissions(folder_.Path(), open);
    fs::permissions(root_, open);
    fs::permissions(Pub(), fs::perms::all);
}

std::unique_ptr<TestServer> StartTestServer(const std::string& kind) {
    if (kind == "pyftpdlib") {
        return std::make_unique<PyFtpServer>();
    }
    if (kind == "vsftpd") {
        return StartVsftpd();
    }
    if (kind == "pure-ftpd") {
        return StartPureFtpd();
    }
    if (kind == "proftpd") {
        return StartProftpd();
    }
    throw std::invalid_argument("unknown test server " + kind);
}
