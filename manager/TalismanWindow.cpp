#include "TalismanWindow.h"

#include <unordered_map>

#include <QActionGroup>
#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QCoreApplication>
#include <QFileDialog>
#include <QGroupBox>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QTabWidget>
#include <QTextEdit>

#include <cstdio>
#include <filesystem>
#include <set>

#include "Alert.h"
#include "CertificateTrust.h"
#include "CrossThread.h"
#include "FTPWindow.h"
#include "FieldLimit.h"
#include "Init.h"
#include "LPBListView.h"
#include "LocalFile.h"
#include "MessageCodes.h"
#include "PromptW.h"
#include "QuickLaunch.h"
#include "SessionStart.h"

namespace {

std::string Text(const QLineEdit* field) {
    return field->text().toStdString();
}

void SetText(QLineEdit* field, const std::optional<std::string>& text) {
    field->setText(QString::fromStdString(text.value_or("")));
}

constexpr const char* kConnectTo = " Connect to ";

// The form's "Security" choices, in the order of its menu; the first is a new form's.
constexpr FTPcommand::Security kSecurities[] = {
    FTPcommand::Security::ExplicitIfAvailable, FTPcommand::Security::ExplicitRequired,
    FTPcommand::Security::Implicit, FTPcommand::Security::Plain};
constexpr const char* kSecurityNames[] = {"explicit-if-available", "explicit", "implicit", "plain"};
// How much each choice protects: TLS required either way is the most.
constexpr int kSecurityRanks[] = {1, 2, 2, 0};

// Each section is looked for from the start of the file again: these keep an import of a file
// that is not an init file at all from holding the window for long.
constexpr std::size_t kMaxInitBytes = 256 * 1024;
constexpr std::size_t kMaxInitSections = 500;

// Cut at a character boundary, as the form cuts what is put into a field.
std::string Fitted(const std::string& text, int bytes) {
    QString fitted = QString::fromStdString(text);
    while (fitted.toUtf8().size() > bytes) {
        fitted.chop(1);
    }
    return fitted.toStdString();
}

// A value from a file saved with CR LF line ends keeps its CR: that one is the line end.
std::optional<std::string> LineValue(std::optional<std::string> value) {
    if (value && !value->empty() && value->back() == '\r') {
        value->pop_back();
    }
    return value;
}

// Host, user and password go into command lines: a line break would smuggle in another command
// and a zero byte would cut the line short.
bool HoldsLineBreak(const std::optional<std::string>& value) {
    return value && value->find_first_of(std::string("\r\n\0", 3)) != std::string::npos;
}

std::string Counted(std::size_t count, const char* what) {
    return std::to_string(count) + (count == 1 ? " connection " : " connections ") + what;
}

struct ImportedSection {
    std::unique_ptr<Record_tag> form;  // none for a section without an address
    std::string font;
    bool refused = false;
};

// The section's values in a new form, its other fields as a new form has them.
ImportedSection ImportSection(Init& file, const std::string& name) {
    std::optional<Init::Entry> entry = file.FoundEntry("[" + name + "]");
    if (!entry) {
        entry = file.FoundEntry("[" + name + "]\r");
    }
    if (!entry) {
        return {};
    }
    const auto host = LineValue(entry->address);
    const auto login = LineValue(entry->login);
    const auto password = LineValue(entry->password);
    if (host.value_or("").empty()) {
        return {};
    }
    if (HoldsLineBreak(name) || HoldsLineBreak(host) || HoldsLineBreak(login) ||
        HoldsLineBreak(password)) {
        return {.form = nullptr, .font = {}, .refused = true};
    }
    auto form = std::make_unique<Record_tag>();
    form->host = Fitted(*host, FieldLimit::kBytes);
    form->login = Fitted(login.value_or(""), FieldLimit::kBytes);
    form->password = Fitted(password.value_or(""), FieldLimit::kBytes);
    form->port = "21";
    form->localDirectory = "";
    form->hostDirectory = "";
    form->comments = "";
    return {.form = std::move(form),
            .font = Fitted(LineValue(entry->font).value_or(""), FieldLimit::kBytes),
            .refused = false};
}

}  // namespace

