#include "LPBListView.h"

#include <QKeyEvent>

#include "EntryItemDelegate.h"
#include "EntryListModel.h"
#include "StringHelpers.h"

LPBListView::LPBListView(const QString& name, bool multipleSelection, QWidget* parent)
    : QListView(parent), model_(new EntryListModel(this)) {
    setObjectName(name);
    setModel(model_);
    setItemDelegate(new EntryItemDelegate(this));
    setUniformItemSizes(true);  // thousands of rows lay out in no time
    setIconSize(QSize(16, 16));
    setSelectionMode(multipleSelection ? ExtendedSelection : SingleSelection);
    setEditTriggers(NoEditTriggers);
    connect(this, &QListView::activated, this, [this] { emit Invoked(); });
}

void LPBListView::SetItems(std::vector<EntryStringItem> items) {
    model_->SetItems(std::move(items));
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
    for (int row = 0; row < model_->rowCount(); ++row) {
        if (selectionModel()->isRowSelected(row, QModelIndex())) {
            return model_->At(row).text;
        }
    }
    return std::nullopt;
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
    QString text = event->text();
    bool arrow = event->key() >= Qt::Key_Left && event->key() <= Qt::Key_Down;
    bool typed = text.size() == 1 && text[0].unicode() > ' ' && text[0].unicode() < 127 &&
                 (event->modifiers() & (Qt::ControlModifier | Qt::AltModifier)) == 0;
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
