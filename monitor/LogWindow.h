#pragma once

#include <QWidget>

#include <string>

#include "EntryStringItem.h"
#include "LogMonitor.h"
#include "MessageHandler.h"

class BatchedList;
class EntryListModel;
class QListView;
class QMenuBar;

// The FTP dialogue of a session, line by line, in a window that floats above its owner. Closing
// it only hides it: the owner is told with 43 and hides it (and unticks the status window's Log
// window box); it really goes when its owner deletes it. AddLine may be called from any thread;
// lines arrive on screen in batches, the newest one selected and in view.
class LogWindow : public QWidget, public MessageHandler, public LogMonitor {
    Q_OBJECT

public:
    static constexpr std::uint32_t kClearLog = 1;
    static constexpr std::uint32_t kSaveLog = 2;
    // The colour of the commands sent, 0xRRGGBBAA; the replies keep the list's own.
    static constexpr std::uint32_t kSentColour = 0x0050B4FF;
    static constexpr std::uint32_t kToggleLog = 43;

    // Created hidden; the owner's window, if any, owns it and is the one it floats above.
    LogWindow(const std::string& title, MessageHandler* owner);
    ~LogWindow() override;

    void AddLine(const std::string& line) override;
    // A command sent to the server: shown in a colour of its own.
    void AddSent(const std::string& line) override;
    // Null adds nothing.
    void AddLine(const char* line);
    // Lets a close really close the window, for an owner that is going away.
    void SetQuitAllowed(bool allowed) { quitAllowed_ = allowed; }

    // Lines shown, not counting those still on their way.
    int LineCount() const;
    std::string LineAt(int row) const;
    // Every line shown, oldest first.
    std::vector<std::string> Lines() const;
    QListView* List() const { return list_; }

    void MessageReceived(const Message& message) override;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void BuildMenu();

    MessageHandler* owner_;
    QMenuBar* menuBar_;
    QListView* list_;
    EntryListModel* lines_;
    BatchedList* feed_;
    bool quitAllowed_ = false;
};
