// The multi-column list as the transfer window uses it.
#include "MultiListDriver.h"

#include <gtest/gtest.h>

namespace {

TEST(MultiListDriverTest, CellsAreFoundByTitleAndKeepTheirOwnCopy) {
    MultiListDriver list(3);
    for (auto [title, column] : {std::pair{"Server", 0}, {"File", 1}, {"Speed", 2}}) {
        list.SetTitle(title, column);
    }
    EXPECT_EQ(list.ColumnOf("File"), 1);
    EXPECT_EQ(list.ColumnOf("file"), -1);  // titles compare with case
    list.AddItem(MultiListItem(3));
    std::string text = "a.txt";
    list.SetText(text.c_str(), 0, 1);
    text = "changed";
    EXPECT_STREQ(list.Text("File", 0), "a.txt");
    EXPECT_EQ(list.Text("Speed", 0), nullptr);
    EXPECT_EQ(list.Text("Size", 0), nullptr);
    EXPECT_EQ(list.Text("File", 5), nullptr);
}

}  // namespace
