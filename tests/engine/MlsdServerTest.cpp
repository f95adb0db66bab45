// Listings over MLSD and names as bytes: against pyftpdlib, which offers MLSD and UTF8, and
// against a scripted peer for servers that offer less than MLSD or do not keep their word.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <tuple>

#include "FTPcommand.h"
#include "ListingMonitor.h"
#include "PyFtpServer.h"
#include "ScriptedPeer.h"
#include "TempDir.h"

namespace {

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;
// Name, pane type and size of each listed entry, in name order.
using Entries = std::vector<std::tuple<std::string, int, long long>>;

class LineCounter : public ListingMonitor {
public:
    void Clear() override { lines.clear(); }
    void AddLine(const EntryStringItem& line) override { lines.push_back(line.text); }
    void ShowLast() override {}
    Strings lines;
};

Entries List(FTPcommand& ftp, LineCounter* view = nullptr) {
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

long Count(const Strings& commands, const std::string& prefix) {
    return std::count_if(commands.begin(), commands.end(),
                         [&](const std::string& c) { return c.starts_with(prefix); });
}

class MlsdServerTest : public ::testing::Test {
protected:
    void LogOn() {
        ftp.SetTimeout(10000);
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
    constexpr long long kHuge = 5000000000LL;
    fs::create_directories(server.Pub() / "a folder");
    TempDir::WriteFile(server.Pub() / "name with  spaces.txt", "12345");
    TempDir::WriteFile(server.Pub() / "empty", "");
    std::ofstream(server.Pub() / "huge.iso").close();
    fs::resize_file(server.Pub() / "huge.iso", kHuge);  // sparse: no disk used
    LogOn();
    EXPECT_TRUE(ftp.OffersMlsd());
    EXPECT_TRUE(ftp.OffersUtf8());
    EXPECT_TRUE(ftp.OffersSize());
    EXPECT_TRUE(ftp.OffersRestStream());

    LineCounter mlsdView;
    Entries overMlsd = List(ftp, &mlsdView);
    ftp.AllowMlsd(false);
    LineCounter listView;
    Entries overList = List(ftp, &listView);
    EXPECT_EQ(overMlsd, overList);
    EXPECT_EQ(overMlsd.size(), 4u);
    EXPECT_TRUE(std::find(overMlsd.begin(), overMlsd.end(),
                          std::tuple<std::string, int, long long>("huge.iso", EntryStringItem::File,
                                                                  kHuge)) != overMlsd.end());
    EXPECT_TRUE(std::find(overMlsd.begin(), overMlsd.end(),
                          std::tuple<std::string, int, long long>("name with  spaces.txt",
                                                                  EntryStringItem::File, 5)) !=
                overMlsd.end());
    // The full listing shows the server's own lines either way.
    ASSERT_EQ(mlsdView.lines.size(), 4u);
    EXPECT_TRUE(std::all_of(mlsdView.lines.begin(), mlsdView.lines.end(), [](const auto& line) {
        return line.find(";type=") != std::string::npos;  // MLSD facts, sorted by pyftpdlib
    }));
    EXPECT_EQ(listView.lines.size(), 4u);
    Strings commands = server.Commands();
    EXPECT_EQ(Count(commands, "MLSD"), 1);
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

// Servers that do not offer MLSD, or offer it and then refuse it, are listed with LIST.
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
    auto offered = [](ScriptedPeer& p) -> ScriptedPeer& {
        return p.Expect("FEAT")
            .Reply("211-Features:")
            .Reply(" MLST type*;size*;")
            .Reply(" UTF8")
            .Reply("211 End")
            .Expect("OPTS UTF8 ON")
            .Reply("200 Always in UTF8 mode.");
    };
    struct Case {
        const char* name;
        std::function<void(ScriptedPeer&)> afterLogOn;
        Strings commands;
        bool mlsdAfter;
    };
    const Case cases[] = {
        {"FEAT not implemented: LIST, and no OPTS",
         [&](ScriptedPeer& p) {
             listed(listed(p.Expect("FEAT").Reply("502 Command not implemented."), "LIST"), "LIST");
         },
         {"FEAT", "PASV", "LIST", "PASV", "LIST"},
         false},
        {"MLSD offered but not understood: LIST from then on",
         [&](ScriptedPeer& p) {
             listed(listed(offered(p).Expect("PASV").Passive().Expect("MLSD").Reply(
                               "500 Unknown command."),
                           "LIST"),
                    "LIST");
         },
         {"FEAT", "OPTS UTF8 ON", "PASV", "MLSD", "PASV", "LIST", "PASV", "LIST"},
         false},
        {"MLSD refused for one folder: LIST for that one only",
         [&](ScriptedPeer& p) {
             listed(listed(offered(p).Expect("PASV").Passive().Expect("MLSD").Reply(
                               "550 Cannot list here."),
                           "LIST"),
                    "MLSD");
         },
         {"FEAT", "OPTS UTF8 ON", "PASV", "MLSD", "PASV", "LIST", "PASV", "MLSD"},
         true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedPeer peer;
        peer.Reply("220 hi").Expect("USER").Reply("331 pw").Expect("PASS").Reply("230 in");
        c.afterLogOn(peer);
        peer.Silence();
        peer.Start();
        auto ftp = std::make_unique<FTPcommand>();
        ftp->SetTimeout(5000);
        ASSERT_EQ(ftp->Init("127.0.0.1", std::to_string(peer.Port()).c_str(), "bob", "pw", nullptr),
                  0);
        FTPcommand::Items files;
        for (int listing = 0; listing < 2; ++listing) {
            files.clear();
            EXPECT_EQ(ftp->LISTING(nullptr, &files, nullptr, nullptr, 1, nullptr, nullptr), 0);
            ASSERT_EQ(files.size(), 1u);
            EXPECT_EQ(files[0].text, "big.iso");
            EXPECT_EQ(ftp->FindSize("big.iso"), 5000000000LL);
        }
        EXPECT_EQ(ftp->ListsWithMlsd(), c.mlsdAfter);
        ftp.reset();
        peer.WaitDone();
        EXPECT_TRUE(peer.Mismatches().empty()) << peer.Mismatches().front();
        Strings commands = peer.Commands();
        commands.erase(commands.begin(), commands.begin() + 2);  // USER, PASS
        EXPECT_EQ(commands, c.commands);
    }
}

}  // namespace
