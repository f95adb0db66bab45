// Explicit and implicit TLS against real servers, with a certificate made for the test.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "FTPcommand.h"
#include "PyFtpServer.h"
#include "Recorders.h"
#include "TempDir.h"
#include "TestCertificate.h"
#include "TestServer.h"

namespace {

using Security = FTPcommand::Security;

const TestCertificate& Certificate() {
    return TestCertificate::Shared();
}

std::unique_ptr<TestServer> StartTlsServer(const std::string& kind, bool implicit = false) {
    const TestCertificate& tls = Certificate();
    if (kind == "pyftpdlib") {
        return std::make_unique<PyFtpServer>(
            std::vector<PyFtpServer::Account>{{"tester", "s3cret"}}, 0, "127.0.0.1",
            std::vector<std::string>{"--tls-cert", tls.cert, "--tls-key", tls.key});
    }
    return StartVsftpd(tls.VsftpdConfig(implicit));
}

// True when the server received its user name or password.
bool GotCredentials(const TestServer& server) {
    auto commands = server.Commands();
    return std::any_of(commands.begin(), commands.end(), [](const std::string& command) {
        return command.starts_with("USER") || command.starts_with("PASS");
    });
}

std::unique_ptr<FTPcommand> Session(LogRecorder& log, Security security, const std::string& ca) {
    auto ftp = std::make_unique<FTPcommand>();
    ftp->SetLog(&log);
    ftp->SetTimeout(10000);
    ftp->SetSecurity(security, ca);
    return ftp;
}

TEST(TlsServerTest, ListingGetAndPutAreByteIdenticalUnderTls) {
    struct Case {
        std::string server;
        Security security;
        int mode;
    };
    for (const Case& test :
         {Case{"vsftpd", Security::ExplicitRequired, 1},
          Case{"vsftpd", Security::ExplicitIfAvailable, 0}, Case{"vsftpd", Security::Implicit, 1},
          Case{"pyftpdlib", Security::ExplicitRequired, 1},
          Case{"pyftpdlib", Security::ExplicitRequired, 0}}) {
        SCOPED_TRACE(test.server + (test.security == Security::Implicit ? " implicit" : "") +
                     (test.mode == 0 ? " active" : " passive"));
        auto server = StartTlsServer(test.server, test.security == Security::Implicit);
        const std::string original = RandomBytes(3 * 1024 * 1024 + 17, 1);
        TempDir::WriteFile(server->Pub() / "down.bin", original);
        AlertRecorder alerts;
        LogRecorder log;
        TempDir local;
        auto ftp = Session(log, test.security, Certificate().cert);
        ASSERT_EQ(ftp->Init("127.0.0.1", server->PortText().c_str(), server->User().c_str(),
                            server->Password().c_str(), nullptr),
                  0)
            << ::testing::PrintToString(alerts.Texts());
        EXPECT_TRUE(ftp->IsControlProtected());
        EXPECT_TRUE(ftp->IsDataProtected());
        ASSERT_EQ(ftp->CWD("/pub"), 0);
        FTPcommand::Items files;
        ASSERT_EQ(ftp->LISTING(nullptr, &files, nullptr, nullptr, test.mode, nullptr, nullptr), 0);
        ASSERT_EQ(files.size(), 1u);
        EXPECT_EQ(files.front().text, "down.bin");
        ASSERT_EQ(ftp->BINARY(), 0);
        const std::string folder = local.Path().string() + "/";
        EXPECT_EQ(ftp->GETBINARY("down.bin", folder.c_str(), nullptr, test.mode, false), 0);
        EXPECT_TRUE(TempDir::Read(local / "down.bin") == original);
        const std::string upload = RandomBytes(2 * 1024 * 1024 + 5, 2);
        local.Write("up.bin", upload);
        EXPECT_EQ(ftp->PUTBINARY("up.bin", folder.c_str(), nullptr, test.mode), 0);
        EXPECT_TRUE(TempDir::Read(server->Pub() / "up.bin") == upload);
        EXPECT_EQ(ftp->QUIT(), 0);
        EXPECT_TRUE(alerts.Texts().empty()) << ::testing::PrintToString(alerts.Texts());
        if (HasFailure()) {
            for (const std::string& line : log.Lines()) {
                std::cerr << line << '\n';
            }
        }
    }
}

// Nothing of the user's leaves before the server is known: not to a certificate that does not
// verify, not to a server that will not speak TLS when TLS is required.
TEST(TlsServerTest, CredentialsNeverLeaveBeforeTheServerIsTrusted) {
    auto vsftpd = StartTlsServer("vsftpd");
    const std::string url = "ftp://127.0.0.1:" + vsftpd->PortText() + "/pub/";
    EXPECT_NE(
        std::system((std::string(FTPXFER_PATH) + " --tls ls " + url + " 2>/dev/null").c_str()), 0)
        << "the system's store does not know the test's certificate";
    EXPECT_FALSE(GotCredentials(*vsftpd));
    EXPECT_EQ(std::system((std::string(FTPXFER_PATH) + " --tls --cacert " + Certificate().cert +
                           " ls " + url + " >/dev/null 2>&1")
                              .c_str()),
              0);

    // The name must match too: the certificate is for 127.0.0.1, not for localhost. The check
    // sees what the user will be shown, and its answer decides.
    for (const bool accept : {false, true}) {
        LogRecorder log;
        AlertRecorder alerts;
        auto ftp = Session(log, Security::ExplicitRequired, Certificate().cert);
        std::vector<TlsConnection::Certificate> asked;
        ftp->SetCertificateCheck(
            [&](const TlsConnection::Certificate& certificate, const std::string& host, int port) {
                EXPECT_EQ(host, "localhost");
                EXPECT_EQ(port, vsftpd->Port());
                asked.push_back(certificate);
                return accept;
            });
        const int result =
            ftp->Init("localhost", vsftpd->PortText().c_str(), "anonymous", "guest", nullptr);
        ASSERT_EQ(asked.size(), 1u);
        EXPECT_FALSE(asked[0].verified);
        EXPECT_NE(asked[0].problem.find("mismatch"), std::string::npos) << asked[0].problem;
        EXPECT_NE(asked[0].subject.find("127.0.0.1"), std::string::npos);
        EXPECT_EQ(asked[0].sha256.size(), 32u * 3 - 1);
        EXPECT_EQ(result == 0, accept);
    }

    // A plain server and required TLS: AUTH TLS is refused, and the log-on ends there.
    PyFtpServer plain;
    LogRecorder log;
    AlertRecorder alerts;
    auto ftp = Session(log, Security::ExplicitRequired, {});
    EXPECT_NE(ftp->Init("127.0.0.1", plain.PortText().c_str(), plain.User().c_str(),
                        plain.Password().c_str(), nullptr),
              0);
    EXPECT_FALSE(GotCredentials(plain));
    EXPECT_EQ(alerts.Texts(),
              std::vector<std::string>{"The server does not offer TLS: the log-on stopped before "
                                       "the user name and password were sent."});
}

}  // namespace
