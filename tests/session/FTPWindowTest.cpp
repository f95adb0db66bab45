// The session window against real and scripted servers, offscreen.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QAbstractButton>
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QStyle>
#include <QTest>
#include <QTextDocument>
#include <QTimer>
#include <QUrl>

#include <algorithm>
#include <functional>

#include "CertificateTrust.h"
#include "DirWindow.h"
#include "EntryListModel.h"
#include "LPBListView.h"
#include "LogWindow.h"
#include "MessageCodes.h"
#include "MultiListDriver.h"
#include "PathLabel.h"
#include "PromptW.h"
#include "PyFtpServer.h"
#include "ScriptedPeer.h"
#include "SessionFixture.h"
#include "StatusBar.h"
#include "StatusWindow.h"
#include "WidgetAudit.h"

namespace {

using Strings = std::vector<std::string>;

Strings Texts(const LPBListView* list) {
    Strings texts;
    for (const auto& item : list->Items()) {
        texts.push_back(item.text);
    }
    return texts;
}

bool Holds(const LPBListView* list, const std::string& text, int type) {
    const auto& items = list->Items();
    return std::any_of(items.begin(), items.end(), [&](const EntryStringItem& item) {
        return item.text == text && item.type == type;
    });
}

long Count(const Strings& commands, const std::string& prefix) {
    return std::count_if(commands.begin(), commands.end(),
                         [&](const std::string& c) { return c.starts_with(prefix); });
}

// What a person sees in a label: the whole text in the label's own font, no markup applied.
bool ShowsLiterally(const QLabel* label, const QString& text) {
    const QFontMetrics metrics(label->font());
    const QSize size = label->sizeHint();
    return label->text() == text && size.width() >= metrics.horizontalAdvance(text) &&
           size.height() < 2 * metrics.height();
}

// Runs inspect on the modal box or the pop-up menu once it is up.
template <typename Shown>
void WhenShown(std::function<void(Shown*)> inspect) {
    QTimer::singleShot(10, [inspect] {
        QWidget* up = QApplication::activePopupWidget();
        if (auto* shown = qobject_cast<Shown*>(up ? up : QApplication::activeModalWidget())) {
            inspect(shown);
        } else {
            WhenShown(inspect);
        }
    });
}

}  // namespace

// Names, paths and replies come from the server: each widget that shows one shows it as it is.
TEST(ServerTextTest, MarkupAndMnemonicsFromTheServerAreShownLiterally) {
    for (const std::string text :
         {"<b>x</b>", "/<font size=40>big", "/home/a&b", "<img src=/etc/passwd>"}) {
        SCOPED_TRACE(text);
        const QString shown = QString::fromStdString(text);
        PathLabel path(QStringLiteral("hostpath"));
        path.resize(1000, 30);
        path.SetFullText(text);
        EXPECT_TRUE(ShowsLiterally(&path, shown));
        // A tool tip is taken as rich text when it looks like it.
        QTextDocument tip;
        Qt::mightBeRichText(path.toolTip()) ? tip.setHtml(path.toolTip())
                                            : tip.setPlainText(path.toolTip());
        EXPECT_EQ(tip.toPlainText(), shown);

        PromptW prompt(nullptr, "Rename a host file", text, "", 1);
        const QList<QLabel*> captions = prompt.findChildren<QLabel*>();
        EXPECT_TRUE(std::any_of(captions.begin(), captions.end(),
                                [&](QLabel* label) { return ShowsLiterally(label, shown); }));

        RecordingWindow owner;
        StatusBar bar(&owner);
        bar.AddEntryInMenu(text);
        ASSERT_EQ(bar.HistoryMenu()->actions().size(), 1);
        EXPECT_EQ(bar.HistoryMenu()->actions().front()->iconText(), shown) << "no mnemonic";

        bool literal = false;
        WhenShown<QMessageBox>([&](QMessageBox* box) {
            for (QLabel* label : box->findChildren<QLabel*>()) {
                literal = literal || ShowsLiterally(label, shown);
            }
            box->buttons().front()->click();
        });
        Alert::Go(text);
        EXPECT_TRUE(literal) << "alert";
    }
}

