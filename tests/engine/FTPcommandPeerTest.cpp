// The control and data connections as transcripts: a scripted peer plays a server that
// misbehaves the way real ones do; the test checks what the client sent, the bytes on the data
// connection, what it returned, what ended up on disk and what the user saw.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <sstream>
#include <thread>

#include "FTPcommand.h"
#include "ListingMonitor.h"
#include "LocalPort.h"
#include "Recorders.h"
#include "ScriptedPeer.h"
#include "SocketIPS.h"
#include "TempDir.h"
#include "ViewFolder.h"

namespace {

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;
using Script = std::function<void(ScriptedPeer&)>;

// A transcript, one line a step: a reply, or "<X" for a command line that starts with X.
ScriptedPeer& Play(ScriptedPeer& peer, const std::string& script) {
    std::istringstream lines(script);
    for (std::string line; std::getline(lines, line);) {
        line.starts_with('<') ? peer.Expect(line.substr(1)) : peer.Reply(line);
    }
    return peer;
}

std::string Joined(const Strings& lines) {
    std::string all;
    for (const std::string& line : lines) {
        all += (all.empty() ? "" : ", ") + line;
    }
    return all;
}

// A session with a scripted peer; the script starts with the greeting.
struct Peered {
    int LogOn(const char* user = nullptr, const char* password = nullptr, int timeoutMs = 5000) {
        peer.Start();
        ftp->SetLog(&log);
        ftp->SetTimeout(timeoutMs);
        return ftp->Init("127.0.0.1", std::to_string(peer.Port()).c_str(), user, password, nullptr);
    }
    // Ends the session so that the script ends; every byte the client sent.
    std::string Sent() {
        ftp.reset();
        peer.WaitDone();
        EXPECT_TRUE(peer.Mismatches().empty()) << peer.Mismatches().front();
        return peer.Received();
    }
    std::string Local() const { return folder.Path().string() + "/"; }
    int Get(const char* name, int mode = 1) {
        return ftp->GETBINARY(name, Local().c_str(), nullptr, mode, false);
    }
    int List(FTPcommand::Items* files) {
        return ftp->LISTING(nullptr, files, nullptr, nullptr, 1, nullptr, nullptr);
    }

