#include "EntryListModel.h"

#include <QColor>
#include <QImage>
#include <QListView>
#include <QPainter>

#include <gtest/gtest.h>

#include <vector>

#include "EntryItemDelegate.h"

namespace {

EntryStringItem Entry(const std::string& text, int type, std::uint32_t colour = 0) {
    EntryStringItem item;
    item.text = text;
    item.type = type;
    item.path = "/pub/" + text;
    item.colour = colour;
    return item;
}

std::vector<EntryStringItem> Names(int count) {
    std::vector<EntryStringItem> items;
    for (int index = 0; index < count; ++index) {
        items.push_back(Entry("file" + std::to_string(index), EntryStringItem::File));
    }
    return items;
}

// Counts what a view would hear from the model.
struct ModelSignals {
    explicit ModelSignals(EntryListModel& model) {
        QObject::connect(&model, &QAbstractItemModel::modelReset, [this] { ++resets; });
        QObject::connect(&model, &QAbstractItemModel::rowsInserted,
                         [this](const QModelIndex&, int first, int last) {
                             inserts.push_back({first, last});
                         });
    }
    int resets = 0;
    std::vector<std::pair<int, int>> inserts;
};

}  // namespace

TEST(EntryListModelTest, FillingIsOneResetAndABatchIsOneRangedInsert) {
    EntryListModel model;
    ModelSignals heard(model);

    model.SetItems(Names(5000));
    EXPECT_EQ(heard.resets, 1);
    EXPECT_TRUE(heard.inserts.empty());
    EXPECT_EQ(model.rowCount(), 5000);

    model.Append(Names(300));
    ASSERT_EQ(heard.inserts.size(), 1u);
    EXPECT_EQ(heard.inserts[0], std::make_pair(5000, 5299));
    EXPECT_EQ(model.rowCount(), 5300);

    model.Append({});
    EXPECT_EQ(heard.inserts.size(), 1u) << "an empty batch says nothing";

    model.Clear();
    EXPECT_EQ(heard.resets, 2);
    EXPECT_EQ(model.rowCount(), 0);
    EXPECT_TRUE(model.Items().empty());
}

TEST(EntryListModelTest, RowsCarryTextTypePathAndColour) {
    EntryListModel model;
    model.SetItems({Entry("incoming", EntryStringItem::Directory),
                    Entry("r\xC3\xA9sum\xC3\xA9.txt", EntryStringItem::File, 0x000064FFu),
                    Entry("latest", EntryStringItem::Link)});
    const QModelIndex directory = model.index(0);
    const QModelIndex file = model.index(1);
    EXPECT_EQ(directory.data().toString(), QStringLiteral("incoming"));
    EXPECT_EQ(directory.data(EntryListModel::TypeRole).toInt(), EntryStringItem::Directory);
    EXPECT_EQ(directory.data(EntryListModel::PathRole).toString(), QStringLiteral("/pub/incoming"));
    EXPECT_EQ(file.data().toString(), QString::fromUtf8("r\xC3\xA9sum\xC3\xA9.txt"));
    EXPECT_EQ(file.data(EntryListModel::ColourRole).toUInt(), 0x000064FFu);
    EXPECT_EQ(model.At(2).type, EntryStringItem::Link);
    EXPECT_FALSE(model.index(3).isValid());
}

namespace {

class ProbeDelegate : public EntryItemDelegate {
public:
    using EntryItemDelegate::initStyleOption;
};

}  // namespace

TEST(EntryItemDelegateTest, EachTypeHasItsOwnIconAndColouredEntriesTheirColour) {
    ProbeDelegate delegate;
    const QIcon file = delegate.IconFor(EntryStringItem::File);
    const QIcon directory = delegate.IconFor(EntryStringItem::Directory);
    const QIcon link = delegate.IconFor(EntryStringItem::Link);
    for (const QIcon& icon : {file, directory, link}) {
        EXPECT_FALSE(icon.isNull());
        EXPECT_FALSE(icon.pixmap(16, 16).isNull());
    }
    EXPECT_NE(file.cacheKey(), directory.cacheKey());
    EXPECT_NE(file.cacheKey(), link.cacheKey());
    EXPECT_NE(directory.cacheKey(), link.cacheKey());

    EntryListModel model;
    model.SetItems({Entry("incoming", EntryStringItem::Directory),
                    Entry("notes", EntryStringItem::File, 0x000064FFu)});
    QListView view;
    const QPalette plain = view.palette();

    QStyleOptionViewItem option;
    option.initFrom(&view);
    delegate.initStyleOption(&option, model.index(0));
    EXPECT_EQ(option.icon.cacheKey(), directory.cacheKey());
    EXPECT_TRUE(option.features & QStyleOptionViewItem::HasDecoration);
    EXPECT_EQ(option.palette.color(QPalette::Text), plain.color(QPalette::Text));

    QStyleOptionViewItem coloured;
    coloured.initFrom(&view);
    delegate.initStyleOption(&coloured, model.index(1));
    EXPECT_EQ(coloured.icon.cacheKey(), file.cacheKey());
    EXPECT_EQ(coloured.palette.color(QPalette::Text), QColor(0, 0, 100));
}
