// Transfers from the session window, as a user starts them, against real servers and a server
// whose listings are hostile.
#include <gtest/gtest.h>

#include <QAction>
#include <QPushButton>

#include "LPBListView.h"
#include "LogWindow.h"
#include "MultiListDriver.h"
#include "PyFtpServer.h"
#include "ScriptedPeer.h"
#include "SessionFixture.h"
#include "StatusWindow.h"

namespace {

struct Setup {
    std::string server;
    int passive;
};

class TransferTest : public SessionFixture, public ::testing::WithParamInterface<Setup> {
protected:
    void SetUp() override { server = StartTestServer(GetParam().server); }
    QPointer<FTPWindow> Open(const std::string& start = "/pub") {
        QPointer<FTPWindow> window = SessionFixture::Open(*server, GetParam().passive, start);
        window->SpawnItem()->setChecked(false);  // on the session's own connection
        return window;
    }

    std::unique_ptr<TestServer> server;
};

TEST_P(TransferTest, ATreeGoesDownAndBackUpByteIdentical) {
    fs::path tree = server->Pub() / "tree";
    TempDir::WriteFile(tree / "level one" / "level two" / "deep file.bin", RandomBytes(300000, 1));
    TempDir::WriteFile(tree / "level one" / "café.txt", "crème brûlée\n");
    TempDir::WriteFile(tree / "日本" / "空.txt", "");
    fs::create_directories(tree / "empty folder");
    TempDir::WriteFile(tree / "top.txt", "top\n");
    fs::create_directories(server->Pub() / "back");
    fs::permissions(server->Pub() / "back", fs::perms::all);  // for the server's own user
    QPointer<FTPWindow> window = Open();
    std::string startLocal = window->LocalDirectory();
    window->SpawnItem()->setChecked(true);
    ASSERT_TRUE(window->HostDirectories()->SelectText("tree"));
    Issue(Message(FTPWindow::kGetTree));
    EXPECT_FALSE(window->SpawnItem()->isChecked()) << "a tree unchecks Spawn for good";
    EXPECT_EQ(TreeOf(local / "tree"), TreeOf(tree));
    EXPECT_TRUE(window->LastTree().whole);
    EXPECT_EQ(window->HostPath(), "/pub");
    EXPECT_EQ(window->LocalDirectory(), startLocal);
    EXPECT_TRUE(window->isVisible());

    Issue(ChangeHost("back"));
    ASSERT_TRUE(window->LocalDirectories()->SelectText("tree"));
    Issue(Message(FTPWindow::kSendTree));
    EXPECT_EQ(TreeOf(server->Pub() / "back" / "tree"), TreeOf(tree));
    EXPECT_EQ(window->HostPath(), "/pub/back");
    EXPECT_EQ(window->LocalDirectory(), startLocal);
    EXPECT_TRUE(alerts.Texts().empty());
}

TEST_P(TransferTest, ListsAskBeforeTouchingALocalFileAndStopAtTheirFirstFailure) {
    fs::path three = server->Pub() / "three";
    for (const char* name : {"a.bin", "b.bin", "c.bin"}) {
        TempDir::WriteFile(three / name, RandomBytes(5000, name[0]));
    }
    local.Write("a.bin", "");      // empty: fetched without a question
    local.Write("b.bin", "mine");  // the user says Skip
    fs::path ten = server->Pub() / "ten";
    for (int i = 0; i < 10; ++i) {
        TempDir::WriteFile(ten / ("f" + std::to_string(i)), "file " + std::to_string(i));
    }
    std::string cut = RandomBytes(2 * 1024 * 1024 + 3, 7);
    TempDir::WriteFile(server->Pub() / "resume" / "cut.bin", cut);
    std::string stranger = cut.substr(0, 1024 * 1024);  // ends unlike the server's file
    stranger.back() ^= 1;
    local.Write("cut.bin", stranger);

    QPointer<FTPWindow> window = Open("/pub/three");
    alerts.Answer(2);
    Issue(Message(FTPWindow::kGetAll));
    ASSERT_EQ(alerts.Texts().size(), 1u);
    EXPECT_TRUE(alerts.Texts()[0].starts_with("File: b.bin\nis on the local directory."));
    EXPECT_EQ(alerts.Alerts()[0].buttons,
              (std::vector<std::string>{"ReGet(Append)", "Get(Overwrite)", "Skip"}));
    EXPECT_EQ(TempDir::Read(local / "a.bin"), TempDir::Read(three / "a.bin"));
    EXPECT_EQ(TempDir::Read(local / "b.bin"), "mine");
    EXPECT_EQ(TempDir::Read(local / "c.bin"), TempDir::Read(three / "c.bin"));

    Issue(ChangeHost("/pub/ten"));
    fs::remove(ten / "f4");  // listed, but gone when its turn comes
    Issue(Message(FTPWindow::kGetAll));
    EXPECT_EQ(alerts.Texts().size(), 2u);
    EXPECT_EQ(alerts.Texts().back(), "Get file aborted");
    EXPECT_TRUE(fs::exists(local / "f3"));
    EXPECT_FALSE(fs::exists(local / "f5"));
    EXPECT_TRUE(WaitUntil([&] { return window->LocalFiles()->SelectText("f3"); }))
        << "the local listing is read again";

    Issue(ChangeHost("/pub/resume"));
    alerts.Answer(0);  // ReGet(Append)
    ASSERT_TRUE(window->HostFiles()->SelectText("cut.bin"));
    Issue(Message(FTPWindow::kGetSelected));
    EXPECT_TRUE(TempDir::Read(local / "cut.bin") == cut) << "fetched whole when the user agreed";
    const auto texts = alerts.Texts();
    ASSERT_GE(texts.size(), 2u);
    EXPECT_EQ(std::vector<std::string>(texts.end() - 2, texts.end()),
              (std::vector<std::string>{"The local part of cut.bin is not the start of the "
                                        "server's file: nothing was appended.",
                                        "Get cut.bin whole, in place of the local part?"}));
}

INSTANTIATE_TEST_SUITE_P(Servers, TransferTest,
                         ::testing::Values(Setup{"pyftpdlib", 0}, Setup{"pyftpdlib", 1},
                                           Setup{"vsftpd", 0}, Setup{"vsftpd", 1}),
                         [](const auto& info) {
                             return info.param.server +
                                    (info.param.passive ? "_passive" : "_active");
                         });

class SpawnTest : public SessionFixture {
protected:
    // Half a megabyte a second (in bursts): long enough to watch the transfers run.
    PyFtpServer server{{{"tester", "s3cret"}}, 512 * 1024};
};

TEST_F(SpawnTest, SecondConnectionsRunInTheTransferListWhileTheWindowWorksOn) {
    std::string one = RandomBytes(1200 * 1024, 1);
    std::string two = RandomBytes(1200 * 1024, 2);
    TempDir::WriteFile(server.Pub() / "one.bin", one);
    TempDir::WriteFile(server.Pub() / "two.bin", two);
    QPointer<FTPWindow> window = Open(server, 1, "/pub");
    ASSERT_TRUE(window->SpawnItem()->isChecked()) << "checked from the start";
    int running = 0;
    for (const char* name : {"one.bin", "two.bin"}) {
        window->HostFiles()->UnSelectAll();
        ASSERT_TRUE(window->HostFiles()->SelectText(name));
        window->PostMessage(Message(FTPWindow::kGetSelected));
        ++running;
        ASSERT_TRUE(WaitUntil([&] { return transfers.List()->CountItems() == running; }, 10s));
        ASSERT_TRUE(WaitUntil([&] { return !window->IsBusy(); }, 10s)) << "free at once";
    }
    EXPECT_FALSE(transfers.isHidden());
    Issue(Message(FTPWindow::kReloadHost));  // the window takes other work meanwhile
    EXPECT_EQ(transfers.List()->CountItems(), 2);
    ASSERT_TRUE(WaitUntil([&] { return transfers.List()->CountItems() == 0; }, 20s));
    EXPECT_TRUE(transfers.isHidden());
    EXPECT_EQ(TempDir::Read(local / "one.bin"), one);
    EXPECT_EQ(TempDir::Read(local / "two.bin"), two);
    EXPECT_TRUE(WaitUntil([&] { return window->LocalFiles()->SelectText("two.bin"); }));
    EXPECT_TRUE(alerts.Texts().empty());
}

// The status window's Stop stops the tree that runs, not the session: no question, one alert,
// and the session lists its folder again afterwards.
TEST_F(SpawnTest, StopInTheStatusWindowStopsTheTreeAndKeepsTheSession) {
    TempDir::WriteFile(server.Pub() / "tree" / "big.bin", RandomBytes(3 * 1024 * 1024, 3));
    QPointer<FTPWindow> window = Open(server, 1, "/pub");
    ASSERT_TRUE(window->HostDirectories()->SelectText("tree"));
    window->PostMessage(Message(FTPWindow::kGetTree));
    auto* stop = window->Status()->findChild<QPushButton*>("stop");
    const fs::path part = local / "tree" / "big.bin";
    ASSERT_TRUE(WaitUntil([&] { return fs::exists(part) && fs::file_size(part) > 0; }, 10s));
    ASSERT_TRUE(WaitUntil([&] { return stop->isEnabled() && stop->isVisible(); }, 10s));
    stop->click();
    ASSERT_TRUE(WaitUntil([&] { return !window->IsBusy(); }, 10s));
    EXPECT_EQ(alerts.Texts(), std::vector<std::string>{"Get file aborted"});
    EXPECT_FALSE(window->LastTree().whole);
    Issue(Message(FTPWindow::kReloadHost));
    EXPECT_TRUE(window->IsConnected() && window->isVisible());
    EXPECT_TRUE(window->HostDirectories()->SelectText("tree")) << window->HostPath();
    EXPECT_EQ(alerts.Texts().size(), 1u);
}

// A server whose tree holds every trap: names that would climb or jump, a link beside a folder
// of the same name, and a folder that leads back into itself.
using HostileTreeTest = SessionFixture;

TEST_F(HostileTreeTest, EndsWritesNothingOutsideAndMakesNoLink) {
    TempDir outside;
    fs::path chosen = outside / "chosen";
    fs::create_directory(chosen);
    auto listing = [](ScriptedPeer& peer, const std::string& lines) -> ScriptedPeer& {
        return peer.Expect("PASV").Passive().Expect("LIST").Reply("150 ok").SendData(lines).Reply(
            "226 ok");
    };
    const std::string root = "drwxr-xr-x 2 a b 0 Jan 01 12:00 top\r\n";
    const std::string top =
        "drwxr-xr-x 2 a b 0 Jan 01 12:00 ..\r\n"
        "-rw-r--r-- 1 a b 4 Jan 01 12:00 ../x\r\n"
        "-rw-r--r-- 1 a b 4 Jan 01 12:00 a/b\r\n"
        "drwxr-xr-x 2 a b 0 Jan 01 12:00 /abs\r\n"
        "lrwxrwxrwx 1 a b 4 Jan 01 12:00 same -> /etc\r\n"
        "drwxr-xr-x 2 a b 0 Jan 01 12:00 same\r\n"
        "drwxr-xr-x 2 a b 0 Jan 01 12:00 loop\r\n"
        "-rw-r--r-- 1 a b 4 Jan 01 12:00 ok.txt\r\n";
    ScriptedPeer peer;
    peer.Reply("220 hi").Expect("USER").Reply("331 pw").Expect("PASS").Reply("230 in");
    peer.Expect("MODE S").Reply("200 ok");
    listing(peer, root).Expect("PWD").Reply("257 \"/\"").Expect("CWD top").Reply("250 ok");
    listing(peer, top).Expect("PWD").Reply("257 \"/top\"").Expect("TYPE I").Reply("200 binary");
    peer.Expect("PASV").Passive().Expect("RETR ok.txt").Reply("150 ok").SendData("fine");
    peer.Reply("226 ok");
    // A link is tried as a file; one to a folder is refused, and left out.
    peer.Expect("PASV").Passive().Expect("RETR same").Reply("550 Not a plain file.");
    // "loop" leads back to /top, where the walk is already.
    peer.Expect("TYPE A").Reply("200 ascii").Expect("CWD loop").Reply("250 ok");
    listing(peer, "drwxr-xr-x 2 a b 0 Jan 01 12:00 loop\r\n").Expect("PWD").Reply("257 \"/top\"");
    peer.Expect("CWD /top").Reply("250 ok");
    peer.Expect("CWD same").Reply("250 ok");
    listing(peer, "").Expect("PWD").Reply("257 \"/top/same\"");
    peer.Expect("CWD /top").Reply("250 ok");
    peer.Expect("CWD /").Reply("250 ok");
    listing(peer, root).Expect("PWD").Reply("257 \"/\"").Silence();
    peer.Start();

    FTPWindow::LogOn logOn;
    logOn.port = std::to_string(peer.Port());
    logOn.localDirectory = chosen.string();
    QPointer<FTPWindow> window = Start(logOn, "u", "p");
    ASSERT_TRUE(WaitUntil([&] { return Idle(); }, 10s));
    ASSERT_TRUE(window->HostDirectories()->SelectText("top"));
    Issue(Message(FTPWindow::kGetTree), 20s);
    EXPECT_TRUE(peer.Mismatches().empty()) << peer.Mismatches().front();

    EXPECT_EQ(TreeOf(outside.Path()),
              (std::map<std::string, std::string>{{"chosen", "<folder>"},
                                                  {"chosen/top", "<folder>"},
                                                  {"chosen/top/loop", "<folder>"},
                                                  {"chosen/top/ok.txt", "fine"},
                                                  {"chosen/top/same", "<folder>"}}));
    for (const auto& entry : fs::recursive_directory_iterator(outside.Path())) {
        EXPECT_FALSE(entry.is_symlink()) << entry.path();
    }
    EXPECT_FALSE(window->LastTree().whole) << "names and links were left out";
    ASSERT_EQ(alerts.Texts().size(), 1u) << "one alert says that the tree is not whole";
    // The link to a folder and the folder the walk is inside already, each counted once.
    EXPECT_NE(alerts.Texts()[0].find("not moved whole: 2 entries were left out"), std::string::npos)
        << alerts.Texts()[0];
    EXPECT_EQ(window->HostPath(), "/");
    Close();  // while the peer still listens
}

// A site's "latest" link arrives as the file it names; a link to a folder and a dangling one are
// left out, each counted once. vsftpd lists links as links (pyftpdlib's MLSD shows their
// targets instead).
TEST_F(HostileTreeTest, ALinkToAFileArrivesAsThatFileAndOthersAreLeftOutOnce) {
    auto vsftpd = StartTestServer("vsftpd");
    const fs::path site = vsftpd->Pub() / "site";
    TempDir::WriteFile(site / "pkg-1.2.tar.gz", "package");
    TempDir::WriteFile(site / "docs" / "index.html", "<p>");
    fs::create_symlink("pkg-1.2.tar.gz", site / "latest.tar.gz");
    fs::create_symlink("docs", site / "manual");
    fs::create_symlink("nowhere", site / "dangling");
    QPointer<FTPWindow> window = Open(*vsftpd, 1, "/pub");
    ASSERT_TRUE(window->HostDirectories()->SelectText("site"));
    Issue(Message(FTPWindow::kGetTree));
    EXPECT_EQ(TreeOf(local / "site"),
              (std::map<std::string, std::string>{{"docs", "<folder>"},
                                                  {"docs/index.html", "<p>"},
                                                  {"latest.tar.gz", "package"},
                                                  {"pkg-1.2.tar.gz", "package"}}));
    EXPECT_FALSE(fs::is_symlink(local / "site" / "latest.tar.gz"));
    EXPECT_FALSE(window->LastTree().whole);
    EXPECT_EQ(window->LastTree().files, 3);
    ASSERT_EQ(alerts.Texts().size(), 1u);
    EXPECT_NE(alerts.Texts()[0].find(": 2 entries were left out"), std::string::npos)
        << alerts.Texts()[0];
}

}  // namespace
