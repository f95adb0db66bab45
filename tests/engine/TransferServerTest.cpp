// Log-on, commands, transfers and listings against real servers, as they really answer: plain
// and under TLS, in active and passive mode.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <set>
#include <thread>

#include "FTPcommand.h"
#include "PyFtpServer.h"
#include "Recorders.h"
#include "TestCertificate.h"

namespace {

namespace fs = std::filesystem;
using Security = FTPcommand::Security;
using Strings = std::vector<std::string>;

std::unique_ptr<TestServer> StartServer(const std::string& kind, Security security) {
    if (security == Security::Plain) {
        return StartTestServer(kind);
    }
    const TestCertificate& tls = TestCertificate::Shared();
    if (kind == "pyftpdlib") {
        return std::make_unique<PyFtpServer>(
            std::vector<PyFtpServer::Account>{{"tester", "s3cret"}}, 0, "127.0.0.1",
            Strings{"--tls-cert", tls.cert, "--tls-key", tls.key});
    }
    return StartVsftpd(tls.VsftpdConfig(security == Security::Implicit));
}

std::unique_ptr<FTPcommand> Session(LogRecorder& log, Security security = Security::Plain) {
    auto ftp = std::make_unique<FTPcommand>();
    ftp->SetLog(&log);
    ftp->SetTimeout(10000);
    if (security != Security::Plain) {
        ftp->SetSecurity(security, TestCertificate::Shared().cert);
    }
    return ftp;
}

long Count(const TestServer& server, const std::string& prefix) {
    Strings commands = server.Commands();
    return std::count_if(commands.begin(), commands.end(),
                         [&](const std::string& c) { return c.starts_with(prefix); });
}

// Pauses the transfer once enough bytes have passed, until another thread has called STOP.
class StopAfter : public StatusRecorder {
public:
    explicit StopAfter(long long threshold) : threshold_(threshold) {}
    void SetNbOctet(long long count) override {
        StatusRecorder::SetNbOctet(count);
        if (bytes >= threshold_) {
            std::unique_lock lock(mutex_);
            reached_ = true;
            changed_.notify_all();
            changed_.wait(lock, [this] { return stopped_; });
        }
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

// The server, active (0) or passive (1) mode, and how the session is protected.
using Setup = std::tuple<const char*, int, Security>;

class TransferServerTest : public ::testing::TestWithParam<Setup> {
protected:
    void SetUp() override {
        const auto [kind, mode, security] = GetParam();
        server = StartServer(kind, security);
        ftp = Session(log, security);
        ftp->SetNextActivePort(30000 + static_cast<int>(getpid() % 20000));
        ASSERT_EQ(ftp->Init("127.0.0.1", server->PortText().c_str(), server->User().c_str(),
                            server->Password().c_str(), nullptr),
                  0)
            << ::testing::PrintToString(log.Lines());
        EXPECT_EQ(ftp->IsControlProtected(), security != Security::Plain);
        EXPECT_EQ(ftp->IsDataProtected(), security != Security::Plain);
        ASSERT_EQ(ftp->CWD("/pub"), 0);
    }
    int Mode() const { return std::get<1>(GetParam()); }
    std::string Local() const { return local.Path().string() + "/"; }

    AlertRecorder alerts;
    LogRecorder log;
    TempDir local;
    std::unique_ptr<TestServer> server;
    std::unique_ptr<FTPcommand> ftp;
};

TEST_P(TransferServerTest, DirectoryCommandsSucceedOrAreRefused) {
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
    EXPECT_NE(ftp->RENAME("missing.txt", "other.txt"), 0);
    EXPECT_FALSE(fs::exists(server->Pub() / "other.txt"));
    EXPECT_EQ(ftp->DELE("new.txt"), 0);
    EXPECT_FALSE(fs::exists(server->Pub() / "new.txt"));
    EXPECT_EQ(ftp->DELE("new.txt"), 3);

    EXPECT_EQ(ftp->QUIT(), 0);
    EXPECT_EQ(Count(*server, "USER " + server->User()), 1);
    EXPECT_EQ(Count(*server, "QUIT"), 1);
    EXPECT_TRUE(alerts.Texts().empty());
}

TEST_P(TransferServerTest, BinaryGetAndPutAreByteIdentical) {
    std::string original = RandomBytes(3 * 1024 * 1024 + 17, 1);
    TempDir::WriteFile(server->Pub() / "down.bin", original);
    ASSERT_EQ(ftp->BINARY(), 0);
    StatusRecorder status;
    EXPECT_EQ(ftp->GETBINARY("down.bin", Local().c_str(), &status, Mode(), false), 0);
    EXPECT_TRUE(TempDir::Read(local / "down.bin") == original);
    EXPECT_EQ(status.bytes, static_cast<long long>(original.size()));

    std::string upload = RandomBytes(2 * 1024 * 1024 + 5, 2);
    local.Write("up.bin", upload);
    EXPECT_EQ(ftp->PUTBINARY("up.bin", Local().c_str(), nullptr, Mode()), 0);
    EXPECT_TRUE(TempDir::Read(server->Pub() / "up.bin") == upload);
    EXPECT_TRUE(alerts.Texts().empty()) << ::testing::PrintToString(alerts.Texts());
}

TEST_P(TransferServerTest, AsciiTransfersConvertLineEnds) {
    TempDir::WriteFile(server->Pub() / "dos.txt", "a\r\nb\r\n");
    ASSERT_EQ(ftp->ASCII(), 0);
    EXPECT_EQ(ftp->GETASCII("dos.txt", Local().c_str(), nullptr, Mode(), false), 0);
    EXPECT_EQ(TempDir::Read(local / "dos.txt"), "a\nb\n");

    local.Write("unix.txt", "a\nb\n");
    EXPECT_EQ(ftp->PUTASCII("unix.txt", Local().c_str(), nullptr, Mode()), 0);
    // vsftpd stores what it receives; the others turn the CR LF received into local line ends.
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
    std::string part = TempDir::Read(local / "big.bin");
    const auto partial = static_cast<long long>(part.size());
    EXPECT_GE(partial, 1024 * 1024);
    EXPECT_LT(partial, static_cast<long long>(original.size()));

    // A part whose last bytes are not the server's is never continued.
    part.back() ^= 1;
    local.Write("big.bin", part);
    EXPECT_EQ(ftp->REGETBINARY("big.bin", Local().c_str(), nullptr, Mode()),
              FTPcommand::kResumeMismatch);
    EXPECT_TRUE(TempDir::Read(local / "big.bin") == part) << "nothing appended";
    EXPECT_EQ(alerts.Texts(), Strings{"The local part of big.bin is not the start of the "
                                      "server's file: nothing was appended."});
    part.back() ^= 1;
    local.Write("big.bin", part);

    // The server's answers to the cut transfers were read: the same connection resumes, from
    // where the local part's end is fetched again and compared.
    EXPECT_EQ(ftp->REGETBINARY("big.bin", Local().c_str(), nullptr, Mode()), 0);
    EXPECT_TRUE(TempDir::Read(local / "big.bin") == original);
    const auto overlap = static_cast<long long>(FTPcommand::kResumeOverlap);
    EXPECT_EQ(Count(*server, "REST " + std::to_string(partial - overlap)), 2);
}

// Over MLSD where the server offers it, and then over LIST: the same entries either way.
TEST_P(TransferServerTest, ListingReadsTheServersLines) {
    fs::create_directories(server->Pub() / "sub dir");
    TempDir::WriteFile(server->Pub() / "name with  spaces.txt", "12345");
    const fs::path huge = TempDir::WriteFile(server->Pub() / "huge.iso", "");
    fs::resize_file(huge, 5000000000LL);  // sparse: no disk used
    const std::time_t time = 1795701780;  // 2026-11-26 14:03 UTC
    const timespec times[2] = {{time, 0}, {time, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, huge.c_str(), times, 0), 0);
    fs::create_symlink("name with  spaces.txt", server->Pub() / "link");
    // Name, type and pane (0 files, 1 directories) of each entry.
    using Entries = std::set<std::tuple<std::string, int, int>>;
    auto list = [&](bool mlsd) {
        FTPcommand::Items panes[2];
        EXPECT_EQ(ftp->LISTING(nullptr, &panes[0], &panes[1], nullptr, Mode(), nullptr, nullptr),
                  0);
        Entries entries;
        for (int pane : {0, 1}) {
            for (const EntryStringItem& item : panes[pane]) {
                entries.emplace(item.text, item.type, pane);
                if (item.text == "huge.iso") {
                    EXPECT_EQ(item.modified, mlsd ? std::optional(time) : std::nullopt);
                }
            }
        }
        EXPECT_EQ(ftp->FindSize("name with  spaces.txt"), 5);
        EXPECT_EQ(ftp->FindSize("huge.iso"), 5000000000LL);
        EXPECT_EQ(ftp->PWD(), "/pub");  // the control connection is ready for the next command
        return entries;
    };
    const int f = EntryStringItem::File;
    const int l = EntryStringItem::Link;
    const Entries plain = {{"sub dir", EntryStringItem::Directory, 1},
                           {"name with  spaces.txt", f, 0},
                           {"huge.iso", f, 0}};
    // A link is offered in both panes. pyftpdlib's MLSD names a link by what it points to.
    auto with = [&](const Entries& links) {
        Entries all = plain;
        all.insert(links.begin(), links.end());
        return all;
    };
    const Entries linked = with({{"link", l, 0}, {"link", l, 1}});
    const bool mlsd = ftp->OffersMlsd();
    EXPECT_EQ(list(mlsd), server->Name() == "pyftpdlib" && mlsd ? with({{"link", f, 0}}) : linked);
    if (mlsd) {
        ftp->AllowMlsd(false);
        EXPECT_EQ(list(false), linked);
        EXPECT_EQ(Count(*server, "MLSD"), 1);
        EXPECT_EQ(Count(*server, "LIST"), 1);
    }
}

TEST_P(TransferServerTest, NamesTravelAsTheServersBytesDownAndUp) {
    const Strings names = {"caf\xC3\xA9 \xE2\x98\x95.txt", "\xFF\xFE caf\xE9.bin"};
    for (const std::string& name : names) {
        TempDir::WriteFile(server->Pub() / name, "contents of " + name);
    }
    ASSERT_EQ(ftp->BINARY(), 0);
    FTPcommand::Items files;
    ASSERT_EQ(ftp->LISTING(nullptr, &files, nullptr, nullptr, Mode(), nullptr, nullptr), 0);
    ASSERT_EQ(files.size(), 2u);
    for (const std::string& name : names) {
        SCOPED_TRACE(testing::PrintToString(name));
        EXPECT_TRUE(files[0].text == name || files[1].text == name);
        ASSERT_EQ(ftp->GETBINARY(name.c_str(), Local().c_str(), nullptr, Mode(), false), 0);
        EXPECT_EQ(TempDir::Read(local / name), "contents of " + name);
        fs::remove(server->Pub() / name);
        ASSERT_EQ(ftp->PUTBINARY(name.c_str(), Local().c_str(), nullptr, Mode()), 0);
        EXPECT_EQ(TempDir::Read(server->Pub() / name), "contents of " + name);
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(local.Path()), fs::directory_iterator()), 2);
    const std::string folder = "\xFF\xFE folder";
    fs::create_directory(server->Pub() / folder);
    if (server->Name() != "pyftpdlib") {  // it refuses a folder name that is not UTF-8
        ASSERT_EQ(ftp->CWD(folder.c_str()), 0);
        EXPECT_EQ(ftp->PWD(), "/pub/" + folder);
    }
    if (ftp->OffersUtf8()) {
        EXPECT_EQ(Count(*server, "OPTS UTF8 ON"), 1);
    }
}

std::string SetupName(const ::testing::TestParamInfo<Setup>& info) {
    const auto [kind, mode, security] = info.param;
    std::string name = kind;
    std::replace(name.begin(), name.end(), '-', '_');
    const char* tls[] = {"", "_tls_if_offered", "_tls", "_implicit_tls"};
    return name + tls[static_cast<int>(security)] + (mode == 0 ? "_active" : "_passive");
}

INSTANTIATE_TEST_SUITE_P(
    Plain, TransferServerTest,
    ::testing::Combine(::testing::Values("pyftpdlib", "vsftpd", "pure-ftpd", "proftpd"),
                       ::testing::Values(0, 1), ::testing::Values(Security::Plain)),
    SetupName);
INSTANTIATE_TEST_SUITE_P(Tls, TransferServerTest,
                         ::testing::Values(Setup{"vsftpd", 1, Security::ExplicitRequired},
                                           Setup{"vsftpd", 0, Security::ExplicitIfAvailable},
                                           Setup{"vsftpd", 1, Security::Implicit},
                                           Setup{"pyftpdlib", 1, Security::ExplicitRequired},
                                           Setup{"pyftpdlib", 0, Security::ExplicitRequired}),
                         SetupName);

TEST(LogOnServerTest, RefusedLogOnsAlertInTheServersWordsThenQuit) {
    AlertRecorder alerts;
    PyFtpServer pyftpdlib(std::vector<PyFtpServer::Account>{{"alice", "right"}});
    FTPcommand wrong;
    EXPECT_EQ(wrong.Init("127.0.0.1", pyftpdlib.PortText().c_str(), "alice", "wrong", nullptr), 1);
    EXPECT_EQ(alerts.Texts(), Strings{"Password not accepted."});
    ASSERT_FALSE(pyftpdlib.Commands().empty());
    EXPECT_EQ(pyftpdlib.Commands().back(), "QUIT");

    auto vsftpd = StartTestServer("vsftpd");
    FTPcommand named;
    EXPECT_EQ(named.Init("127.0.0.1", vsftpd->PortText().c_str(), "alice", "pw", nullptr), 1);
    EXPECT_EQ(alerts.Texts().back(),
              "The server refused the log-on:\n530 This FTP server is anonymous only.");
}

// Data that ends without TLS's closing notice may have been cut by anyone on the path: a
// listing or a file that ends so is not whole.
TEST(TlsDataTest, DataCutWithoutTheClosingNoticeIsAFailure) {
    const TestCertificate& tls = TestCertificate::Shared();
    PyFtpServer cutting({{"tester", "s3cret"}}, 0, "127.0.0.1",
                        {"--tls-cert", tls.cert, "--tls-key", tls.key, "--cut-tls-data"});
    TempDir::WriteFile(cutting.Pub() / "f", "bytes");
    LogRecorder log;
    AlertRecorder alerts;
    auto ftp = Session(log, Security::ExplicitRequired);
    ASSERT_EQ(ftp->Init("127.0.0.1", cutting.PortText().c_str(), "tester", "s3cret", nullptr), 0);
    ASSERT_EQ(ftp->CWD("/pub"), 0);
    FTPcommand::Items files;
    EXPECT_NE(ftp->LISTING(nullptr, &files, nullptr, nullptr, 1, nullptr, nullptr), 0);
    TempDir local;
    EXPECT_NE(ftp->GETASCII("f", (local.Path().string() + "/").c_str(), nullptr, 1, false), 0);
    const Strings lines = log.Lines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(),
                         "The server's TLS data ended without its closing notice."),
              2);
}

