#include "TestServer.h"

#include <stdexcept>

#include "ProftpdServer.h"
#include "PureFtpdServer.h"
#include "PyFtpServer.h"
#include "VsftpdServer.h"

std::unique_ptr<TestServer> StartTestServer(const std::string& kind) {
    if (kind == "pyftpdlib") {
        return std::make_unique<PyFtpServer>();
    }
    if (kind == "vsftpd") {
        return std::make_unique<VsftpdServer>();
    }
    if (kind == "pure-ftpd") {
        return std::make_unique<PureFtpdServer>();
    }
    if (kind == "proftpd") {
        return std::make_unique<ProftpdServer>();
    }
    throw std::invalid_argument("unknown test server " + kind);
}
