// Importing connections from an init file into the saved forms, offscreen.
#include <gtest/gtest.h>

#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>

#include <filesystem>

#include "ConfigManager.h"
#include "FormOptions.h"
#include "GuiWait.h"
#include "ScriptedAlerts.h"
#include "TalismanWindow.h"
#include "TempDir.h"

namespace {

using Strings = std::vector<std::string>;

Strings ListedForms(const TalismanWindow& window) {
    Strings names;
    for (int row = 0; row < window.Form().forms->count(); ++row) {
        names.push_back(window.Form().forms->item(row)->text().toStdString());
    }
    return names;
}

Strings ConfigurationItems(TalismanWindow& window) {
    Strings items;
    for (QAction* menu : window.menuBar()->actions()) {
        if (menu->text().remove('&') == "Configuration") {
            for (QAction* item : menu->menu()->actions()) {
                items.push_back(item->text().remove('&').toStdString());
            }
        }
    }
    return items;
}

TEST(InitImportTest, EverySectionBecomesASavedFormAndAUsedNameGetsANumber) {
    ScriptedAlerts alerts;
    TempDir folder;
    const auto settings = folder / "Tarvik_settings_data";
    TalismanWindow window(nullptr, settings.string());
    Settle();
    EXPECT_EQ(ConfigurationItems(window).back(), "Import connections from an init file...");
    window.Form().host->setText("old.example");
    window.PostMessage(Message(TalismanWindow::kSaveAs).AddString("prompt", "work"));
    Settle();

    // The middle section was added with an editor that ends lines with CR LF.
    const auto file = folder.Write(
        "connections.ini",
        "; exported\n[work]\nADD=ftp.work.example\nLOGIN=alice\nPASS=s3cret\nFONT=Zurich\n"
        "[my home]\r\nADD=ftp.home.example\r\nLOGIN=bob\r\nPASS=pw\r\nFONT=DejaVu Sans%\r\n"
        "[mirror]\nADD=ftp.mirror.example\nLOGIN=anonymous\nPASS=guest\nFONT=Zurich\n");
    window.PostMessage(Message(TalismanWindow::kImportInit).AddString("path", file.string()));
    Settle();
    EXPECT_EQ(alerts.Texts(), Strings{"3 connections imported."});
    EXPECT_EQ(ListedForms(window), (Strings{"work", "work (2)", "my home", "mirror"}));

    ConfigManager saved(settings.string());
    ASSERT_TRUE(saved.LoadConfig());
    EXPECT_EQ(saved.GetListName(), (Strings{"work", "work (2)", "my home", "mirror"}));
    EXPECT_EQ(saved.GetRecord("work")->host, "old.example");
    const Record_tag* work = saved.GetRecord("work (2)");
    EXPECT_EQ(work->host, "ftp.work.example");
    EXPECT_EQ(work->login, "alice");
    EXPECT_EQ(work->password, "s3cret");
    EXPECT_EQ(work->port, "21") << "as a new form has it";
    EXPECT_EQ(saved.GetRecord("my home")->host, "ftp.home.example");
    EXPECT_EQ(saved.GetRecord("my home")->password, "pw");

    // The fonts have no room in the settings file: they are kept beside it, and follow a rename.
    window.PostMessage(
        Message(TalismanWindow::kRename).AddString("opt", "my home").AddString("prompt", "home"));
    Settle();
    FormOptions options(FormOptions::PathBeside(settings.string()));
    ASSERT_TRUE(options.Load());
    EXPECT_EQ(options.Get("work (2)", FormOptions::kFont), "Zurich");
    EXPECT_EQ(options.Get("home", FormOptions::kFont), "DejaVu Sans%");
    EXPECT_EQ(options.Get("my home", FormOptions::kFont), std::nullopt);
    EXPECT_EQ(options.Get("work", FormOptions::kFont), std::nullopt);
    EXPECT_EQ(std::filesystem::status(FormOptions::PathBeside(settings.string())).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);

    // A value that would smuggle a command is refused; a missing file is reported, not created.
    const auto smuggling = folder.Write("bad.ini", "\n[x]\nADD=h\rSITE EXEC x\nLOGIN=u\n");
    window.PostMessage(Message(TalismanWindow::kImportInit).AddString("path", smuggling.string()));
    const auto missing = folder / "missing.ini";
    window.PostMessage(Message(TalismanWindow::kImportInit).AddString("path", missing.string()));
    Settle();
    EXPECT_EQ(
        alerts.Texts(),
        (Strings{"3 connections imported.",
                 "No connection imported.\n1 connection left out: a field holds a line break.",
                 "This file cannot be read:\n" + missing.string()}));
    EXPECT_FALSE(std::filesystem::exists(missing));
    EXPECT_EQ(ListedForms(window).size(), 4u);
}

}  // namespace
