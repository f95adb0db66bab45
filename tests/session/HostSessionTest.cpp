// The session's work without any window: log-on, listings, changes of folder and trees, against
// real servers, with a view that records what a window would show.
#include "HostSession.h"

#include <gtest/gtest.h>

#include <deque>
#include <filesystem>
#include <map>
#include <mutex>
#include <thread>

#include "BarMonitor.h"
#include "ListingMonitor.h"
#include "Recorders.h"
#include "TempDir.h"
#include "TestServer.h"

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
    void OperationEnded() override {}
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

// A session on a real server, logged on with its local side in a folder of the test's.
class HostSessionTest : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        server = StartTestServer(GetParam());
        recipe.host = "127.0.0.1";
        recipe.port = server->PortText();
        recipe.user = server->User();
        recipe.password = server->Password();
        recipe.localDirectory = local.Path().string();
    }
    // The goodbye runs on a worker: the session goes once it has ended.
    void TearDown() override {
        session.Close();
        while (session.Workers().Running() > 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    LogOnRecipe recipe;
    RecordingView view;
    StatusRecorder status;
    LogRecorder log;
    NoBar bar;
    NoLines lines;
    TempDir local;
    std::unique_ptr<TestServer> server;
    HostSession session{view, {&status, &log, &bar, &lines}, 0, 1};
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

}  // namespace
