// The control and data connections as transcripts: a scripted peer plays a server that
// misbehaves the way real ones do; the test checks what the client sent, the bytes on the data
// connection, what it returned, what ended up on disk and what the user saw.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <thread>

#include "BarMonitor.h"
#include "FTPcommand.h"
#include "ListingMonitor.h"
#include "LocalPort.h"
#include "Recorders.h"
#include "ScriptedPeer.h"
#include "TempDir.h"
#include "ViewFolder.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

class FTPcommandPeerTest : public ::testing::Test {
protected:
    // Connects, and logs on when a user is given; the script starts with the greeting.
    int LogOn(const char* user, const char* password, int timeoutMs = 5000) {
        peer.Start();
        std::string port = std::to_string(peer.Port());
        ftp->SetLog(&log);
        ftp->SetTimeout(timeoutMs);
        return ftp->Init("127.0.0.1", port.c_str(), user, password, &status);
    }
    void Connect() { ASSERT_EQ(LogOn(nullptr, nullptr), 0); }
    // Closes the connection so that the peer's script ends; every byte the client sent.
    std::string Sent() {
        ftp.reset();
        peer.WaitDone();
        EXPECT_TRUE(peer.Mismatches().empty()) << peer.Mismatches().front();
        return peer.Received();
    }
    std::string Local() const { return folder.Path().string() + "/"; }
    int List(FTPcommand::Items& files, FTPcommand::Items& directories, int mode = 1) {
        return ftp->LISTING(nullptr, &files, &directories, nullptr, mode, nullptr, nullptr);
    }

    AlertRecorder alerts;
    LogRecorder log;
    StatusRecorder status;
    TempDir folder;
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
         [](ScriptedPeer& p) {
             p.Reply("220 hi").Expect("USER").Reply("332 Need account.").Expect("QUIT");
             p.Reply("221 bye");
         },
         "bob",
         "USER bob\r\nQUIT\r\n",
         {"The server refused the log-on:\n332 Need account."}},
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
        .Reply("150 noise first")
        .Reply("257 \"/d\" is the current directory")
        .Expect("PWD")
        .Reply("550 no directory")
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
        .Expect("PWD")
        .Close();
    Connect();
    EXPECT_EQ(ftp->CWD("dir250"), 3);
    EXPECT_EQ(ftp->CWD("/b"), 2);
    EXPECT_EQ(ftp->CWD("/c"), 4);
    EXPECT_EQ(ftp->CWD("/d"), 0);
    EXPECT_EQ(ftp->BINARY(), 0);
    EXPECT_EQ(ftp->PWD(), "/d");
    EXPECT_EQ(ftp->PWD(), std::nullopt);
    EXPECT_EQ(ftp->DELE("busy.txt"), 2);
    EXPECT_EQ(ftp->RENAME("a b", "c"), 0);
    EXPECT_EQ(ftp->RENAME("missing", "other"), 3);  // no RNTO after a refused RNFR
    EXPECT_EQ(ftp->REST(4294967396LL), 0);
    EXPECT_EQ(ftp->MODESTREAM(), 0);
    EXPECT_EQ(ftp->SendRAW("SITE CHMOD 644 x"), 0);
    EXPECT_EQ(ftp->PWD(), std::nullopt);  // the connection closed before any reply
    EXPECT_EQ(ftp->PWD(), std::nullopt);
    EXPECT_EQ(Sent(),
              "CWD dir250\r\nCWD /b\r\nCWD /c\r\nCWD /d\r\nTYPE I\r\nPWD\r\nPWD\r\n"
              "DELE busy.txt\r\nRNFR a b\r\nRNTO c\r\nRNFR missing\r\n"
              "REST 4294967396\r\nMODE S\r\nSITE CHMOD 644 x\r\nPWD\r\n");
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

// Data connections.
class ViewRecorder : public ListingMonitor {
public:
    void Clear() override { lines.clear(); }
    void AddLine(const EntryStringItem& line) override { lines.push_back(line); }
    void ShowLast() override {}
    std::vector<EntryStringItem> lines;
};

class BarRecorder : public BarMonitor {
public:
    void SetText(const std::string& text) override { texts.push_back(text); }
    std::vector<std::string> texts;
};

using TransferPeerTest = FTPcommandPeerTest;