// Nothing of the user's leaves before the server is known: not to a certificate that does not
// verify, not to a server that will not speak TLS when TLS is required.
TEST(LogOnServerTest, CredentialsNeverLeaveBeforeTheServerIsTrusted) {
    auto vsftpd = StartServer("vsftpd", Security::ExplicitRequired);
    const std::string ls = std::string(FTPXFER_PATH) + " --tls ";
    const std::string url = " ls ftp://127.0.0.1:" + vsftpd->PortText() + "/pub/ >/dev/null 2>&1";
    EXPECT_NE(std::system((ls + url).c_str()), 0) << "the system's store knows no test certificate";
    EXPECT_EQ(Count(*vsftpd, "USER") + Count(*vsftpd, "PASS"), 0);

    // The name must match too: the certificate is for 127.0.0.1, not for localhost. The check
    // sees what the user will be shown, the name first even where the chain fails too (the
    // system's store), and its answer decides.
    for (const bool accept : {false, true}) {
        LogRecorder log;
        AlertRecorder alerts;
        auto ftp = Session(log, Security::ExplicitRequired);
        if (!accept) {
            ftp->SetSecurity(Security::ExplicitRequired);
        }
        std::vector<TlsConnection::Certificate> asked;
        ftp->SetCertificateCheck(
            [&](const TlsConnection::Certificate& certificate, const std::string& host, int port) {
                EXPECT_EQ(host, "localhost");
                EXPECT_EQ(port, vsftpd->Port());
                asked.push_back(certificate);
                return accept;
            });
        EXPECT_EQ(
            ftp->Init("localhost", vsftpd->PortText().c_str(), "anonymous", "guest", nullptr) == 0,
            accept);
        ASSERT_EQ(asked.size(), 1u);
        EXPECT_FALSE(asked[0].verified);
        EXPECT_TRUE(asked[0].problem.starts_with("it is made out to another name than localhost"))
            << asked[0].problem;
        EXPECT_EQ(asked[0].problem.find(';') != std::string::npos, !accept) << asked[0].problem;
        EXPECT_NE(asked[0].subject.find("127.0.0.1"), std::string::npos);
        EXPECT_EQ(asked[0].sha256.size(), 32u * 3 - 1);  // "AB:CD:..."
        EXPECT_EQ(Count(*vsftpd, "USER"), accept ? 1 : 0);
    }
    const std::string& cert = TestCertificate::Shared().cert;
    EXPECT_EQ(std::system((ls + "--cacert " + cert + url).c_str()), 0);

    // A plain server and required TLS: AUTH TLS is refused, and the log-on ends there.
    PyFtpServer plain;
    LogRecorder log;
    AlertRecorder alerts;
    EXPECT_NE(Session(log, Security::ExplicitRequired)
                  ->Init("127.0.0.1", plain.PortText().c_str(), plain.User().c_str(),
                         plain.Password().c_str(), nullptr),
              0);
    EXPECT_EQ(Count(plain, "USER") + Count(plain, "PASS"), 0);
    EXPECT_EQ(alerts.Texts(), Strings{"The server does not offer TLS: the log-on stopped before "
                                      "the user name and password were sent."});
}

}  // namespace
