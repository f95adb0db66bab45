#include "LogWindow.h"

#include <QCloseEvent>
#include <QListView>
#include <QMenuBar>
#include <QVBoxLayout>

#include "BatchedList.h"
#include "EntryListModel.h"
#include "LinesFile.h"

namespace {

const QColor kLineColour(150, 0, 0);
constexpr QSize kMinimumSize(351, 101);
constexpr QSize kMaximumSize(451, 1501);
constexpr auto kBatchDelay = std::chrono::milliseconds(20);

}  // namespace

LogWindow::LogWindow(const std::string& title, MessageHandler* owner)
    : QWidget(owner != nullptr ? owner->Widget() : nullptr, Qt::Tool),
      MessageHandler(this),
      owner_(owner),
      menuBar_(new QMenuBar(this)),
      list_(new QListView(this)),
      lines_(new EntryListModel(this)),
      feed_(new BatchedList(list_, lines_, kBatchDelay)) {
    setObjectName(QStringLiteral("LogWindow"));
    setWindowTitle(QString::fromStdString(title));
    setMinimumSize(kMinimumSize);
    setMaximumSize(kMaximumSize);
    BuildMenu();

    list_->setObjectName(QStringLiteral("listeREPFILE"));
    list_->setAccessibleName(tr("FTP log"));
    list_->setAccessibleDescription(tr("The commands sent to the host and its replies"));
    list_->setModel(lines_);
    list_->setSelectionMode(QAbstractItemView::SingleSelection);
    list_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    // Every line is one text row: the view need not measure each of them.
    list_->setUniformItemSizes(true);
    QPalette colours = list_->palette();
    colours.setColor(QPalette::Text, kLineColour);
    list_->setPalette(colours);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->setMenuBar(menuBar_);
    layout->addWidget(list_);
}

LogWindow::~LogWindow() = default;

void LogWindow::BuildMenu() {
    menuBar_->setObjectName(QStringLiteral("menuLOG"));
    QMenu* log = menuBar_->addMenu(QStringLiteral("&Log"));
    QAction* save = log->addAction(QStringLiteral("&Save..."));
    connect(save, &QAction::triggered, this, [this] { PostMessage(Message(kSaveLog)); });
    QAction* clear = log->addAction(QStringLiteral("&Clear log"));
    clear->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_L));
    connect(clear, &QAction::triggered, this, [this] { PostMessage(Message(kClearLog)); });
    log->addSeparator();
    // No Ctrl+W: this tool window also hears its session's shortcuts, and there Ctrl+W logs out.
    QAction* close = log->addAction(QStringLiteral("Cl&ose"));
    connect(close, &QAction::triggered, this, &QWidget::close);
}

void LogWindow::AddLine(const std::string& line) {
    feed_->Add(EntryStringItem{line, EntryStringItem::File, {}, 0});
}

void LogWindow::AddSent(const std::string& line) {
    feed_->Add(EntryStringItem{line, EntryStringItem::File, {}, kSentColour});
}

void LogWindow::AddLine(const char* line) {
    if (line != nullptr) {
        AddLine(std::string(line));
    }
}

int LogWindow::LineCount() const {
    return lines_->rowCount();
}

std::string LogWindow::LineAt(int row) const {
    return lines_->At(row).text;
}

std::vector<std::string> LogWindow::Lines() const {
    std::vector<std::string> lines;
    for (int row = 0; row < LineCount(); ++row) {
        lines.push_back(LineAt(row));
    }
    return lines;
}

void LogWindow::MessageReceived(const Message& message) {
    if (message.what == kClearLog) {
        // Lines still on their way were added before the user asked: they go too.
        feed_->Clear();
    } else if (message.what == kSaveLog) {
        feed_->Flush();
        LinesFile::AskAndSave(this, "ftp-log.txt", Lines());
    }
}

void LogWindow::closeEvent(QCloseEvent* event) {
    if (quitAllowed_) {
        event->accept();
        return;
    }
    event->ignore();
    if (!isVisible()) {
        return;
    }
    if (owner_ != nullptr) {
        owner_->PostMessage(Message(kToggleLog));
    } else {
        hide();
    }
}
