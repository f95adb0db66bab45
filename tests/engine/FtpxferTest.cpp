// The command-line driver, run as a user would run it.
#include <gtest/gtest.h>

#include "ChildProcess.h"
#include "PyFtpServer.h"
#include "TempDir.h"

namespace {

namespace fs = std::filesystem;

struct Outcome {
    int status;
    std::string output;
};

Outcome Ftpxfer(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), FTPXFER_PATH);
    ChildProcess process(arguments);
    std::string output = process.ReadAll();
    return {process.Wait(), output};
}

TEST(FtpxferTest, ListsGetsAndPutsUnderAnyLocalName) {
    PyFtpServer server;
    std::string base =
        "ftp://" + server.User() + ":" + server.Password() + "@127.0.0.1:" + server.PortText();
    TempDir::WriteFile(server.Pub() / "hello world.txt", "hello");
    fs::create_directories(server.Pub() / "folder");

    Outcome listing = Ftpxfer({"ls", base + "/pub/"});
    EXPECT_EQ(listing.status, 0);
    EXPECT_NE(listing.output.find("0 5 hello world.txt\n"), std::string::npos) << listing.output;
    EXPECT_NE(listing.output.find("1 "), std::string::npos);

    TempDir local;
    std::string renamed = (local / "renamed.txt").string();
    EXPECT_EQ(Ftpxfer({"--active", "get", base + "/pub/hello%20world.txt", renamed}).status, 0);
    EXPECT_EQ(TempDir::Read(renamed), "hello");
    EXPECT_EQ(Ftpxfer({"get", base + "/pub/hello%20world.txt", local.Path().string()}).status, 0);
    EXPECT_EQ(TempDir::Read(local / "hello world.txt"), "hello");

    local.Write("local name.bin", "abc");
    Outcome put = Ftpxfer({"put", base + "/pub/sent.bin", (local / "local name.bin").string()});
    EXPECT_EQ(put.status, 0);
    EXPECT_EQ(TempDir::Read(server.Pub() / "sent.bin"), "abc");

    Outcome missing = Ftpxfer({"get", base + "/pub/none.bin", local.Path().string()});
    EXPECT_EQ(missing.status, 2);  // 550 to RETR
    EXPECT_FALSE(fs::exists(local / "none.bin"));

    // A line break smuggled in an escape never reaches the server.
    EXPECT_EQ(Ftpxfer({"get", base + "/pub/x%0D%0ADELE%20sent.bin"}).status, 64);
    for (const std::string& command : server.Commands()) {
        EXPECT_EQ(command.find("DELE"), std::string::npos) << command;
    }
    EXPECT_TRUE(fs::exists(server.Pub() / "sent.bin"));
    EXPECT_EQ(Ftpxfer({"fetch", base}).status, 64);
    EXPECT_EQ(Ftpxfer({"get", "http://x/"}).status, 64);
}

TEST(FtpxferTest, ReachesAServerOnAnIPv6Literal) {
    std::unique_ptr<PyFtpServer> server;
    try {
        server =
            std::make_unique<PyFtpServer>(std::vector<PyFtpServer::Account>{{"u", "p"}}, 0, "::1");
    } catch (const std::exception&) {
        GTEST_SKIP() << "no IPv6 loopback on this machine";
    }
    TempDir::WriteFile(server->Pub() / "six.txt", "over IPv6");
    std::string url = "ftp://u:p@[::1]:" + server->PortText() + "/pub/six.txt";
    TempDir local;
    for (const char* mode : {"--active", "--passive"}) {
        std::string target = (local / (std::string(mode + 2) + ".txt")).string();
        EXPECT_EQ(Ftpxfer({mode, "get", url, target}).status, 0) << mode;
        EXPECT_EQ(TempDir::Read(target), "over IPv6") << mode;
    }
    auto commands = server->Commands();
    EXPECT_NE(std::find(commands.begin(), commands.end(), "EPSV"), commands.end());
    EXPECT_TRUE(std::any_of(commands.begin(), commands.end(),
                            [](const std::string& c) { return c.starts_with("EPRT |2|::1|"); }));
}

}  // namespace
