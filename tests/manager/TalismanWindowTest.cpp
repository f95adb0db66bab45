// The main window and the application, offscreen: saved forms, mirrors, session start.
#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPointer>
#include <QPushButton>
#include <QTextEdit>

#include <filesystem>

#include "Alert.h"
#include "ConfigManager.h"
#include "FTPWindow.h"
#include "GuiWait.h"
#include "LPBListView.h"
#include "MessageCodes.h"
#include "PromptW.h"
#include "PyFtpServer.h"
#include "RecordingWindow.h"
#include "ScriptedAlerts.h"
#include "TalismanApplication.h"
#include "TalismanWindow.h"
#include "TempDir.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Code = TalismanWindow::Code;

PromptW* FindPrompt(const QString& title) {
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        auto* prompt = qobject_cast<PromptW*>(widget);
        if (prompt != nullptr && prompt->isVisible() && prompt->windowTitle() == title) {
            return prompt;
        }
    }
    return nullptr;
}

// Answers the open prompt of that title with the text, as a user pressing OK.
bool AnswerPrompt(const QString& title, const std::string& text) {
    PromptW* prompt = nullptr;
    if (!WaitUntil([&] { return (prompt = FindPrompt(title)) != nullptr; })) {
        return false;
    }
    prompt->Field()->setText(QString::fromStdString(text));
    prompt->PostMessage(Message(PromptW::kOk));
    Settle();
    return true;
}

std::vector<std::string> ListedForms(TalismanWindow& window) {
    std::vector<std::string> names;
    for (int row = 0; row < window.Form().forms->count(); ++row) {
        names.push_back(window.Form().forms->item(row)->text().toStdString());
    }
    return names;
}

void Select(TalismanWindow& window, const std::string& name) {
    auto items = window.Form().forms->findItems(QString::fromStdString(name), Qt::MatchExactly);
    ASSERT_FALSE(items.isEmpty()) << name;
    window.Form().forms->setCurrentItem(items.front());
    Settle();
}

class TalismanWindowTest : public ::testing::Test {
protected:
    void SetUp() override { Alert::InstallEngineHook(); }

    std::unique_ptr<TalismanWindow> Open() {
        auto window = std::make_unique<TalismanWindow>(&application, settings.string());
        Settle();
        return window;
    }

    void Fill(TalismanWindow& window, const std::string& host, const std::string& user) {
        window.Form().host->setText(QString::fromStdString(host));
        window.Form().login->setText(QString::fromStdString(user));
        window.Form().password->setText("pw");
    }

    void SaveAs(TalismanWindow& window, const std::string& name) {
        window.PostMessage(Message(Code::kSaveAs).AddString("prompt", name));
        Settle();
    }

    ScriptedAlerts alerts;
    RecordingWindow application;
    TempDir folder;
    fs::path settings = folder / "Tarvik_settings_data";
};

