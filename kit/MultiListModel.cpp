#include "MultiListModel.h"

#include <algorithm>

MultiListModel::MultiListModel(int columns, QObject* parent)
    : QAbstractTableModel(parent),
      columns_(std::max(columns, 0)),
      titles_(static_cast<std::size_t>(columns_)),
      alignments_(static_cast<std::size_t>(columns_), Qt::AlignLeft | Qt::AlignVCenter),
      truncModes_(static_cast<std::size_t>(columns_), Qt::ElideRight) {}

void MultiListModel::SetTitle(const std::string& title, int column) {
    if (IsColumn(column)) {
        titles_[static_cast<std::size_t>(column)] = title;
        emit headerDataChanged(Qt::Horizontal, column, column);
    }
}

int MultiListModel::ColumnOf(const char* title) const {
    if (title == nullptr) {
        return -1;
    }
    auto found = std::find(titles_.begin(), titles_.end(), title);
    return found == titles_.end() ? -1 : static_cast<int>(found - titles_.begin());
}

const char* MultiListModel::Text(int row, int column) const {
    if (row < 0 || row >= CountItems()) {
        return nullptr;
    }
    return rows_[static_cast<std::size_t>(row)].Text(column);
}

void MultiListModel::SetText(const char* text, int row, int column) {
    if (row >= 0 && row < CountItems()) {
        rows_[static_cast<std::size_t>(row)].SetText(text, column);
    }
}

void MultiListModel::DrawText(int row, int column) {
    if (row >= 0 && row < CountItems() && IsColumn(column)) {
        QModelIndex cell = index(row, column);
        emit dataChanged(cell, cell, {Qt::DisplayRole});
    }
}

void MultiListModel::AddItem(MultiListItem item, int index) {
    int at = index < 0 || index > CountItems() ? CountItems() : index;
    beginInsertRows(QModelIndex(), at, at);
    rows_.insert(rows_.begin() + at, std::move(item));
    endInsertRows();
}

void MultiListModel::RemoveItem(int index) {
    if (index < 0 || index >= CountItems()) {
        return;
    }
    beginRemoveRows(QModelIndex(), index, index);
    rows_.erase(rows_.begin() + index);
    endRemoveRows();
}

void MultiListModel::MakeEmpty() {
    beginResetModel();
    rows_.clear();
    endResetModel();
}

void MultiListModel::SetAlignment(int column, Qt::Alignment alignment) {
    if (IsColumn(column)) {
        alignments_[static_cast<std::size_t>(column)] = alignment;
        if (!rows_.empty()) {
            emit dataChanged(index(0, column), index(CountItems() - 1, column),
                             {Qt::TextAlignmentRole});
        }
    }
}

Qt::Alignment MultiListModel::GetAlignment(int column) const {
    return IsColumn(column) ? alignments_[static_cast<std::size_t>(column)] : Qt::AlignLeft;
}

void MultiListModel::SetTruncMode(int column, Qt::TextElideMode mode) {
    if (IsColumn(column)) {
        truncModes_[static_cast<std::size_t>(column)] = mode;
    }
}

Qt::TextElideMode MultiListModel::GetTruncMode(int column) const {
    return IsColumn(column) ? truncModes_[static_cast<std::size_t>(column)] : Qt::ElideRight;
}

void MultiListModel::Exchange(int a, int b) {
    if (!IsColumn(a) || !IsColumn(b) || a == b) {
        return;
    }
    std::swap(alignments_[static_cast<std::size_t>(a)], alignments_[static_cast<std::size_t>(b)]);
    std::swap(truncModes_[static_cast<std::size_t>(a)], truncModes_[static_cast<std::size_t>(b)]);
    for (MultiListItem& row : rows_) {
        row.Exchange(a, b);
    }
    if (!rows_.empty()) {
        emit dataChanged(index(0, 0), index(CountItems() - 1, columns_ - 1));
    }
}

void MultiListModel::ActivateSort(bool active) {
    sortActive_ = active;
    SortIfActive();
}

void MultiListModel::SortOn(int column) {
    sortColumn_ = column;
    SortIfActive();
}

void MultiListModel::SetSortUp(bool up) {
    sortUp_ = up;
    SortIfActive();
}

void MultiListModel::InverseSort() {
    SetSortUp(!sortUp_);
}

void MultiListModel::SortIfActive() {
    if (sortActive_) {
        SortIt();
    }
}

void MultiListModel::SortIt() {
    emit layoutAboutToBeChanged();
    std::vector<std::size_t> order = MultiListItem::Order(rows_, sortColumn_, sortUp_);
    std::vector<MultiListItem> sorted;
    sorted.reserve(rows_.size());
    QModelIndexList before;
    QModelIndexList after;
    for (std::size_t to = 0; to < order.size(); ++to) {
        sorted.push_back(std::move(rows_[order[to]]));
        for (int column = 0; column < columns_; ++column) {
            before.append(index(static_cast<int>(order[to]), column));
            after.append(index(static_cast<int>(to), column));
        }
    }
    rows_ = std::move(sorted);
    // The selection follows its rows.
    changePersistentIndexList(before, after);
    emit layoutChanged();
}

int MultiListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : CountItems();
}

int MultiListModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : columns_;
}

QVariant MultiListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid()) {
        return {};
    }
    switch (role) {
        case Qt::DisplayRole: {
            const char* text = Text(index.row(), index.column());
            return text != nullptr ? QString::fromStdString(text) : QString();
        }
        case Qt::TextAlignmentRole:
            return QVariant::fromValue(GetAlignment(index.column()));
        default:
            return {};
    }
}

QVariant MultiListModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || !IsColumn(section)) {
        return {};
    }
    return QString::fromStdString(titles_[static_cast<std::size_t>(section)]);
}
