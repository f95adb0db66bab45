#include "TestServer.h"

#include <stdexcept>

#include "PyFtpServer.h"
#include "VsftpdServer.h"

std::unique_ptr<TestServer> StartTestServer(const std::string& kind) {
    if (kind == "pyftpdlib") {
        return std::make_unique<PyFtpServer>();
    }
    if (kind == "vsftpd") {
        return std::make_unique<VsftpdServer>();
    }
    throw std::invalid_argument("unknown test server " + kind);
}
