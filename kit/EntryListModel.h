#pragma once

#include <QAbstractListModel>

#include <memory>
#include <vector>

#include "EntryStringItem.h"

// The rows of a file or directory pane: a plain vector of entries. Filling it is one reset and
// adding a batch is one ranged insert, never a row at a time, so that thousands of names cost
// one layout of the view. GUI thread only.
class EntryListModel : public QAbstractListModel {
    Q_OBJECT

public:
    enum Role { TypeRole = Qt::UserRole + 1, PathRole, ColourRole };

    using List = std::vector<EntryStringItem>;
    // A list kept elsewhere too (the host listing cache): shown without a copy of its own.
    using Shared = std::shared_ptr<const List>;

    explicit EntryListModel(QObject* parent = nullptr);

    void SetItems(List items);
    void SetShared(Shared items);
    // A shared list is copied before anything is added to it.
    void Append(List items);
    void Clear();
    const List& Items() const { return *items_; }
    // The entry at row; row must be valid.
    const EntryStringItem& At(int row) const { return items_->at(static_cast<std::size_t>(row)); }

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;

private:
    // What the rows show; `own_` is the same list when it is this model's alone.
    Shared items_;
    std::shared_ptr<List> own_;
};