TalismanWindow::TalismanWindow(MessageHandler* application, const std::string& settingsPath)
    : MessageHandler(this), application_(application) {
    setWindowTitle(QString::fromUtf8(kTitle));
    form_ = TalismanLayout::Build(this, this, application);
    if (settingsPath.empty()) {
        ConfigManager::CreateSettingsFolder();
    }
    const std::string path = settingsPath.empty() ? ConfigManager::SettingsFile() : settingsPath;
    settings_ = std::make_unique<ConfigManager>(path);
    options_ = std::make_unique<FormOptions>(FormOptions::PathBeside(path));
    trust_ = std::make_shared<CertificateTrust>(CertificateTrust::PathBeside(path));
    trust_->Load();
    form_.mainServer->setEnabled(false);
    connect(form_.comments, &QTextEdit::textChanged, this, [this] {
        // The comments go into the settings file too: keep them within its limit.
        QString text = form_.comments->toPlainText();
        if (text.toUtf8().size() > FieldLimit::kBytes) {
            QSignalBlocker quiet(form_.comments);
            form_.comments->setPlainText(FieldLimit::Fitted(text));
            form_.comments->moveCursor(QTextCursor::End);
        }
    });
    GUICheck();
    adjustSize();
    setMinimumSize(minimumSizeHint());
    resize(minimumSizeHint().expandedTo(QSize(640, 520)));
    form_.host->setFocus();  // a new user types the host first
    loadedState_ = FormState();
    PostMessage(Message(kReload));
}

TalismanWindow::~TalismanWindow() {
    settings_.reset();
    std::printf("fin delete config\n");
    std::printf("fin delete minimain\n");
    std::fflush(stdout);
}

// One row per command: the code and what it does.
const std::unordered_map<std::uint32_t, TalismanWindow::Handler>& TalismanWindow::Handlers() {
    using W = TalismanWindow;
    using M = const Message&;
    static const std::unordered_map<std::uint32_t, Handler> table = {
        {kConnect, [](W& w, M) { w.StartingFTP(); }},
        {kConnectSelected,
         [](W& w, M) {
             if (w.WhichIsSelected()) {
                 w.PostMessage(Message(kConnect));
             }
         }},
        {kEmptyHost, [](W& w, M) { w.form_.host->clear(); }},
        {kEmptyUser, [](W& w, M) { w.form_.login->clear(); }},
        {kEmptyPassword, [](W& w, M) { w.form_.password->clear(); }},
        {kReload, [](W& w, M) { w.Reload(); }},
        {kForward7, [](W& w, M) { w.ToApplication(7); }},
        {kAskSaveAs,
         [](W& w, M) {
             w.Prompt("Save current form as", "Entry name :", "My connection label", kSaveAs);
         }},
        {kSaveAs, [](W& w, M m) { w.SaveAs(PromptOf(m)); }},
        {kErase, [](W& w, M) { w.ClearFields(); }},
        {kAnonymous, [](W& w, M) { w.ToApplication(5); }},
        {kAskRename,
         [](W& w, M) {
             if (auto selected = w.WhichIsSelected(); selected && !selected->empty()) {
                 w.Prompt("Rename this form", "New name :", *selected, kRename, *selected);
             }
         }},
        {kRename, [](W& w, M m) { w.Rename(m.FindString("opt").value_or(""), PromptOf(m)); }},
        {kLoadSelected, [](W& w, M) { w.LoadSelected(); }},
        {kLoadFirst,
         [](W& w, M) {
             if (w.form_.forms->count() > 0) {
                 w.LoadInit(w.form_.forms->item(0)->text().toStdString());
             }
         }},
        {kSaveInPlace, [](W& w, M) { w.SaveInPlace(); }},
        {kDelete, [](W& w, M) { w.Delete(); }},
        {kAskMirror,
         [](W& w, M) {
             w.Prompt("Add a new mirror", "Mirror host:", "ftp.mirror.example.org", kAddMirror);
         }},
        {kAddMirror, [](W& w, M m) { w.AddMirror(PromptOf(m)); }},
        {kDeleteMirror, [](W& w, M) { w.DeleteMirror(); }},
        {kTogglePassive, [](W& w, M) { w.passive_ = w.form_.passive->isChecked() ? 1 : 0; }},
        {kMainServer, [](W& w, M) { w.MainServer(); }},
        {kChooseMirror, [](W& w, M m) { w.ChooseMirror(m.FindString("namemirror").value_or("")); }},
        {kFirewallChecked, [](W& w, M) { w.GUICheck(); }},
        {kFontChosen,
         [](W& w, M) {
             w.fontChanged_ = true;
             w.FontSelected(true);
             w.GenerateGlobal();
         }},
        {kSaveQuickLaunch, [](W& w, M) { w.SaveQuickLaunch(); }},
        {kAskImportInit, [](W& w, M) { w.AskImportInit(); }},
        {kImportInit, [](W& w, M m) { w.ImportInit(m.FindString("path").value_or("")); }},
        {kOpenRequest, [](W& w, M m) { w.OpenRequest(m); }},
        {kQuitRequested, [](W& w, M) { w.close(); }},
    };
    return table;
}

