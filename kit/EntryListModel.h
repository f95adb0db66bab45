#pragma once

#include <QAbstractListModel>

#include <vector>

#include "EntryStringItem.h"

// The rows of a file or directory pane: a plain vector of entries. Filling it is one reset and
// adding a batch is one ranged insert, never a row at a time, so that thousands of names cost
// one layout of the view. GUI thread only.
class EntryListModel : public QAbstractListModel {
    Q_OBJECT

public:
    enum Role { TypeRole = Qt::UserRole + 1, PathRole, ColourRole };

    explicit EntryListModel(QObject* parent = nullptr);

    void SetItems(std::vector<EntryStringItem> items);
    void Append(std::vector<EntryStringItem> items);
    void Clear();
    const std::vector<EntryStringItem>& Items() const { return items_; }
    // The entry at row; row must be valid.
    const EntryStringItem& At(int row) const { return items_.at(static_cast<std::size_t>(row)); }

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;

private:
    std::vector<EntryStringItem> items_;
};