TEST_F(TalismanWindowTest, SavingWithNoFormLoadedAsksForAName) {
    auto window = Open();
    Fill(*window, "ftp.example.org", "alice");
    window->PostMessage(Message(Code::kSaveInPlace));
    ASSERT_TRUE(AnswerPrompt("Save current form as", "Work"));
    EXPECT_EQ(ListedForms(*window), std::vector<std::string>{"Work"});
    ConfigManager saved(settings.string());
    ASSERT_TRUE(saved.LoadConfig());
    ASSERT_NE(saved.GetRecord("Work"), nullptr);
    EXPECT_EQ(saved.GetRecord("Work")->host, "ftp.example.org");
    EXPECT_EQ(saved.GetRecord("Work")->login, "alice");
    ASSERT_NE(saved.GetGlobalRecord(), nullptr);  // saving in place made the global record
    EXPECT_EQ(fs::status(settings).permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(TalismanWindowTest, RenamingToAUsedNameChangesNothing) {
    auto window = Open();
    Fill(*window, "a.example", "a");
    SaveAs(*window, "A");
    Fill(*window, "b.example", "b");
    SaveAs(*window, "B");
    window->PostMessage(Message(Code::kRename).AddString("opt", "A").AddString("prompt", "B"));
    Settle();
    EXPECT_EQ(alerts.Texts(), std::vector<std::string>{"The new name is already in use."});
    EXPECT_EQ(ListedForms(*window), (std::vector<std::string>{"A", "B"}));
    EXPECT_EQ(window->Settings().GetRecord("A")->host, "a.example");

    // A free name renames: the record moves to the end, the list keeps its place.
    Select(*window, "A");
    window->PostMessage(Message(Code::kRename).AddString("opt", "A").AddString("prompt", "C"));
    Settle();
    EXPECT_EQ(ListedForms(*window), (std::vector<std::string>{"C", "B"}));
    EXPECT_EQ(window->Settings().GetListName(), (std::vector<std::string>{"B", "C"}));
}

TEST_F(TalismanWindowTest, MirrorsWithSlashesAreRefusedOthersAreSaved) {
    auto window = Open();
    Fill(*window, "main.example", "u");
    SaveAs(*window, "Form");
    Select(*window, "Form");
    window->PostMessage(Message(Code::kAddMirror).AddString("prompt", "ftp://mirror.example"));
    Settle();
    EXPECT_EQ(alerts.Texts(),
              std::vector<std::string>{
                  "Invalide mirror name,\nDo not use \"ftp://\" or \"//\" strings."});
    EXPECT_TRUE(window->Form().mirrors->actions().isEmpty());
    window->PostMessage(Message(Code::kAddMirror).AddString("prompt", "mirror.example"));
    Settle();
    ASSERT_EQ(window->Form().mirrors->actions().size(), 1);
    ConfigManager saved(settings.string());
    ASSERT_TRUE(saved.LoadConfig());
    EXPECT_EQ(saved.GetRecord("Form")->mirrors,
              (std::vector<std::optional<std::string>>{"mirror.example"}));
}

TEST_F(TalismanWindowTest, TheFirstTenMirrorsHaveShortcutsTheEleventhNone) {
    {
        ConfigManager prepared(settings.string());
        auto record = std::make_unique<Record_tag>();
        record->name = "Many";
        record->host = "main.example";
        for (int i = 0; i < 11; ++i) {
            record->mirrors.push_back("m" + std::to_string(i) + ".example");
        }
        prepared.AddRecord(std::move(record), -1);
        ASSERT_TRUE(prepared.SaveConfig());
    }
    auto window = Open();
    Select(*window, "Many");
    QList<QAction*> mirrors = window->Form().mirrors->actions();
    ASSERT_EQ(mirrors.size(), 11);
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(mirrors[i]->shortcut(), QKeySequence(Qt::CTRL | (Qt::Key_0 + i))) << i;
    }
    EXPECT_TRUE(mirrors[10]->shortcut().isEmpty());
}

TEST_F(TalismanWindowTest, WithAMirrorActiveSavingAsksWhichHostIsTheMainOne) {
    auto window = Open();
    Fill(*window, "main.example", "u");
    SaveAs(*window, "Form");
    Select(*window, "Form");
    window->PostMessage(Message(Code::kAddMirror).AddString("prompt", "m1.example"));
    Settle();
    window->PostMessage(Message(Code::kChooseMirror).AddString("namemirror", "m1.example"));
    Settle();
    EXPECT_EQ(window->Form().host->text(), "m1.example");
    EXPECT_TRUE(window->Form().mainServer->isEnabled());
    alerts.Answer(1);  // the second button: the main server
    window->PostMessage(Message(Code::kSaveInPlace));
    Settle();
    ASSERT_FALSE(alerts.Alerts().empty());
    auto asked = alerts.Alerts().back();
    EXPECT_EQ(asked.text,
              "A mirror site is currently active:\n<m1.example>\nWich one do you want as main "
              "server ?");
    EXPECT_EQ(asked.buttons, (std::vector<std::string>{"m1.example", "main.example"}));
    EXPECT_EQ(window->Settings().GetRecord("Form")->host, "main.example");
    window->PostMessage(Message(Code::kMainServer));
    Settle();
    EXPECT_EQ(window->Form().host->text(), "main.example");
    EXPECT_FALSE(window->Form().mainServer->isEnabled());
}

TEST_F(TalismanWindowTest, FieldsRefuseMoreThanTheSettingsFileHolds) {
    auto window = Open();
    QLineEdit* host = window->Form().host;
    host->setFocus();
    host->insert(QString(100, 'h'));
    host->insert("x");
    EXPECT_EQ(host->text().size(), 100);
    window->Form().comments->setPlainText(QString(150, 'c'));
    EXPECT_EQ(window->Form().comments->toPlainText().size(), 100);
}

TEST_F(TalismanWindowTest, FirewallTemplateUsesTheConnectionForm) {
    auto window = Open();
    window->Form().host->setText("H");
    window->Form().firewallCommand->setText("%x%%%h");
    EXPECT_EQ(window->BuildFireWallCommand(), "x%H");
    window->Form().firewallCommand->setText("USER %u@%h:%o");
    window->Form().login->setText("U");
    EXPECT_EQ(window->BuildFireWallCommand(), "USER U@H:21");
    // The firewall fields follow the check box.
    EXPECT_FALSE(window->Form().firewallHost->isEnabled());
    window->Form().useFirewall->click();
    Settle();
    EXPECT_TRUE(window->Form().firewallHost->isEnabled());
}

TEST_F(TalismanWindowTest, SessionsAreNumberedAndTheHostFieldMayCarryAPath) {
    PyFtpServer server;
    fs::create_directories(server.Pub() / "x");
    auto window = Open();
    window->Form().host->setText("127.0.0.1/pub/x");
    window->Form().login->setText(QString::fromStdString(server.User()));
    window->Form().password->setText(QString::fromStdString(server.Password()));
    window->Form().port->setText(QString::fromStdString(server.PortText()));
    std::vector<QPointer<FTPWindow>> sessions;
    for (int i = 0; i < 3; ++i) {
        sessions.emplace_back(window->StartingFTP());
    }
    EXPECT_EQ(window->SessionCounter(), 8000);
    for (auto& session : sessions) {
        ASSERT_TRUE(session);
        EXPECT_EQ(session->windowTitle().toStdString(),
                  "Tarvik Transfer  Host: 127.0.0.1 Login: " + server.User() + " ");
        ASSERT_TRUE(WaitUntil([&] { return !session->IsLoggingOn(); }, 10s));
        EXPECT_EQ(session->HostPath(), "/pub/x");
    }
    auto codes = application.Codes();
    EXPECT_EQ(std::count(codes.begin(), codes.end(), FourCC("AddW")), 3);
    for (auto& session : sessions) {
        session->PostMessage(Message(FTPWindow::kQuickLogout));
        EXPECT_TRUE(WaitUntil([&] { return session.isNull(); }, 10s));
    }
}

TEST_F(TalismanWindowTest, EmptyHostOrUserIsRefusedBeforeAnySession) {
    auto window = Open();
    window->PostMessage(Message(Code::kConnect));
    Settle();
    window->Form().host->setText("h");
    window->PostMessage(Message(Code::kConnect));
    Settle();
    window->Form().host->setText("/only/a/path");
    window->Form().login->setText("u");
    EXPECT_EQ(window->StartingFTP(), nullptr);
    EXPECT_EQ(alerts.Texts(),
              (std::vector<std::string>{"Please enter a Host name.", "Please enter a Username.",
                                        "Enter a server name please"}));
    EXPECT_EQ(window->SessionCounter(), 5000);
}

// The way a user goes: fill the form, save it, quit, start again, connect, close the session.
TEST_F(TalismanWindowTest, SavedFormStartsASessionAfterARestart) {
    PyFtpServer server;
    TempDir::WriteFile(server.Pub() / "hello.txt", "hi");
    {
        TalismanApplication tarvik(settings.string());
        tarvik.ReadyToRun();
        TalismanWindow* window = tarvik.MainWindow();
        ASSERT_TRUE(WaitUntil([&] { return window->isVisible(); }));
        window->Form().host->setText("127.0.0.1");
        window->Form().login->setText(QString::fromStdString(server.User()));
        window->Form().password->setText(QString::fromStdString(server.Password()));
        window->Form().port->setText(QString::fromStdString(server.PortText()));
        window->Form().hostDirectory->setText("/pub");
        window->PostMessage(Message(Code::kAskSaveAs));
        ASSERT_TRUE(AnswerPrompt("Save current form as", "Local test"));
        window->close();
        Settle();
    }
    TalismanApplication tarvik(settings.string());
    tarvik.ReadyToRun();
    QPointer<TalismanWindow> window = tarvik.MainWindow();
    ASSERT_TRUE(WaitUntil([&] { return ListedForms(*window).size() == 1; }));
    Select(*window, "Local test");
    EXPECT_EQ(window->Form().host->text(), "127.0.0.1");
    window->PostMessage(Message(Code::kConnect));
    ASSERT_TRUE(WaitUntil([&] { return tarvik.Sessions().size() == 1; }, 5s));
    QPointer<FTPWindow> session = tarvik.Sessions().front();
    ASSERT_TRUE(WaitUntil([&] { return !session->IsLoggingOn() && !session->IsBusy(); }, 10s));
    EXPECT_TRUE(session->IsConnected());
    EXPECT_EQ(session->HostPath(), "/pub");
    EXPECT_FALSE(session->HostFiles()->Items().empty());
    EXPECT_GE(session->LocalDirectories()->Items().size(), 2u);
    window->hide();  // as a user who put the main window away
    session->PostMessage(Message(FTPWindow::kQuickLogout));
    ASSERT_TRUE(WaitUntil([&] { return session.isNull(); }, 10s));
    EXPECT_TRUE(WaitUntil([&] { return window->isVisible(); }));
    EXPECT_TRUE(tarvik.Sessions().empty());
}

}  // namespace

namespace {

TEST_F(TalismanWindowTest, ClosingTheMainWindowEndsEverySessionFirst) {
    PyFtpServer server;
    TalismanApplication tarvik(settings.string());
    tarvik.ReadyToRun();
    TalismanWindow* window = tarvik.MainWindow();
    window->Form().host->setText("127.0.0.1");
    window->Form().login->setText(QString::fromStdString(server.User()));
    window->Form().password->setText(QString::fromStdString(server.Password()));
    window->Form().port->setText(QString::fromStdString(server.PortText()));
    QPointer<FTPWindow> session = window->StartingFTP();
    ASSERT_TRUE(WaitUntil([&] { return !session->IsLoggingOn() && !session->IsBusy(); }, 10s));
    window->close();
    EXPECT_TRUE(WaitUntil([&] { return session.isNull(); }, 10s));
    EXPECT_TRUE(tarvik.IsQuitting());
    EXPECT_TRUE(alerts.Texts().empty());  // no logout question on the way out
}

}  // namespace
