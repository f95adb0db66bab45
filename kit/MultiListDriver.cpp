#include "MultiListDriver.h"

#include <QHeaderView>
#include <QLabel>
#include <QStyledItemDelegate>
#include <QTreeView>
#include <QVBoxLayout>

#include <algorithm>

#include "MultiListModel.h"

namespace {

// Each column elides its texts its own way.
class ColumnDelegate : public QStyledItemDelegate {
public:
    ColumnDelegate(const MultiListModel* model, QObject* parent)
        : QStyledItemDelegate(parent), model_(model) {}

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override {
        QStyledItemDelegate::initStyleOption(option, index);
        option->textElideMode = model_->GetTruncMode(index.column());
    }

private:
    const MultiListModel* model_;
};

}  // namespace

MultiListDriver::MultiListDriver(int columns, QWidget* parent)
    : QWidget(parent),
      model_(new MultiListModel(columns, this)),
      view_(new QTreeView(this)),
      status_(new QLabel(this)) {
    view_->setObjectName(QStringLiteral("list"));
    view_->setModel(model_);
    view_->setItemDelegate(new ColumnDelegate(model_, view_));
    view_->setRootIsDecorated(false);
    view_->setUniformRowHeights(true);
    view_->setAllColumnsShowFocus(true);
    view_->setSelectionBehavior(QAbstractItemView::SelectRows);
    view_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    view_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    titles_ = view_->header();
    titles_->setSectionResizeMode(QHeaderView::Interactive);
    // Every separator, the last one too, stays where it was put.
    titles_->setStretchLastSection(false);
    titles_->setSectionsMovable(false);
    titles_->setSectionsClickable(true);
    connect(titles_, &QHeaderView::sectionClicked, this, &MultiListDriver::TitleClicked);

    // Texts of the program's own, set as plain text: a row's texts may come from a server.
    status_->setTextFormat(Qt::PlainText);
    status_->setObjectName(QStringLiteral("status"));
    status_->setFrameStyle(QFrame::Panel | QFrame::Sunken);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(view_);
    layout->addWidget(status_, 0, Qt::AlignLeft);
}

void MultiListDriver::SetTitle(const std::string& title, int column) {
    model_->SetTitle(title, column);
}

int MultiListDriver::ColumnOf(const char* title) const {
    return model_->ColumnOf(title);
}

const char* MultiListDriver::Text(int row, int column) const {
    return model_->Text(row, column);
}

const char* MultiListDriver::Text(const char* title, int row) const {
    int column = ColumnOf(title);
    return column < 0 ? nullptr : Text(row, column);
}

void MultiListDriver::SetText(const char* text, int row, int column) {
    model_->SetText(text, row, column);
}

void MultiListDriver::DrawText(int row, int column) {
    model_->DrawText(row, column);
}

void MultiListDriver::AddItem(MultiListItem item, int index) {
    model_->AddItem(std::move(item), index);
}

void MultiListDriver::RemoveItem(int index) {
    model_->RemoveItem(index);
}

void MultiListDriver::MakeEmpty() {
    model_->MakeEmpty();
}

int MultiListDriver::CountItems() const {
    return model_->CountItems();
}

void MultiListDriver::Select(int row, bool extend) {
    auto flags = (extend ? QItemSelectionModel::Select : QItemSelectionModel::ClearAndSelect) |
                 QItemSelectionModel::Rows;
    view_->selectionModel()->select(model_->index(row, 0), flags);
}

bool MultiListDriver::IsItemSelected(int row) const {
    return view_->selectionModel()->isRowSelected(row, QModelIndex());
}

int MultiListDriver::CurrentSelection() const {
    for (int row = 0; row < CountItems(); ++row) {
        if (IsItemSelected(row)) {
            return row;
        }
    }
    return -1;
}

void MultiListDriver::DeselectAll() {
    view_->clearSelection();
}

void MultiListDriver::ActivateSort(bool active) {
    model_->ActivateSort(active);
    ShowSortMark();
}

bool MultiListDriver::IsSortActivated() const {
    return model_->IsSortActivated();
}

void MultiListDriver::SortOn(int column) {
    model_->SortOn(column);
    ShowSortMark();
}

void MultiListDriver::SetSortUp(bool up) {
    model_->SetSortUp(up);
    ShowSortMark();
}

void MultiListDriver::InverseSort() {
    model_->InverseSort();
    ShowSortMark();
}

int MultiListDriver::GetSort() const {
    return model_->GetSort();
}

void MultiListDriver::SortIt() {
    model_->SortIt();
}

void MultiListDriver::ShowSortMark() {
    titles_->setSortIndicatorShown(model_->IsSortActivated());
    titles_->setSortIndicator(model_->GetSort(),
                              model_->IsSortUp() ? Qt::AscendingOrder : Qt::DescendingOrder);
}

void MultiListDriver::TitleClicked(int column) {
    if (!model_->IsSortActivated()) {
        return;
    }
    if (column == model_->GetSort()) {
        InverseSort();
    } else {
        SortOn(column);
    }
}

int MultiListDriver::GetSeparatorPlace(int column) const {
    if (model_->columnCount() == 1) {
        return view_->viewport()->width();
    }
    if (column < 0 || column >= model_->columnCount()) {
        return 0;
    }
    return titles_->sectionPosition(column) + titles_->sectionSize(column);
}

void MultiListDriver::SetSeparatorPlace(int column, int x) {
    if (column >= 0 && column < model_->columnCount()) {
        titles_->resizeSection(column, std::max(0, x - titles_->sectionPosition(column)));
    }
}

void MultiListDriver::MoveSeparator(int column, int delta) {
    if (column >= 0 && column < model_->columnCount()) {
        titles_->resizeSection(column, std::max(0, titles_->sectionSize(column) + delta));
    }
}

void MultiListDriver::Exchange(int a, int b) {
    model_->Exchange(a, b);
}

void MultiListDriver::SetTruncMode(int column, Qt::TextElideMode mode) {
    model_->SetTruncMode(column, mode);
    view_->viewport()->update();
}

Qt::TextElideMode MultiListDriver::GetTruncMode(int column) const {
    return model_->GetTruncMode(column);
}

void MultiListDriver::SetAlignment(int column, Qt::Alignment alignment) {
    model_->SetAlignment(column, alignment);
}

Qt::Alignment MultiListDriver::GetAlignment(int column) const {
    return model_->GetAlignment(column);
}

void MultiListDriver::SetTabColor(const QColor& colour) {
    titles_->setStyleSheet(
        QStringLiteral("QHeaderView::section { background: %1; }").arg(colour.name()));
}

void MultiListDriver::SetListColor(const QColor& colour) {
    QPalette palette = view_->palette();
    palette.setColor(QPalette::Base, colour);
    view_->setPalette(palette);
}

void MultiListDriver::SetStatusText(const std::string& text) {
    status_->setText(QString::fromStdString(text));
}

std::string MultiListDriver::StatusText() const {
    return status_->text().toStdString();
}
