// The control connection as transcripts: a scripted peer plays a server that misbehaves the way
// real ones do; the test checks what the client sent, what it returned and what the user saw.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <thread>

#include "FTPcommand.h"
#include "Recorders.h"
#include "ScriptedPeer.h"

namespace {

using namespace std::chrono_literals;

class FTPcommandPeerTest : public ::testing::Test {
protected:
    int LogOn(const char* user, const char* password, int timeoutMs = 5000) {
        peer.Start();
        std::string port = std::to_string(peer.Port());
        ftp->SetLog(&log);
        ftp->SetTimeout(timeoutMs);
        return ftp->Init("127.0.0.1", port.c_str(), user, password, &status);
    }
    // Connects without logging on; the script starts with the greeting.
    void Connect() { ASSERT_EQ(LogOn(nullptr, nullptr), 0); }
    std::string Sent() {
        ftp.reset();  // closes the connection so that the peer's script ends
        peer.WaitDone();
        EXPECT_TRUE(peer.Mismatches().empty()) << peer.Mismatches().front();
        return peer.Received();
    }

    AlertRecorder alerts;
    LogRecorder log;
    StatusRecorder status;
    ScriptedPeer peer;
    std::unique_ptr<FTPcommand> ftp = std::make_unique<FTPcommand>();
};

TEST_F(FTPcommandPeerTest, AMultiLineGreetingWithNumbersInItLogsOn) {
    peer.Reply("220-Welcome. At most 500 users at a time.")
        .Reply("220-Please be 331 kind.")
        .Reply("220 Ready.")
        .Expect("USER bob")
        .Reply("331 Password please.")
        .Expect("PASS pw")
        .Reply("230 In.")
        .Silence();
    ASSERT_EQ(LogOn("bob", "pw"), 0);
    EXPECT_EQ(ftp->OperationText(), "LOGIN COMPLETE");
    EXPECT_EQ(Sent(), "USER bob\r\nPASS pw\r\n");
    EXPECT_EQ(status.Operations(),
              (std::vector<std::string>{"CONNECTING...", "CONNECT OK", "LOGIN...",
                                        "LOGIN...Waiting for reply...", "PASSWORD...",
                                        "PASSWORD...Waiting for reply...", "LOGIN COMPLETE."}));
    for (const char* line :
         {"220-Welcome. At most 500 users at a time.", "LOGIN OK", "PASSWORD OK", "END LOGIN"}) {
        EXPECT_TRUE(log.Contains(line)) << line;
    }
    EXPECT_TRUE(alerts.Texts().empty());
}

TEST_F(FTPcommandPeerTest, LogOnEndsAsTheServerSaysAndNeverWaitsForACodeThatWillNotCome) {
    struct Case {
        const char* name;
        std::function<void(ScriptedPeer&)> script;
        const char* user;
        std::string sent;
        std::vector<std::string> alerts;
    };
    const Case cases[] = {
        {"greeting refused",
         [](ScriptedPeer& p) { p.Reply("421 Too many users, try later."); },
         "bob",
         "",
         {"421 Too many users, try later."}},
        {"USER answered 332",
         [](ScriptedPeer& p) { p.Reply("220 hi").Expect("USER").Reply("332 Need account."); },
         "bob",
         "USER bob\r\n",
         {}},
        {"USER answered 230 needs no PASS",
         [](ScriptedPeer& p) {
             p.Reply("220 hi").Expect("USER").Reply("230-Welcome").Reply("230 in");
         },
         "anonymous",
         "USER anonymous\r\n",
         {}},
        {"closed after USER",
         [](ScriptedPeer& p) { p.Reply("220 hi").Expect("USER").Close(); },
         "bob",
         "USER bob\r\n",
         {"Error during logon."}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        AlertRecorder alerts;
        ScriptedPeer peer;
        c.script(peer);
        peer.Silence();
        peer.Start();
        auto ftp = std::make_unique<FTPcommand>();
        ftp->SetTimeout(5000);
        auto start = std::chrono::steady_clock::now();
        int result =
            ftp->Init("127.0.0.1", std::to_string(peer.Port()).c_str(), c.user, "pw", nullptr);
        EXPECT_EQ(result, c.alerts.empty() && c.sent.starts_with("USER anonymous") ? 0 : 1);
        EXPECT_LT(std::chrono::steady_clock::now() - start, 4s);  // no wait for a missing code
        ftp.reset();
        peer.WaitDone();
        EXPECT_EQ(peer.Received(), c.sent);
        EXPECT_EQ(alerts.Texts(), c.alerts);
    }
}

TEST_F(FTPcommandPeerTest, ASilentServerEndsTheLogOnWithinItsTimeOutAndAShortGoodbye) {
    peer.Reply("220 hi").Expect("USER").Silence();
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(LogOn("bob", "pw", 600), 1);
    // The reply wait, then a goodbye that waits no longer than the reply did.
    EXPECT_LT(std::chrono::steady_clock::now() - start, 1800ms);
    EXPECT_EQ(alerts.Texts(), std::vector<std::string>{"Error during logon."});
    EXPECT_EQ(Sent(), "USER bob\r\nQUIT\r\n");
}

TEST_F(FTPcommandPeerTest, ResultsFollowTheReplyCodeAndEachCommandReadsItsWholeReply) {
    peer.Reply("220 hello")
        .Expect("CWD dir250")
        .Reply("550 dir250: No such file or directory")
        .Expect("CWD /b")
        .Reply("500 What?")
        .Expect("CWD /c")
        .Reply("530 Not logged in.")
        .Expect("CWD /d")
        .Reply("250-Changed to /d.")
        .Reply("250-This folder holds 550 files.")
        .Reply("250 Enjoy.")
        .Expect("TYPE I")
        .Reply("226 Whatever, binary it is.")
        .Expect("PWD")
        .Reply("257 \"/d\" is the current directory")
        .Expect("DELE")
        .Reply("450 busy")
        .Expect("RNFR a b")
        .Reply("350 ready")
        .Expect("RNTO c")
        .Reply("250 renamed")
        .Expect("RNFR missing")
        .Reply("550 No such file.")
        .Expect("REST 4294967396")
        .Reply("350 Yeah yeah we set it there for you")
        .Expect("MODE S")
        .Reply("200 stream")
        .Expect("SITE")
        .Expect("QUIT")
        .Reply("221 bye");
    Connect();
    EXPECT_EQ(ftp->CWD("dir250"), 3);
    EXPECT_EQ(ftp->CWD("/b"), 2);
    EXPECT_EQ(ftp->CWD("/c"), 4);
    EXPECT_EQ(ftp->CWD("/d"), 0);
    EXPECT_EQ(ftp->BINARY(), 0);
    EXPECT_EQ(ftp->PWD(), "/d");
    EXPECT_EQ(ftp->DELE("busy.txt"), 2);
    EXPECT_EQ(ftp->RENAME("a b", "c"), 0);
    EXPECT_EQ(ftp->RENAME("missing", "other"), 3);  // no RNTO after a refused RNFR
    EXPECT_EQ(ftp->REST(4294967396LL), 0);
    EXPECT_EQ(ftp->MODESTREAM(), 0);
    EXPECT_EQ(ftp->SendRAW("SITE CHMOD 644 x"), 0);
    EXPECT_EQ(ftp->QUIT(), 0);
    EXPECT_EQ(Sent(),
              "CWD dir250\r\nCWD /b\r\nCWD /c\r\nCWD /d\r\nTYPE I\r\nPWD\r\n"
              "DELE busy.txt\r\nRNFR a b\r\nRNTO c\r\nRNFR missing\r\n"
              "REST 4294967396\r\nMODE S\r\nSITE CHMOD 644 x\r\nQUIT\r\n");
}

TEST_F(FTPcommandPeerTest, ALineBreakInAnyArgumentIsRefusedWithNothingSent) {
    peer.Reply("220 hello").Silence();
    Connect();
    std::string local = "/tmp/";
    FTPcommand::Items files;
    FTPcommand& f = *ftp;
    const std::pair<const char*, std::function<int()>> calls[] = {
        {"CWD", [&] { return f.CWD("pub\r\nDELE victim.txt"); }},
        {"MKD", [&] { return f.MKD("a\nb"); }},
        {"RMD", [&] { return f.RMD("a\rb"); }},
        {"DELE", [&] { return f.DELE("x\r\nRMD /"); }},
        {"RNFR", [&] { return f.RENAME("a\nb", "c"); }},
        {"RNTO", [&] { return f.RENAME("a", "c\nDELE d"); }},
        {"SendRAW", [&] { return f.SendRAW("NOOP\r\nDELE x"); }},
        {"Quote", [&] { return f.Quote("SITE a\nDELE x"); }},
        {"RETR", [&] { return f.GETBINARY("f\r\nDELE x", local.c_str(), nullptr, 1, false); }},
        {"STOR", [&] { return f.PUTBINARY("f\nDELE x", local.c_str(), nullptr, 1); }},
        {"LIST",
         [&] { return f.LISTING("d\nDELE x", &files, &files, nullptr, 1, nullptr, nullptr); }},
    };
    for (const auto& [name, call] : calls) {
        EXPECT_NE(call(), 0) << name;
    }
    FTPcommand logOn;
    EXPECT_NE(logOn.Init(nullptr, nullptr, "bob\r\nDELE x", "pw", nullptr), 0);
    EXPECT_EQ(Sent(), "");
    EXPECT_TRUE(log.Contains("Not sent: a command argument holds a line break."));
}

TEST_F(FTPcommandPeerTest, AStoppedWaitIsNotASuccess) {
    peer.Reply("220 hello").Expect("CWD").Silence();
    Connect();
    ftp->SetTimeout(30000);
    std::thread stopper([this] {
        std::this_thread::sleep_for(200ms);
        ftp->STOP();
    });
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(ftp->CWD("/slow"), 1);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
    stopper.join();
    EXPECT_TRUE(ftp->IsStopped());
    EXPECT_NE(ftp->MODESTREAM(), 0);
    EXPECT_EQ(ftp->WaitFor("200", "200", nullptr, nullptr), 1);
    EXPECT_EQ(Sent(), "CWD /slow\r\n");
}

TEST_F(FTPcommandPeerTest, EndlessOrHugeRepliesEndWithAnErrorInsteadOfGrowing) {
    std::string endless = "211-Features:\r\n";
    for (int i = 0; i < 10001; ++i) {
        endless += " more\r\n";
    }
    peer.Reply("220 hello")
        .Expect("CWD")
        .Reply("250 " + std::string(100 * 1024, 'y'))
        .Expect("FEAT")
        .Raw(endless)
        .Silence();
    Connect();
    EXPECT_EQ(ftp->CWD("/big"), 0);
    EXPECT_LT(log.Lines().back().size(), 6000u);
    EXPECT_EQ(ftp->Quote("FEAT"), 1);
    EXPECT_TRUE(log.Contains("The server's reply passed 10000 lines: connection closed."));
    EXPECT_EQ(ftp->CWD("/"), 1);  // the connection cannot be read in step any more
}

TEST_F(FTPcommandPeerTest, PwdGivesThePathOrNothing) {
    peer.Reply("220 hello")
        .Expect("PWD")
        .Reply("150 noise first")
        .Reply("257 \"/pub/incoming\" is the current directory")
        .Expect("PWD")
        .Reply("550 no directory")
        .Expect("PWD")
        .Close();
    Connect();
    EXPECT_EQ(ftp->PWD(), "/pub/incoming");
    EXPECT_EQ(ftp->PWD(), std::nullopt);
    EXPECT_EQ(ftp->PWD(), std::nullopt);  // the connection closed before any reply
    EXPECT_EQ(ftp->PWD(), std::nullopt);
}

TEST(FTPcommandTest, NoConnectionGives1Quietly) {
    AlertRecorder alerts;
    FTPcommand unknown;
    EXPECT_EQ(unknown.Init("no-such-host.invalid", "21", "u", "p", nullptr), 1);
    EXPECT_EQ(unknown.HostText(), "no-such-host.invalid ?");
    int port;
    {
        ScriptedPeer closedSoon;
        port = closedSoon.Port();
    }
    FTPcommand refused;
    EXPECT_EQ(refused.Init("127.0.0.1", std::to_string(port).c_str(), "u", "p", nullptr), 1);
    FTPcommand idle;
    EXPECT_EQ(idle.CWD("/"), 1);
    EXPECT_EQ(idle.PWD(), std::nullopt);
    EXPECT_EQ(idle.STOP(), 0);
    EXPECT_TRUE(alerts.Texts().empty());  // the caller words a connection failure
}

}  // namespace