TEST_F(TransferPeerTest, PassiveGetConnectsToTheControlPeerWhateverTheReplySays) {
    // The 227 names another machine: the data connection still goes to 127.0.0.1.
    peer.Reply("220 hi")
        .Expect("PASV")
        .Passive("192,168,1,2")
        .Expect("RETR a.bin")
        .Reply("150 here it comes")
        .SendData(std::string("\0\1\2\r\n\xff", 6))
        .Reply("226 done")
        .Silence();
    Connect();
    EXPECT_EQ(ftp->GETBINARY("a.bin", Local().c_str(), nullptr, 1, false), 0);
    EXPECT_EQ(TempDir::Read(folder / "a.bin"), std::string("\0\1\2\r\n\xff", 6));
    EXPECT_EQ(ftp->TransferTotal(), 0);
    EXPECT_EQ(ftp->TransferDone(), 0);
    EXPECT_EQ(Sent(), "PASV\r\nRETR a.bin\r\n");
}

TEST_F(TransferPeerTest, AnActiveModeIntruderNeverBecomesTheFile) {
    peer.Reply("220 hi")
        .Active()
        .Expect("RETR f.txt")
        .Intrude("127.0.0.2", "evil bytes")
        .Reply("150 ok")
        .SendData("the real file")
        .Reply("226 done")
        .Silence();
    Connect();
    ftp->SetNextActivePort(0);
    EXPECT_EQ(ftp->GETBINARY("f.txt", Local().c_str(), nullptr, 0, false), 0);
    EXPECT_EQ(TempDir::Read(folder / "f.txt"), "the real file");
    EXPECT_TRUE(log.Contains("Data connection from 127.0.0.2 refused: it is not the server."));
    Sent();
}

TEST_F(TransferPeerTest, PortSkipsATakenPortAndRetriesTenPortsOnAfter425) {
    int taken = 0;
    int held = ListenOnLoopback(taken);
    peer.Reply("220 hi")
        .Active()
        .Expect("RETR f.txt")
        .Reply("425 Can't open data connection.")
        .Active()
        .Expect("RETR f.txt")
        .Reply("150 ok")
        .SendData("payload")
        .Reply("226 done")
        .Silence();
    Connect();
    ftp->SetNextActivePort(taken);
    EXPECT_EQ(ftp->GETBINARY("f.txt", Local().c_str(), nullptr, 0, false), 0);
    EXPECT_EQ(TempDir::Read(folder / "f.txt"), "payload");
    Sent();
    // Other tests may hold the ports just above too: those are skipped the same way.
    std::vector<int> ports = peer.AnnouncedPorts();
    ASSERT_EQ(ports.size(), 2u);
    EXPECT_GT(ports[0], taken);
    EXPECT_LT(ports[0], taken + 10);
    EXPECT_GE(ports[1], ports[0] + 10);
    EXPECT_LT(ports[1], ports[0] + 20);
    close(held);
}

TEST_F(TransferPeerTest, ARefusedRetrLeavesAnExistingLocalFileAsItWas) {
    folder.Write("q1250.csv", "precious");
    peer.Reply("220 hi");
    for (const char* refusal : {"550 q1250.csv: No such file or directory", "530 Not logged in.",
                                "314 A code nobody waits for."}) {
        peer.Expect("PASV").Passive().Expect("RETR q1250.csv").Reply(refusal);
    }
    peer.Silence();
    Connect();
    EXPECT_EQ(ftp->GETBINARY("q1250.csv", Local().c_str(), nullptr, 1, false), 2);
    EXPECT_EQ(ftp->GETASCII("q1250.csv", Local().c_str(), nullptr, 1, false), 4);
    EXPECT_EQ(ftp->GETBINARY("q1250.csv", Local().c_str(), nullptr, 1, false), 4);
    EXPECT_EQ(TempDir::Read(folder / "q1250.csv"), "precious");
    Sent();
}

