#include "LPBListView.h"

#include <QAbstractButton>
#include <QApplication>
#include <QContextMenuEvent>
#include <QDrag>
#include <QKeyEvent>
#include <QMenu>
#include <QMimeData>

#include "EntryItemDelegate.h"
#include "EntryListModel.h"
#include "StringHelpers.h"

namespace {

// Known only to this program: a drop from elsewhere never carries it.
const QString kPaneMime = QStringLiteral("application/x-tarvik-pane-side");

}  // namespace

LPBListView::LPBListView(const QString& name, bool multipleSelection, QWidget* parent)
    : QListView(parent), model_(new EntryListModel(this)) {
    setObjectName(name);
    setModel(model_);
    setItemDelegate(new EntryItemDelegate(this));
    setUniformItemSizes(true);  // thousands of rows lay out in no time
    setIconSize(QSize(16, 16));
    setSelectionMode(multipleSelection ? ExtendedSelection : SingleSelection);
    setEditTriggers(NoEditTriggers);
    connect(this, &QListView::activated, this, [this](const QModelIndex& index) {
        // Enter acts on the current entry, which the commands read as the selection.
        if (!selectionModel()->isSelected(index)) {
            selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
        }
        emit Invoked();
    });
}

void LPBListView::SetItems(std::vector<EntryStringItem> items) {
    model_->SetItems(std::move(items));
    StartAtTheTop();
}

void LPBListView::SetShared(EntryListModel::Shared items) {
    model_->SetShared(std::move(items));
    StartAtTheTop();
}

// The arrow keys start from the top at once; selecting nothing keeps every command asking.
void LPBListView::StartAtTheTop() {
    if (model_->rowCount() > 0) {
        selectionModel()->setCurrentIndex(model_->index(0), QItemSelectionModel::NoUpdate);
    }
}

const std::vector<EntryStringItem>& LPBListView::Items() const {
    return model_->Items();
}

std::vector<std::string> LPBListView::SelectedTexts() const {
    std::vector<std::string> texts;
    for (int row = 0; row < model_->rowCount(); ++row) {
        if (selectionModel()->isRowSelected(row, QModelIndex())) {
            texts.push_back(model_->At(row).text);
        }
    }
    return texts;
}

std::optional<std::string> LPBListView::FirstSelected() const {
    const EntryStringItem* item = FirstSelectedItem();
    return item != nullptr ? std::optional<std::string>(item->text) : std::nullopt;
}

const EntryStringItem* LPBListView::FirstSelectedItem() const {
    for (int row = 0; row < model_->rowCount(); ++row) {
        if (selectionModel()->isRowSelected(row, QModelIndex())) {
            return &model_->At(row);
        }
    }
    return nullptr;
}

void LPBListView::SelectAll() {
    if (selectionMode() == SingleSelection) {
        return;
    }
    selectAll();
}

void LPBListView::UnSelectAll() {
    clearSelection();
}

bool LPBListView::SelectText(const std::string& text) {
    for (int row = 0; row < model_->rowCount(); ++row) {
        if (model_->At(row).text == text) {
            selectionModel()->select(model_->index(row), QItemSelectionModel::Select);
            return true;
        }
    }
    return false;
}

void LPBListView::keyPressEvent(QKeyEvent* event) {
    const Qt::KeyboardModifiers modifiers = event->modifiers() & ~Qt::KeypadModifier;
    if ((event->key() == Qt::Key_Backspace && modifiers == Qt::NoModifier) ||
        (event->key() == Qt::Key_Up && modifiers == Qt::AltModifier)) {
        emit UpRequested();
        return;
    }
    QString text = event->text();
    bool arrow = event->key() >= Qt::Key_Left && event->key() <= Qt::Key_Down;
    bool typed = text.size() == 1 && text[0].unicode() > ' ' && text[0].unicode() < 127 &&
                 (modifiers & (Qt::ControlModifier | Qt::AltModifier)) == 0;
    if (arrow || !typed) {
        QListView::keyPressEvent(event);
        return;
    }
    TypeAhead(static_cast<char>(text[0].unicode()));
}

