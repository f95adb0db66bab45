#include "TestServer.h"

#include <random>
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

std::string RandomBytes(std::size_t size, unsigned seed) {
    std::mt19937 generator(seed);
    std::string bytes(size, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(generator());
    }
    return bytes;
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