TEST_F(TransferPeerTest, AFailedTransferIsReportedAndTheNextCommandGetsItsOwnReply) {
    struct Case {
        const char* name;
        std::function<void(ScriptedPeer&)> data;
        const char* finalReply;
        std::function<int(FTPcommand&, const std::string&)> transfer;
    };
    auto get = [](FTPcommand& f, const std::string& local) {
        return f.GETBINARY("f.bin", local.c_str(), nullptr, 1, false);
    };
    auto put = [](FTPcommand& f, const std::string& local) {
        return f.PUTBINARY("f.bin", local.c_str(), nullptr, 1);
    };
    const Case cases[] = {
        {"download reset", [](ScriptedPeer& p) { p.ResetData("the first half"); },
         "426 Connection closed; transfer aborted.", get},
        {"upload reset", [](ScriptedPeer& p) { p.ResetData(); }, "452 Disk full", put},
        {"download refused at its end", [](ScriptedPeer& p) { p.SendData("all of it"); },
         "451 Local error in processing.", get},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TempDir local;
        local.Write("f.bin", std::string(8 * 1024 * 1024, 'u'));
        AlertRecorder alerts;
        ScriptedPeer peer;
        peer.Reply("220 hi").Expect("PASV").Passive().Expect("").Reply("150 ok");
        c.data(peer);
        peer.Reply(c.finalReply).Expect("PWD").Reply("257 \"/still/in/step\"").Silence();
        peer.Start();
        FTPcommand f;
        f.SetTimeout(5000);
        ASSERT_EQ(
            f.Init("127.0.0.1", std::to_string(peer.Port()).c_str(), nullptr, nullptr, nullptr), 0);
        EXPECT_NE(c.transfer(f, local.Path().string() + "/"), 0);
        EXPECT_EQ(f.PWD(), "/still/in/step");
        EXPECT_EQ(f.TransferDone(), 0);
    }
}

TEST_F(TransferPeerTest, ResumingAPartBeyond4GiBSendsItsWholeOffsetAndShowsTheRealTotal) {
    constexpr long long kPart = 4294967296LL + 100;
    {
        std::FILE* part = std::fopen((folder / "big.iso").c_str(), "w");
        ASSERT_EQ(ftruncate(fileno(part), kPart), 0);  // sparse: no disk space needed
        std::fclose(part);
    }
    peer.Reply("220 hi")
        .Expect("PASV")
        .Passive()
        .Expect("LIST")
        .Reply("150 ok")
        .SendData("-rw-r--r-- 1 a b 5368709120 Jan 01 12:00 big.iso\r\n")
        .Reply("226 done")
        .Expect("PASV")
        .Passive()
        .Expect("REST 4294901860")  // the part's size less the overlap compared before appending
        .Reply("350 Restarting at 4294901860.")
        .Expect("RETR big.iso")
        .Reply("150 ok")
        .SendData(std::string(FTPcommand::kResumeOverlap, '\0') + "tail")
        .Reply("226 done")
        .Silence();
    Connect();
    FTPcommand::Items files;
    FTPcommand::Items directories;
    ASSERT_EQ(List(files, directories), 0);
    StatusRecorder status;
    EXPECT_EQ(ftp->REGETBINARY("big.iso", Local().c_str(), &status, 1), 0);
    EXPECT_EQ(fs::file_size(folder / "big.iso"), static_cast<std::uintmax_t>(kPart + 4));
    EXPECT_EQ(status.Max(), 5368709120LL);
    EXPECT_EQ(status.Bytes(), kPart + 4);  // the part already there is reported at once
    Sent();
}

TEST_F(TransferPeerTest, NothingIsSentWithoutALocalFileToSendOrResume) {
    folder.Write("empty.bin", "");
    peer.Reply("220 hi").Silence();
    Connect();
    EXPECT_EQ(ftp->PUTBINARY("absent.bin", Local().c_str(), nullptr, 1), 1);
    EXPECT_EQ(ftp->PUTBINARY(nullptr, Local().c_str(), nullptr, 1), 1);
    EXPECT_EQ(ftp->GETBINARY(nullptr, Local().c_str(), nullptr, 1, false), 1);
    EXPECT_EQ(ftp->REGETBINARY("f.bin", Local().c_str(), nullptr, 1), 1);
    EXPECT_EQ(ftp->REGETBINARY("empty.bin", Local().c_str(), nullptr, 0), 1);
    EXPECT_TRUE(Sent().empty());
}

