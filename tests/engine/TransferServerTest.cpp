// The control connection, transfers and listings against real servers, as they really answer,
// in active and passive mode.
#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <thread>

#include "FTPcommand.h"
#include "PyFtpServer.h"
#include "Recorders.h"
#include "TempDir.h"
#include "TestServer.h"

namespace {

namespace fs = std::filesystem;

// Pauses the transfer once enough bytes have passed, until another thread has called STOP.
class StopAfter : public StatusRecorder {
public:
    explicit StopAfter(long long threshold) : threshold_(threshold) {}
    void SetNbOctet(long long bytes) override {
        StatusRecorder::SetNbOctet(bytes);
        if (Bytes() < threshold_) {
            return;
        }
        std::unique_lock lock(mutex_);
        reached_ = true;
        changed_.notify_all();
        changed_.wait(lock, [this] { return stopped_; });
    }
    void StopFrom(FTPcommand& ftp) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return reached_; });
        ftp.STOP();
        stopped_ = true;
        changed_.notify_all();
    }

private:
    long long threshold_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool reached_ = false;
    bool stopped_ = false;
};

struct Setup {
    std::string server;
    int mode;
};

void PrintTo(const Setup& setup, std::ostream* out) {
    *out << setup.server << (setup.mode == 0 ? " active" : " passive");
}

class TransferServerTest : public ::testing::TestWithParam<Setup> {
protected:
    void SetUp() override {
        server = StartTestServer(GetParam().server);
        ftp = LoggedOn();
    }
    std::unique_ptr<FTPcommand> LoggedOn() {
        auto command = std::make_unique<FTPcommand>();
        command->SetLog(&log);
        command->SetTimeout(10000);
        command->SetNextActivePort(30000 + static_cast<int>(getpid() % 20000));
        EXPECT_EQ(command->Init("127.0.0.1", server->PortText().c_str(), server->User().c_str(),
                                server->Password().c_str(), nullptr),
                  0);
        EXPECT_EQ(command->OperationText(), "LOGIN COMPLETE");
        EXPECT_EQ(command->CWD("/pub"), 0);
        return command;
    }
    int Mode() const { return GetParam().mode; }
    std::string Local() const { return local.Path().string() + "/"; }
    long long Count(const std::string& prefix) const {
        auto commands = server->Commands();
        return std::count_if(commands.begin(), commands.end(),
                             [&](const std::string& c) { return c.starts_with(prefix); });
    }

    AlertRecorder alerts;
    LogRecorder log;
    TempDir local;
    std::unique_ptr<TestServer> server;
    std::unique_ptr<FTPcommand> ftp;
};

TEST_P(TransferServerTest, LogsOnAndDirectoryCommandsSucceedOrAreRefused) {
    EXPECT_TRUE(log.Contains("END LOGIN"));
    TempDir::WriteFile(server->Pub() / "old.txt", "x");

    EXPECT_EQ(ftp->PWD(), "/pub");
    EXPECT_EQ(ftp->CWD("/no/such/dir"), 3);  // 550
    EXPECT_EQ(ftp->PWD(), "/pub");

    EXPECT_EQ(ftp->MKD("made here"), 0);
    EXPECT_TRUE(fs::is_directory(server->Pub() / "made here"));
    EXPECT_EQ(ftp->MKD("made here"), 3);  // 550: exists
    EXPECT_EQ(ftp->RMD("made here"), 0);
    EXPECT_FALSE(fs::exists(server->Pub() / "made here"));
    EXPECT_EQ(ftp->RMD("never made"), 3);

    EXPECT_EQ(ftp->RENAME("old.txt", "new.txt"), 0);
    EXPECT_TRUE(fs::exists(server->Pub() / "new.txt"));
    EXPECT_NE(ftp->RENAME("missing.txt", "other.txt"), 0);  // RNFR refused, then RNTO out of order
    EXPECT_FALSE(fs::exists(server->Pub() / "other.txt"));

    EXPECT_EQ(ftp->DELE("new.txt"), 0);
    EXPECT_FALSE(fs::exists(server->Pub() / "new.txt"));
    EXPECT_EQ(ftp->DELE("new.txt"), 3);

    EXPECT_EQ(ftp->ASCII(), 0);
    EXPECT_EQ(ftp->BINARY(), 0);
    EXPECT_EQ(ftp->MODESTREAM(), 0);
    EXPECT_EQ(ftp->QUIT(), 0);
    EXPECT_EQ(Count("USER " + server->User()), 1);
    EXPECT_EQ(Count("QUIT"), 1);
    EXPECT_TRUE(alerts.Texts().empty());
}

TEST_P(TransferServerTest, BinaryGetAndPutAreByteIdentical) {
    std::string original = RandomBytes(3 * 1024 * 1024 + 17, 1);
    TempDir::WriteFile(server->Pub() / "down.bin", original);
    ASSERT_EQ(ftp->BINARY(), 0);
    StatusRecorder status;
    EXPECT_EQ(ftp->GETBINARY("down.bin", Local().c_str(), &status, Mode(), false), 0);
    EXPECT_EQ(TempDir::Read(local / "down.bin"), original);
    EXPECT_EQ(status.Bytes(), static_cast<long long>(original.size()));

    std::string upload = RandomBytes(2 * 1024 * 1024 + 5, 2);
    local.Write("up.bin", upload);
    EXPECT_EQ(ftp->PUTBINARY("up.bin", Local().c_str(), &status, Mode()), 0);
    EXPECT_EQ(TempDir::Read(server->Pub() / "up.bin"), upload);
    EXPECT_EQ(ftp->TransferDone(), 0);
    EXPECT_TRUE(alerts.Texts().empty());
}