namespace {

class FTPWindowTest : public SessionFixture {
protected:
    void SetUp() override {
        fs::create_directories(server.Pub() / "incoming");
        fs::create_directories(server.Root() / "docs");
        TempDir::WriteFile(server.Pub() / "readme.txt", "hello");
        local.Write("notes.txt", "local file");
        fs::create_directory(local / "photos");
        fs::create_symlink("notes.txt", local / "shortcut");
        fs::create_symlink("missing", local / "dangling");
        mkfifo((local / "fifo").c_str(), 0600);
    }

    PyFtpServer server;
};

TEST_F(FTPWindowTest, LogsOnFillsBothPanesAndListsEachHostFolderOnceUntilReloaded) {
    QPointer<FTPWindow> window = Open(server);
    ASSERT_TRUE(window && window->IsConnected());
    const Strings localDirectories = Texts(window->LocalDirectories());
    ASSERT_GE(localDirectories.size(), 2u);
    EXPECT_EQ(Strings(localDirectories.begin(), localDirectories.begin() + 2),
              (Strings{"..", "/"}));
    EXPECT_TRUE(Holds(window->LocalDirectories(), "photos", EntryStringItem::Directory));
    // A link may lead to either, or nowhere: it is offered on both lists. A pipe is on neither.
    for (const char* link : {"shortcut", "dangling"}) {
        EXPECT_TRUE(Holds(window->LocalDirectories(), link, EntryStringItem::Link));
    }
    EXPECT_EQ(Texts(window->LocalFiles()), (Strings{"dangling", "notes.txt", "shortcut"}));
    EXPECT_EQ(window->LocalLabel()->FullText().toStdString(),
              " Local: " + fs::canonical(local.Path()).string() + "/");
    EXPECT_EQ(Texts(window->HostDirectories()), (Strings{"..", "docs", "pub"}));
    EXPECT_EQ(window->HostLabel()->FullText(), " Host: /");
    EXPECT_EQ(window->Bar()->Text(), "Idle.");
    EXPECT_EQ(Count(server.Commands(), "MODE S"), 1);

    Issue(ChangeHost("pub"));
    Issue(ChangeHost(".."));
    Issue(ChangeHost(".."));
    EXPECT_EQ(window->HostPath(), "/") << "up from the root stays there";
    const std::size_t before = server.Commands().size();
    Issue(ChangeHost("pub"));
    const Strings after = server.Commands();
    EXPECT_EQ(Strings(after.begin() + static_cast<long>(before), after.end()),
              (Strings{"CWD pub", "PWD"}))
        << "no new listing";
    EXPECT_TRUE(Holds(window->HostFiles(), "readme.txt", EntryStringItem::File));
    EXPECT_EQ(window->HostLabel()->FullText(), " Host: /pub/");
    EXPECT_TRUE(window->FullListing()->Lines().empty())
        << "no raw lines are kept while the Full Listing is closed";
    // One history item per directory visited.
    const QList<QAction*> history = window->Bar()->HistoryMenu()->actions();
    ASSERT_EQ(history.size(), 2);
    EXPECT_EQ(history[0]->text(), "/");
    EXPECT_EQ(history[1]->text(), "/pub");

    // A reload lists again and replaces the entry; a second one while it runs is dropped.
    TempDir::WriteFile(server.Pub() / "fresh.bin", "new");
    const long lists = Count(server.Commands(), "MLSD");  // pyftpdlib offers MLSD
    window->PostMessage(Message(FTPWindow::kReloadHost));
    window->PostMessage(Message(FTPWindow::kReloadHost));
    Settle(30ms);
    ASSERT_TRUE(WaitUntil([&] { return !window->IsBusy(); }, 10s));
    Issue(ChangeHost(".."));
    Issue(ChangeHost("pub"));
    EXPECT_EQ(Count(server.Commands(), "MLSD"), lists + 1);
    EXPECT_TRUE(Holds(window->HostFiles(), "fresh.bin", EntryStringItem::File));

    // Opened, the Full Listing gets the folder's lines by a new listing; while it is open, a
    // folder in the cache is listed again too, for its lines.
    const auto holds = [&](const char* name) {
        const auto lines = window->FullListing()->Lines();
        return std::any_of(lines.begin(), lines.end(), [name](const EntryStringItem& line) {
            return line.text.find(name) != std::string::npos;
        });
    };
    Issue(Message(FTPWindow::kToggleFullListing));
    // Opening posts the listing as a message of its own: it may start after the toggle.
    EXPECT_TRUE(WaitUntil([&] { return holds("fresh.bin") && !window->IsBusy(); }, 10s));
    Issue(ChangeHost(".."));
    EXPECT_TRUE(holds("docs"));
    EXPECT_EQ(Count(server.Commands(), "MLSD"), lists + 3);
    EXPECT_TRUE(alerts.Texts().empty());
}

TEST_F(FTPWindowTest, QuickLogoutClosesWithoutAskingAndLogoutAsks) {
    QPointer<FTPWindow> window = Open(server);
    ASSERT_TRUE(window);
    alerts.Answer(1);  // "No"
    window->PostMessage(Message(kQuitRequested));
    Settle(100ms);
    ASSERT_TRUE(window && window->isVisible());
    EXPECT_EQ(alerts.Texts(), Strings{"Are you sure you want to LOGOUT ?"});
    alerts.Answer(0);  // "Yes"
    window->PostMessage(Message(kQuitRequested));
    ASSERT_TRUE(WaitUntil([&] { return window.isNull(); }, 10s));
    EXPECT_EQ(application.Codes().back(), FourCC("EndW"));
    EXPECT_EQ(Count(server.Commands(), "QUIT"), 1);

    ASSERT_TRUE(Open(server));
    Close();
    EXPECT_EQ(alerts.Texts().size(), 2u) << "no new question";
}

TEST_F(FTPWindowTest, LocalOpenAndTypeAhead) {
    QPointer<FTPWindow> window = Open(server);
    ASSERT_TRUE(window);
    for (const char* name : {"alpha.txt", "Apple.txt", "beta.txt"}) {
        local.Write(name, "");
    }
    window->PostMessage(Message(FTPWindow::kReloadLocal));
    ASSERT_TRUE(WaitUntil([&] { return Holds(window->LocalFiles(), "beta.txt", 0); }));
    LPBListView* files = window->LocalFiles();
    files->setFocus();
    for (auto [key, selected] :
         {std::pair{Qt::Key_A, "alpha.txt"}, {Qt::Key_A, "Apple.txt"}, {Qt::Key_B, "beta.txt"}}) {
        QTest::keyClick(files, key);
        EXPECT_EQ(files->SelectedTexts(), Strings{selected});
    }

    // Enter opens a folder with its first entry current; Backspace or Alt+Up goes back up.
    LPBListView* folders = window->LocalDirectories();
    const std::string top = fs::canonical(local.Path()).string() + "/";
    for (auto [list, up] : {std::pair{folders, QKeyCombination(Qt::Key_Backspace)},
                            {files, QKeyCombination(Qt::ALT, Qt::Key_Up)}}) {
        QTest::keyClick(folders, Qt::Key_P);
        QTest::keyClick(folders, Qt::Key_Return);
        ASSERT_TRUE(WaitUntil([&] { return Texts(folders) == Strings{"..", "/"}; }));
        EXPECT_EQ(window->LocalDirectory(), top + "photos/");
        QTest::keyClick(folders, Qt::Key_Down);
        EXPECT_EQ(folders->SelectedTexts(), Strings{"/"}) << "the arrow starts from the top";
        QTest::keyClick(list, up.key(), up.keyboardModifiers());
        ASSERT_TRUE(
            WaitUntil([&] { return Holds(folders, "photos", EntryStringItem::Directory); }));
        EXPECT_EQ(window->LocalDirectory(), top);
    }
}

// What a keyboard or screen-reader user meets: each button takes the focus, no key is claimed
// twice, each control has a name, and the smallest window still shows every caption whole.
TEST_F(FTPWindowTest, EveryControlIsReachableNamedAndWhole) {
    QPointer<FTPWindow> window = Open(server);
    ASSERT_TRUE(window);
    for (const QPushButton* button : window->findChildren<QPushButton*>()) {
        EXPECT_TRUE(button->focusPolicy() & Qt::TabFocus) << button->text().toStdString();
    }
    const QWidget* const windows[] = {window, window->Status(), window->FullListing(),
                                      window->Log()};
    for (const QWidget* audited : windows) {
        EXPECT_EQ(WidgetAudit::AmbiguousShortcuts(*audited).join("; ").toStdString(), "");
        if (audited != window->Log()) {  // not this window's to name
            EXPECT_EQ(WidgetAudit::UnnamedControls(*audited).join("; ").toStdString(), "");
        }
    }

    window->resize(1, 1);
    Settle();
    EXPECT_LE(window->width(), 1024) << "the window fits a small screen";
    for (const QAbstractButton* button : window->findChildren<QAbstractButton*>()) {
        const QFontMetrics metrics(button->font());
        const int frame = 2 * button->style()->pixelMetric(QStyle::PM_DefaultFrameWidth);
        if (button->isVisibleTo(window)) {
            EXPECT_GE(button->width() - frame, metrics.horizontalAdvance(button->text()))
                << button->text().toStdString();
            EXPECT_GE(button->height() - frame, metrics.height()) << button->text().toStdString();
        }
    }

    // Escape in a prompt is its Cancel: it closes and answers nothing.
    QPointer<PromptW> prompt = new PromptW(window, "Create a new local directory...",
                                           "Directory :", "foo", FTPWindow::kMakeLocalFolder);
    prompt->show();
    QTest::keyClick(prompt->Field(), Qt::Key_Escape);
    EXPECT_TRUE(WaitUntil([&] { return prompt.isNull(); }));
    Settle();
    EXPECT_FALSE(fs::exists(local / "foo"));
}

// A pane's menu acts on the entry clicked as its button would; a drag from one side to the other
// is the arrow towards it, and a drop from anywhere else does nothing.
TEST_F(FTPWindowTest, PaneMenusAndDragsBetweenTheSides) {
    QPointer<FTPWindow> window = Open(server);
    ASSERT_TRUE(window);
    const auto menuOn = [](LPBListView* list, int row, const QString& chosen) {
        std::map<QString, bool> offered;
        WhenShown<QMenu>([&](QMenu* menu) {
            for (QAction* action : menu->actions()) {
                offered[action->text()] = action->isEnabled();
                if (action->text() == chosen) {
                    action->trigger();
                }
            }
            menu->close();
        });
        const QPoint at = row < 0 ? QPoint(5, list->viewport()->height() - 5)
                                  : list->visualRect(list->Model()->index(row)).center();
        QContextMenuEvent event(QContextMenuEvent::Mouse, at, list->viewport()->mapToGlobal(at));
        QApplication::sendEvent(list->viewport(), &event);
        return offered;
    };
    auto offered = menuOn(window->HostFiles(), -1, {});  // the host's top folder has no file
    EXPECT_FALSE(offered.at("Get the selected host files"));
    EXPECT_TRUE(offered.at("Reload host"));
    offered = menuOn(window->LocalFiles(), 1, "Send the selected local files");
    EXPECT_TRUE(offered.at("Delete selected file(s)"));
    EXPECT_EQ(window->LocalFiles()->SelectedTexts(), Strings{"notes.txt"});
    ASSERT_TRUE(WaitUntil(
        [&] { return Holds(window->HostFiles(), "notes.txt", 0) && !window->IsBusy(); }, 10s));
    EXPECT_EQ(TempDir::Read(server.Root() / "notes.txt"), "local file");

    Issue(ChangeHost("pub"));
    LPBListView* hostFiles = window->HostFiles();
    ASSERT_TRUE(hostFiles->SelectText("readme.txt"));
    QMimeData desktopFiles;
    desktopFiles.setUrls({QUrl::fromLocalFile("/etc/passwd")});
    EXPECT_FALSE(window->LocalFiles()->TakeDrop(desktopFiles, hostFiles));
    EXPECT_FALSE(window->HostDirectories()->TakeDrop(*hostFiles->DragData(), hostFiles));
    EXPECT_FALSE(window->LocalFiles()->TakeDrop(*hostFiles->DragData(), window->LocalLabel()));
    EXPECT_TRUE(window->LocalFiles()->TakeDrop(*hostFiles->DragData(), hostFiles));
    ASSERT_TRUE(WaitUntil([&] { return Holds(window->LocalFiles(), "readme.txt", 0); }, 10s));
    EXPECT_EQ(TempDir::Read(local / "readme.txt"), "hello");
}

// Log-ons to a scripted server, straight or through the firewall that the peer plays.
class FTPWindowPeerTest : public SessionFixture {
protected:
    QPointer<FTPWindow> StartOn(int port, bool throughFirewall = false) {
        FTPWindow::LogOn logOn;
        logOn.port = std::to_string(port);
        if (throughFirewall) {
            logOn.port = "21";
            logOn.firewall = true;
            logOn.firewallHost = "127.0.0.1";
            logOn.firewallPort = std::to_string(port);
            logOn.firewallUser = "fwuser";
            logOn.firewallPassword = "fwpass";
            logOn.firewallCommand = "USER bob@ftp.example:21";
        }
        return Start(logOn, "bob", "secret");
    }
    static ScriptedPeer& LogOnAndList(ScriptedPeer& peer) {
        return peer.Reply("220 hi")
            .Expect("USER bob")
            .Reply("331 pw")
            .Expect("PASS secret")
            .Reply("230 in")
            .Expect("MODE S")
            .Reply("200 ok")
            .Expect("PASV")
            .Passive()
            .Expect("LIST");
    }
    static ScriptedPeer& FirewallAnswers(ScriptedPeer& peer, const std::string& passwordReply) {
        return peer.Reply("220 firewall")
            .Expect("fwuser")
            .Reply("331 firewall password please")
            .Expect("fwpass")
            .Reply(passwordReply);
    }
};

// A failed log-on is told once, with its cause; a log-on the user stops is not told at all,
// whether the server is still to greet or still to judge the password, while the status window
// counts down the seconds the log-on may still wait.
TEST_F(FTPWindowPeerTest, AFailedLogOnIsToldOnceAndAStoppedOneNotAtAll) {
    const std::string unreachable = "Impossible connection\nHost unreachable.\n";
    const struct {
        const char* name;
        std::function<void(ScriptedPeer&)> script;  // null: nothing listens on the port
        bool firewall;
        std::size_t commandsBeforeStop;  // with no alert: the user stops after these
        std::string alert;
    } cases[] = {
        {"refused", nullptr, false, 0, unreachable + "Connection refused on port "},
        {"wrong password",
         [](ScriptedPeer& p) {
             p.Reply("220 hi").Expect("USER bob").Reply("331 pw").Expect("PASS secret");
             p.Reply("530 Login incorrect.").Expect("QUIT").Reply("221 bye");
         },
         false, 0, "Password not accepted."},
        {"closed before the greeting", [](ScriptedPeer& p) { p.Close(); }, false, 0,
         unreachable + "The server closed the connection before it said hello."},
        {"firewall refused",
         [](ScriptedPeer& p) { FirewallAnswers(p, "530 Bad firewall password.").Silence(); }, true,
         0, "The firewall refused the log-on:\n530 Bad firewall password."},
        {"stopped before the greeting", [](ScriptedPeer& p) { p.Silence(); }, false, 0, ""},
        {"stopped at the password",
         [](ScriptedPeer& p) {
             p.Reply("220 hi").Expect("USER bob").Reply("331 pw").Expect("PASS secret").Silence();
         },
         false, 2, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedAlerts answers;
        auto peer = std::make_unique<ScriptedPeer>();
        const int port = peer->Port();
        c.script ? (c.script(*peer), peer->Start()) : peer.reset();
        QPointer<FTPWindow> window = StartOn(port, c.firewall);
        if (c.alert.empty()) {
            ASSERT_TRUE(
                WaitUntil([&] { return peer->Commands().size() >= c.commandsBeforeStop; }, 10s));
            // Meanwhile the status window counts down the wait ("... (39 s left)").
            EXPECT_TRUE(WaitUntil(
                [&] { return window->Status()->View().operation.ends_with(" s left)"); }, 3s));
            window->PostMessage(Message(kQuitRequested));  // the status window's Stop
        }
        EXPECT_TRUE(WaitUntil([&] { return window.isNull(); }, 10s));
        const Strings told = answers.Texts();
        EXPECT_EQ(told.size(), c.alert.empty() ? 0u : 1u) << ::testing::PrintToString(told);
        if (!told.empty()) {
            EXPECT_TRUE(told[0].starts_with(c.alert)) << told[0];
        }
        if (c.firewall) {
            EXPECT_EQ(peer->Received(), "fwuser\r\nfwpass\r\n") << "nothing meant for the host";
        }
    }
}

// Stop ends the wait for a listing that never comes and keeps the session; closing the window
// ends its worker at once too.
TEST_F(FTPWindowPeerTest, StopOrCloseEndAWaitOnASilentServer) {
    for (const bool close : {false, true}) {
        SCOPED_TRACE(close ? "close" : "stop");
        ScriptedPeer peer;
        LogOnAndList(peer).Reply("150 here it comes").Silence();
        peer.Start();
        QPointer<FTPWindow> window = StartOn(peer.Port());
        ASSERT_TRUE(WaitUntil([&] { return peer.Commands().size() >= 5; }, 10s));
        Settle(200ms);
        EXPECT_TRUE(window->IsBusy());
        EXPECT_EQ(window->ThreadsRunning(), 1);
        window->PostMessage(Message(close ? FTPWindow::kQuickLogout : FTPWindow::kStop));
        // Well within the minute the engine would wait on its own.
        EXPECT_TRUE(WaitUntil([&] { return close ? window.isNull() : !window->IsBusy(); }, 5s));
        Close();
    }
    EXPECT_TRUE(alerts.Texts().empty());
}

// A second connection is in the transfer list, and stopped with its window, from before it
// connects: closing the window while it still waits for its greeting stops it there, and the
// server, greeting it 6 s later, hears neither USER nor RETR.
TEST_F(FTPWindowPeerTest, ClosingStopsASecondConnectionStillWaitingForItsGreeting) {
    ScriptedPeer peer;
    LogOnAndList(peer)
        .Reply("150 ok")
        .SendData("-rw-r--r-- 1 a b 3 Jan 01 12:00 f\r\n")
        .Reply("226 ok")
        .Expect("PWD")
        .Reply("257 \"/\"")
        .NextConnection()
        .Pause(6s)
        .Reply("220 late hello")
        .Silence();
    peer.Start();
    QPointer<FTPWindow> window = StartOn(peer.Port());
    ASSERT_TRUE(WaitUntil([&] { return Idle(); }, 10s));
    ASSERT_TRUE(window->HostFiles()->SelectText("f"));
    window->PostMessage(Message(FTPWindow::kGetSelected));
    ASSERT_TRUE(WaitUntil([&] { return transfers.List()->CountItems() == 1; }, 5s));
    Settle(300ms);
    window->PostMessage(Message(FTPWindow::kQuickLogout));
    EXPECT_TRUE(WaitUntil([&] { return window.isNull(); }, 8s));
    ASSERT_TRUE(peer.WaitDone(20s));
    const std::string received = peer.Received();
    EXPECT_EQ(received.find("RETR"), std::string::npos) << received;
    EXPECT_EQ(received.find("USER"), received.rfind("USER")) << "the session's own only";
    EXPECT_TRUE(alerts.Texts().empty());
}

// "Explicit TLS if available" to a server that refuses AUTH: a host whose certificate was
// trusted before is never logged on to in clear; another is asked about once, the answer kept
// beside the certificates, and USER and PASS leave only after "Go on". The window says then that
// the session is not encrypted.
TEST_F(FTPWindowPeerTest, AHostWithoutTlsIsAskedAboutOnceAndAPinnedOneNeverGetsThePassword) {
    TempDir store;
    const std::string certificates = (store / "Tarvik_certificates").string();
    auto trust = std::make_shared<CertificateTrust>(certificates);
    const std::string question =
        "127.0.0.1 does not offer TLS: the password would travel in "
        "clear. Go on?";
    const struct {
        const char* name;
        int answer;
        bool pinned;
        bool acceptedBefore;
        bool asked;
        bool loggedOn;
    } cases[] = {
        {"cancelled", 1, false, false, true, false},
        {"go on", 0, false, false, true, true},
        {"accepted before", 0, false, true, false, true},
        {"pinned", 0, true, false, false, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedAlerts answers;
        answers.Answer(c.answer);
        ScriptedPeer peer;
        peer.Reply("220 hi").Expect("AUTH TLS").Reply("500 AUTH not understood.");
        if (c.loggedOn) {
            peer.Expect("USER bob").Reply("331 pw").Expect("PASS secret").Reply("230 in");
            peer.Expect("MODE S").Reply("200 ok").Expect("PASV").Passive().Expect("LIST");
            peer.Reply("150 ok").SendData("").Reply("226 ok").Expect("PWD").Reply("257 \"/\"");
            peer.Expect("QUIT").Reply("221 bye");
        } else {
            peer.Silence();
        }
        peer.Start();
        if (c.pinned) {
            trust->TrustAlways("127.0.0.1", peer.Port(), "AB:CD");
        }
        if (c.acceptedBefore) {
            trust->AcceptPlain("127.0.0.1", peer.Port());
        }
        FTPWindow::LogOn logOn;
        logOn.port = std::to_string(peer.Port());
        logOn.security = FTPcommand::Security::ExplicitIfAvailable;
        logOn.trust = trust;
        QPointer<FTPWindow> window = Start(logOn, "bob", "secret");
        ASSERT_TRUE(WaitUntil([&] { return !window || Idle(); }, 10s));
        EXPECT_EQ(window && window->IsConnected(), c.loggedOn);
        const auto texts = answers.Texts();
        EXPECT_EQ(std::count(texts.begin(), texts.end(), question), c.asked ? 1 : 0);
        if (c.pinned) {
            ASSERT_EQ(texts.size(), 1u);
            EXPECT_TRUE(texts[0].starts_with("127.0.0.1:" + logOn.port + " refused TLS, though"))
                << texts[0];
        }
        if (c.loggedOn) {
            EXPECT_TRUE(window->SecurityMark()->isVisible());
            EXPECT_EQ(window->SecurityMark()->text(), "Not encrypted");
        }
        Close();
        ASSERT_TRUE(peer.WaitDone(10s));
        EXPECT_EQ(peer.Received().find("USER") != std::string::npos, c.loggedOn) << peer.Received();
        CertificateTrust reloaded(certificates);
        reloaded.Load();
        EXPECT_EQ(reloaded.AcceptsPlain("127.0.0.1", peer.Port()), c.loggedOn);
    }
}

TEST_F(FTPWindowPeerTest, FirewallLogOnSendsUserPasswordAndCommandAndTheLogMasksPasswords) {
    ScriptedPeer peer;
    FirewallAnswers(peer, "230 through the firewall")
        .Expect("USER bob@ftp.example:21")
        .Reply("331 password please")
        .Expect("PASS secret")
        .Reply("230 through")
        .Expect("MODE S")
        .Reply("200 ok")
        .Silence();
    peer.Start();
    QPointer<FTPWindow> window = StartOn(peer.Port(), true);
    ASSERT_TRUE(WaitUntil([&] { return peer.Received().find("PASV") != std::string::npos; }, 10s));
    EXPECT_EQ(peer.Received(),
              "fwuser\r\nfwpass\r\nUSER bob@ftp.example:21\r\nPASS secret\r\nMODE S\r\nPASV\r\n");
    // The log shows what went, in a colour of its own, and never a password.
    const QAbstractItemModel* log = window->Log()->List()->model();
    const auto row = [&](const char* text) {
        const QModelIndexList found =
            log->match(log->index(0, 0), Qt::DisplayRole, text, -1, Qt::MatchExactly);
        return found.size() == 1 ? found.front() : QModelIndex();
    };
    ASSERT_TRUE(WaitUntil([&] { return row("MODE S").isValid(); }, 5s));
    for (const char* sent : {"fwuser", "****", "USER bob@ftp.example:21", "PASS ****"}) {
        EXPECT_TRUE(row(sent).isValid()) << sent;
    }
    EXPECT_NE(row("MODE S").data(Qt::ForegroundRole), row("200 ok").data(Qt::ForegroundRole));
    for (const std::string& line : window->Log()->Lines()) {
        EXPECT_TRUE(line.find("secret") == std::string::npos &&
                    line.find("fwpass") == std::string::npos)
            << line;
    }
    Close();  // while the peer still listens
}

}  // namespace
