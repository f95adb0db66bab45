#pragma once

#include <QIcon>
#include <QStyledItemDelegate>

// Draws a row of an EntryListModel: the icon of its type (folder, document or link, from the
// icon theme, falling back on the style's own) and the text in the entry's colour when it has one.
class EntryItemDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    explicit EntryItemDelegate(QObject* parent = nullptr);

    // The icon drawn for an entry type (EntryStringItem::File, Directory or Link).
    QIcon IconFor(int type) const;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;

private:
    QIcon file_;
    QIcon directory_;
    QIcon link_;
};
