// The rows of the multi-column list and their sort order.
#include <gtest/gtest.h>

#include "MultiListItem.h"

namespace {

std::vector<MultiListItem> Rows(std::vector<std::pair<const char*, const char*>> cells) {
    std::vector<MultiListItem> rows;
    for (auto [sorted, tag] : cells) {
        MultiListItem row(2);
        row.SetText(sorted, 0);
        row.SetText(tag, 1);
        rows.push_back(row);
    }
    return rows;
}

std::vector<std::string> Column(const std::vector<MultiListItem>& rows, int column) {
    std::vector<std::string> texts;
    for (const MultiListItem& row : rows) {
        texts.push_back(row.Text(column) != nullptr ? row.Text(column) : "(null)");
    }
    return texts;
}

TEST(MultiListItemTest, UpIsByteOrderAndDownIgnoresCaseKeepingEqualRowsInOrder) {
    struct Case {
        std::vector<std::pair<const char*, const char*>> rows;
        bool up;
        std::vector<std::string> tags;
    };
    const Case cases[] = {
        {{{"b", "1"}, {"A", "2"}, {"a", "3"}}, true, {"2", "3", "1"}},  // A, a, b
        {{{"b", "1"}, {"A", "2"}, {"a", "3"}},
         false,
         {"1", "2", "3"}},  // b, then A and a as they were
        {{{"b", "1"}, {"a", "2"}, {"A", "3"}}, false, {"1", "2", "3"}},
        {{{"x", "1"}, {nullptr, "2"}, {"", "3"}}, true, {"2", "3", "1"}},  // an empty cell is ""
    };
    for (const Case& c : cases) {
        std::vector<MultiListItem> rows = Rows(c.rows);
        MultiListItem::Sort(rows, 0, c.up);
        EXPECT_EQ(Column(rows, 1), c.tags) << (c.up ? "up" : "down");
    }
}

TEST(MultiListItemTest, CellsKeepTheirOwnCopyAndExchangeWithItselfChangesNothing) {
    MultiListItem row(3);
    std::string text = "first";
    row.SetText(text.c_str(), 0);
    text = "changed";
    EXPECT_STREQ(row.Text(0), "first");
    row.SetText("second", 1);
    row.SetText(nullptr, 0);
    EXPECT_EQ(row.Text(0), nullptr);
    EXPECT_EQ(row.Text(7), nullptr);
    row.Exchange(1, 1);
    EXPECT_STREQ(row.Text(1), "second");
    row.Exchange(1, 2);
    EXPECT_EQ(row.Text(1), nullptr);
    EXPECT_STREQ(row.Text(2), "second");
}

}  // namespace
