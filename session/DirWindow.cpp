#include "DirWindow.h"

#include <QCloseEvent>
#include <QMenuBar>
#include <QVBoxLayout>

#include "CrossThread.h"
#include "EntryListModel.h"
#include "LPBListView.h"

namespace {
constexpr int kBatchMilliseconds = 50;
}

DirWindow::DirWindow(MessageHandler* owner)
    : QWidget(owner != nullptr ? owner->Widget() : nullptr, Qt::Window),
      MessageHandler(this),
      owner_(owner),
      list_(new LPBListView("listeREPFILE", false, this)) {
    setWindowTitle(tr("Full Listing"));
    resize(650, 450);
    auto* menuBar = new QMenuBar(this);
    menuBar->setObjectName("menuDIR");
    QMenu* menu = menuBar->addMenu(tr("Directory"));
    QAction* close = menu->addAction(tr("Close"));
    close->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_W));
    connect(close, &QAction::triggered, this, [this] { this->close(); });
    list_->setFont(QFont("Monospace"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setMenuBar(menuBar);
    layout->addWidget(list_);
    batch_.setSingleShot(true);
    batch_.setInterval(kBatchMilliseconds);
    connect(&batch_, &QTimer::timeout, this, &DirWindow::ShowPending);
}

void DirWindow::Clear() {
    {
        std::lock_guard lock(pendingMutex_);
        pending_.clear();
        clearPending_ = true;
    }
    ScheduleBatch();
}

void DirWindow::AddLine(const EntryStringItem& line) {
    {
        std::lock_guard lock(pendingMutex_);
        pending_.push_back(line);
    }
    ScheduleBatch();
}

void DirWindow::ShowLast() {
    // Every batch ends on its newest line.
}

void DirWindow::ScheduleBatch() {
    if (!batchScheduled_.exchange(true)) {
        Post(this, [this] { batch_.start(); });
    }
}

void DirWindow::ShowPending() {
    batchScheduled_ = false;
    std::vector<EntryStringItem> lines;
    bool clear = false;
    {
        std::lock_guard lock(pendingMutex_);
        lines.swap(pending_);
        clear = std::exchange(clearPending_, false);
    }
    if (clear) {
        list_->Model()->Clear();
    }
    if (lines.empty()) {
        return;
    }
    list_->Model()->Append(std::move(lines));
    QModelIndex last = list_->Model()->index(list_->Model()->rowCount() - 1);
    list_->selectionModel()->setCurrentIndex(last, QItemSelectionModel::ClearAndSelect);
    list_->scrollTo(last);
}

void DirWindow::SetLines(std::vector<EntryStringItem> lines) {
    {
        std::lock_guard lock(pendingMutex_);
        pending_.clear();
        clearPending_ = false;
    }
    list_->SetItems(std::move(lines));
}

std::vector<EntryStringItem> DirWindow::Lines() {
    ShowPending();
    return list_->Items();
}

void DirWindow::SelectContaining(const std::string& text) {
    list_->clearSelection();
    const auto& lines = list_->Items();
    for (std::size_t row = 0; row < lines.size(); ++row) {
        if (lines[row].text.find(text) != std::string::npos) {
            list_->selectionModel()->select(list_->Model()->index(static_cast<int>(row)),
                                            QItemSelectionModel::Select);
        }
    }
}

void DirWindow::MessageReceived(const Message&) {}

void DirWindow::closeEvent(QCloseEvent* event) {
    if (mayQuit_) {
        event->accept();
        return;
    }
    event->ignore();
    if (isVisible() && owner_ != nullptr) {
        owner_->PostMessage(Message(kToggle));
    }
}
