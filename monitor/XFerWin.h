#pragma once

#include <QRect>
#include <QWidget>

#include <string>
#include <vector>

#include "MessageHandler.h"

class MultiListDriver;
class QMenuBar;
class QTimer;
class TransferInfo;

// "Transfer status": every transfer that runs on a second connection, one row each, with its
// server, operation, file, bytes done and in all, percentage and speed, refreshed twice a
// second. It shows itself with its first row and hides with its last; its menu stops the
// selected transfers.
class XFerWin : public QWidget, public MessageHandler {
    Q_OBJECT

public:
    static constexpr std::uint32_t kStopSelected = 1;
    static constexpr const char* kTitles[] = {"Server", "Operation", "File", "Status",
                                              "Total",  "Percent",   "Speed"};
    enum Column { kServer, kOperation, kFile, kStatus, kTotal, kPercent, kSpeed, kColumns };

    XFerWin(const QRect& frame, const std::string& title);
    ~XFerWin() override;

    // Both may be called from any thread; they run on the window's. The caller keeps the
    // transfer alive until RemoveEntry has returned; removing one that the menu stopped and
    // removed already does nothing.
    void AddEntry(TransferInfo* command, bool stoppable);
    void RemoveEntry(TransferInfo* command);

    // One pass of the half-second refresh.
    void Refresh();
    MultiListDriver* List() const { return list_; }

    void MessageReceived(const Message& message) override;

private:
    // One row's transfer, whether the menu may stop it, and its byte count at the last pass.
    struct Row {
        TransferInfo* command;
        bool stoppable;
        long long lastDone;
    };

    void Add(TransferInfo* command, bool stoppable);
    void Remove(TransferInfo* command);
    void StopSelected();
    void Show(int row, int column, const std::string& text);
    void CountRows();

    QMenuBar* menuBar_;
    MultiListDriver* list_;
    QTimer* refresh_;
    std::vector<Row> rows_;
};