void TalismanWindow::MessageReceived(const Message& message) {
    if (auto found = Handlers().find(message.what); found != Handlers().end()) {
        found->second(*this, message);
    }
}

std::string TalismanWindow::PromptOf(const Message& message) {
    return message.FindString("prompt").value_or("");
}

void TalismanWindow::ToApplication(std::uint32_t code) {
    if (application_ != nullptr) {
        application_->PostMessage(Message(code));
    }
}

// ---- Saved forms ----

void TalismanWindow::Save() {
    if (!settings_->SaveConfig() || !options_->Save()) {
        Alert::Go("The settings file could not be written:\n" + settings_->Path().value_or(""),
                  {"OK"}, AlertKind::Warning);
    }
}

void TalismanWindow::Reload() {
    if (!settings_->LoadConfig()) {
        return;
    }
    if (!options_->Load()) {
        Alert::Go("The forms' options could not be read:\n" +
                      FormOptions::PathBeside(settings_->Path().value_or("")) +
                      "\nThey will be written anew.",
                  {"OK"}, AlertKind::Warning);
    }
    for (const std::string& name : settings_->GetListName()) {
        form_.forms->addItem(QString::fromStdString(name));
    }
    LoadInit(std::nullopt);
    FontSelected(false);
    if (auto last = options_->Marked(FormOptions::kLastUsed); last && settings_->GetRecord(*last)) {
        QSignalBlocker quiet(form_.forms);
        SelectListed(*last);
        LoadForm(*last);
    }
}

void TalismanWindow::SelectListed(const std::string& name) {
    const auto items = form_.forms->findItems(QString::fromStdString(name), Qt::MatchExactly);
    if (!items.isEmpty()) {
        form_.forms->setCurrentItem(items.front());
    }
}

QStringList TalismanWindow::FormState() const {
    QStringList state;
    for (const QLineEdit* field : {form_.host, form_.login, form_.password, form_.port,
                                   form_.localDirectory, form_.hostDirectory}) {
        state.append(field->text());
    }
    state.append(form_.comments->toPlainText());
    state.append(QString::number(passive_));
    state.append(QString::number(form_.security->currentIndex()));
    for (const QAction* item : form_.mirrors->actions()) {
        state.append(item->text());
    }
    return state;
}

// Save, Discard or Cancel when the fields hold edits that no save has kept.
bool TalismanWindow::MayLeaveForm() {
    if (FormState() == loadedState_) {
        return true;
    }
    const std::string name = currentFormName_.empty() ? "The form" : "The form " + currentFormName_;
    switch (Alert::Go(name + " has changes that are not saved.", {"Cancel", "Discard", "Save"},
                      AlertKind::Warning)) {
        case 1:
            return true;
        case 2:
            if (currentFormName_.empty()) {
                PostMessage(Message(kAskSaveAs));  // a new form needs a name first
                return false;
            }
            SaveUnder(currentFormName_);
            return true;
        default:
            return false;
    }
}

std::optional<std::string> TalismanWindow::WhichIsSelected() const {
    QList<QListWidgetItem*> selected = form_.forms->selectedItems();
    if (selected.isEmpty()) {
        return std::nullopt;
    }
    return selected.front()->text().toStdString();
}

void TalismanWindow::SetConnectFrameLabel() {
    form_.connectFrame->setTitle(currentFormName_.empty()
                                     ? QString(kConnectTo)
                                     : QString::fromStdString(kConnectTo + currentFormName_ + " "));
}

void TalismanWindow::LoadSelected() {
    std::optional<std::string> name = WhichIsSelected();
    if (!MayLeaveForm()) {
        QSignalBlocker quiet(form_.forms);
        form_.forms->clearSelection();
        SelectListed(currentFormName_);  // the click is taken back
        return;
    }
    if (!name || name->empty()) {
        ClearFields();
        return;
    }
    LoadForm(*name);
    options_->MarkOnly(*name, FormOptions::kLastUsed);  // the next start loads it
    if (!options_->Save()) {
        Alert::Go("The forms' options could not be written:\n" +
                      FormOptions::PathBeside(settings_->Path().value_or("")),
                  {"OK"}, AlertKind::Warning);
    }
}