void LPBListView::TypeAhead(char key) {
    int start = 0;
    if (key != lastKey_) {
        clearSelection();
        lastKey_ = key;
    } else {
        int first = model_->rowCount();
        for (const QModelIndex& index : selectionModel()->selectedRows()) {
            first = std::min(first, index.row());
        }
        start = first < model_->rowCount() ? first : 0;
    }
    char wanted = MyUpper(key);
    int chosen = -1;
    for (int row = start; row < model_->rowCount(); ++row) {
        const std::string& name = model_->At(row).text;
        if (name.empty() || MyUpper(name[0]) != wanted) {
            continue;
        }
        if (selectionModel()->isRowSelected(row, QModelIndex())) {
            selectionModel()->select(model_->index(row), QItemSelectionModel::Deselect);
            continue;
        }
        chosen = row;
        break;
    }
    if (chosen < 0) {
        return;
    }
    // The entry found becomes the only selection and comes into view.
    QModelIndex index = model_->index(chosen);
    selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
    scrollTo(index);
}

// ---- Context menu ----

void LPBListView::contextMenuEvent(QContextMenuEvent* event) {
    if (commands_.empty()) {
        event->ignore();
        return;
    }
    const bool byMouse = event->reason() == QContextMenuEvent::Mouse;
    const QModelIndex index = byMouse ? indexAt(event->pos()) : currentIndex();
    // The menu acts on what was clicked, as the desktop's file managers do.
    if (index.isValid() && !selectionModel()->isSelected(index)) {
        selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
    }
    const bool selected = selectionModel()->hasSelection();
    QMenu menu(this);
    for (const Command& command : commands_) {
        if (command.button == nullptr) {
            menu.addSeparator();
            continue;
        }
        QAction* action = menu.addAction(command.label);
        action->setEnabled(command.button->isEnabled() && (selected || !command.needsSelection));
        connect(action, &QAction::triggered, command.button, &QAbstractButton::click);
    }
    const QPoint where = byMouse || !index.isValid()
                             ? event->globalPos()
                             : viewport()->mapToGlobal(visualRect(index).center());
    menu.exec(where);
}

// ---- Drags between the sides ----

void LPBListView::SetDropHandler(std::function<void(const LPBListView& source)> dropped) {
    dropped_ = std::move(dropped);
    setAcceptDrops(true);
    viewport()->setAcceptDrops(true);
}

std::unique_ptr<QMimeData> LPBListView::DragData() const {
    auto data = std::make_unique<QMimeData>();
    data->setData(kPaneMime, side_.toUtf8());
    return data;
}

const LPBListView* LPBListView::DropSource(const QMimeData& data, const QObject* source) const {
    const auto* list = qobject_cast<const LPBListView*>(source);
    if (!dropped_ || list == nullptr || list->window() != window() || list->side_.isEmpty() ||
        list->side_ == side_ || data.data(kPaneMime) != list->side_.toUtf8()) {
        return nullptr;
    }
    return list;
}

bool LPBListView::TakeDrop(const QMimeData& data, const QObject* source) {
    const LPBListView* list = DropSource(data, source);
    if (list == nullptr) {
        return false;
    }
    dropped_(*list);
    return true;
}

void LPBListView::mousePressEvent(QMouseEvent* event) {
    QListView::mousePressEvent(event);
    dragStart_.reset();
    const QPoint point = event->position().toPoint();
    const QModelIndex index = indexAt(point);
    if (event->button() == Qt::LeftButton && !side_.isEmpty() && index.isValid() &&
        selectionModel()->isSelected(index)) {
        dragStart_ = point;
    }
}

void LPBListView::mouseMoveEvent(QMouseEvent* event) {
    if (!dragStart_ || !(event->buttons() & Qt::LeftButton)) {
        QListView::mouseMoveEvent(event);
        return;
    }
    // The view would select by dragging over the entries: the whole selection moves instead.
    if ((event->position().toPoint() - *dragStart_).manhattanLength() <
        QApplication::startDragDistance()) {
        return;
    }
    dragStart_.reset();
    auto* drag = new QDrag(this);  // the drag manager deletes it once it ends
    drag->setMimeData(DragData().release());
    drag->exec(Qt::CopyAction);
    setState(NoState);
}

void LPBListView::mouseReleaseEvent(QMouseEvent* event) {
    dragStart_.reset();
    QListView::mouseReleaseEvent(event);
}

void LPBListView::dragEnterEvent(QDragEnterEvent* event) {
    if (DropSource(*event->mimeData(), event->source()) != nullptr) {
        event->acceptProposedAction();
    } else {
        event->ignore();  // the window takes the desktop's files
    }
}

void LPBListView::dragMoveEvent(QDragMoveEvent* event) {
    if (DropSource(*event->mimeData(), event->source()) != nullptr) {
        event->acceptProposedAction();
    } else {
        event->ignore();
    }
}

void LPBListView::dropEvent(QDropEvent* event) {
    if (TakeDrop(*event->mimeData(), event->source())) {
        event->acceptProposedAction();
    } else {
        event->ignore();
    }
}