TEST_F(TransferPeerTest, AsciiTransfersConvertLineEndsAndCountWhatTheyConvert) {
    folder.Write("up.txt", "a\nb\n");
    peer.Reply("220 hi")
        .Expect("PASV")
        .Passive()
        .Expect("RETR t.txt")
        .Reply("150 ok")
        .SendData("a\r\nb\r\n")
        .Reply("226 done")
        .Expect("PASV")
        .Passive()
        .Expect("STOR up.txt")
        .Reply("150 ok")
        .ReceiveData()
        .Reply("226 done")
        .Silence();
    Connect();
    StatusRecorder got;
    EXPECT_EQ(ftp->GETASCII("t.txt", Local().c_str(), &got, 1, false), 0);
    EXPECT_EQ(TempDir::Read(folder / "t.txt"), "a\nb\n");
    EXPECT_EQ(got.Bytes(), 4);  // bytes written
    StatusRecorder put;
    EXPECT_EQ(ftp->PUTASCII("up.txt", Local().c_str(), &put, 1), 0);
    EXPECT_EQ(put.Bytes(), 6);  // the two CRs added, then the four bytes of the file
    Sent();
    EXPECT_EQ(peer.DataReceived(), "a\r\nb\r\n");
}

TEST_F(TransferPeerTest, FetchedFilesStayInsideTheirFolderAndViewedOnesArePrivate) {
    peer.Reply("220 hi");
    for (const char* name : {"../../escape.txt", "pipe", "viewed.txt"}) {
        peer.Expect("PASV").Passive().Expect(std::string("RETR ") + name).Reply("150 ok");
        peer.SendData("inside").Reply("226 done");
    }
    peer.Silence();
    fs::create_directories(folder / "deep" / "down");
    std::string local = (folder / "deep" / "down").string() + "/";
    ASSERT_EQ(mkfifo((folder / "deep" / "down" / "pipe").c_str(), 0600), 0);
    TempDir runtime;
    setenv("XDG_RUNTIME_DIR", runtime.Path().c_str(), 1);
    auto view = std::make_shared<ViewFolder>();
    unsetenv("XDG_RUNTIME_DIR");
    ftp->SetViewFolder(view);
    Connect();

    EXPECT_EQ(ftp->GETBINARY("../../escape.txt", local.c_str(), nullptr, 1, false), 0);
    EXPECT_EQ(TempDir::Read(folder / "deep" / "down" / "escape.txt"), "inside");
    EXPECT_FALSE(fs::exists(folder / "escape.txt"));
    EXPECT_NE(ftp->GETBINARY("pipe", local.c_str(), nullptr, 1, false), 0);  // never blocks
    EXPECT_EQ(ftp->GETBINARY("..", local.c_str(), nullptr, 1, false), 1);
    EXPECT_EQ(ftp->GETBINARY("dir/", local.c_str(), nullptr, 1, false), 1);

    EXPECT_EQ(ftp->GETBINARY("viewed.txt", "/ignored/", nullptr, 1, true), 0);
    fs::path viewed = fs::path(view->Path()) / "viewed.txt";
    EXPECT_EQ(TempDir::Read(viewed), "inside");
    EXPECT_EQ(fs::status(viewed).permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(fs::status(view->Path()).permissions() & fs::perms::all, fs::perms::owner_all);
    EXPECT_EQ(fs::path(view->Path()).parent_path().parent_path(), runtime.Path());
    Sent();
    std::string viewFolder = view->Path();
    view.reset();
    EXPECT_FALSE(fs::exists(viewFolder));  // gone with the session
}

TEST_F(TransferPeerTest, PasvOnAClosedOrRefusingConnectionGives0) {
    peer.Reply("220 hi").Expect("PASV").Reply("502 Not implemented.").Expect("PASV").Close();
    Connect();
    EXPECT_EQ(ftp->PASV(), 0);
    EXPECT_EQ(ftp->PASV(), 0);
    FTPcommand idle;
    EXPECT_EQ(idle.PASV(), 0);
    EXPECT_EQ(idle.PORT(), 1);
}

const char* const kListing =
    "total 42\r\n"
    "drwxr-xr-x 2 ftp ftp 4096 Jan 01 12:00 .\r\n"
    "drwxr-xr-x 2 ftp ftp 4096 Jan 01 12:00 my dir\r\n"
    "lrwxrwxrwx 1 ftp ftp 7 Jan 01 12:00 bin -> usr/bin\r\n"
    "\r\n"
    "-rw-r--r-- 1 ftp ftp 123 Jan 01 12:00 readme\r\n"
    "01-01-20  12:00PM       <DIR>          dosdir\r\n"
    "01-01-20  12:00PM             1234 dos file.txt\r\n"
    "-rw-r--r-- 1 ftp ftp 66 Jan 01 12:00 ../x\r\n";

TEST_F(TransferPeerTest, ListingFillsBothPanesTheViewAndTheMiniBase) {
    peer.Reply("220 hi")
        .Expect("PASV")
        .Passive()
        .Expect("LIST /pub")
        .Reply("150 Here comes the listing.")
        .SendData(kListing)
        .Reply("226 Directory send OK.")
        .Silence();
    Connect();
    FTPcommand::Items files;
    FTPcommand::Items directories;
    StatusRecorder status;
    ViewRecorder view;
    BarRecorder bar;
    EXPECT_EQ(ftp->LISTING("/pub", &files, &directories, &status, 1, &view, &bar), 0);

    auto names = [](const FTPcommand::Items& items) {
        std::vector<std::pair<std::string, int>> out;
        for (const auto& item : items) {
            out.emplace_back(item.text, item.type);
        }
        return out;
    };
    using Named = std::vector<std::pair<std::string, int>>;
    EXPECT_EQ(names(directories), (Named{{"my dir", 1}, {"bin", 2}, {"dosdir", 1}}));
    EXPECT_EQ(names(files), (Named{{"bin", 2}, {"readme", 0}, {"dos file.txt", 0}}));
    ASSERT_EQ(view.lines.size(), 5u);
    EXPECT_EQ(view.lines[0].text, "drwxr-xr-x 2 ftp ftp 4096 Jan 01 12:00 my dir");
    EXPECT_EQ(view.lines[0].colour, 0x000064FFu);
    EXPECT_EQ(ftp->FindSize("readme"), 123);
    EXPECT_EQ(ftp->FindSize("README"), 0);
    EXPECT_EQ(ftp->FindSize("dos file.txt"), 1234);
    EXPECT_EQ(ftp->FindSize("../x"), 0);
    EXPECT_EQ(status.Counts().back(), std::make_pair(2, 3));
    EXPECT_EQ(bar.texts.back(), "2 File(s), 3 Directory(s) fetched...");
    EXPECT_TRUE(log.Contains("Unsafe name skipped: ../x"));
    Sent();
}

TEST_F(TransferPeerTest, AnIncompleteListingIsAnError) {
    std::string endless;
    for (int i = 0; i < 101; ++i) {
        endless += "-rw-r--r-- 1 a b 1 Jan 01 12:00 f" + std::to_string(i) + "\r\n";
    }
    peer.Reply("220 hi");
    peer.Expect("PASV").Passive().Expect("LIST").Reply("150 ok").ResetData(kListing);
    peer.Reply("426 Connection reset.");
    peer.Expect("PASV").Passive().Expect("LIST").Reply("150 ok").SendData(kListing);
    peer.Reply("451 Listing failed.");
    peer.Expect("PASV").Passive().Expect("LIST").Reply("150 ok").SendData(endless);
    peer.Reply("226 done");
    peer.Expect("PWD").Reply("257 \"/\"").Silence();
    Connect();
    ftp->SetListingLimit(100);
    FTPcommand::Items files;
    FTPcommand::Items directories;
    EXPECT_NE(List(files, directories), 0);
    EXPECT_NE(List(files, directories), 0);
    EXPECT_NE(List(files, directories), 0);
    EXPECT_TRUE(log.Contains("The listing passed 100 lines and was stopped there."));
    EXPECT_TRUE(log.Contains("The listing is incomplete."));
    EXPECT_EQ(ftp->PWD(), "/");
    Sent();
}

// Sizes come from the last listing; of two entries with one name the first answers.
TEST_F(TransferPeerTest, ASecondActiveListingReplacesTheSizesOfTheFirst) {
    peer.Reply("220 hi");
    for (const char* name : {"first", "second"}) {
        peer.Active().Expect("LIST").Reply("150 ok");
        peer.SendData(std::string("-rw-r--r-- 1 a b 5 Jan 01 12:00 ") + name + "\r\n" +
                      "-rw-r--r-- 1 a b 9 Jan 01 12:00 " + name + "\r\n");
        peer.Reply("226 done");
    }
    peer.Silence();
    Connect();
    FTPcommand::Items files;
    FTPcommand::Items directories;
    EXPECT_EQ(List(files, directories, 0), 0);
    EXPECT_EQ(ftp->FindSize("first"), 5);
    EXPECT_EQ(List(files, directories, 0), 0);
    EXPECT_EQ(ftp->FindSize("first"), 0);
    EXPECT_EQ(ftp->FindSize("second"), 5);
    Sent();
}

}  // namespace