void TalismanWindow::LoadForm(const std::string& name) {
    currentFormName_ = name;
    SetConnectFrameLabel();
    LoadInit(name);
    FontSelected(false);
}

void TalismanWindow::LoadInit(const std::optional<std::string>& name) {
    if (const Record_tag* record = name ? settings_->GetRecord(*name) : nullptr) {
        SetText(form_.host, record->host);
        SetText(form_.login, record->login);
        SetText(form_.password, record->password);
        SetText(form_.localDirectory, record->localDirectory);
        SetText(form_.hostDirectory, record->hostDirectory);
        SetText(form_.port, record->port);
        form_.comments->setPlainText(QString::fromStdString(record->comments.value_or("")));
        mainServer_ = record->host.value_or("");
        form_.mainServer->setEnabled(false);
        if (record->passive != passive_) {
            form_.passive->setChecked(!form_.passive->isChecked());
            passive_ = form_.passive->isChecked() ? 1 : 0;
        }
        FillMirrorMenu(record->mirrors);
        form_.security->setCurrentIndex(SecurityIndexOf(*name));
        loadedState_ = FormState();
    }
    ApplyGlobal();
}

void TalismanWindow::ApplyGlobal() {
    const GRecord_tag* global = settings_->GetGlobalRecord();
    if (global == nullptr) {
        fontFamily_ = "Zurich";
        fontStyle_ = "Bold";
        form_.fontSize->setText("12");
        return;
    }
    fontFamily_ = global->fontFamily.value_or("");
    fontStyle_ = global->fontStyle.value_or("");
    form_.fontSize->setText(QString::number(global->fontSize));
    form_.useFirewall->setChecked(global->useFirewall != 0);
    SetText(form_.firewallHost, global->firewallHost);
    SetText(form_.firewallLogin, global->firewallUser);
    SetText(form_.firewallPassword, global->firewallPassword);
    SetText(form_.firewallPort, global->firewallPort);
    SetText(form_.firewallCommand, global->firewallCommand);
    QString label = QString::fromStdString(*fontFamily_ + " / " + *fontStyle_);
    for (QAction* item : form_.fonts->actions()) {
        if (item->text() == label) {
            item->setChecked(true);
            form_.fontField->setText(label);
        }
    }
    GUICheck();
}

std::unique_ptr<Record_tag> TalismanWindow::AddEntry(const std::string& name) {
    // What the settings file has no room for goes beside it, under the same name.
    options_->Set(name, FormOptions::kSecurity, kSecurityNames[form_.security->currentIndex()]);
    auto record = std::make_unique<Record_tag>();
    record->name = name;
    std::string host = Text(form_.host);
    record->host = host;
    if (form_.mainServer->isEnabled() && mainServer_ != host) {
        int answer = Alert::Go("A mirror site is currently active:\n<" + host +
                                   ">\nWich one do you want as main server ?",
                               {host, mainServer_}, AlertKind::Warning);
        record->host = answer == 1 ? mainServer_ : host;
    }
    record->login = Text(form_.login);
    record->password = Text(form_.password);
    record->port = Text(form_.port);
    record->localDirectory = Text(form_.localDirectory);
    record->hostDirectory = Text(form_.hostDirectory);
    record->comments = form_.comments->toPlainText().toStdString();
    record->reserved = 0;
    record->passive = static_cast<std::uint8_t>(passive_);
    for (QAction* item : form_.mirrors->actions()) {
        record->mirrors.push_back(item->text().toStdString());
    }
    loadedState_ = FormState();  // kept now
    options_->MarkOnly(name, FormOptions::kLastUsed);
    return record;
}

void TalismanWindow::GenerateGlobal() {
    auto global = std::make_unique<GRecord_tag>();
    if (fontFamily_ && fontStyle_ && !fontFamily_->empty() && !fontStyle_->empty()) {
        global->fontFamily = *fontFamily_;
        global->fontStyle = *fontStyle_;
        global->fontSize = static_cast<std::uint8_t>(form_.fontSize->text().toInt());
    } else {
        global->fontFamily = "Swis721 BT";
        global->fontStyle = "Roman";
        global->fontSize = 11;
    }
    global->spareString = "";
    global->useFirewall = form_.useFirewall->isChecked() ? 1 : 0;
    global->firewallHost = Text(form_.firewallHost);
    global->firewallUser = Text(form_.firewallLogin);
    global->firewallPassword = Text(form_.firewallPassword);
    global->firewallPort = Text(form_.firewallPort);
    global->firewallCommand = Text(form_.firewallCommand);
    settings_->SetGlobalRecord(std::move(global));
}

