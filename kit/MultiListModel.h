#pragma once

#include <QAbstractTableModel>

#include <string>
#include <vector>

#include "MultiListItem.h"

// The rows and titles of a multi-column list, with each column's alignment and the sort state.
// A changed cell is announced alone (DrawText), so that a view redraws that cell and no other.
// GUI thread only.
class MultiListModel : public QAbstractTableModel {
    Q_OBJECT

public:
    MultiListModel(int columns, QObject* parent = nullptr);

    void SetTitle(const std::string& title, int column);
    // The first column with exactly this title (case counts), or -1.
    int ColumnOf(const char* title) const;

    const char* Text(int row, int column) const;
    void SetText(const char* text, int row, int column);
    void DrawText(int row, int column);

    void AddItem(MultiListItem item, int index = -1);
    void RemoveItem(int index);
    void MakeEmpty();
    int CountItems() const { return static_cast<int>(rows_.size()); }

    void SetAlignment(int column, Qt::Alignment alignment);
    Qt::Alignment GetAlignment(int column) const;
    void SetTruncMode(int column, Qt::TextElideMode mode);
    Qt::TextElideMode GetTruncMode(int column) const;
    // Swaps two columns' alignments and truncation modes, and their texts in every row.
    void Exchange(int a, int b);

    // Each change of the sort settings sorts again at once while sorting is active.
    void ActivateSort(bool active);
    bool IsSortActivated() const { return sortActive_; }
    void SortOn(int column);
    void SetSortUp(bool up);
    void InverseSort();
    int GetSort() const { return sortColumn_; }
    bool IsSortUp() const { return sortUp_; }
    void SortIt();

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    bool IsColumn(int column) const { return column >= 0 && column < columns_; }
    void SortIfActive();

    int columns_;
    std::vector<std::string> titles_;
    std::vector<Qt::Alignment> alignments_;
    std::vector<Qt::TextElideMode> truncModes_;
    std::vector<MultiListItem> rows_;
    int sortColumn_ = 0;
    bool sortActive_ = false;
    bool sortUp_ = true;
};
