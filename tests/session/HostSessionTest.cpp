// The session's work without any window: log-on, listings, changes of folder and trees, against
// real servers, with a view that records what a window would show.
#include "HostSession.h"

#include <gtest/gtest.h>

#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

#include "BarMonitor.h"
#include "ListingMonitor.h"
#include "Recorders.h"
#include "ScriptedPeer.h"
#include "TempDir.h"
#include "TestServer.h"
#include "WanProxy.h"

namespace {

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;

// What a window would show and answer, recorded; questions get the next scripted answer.
class RecordingView : public SessionView {
public:
    void ShowHostLists(SharedItems directories, SharedItems files) override {
        std::lock_guard lock(mutex_);
        hostDirectories = std::move(directories);
        hostFiles = std::move(files);
        ++hostListsShown;
    }
    void ShowLocalLists(Items, Items, const std::string& folder) override {
        std::lock_guard lock(mutex_);
        localFolder = folder;
    }
    void ShowHostPath(const std::string&) override {}
    void HostFolderListed(const std::string&, bool) override {}
    void ShowStatus(bool) override {}
    void TreeWalking(bool) override {}
    void Tell(const std::string& text) override {
        std::lock_guard lock(mutex_);
        told.push_back(text);
    }
    int Ask(const std::string& text, const std::vector<std::string>&, Kind, int) override {
        std::lock_guard lock(mutex_);
        told.push_back(text);
        const int answer = answers.empty() ? 0 : answers.front();
        if (!answers.empty()) {
            answers.pop_front();
        }
        return answer;
    }
    void LoggedOn(bool, bool) override { loggedOn = true; }
    void LogOnFailed() override { logOnFailed = true; }
    void OperationEnded(const std::string&) override { ++ended; }
    void TransferStarted(TransferInfo*) override {}
    void TransferEnded(TransferInfo*) override {}
    void HostChanged() override {}
    void OpenFetched(const std::string&) override {}

    Strings Told() {
        std::lock_guard lock(mutex_);
        return told;
    }
    Strings HostNames() {
        std::lock_guard lock(mutex_);
        Strings names;
        for (const auto* list : {hostDirectories.get(), hostFiles.get()}) {
            for (const EntryStringItem& item : list != nullptr ? *list : Items{}) {
                names.push_back(item.text);
            }
        }
        return names;
    }

    std::mutex mutex_;
    SharedItems hostDirectories;
    SharedItems hostFiles;
    int hostListsShown = 0;
    std::string localFolder;
    Strings told;
    std::deque<int> answers;
    std::atomic<int> ended{0};
    std::atomic<bool> loggedOn{false};
    std::atomic<bool> logOnFailed{false};
};

struct NoBar : BarMonitor {
    void SetText(const std::string&) override {}
};
struct NoLines : ListingMonitor {
    void Clear() override {}
    void AddLine(const EntryStringItem&) override {}
    void ShowLast() override {}
};

std::map<std::string, std::string> TreeOf(const fs::path& root) {
    std::map<std::string, std::string> tree;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        tree[fs::relative(entry.path(), root).string()] =
            entry.is_directory() ? "<folder>" : TempDir::Read(entry.path());
    }
    return tree;
}