void TalismanWindow::SaveAs(const std::string& name) {
    QList<QListWidgetItem*> same =
        form_.forms->findItems(QString::fromStdString(name), Qt::MatchExactly);
    if (!same.isEmpty()) {
        if (Alert::Go("This name already exist.\nDo you want to replace it ?", {"Yes", "No"},
                      AlertKind::Warning) != 0) {
            return;
        }
        long position = settings_->RemoveFromList(name);
        options_->Copy(currentFormName_, name);
        settings_->AddRecord(AddEntry(name), static_cast<int>(position));
        Save();
        return;
    }
    options_->Copy(currentFormName_, name);
    settings_->AddRecord(AddEntry(name), -1);
    Save();
    form_.forms->addItem(QString::fromStdString(name));
}

void TalismanWindow::SaveInPlace() {
    std::optional<std::string> selected = WhichIsSelected();
    if (currentFormName_.empty() || !selected || selected->empty()) {
        GenerateGlobal();
        PostMessage(Message(kAskSaveAs));
        return;
    }
    SaveUnder(*selected);
}

void TalismanWindow::SaveUnder(const std::string& name) {
    GenerateGlobal();
    long position = settings_->RemoveFromList(name);
    settings_->AddRecord(AddEntry(name), static_cast<int>(position));
    Save();
}

void TalismanWindow::Rename(const std::string& oldName, const std::string& newName) {
    if (!form_.forms->findItems(QString::fromStdString(newName), Qt::MatchExactly).isEmpty()) {
        Alert::Go("The new name is already in use.");
        return;
    }
    long position = settings_->RemoveFromList(oldName);
    QList<QListWidgetItem*> old =
        form_.forms->findItems(QString::fromStdString(oldName), Qt::MatchExactly);
    if (!old.isEmpty()) {
        QSignalBlocker quiet(form_.forms);
        delete form_.forms->takeItem(form_.forms->row(old.front()));
    }
    // The record goes to the end of the file, the name stays in place in the list: the two
    // orders meet again at the next reload.
    options_->Rename(oldName, newName);
    settings_->AddRecord(AddEntry(newName), -1);
    Save();
    int row = position < 0 ? form_.forms->count()
                           : std::min<int>(static_cast<int>(position), form_.forms->count());
    form_.forms->insertItem(row, QString::fromStdString(newName));
    if (currentFormName_ == oldName) {  // the loaded form goes on under its new name
        currentFormName_ = newName;
        SetConnectFrameLabel();
        QSignalBlocker quiet(form_.forms);
        form_.forms->setCurrentRow(row);
    }
}

void TalismanWindow::Delete() {
    std::optional<std::string> name = WhichIsSelected();
    if (!name || name->empty()) {
        return;
    }
    if (Alert::Go("Do you want to delete this entry ?", {"Yes", "No"}, AlertKind::Warning) != 0) {
        return;
    }
    settings_->RemoveFromList(*name);
    options_->Forget(*name);
    Save();
    if (*name == currentFormName_) {
        // The user let the form go: its fields are no edits of a form to ask about.
        currentFormName_.clear();
        SetConnectFrameLabel();
        loadedState_ = FormState();
    }
    QList<QListWidgetItem*> items =
        form_.forms->findItems(QString::fromStdString(*name), Qt::MatchExactly);
    if (!items.isEmpty()) {
        delete form_.forms->takeItem(form_.forms->row(items.front()));
    }
}

// ---- Mirrors ----

void TalismanWindow::EraseMirrorMenu() {
    for (QAction* item : form_.mirrors->actions()) {
        form_.mirrors->removeAction(item);
        delete item;
    }
}

QAction* TalismanWindow::AddMirrorItem(const std::string& name, int position) {
    QAction* item = form_.mirrors->addAction(QString::fromStdString(name));
    item->setCheckable(true);
    if (position >= 0 && position <= 9) {
        item->setShortcut(QKeySequence(Qt::CTRL | static_cast<Qt::Key>(Qt::Key_0 + position)));
    }
    connect(item, &QAction::triggered, this, [this, item] {
        for (QAction* other : form_.mirrors->actions()) {
            other->setChecked(other == item);
        }
        PostMessage(Message(kChooseMirror).AddString("namemirror", item->text().toStdString()));
    });
    return item;
}

