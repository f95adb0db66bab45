// File and folder commands of the session window on both sides, viewing, and unpacking archives
// that try to write outside the local folder.
#include <gtest/gtest.h>

#include <QApplication>
#include <QDesktopServices>
#include <QLineEdit>
#include <QProcess>
#include <QUrl>

#include "LPBListView.h"
#include "MultiListDriver.h"
#include "PromptW.h"
#include "PyFtpServer.h"
#include "SessionFixture.h"

namespace {

// Stands in for the desktop's viewer: keeps the files it was asked to open.
class Viewer : public QObject {
    Q_OBJECT

public:
    Viewer() { QDesktopServices::setUrlHandler("file", this, "Open"); }
    ~Viewer() override { QDesktopServices::unsetUrlHandler("file"); }
    std::vector<std::string> opened;

public slots:
    void Open(const QUrl& url) { opened.push_back(url.toLocalFile().toStdString()); }
};

std::vector<PromptW*> OpenPrompts() {
    std::vector<PromptW*> prompts;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* prompt = qobject_cast<PromptW*>(widget); prompt && prompt->isVisible()) {
            prompts.push_back(prompt);
        }
    }
    return prompts;
}

class HostCommandsTest : public SessionFixture, public ::testing::WithParamInterface<std::string> {
protected:
    void SetUp() override {
        server = StartTestServer(GetParam());
        work = server->Pub() / "work";
        fs::create_directories(work / "full");
        TempDir::WriteFile(work / "full" / "inside.txt", "x");
        for (const char* name : {"a.txt", "b.txt", "c.txt", "one.txt", "two.txt"}) {
            TempDir::WriteFile(work / name, name);
        }
        for (const auto& entry : fs::recursive_directory_iterator(work)) {
            fs::permissions(entry.path(), fs::perms::all);
        }
        fs::permissions(work, fs::perms::all);
    }

    bool HostLists(const char* name) {
        return window_->HostFiles()->SelectText(name) ||
               window_->HostDirectories()->SelectText(name);
    }

    std::unique_ptr<TestServer> server;
    fs::path work;
};

TEST_P(HostCommandsTest, MakeRemoveDeleteRenameAndViewEachShowTheirOutcome) {
    Viewer viewer;
    Open(*server, 1, "/pub/work");
    Issue(Message(FTPWindow::kMakeHostFolder).AddString("prompt", "made"));
    EXPECT_TRUE(fs::is_directory(work / "made"));
    EXPECT_TRUE(HostLists("made")) << "listed again";

    ASSERT_TRUE(window_->HostDirectories()->SelectText("full"));
    Issue(Message(FTPWindow::kRemoveHostFolder));
    EXPECT_EQ(alerts.Texts(), (std::vector<std::string>{
                                  "Impossible to delete this directory.\n(Not found/Not empty/No "
                                  "access.)"}));
    window_->HostDirectories()->UnSelectAll();
    ASSERT_TRUE(window_->HostDirectories()->SelectText("made"));
    Issue(Message(FTPWindow::kRemoveHostFolder));
    EXPECT_FALSE(fs::exists(work / "made"));
    EXPECT_FALSE(HostLists("made"));

    for (const char* name : {"a.txt", "b.txt", "c.txt"}) {
        ASSERT_TRUE(window_->HostFiles()->SelectText(name));
    }
    fs::remove(work / "b.txt");  // listed, gone when its turn comes
    Issue(Message(FTPWindow::kDeleteHostFiles));
    EXPECT_EQ(alerts.Texts().size(), 2u) << "one alert for the missing file";
    EXPECT_EQ(alerts.Texts().back(), "Impossible to delete this file.\n(Not found/No access)");
    EXPECT_FALSE(fs::exists(work / "a.txt") || fs::exists(work / "c.txt"));
    EXPECT_FALSE(HostLists("a.txt") || HostLists("c.txt"));

    window_->HostFiles()->UnSelectAll();
    ASSERT_TRUE(window_->HostFiles()->SelectText("one.txt"));
    Issue(Message(FTPWindow::kViewHost));
    ASSERT_EQ(viewer.opened.size(), 1u);
    EXPECT_EQ(TempDir::Read(viewer.opened[0]), "one.txt");
    EXPECT_FALSE(fs::exists(local / "one.txt")) << "viewed files stay out of the local folder";

    ASSERT_TRUE(window_->HostFiles()->SelectText("two.txt"));
    window_->PostMessage(Message(FTPWindow::kRenameHostFiles));
    ASSERT_TRUE(WaitUntil([] { return OpenPrompts().size() == 2; }));
    for (PromptW* prompt : OpenPrompts()) {
        const std::string renamed = "renamed " + prompt->Field()->text().toStdString();
        prompt->Field()->setText(QString::fromStdString(renamed));
        prompt->PostMessage(Message(PromptW::kOk));
        ASSERT_TRUE(WaitUntil([&] { return fs::exists(work / renamed); }, 10s));
        ASSERT_TRUE(WaitUntil([&] { return !window_->IsBusy(); }, 10s));
    }
    EXPECT_TRUE(fs::exists(work / "renamed one.txt") && fs::exists(work / "renamed two.txt"));
    EXPECT_TRUE(WaitUntil([&] { return HostLists("renamed two.txt"); }));
    EXPECT_EQ(alerts.Texts().size(), 2u);
}

