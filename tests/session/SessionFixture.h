#pragma once
// What the session window tests share: a window on a server with the transfer list beside it,
// and whole-tree comparison.
#include <QPointer>

#include <chrono>
#include <filesystem>
#include <map>
#include <random>
#include <string>

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

inline std::string RandomBytes(std::size_t size, unsigned seed) {
    std::mt19937 generator(seed);
    std::string bytes(size, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(generator());
    }
    return bytes;
}

// Every folder and file below `root`, with the files' contents: two trees compare as wholes.
inline std::map<std::string, std::string> TreeOf(const fs::path& root) {
    std::map<std::string, std::string> tree;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        std::string name = fs::relative(entry.path(), root).string();
        tree[name] = entry.is_directory() ? "<folder>" : TempDir::Read(entry.path());
    }
    return tree;
}

// A session window on a server, with the application's transfer list beside it.
class SessionFixture {
protected:
    QPointer<FTPWindow> Open(const TestServer& server, int passive, const std::string& start) {
        window_ = new FTPWindow(QRect(60, 60, 460, 525), "Tarvik Transfer  Host: test ",
                                "127.0.0.1", server.User(), server.Password(), "", "", 0,
                                44000 + static_cast<int>(getpid() % 10000), passive, &application);
        window_->SetTransferList(&transfers);
        FTPWindow::LogOn logOn;
        logOn.port = server.PortText();
        logOn.localDirectory = local.Path().string();
        logOn.startPath = start;
        window_->Init(logOn);
        window_->show();
        EXPECT_TRUE(WaitUntil([&] { return !window_->IsLoggingOn() && !window_->IsBusy(); }, 10s));
        return window_;
    }
    // Posts a command and waits until the window is free again.
    void Issue(Message message, std::chrono::seconds limit = 30s) {
        window_->PostMessage(std::move(message));
        Settle(30ms);
        ASSERT_TRUE(WaitUntil([&] { return !window_->IsBusy(); }, limit));
        Settle(30ms);
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