void TalismanWindow::FillMirrorMenu(const std::vector<std::optional<std::string>>& mirrors) {
    EraseMirrorMenu();
    int position = 0;
    for (const auto& mirror : mirrors) {
        AddMirrorItem(mirror.value_or(""), position++);
    }
}

void TalismanWindow::AddMirror(const std::string& name) {
    if (name.find("//") != std::string::npos) {
        Alert::Go("Invalide mirror name,\nDo not use \"ftp://\" or \"//\" strings.", {"OK"},
                  AlertKind::Warning, "oops");
        return;
    }
    AddMirrorItem(name, -1);
    PostMessage(Message(kSaveInPlace));
}

void TalismanWindow::DeleteMirror() {
    form_.host->setText(QString::fromStdString(mainServer_));
    for (QAction* item : form_.mirrors->actions()) {
        if (item->isChecked()) {
            form_.mirrors->removeAction(item);
            delete item;
            PostMessage(Message(kSaveInPlace));
            form_.mainServer->setEnabled(false);
            return;
        }
    }
}

void TalismanWindow::ChooseMirror(const std::string& name) {
    form_.host->setText(QString::fromStdString(name));
    form_.mainServer->setEnabled(true);
}

void TalismanWindow::MainServer() {
    form_.host->setText(QString::fromStdString(mainServer_));
    form_.mainServer->setEnabled(false);
    for (QAction* item : form_.mirrors->actions()) {
        item->setChecked(false);
    }
}

// ---- Fields ----

void TalismanWindow::ClearFields() {
    for (QLineEdit* field :
         {form_.host, form_.login, form_.password, form_.localDirectory, form_.hostDirectory}) {
        field->clear();
    }
    form_.comments->clear();
    form_.security->setCurrentIndex(0);
    form_.passive->setChecked(false);
    passive_ = 0;
    EraseMirrorMenu();
    currentFormName_.clear();
    mainServer_.clear();
    SetConnectFrameLabel();
    QSignalBlocker quiet(form_.forms);
    form_.forms->clearSelection();
    loadedState_ = FormState();  // nothing in it to lose
}

void TalismanWindow::GUICheck() {
    bool enabled = form_.useFirewall->isChecked();
    for (QLineEdit* field : {form_.firewallHost, form_.firewallLogin, form_.firewallPassword,
                             form_.firewallPort, form_.firewallCommand}) {
        field->setEnabled(enabled);
    }
}

void TalismanWindow::FontSelected(bool fromMenu) {
    if (fromMenu) {
        QString label;
        for (QAction* item : form_.fonts->actions()) {
            if (item->isChecked()) {
                label = item->text();
            }
        }
        if (label.isEmpty()) {
            return;
        }
        qsizetype split = label.indexOf(" / ");
        fontFamily_ = label.left(split).toStdString();
        fontStyle_ = split < 0 ? std::string() : label.mid(split + 3).toStdString();
    }
    if (!fontFamily_ || !fontStyle_ || !fontChanged_) {
        return;
    }
    QFont font(QString::fromStdString(*fontFamily_), form_.fontSize->text().toInt());
    font.setStyleName(QString::fromStdString(*fontStyle_));
    form_.preview->setFont(font);
    fontChanged_ = false;
}

std::string TalismanWindow::BuildFireWallCommand() const {
    return SessionStart::BuildFireWallCommand(Text(form_.firewallCommand), Text(form_.host),
                                              Text(form_.login), Text(form_.password),
                                              Text(form_.port));
}

void TalismanWindow::Prompt(const char* title, const char* label, const std::string& text,
                            std::uint32_t answer, std::optional<std::string> option) {
    auto* prompt = new PromptW(this, title, label, text, answer, std::move(option));
    prompt->Field()->setValidator(new FieldLimit(prompt->Field()));
    prompt->show();
}

// ---- Sessions ----

SessionStart::Form TalismanWindow::FormValues() const {
    return {.host = Text(form_.host),
            .user = Text(form_.login),
            .password = Text(form_.password),
            .port = Text(form_.port),
            .localDirectory = Text(form_.localDirectory),
            .hostDirectory = Text(form_.hostDirectory),
            .firewall = form_.useFirewall->isChecked(),
            .firewallHost = Text(form_.firewallHost),
            .firewallPort = Text(form_.firewallPort),
            .firewallUser = Text(form_.firewallLogin),
            .firewallPassword = Text(form_.firewallPassword),
            .firewallCommand = Text(form_.firewallCommand)};
}

