#pragma once

#include <QObject>
#include <QPointer>
#include <QSplashScreen>

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "MessageHandler.h"
#include "QuickLaunch.h"
#include "ThreadSet.h"

class FTPWindow;
class TalismanWindow;
class XFerWin;

// The program: its main window, the list of open session windows, and the launch requests
// (Quick-Launch files, ftp:// links, 'open' requests). Quits when the main window closes;
// brings the main window back when the last session ends.
class TalismanApplication : public QObject, public MessageHandler {
    Q_OBJECT

public:
    static constexpr const char* kAnonymousPassword = "tarvik@localhost";

    explicit TalismanApplication(const std::string& settingsPath = {});
    ~TalismanApplication() override;

    // Shows the main window unless files opened at launch said otherwise.
    void ReadyToRun();
    // Quick-Launch files and ftp:// links: each one starts its own session. From the desktop
    // (`desktop`), the main window is not shown for them.
    void Open(const std::vector<std::string>& items, bool desktop);
    // Named on the command line.
    void ArgvReceived(const std::vector<std::string>& items) { Open(items, false); }
    // Opened from the desktop.
    void RefsReceived(const std::vector<std::string>& items) { Open(items, true); }
    // Shown while the program starts, never holding it up: it goes after 1.5 s, or as soon as a
    // session window is up.
    void ShowSplash();
    // The manual's index.html: beside the program, installed with it, or in the source tree.
    static QString ManualPath();

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
    void OpenNext();
    void ReadQuickLaunchFile(const std::string& path);
    void OpenQuickLaunchForm(const std::optional<QuickLaunch::Form>& form);
    void OpenLink(const std::string& link);
    void AskPassword(Message open, const std::string& user, const std::string& host);
    void ShowAbout();
    void ShowManual();

    std::unique_ptr<XFerWin> transferList_;
    QPointer<TalismanWindow> main_;
    QPointer<QSplashScreen> splash_;
    std::vector<FTPWindow*> sessions_;
    // Every session window made, until it is deleted: the program ends only once they are gone.
    std::vector<QPointer<FTPWindow>> alive_;
    bool showOnReady_ = true;
    bool quitting_ = false;
    // Files and links still to open, in the order given; a file is read on a worker, since a
    // FIFO or a hung mount under its name must not hold up the program.
    std::deque<std::string> toOpen_;
    bool reading_ = false;
    ThreadSet readers_;
};
