#pragma once

#include <QObject>
#include <QPointer>

#include <memory>
#include <string>
#include <vector>

#include "MessageHandler.h"

class FTPWindow;
class TalismanWindow;
class XFerWin;

// The program: its main window, the list of open session windows, and the launch requests
// (Quick-Launch files given on the command line). Quits when the main window closes; brings the
// main window back when the last session ends.
class TalismanApplication : public QObject, public MessageHandler {
    Q_OBJECT

public:
    static constexpr const char* kAnonymousPassword = "tarvik@localhost";

    explicit TalismanApplication(const std::string& settingsPath = {});
    ~TalismanApplication() override;

    // Shows the main window unless files opened at launch said otherwise.
    void ReadyToRun();
    // Quick-Launch files named on the command line: each one starts a session.
    void ArgvReceived(const std::vector<std::string>& paths);
    // Files opened from the desktop: the same, without showing the main window.
    void RefsReceived(const std::vector<std::string>& paths);

    void MessageReceived(const Message& message) override;

    TalismanWindow* MainWindow() const { return main_.data(); }
    // The transfer list of every session's second connections.
    XFerWin* TransferList() const { return transferList_.get(); }
    const std::vector<FTPWindow*>& Sessions() const { return sessions_; }
    bool IsQuitting() const { return quitting_; }

private:
    void BringMainWindowBack();
    void Quit();
    void ExitWhenSessionsAreGone();
    void OpenQuickLaunchFiles(const std::vector<std::string>& paths);
    void ShowAbout();

    std::unique_ptr<XFerWin> transferList_;
    QPointer<TalismanWindow> main_;
    std::vector<FTPWindow*> sessions_;
    // Every session window made, until it is deleted: the program ends only once they are gone.
    std::vector<QPointer<FTPWindow>> alive_;
    bool showOnReady_ = true;
    bool quitting_ = false;
};
