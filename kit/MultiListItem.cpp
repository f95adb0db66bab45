#include "MultiListItem.h"

#include <algorithm>
#include <cstring>

#include "StringHelpers.h"

MultiListItem::MultiListItem(int columns)
    : texts_(static_cast<std::size_t>(std::max(columns, 0))) {}

const char* MultiListItem::Text(int column) const {
    if (column < 0 || column >= Columns() || !texts_[static_cast<std::size_t>(column)]) {
        return nullptr;
    }
    return texts_[static_cast<std::size_t>(column)]->c_str();
}

void MultiListItem::SetText(const char* text, int column) {
    if (column < 0 || column >= Columns()) {
        return;
    }
    auto& cell = texts_[static_cast<std::size_t>(column)];
    cell = text != nullptr ? std::optional<std::string>(text) : std::nullopt;
}

void MultiListItem::Exchange(int a, int b) {
    if (a >= 0 && b >= 0 && a < Columns() && b < Columns()) {
        std::swap(texts_[static_cast<std::size_t>(a)], texts_[static_cast<std::size_t>(b)]);
    }
}

std::vector<std::size_t> MultiListItem::Order(const std::vector<MultiListItem>& rows, int column,
                                              bool up) {
    auto text = [&](std::size_t row) {
        const char* cell = rows[row].Text(column);
        return cell != nullptr ? cell : "";
    };
    std::vector<std::size_t> order(rows.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        order[i] = i;
    }
    // Two comparisons on purpose: the order a user sees in each direction depends on it.
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        return up ? std::strcmp(text(a), text(b)) < 0 : cistrcmp(text(a), text(b)) > 0;
    });
    return order;
}

void MultiListItem::Sort(std::vector<MultiListItem>& rows, int column, bool up) {
    std::vector<MultiListItem> sorted;
    sorted.reserve(rows.size());
    for (std::size_t row : Order(rows, column, up)) {
        sorted.push_back(std::move(rows[row]));
    }
    rows = std::move(sorted);
}
