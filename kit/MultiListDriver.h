#pragma once

#include <QColor>
#include <QWidget>

#include <string>

#include "MultiListItem.h"

class MultiListModel;
class QHeaderView;
class QLabel;
class QTreeView;

// A list of rows with several titled text columns: the titles with their draggable separators
// and sort mark (the view's header), the rows, and a small status field below them. A window
// talks to the driver only. GUI thread only.
class MultiListDriver : public QWidget {
    Q_OBJECT

public:
    explicit MultiListDriver(int columns, QWidget* parent = nullptr);

    MultiListModel* Model() const { return model_; }
    QTreeView* List() const { return view_; }
    QLabel* StatusField() const { return status_; }

    void SetTitle(const std::string& title, int column);
    // The first column with exactly this title (case counts), or -1.
    int ColumnOf(const char* title) const;

    // A cell's text, or null for an empty cell, a row or a title that does not exist.
    const char* Text(int row, int column) const;
    const char* Text(const char* title, int row) const;
    // Keeps its own copy of the text; null empties the cell. DrawText shows the change.
    void SetText(const char* text, int row, int column);
    void DrawText(int row, int column);

    void AddItem(MultiListItem item, int index = -1);
    void RemoveItem(int index);
    void MakeEmpty();
    int CountItems() const;
    bool IsEmpty() const { return CountItems() == 0; }

    void Select(int row, bool extend = false);
    bool IsItemSelected(int row) const;
    // The first selected row, or -1.
    int CurrentSelection() const;
    void DeselectAll();

    // While sorting is active, a click on a title sorts on that column, or turns the order
    // round when it is the sort column already.
    void ActivateSort(bool active);
    bool IsSortActivated() const;
    void SortOn(int column);
    void SetSortUp(bool up);
    void InverseSort();
    int GetSort() const;
    void SortIt();

    // Where the separator at the right of a column stands, from the left edge; with a single
    // column, the width of the list.
    int GetSeparatorPlace(int column) const;
    void SetSeparatorPlace(int column, int x);
    // Moves a column's right separator, and with it every separator to its right.
    void MoveSeparator(int column, int delta);
    // Swaps two columns' texts, alignments and truncation; the columns keep their widths.
    void Exchange(int a, int b);

    void SetTruncMode(int column, Qt::TextElideMode mode);
    Qt::TextElideMode GetTruncMode(int column) const;
    void SetAlignment(int column, Qt::Alignment alignment);
    Qt::Alignment GetAlignment(int column) const;

    void SetTabColor(const QColor& colour);
    void SetListColor(const QColor& colour);
    void SetStatusText(const std::string& text);
    std::string StatusText() const;

private:
    void ShowSortMark();
    void TitleClicked(int column);

    MultiListModel* model_;
    QTreeView* view_;
    QHeaderView* titles_;
    QLabel* status_;
};
