#pragma once
// What the session window tests share: a window on a server with the transfer list beside it,
// and whole-tree comparison.
#include <QPointer>

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

#include "Alert.h"
#include "FTPWindow.h"
#include "GuiWait.h"
#include "RecordingWindow.h"
#include "ScriptedAlerts.h"
#include "TempDir.h"
#include "TestServer.h"
#include "XFerWin.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// Every folder and file below `root`, with the files' contents: two trees compare as wholes.
inline std::map<std::string, std::string> TreeOf(const fs::path& root) {
    std::map<std::string, std::string> tree;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        std::string name = fs::relative(entry.path(), root).string();
        tree[name] = entry.is_directory() ? "<folder>" : TempDir::Read(entry.path());
    }
    return tree;
}

// Session windows on a server, with the application's transfer list beside them; engine alerts
// reach the scripted answers too. The window still open at the end logs out.
class SessionFixture : public ::testing::Test {
protected:
    SessionFixture() { Alert::InstallEngineHook(); }
    void TearDown() override { Close(); }
    // A window of user on 127.0.0.1, starting to log on as logOn says; its local pane shows the
    // test's folder unless logOn names another.
    QPointer<FTPWindow> Start(FTPWindow::LogOn logOn, const std::string& user,
                              const std::string& password, int passive = 1) {
        window_ = new FTPWindow(QRect(60, 60, 460, 525), "Tarvik Transfer  Host: test ",
                                "127.0.0.1", user, password, "", "", 0,
                                44000 + static_cast<int>(getpid() % 10000), passive, &application);
        window_->SetTransferList(&transfers);
        logOn.localDirectory = logOn.localDirectory.value_or(local.Path().string());
        window_->Init(std::move(logOn));
        window_->show();
        return window_;
    }
    bool Idle() const { return !window_->IsLoggingOn() && !window_->IsBusy(); }
    // A window logged on to server, both panes filled.
    QPointer<FTPWindow> Open(const TestServer& server, int passive = 1,
                             std::optional<std::string> start = std::nullopt,
                             std::optional<std::string> localDirectory = std::nullopt) {
        FTPWindow::LogOn logOn;
        logOn.port = server.PortText();
        logOn.startPath = std::move(start);
        logOn.localDirectory = std::move(localDirectory);
        Start(std::move(logOn), server.User(), server.Password(), passive);
        EXPECT_TRUE(WaitUntil([&] { return Idle(); }, 10s));
        return window_;
    }
    // Posts a command and waits until the window is free again.
    void Issue(Message message, std::chrono::seconds limit = 30s) {
        window_->PostMessage(std::move(message));
        Settle(30ms);
        ASSERT_TRUE(WaitUntil([&] { return !window_->IsBusy(); }, limit));
        Settle(30ms);
    }
    static Message ChangeHost(const std::string& path) {
        return Message(FTPWindow::kChangeHost).AddString("prompt", path);
    }
    void Close() {
        if (window_) {
            window_->PostMessage(Message(FTPWindow::kQuickLogout));
            EXPECT_TRUE(WaitUntil([&] { return window_.isNull(); }, 10s));
        }
    }

    ScriptedAlerts alerts;
    RecordingWindow application;
    XFerWin transfers{QRect(40, 40, 760, 140), "Transfer status"};
    TempDir local;
    QPointer<FTPWindow> window_;
};

}  // namespace