// Names are the server's bytes: UTF-8 ones show as they are, others with a replacement mark,
// and both are sent back as they came. A rename left as shown renames nothing.
TEST_P(HostCommandsTest, NamesKeepTheirBytesWhateverTheyShow) {
    const std::string utf8 = "caf\xC3\xA9 \xE2\x98\x95.txt";  // "café ☕.txt"
    const std::string latin1 = "caf\xE9.txt";                 // not UTF-8
    TempDir::WriteFile(work / utf8, "utf-8");
    TempDir::WriteFile(work / latin1, "latin-1");
    Open(*server, 1, "/pub/work");
    const QAbstractItemModel* shown = window_->HostFiles()->model();
    for (const QString& name :
         {QString::fromUtf8("caf\u00e9 \u2615.txt"), QString("caf\ufffd.txt")}) {
        EXPECT_FALSE(
            shown->match(shown->index(0, 0), Qt::DisplayRole, name, 1, Qt::MatchExactly).isEmpty())
            << name.toStdString();
    }
    ASSERT_TRUE(window_->HostFiles()->SelectText(utf8));
    ASSERT_TRUE(window_->HostFiles()->SelectText(latin1));
    Issue(Message(FTPWindow::kGetSelected));
    // On a second connection, which frees the window at once.
    ASSERT_TRUE(WaitUntil([&] { return transfers.List()->CountItems() == 0; }, 10s));
    EXPECT_EQ(TempDir::Read(local / utf8), "utf-8");
    EXPECT_EQ(TempDir::Read(local / latin1), "latin-1");

    window_->HostFiles()->UnSelectAll();
    ASSERT_TRUE(window_->HostFiles()->SelectText(latin1));
    window_->PostMessage(Message(FTPWindow::kRenameHostFiles));
    ASSERT_TRUE(WaitUntil([] { return OpenPrompts().size() == 1; }));
    PromptW* prompt = OpenPrompts().front();
    EXPECT_EQ(prompt->Field()->text(), QString::fromUtf8("caf\xEF\xBF\xBD.txt"));
    prompt->PostMessage(Message(PromptW::kOk));  // left as shown
    Settle();
    ASSERT_TRUE(WaitUntil([&] { return !window_->IsBusy(); }, 10s));
    EXPECT_TRUE(fs::exists(work / latin1));
    window_->PostMessage(Message(FTPWindow::kRenameHostFiles));
    ASSERT_TRUE(WaitUntil([] { return OpenPrompts().size() == 1; }));
    OpenPrompts().front()->Field()->setText("cafe.txt");
    OpenPrompts().front()->PostMessage(Message(PromptW::kOk));
    ASSERT_TRUE(WaitUntil([&] { return fs::exists(work / "cafe.txt"); }, 10s));
    EXPECT_FALSE(fs::exists(work / latin1));
    EXPECT_TRUE(alerts.Texts().empty());
}

INSTANTIATE_TEST_SUITE_P(Servers, HostCommandsTest, ::testing::Values("pyftpdlib", "vsftpd"));

class LocalCommandsTest : public SessionFixture {
protected:
    void SetUp() override {
        fs::create_directory(outside.Path() / "chosen");
        local_ = outside.Path() / "chosen";
        ASSERT_TRUE(Open(server, 1, std::nullopt, local_.string()));
    }
    // Posts a local command and waits for its worker.
    void Run(Message message) {
        window_->PostMessage(std::move(message));
        Settle(30ms);
        ASSERT_TRUE(WaitUntil([&] { return window_->ThreadsRunning() == 0; }, 20s));
        Settle(30ms);
    }
    void Select(LPBListView* list, const std::string& name) {
        list->UnSelectAll();
        ASSERT_TRUE(WaitUntil([&] { return list->SelectText(name); })) << name;
    }

    PyFtpServer server;
    TempDir outside;
    fs::path local_;
};

