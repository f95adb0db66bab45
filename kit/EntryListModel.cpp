#include "EntryListModel.h"

#include <QColor>
#include <QDateTime>
#include <QLocale>
#include <QStringList>

#include <iterator>

namespace {

// "5,000,000,000 bytes" and "Modified 2026-11-20 14:03" where the listing told them.
QVariant Details(const EntryStringItem& item) {
    QStringList lines;
    if (item.size >= 0) {
        lines.append(QObject::tr("%1 bytes").arg(QLocale().toString(item.size)));
    }
    if (item.modified) {
        const QDateTime time = QDateTime::fromSecsSinceEpoch(*item.modified);
        lines.append(QObject::tr("Modified %1").arg(time.toString("yyyy-MM-dd HH:mm")));
    }
    return lines.isEmpty() ? QVariant() : QVariant(lines.join('\n'));
}

}  // namespace

EntryListModel::EntryListModel(QObject* parent)
    : QAbstractListModel(parent), own_(std::make_shared<List>()) {
    items_ = own_;
}

void EntryListModel::SetItems(List items) {
    beginResetModel();
    own_ = std::make_shared<List>(std::move(items));
    items_ = own_;
    endResetModel();
}

void EntryListModel::SetShared(Shared items) {
    beginResetModel();
    own_.reset();
    items_ = items ? std::move(items) : std::make_shared<const List>();
    endResetModel();
}

void EntryListModel::Append(List items) {
    if (items.empty()) {
        return;
    }
    if (!own_) {
        own_ = std::make_shared<List>(*items_);
        items_ = own_;
    }
    const int first = static_cast<int>(own_->size());
    beginInsertRows(QModelIndex(), first, first + static_cast<int>(items.size()) - 1);
    own_->insert(own_->end(), std::make_move_iterator(items.begin()),
                 std::make_move_iterator(items.end()));
    endInsertRows();
}

void EntryListModel::Clear() {
    if (items_->empty()) {
        return;
    }
    SetItems({});
}

int EntryListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(items_->size());
}

QVariant EntryListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= static_cast<int>(items_->size())) {
        return {};
    }
    const EntryStringItem& item = At(index.row());
    switch (role) {
        case Qt::DisplayRole:
        case Qt::EditRole:
            // Names are byte strings from the server or the disk; UTF-8 is the common case.
            return QString::fromStdString(item.text);
        case TypeRole:
            return item.type;
        case PathRole:
            return QString::fromStdString(item.path);
        case ColourRole:
            return static_cast<quint32>(item.colour);
        case Qt::ForegroundRole:
            if (item.colour == 0) {
                return {};
            }
            return QColor(item.colour >> 24, (item.colour >> 16) & 0xff, (item.colour >> 8) & 0xff,
                          item.colour & 0xff);
        case Qt::ToolTipRole:
            return Details(item);
        default:
            return {};
    }
}
