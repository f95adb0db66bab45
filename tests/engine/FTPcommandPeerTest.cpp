// Transcripts: a scripted peer plays the server, the test checks the bytes the client sent.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "FTPcommand.h"
#include "Recorders.h"
#include "ScriptedPeer.h"

namespace {

using namespace std::chrono_literals;

class FTPcommandPeerTest : public ::testing::Test {
protected:
    // Connects without logging on; the script starts with the greeting.
    void Connect() {
        peer.Start();
        std::string port = std::to_string(peer.Port());
        ftp->SetLog(&log);
        ftp->SetTimeout(5000);
        ASSERT_EQ(ftp->Init("127.0.0.1", port.c_str(), nullptr, nullptr, nullptr), 0);
    }
    std::string Sent() {
        ftp.reset();  // closes the connection so that the peer's script ends
        peer.WaitDone();
        return peer.Received();
    }

    AlertRecorder alerts;
    LogRecorder log;
    ScriptedPeer peer;
    std::unique_ptr<FTPcommand> ftp = std::make_unique<FTPcommand>();
};

TEST_F(FTPcommandPeerTest, ContinuationLineOf230EndsTheUserWait) {
    peer.Reply("220 hello")
        .Expect("USER bob")
        .Reply("230-Welcome")
        .Reply("230-to the scripted peer")
        .Expect("PASS pw")
        .Reply("230 last line of the first reply")
        .Silence();
    peer.Start();
    std::string port = std::to_string(peer.Port());
    StatusRecorder status;
    ftp->SetLog(&log);
    ASSERT_EQ(ftp->Init("127.0.0.1", port.c_str(), "bob", "pw", &status), 0);
    EXPECT_EQ(Sent(), "USER bob\r\nPASS pw\r\n");
    EXPECT_TRUE(peer.Mismatches().empty());
    EXPECT_EQ(status.Operations(),
              (std::vector<std::string>{"CONNECTING...", "CONNECT OK", "LOGIN...",
                                        "LOGIN...Waiting for reply...", "PASSWORD...",
                                        "PASSWORD...Waiting for reply...", "LOGIN COMPLETE."}));
    for (const char* line : {"CONNECTING...", "CONNECT OK", "LOGIN...", "230-Welcome", "LOGIN OK",
                             "PASSWORD...", "PASSWORD OK", "END LOGIN"}) {
        EXPECT_TRUE(log.Contains(line)) << line;
    }
    EXPECT_TRUE(alerts.Texts().empty());
}

TEST_F(FTPcommandPeerTest, TextsFollowTheLogOn) {
    peer.Reply("220 hello")
        .Expect("USER")
        .Reply("331 pw?")
        .Expect("PASS")
        .Reply("230 in")
        .Silence();
    peer.Start();
    std::string port = std::to_string(peer.Port());
    ASSERT_EQ(ftp->Init("localhost", port.c_str(), "u", "", nullptr), 0);
    EXPECT_EQ(ftp->HostText(), "localhost");
    EXPECT_EQ(ftp->OperationText(), "LOGIN COMPLETE");
    EXPECT_EQ(Sent(), "USER u\r\nPASS \r\n");  // an empty password is still sent
}

TEST_F(FTPcommandPeerTest, EmptyUserAndNullPasswordSendNothing) {
    peer.Reply("220 hello").Silence();
    Connect();
    StatusRecorder status;
    FTPcommand& f = *ftp;
    ASSERT_EQ(f.Init(nullptr, nullptr, "", nullptr, &status), 0);
    EXPECT_EQ(status.Operations(),
              (std::vector<std::string>{"LOGIN...", "LOGIN...skiped", "PASSWORD...",
                                        "PASSWORD...skiped", "LOGIN COMPLETE."}));
    EXPECT_TRUE(log.Contains("LOGIN...skiped"));
    EXPECT_TRUE(log.Contains("PASSWORD...skiped"));
    EXPECT_EQ(Sent(), "");
}

TEST_F(FTPcommandPeerTest, RefusedPasswordAlertsThenQuits) {
    peer.Reply("220 hello")
        .Expect("USER")
        .Reply("331 pw?")
        .Expect("PASS")
        .Reply("530 Login incorrect.")
        .Expect("QUIT")
        .Reply("221 bye");
    peer.Start();
    std::string port = std::to_string(peer.Port());
    EXPECT_EQ(ftp->Init("127.0.0.1", port.c_str(), "u", "bad", nullptr), 1);
    EXPECT_EQ(alerts.Texts(), std::vector<std::string>{"Password not accepted."});
    EXPECT_EQ(Sent(), "USER u\r\nPASS bad\r\nQUIT\r\n");
}

TEST_F(FTPcommandPeerTest, NoReplyToUserAlertsErrorDuringLogon) {
    peer.Reply("220 hello").Expect("USER").Close();
    peer.Start();
    std::string port = std::to_string(peer.Port());
    EXPECT_EQ(ftp->Init("127.0.0.1", port.c_str(), "u", "p", nullptr), 1);
    EXPECT_EQ(alerts.Texts(), std::vector<std::string>{"Error during logon."});
}

TEST_F(FTPcommandPeerTest, CwdResultsFollowTheReplyCodes) {
    peer.Reply("220 hello")
        .Expect("CWD /a")
        .Reply("550 No such directory.")
        .Expect("CWD /b")
        .Reply("500 What?")
        .Expect("CWD /c")
        .Reply("530 Not logged in.")
        .Expect("CWD /d")
        .Reply("150 unrelated")
        .Reply("250 ok")
        .Expect("CWD")
        .Reply("250 home")
        .Silence();
    Connect();
    EXPECT_EQ(ftp->CWD("/a"), 3);
    EXPECT_EQ(ftp->CWD("/b"), 2);
    EXPECT_EQ(ftp->CWD("/c"), 4);
    EXPECT_EQ(ftp->CWD("/d"), 0);
    EXPECT_EQ(ftp->CWD(nullptr), 0);
    EXPECT_EQ(Sent(), "CWD /a\r\nCWD /b\r\nCWD /c\r\nCWD /d\r\nCWD\r\n");
}

TEST_F(FTPcommandPeerTest, CommandsSendExactBytes) {
    peer.Reply("220 hello")
        .Expect("MKD")
        .Reply("257 \"/new dir\" created")
        .Expect("RMD")
        .Reply("250 removed")
        .Expect("DELE")
        .Reply("450 busy")
        .Expect("RNFR")
        .Reply("350 ready")
        .Expect("RNTO")
        .Reply("250 renamed")
        .Expect("REST")
        .Reply("350 restarting")
        .Expect("TYPE A")
        .Reply("200 ascii")
        .Expect("TYPE I")
        .Reply("200 binary")
        .Expect("MODE S")
        .Reply("200 stream")
        .Expect("SITE")
        .Expect("QUIT")
        .Reply("221 bye");
    Connect();
    EXPECT_EQ(ftp->MKD("new dir"), 0);
    EXPECT_EQ(ftp->RMD("old"), 0);
    EXPECT_EQ(ftp->DELE("busy.txt"), 2);
    EXPECT_EQ(ftp->RENAME("a b", "c"), 0);
    EXPECT_EQ(ftp->REST(1000), 0);
    EXPECT_EQ(ftp->ASCII(), 0);
    EXPECT_EQ(ftp->BINARY(), 0);
    EXPECT_EQ(ftp->MODESTREAM(), 0);
    EXPECT_EQ(ftp->SendRAW("SITE CHMOD 644 x"), 0);
    EXPECT_EQ(ftp->QUIT(), 0);
    EXPECT_EQ(Sent(),
              "MKD new dir\r\nRMD old\r\nDELE busy.txt\r\nRNFR a b\r\nRNTO c\r\nREST 1000\r\n"
              "TYPE A\r\nTYPE I\r\nMODE S\r\nSITE CHMOD 644 x\r\nQUIT\r\n");
}

TEST_F(FTPcommandPeerTest, MissingArgumentsAndEmptyCommandsSendNothing) {
    peer.Reply("220 hello").Silence();
    Connect();
    EXPECT_EQ(ftp->REST(0), 1);
    EXPECT_EQ(ftp->SendRAW(""), 0);
    EXPECT_EQ(ftp->SendRAW(nullptr), 0);
    EXPECT_EQ(ftp->MKD(nullptr), 1);
    EXPECT_EQ(ftp->RMD(nullptr), 1);
    EXPECT_EQ(ftp->DELE(nullptr), 1);
    EXPECT_EQ(ftp->RENAME("a", nullptr), 1);
    EXPECT_EQ(Sent(), "");
}

TEST_F(FTPcommandPeerTest, ModeStreamAfterStopSendsNothing) {
    peer.Reply("220 hello").Silence();
    Connect();
    EXPECT_EQ(ftp->STOP(), 0);
    EXPECT_EQ(ftp->MODESTREAM(), 0);
    EXPECT_EQ(ftp->WaitFor("200", "200", nullptr, nullptr), 0);  // every wait counts as accepted
    EXPECT_EQ(Sent(), "");
}

TEST_F(FTPcommandPeerTest, PwdReturnsThePathBetweenQuotes) {
    peer.Reply("220 hello")
        .Expect("PWD")
        .Reply("200 noise first")
        .Reply("257 \"/pub/incoming\" is the current directory")
        .Expect("PWD")
        .Close();
    Connect();
    EXPECT_EQ(ftp->PWD(), "/pub/incoming");
    EXPECT_EQ(ftp->PWD(), std::nullopt);  // the connection closed before any 257
    EXPECT_EQ(ftp->PWD(), std::nullopt);
}

TEST_F(FTPcommandPeerTest, StopFromAnotherThreadEndsAWaitOnASilentServer) {
    peer.Reply("220 hello").Expect("CWD").Silence();
    Connect();
    ftp->SetTimeout(30000);
    std::thread stopper([this] {
        std::this_thread::sleep_for(200ms);
        ftp->STOP();
    });
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(ftp->CWD("/slow"), 0);  // a stopped wait counts as accepted
    EXPECT_LT(std::chrono::steady_clock::now() - start, 1s);
    stopper.join();
    EXPECT_TRUE(ftp->IsStopped());
}

TEST_F(FTPcommandPeerTest, SilentServerTimesOutWithResult1) {
    peer.Reply("220 hello").Expect("CWD").Silence();
    Connect();
    ftp->SetTimeout(300);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(ftp->CWD("/slow"), 1);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
    EXPECT_EQ(ftp->PWD(), std::nullopt);
}

TEST_F(FTPcommandPeerTest, ClosedConnectionEndsTheWaitWithResult1) {
    peer.Reply("220 hello").Expect("CWD").Raw("250 half a li").Close();
    Connect();
    EXPECT_EQ(ftp->CWD("/x"), 1);
}

TEST_F(FTPcommandPeerTest, HundredKilobyteReplyLineNeitherCrashesNorHangs) {
    peer.Reply("220 hello")
        .Expect("CWD")
        .Reply("150 " + std::string(100 * 1024, 'x'))
        .Reply("250 " + std::string(100 * 1024, 'y'))
        .Silence();
    Connect();
    EXPECT_EQ(ftp->CWD("/big"), 0);
    auto lines = log.Lines();
    ASSERT_FALSE(lines.empty());
    EXPECT_LT(lines.back().size(), 6000u);
}

TEST(FTPcommandTest, UnknownHostGives1AndRefusedPortGives1) {
    AlertRecorder alerts;
    FTPcommand unknown;
    EXPECT_EQ(unknown.Init("no-such-host.invalid", "21", "u", "p", nullptr), 1);
    EXPECT_EQ(unknown.HostText(), "no-such-host.invalid ?");
    FTPcommand refused;
    int port;
    {
        ScriptedPeer closedSoon;
        port = closedSoon.Port();
    }
    std::string portText = std::to_string(port);
    EXPECT_EQ(refused.Init("127.0.0.1", portText.c_str(), "u", "p", nullptr), 1);
    EXPECT_TRUE(alerts.Texts().empty());  // the caller words a connection failure
}

TEST(FTPcommandTest, CommandsWithoutAConnectionFailQuietly) {
    AlertRecorder alerts;
    FTPcommand idle;
    EXPECT_EQ(idle.CWD("/"), 1);
    EXPECT_EQ(idle.PWD(), std::nullopt);
    EXPECT_EQ(idle.STOP(), 0);
    EXPECT_TRUE(alerts.Texts().empty());
}

}  // namespace