TEST_F(LocalCommandsTest, NamesThatAShellWouldReadAreOnlyNames) {
    const std::string names[] = {"with blanks", "quo\"te's", "$(touch x)",
                                 "semi;colon",  "-leading",  "new\nline"};
    for (const std::string& name : names) {
        Run(Message(FTPWindow::kMakeLocalFolder).AddString("prompt", name + " dir"));
        EXPECT_TRUE(fs::is_directory(local_ / (name + " dir"))) << name;
        TempDir::WriteFile(local_ / name, "mine");
        Run(Message(FTPWindow::kReloadLocal));
        Run(Message(FTPWindow::kRenameLocal)
                .AddString("opt", name)
                .AddString("prompt", name + "2"));
        EXPECT_EQ(TempDir::Read(local_ / (name + "2")), "mine") << name;
        Select(window_->LocalFiles(), name + "2");
        Run(Message(FTPWindow::kDeleteLocalFiles));
        Select(window_->LocalDirectories(), name + " dir");
        Run(Message(FTPWindow::kRemoveLocalFolder));
        EXPECT_EQ(alerts.Texts().back(), "Remove the empty local folder \"" + name + " dir\"?");
    }
    EXPECT_TRUE(fs::is_empty(local_)) << "each command changed exactly its own name";
    EXPECT_FALSE(fs::exists("x") || fs::exists(local_ / "x"));
}

TEST_F(LocalCommandsTest, RemovingAFolderAsksAndNeverTakesTheFoldersAround) {
    TempDir::WriteFile(local_ / "full" / "one", "1");
    TempDir::WriteFile(local_ / "full" / "two", "2");
    TempDir::WriteFile(local_ / "other", "renaming onto me must not replace me");
    TempDir::WriteFile(local_ / "mine", "mine");
    Run(Message(FTPWindow::kReloadLocal));
    Select(window_->LocalDirectories(), "full");
    alerts.Answer(1);  // Cancel
    Run(Message(FTPWindow::kRemoveLocalFolder));
    EXPECT_EQ(alerts.Texts().back(),
              "Remove the local folder \"full\" and the 2 entries it holds?");
    EXPECT_TRUE(fs::exists(local_ / "full" / "two"));
    for (const char* around : {"..", "/"}) {
        Select(window_->LocalDirectories(), around);
        Run(Message(FTPWindow::kRemoveLocalFolder));
        EXPECT_NE(alerts.Texts().back().find("never removed"), std::string::npos);
    }
    Run(Message(FTPWindow::kRenameLocal).AddString("opt", "mine").AddString("prompt", "other"));
    EXPECT_EQ(TempDir::Read(local_ / "other"), "renaming onto me must not replace me");
    EXPECT_TRUE(fs::exists(local_ / "full" / "one") && fs::exists(local_ / "mine"));
}