// A session whose local side is a folder of the test's; the goodbye runs on a worker, and the
// session goes once it has ended.
class SessionFixture {
protected:
    ~SessionFixture() {
        session.Close();
        while (session.Workers().Running() > 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    // An operation as a window starts it: on the session's worker, waited for.
    void RunOperation(const std::function<void()>& operation) {
        const int before = view.ended;
        ASSERT_TRUE(session.Run("test", operation));
        while (view.ended == before) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    // A scripted peer's log-on as the session makes it, and the recipe for it.
    static void ScriptLogOn(ScriptedPeer& peer) {
        peer.Reply("220 hi").Expect("USER u").Reply("331 pw").Expect("PASS p").Reply("230 in");
        peer.Expect("MODE S").Reply("200 ok");
    }
    LogOnRecipe Recipe(const ScriptedPeer& peer) {
        LogOnRecipe recipe;
        recipe.host = "127.0.0.1";
        recipe.port = std::to_string(peer.Port());
        recipe.user = "u";
        recipe.password = "p";
        recipe.localDirectory = local.Path().string();
        return recipe;
    }
    LogOnRecipe Recipe(const TestServer& server, int port = 0) {
        LogOnRecipe recipe;
        recipe.host = "127.0.0.1";
        recipe.port = std::to_string(port != 0 ? port : server.Port());
        recipe.user = server.User();
        recipe.password = server.Password();
        recipe.localDirectory = local.Path().string();
        return recipe;
    }

    RecordingView view;
    StatusRecorder status;
    LogRecorder log;
    NoBar bar;
    NoLines lines;
    TempDir local;
    HostSession session{view, {&status, &log, &bar, &lines}, 0, 1};
};

class HostSessionTest : public SessionFixture, public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        server = StartTestServer(GetParam());
        recipe = Recipe(*server);
    }
    std::unique_ptr<TestServer> server;
    LogOnRecipe recipe;
};

TEST_P(HostSessionTest, LogsOnChangesFolderAndMovesATreeBothWaysWithoutRepaintingPerFolder) {
    const fs::path tree = server->Pub() / "tree";
    TempDir::WriteFile(tree / "one" / "two" / "deep.bin", RandomBytes(70000, 1));
    TempDir::WriteFile(tree / "top.txt", "top\n");
    fs::create_directories(tree / "empty");
    fs::create_directories(server->Pub() / "back");
    fs::permissions(server->Pub() / "back", fs::perms::all);  // for the server's own user

    ASSERT_EQ(session.Logon(recipe), 0) << ::testing::PrintToString(log.Lines());
    EXPECT_TRUE(view.loggedOn && session.IsConnected());
    EXPECT_EQ(view.HostNames(), (Strings{"..", "pub"}));
    EXPECT_EQ(view.localFolder, fs::canonical(local.Path()).string() + "/");
    session.CDDISTANT("pub");
    EXPECT_EQ(session.HostPath(), "/pub");
    EXPECT_EQ(view.HostNames(), (Strings{"..", "back", "tree"}));

    const int shown = view.hostListsShown;
    session.WalkTree(true, "tree");
    EXPECT_EQ(TreeOf(local / "tree"), TreeOf(tree));
    EXPECT_TRUE(session.LastTree().whole);
    EXPECT_EQ(session.LastTree().files, 2);
    EXPECT_EQ(session.HostPath(), "/pub");
    EXPECT_EQ(view.hostListsShown, shown + 1) << "the panes show the start, once, at the end";

    session.CDDISTANT("back");
    session.WalkTree(false, "tree");
    EXPECT_EQ(TreeOf(server->Pub() / "back" / "tree"), TreeOf(tree));
    EXPECT_EQ(session.LastTree().folders, 4);
    EXPECT_EQ(session.HostPath(), "/pub/back");
    EXPECT_EQ(view.HostNames(), (Strings{"..", "tree"}));
    EXPECT_TRUE(view.Told().empty()) << ::testing::PrintToString(view.Told());
}

INSTANTIATE_TEST_SUITE_P(Servers, HostSessionTest, ::testing::Values("pyftpdlib", "vsftpd"),
                         [](const auto& info) { return info.param; });

// Every file below `root` is the start of the server's file of the same name below `served`.
bool EveryFileIsAPrefix(const fs::path& root, const fs::path& served) {
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        if (entry.is_regular_file() && !TempDir::Read(served / fs::relative(entry.path(), root))
                                            .starts_with(TempDir::Read(entry.path()))) {
            return false;
        }
    }
    return true;
}

class SessionLinkTest : public SessionFixture, public ::testing::Test {};

// vsftpd ends a session idle for a second: the next command finds the 421, logs on again and
// goes on where it was, without a word; a session that died so closes without one either.
TEST_F(SessionLinkTest, ASessionPastTheServersIdleTimeoutWorksOnItsNextCommand) {
    auto vsftpd = StartVsftpd("idle_session_timeout=1");
    TempDir::WriteFile(vsftpd->Pub() / "tree" / "a.txt", "a");
    TempDir::WriteFile(vsftpd->Pub() / "tree" / "in" / "b.bin", RandomBytes(50000, 2));
    fs::create_directories(vsftpd->Pub() / "back");
    fs::permissions(vsftpd->Pub() / "back", fs::perms::all);  // for the server's own user
    LogOnRecipe recipe = Recipe(*vsftpd);
    recipe.startPath = "/pub";
    ASSERT_EQ(session.Logon(recipe), 0);
    const auto idle = [] { std::this_thread::sleep_for(std::chrono::milliseconds(2200)); };

    idle();
    TempDir::WriteFile(vsftpd->Pub() / "fresh.txt", "new");
    EXPECT_EQ(session.UpdateServeur(std::nullopt), 0);
    EXPECT_EQ(view.HostNames(), (Strings{"..", "back", "tree", "fresh.txt"}));
    idle();
    session.WalkTree(true, "tree");
    EXPECT_EQ(TreeOf(local / "tree"), TreeOf(vsftpd->Pub() / "tree"));
    session.CDDISTANT("back");
    idle();
    session.WalkTree(false, "tree");
    EXPECT_EQ(TreeOf(vsftpd->Pub() / "back" / "tree"), TreeOf(local / "tree"));
    EXPECT_TRUE(session.LastTree().whole);
    idle();
    session.Close();
    EXPECT_TRUE(view.Told().empty()) << ::testing::PrintToString(view.Told());
    EXPECT_TRUE(log.Contains("Connection lost: reconnecting..."));
}

