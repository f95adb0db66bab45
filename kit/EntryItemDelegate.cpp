#include "EntryItemDelegate.h"

#include <QApplication>
#include <QStyle>

#include "EntryListModel.h"
#include "EntryStringItem.h"

namespace {

QIcon ThemeIcon(const char* name, QStyle::StandardPixmap fallback) {
    return QIcon::fromTheme(QString::fromLatin1(name),
                            QApplication::style()->standardIcon(fallback));
}

}  // namespace

EntryItemDelegate::EntryItemDelegate(QObject* parent)
    : QStyledItemDelegate(parent),
      file_(ThemeIcon("text-x-generic", QStyle::SP_FileIcon)),
      directory_(ThemeIcon("folder", QStyle::SP_DirIcon)),
      link_(ThemeIcon("emblem-symbolic-link", QStyle::SP_FileLinkIcon)) {}

QIcon EntryItemDelegate::IconFor(int type) const {
    switch (type) {
        case EntryStringItem::Directory:
            return directory_;
        case EntryStringItem::Link:
            return link_;
        default:
            return file_;
    }
}

void EntryItemDelegate::initStyleOption(QStyleOptionViewItem* option,
                                        const QModelIndex& index) const {
    QStyledItemDelegate::initStyleOption(option, index);
    option->icon = IconFor(index.data(EntryListModel::TypeRole).toInt());
    option->features |= QStyleOptionViewItem::HasDecoration;
    const quint32 colour = index.data(EntryListModel::ColourRole).toUInt();
    if (colour != 0) {
        // The alpha byte is ignored: the original drew text in copy mode, where it had no effect.
        option->palette.setColor(
            QPalette::Text,
            QColor((colour >> 24) & 0xFF, (colour >> 16) & 0xFF, (colour >> 8) & 0xFF));
    }
}