TEST_P(TransferServerTest, AsciiTransfersConvertLineEnds) {
    TempDir::WriteFile(server->Pub() / "dos.txt", "a\r\nb\r\n");
    ASSERT_EQ(ftp->ASCII(), 0);
    EXPECT_EQ(ftp->GETASCII("dos.txt", Local().c_str(), nullptr, Mode(), false), 0);
    EXPECT_EQ(TempDir::Read(local / "dos.txt"), "a\nb\n");

    local.Write("unix.txt", "a\nb\n");
    EXPECT_EQ(ftp->PUTASCII("unix.txt", Local().c_str(), nullptr, Mode()), 0);
    // vsftpd stores what it receives; pyftpdlib turns the CR LF it received into local line ends.
    std::string expected = server->Name() == "vsftpd" ? "a\r\nb\r\n" : "a\nb\n";
    EXPECT_EQ(TempDir::Read(server->Pub() / "unix.txt"), expected);
}

TEST_P(TransferServerTest, StoppedDownloadKeepsItsPartAndResumeCompletesIt) {
    std::string original = RandomBytes(16 * 1024 * 1024, 3);
    TempDir::WriteFile(server->Pub() / "big.bin", original);
    ASSERT_EQ(ftp->BINARY(), 0);
    StopAfter status(1024 * 1024);
    std::thread stopper([&] { status.StopFrom(*ftp); });
    EXPECT_EQ(ftp->GETBINARY("big.bin", Local().c_str(), &status, Mode(), false), 1);
    stopper.join();
    EXPECT_FALSE(ftp->IsStopped());  // the transfer that honoured the stop cleared it
    long long partial = static_cast<long long>(fs::file_size(local / "big.bin"));
    EXPECT_GE(partial, 1024 * 1024);
    EXPECT_LT(partial, static_cast<long long>(original.size()));

    // A part whose last bytes are not the server's is never continued.
    std::string part = TempDir::Read(local / "big.bin");
    part.back() ^= 1;
    local.Write("big.bin", part);
    EXPECT_EQ(ftp->REGETBINARY("big.bin", Local().c_str(), nullptr, Mode()),
              FTPcommand::kResumeMismatch);
    EXPECT_TRUE(TempDir::Read(local / "big.bin") == part) << "nothing appended";
    EXPECT_EQ(alerts.Texts(), std::vector<std::string>{"The local part of big.bin is not the start "
                                                       "of the server's file: nothing was "
                                                       "appended."});
    part.back() ^= 1;
    local.Write("big.bin", part);

    // The server's answers to the cut transfers were read: the same connection resumes, from
    // where the local part's end is fetched again and compared.
    EXPECT_EQ(ftp->REGETBINARY("big.bin", Local().c_str(), nullptr, Mode()), 0);
    EXPECT_TRUE(TempDir::Read(local / "big.bin") == original);
    const auto overlap = static_cast<long long>(FTPcommand::kResumeOverlap);
    EXPECT_EQ(Count("REST " + std::to_string(partial - overlap)), 2);
}

TEST_P(TransferServerTest, ListingReadsTheServersLines) {
    fs::create_directories(server->Pub() / "sub dir");
    TempDir::WriteFile(server->Pub() / "file one.txt", "12345");
    fs::create_symlink("file one.txt", server->Pub() / "link");
    FTPcommand::Items files;
    FTPcommand::Items directories;
    StatusRecorder status;
    ASSERT_EQ(ftp->LISTING(nullptr, &files, &directories, &status, Mode(), nullptr, nullptr), 0);
    auto has = [](const FTPcommand::Items& items, const std::string& text, int type) {
        return std::any_of(items.begin(), items.end(), [&](const EntryStringItem& item) {
            return item.text == text && item.type == type;
        });
    };
    EXPECT_TRUE(has(directories, "sub dir", EntryStringItem::Directory));
    EXPECT_TRUE(has(files, "file one.txt", EntryStringItem::File));
    EXPECT_EQ(ftp->FindSize("file one.txt"), 5);
    // A link is offered in both panes. pyftpdlib's MLSD names a link by what it points to.
    if (GetParam().server == "pyftpdlib") {
        EXPECT_TRUE(has(files, "link", EntryStringItem::File));
    } else {
        EXPECT_TRUE(has(files, "link", EntryStringItem::Link));
        EXPECT_TRUE(has(directories, "link", EntryStringItem::Link));
    }
    // The control connection is ready for the next command.
    EXPECT_EQ(ftp->PWD(), "/pub");
}

std::vector<Setup> EveryServerInBothModes() {
    std::vector<Setup> setups;
    for (const char* server : {"pyftpdlib", "vsftpd", "pure-ftpd", "proftpd"}) {
        setups.push_back({server, 0});
        setups.push_back({server, 1});
    }
    return setups;
}

INSTANTIATE_TEST_SUITE_P(Servers, TransferServerTest, ::testing::ValuesIn(EveryServerInBothModes()),
                         [](const auto& info) {
                             std::string name = info.param.server;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name + (info.param.mode == 0 ? "_active" : "_passive");
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

TEST(FTPcommandLogOnTest, NamedUserOnAnAnonymousOnlyVsftpdIsRefusedInTheServersWords) {
    AlertRecorder alerts;
    auto server = StartTestServer("vsftpd");
    FTPcommand ftp;
    EXPECT_EQ(ftp.Init("127.0.0.1", server->PortText().c_str(), "alice", "pw", nullptr), 1);
    EXPECT_EQ(alerts.Texts(), std::vector<std::string>{"The server refused the log-on:\n530 This "
                                                       "FTP server is anonymous only."});
}

}  // namespace
