// The multi-column list as a window uses it.
#include "MultiListDriver.h"

#include <QHeaderView>
#include <QTreeView>

#include <gtest/gtest.h>

namespace {

TEST(MultiListDriverTest, TitlesCellsAndSeparatorsAsAWindowUsesThem) {
    MultiListDriver list(3);
    list.resize(600, 200);
    for (auto [title, column] : {std::pair{"Server", 0}, {"File", 1}, {"Speed", 2}}) {
        list.SetTitle(title, column);
    }
    EXPECT_EQ(list.ColumnOf("File"), 1);
    EXPECT_EQ(list.ColumnOf("file"), -1);  // titles compare with case
    list.AddItem(MultiListItem(3));
    list.SetText("a.txt", 0, 1);
    EXPECT_STREQ(list.Text("File", 0), "a.txt");
    EXPECT_EQ(list.Text("Size", 0), nullptr);
    EXPECT_EQ(list.Text("File", 5), nullptr);

    for (int column = 0; column < 3; ++column) {
        list.SetSeparatorPlace(column, 100 * (column + 1));
    }
    list.MoveSeparator(1, 30);
    EXPECT_EQ(list.GetSeparatorPlace(0), 100);
    EXPECT_EQ(list.GetSeparatorPlace(1), 230);  // moved, and every separator to its right too
    EXPECT_EQ(list.GetSeparatorPlace(2), 330);
    list.Exchange(0, 0);
    EXPECT_STREQ(list.Text(0, 1), "a.txt");
    list.Exchange(1, 2);
    EXPECT_STREQ(list.Text("Speed", 0), "a.txt");
    EXPECT_EQ(list.GetSeparatorPlace(1), 230);  // widths stay with the positions
}

TEST(MultiListDriverTest, ASortedListKeepsTheSelectionOnItsRowAndATitleClickTurnsTheOrder) {
    MultiListDriver list(1);
    for (const char* name : {"b", "A", "a"}) {
        MultiListItem row(1);
        row.SetText(name, 0);
        list.AddItem(row);
    }
    list.Select(0);  // "b"
    list.ActivateSort(true);
    EXPECT_STREQ(list.Text(0, 0), "A");
    EXPECT_TRUE(list.IsItemSelected(2));
    emit list.List()->header()->sectionClicked(0);  // the sort column's title: the other way
    EXPECT_STREQ(list.Text(0, 0), "b");
    EXPECT_EQ(list.CurrentSelection(), 0);
}
}  // namespace