// A link that resets one data connection in four and drops the control connection every 23rd
// command: both trees arrive whole, without a word. Then the link goes for good in the middle
// of a tree: the walk ends in well under 3 minutes with one alert, and every local part is the
// start of the server's file, ready for a ReGet.
TEST_F(SessionLinkTest, TreesCrossAFaultyLinkWholeAndALinkGoneForGoodEndsThemWithOneAlert) {
    auto vsftpd = StartVsftpd();
    const fs::path tree = vsftpd->Pub() / "tree";
    for (int i = 0; i < 8; ++i) {
        TempDir::WriteFile(tree / ("d" + std::to_string(i % 2)) / ("f" + std::to_string(i)),
                           RandomBytes(150000 + 1000 * i, i));
    }
    // One file at the top puts a folder's listing in the way of a reset too.
    TempDir::WriteFile(tree / "top", RandomBytes(5000, 9));
    fs::create_directories(vsftpd->Pub() / "back");
    fs::permissions(vsftpd->Pub() / "back", fs::perms::all);
    WanProxy faulty(vsftpd->Port(),
                    {"--rtt", "2", "--reset-data-every", "4", "--drop-control-every", "23"});
    LogOnRecipe recipe = Recipe(*vsftpd, faulty.Port());
    recipe.startPath = "/pub";
    ASSERT_EQ(session.Logon(recipe), 0);
    session.WalkTree(true, "tree");
    EXPECT_EQ(TreeOf(local / "tree"), TreeOf(tree));
    session.CDDISTANT("back");
    session.WalkTree(false, "tree");
    EXPECT_EQ(TreeOf(vsftpd->Pub() / "back" / "tree"), TreeOf(tree));
    EXPECT_TRUE(session.LastTree().whole);
    EXPECT_TRUE(view.Told().empty()) << ::testing::PrintToString(view.Told());
    EXPECT_TRUE(log.Contains("The listing did not arrive whole: trying again in 1 s."));

    // 8 Mbit/s: the tree takes seconds, and the link goes in the middle.
    WanProxy slow(vsftpd->Port(), {"--rtt", "2", "--rate", "8"});
    recipe = Recipe(*vsftpd, slow.Port());
    recipe.startPath = "/pub";
    recipe.localDirectory = (local / "again").string();
    fs::create_directories(local / "again");
    HostSession second(view, {&status, &log, &bar, &lines}, 0, 1);
    ASSERT_EQ(second.Logon(recipe), 0);
    std::thread cutter([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(700));
        slow.Cut();
    });
    const auto start = std::chrono::steady_clock::now();
    second.WalkTree(true, "tree");
    cutter.join();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::minutes(3));
    EXPECT_FALSE(second.LastTree().whole);
    ASSERT_EQ(view.Told().size(), 1u);
    EXPECT_TRUE(view.Told()[0].starts_with("The connection to 127.0.0.1 was lost"))
        << view.Told()[0];
    EXPECT_TRUE(EveryFileIsAPrefix(local / "again" / "tree", tree));
    second.Close();
    while (second.Workers().Running() > 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

// A file the server refuses for good (vsftpd's deny_file: 550) is not tried again: the other
// nine arrive, and one alert counts the one.
TEST_F(SessionLinkTest, APermanentRefusalLeavesTheOtherFilesOfTheTreeAndOneAlert) {
    auto vsftpd = StartVsftpd("deny_file={f5}");
    for (int i = 0; i < 10; ++i) {
        TempDir::WriteFile(vsftpd->Pub() / "ten" / ("f" + std::to_string(i)), std::to_string(i));
    }
    LogOnRecipe recipe = Recipe(*vsftpd);
    recipe.startPath = "/pub";
    ASSERT_EQ(session.Logon(recipe), 0);
    session.WalkTree(true, "ten");
    EXPECT_EQ(TreeOf(local / "ten").size(), 9u);
    EXPECT_FALSE(fs::exists(local / "ten" / "f5"));
    EXPECT_EQ(session.LastTree().files, 9);
    EXPECT_EQ(view.Told(), Strings{"The tree was not moved whole: 1 file could not be moved.\n"
                                   "The FTP log names them."});
    EXPECT_TRUE(log.Contains("Not moved: /pub/ten/f5"));
}

// Stop during a 1 GiB download on the session's own connection: ABOR ends it within 2 s, and the
// session lists the host again.
TEST_F(SessionLinkTest, StopEndsALongGetWithinTwoSecondsAndTheSessionGoesOn) {
    auto vsftpd = StartVsftpd();
    fs::resize_file(TempDir::WriteFile(vsftpd->Pub() / "big.bin", ""), 1LL << 30);  // sparse
    LogOnRecipe recipe = Recipe(*vsftpd);
    recipe.startPath = "/pub";
    ASSERT_EQ(session.Logon(recipe), 0);
    std::chrono::steady_clock::time_point stopped;
    std::thread stopper([&] {
        while (status.bytes < (1 << 20)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        stopped = std::chrono::steady_clock::now();
        session.Stop();
    });
    session.IN({"big.bin"}, false);
    const auto ended = std::chrono::steady_clock::now();
    stopper.join();
    EXPECT_LT(ended - stopped, std::chrono::seconds(2));
    EXPECT_LT(fs::file_size(local / "big.bin"), 1ULL << 30);
    const int shown = view.hostListsShown;
    EXPECT_EQ(session.UpdateServeur(std::nullopt), 0);
    EXPECT_EQ(view.hostListsShown, shown + 1);
    EXPECT_EQ(view.Told(), Strings{"Get file aborted"});
}

// A control connection that dies while the data moves (a router dropping it during a long
// transfer) costs the verdict, not the file: the session logs on again, and SIZE tells that
// every byte is there.
TEST_F(SessionLinkTest, ADownloadWhoseVerdictWasLostIsJudgedBySize) {
    ScriptedPeer peer;
    ScriptLogOn(peer);
    peer.Expect("PASV").Passive().Expect("LIST").Reply("150 ok");
    peer.SendData("-rw-r--r-- 1 a b 5 Jan 01 12:00 f.bin\r\n").Reply("226 ok");
    peer.Expect("PWD").Reply("257 \"/\"").Expect("TYPE I").Reply("200 binary");
    peer.Expect("PASV").Passive().Expect("RETR f.bin").Reply("150 ok").SendData("12345").Close();
    peer.NextConnection();
    ScriptLogOn(peer);
    peer.Expect("CWD /").Reply("250 ok").Expect("SIZE f.bin").Reply("213 5").Silence();
    peer.Start();
    ASSERT_EQ(session.Logon(Recipe(peer)), 0);
    session.IN({"f.bin"}, false);
    EXPECT_EQ(TempDir::Read(local / "f.bin"), "12345");
    EXPECT_TRUE(view.Told().empty()) << ::testing::PrintToString(view.Told());
    EXPECT_TRUE(peer.Mismatches().empty()) << peer.Mismatches().front();
}

// A stop that cost the control connection (the server answers neither the listing nor ABOR) ends
// the operation at once; the next operation logs on again and works, without a word.
TEST_F(SessionLinkTest, AStopThatCostTheConnectionIsMendedByTheNextOperation) {
    ScriptedPeer peer;
    const auto listing = [&peer](const std::string& lines) {
        peer.Expect("PASV").Passive().Expect("LIST").Reply("150 ok").SendData(lines);
        peer.Reply("226 ok").Expect("PWD").Reply("257 \"/\"");
    };
    ScriptLogOn(peer);
    listing("");
    peer.Expect("PASV").Passive().Expect("LIST").Reply("150 ok").Silence();
    peer.NextConnection();
    ScriptLogOn(peer);
    peer.Expect("CWD /").Reply("250 ok");
    listing("-rw-r--r-- 1 a b 5 Jan 01 12:00 after.txt\r\n");
    peer.Silence();
    peer.Start();
    ASSERT_EQ(session.Logon(Recipe(peer)), 0);
    std::thread stopper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        session.Stop();
    });
    const auto start = std::chrono::steady_clock::now();
    RunOperation([&] { EXPECT_NE(session.UpdateServeur(std::nullopt), 0); });
    stopper.join();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
    RunOperation([&] { EXPECT_EQ(session.UpdateServeur(std::nullopt), 0); });
    EXPECT_EQ(view.HostNames(), (Strings{"..", "after.txt"}));
    EXPECT_TRUE(view.Told().empty()) << ::testing::PrintToString(view.Told());
    EXPECT_TRUE(peer.Mismatches().empty()) << peer.Mismatches().front();
}

}  // namespace