// The window is made on the GUI thread, as every window must be; the log-on runs on the
// session's own worker, so nothing here waits for the network.
FTPWindow* TalismanWindow::StartingFTP() {
    const SessionStart::Form form = FormValues();
    if (std::optional<std::string> refusal = SessionStart::Refusal(form)) {
        Alert::Go(*refusal);
        return nullptr;
    }
    SessionStart::HostField target = SessionStart::SplitHostField(form.host);
    sessionCounter_ += 1000;
    auto* window = new FTPWindow(
        QRect(60, 60, 460, 525), SessionStart::Title(target.host, form.user), target.host,
        form.user, form.password, FontFamilyOfSession(), fontStyle_.value_or(""),
        form_.fontSize->text().toInt(), sessionCounter_, passive_, application_);
    window->SetTransferList(transferList_);
    window->show();
    if (application_ != nullptr) {
        application_->PostMessage(Message(FourCC("AddW")).AddPointer("this", window));
    }
    FTPWindow::LogOn logOn;
    logOn.startPath = target.startPath;
    logOn.localDirectory = form.localDirectory;
    logOn.hostDirectory = form.hostDirectory;
    logOn.port = form.port;
    logOn.firewall = form.firewall;
    logOn.firewallHost = form.firewallHost;
    logOn.firewallUser = form.firewallUser;
    logOn.firewallPassword = form.firewallPassword;
    logOn.firewallPort = form.firewallPort;
    logOn.firewallCommand = BuildFireWallCommand();
    logOn.security = kSecurities[form_.security->currentIndex()];
    logOn.trust = trust_;
    window->Init(std::move(logOn));
    return window;
}

// A form's own font (an imported one names it) takes the place of the program's family; style
// and size stay the program's.
std::string TalismanWindow::FontFamilyOfSession() const {
    const auto own = currentFormName_.empty() ? std::nullopt
                                              : options_->Get(currentFormName_, FormOptions::kFont);
    return own.value_or(fontFamily_.value_or(""));
}

void TalismanWindow::OpenRequest(const Message& request) {
    for (auto [field, widget] : {std::pair{"Server", form_.host},
                                 {"Login", form_.login},
                                 {"Password", form_.password},
                                 {"LocalDirectory", form_.localDirectory},
                                 {"HostDirectory", form_.hostDirectory},
                                 {"FTPPort", form_.port}}) {
        // setText skips the field's validator: the settings file's limit still holds.
        if (auto text = request.FindString(field)) {
            widget->setText(FieldLimit::Fitted(QString::fromStdString(*text)));
        }
    }
    // A request names no security: it keeps that of a saved form for its host and port, so
    // that a link cannot lower it; a new form's otherwise.
    form_.security->setCurrentIndex(SavedSecurityFor(Text(form_.host), Text(form_.port)));
    StartingFTP();
}

int TalismanWindow::SecurityIndexOf(const std::string& formName) const {
    const auto security = options_->Get(formName, FormOptions::kSecurity);
    const auto* known = std::find(std::begin(kSecurityNames), std::end(kSecurityNames),
                                  security.value_or(kSecurityNames[0]));
    return known == std::end(kSecurityNames) ? 0 : static_cast<int>(known - kSecurityNames);
}

