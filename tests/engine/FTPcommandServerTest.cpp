// The control connection against real servers, as they really answer.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "FTPcommand.h"
#include "PyFtpServer.h"
#include "Recorders.h"
#include "TempDir.h"
#include "TestServer.h"

namespace {

namespace fs = std::filesystem;

bool Holds(const std::vector<std::string>& commands, const std::string& line) {
    return std::find(commands.begin(), commands.end(), line) != commands.end();
}

class FTPcommandServerTest : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override { server = StartTestServer(GetParam()); }

    int LogOn() {
        ftp.SetLog(&log);
        return ftp.Init("127.0.0.1", server->PortText().c_str(), server->User().c_str(),
                        server->Password().c_str(), &status);
    }

    AlertRecorder alerts;
    LogRecorder log;
    StatusRecorder status;
    std::unique_ptr<TestServer> server;
    FTPcommand ftp;
};

TEST_P(FTPcommandServerTest, LogsOnAndDirectoryCommandsSucceedOrAreRefused) {
    ASSERT_EQ(LogOn(), 0);
    EXPECT_EQ(ftp.OperationText(), "LOGIN COMPLETE");
    EXPECT_TRUE(log.Contains("END LOGIN"));
    fs::create_directories(server->Pub() / "docs");
    TempDir::WriteFile(server->Pub() / "old.txt", "x");

    EXPECT_EQ(ftp.CWD("/pub"), 0);
    EXPECT_EQ(ftp.PWD(), "/pub");
    EXPECT_EQ(ftp.CWD("/no/such/dir"), 3);  // 550
    EXPECT_EQ(ftp.PWD(), "/pub");

    EXPECT_EQ(ftp.MKD("made here"), 0);
    EXPECT_TRUE(fs::is_directory(server->Pub() / "made here"));
    EXPECT_EQ(ftp.MKD("made here"), 3);  // 550: exists
    EXPECT_EQ(ftp.RMD("made here"), 0);
    EXPECT_FALSE(fs::exists(server->Pub() / "made here"));
    EXPECT_EQ(ftp.RMD("never made"), 3);

    EXPECT_EQ(ftp.RENAME("old.txt", "new.txt"), 0);
    EXPECT_TRUE(fs::exists(server->Pub() / "new.txt"));
    EXPECT_NE(ftp.RENAME("missing.txt", "other.txt"), 0);  // RNFR refused, then RNTO out of order
    EXPECT_FALSE(fs::exists(server->Pub() / "other.txt"));

    EXPECT_EQ(ftp.DELE("new.txt"), 0);
    EXPECT_FALSE(fs::exists(server->Pub() / "new.txt"));
    EXPECT_EQ(ftp.DELE("new.txt"), 3);

    EXPECT_EQ(ftp.ASCII(), 0);
    EXPECT_EQ(ftp.BINARY(), 0);
    EXPECT_EQ(ftp.MODESTREAM(), 0);
    EXPECT_EQ(ftp.QUIT(), 0);
    EXPECT_TRUE(Holds(server->Commands(), "USER " + server->User()));
    EXPECT_TRUE(Holds(server->Commands(), "QUIT"));
    EXPECT_TRUE(alerts.Texts().empty());
}

INSTANTIATE_TEST_SUITE_P(Servers, FTPcommandServerTest,
                         ::testing::Values("pyftpdlib", "vsftpd", "pure-ftpd", "proftpd"),
                         [](const auto& info) {
                             std::string name = info.param;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

TEST(FTPcommandLogOnTest, BadPasswordAlertsThenQuits) {
    AlertRecorder alerts;
    PyFtpServer server(std::vector<PyFtpServer::Account>{{"alice", "right"}});
    FTPcommand ftp;
    EXPECT_EQ(ftp.Init("127.0.0.1", server.PortText().c_str(), "alice", "wrong", nullptr), 1);
    EXPECT_EQ(alerts.Texts(), std::vector<std::string>{"Password not accepted."});
    auto commands = server.Commands();
    ASSERT_FALSE(commands.empty());
    EXPECT_EQ(commands.back(), "QUIT");
}

TEST(FTPcommandLogOnTest, NamedUserOnAnAnonymousOnlyVsftpdIsRefusedWithoutAlert) {
    AlertRecorder alerts;
    auto server = StartTestServer("vsftpd");
    FTPcommand ftp;
    // vsftpd answers USER with "530 This FTP server is anonymous only.": result 4, no alert.
    EXPECT_EQ(ftp.Init("127.0.0.1", server->PortText().c_str(), "alice", "pw", nullptr), 1);
    EXPECT_TRUE(alerts.Texts().empty());
}

}  // namespace
