#include "DirWindow.h"

#include <QCloseEvent>
#include <QMenuBar>
#include <QVBoxLayout>

#include "BatchedList.h"
#include "EntryListModel.h"
#include "LPBListView.h"
#include "LinesFile.h"

namespace {
constexpr std::chrono::milliseconds kBatch(50);
}

DirWindow::DirWindow(MessageHandler* owner)
    : QWidget(owner != nullptr ? owner->Widget() : nullptr, Qt::Window),
      MessageHandler(this),
      owner_(owner),
      list_(new LPBListView("listeREPFILE", false, this)),
      feed_(new BatchedList(list_, list_->Model(), kBatch)) {
    setWindowTitle(tr("Full Listing"));
    resize(650, 450);
    auto* menuBar = new QMenuBar(this);
    menuBar->setObjectName("menuDIR");
    QMenu* menu = menuBar->addMenu(tr("&Directory"));
    QAction* save = menu->addAction(tr("&Save..."));
    connect(save, &QAction::triggered, this, [this] {
        std::vector<std::string> lines;
        for (const EntryStringItem& line : Lines()) {
            lines.push_back(line.text);  // the server's bytes as they came
        }
        LinesFile::AskAndSave(this, "full-listing.txt", lines);
    });
    QAction* close = menu->addAction(tr("&Close"));
    close->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_W));
    connect(close, &QAction::triggered, this, [this] { this->close(); });
    list_->setFont(QFont("Monospace"));
    list_->setAccessibleName(tr("Full listing"));
    list_->setAccessibleDescription(
        tr("The lines of the last host listing, as the host sent them"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setMenuBar(menuBar);
    layout->addWidget(list_);
}

void DirWindow::Clear() {
    feed_->ClearSoon();
}

void DirWindow::AddLine(const EntryStringItem& line) {
    if (receiving_) {
        feed_->Add(line);
    }
}

void DirWindow::ShowLast() {
    // Every batch ends on its newest line.
}

void DirWindow::SetLines(std::vector<EntryStringItem> lines) {
    feed_->Clear();
    list_->SetItems(std::move(lines));
}

std::vector<EntryStringItem> DirWindow::Lines() {
    feed_->Flush();
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