    AlertRecorder alerts;
    LogRecorder log;
    TempDir folder;
    ScriptedPeer peer;
    std::unique_ptr<FTPcommand> ftp = std::make_unique<FTPcommand>();
};

class FTPcommandPeerTest : public ::testing::Test, public Peered {
protected:
    void Connect() { ASSERT_EQ(LogOn(), 0); }
};

TEST(FTPcommandLogOnTest, LogOnEndsAsTheServerSaysAndNeverWaitsForACodeThatWillNotCome) {
    struct Case {
        const char* name;
        const char* script;
        bool close;
        const char* user;
        int result;
        std::string sent;
        std::string alert;
    };
    const Case cases[] = {
        {"a multi-line greeting with numbers in it",
         "220-Welcome. At most 500 users at a time.\n220-Please be 331 kind.\n220 Ready.\n"
         "<USER bob\n331 Password please.\n<PASS pw\n230 In.",
         false, "bob", 0, "USER bob\r\nPASS pw\r\n", ""},
        {"greeting refused", "421 Too many users, try later.", false, "bob", 1, "",
         "421 Too many users, try later."},
        {"USER answered 332", "220 hi\n<USER\n332 Need account.\n<QUIT\n221 bye", false, "bob", 1,
         "USER bob\r\nQUIT\r\n", "The server refused the log-on:\n332 Need account."},
        {"USER answered 230 needs no PASS", "220 hi\n<USER\n230-Welcome\n230 in", false,
         "anonymous", 0, "USER anonymous\r\n", ""},
        // RFC 2228's protected reply (curl's test 1282): no code this client knows, so final.
        {"PASS answered 633", "220 hi\n<USER\n331 pw\n<PASS\n633 XXXXXXXX", false, "bob", 1,
         "USER bob\r\nPASS pw\r\nQUIT\r\n", "The server refused the log-on:\n633 XXXXXXXX"},
        {"closed after USER", "220 hi\n<USER", true, "bob", 1, "USER bob\r\n",
         "Error during logon."},
        // The goodbye does not wait for a reply either.
        {"silent after USER", "220 hi\n<USER", false, "bob", 1, "USER bob\r\nQUIT\r\n",
         "Error during logon."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Peered s;
        Play(s.peer, c.script);
        (c.close ? s.peer.Close() : s.peer).Silence();
        // A wait for a code that will not come ends in a time-out, with another alert.
        EXPECT_EQ(s.LogOn(c.user, "pw", 1000), c.result);
        EXPECT_EQ(s.Sent(), c.sent);
        EXPECT_EQ(Joined(s.alerts.Texts()), c.alert);
    }
}

TEST_F(FTPcommandPeerTest, ResultsFollowTheReplyCodeAndEachCommandReadsItsWholeReply) {
    Play(peer,
         "220 hello\n<CWD dir250\n550 dir250: No such file or directory\n<CWD /b\n500 What?\n"
         "<CWD /c\n530 Not logged in.\n<CWD /d\n250-Changed to /d.\n250-It holds 550 files.\n"
         "250 Enjoy.\n<TYPE I\n226 Whatever, binary it is.\n<PWD\n150 noise first\n"
         "257 \"/d\" is the current directory\n<PWD\n550 no directory\n<DELE\n450 busy\n"
         "<RNFR a b\n350 ready\n<RNTO c\n250 renamed\n<RNFR missing\n550 No such file.\n"
         "<REST 4294967396\n350 Yeah yeah we set it there for you\n<MODE S\n200 stream\n"
         "<SITE\n<PWD")
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
    const char* local = "/tmp/";
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
        {"RETR", [&] { return f.GETBINARY("f\r\nDELE x", local, nullptr, 1, false); }},
        {"STOR", [&] { return f.PUTBINARY("f\nDELE x", local, nullptr, 1); }},
        {"LIST", [&] { return f.LISTING("d\nDELE x", &files, &files, nullptr, 1, {}, {}); }},
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
    ftp->SetTimeout(3600 * 1000);  // a wait that STOP did not end outlasts the test's time limit
    std::thread stopper([this] {
        for (int i = 0; i < 500 && peer.Commands().empty(); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        ftp->STOP();
    });
    EXPECT_EQ(ftp->CWD("/slow"), 1);
    stopper.join();
    EXPECT_TRUE(ftp->IsStopped());
    EXPECT_NE(ftp->MODESTREAM(), 0);
    EXPECT_EQ(ftp->WaitFor("200", "200", nullptr, nullptr), 1);
    EXPECT_EQ(Sent(), "CWD /slow\r\n");
}

TEST_F(FTPcommandPeerTest, EndlessOrHugeRepliesEndWithAnErrorInsteadOfGrowing) {
    std::string endless = "211-Features:";
    for (int i = 0; i < 10001; ++i) {
        endless += "\r\n more";
    }
    peer.Reply("220 hello").Expect("CWD").Reply("250 " + std::string(100 * 1024, 'y'));
    peer.Expect("FEAT").Reply(endless).Silence();
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
    int port = ScriptedPeer().Port();  // closed again at once
    FTPcommand refused;
    EXPECT_EQ(refused.Init("127.0.0.1", std::to_string(port).c_str(), "u", "p", nullptr), 1);
    FTPcommand idle;
    EXPECT_EQ(idle.CWD("/"), 1);
    EXPECT_EQ(idle.PWD(), std::nullopt);
    EXPECT_EQ(idle.PASV(), 0);
    EXPECT_TRUE(alerts.Texts().empty());  // the caller words a connection failure
}

// Data connections.
using TransferPeerTest = FTPcommandPeerTest;

TEST_F(TransferPeerTest, PassiveGetConnectsToTheControlPeerWhateverTheReplySays) {
    const std::string bytes("\0\1\2\r\n\xff", 6);
    // The 227 names another machine: the data connection still goes to 127.0.0.1.
    peer.Reply("220 hi").Expect("PASV").Passive("192,168,1,2").Expect("RETR a.bin");
    peer.Reply("150 here it comes").SendData(bytes).Reply("226 done").Silence();
    Connect();
    EXPECT_EQ(Get("a.bin"), 0);
    EXPECT_EQ(TempDir::Read(folder / "a.bin"), bytes);
    EXPECT_EQ(Sent(), "PASV\r\nRETR a.bin\r\n");
}

TEST_F(TransferPeerTest, AnActiveModeIntruderNeverBecomesTheFile) {
    peer.Reply("220 hi").Active().Expect("RETR f.txt").Intrude("127.0.0.2", "evil bytes");
    peer.Reply("150 ok").SendData("the real file").Reply("226 done").Silence();
    Connect();
    ftp->SetNextActivePort(0);
    EXPECT_EQ(Get("f.txt", 0), 0);
    EXPECT_EQ(TempDir::Read(folder / "f.txt"), "the real file");
    EXPECT_TRUE(log.Contains("Data connection from 127.0.0.2 refused: it is not the server."));
    Sent();
}

TEST_F(TransferPeerTest, PortSkipsATakenPortAndRetriesTenPortsOnAfter425) {
    int taken = 0;
    int held = ListenOnLoopback(taken);
    peer.Reply("220 hi").Active().Expect("RETR f.txt").Reply("425 Can't open data connection.");
    peer.Active().Expect("RETR f.txt").Reply("150 ok").SendData("payload").Reply("226 done");
    peer.Silence();
    Connect();
    ftp->SetNextActivePort(taken);
    EXPECT_EQ(Get("f.txt", 0), 0);
    EXPECT_EQ(TempDir::Read(folder / "f.txt"), "payload");
    Sent();
    close(held);
    // Other tests may hold the ports just above too: those are skipped the same way.
    std::vector<int> ports = peer.AnnouncedPorts();
    ASSERT_EQ(ports.size(), 2u);
    EXPECT_TRUE(ports[0] > taken && ports[0] < taken + 10) << ports[0] << " after " << taken;
    EXPECT_TRUE(ports[1] >= ports[0] + 10 && ports[1] < ports[0] + 20) << ports[1];
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
    EXPECT_EQ(Get("q1250.csv"), 2);
    EXPECT_EQ(ftp->GETASCII("q1250.csv", Local().c_str(), nullptr, 1, false), 4);
    EXPECT_EQ(Get("q1250.csv"), 4);
    EXPECT_EQ(TempDir::Read(folder / "q1250.csv"), "precious");
    Sent();
}

TEST(TransferPeerCaseTest, AFailedTransferIsReportedAndTheNextCommandGetsItsOwnReply) {
    using Transfer = std::function<int(Peered&)>;
    const Transfer get = [](Peered& s) { return s.Get("f.bin"); };
    const Transfer put = [](Peered& s) {
        return s.ftp->PUTBINARY("f.bin", s.Local().c_str(), nullptr, 1);
    };
    const std::tuple<const char*, Script, const char*, Transfer> cases[] = {
        {"download reset", [](ScriptedPeer& p) { p.ResetData("the first half"); },
         "426 Connection closed; transfer aborted.", get},
        {"upload reset", [](ScriptedPeer& p) { p.ResetData(); }, "452 Disk full", put},
        {"download refused at its end", [](ScriptedPeer& p) { p.SendData("all of it"); },
         "451 Local error in processing.", get},
    };
    for (const auto& [name, data, finalReply, transfer] : cases) {
        SCOPED_TRACE(name);
        Peered s;
        s.folder.Write("f.bin", std::string(8 * 1024 * 1024, 'u'));
        s.peer.Reply("220 hi").Expect("PASV").Passive().Expect("").Reply("150 ok");
        data(s.peer);
        s.peer.Reply(finalReply).Expect("PWD").Reply("257 \"/still/in/step\"").Silence();
        ASSERT_EQ(s.LogOn(), 0);
        EXPECT_NE(transfer(s), 0);
        EXPECT_EQ(s.ftp->PWD(), "/still/in/step");
    }
}

TEST_F(TransferPeerTest, ResumingAPartBeyond4GiBSendsItsWholeOffsetAndShowsTheRealTotal) {
    constexpr long long kPart = 4294967296LL + 100;
    fs::path part = folder.Write("big.iso", "");
    fs::resize_file(part, kPart);  // sparse: no disk space needed
    peer.Reply("220 hi").Expect("PASV").Passive().Expect("LIST").Reply("150 ok");
    peer.SendData("-rw-r--r-- 1 a b 5368709120 Jan 01 12:00 big.iso\r\n").Reply("226 done");
    // The part's size less the overlap compared before appending.
    peer.Expect("PASV").Passive().Expect("REST 4294901860").Reply("350 Restarting.");
    peer.Expect("RETR big.iso").Reply("150 ok");
    peer.SendData(std::string(FTPcommand::kResumeOverlap, '\0') + "tail").Reply("226 done");
    peer.Silence();
    Connect();
    FTPcommand::Items files;
    ASSERT_EQ(List(&files), 0);
    StatusRecorder status;
    EXPECT_EQ(ftp->REGETBINARY("big.iso", Local().c_str(), &status, 1), 0);
    EXPECT_EQ(fs::file_size(part), static_cast<std::uintmax_t>(kPart + 4));
    EXPECT_EQ(status.max, 5368709120LL);
    EXPECT_EQ(status.bytes, kPart + 4);  // the part already there is reported at once
    Sent();
}

TEST_F(TransferPeerTest, NothingIsSentWithoutALocalFileToSendOrResume) {
    folder.Write("empty.bin", "");
    peer.Reply("220 hi").Silence();
    Connect();
    EXPECT_EQ(ftp->PUTBINARY("absent.bin", Local().c_str(), nullptr, 1), 1);
    EXPECT_EQ(ftp->REGETBINARY("f.bin", Local().c_str(), nullptr, 1), 1);
    EXPECT_EQ(ftp->REGETBINARY("empty.bin", Local().c_str(), nullptr, 0), 1);
    EXPECT_TRUE(Sent().empty());
}

TEST_F(TransferPeerTest, FetchedFilesStayInsideTheirFolderAndViewedOnesArePrivate) {
    peer.Reply("220 hi");
    for (const std::string name : {"../../escape.txt", "pipe", "viewed.txt"}) {
        peer.Expect("PASV").Passive().Expect("RETR " + name).Reply("150 ok");
        peer.SendData("inside").Reply("226 done");
        if (name == "pipe") {
            peer.Expect("ABOR").Reply("225 No transfer to abort.");  // no file to write: given up
        }
    }
    peer.Silence();
    const fs::path down = folder / "deep" / "down";
    fs::create_directories(down);
    const std::string local = down.string() + "/";
    ASSERT_EQ(mkfifo((down / "pipe").c_str(), 0600), 0);
    TempDir runtime;
    setenv("XDG_RUNTIME_DIR", runtime.Path().c_str(), 1);
    auto view = std::make_shared<ViewFolder>();
    unsetenv("XDG_RUNTIME_DIR");
    ftp->SetViewFolder(view);
    Connect();

    EXPECT_EQ(ftp->GETBINARY("../../escape.txt", local.c_str(), nullptr, 1, false), 0);
    EXPECT_EQ(TempDir::Read(down / "escape.txt"), "inside");
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

// A NUL in a name makes that line unsafe, not the listing incomplete.
const char kListingBytes[] =
    "total 42\r\n"
    "drwxr-xr-x 2 ftp ftp 4096 Jan 01 12:00 .\r\n"
    "drwxr-xr-x 2 ftp ftp 4096 Jan 01 12:00 my dir\r\n"
    "lrwxrwxrwx 1 ftp ftp 7 Jan 01 12:00 bin -> usr/bin\r\n"
    "\r\n"
    "-rw-r--r-- 1 ftp ftp 123 Jan 01 12:00 readme\r\n"
    "01-01-20  12:00PM       <DIR>          dosdir\r\n"
    "01-01-20  12:00PM             1234 dos file.txt\r\n"
    "-rw-r--r-- 1 ftp ftp 66 Jan 01 12:00 ../x\r\n"
    "-rw-r--r-- 1 ftp ftp 5 Jan 01 12:00 nul\0name\r\n"
    "-rw-r--r-- 1 ftp ftp 7 Jan 01 12:00 after\r\n";
const std::string kListing(kListingBytes, sizeof kListingBytes - 1);

class ViewRecorder : public ListingMonitor {
public:
    void Clear() override { lines.clear(); }
    void AddLine(const EntryStringItem& line) override { lines.push_back(line.text); }
    void ShowLast() override {}
    Strings lines;
};

TEST_F(TransferPeerTest, ListingFillsBothPanesTheViewAndTheSizes) {
    peer.Reply("220 hi").Expect("PASV").Passive().Expect("LIST /pub").Reply("150 Here it comes.");
    peer.SendData(kListing).Reply("226 Directory send OK.").Silence();
    Connect();
    FTPcommand::Items files;
    FTPcommand::Items directories;
    StatusRecorder status;
    ViewRecorder view;
    EXPECT_EQ(ftp->LISTING("/pub", &files, &directories, &status, 1, &view, nullptr), 0);
    using Named = std::vector<std::pair<std::string, int>>;
    auto names = [](const FTPcommand::Items& items) {
        Named out;
        for (const auto& item : items) {
            out.emplace_back(item.text, item.type);
        }
        return out;
    };
    EXPECT_EQ(names(directories), (Named{{"my dir", 1}, {"bin", 2}, {"dosdir", 1}}));
    EXPECT_EQ(names(files), (Named{{"bin", 2}, {"readme", 0}, {"dos file.txt", 0}, {"after", 0}}));
    ASSERT_EQ(view.lines.size(), 6u);
    EXPECT_EQ(view.lines[0], "drwxr-xr-x 2 ftp ftp 4096 Jan 01 12:00 my dir");
    EXPECT_EQ(ftp->FindSize("readme"), 123);
    EXPECT_EQ(ftp->FindSize("README"), 0);
    EXPECT_EQ(ftp->FindSize("dos file.txt"), 1234);
    EXPECT_EQ(ftp->FindSize("../x"), 0);
    EXPECT_EQ(status.files, 3);
    EXPECT_EQ(status.directories, 3);
    EXPECT_TRUE(log.Contains("Unsafe name skipped: ../x"));
    EXPECT_TRUE(log.Contains("Unsafe name skipped: nul\\0name"));
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
    // The client stops reading the endless listings, and aborts them.
    for (int i = 0; i < 2; ++i) {
        peer.Expect("PASV").Passive().Expect("LIST").Reply("150 ok").SendData(endless);
        peer.Reply("226 done").Expect("ABOR").Reply("225 No transfer to abort.");
    }
    peer.Expect("PWD").Reply("257 \"/\"").Silence();
    Connect();
    ftp->SetListingLimit(100);
    FTPcommand::Items files;
    for (int i = 0; i < 3; ++i) {
        EXPECT_NE(List(&files), 0);
    }
    ftp->SetListingLimit(1000, 1000);  // a few long lines count as much as many short ones
    EXPECT_NE(List(&files), 0);
    EXPECT_TRUE(log.Contains("The listing passed 100 entries and was stopped there."));
    EXPECT_TRUE(log.Contains("The listing passed 1000 bytes and was stopped there."));
    EXPECT_TRUE(log.Contains("The listing is incomplete."));
    EXPECT_EQ(ftp->PWD(), "/");
    Sent();
}

// With the session's own time-outs: no byte for 30 s ends the transfer, and its verdict is
// waited for a few seconds more, well before the control connection's 40 s.
TEST_F(TransferPeerTest, ASilentDataConnectionFailsBeforeTheControlTimeOut) {
    peer.Reply("220 hi").Expect("PASV").Passive().Expect("RETR").Reply("150 here").Silence();
    ASSERT_EQ(LogOn(nullptr, nullptr, SocketIPS::kDefaultTimeoutMs), 0);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_NE(Get("stuck"), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(40));
    Sent();
}

TEST(MlsdPeerTest, ListsWithListWhereMlsdIsNotToBeHad) {
    // The answer to the first MLSD (none: FEAT is not implemented), the verb of the second
    // listing, and every command after the log-on.
    const std::tuple<const char*, const char*, std::string, const char*> cases[] = {
        {"FEAT not implemented: LIST, and no OPTS", nullptr, "LIST",
         "FEAT, PASV, LIST, PASV, LIST"},
        {"MLSD offered but not understood: LIST from then on", "500 Unknown.", "LIST",
         "FEAT, OPTS UTF8 ON, PASV, MLSD, PASV, LIST, PASV, LIST"},
        {"MLSD refused for one folder: LIST for that one only", "550 Not here.", "MLSD",
         "FEAT, OPTS UTF8 ON, PASV, MLSD, PASV, LIST, PASV, MLSD"},
    };
    for (const auto& [name, refusal, second, commands] : cases) {
        SCOPED_TRACE(name);
        Peered s;
        Play(s.peer, "220 hi\n<USER\n331 pw\n<PASS\n230 in\n<FEAT");
        if (refusal == nullptr) {
            s.peer.Reply("502 Not implemented.");
        } else {
            Play(s.peer,
                 "211-Features:\n MLST type*;size*;\n UTF8\n211 End\n<OPTS UTF8 ON\n"
                 "200 Always in UTF8 mode.\n<PASV");
            s.peer.Passive().Expect("MLSD").Reply(refusal);
        }
        for (const std::string& verb : {std::string("LIST"), second}) {
            s.peer.Expect("PASV").Passive().Expect(verb).Reply("150 ok");
            s.peer.SendData(verb == "MLSD"
                                ? "type=file;size=5000000000; big.iso\r\n"
                                : "-rw-r--r-- 1 a b 5000000000 Jan 01 12:00 big.iso\r\n");
            s.peer.Reply("226 done");
        }
        s.peer.Silence();
        ASSERT_EQ(s.LogOn("bob", "pw"), 0);
        for (int listing = 0; listing < 2; ++listing) {
            FTPcommand::Items files;
            EXPECT_EQ(s.List(&files), 0);
            ASSERT_EQ(files.size(), 1u);
            EXPECT_EQ(files[0].text, "big.iso");
            EXPECT_EQ(s.ftp->FindSize("big.iso"), 5000000000LL);
        }
        s.Sent();
        Strings sent = s.peer.Commands();
        EXPECT_EQ(Joined(Strings(sent.begin() + 2, sent.end())), commands);  // after USER, PASS
    }
}

// A download that stops short of the size the server gives is a failure, whatever the final
// reply said; a server without SIZE in FEAT is not asked.
TEST(SizeCheckPeerTest, ABinaryDownloadShorterThanTheServersSizeFails) {
    for (const bool offersSize : {true, false}) {
        SCOPED_TRACE(offersSize ? "SIZE offered" : "SIZE not offered");
        Peered s;
        Play(s.peer, std::string("220 hi\n<USER\n331 pw\n<PASS\n230 in\n<FEAT\n211-Features:\n") +
                         (offersSize ? " SIZE" : " MDTM") + "\n211 End\n<PASV");
        s.peer.Passive().Expect("RETR cut.bin").Reply("150 ok").SendData("only part");
        s.peer.Reply("226 done");
        if (offersSize) {
            s.peer.Expect("SIZE cut.bin").Reply("213 1000");
        }
        s.peer.Silence();
        ASSERT_EQ(s.LogOn("bob", "pw"), 0);
        EXPECT_EQ(s.Get("cut.bin"), offersSize ? 1 : 0);
        EXPECT_EQ(Joined(s.alerts.Texts()),
                  offersSize ? "cut.bin arrived with 9 bytes where the server has 1000: it is "
                               "incomplete."
                             : "");
        EXPECT_EQ(s.Sent().find("SIZE") != std::string::npos, offersSize);
    }
}

}  // namespace
