// Data connections as transcripts: the scripted peer plays the server, the test checks the
// commands the client sent, the bytes on the data connection and what ended up on disk.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>

#include "BarMonitor.h"
#include "FTPcommand.h"
#include "ListingMonitor.h"
#include "Recorders.h"
#include "ScriptedPeer.h"
#include "TempDir.h"

namespace {

namespace fs = std::filesystem;

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

// Records the transfer counter each time progress is reported.
class ProgressProbe : public StatusRecorder {
public:
    explicit ProgressProbe(FTPcommand*& ftp) : ftp_(ftp) {}
    void SetNbOctet(int bytes) override {
        StatusRecorder::SetNbOctet(bytes);
        doneSeen = ftp_->TransferDone();
    }
    long long doneSeen = -1;

private:
    FTPcommand*& ftp_;
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
    std::vector<std::string> Commands() {
        ftp.reset();
        peer.WaitDone();
        EXPECT_TRUE(peer.Mismatches().empty()) << peer.Mismatches().front();
        return peer.Commands();
    }
    std::string Local() const { return folder.Path().string() + "/"; }

    AlertRecorder alerts;
    LogRecorder log;
    TempDir folder;
    ScriptedPeer peer;
    std::unique_ptr<FTPcommand> ftp = std::make_unique<FTPcommand>();
};

TEST_F(TransferPeerTest, PassiveGetConnectsToTheControlHostWhateverTheReplySays) {
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
    EXPECT_EQ(Commands(), (std::vector<std::string>{"PASV", "RETR a.bin"}));
}

TEST_F(TransferPeerTest, PortRetriesTheNextPortWhenOneIsTakenAndTheNextPortStartsAbove) {
    // Hold a port so that the first PORT must move on.
    int held = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ASSERT_EQ(bind(held, reinterpret_cast<sockaddr*>(&address), length), 0);
    ASSERT_EQ(listen(held, 1), 0);
    getsockname(held, reinterpret_cast<sockaddr*>(&address), &length);
    int taken = ntohs(address.sin_port);

    peer.Reply("220 hi").Active().Active().Silence();
    Connect();
    ftp->SetNextActivePort(taken);
    EXPECT_EQ(ftp->PORT(), 0);
    EXPECT_EQ(ftp->NextActivePort(), taken + 2);
    EXPECT_EQ(ftp->PORT(), 0);
    EXPECT_EQ(ftp->NextActivePort(), taken + 3);
    Commands();
    EXPECT_EQ(peer.AnnouncedPorts(), (std::vector<int>{taken + 1, taken + 2}));
    EXPECT_TRUE(peer.Received().starts_with("PORT 127,0,0,1,"));
    close(held);
}

TEST_F(TransferPeerTest, A425ToRetrRepeatsPortAndRetr) {
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
    ftp->SetNextActivePort(40000);
    EXPECT_EQ(ftp->GETBINARY("f.txt", Local().c_str(), nullptr, 0, false), 0);
    EXPECT_EQ(TempDir::Read(folder / "f.txt"), "payload");
    auto commands = Commands();
    ASSERT_EQ(commands.size(), 4u);
    EXPECT_EQ(commands[1], "RETR f.txt");
    EXPECT_EQ(commands[3], "RETR f.txt");
}

TEST_F(TransferPeerTest, RefusedRetrCreatesNoLocalFile) {
    peer.Reply("220 hi")
        .Expect("PASV")
        .Passive()
        .Expect("RETR missing")
        .Reply("550 No such file.")
        .Expect("PASV")
        .Passive()
        .Expect("RETR denied")
        .Reply("530 Not logged in.")
        .Silence();
    Connect();
    EXPECT_EQ(ftp->GETBINARY("missing", Local().c_str(), nullptr, 1, false), 2);
    EXPECT_EQ(ftp->GETASCII("denied", Local().c_str(), nullptr, 1, false), 4);
    EXPECT_FALSE(fs::exists(folder / "missing"));
    EXPECT_FALSE(fs::exists(folder / "denied"));
    Commands();
}

TEST_F(TransferPeerTest, AsciiGetDropsCarriageReturnsAndCountsThem) {
    peer.Reply("220 hi")
        .Expect("PASV")
        .Passive()
        .Expect("RETR t.txt")
        .Reply("150 ok")
        .SendData("a\r\nb\r\n")
        .Reply("226 done")
        .Silence();
    Connect();
    FTPcommand* raw = ftp.get();
    ProgressProbe status(raw);
    EXPECT_EQ(ftp->GETASCII("t.txt", Local().c_str(), &status, 1, false), 0);
    EXPECT_EQ(TempDir::Read(folder / "t.txt"), "a\nb\n");
    EXPECT_EQ(status.Bytes(), 4);   // bytes written
    EXPECT_EQ(status.doneSeen, 6);  // bytes received
    Commands();
}

TEST_F(TransferPeerTest, AsciiPutSendsCarriageReturnsAndCountsThem) {
    folder.Write("up.txt", "a\nb\n");
    peer.Reply("220 hi")
        .Expect("PASV")
        .Passive()
        .Expect("STOR up.txt")
        .Reply("150 ok")
        .ReceiveData()
        .Reply("226 done")
        .Silence();
    Connect();
    StatusRecorder status;
    EXPECT_EQ(ftp->PUTASCII("up.txt", Local().c_str(), &status, 1), 0);
    EXPECT_EQ(status.Bytes(), 6);  // the two CRs added, then the four bytes of the file
    Commands();
    EXPECT_EQ(peer.DataReceived(), "a\r\nb\r\n");
}

TEST_F(TransferPeerTest, MissingLocalFileSendsNoStor) {
    peer.Reply("220 hi").Silence();
    Connect();
    EXPECT_EQ(ftp->PUTBINARY("absent.bin", Local().c_str(), nullptr, 1), 1);
    EXPECT_EQ(ftp->PUTBINARY(nullptr, Local().c_str(), nullptr, 1), 1);
    EXPECT_EQ(ftp->GETBINARY(nullptr, Local().c_str(), nullptr, 1, false), 1);
    EXPECT_TRUE(Commands().empty());
}

TEST_F(TransferPeerTest, ResumeWithoutLocalFileSendsNothing) {
    peer.Reply("220 hi").Silence();
    Connect();
    EXPECT_EQ(ftp->REGETBINARY("f.bin", Local().c_str(), nullptr, 1), 1);
    folder.Write("empty.bin", "");
    EXPECT_EQ(ftp->REGETBINARY("empty.bin", Local().c_str(), nullptr, 0), 1);
    EXPECT_TRUE(Commands().empty());
}

TEST_F(TransferPeerTest, ResumeSendsRestWithTheLocalSizeAndAppends) {
    folder.Write("f.bin", std::string(1000, 'a'));
    peer.Reply("220 hi")
        .Active()
        .Expect("REST 1000")
        .Reply("350 Restarting at 1000.")
        .Expect("RETR f.bin")
        .Reply("150 ok")
        .SendData("tail")
        .Reply("226 done")
        .Silence();
    Connect();
    ftp->SetNextActivePort(41000);
    StatusRecorder status;
    EXPECT_EQ(ftp->REGETBINARY("f.bin", Local().c_str(), &status, 0), 0);
    EXPECT_EQ(TempDir::Read(folder / "f.bin"), std::string(1000, 'a') + "tail");
    EXPECT_EQ(status.Bytes(), 1004);  // the part already there is reported at once
    Commands();
}

TEST_F(TransferPeerTest, RemoteNamesNeverLeaveTheLocalFolder) {
    peer.Reply("220 hi")
        .Expect("PASV")
        .Passive()
        .Expect("RETR ../../escape.txt")
        .Reply("150 ok")
        .SendData("inside")
        .Reply("226 done")
        .Silence();
    Connect();
    fs::create_directories(folder / "deep" / "down");
    std::string local = (folder / "deep" / "down").string() + "/";
    EXPECT_EQ(ftp->GETBINARY("../../escape.txt", local.c_str(), nullptr, 1, false), 0);
    EXPECT_EQ(TempDir::Read(folder / "deep" / "down" / "escape.txt"), "inside");
    EXPECT_FALSE(fs::exists(folder / "escape.txt"));
    EXPECT_EQ(ftp->GETBINARY("..", local.c_str(), nullptr, 1, false), 1);
    EXPECT_EQ(ftp->GETBINARY("dir/", local.c_str(), nullptr, 1, false), 1);
    Commands();
}

TEST_F(TransferPeerTest, FetchToTheTemporaryFolderRefusesAPlantedLink) {
    std::string name = "tarvik-test-" + std::to_string(getpid()) + ".txt";
    fs::path planted = fs::path("/var/tmp") / name;
    fs::path victim = folder / "victim";
    TempDir::WriteFile(victim, "untouched");
    fs::remove(planted);
    fs::create_symlink(victim, planted);
    peer.Reply("220 hi")
        .Expect("PASV")
        .Passive()
        .Expect("RETR " + name)
        .Reply("150 ok")
        .SendData("evil")
        .Reply("226 done")
        .Silence();
    Connect();
    EXPECT_EQ(ftp->GETBINARY(name.c_str(), "/ignored/", nullptr, 1, true), 1);
    EXPECT_EQ(TempDir::Read(victim), "untouched");
    fs::remove(planted);
    Commands();
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
    "drwxr-xr-x 2 ftp ftp 4096 Jan 01 12:00 ..\r\n"
    "drwxr-xr-x 2 ftp ftp 4096 Jan 01 12:00 my dir\r\n"
    "lrwxrwxrwx 1 ftp ftp 7 Jan 01 12:00 bin -> usr/bin\r\n"
    "-rw-r--r-- 1 ftp ftp 123 Jan 01 12:00 readme\r\n"
    "01-01-24  12:00PM       <DIR>          dosdir\r\n"
    "-rw-r--r-- 1 ftp ftp 55\r\n"
    "-rw-r--r-- 1 ftp ftp 66 Jan 01 12:00 ../x\r\n"
    "-rw-r--r-- 1 ftp ftp 77 Jan 01 12:00 a/b\r\n"
    "-rw-r--r-- 1 ftp ftp 88 Jan 01 2024 last file\r\n";

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
    EXPECT_EQ(names(directories), (Named{{"my dir", 1}, {"bin", 2}}));
    EXPECT_EQ(names(files), (Named{{"bin", 2}, {"readme", 0}, {"last file", 0}}));
    ASSERT_EQ(view.lines.size(), 4u);
    EXPECT_EQ(view.lines[0].text, "drwxr-xr-x 2 ftp ftp 4096 Jan 01 12:00 my dir");
    EXPECT_EQ(view.lines[0].colour, 0x000064FFu);
    EXPECT_EQ(view.shown, 4);
    EXPECT_EQ(ftp->FindSize("readme"), 123);
    EXPECT_EQ(ftp->FindSize("README"), 0);
    EXPECT_EQ(ftp->FindSize("my dir"), 4096);
    EXPECT_EQ(ftp->FindSize("bin"), 7);
    EXPECT_EQ(ftp->FindSize("../x"), 0);
    EXPECT_EQ(status.Counts().back(), std::make_pair(2, 2));
    ASSERT_EQ(bar.texts.size(), 4u);  // one per entry, copied from the status window
    EXPECT_EQ(bar.texts.back(), "2 File(s), 2 Directory(s) fetched...");
    EXPECT_TRUE(log.Contains("Unsafe name skipped: ../x"));
    EXPECT_TRUE(log.Contains("Unsafe name skipped: a/b"));
    Commands();
}

TEST_F(TransferPeerTest,
       ActiveListingRetriesTenPortsOnAfter425AndASecondListingReplacesTheMiniBase) {
    peer.Reply("220 hi")
        .Active()
        .Expect("LIST")
        .Reply("425 Can't open data connection.")
        .Active()
        .Expect("LIST")
        .Reply("150 ok")
        .SendData("-rw-r--r-- 1 a b 5 Jan 01 12:00 first\r\n")
        .Reply("226 done")
        .Active()
        .Expect("LIST")
        .Reply("150 ok")
        .SendData("-rw-r--r-- 1 a b 6 Jan 01 12:00 second\r\n")
        .Reply("226 done")
        .Silence();
    Connect();
    ftp->SetNextActivePort(42000);
    FTPcommand::Items files;
    FTPcommand::Items directories;
    EXPECT_EQ(ftp->LISTING(nullptr, &files, &directories, nullptr, 0, nullptr, nullptr), 0);
    EXPECT_EQ(ftp->FindSize("first"), 5);
    EXPECT_EQ(ftp->LISTING(nullptr, &files, &directories, nullptr, 0, nullptr, nullptr), 0);
    EXPECT_EQ(ftp->FindSize("first"), 0);
    EXPECT_EQ(ftp->FindSize("second"), 6);
    Commands();
    auto ports = peer.AnnouncedPorts();
    ASSERT_EQ(ports.size(), 3u);
    EXPECT_EQ(ports[1], ports[0] + 10);
}

}  // namespace