TEST_F(LocalCommandsTest, ArchivesUnpackWhollyAndHostileEntriesStayOut) {
    const char* script = R"(
import gzip, io, sys, tarfile, warnings, zipfile
warnings.simplefilter("ignore")  # twice.zip repeats a name on purpose
folder = sys.argv[1]
def tar(path, entries, mode="w"):
    with tarfile.open(folder + "/" + path, mode) as archive:
        for name, data, link in entries:
            info = tarfile.TarInfo(name)
            if link is not None and link.startswith("hard:"):
                info.type, info.linkname = tarfile.LNKTYPE, link[5:]
            elif link is not None:
                info.type, info.linkname = tarfile.SYMTYPE, link
            elif data is None:
                info.type = tarfile.DIRTYPE
            else:
                info.size = len(data)
            archive.addfile(info, io.BytesIO(data or b""))
def zip(path, entries):
    with zipfile.ZipFile(folder + "/" + path, "w") as archive:
        for name, data, *link in entries:
            info = zipfile.ZipInfo(name)
            if link:
                info.create_system, info.external_attr = 3, 0o120777 << 16
            archive.writestr(info, data)
tree = [("t", None, None), ("t/a b.txt", b"ab", None), ("t/q\"uo\nte", b"q", None),
        ("t/sub", None, None), ("t/sub/deep", b"deep", None), ("t/ln", None, "a b.txt")]
tar("plain.tar", tree)
tar("plain.tar.gz", [(n.replace("t", "g", 1), d, l) for n, d, l in tree], "w:gz")
zip("plain.zip", [("z/one", b"1"), ("z/two/three", b"3")])
open(folder + "/single.txt.gz", "wb").write(gzip.compress(b"single"))
tar("climb.tar", [("../x", b"x", None), ("/abs", b"a", None), ("fine1", b"f", None)])
tar("link.tar", [("l", None, ".."), ("l/x", b"x", None), ("fine2", b"f", None)])
zip("climb.zip", [("../x", b"x"), ("fine3", b"f")])
# tar extracts every member that carries a name it is given: a repeated name is left out whole
tar("repeat.tar", [("f", b"f", None), ("f", None, "/tmp"), ("./a/", None, None),
                   ("a", None, ".."), ("a/in", b"i", None), ("fine4", b"f", None)])
tar("hard.tar", [("../y", b"y", None), ("h1", None, "hard:../y"), ("k", b"k", None),
                 ("k", None, "hard:k"), ("h2", None, "hard:k"), ("h3", None, "hard:fine5"),
                 ("fine5", b"f", None), ("h4", None, "hard:fine5")])
tar("chain.tar", [("up", None, "."), ("d", None, None), ("d/x", None, "../up/.."),
                  ("fine6", b"f", None)])
zip("twice.zip", [("w", b"w"), ("w", b"/etc", True), ("fine7", b"f")])
)";
    ASSERT_EQ(QProcess::execute("/usr/bin/python3",
                                {"-c", script, QString::fromStdString(local_.string())}),
              0);
    Run(Message(FTPWindow::kReloadLocal));
    struct Case {
        const char* archive;
        std::uint32_t code;
        std::vector<std::string> skipped;
    };
    const Case cases[] = {
        {"plain.tar", FTPWindow::kUntar, {}},
        {"plain.tar.gz", FTPWindow::kUntar, {}},
        {"plain.zip", FTPWindow::kUnzip, {}},
        {"single.txt.gz", FTPWindow::kGunzip, {}},
        {"climb.tar", FTPWindow::kUntar, {"../x", "/abs"}},
        {"link.tar", FTPWindow::kUntar, {"l", "l/x"}},
        {"climb.zip", FTPWindow::kUnzip, {"../x"}},
        {"repeat.tar", FTPWindow::kUntar, {"f", "./a/", "a", "a/in"}},
        {"hard.tar", FTPWindow::kUntar, {"../y", "h1", "k", "h2", "h3"}},
        {"chain.tar", FTPWindow::kUntar, {"d/x"}},
        {"twice.zip", FTPWindow::kUnzip, {"w"}},
    };
    for (const Case& test : cases) {
        std::size_t before = alerts.Texts().size();
        Select(window_->LocalFiles(), test.archive);
        Run(Message(test.code));
        if (test.skipped.empty()) {
            EXPECT_EQ(alerts.Texts().size(), before)
                << test.archive << ": " << alerts.Texts().back();
            continue;
        }
        ASSERT_EQ(alerts.Texts().size(), before + 1)
            << test.archive << ": " << alerts.Texts().back();
        for (const std::string& name : test.skipped) {
            EXPECT_NE(alerts.Texts().back().find("\n" + name), std::string::npos) << name;
        }
    }
    for (const char* root : {"t", "g"}) {
        fs::path tree = local_ / root;
        EXPECT_EQ(TempDir::Read(tree / "a b.txt"), "ab");
        EXPECT_EQ(TempDir::Read(tree / "q\"uo\nte"), "q");
        EXPECT_EQ(TempDir::Read(tree / "sub" / "deep"), "deep");
        EXPECT_EQ(fs::read_symlink(tree / "ln"), "a b.txt");
    }
    EXPECT_EQ(TempDir::Read(local_ / "z" / "two" / "three"), "3");
    EXPECT_EQ(TempDir::Read(local_ / "single.txt"), "single");
    for (const char* fine : {"fine1", "fine2", "fine3", "fine4", "fine5", "fine6", "fine7"}) {
        EXPECT_TRUE(fs::exists(local_ / fine)) << fine;
    }
    // Every link that landed leads somewhere inside the local folder.
    for (const auto& entry : fs::recursive_directory_iterator(local_)) {
        if (entry.is_symlink()) {
            const fs::path to = fs::weakly_canonical(entry.path());
            const std::string inside = fs::canonical(local_).string();
            EXPECT_TRUE(to == inside || to.string().starts_with(inside + "/"))
                << entry.path() << " leads to " << to;
        }
    }
    for (const char* left : {"f", "a", "k", "w", "y"}) {
        EXPECT_FALSE(fs::exists(fs::symlink_status(local_ / left))) << left;
    }
    EXPECT_EQ(TempDir::Read(local_ / "h4"), "f");
    for (const auto& entry : fs::directory_iterator(outside.Path())) {
        EXPECT_EQ(entry.path(), local_) << "nothing lands beside the local folder";
    }
    EXPECT_FALSE(fs::exists(local_ / "x") || fs::exists(local_ / "abs") || fs::exists("/abs"));
    EXPECT_FALSE(fs::exists(local_ / "l"));
    for (const auto& entry : fs::directory_iterator(local_)) {
        EXPECT_FALSE(entry.path().filename().string().starts_with(".tarvik-unpack"));
    }
}

}  // namespace

#include "FileCommandsTest.moc"
