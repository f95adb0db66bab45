// Data connections as transcripts: the scripted peer plays the server, the test checks the
// commands the client sent, the bytes on the data connection and what ended up on disk.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

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
using Commands = std::vector<std::string>;

class ViewRecorder : public ListingMonitor {
public:
    void Clear() override { lines.clear(); }
    void AddLine(const EntryStringItem& line) override { lines.push_back(line); }
    void ShowLast() override { ++shown; }
    std::vector<EntryStringItem> lines;
    int shown = 0;
};

class BarRecorder : public BarMonitor {
public:
    void SetText(const std::string& text) override { texts.push_back(text); }
    std::vector<std::string> texts;
};

class TransferPeerTest : public ::testing::Test {
protected:
    void Connect() {
        peer.Start();
        std::string port = std::to_string(peer.Port());
        ftp->SetLog(&log);
        ftp->SetTimeout(5000);
        ASSERT_EQ(ftp->Init("127.0.0.1", port.c_str(), nullptr, nullptr, nullptr), 0);
    }
    Commands Sent() {
        ftp.reset();
        peer.WaitDone();
        EXPECT_TRUE(peer.Mismatches().empty()) << peer.Mismatches().front();
        return peer.Commands();
    }
    std::string Local() const { return folder.Path().string() + "/"; }
    int List(FTPcommand::Items& files, FTPcommand::Items& directories, int mode = 1) {
        return ftp->LISTING(nullptr, &files, &directories, nullptr, mode, nullptr, nullptr);
    }

    AlertRecorder alerts;
    LogRecorder log;
    TempDir folder;
    ScriptedPeer peer;
    std::unique_ptr<FTPcommand> ftp = std::make_unique<FTPcommand>();
};

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
    EXPECT_EQ(Sent(), (Commands{"PASV", "RETR a.bin"}));
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
        .Expect("REST 4294967396")
        .Reply("350 Restarting at 4294967396.")
        .Expect("RETR big.iso")
        .Reply("150 ok")
        .SendData("tail")
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
