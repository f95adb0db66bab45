#include "XFerWin.h"

#include <QMenuBar>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>

#include "Alert.h"
#include "CrossThread.h"
#include "MultiListDriver.h"
#include "TransferInfo.h"
#include "TransferRowTexts.h"

namespace {

constexpr auto kRefreshPeriod = std::chrono::milliseconds(500);
const QColor kTitleColour(150, 200, 200);
const QColor kBodyColour(230, 230, 230);
constexpr QSize kMinimumSize(400, 80);
constexpr QSize kMaximumSize(1500, 1500);
constexpr const char* kUnknown = "...";
// Widths that show a host name, a file name and a count of gigabytes whole; the user drags the
// separators from there.
constexpr int kColumnWidths[] = {130, 90, 170, 95, 105, 60, 100};

}  // namespace

XFerWin::XFerWin(const QRect& frame, const std::string& title)
    // A document window without a close box: it comes and goes with its rows.
    : QWidget(nullptr, Qt::Window | Qt::WindowTitleHint | Qt::WindowMinMaxButtonsHint |
                           Qt::CustomizeWindowHint),
      MessageHandler(this),
      menuBar_(new QMenuBar(this)),
      list_(new MultiListDriver(kColumns, this)),
      refresh_(new QTimer(this)) {
    setObjectName(QStringLiteral("XFerWin"));
    setWindowTitle(QString::fromStdString(title));
    setGeometry(frame);
    setMinimumSize(kMinimumSize);
    setMaximumSize(kMaximumSize);

    menuBar_->setObjectName(QStringLiteral("menuXfer"));
    QMenu* session = menuBar_->addMenu(QStringLiteral("&Session"));
    QAction* stop = session->addAction(QStringLiteral("&Stop selected session"));
    stop->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_S));
    connect(stop, &QAction::triggered, this, [this] { PostMessage(Message(kStopSelected)); });

    int separator = 0;
    for (int column = 0; column < kColumns; ++column) {
        list_->SetTitle(kTitles[column], column);
        separator += kColumnWidths[column];
        list_->SetSeparatorPlace(column, separator);
        // Names read best from their start, numbers from their end.
        if (column >= kStatus) {
            list_->SetAlignment(column, Qt::AlignRight | Qt::AlignVCenter);
        }
    }
    list_->SetTruncMode(kFile, Qt::ElideMiddle);
    list_->SetTabColor(kTitleColour);
    list_->SetListColor(kBodyColour);
    list_->SetStatusText(TransferRowTexts::Count(0));
    list_->setAccessibleName(QStringLiteral("Transfers"));
    list_->setAccessibleDescription(QStringLiteral(
        "One row per transfer on a second connection: server, operation, file, status, total, "
        "percentage and speed"));

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->setMenuBar(menuBar_);
    layout->addWidget(list_);

    connect(refresh_, &QTimer::timeout, this, &XFerWin::Refresh);
    refresh_->start(kRefreshPeriod);
}

XFerWin::~XFerWin() = default;

void XFerWin::AddEntry(TransferInfo* command, bool stoppable) {
    Call(this, [this, command, stoppable] { Add(command, stoppable); });
}

void XFerWin::RemoveEntry(TransferInfo* command) {
    Call(this, [this, command] { Remove(command); });
}

void XFerWin::Add(TransferInfo* command, bool stoppable) {
    if (command == nullptr) {
        return;
    }
    rows_.push_back({command, stoppable, 0});
    MultiListItem item(kColumns);
    for (int column = 0; column < kColumns; ++column) {
        item.SetText(kUnknown, column);
    }
    list_->AddItem(std::move(item));
    CountRows();
    if (isHidden()) {
        show();
    }
}

void XFerWin::Remove(TransferInfo* command) {
    auto found = std::find_if(rows_.begin(), rows_.end(),
                              [command](const Row& row) { return row.command == command; });
    if (found == rows_.end()) {
        return;  // stopped and removed from the menu already
    }
    list_->RemoveItem(static_cast<int>(found - rows_.begin()));
    rows_.erase(found);
    CountRows();
    if (rows_.empty()) {
        hide();
    }
}

void XFerWin::CountRows() {
    list_->SetStatusText(TransferRowTexts::Count(static_cast<int>(rows_.size())));
}

void XFerWin::MessageReceived(const Message& message) {
    if (message.what == kStopSelected) {
        StopSelected();
    }
}

// Every selected transfer that may be stopped leaves the list and is stopped; its own thread
// then ends it and finds its row gone.
void XFerWin::StopSelected() {
    std::vector<TransferInfo*> chosen;
    for (std::size_t row = 0; row < rows_.size(); ++row) {
        if (rows_[row].stoppable && list_->IsItemSelected(static_cast<int>(row))) {
            chosen.push_back(rows_[row].command);
        }
    }
    for (TransferInfo* command : chosen) {
        Remove(command);
        command->STOP();
    }
    if (chosen.empty()) {
        Alert::Go("Nothing to stop, please select a list entry.", {"OK"}, AlertKind::Info);
    }
}

void XFerWin::Show(int row, int column, const std::string& text) {
    const char* shown = list_->Text(row, column);
    if (shown == nullptr || text != shown) {
        list_->SetText(text.c_str(), row, column);
        list_->DrawText(row, column);
    }
}

// Reads each transfer's texts (copied under its lock) and counters (atomics), and rewrites only
// the cells whose text changed.
void XFerWin::Refresh() {
    for (std::size_t index = 0; index < rows_.size(); ++index) {
        Row& row = rows_[index];
        int at = static_cast<int>(index);
        Show(at, kServer, row.command->HostText());
        Show(at, kOperation, row.command->OperationText());
        Show(at, kFile, row.command->FileText());
        long long done = row.command->TransferDone();
        long long total = row.command->TransferTotal();
        if (auto status = TransferRowTexts::Bytes(done)) {
            Show(at, kStatus, *status);
        }
        if (auto all = TransferRowTexts::Bytes(total)) {
            Show(at, kTotal, *all);
            Show(at, kPercent, *TransferRowTexts::Percent(done, total));
        }
        Show(at, kSpeed, TransferRowTexts::Speed(done - row.lastDone));
        row.lastDone = done;
    }
}