// The security of the saved forms for this host and port, the strongest where they differ;
// a new form's when none is for them.
int TalismanWindow::SavedSecurityFor(const std::string& hostField, const std::string& port) const {
    const auto lower = [](std::string text) {
        std::transform(text.begin(), text.end(), text.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        return text;
    };
    const auto portOf = [](const std::string& text) { return text.empty() ? "21" : text; };
    const std::string host = lower(SessionStart::SplitHostField(hostField).host);
    int chosen = -1;
    for (const std::string& name : settings_->GetListName()) {
        const Record_tag* record = settings_->GetRecord(name);
        if (record == nullptr ||
            lower(SessionStart::SplitHostField(record->host.value_or("")).host) != host ||
            portOf(record->port.value_or("")) != portOf(port)) {
            continue;
        }
        const int index = SecurityIndexOf(name);
        if (chosen < 0 || kSecurityRanks[index] > kSecurityRanks[chosen]) {
            chosen = index;
        }
    }
    return chosen < 0 ? 0 : chosen;
}

void TalismanWindow::SaveQuickLaunch() {
    QString name = currentFormName_.empty() ? QString("NewConnection")
                                            : QString::fromStdString(currentFormName_);
    QString path = QFileDialog::getSaveFileName(
        this, tr("Save form as a Quick-Launch file"), name + QuickLaunch::kExtension,
        tr("Tarvik Quick-Launch files (*%1)").arg(QuickLaunch::kExtension));
    if (path.isEmpty()) {
        return;
    }
    // The desktop knows these files by their extension as well as by their first bytes.
    const std::string file = QuickLaunch::WithExtension(path.toStdString());
    if (!QuickLaunch::Write(
            file, {Text(form_.host), Text(form_.login), Text(form_.password),
                   Text(form_.localDirectory), Text(form_.hostDirectory), Text(form_.port)})) {
        Alert::Go("The Quick-Launch file could not be written:\n" + file);
    }
}

void TalismanWindow::AskImportInit() {
    QString path = QFileDialog::getOpenFileName(this, tr("Import connections from an init file"));
    if (!path.isEmpty()) {
        PostMessage(Message(kImportInit).AddString("path", path.toStdString()));
    }
}

// Every section with an address becomes a saved form of the section's name. The file is read
// on a worker: a FIFO or a hung mount under the name must not hold up the window.
void TalismanWindow::ImportInit(const std::string& path) {
    readers_.Spawn("ImportInit", [self = QPointer(this), path] {
        std::optional<std::string> text = LocalFile::ReadAll(path, kMaxInitBytes);
        const bool tooLarge =
            !text && LocalFile::SizeOf(path) > static_cast<long long>(kMaxInitBytes);
        Post(QCoreApplication::instance(), [self, path, text = std::move(text), tooLarge] {
            if (self) {
                self->ImportInitText(path, text, tooLarge);
            }
        });
    });
}

void TalismanWindow::ImportInitText(const std::string& path,
                                    const std::optional<std::string>& bytes, bool tooLarge) {
    if (tooLarge) {
        Alert::Go("This file is too large to be an init file.");
        return;
    }
    if (!bytes) {
        Alert::Go("This file cannot be read:\n" + path);
        return;
    }
    Init file;
    file.OpenText(*bytes);
    std::vector<std::string> names = file.GetListSection();
    if (names.size() > kMaxInitSections) {
        Alert::Go("This file is too large to be an init file.");
        return;
    }
    std::size_t added = 0;
    std::size_t refused = 0;
    std::set<std::string> seen;  // a repeated name would only find the first section again
    for (const std::string& name : names) {
        if (name.empty() || !seen.insert(name).second) {
            continue;
        }
        ImportedSection section = ImportSection(file, name);
        refused += section.refused ? 1 : 0;
        if (section.form) {
            section.form->name = UnusedName(name);
            form_.forms->addItem(QString::fromStdString(*section.form->name));
            options_->Set(*section.form->name, FormOptions::kFont, section.font);
            settings_->AddRecord(std::move(section.form), -1);
            ++added;
        }
    }
    if (added > 0) {
        Save();
    }
    std::string text = added > 0      ? Counted(added, "imported.")
                       : refused == 0 ? "No connection found in this file."
                                      : "No connection imported.";
    if (refused > 0) {
        text += "\n" + Counted(refused, "left out: a field holds a line break.");
    }
    Alert::Go(text);
}

// The name itself when no form has it, else the first free "name (2)", "name (3)", ...
std::string TalismanWindow::UnusedName(const std::string& name) const {
    auto used = [this](const std::string& candidate) {
        return settings_->GetRecord(candidate) != nullptr ||
               !form_.forms->findItems(QString::fromStdString(candidate), Qt::MatchExactly)
                    .isEmpty();
    };
    std::string fitted = Fitted(name, FieldLimit::kBytes);
    for (int number = 2; used(fitted); ++number) {
        const std::string suffix = " (" + std::to_string(number) + ")";
        fitted = Fitted(name, FieldLimit::kBytes - static_cast<int>(suffix.size())) + suffix;
    }
    return fitted;
}

void TalismanWindow::closeEvent(QCloseEvent* event) {
    GenerateGlobal();
    Save();
    event->accept();
    if (application_ != nullptr) {
        application_->PostMessage(Message(kQuitRequested));
    }
}
