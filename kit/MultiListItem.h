#pragma once

#include <optional>
#include <string>
#include <vector>

// One row of a multi-column list: a text per column, each the row's own copy, or none.
class MultiListItem {
public:
    explicit MultiListItem(int columns = 0);

    int Columns() const { return static_cast<int>(texts_.size()); }
    // The stored text, or null for an empty cell or a column that does not exist.
    const char* Text(int column) const;
    // Stores a copy of the text; null empties the cell.
    void SetText(const char* text, int column);
    void Exchange(int a, int b);

    // Sorts rows by one column. Ascending compares bytes, so "A" comes before "a" and both
    // before "b"; descending ignores case. Rows that compare equal keep their order; an empty
    // cell sorts as an empty text.
    static void Sort(std::vector<MultiListItem>& rows, int column, bool up);
    // The same order as row indices: position i of the result is the row that goes to i.
    static std::vector<std::size_t> Order(const std::vector<MultiListItem>& rows, int column,
                                          bool up);

private:
    std::vector<std::optional<std::string>> texts_;
};
