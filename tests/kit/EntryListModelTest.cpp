#include "EntryListModel.h"

#include <QListView>

#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "EntryItemDelegate.h"

namespace {

EntryStringItem Entry(const std::string& text, int type, std::uint32_t colour = 0) {
    return {text, type, "/pub/" + text, colour};
}

std::vector<EntryStringItem> Files(int count) {
    return std::vector<EntryStringItem>(static_cast<std::size_t>(count),
                                        Entry("file", EntryStringItem::File));
}

class ProbeDelegate : public EntryItemDelegate {
public:
    using EntryItemDelegate::initStyleOption;
};

}  // namespace

// Thousands of names must cost the view one layout, not one per row.
TEST(EntryListModelTest, FillingIsOneResetAndABatchIsOneRangedInsert) {
    EntryListModel model;
    int resets = 0;
    std::vector<std::pair<int, int>> inserts;
    QObject::connect(&model, &QAbstractItemModel::modelReset, [&] { ++resets; });
    QObject::connect(
        &model, &QAbstractItemModel::rowsInserted,
        [&](const QModelIndex&, int first, int last) { inserts.emplace_back(first, last); });
    model.SetItems(Files(5000));
    model.Append(Files(300));
    model.Append({});
    EXPECT_EQ(resets, 1);
    EXPECT_EQ(inserts, (std::vector<std::pair<int, int>>{{5000, 5299}}))
        << "one insert for the batch, nothing for an empty one";
    EXPECT_EQ(model.rowCount(), 5300);
    model.Clear();
    EXPECT_EQ(resets, 2);
    EXPECT_EQ(model.rowCount(), 0);
}

TEST(EntryListModelTest, RowsShowTextIconAndColourOfTheirEntry) {
    EntryListModel model;
    model.SetItems({Entry("incoming", EntryStringItem::Directory),
                    Entry("r\xC3\xA9sum\xC3\xA9.txt", EntryStringItem::File, 0x000064FFu),
                    Entry("latest", EntryStringItem::Link)});
    EXPECT_EQ(model.index(1).data().toString(), QString::fromUtf8("r\xC3\xA9sum\xC3\xA9.txt"));
    EXPECT_FALSE(model.index(3).isValid());

    ProbeDelegate delegate;
    QListView view;
    std::vector<qint64> icons;
    for (int row = 0; row < 3; ++row) {
        QStyleOptionViewItem option;
        option.initFrom(&view);
        delegate.initStyleOption(&option, model.index(row));
        EXPECT_FALSE(option.icon.pixmap(16, 16).isNull()) << row;
        icons.push_back(option.icon.cacheKey());
        const QColor text = option.palette.color(QPalette::Text);
        EXPECT_EQ(text, row == 1 ? QColor(0, 0, 100) : view.palette().color(QPalette::Text)) << row;
    }
    EXPECT_EQ(std::set(icons.begin(), icons.end()).size(), 3u) << "folder, file and link differ";
}
