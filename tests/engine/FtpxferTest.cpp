// The command-line driver, run as a user would run it.
#include <gtest/gtest.h>

#include "ChildProcess.h"
#include "TempDir.h"
#include "TestServer.h"

namespace {

struct Outcome {
    int status;
    std::string output;
};

Outcome Ftpxfer(const std::vector<std::string>& arguments) {
    std::vector<std::string> argv{FTPXFER_PATH};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    ChildProcess process(argv);
    std::string output = process.ReadAll();
    return {process.Wait(), output};
}

TEST(FtpxferTest, ListsGetsAndPutsAgainstPyftpdlib) {
    auto server = StartTestServer("pyftpdlib");
    std::string base =
        "ftp://" + server->User() + ":" + server->Password() + "@127.0.0.1:" + server->PortText();
    TempDir::WriteFile(server->Pub() / "hello world.txt", "hello");
    std::filesystem::create_directories(server->Pub() / "folder");

    Outcome listing = Ftpxfer({"ls", base + "/pub/"});
    EXPECT_EQ(listing.status, 0);
    EXPECT_NE(listing.output.find("0 5 hello world.txt\n"), std::string::npos) << listing.output;
    EXPECT_NE(listing.output.find("1 "), std::string::npos);

    TempDir local;
    Outcome get =
        Ftpxfer({"--active", "get", base + "/pub/hello%20world.txt", local.Path().string()});
    EXPECT_EQ(get.status, 0);
    EXPECT_EQ(TempDir::Read(local / "hello world.txt"), "hello");

    local.Write("sent.bin", "abc");
    Outcome put = Ftpxfer({"put", base + "/pub/sent.bin", (local / "sent.bin").string()});
    EXPECT_EQ(put.status, 0);
    EXPECT_EQ(TempDir::Read(server->Pub() / "sent.bin"), "abc");

    Outcome missing = Ftpxfer({"get", base + "/pub/none.bin", local.Path().string()});
    EXPECT_EQ(missing.status, 2);  // 550 to RETR
    EXPECT_FALSE(std::filesystem::exists(local / "none.bin"));

    EXPECT_EQ(Ftpxfer({"fetch", base}).status, 64);
    EXPECT_EQ(Ftpxfer({"get", "http://x/"}).status, 64);
}

}  // namespace
