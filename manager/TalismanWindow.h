#pragma once

#include <QMainWindow>
#include <QPointer>
#include <QStringList>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "ConfigManager.h"
#include "FormOptions.h"
#include "MessageHandler.h"
#include "SessionStart.h"
#include "TalismanLayout.h"
#include "ThreadSet.h"
#include "XFerWin.h"

class CertificateTrust;
class FTPWindow;

// The main window: the connection form, the saved forms, the firewall parameters and the font of
// the session windows' lists. It owns the settings and is the only writer of the settings file.
class TalismanWindow : public QMainWindow, public MessageHandler {
    Q_OBJECT

public:
    static constexpr const char* kTitle = "Marlowen Tarvik\u2122 v2.4 ";

    enum Code : std::uint32_t {
        kConnect = 1,
        kConnectSelected = 2,
        kEmptyHost = 4,
        kEmptyUser = 5,
        kEmptyPassword = 6,
        kReload = 10,
        kForward7 = 11,
        kAskSaveAs = 12,
        kSaveAs = 13,
        kErase = 14,
        kAnonymous = 15,
        kAskRename = 18,
        kRename = 19,
        kLoadSelected = 20,
        kLoadFirst = 22,
        kSaveInPlace = 23,
        kDelete = 24,
        kAskMirror = 25,
        kAddMirror = 26,
        kDeleteMirror = 27,
        kTogglePassive = 28,
        kMainServer = 29,
        kChooseMirror = 30,
        kFirewallChecked = 33,
        kFontChosen = 35,
        kSaveQuickLaunch = 40,
        kAskImportInit = 41,
        kImportInit = 42,  // "path": the init file to import, with no dialog
        // The fields of an 'open' request: those given go into the form, then a session starts.
        kOpenRequest = 43,
    };

    // `settingsPath` empty: the user's settings file. `application` receives 5, 7, 'AddW' and
    // the session windows' messages.
    explicit TalismanWindow(MessageHandler* application, const std::string& settingsPath = {});
    ~TalismanWindow() override;

    void MessageReceived(const Message& message) override;

    // The form's parts, for the application and the tests.
    const TalismanLayout::Widgets& Form() const { return form_; }
    ConfigManager& Settings() { return *settings_; }
    FormOptions& Options() { return *options_; }
    int SessionCounter() const { return sessionCounter_; }
    const std::string& CurrentFormName() const { return currentFormName_; }
    // The expanded firewall command for the form as it stands.
    std::string BuildFireWallCommand() const;
    // Starts a session from the form; the new window, or null after an alert that says what in
    // the form keeps it from starting.
    FTPWindow* StartingFTP();
    // Where the sessions register their second connections.
    void SetTransferList(XFerWin* list) { transferList_ = list; }

protected:
    void closeEvent(class QCloseEvent* event) override;

private:
    using Handler = void (*)(TalismanWindow&, const Message&);
    static const std::unordered_map<std::uint32_t, Handler>& Handlers();
    static std::string PromptOf(const Message& message);
    void ToApplication(std::uint32_t code);
    void Reload();
    void LoadSelected();
    // The fields as a save would keep them: a change since the last load or save is unsaved.
    QStringList FormState() const;
    // Before another form replaces this one: true to go on (saved or dropped), false to stay.
    bool MayLeaveForm();
    void SelectListed(const std::string& name);
    void LoadForm(const std::string& name);
    void LoadInit(const std::optional<std::string>& name);
    void ApplyGlobal();
    std::unique_ptr<Record_tag> AddEntry(const std::string& name);
    std::string FontFamilyOfSession() const;
    void OpenRequest(const Message& request);
    // The index of a saved form's choice in the "Security" menu.
    int SecurityIndexOf(const std::string& formName) const;
    int SavedSecurityFor(const std::string& hostField, const std::string& port) const;
    void GenerateGlobal();
    void SaveAs(const std::string& name);
    void SaveInPlace();
    void SaveUnder(const std::string& name);
    void Rename(const std::string& oldName, const std::string& newName);
    void Delete();
    void AddMirror(const std::string& name);
    void DeleteMirror();
    void ChooseMirror(const std::string& name);
    void MainServer();
    void ClearFields();
    void GUICheck();
    void FontSelected(bool fromMenu);
    void EraseMirrorMenu();
    void FillMirrorMenu(const std::vector<std::optional<std::string>>& mirrors);
    QAction* AddMirrorItem(const std::string& name, int position);
    SessionStart::Form FormValues() const;
    void SaveQuickLaunch();
    void AskImportInit();
    void ImportInit(const std::string& path);
    void ImportInitText(const std::string& path, const std::optional<std::string>& bytes,
                        bool tooLarge);
    std::string UnusedName(const std::string& name) const;
    std::optional<std::string> WhichIsSelected() const;
    void Prompt(const char* title, const char* label, const std::string& text, std::uint32_t answer,
                std::optional<std::string> option = std::nullopt);
    void SetConnectFrameLabel();
    void Save();

    MessageHandler* application_;
    QPointer<XFerWin> transferList_;
    std::unique_ptr<ConfigManager> settings_;
    std::unique_ptr<FormOptions> options_;  // what a form holds beyond the settings file
    std::shared_ptr<CertificateTrust> trust_;
    // Reads the files the user names, which may be FIFOs or on a hung mount.
    ThreadSet readers_;
    TalismanLayout::Widgets form_;
    std::string currentFormName_;
    QStringList loadedState_;
    std::string mainServer_;
    int passive_ = 0;
    int sessionCounter_ = 5000;
    std::optional<std::string> fontFamily_;
    std::optional<std::string> fontStyle_;
    bool fontChanged_ = false;
};
