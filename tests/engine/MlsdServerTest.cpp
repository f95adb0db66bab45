// Listings over MLSD and names as bytes: against pyftpdlib, which offers MLSD and UTF8, and
// against a scripted peer for servers that do not offer MLSD or do not keep their word.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <tuple>

#include <fcntl.h>
#include <sys/stat.h>

#include "FTPcommand.h"
#include "ListingMonitor.h"
#include "PyFtpServer.h"
#include "Recorders.h"
#include "ScriptedPeer.h"
#include "TempDir.h"

namespace {

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;
// Name, pane type and size of each listed entry, sorted.
using Entry = std::tuple<std::string, int, long long>;
using Entries = std::vector<Entry>;

class RawLines : public ListingMonitor {
public:
    void Clear() override { lines.clear(); }
    void AddLine(const EntryStringItem& line) override { lines.push_back(line.text); }
    void ShowLast() override {}
    Strings lines;
};

Entries List(FTPcommand& ftp, RawLines* view = nullptr) {
    FTPcommand::Items files;
    FTPcommand::Items directories;
    EXPECT_EQ(ftp.LISTING(nullptr, &files, &directories, nullptr, 1, view, nullptr), 0);
    Entries entries;
    for (const auto* items : {&files, &directories}) {
        for (const EntryStringItem& item : *items) {
            entries.emplace_back(item.text, item.type, ftp.FindSize(item.text.c_str()));
        }
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

long Count(const Strings& lines, const std::string& part) {
    return std::count_if(lines.begin(), lines.end(),
                         [&](const std::string& line) { return line.find(part) == 0; });
}

class MlsdServerTest : public ::testing::Test {
protected:
    void LogOn() {
        ASSERT_EQ(ftp.Init("127.0.0.1", server.PortText().c_str(), server.User().c_str(),
                           server.Password().c_str(), nullptr),
                  0);
        ASSERT_EQ(ftp.CWD("/pub"), 0);
    }

    PyFtpServer server;
    TempDir local;
    FTPcommand ftp;
};

TEST_F(MlsdServerTest, MlsdListsWhatListListsWithSizesPast32Bits) {
    fs::create_directories(server.Pub() / "a folder");
    TempDir::WriteFile(server.Pub() / "name with  spaces.txt", "12345");
    std::ofstream(server.Pub() / "huge.iso").close();
    fs::resize_file(server.Pub() / "huge.iso", 5000000000LL);  // sparse: no disk used
    LogOn();
    EXPECT_TRUE(ftp.OffersMlsd() && ftp.OffersUtf8() && ftp.OffersSize() && ftp.OffersRestStream());

    const std::time_t modified = 1795701780;  // 2026-11-26 14:03 UTC
    const timespec times[2] = {{modified, 0}, {modified, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, (server.Pub() / "huge.iso").c_str(), times, 0), 0);
    FTPcommand::Items files;
    ASSERT_EQ(ftp.LISTING(nullptr, &files, nullptr, nullptr, 1, nullptr, nullptr), 0);
    const auto huge = std::find_if(files.begin(), files.end(), [](const EntryStringItem& item) {
        return item.text == "huge.iso";
    });
    ASSERT_NE(huge, files.end());
    EXPECT_EQ(huge->size, 5000000000LL);
    EXPECT_EQ(huge->modified, modified);  // the pane's tooltip shows it

    RawLines mlsdLines;
    Entries overMlsd = List(ftp, &mlsdLines);
    ftp.AllowMlsd(false);
    RawLines listLines;
    EXPECT_EQ(List(ftp, &listLines), overMlsd);
    ASSERT_EQ(overMlsd.size(), 3u);
    EXPECT_EQ(std::get<1>(overMlsd[0]), EntryStringItem::Directory);
    EXPECT_EQ(overMlsd[1], Entry("huge.iso", EntryStringItem::File, 5000000000LL));
    EXPECT_EQ(overMlsd[2], Entry("name with  spaces.txt", EntryStringItem::File, 5));
    // The full listing shows the server's own lines either way.
    EXPECT_EQ(mlsdLines.lines.size(), 3u);
    EXPECT_EQ(Count(mlsdLines.lines, "modify="), 3);  // pyftpdlib sorts the facts
    EXPECT_EQ(Count(listLines.lines, "-"), 2);        // ls -l lines of the two files
    Strings commands = server.Commands();
    EXPECT_EQ(Count(commands, "MLSD"), 2);  // both listings before LIST was asked for
    EXPECT_EQ(Count(commands, "LIST"), 1);
    EXPECT_EQ(Count(commands, "OPTS UTF8 ON"), 1);
}

TEST_F(MlsdServerTest, NamesTravelAsTheServersBytesDownAndUp) {
    const Strings names = {"caf\xC3\xA9 \xE2\x98\x95.txt", "\xFF\xFE.bin"};
    for (const std::string& name : names) {
        TempDir::WriteFile(server.Pub() / name, "contents of " + name);
    }
    LogOn();
    ASSERT_EQ(ftp.BINARY(), 0);
    Entries listed = List(ftp);
    ASSERT_EQ(listed.size(), 2u);
    EXPECT_EQ(std::get<0>(listed[0]), names[0]);
    EXPECT_EQ(std::get<0>(listed[1]), names[1]);
    std::string folder = local.Path().string() + "/";
    for (const std::string& name : names) {
        SCOPED_TRACE(testing::PrintToString(name));
        ASSERT_EQ(ftp.GETBINARY(name.c_str(), folder.c_str(), nullptr, 1, false), 0);
        EXPECT_EQ(TempDir::Read(local / name), "contents of " + name);
        fs::remove(server.Pub() / name);
        ASSERT_EQ(ftp.PUTBINARY(name.c_str(), folder.c_str(), nullptr, 1), 0);
        EXPECT_EQ(TempDir::Read(server.Pub() / name), "contents of " + name);
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(local.Path()), fs::directory_iterator()), 2);
}

TEST(MlsdPeerTest, ListsWithListWhereMlsdIsNotToBeHad) {
    auto listed = [](ScriptedPeer& p, const std::string& verb) -> ScriptedPeer& {
        std::string line = verb == "MLSD" ? "type=file;size=5000000000; big.iso"
                                          : "-rw-r--r-- 1 a b 5000000000 Jan 01 12:00 big.iso";
        return p.Expect("PASV")
            .Passive()
            .Expect(verb)
            .Reply("150 ok")
            .SendData(line + "\r\n")
            .Reply("226 done");
    };
    // Offers MLSD and UTF8, then answers the first MLSD with `refusal`.
    auto offered = [](ScriptedPeer& p, const std::string& refusal) -> ScriptedPeer& {
        return p.Expect("FEAT")
            .Reply("211-Features:")
            .Reply(" MLST type*;size*;")
            .Reply(" UTF8")
            .Reply("211 End")
            .Expect("OPTS UTF8 ON")
            .Reply("200 Always in UTF8 mode.")
            .Expect("PASV")
            .Passive()
            .Expect("MLSD")
            .Reply(refusal);
    };
    struct Case {
        const char* name;
        std::function<void(ScriptedPeer&)> afterLogOn;
        Strings commands;
    };
    const Case cases[] = {
        {"FEAT not implemented: LIST, and no OPTS",
         [&](ScriptedPeer& p) {
             listed(listed(p.Expect("FEAT").Reply("502 Not implemented."), "LIST"), "LIST");
         },
         {"FEAT", "PASV", "LIST", "PASV", "LIST"}},
        {"MLSD offered but not understood: LIST from then on",
         [&](ScriptedPeer& p) { listed(listed(offered(p, "500 Unknown."), "LIST"), "LIST"); },
         {"FEAT", "OPTS UTF8 ON", "PASV", "MLSD", "PASV", "LIST", "PASV", "LIST"}},
        {"MLSD refused for one folder: LIST for that one only",
         [&](ScriptedPeer& p) { listed(listed(offered(p, "550 Not here."), "LIST"), "MLSD"); },
         {"FEAT", "OPTS UTF8 ON", "PASV", "MLSD", "PASV", "LIST", "PASV", "MLSD"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedPeer peer;
        peer.Reply("220 hi").Expect("USER").Reply("331 pw").Expect("PASS").Reply("230 in");
        c.afterLogOn(peer);
        peer.Silence().Start();
        auto ftp = std::make_unique<FTPcommand>();
        ftp->SetTimeout(5000);
        ASSERT_EQ(ftp->Init("127.0.0.1", std::to_string(peer.Port()).c_str(), "bob", "pw", nullptr),
                  0);
        for (int listing = 0; listing < 2; ++listing) {
            FTPcommand::Items files;
            EXPECT_EQ(ftp->LISTING(nullptr, &files, nullptr, nullptr, 1, nullptr, nullptr), 0);
            ASSERT_EQ(files.size(), 1u);
            EXPECT_EQ(files[0].text, "big.iso");
            EXPECT_EQ(ftp->FindSize("big.iso"), 5000000000LL);
        }
        ftp.reset();
        peer.WaitDone();
        EXPECT_TRUE(peer.Mismatches().empty()) << peer.Mismatches().front();
        Strings commands = peer.Commands();
        EXPECT_EQ(Strings(commands.begin() + 2, commands.end()), c.commands);  // after USER, PASS
    }
}

}  // namespace

namespace {

// A download that stops short of the size the server gives is a failure, whatever the final
// reply said; a server without SIZE in FEAT is not asked.
TEST(SizeCheckPeerTest, ABinaryDownloadShorterThanTheServersSizeFails) {
    for (const bool offersSize : {true, false}) {
        SCOPED_TRACE(offersSize ? "SIZE offered" : "SIZE not offered");
        ScriptedPeer peer;
        peer.Reply("220 hi").Expect("USER").Reply("331 pw").Expect("PASS").Reply("230 in");
        peer.Expect("FEAT").Reply("211-Features:");
        if (offersSize) {
            peer.Reply(" SIZE");
        }
        peer.Reply("211 End").Expect("PASV").Passive().Expect("RETR cut.bin").Reply("150 ok");
        peer.SendData("only part").Reply("226 done");
        if (offersSize) {
            peer.Expect("SIZE cut.bin").Reply("213 1000");
        }
        peer.Silence().Start();
        TempDir local;
        AlertRecorder alerts;
        FTPcommand ftp;
        ftp.SetTimeout(5000);
        ASSERT_EQ(ftp.Init("127.0.0.1", std::to_string(peer.Port()).c_str(), "bob", "pw", nullptr),
                  0);
        const std::string folder = local.Path().string() + "/";
        EXPECT_EQ(ftp.GETBINARY("cut.bin", folder.c_str(), nullptr, 1, false), offersSize ? 1 : 0);
        EXPECT_EQ(alerts.Texts(),
                  offersSize ? Strings{"cut.bin arrived with 9 bytes where the server has 1000: "
                                       "it is incomplete."}
                             : Strings{});
    }
}

}  // namespace
