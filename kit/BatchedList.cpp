#include "BatchedList.h"

#include <QListView>

#include "CrossThread.h"
#include "EntryListModel.h"

BatchedList::BatchedList(QListView* view, EntryListModel* model, std::chrono::milliseconds delay)
    : QObject(view), view_(view), model_(model) {
    timer_.setSingleShot(true);
    timer_.setInterval(delay);
    connect(&timer_, &QTimer::timeout, this, &BatchedList::Flush);
}

void BatchedList::Add(EntryStringItem row) {
    {
        std::lock_guard lock(mutex_);
        pending_.push_back(std::move(row));
    }
    Schedule();
}

void BatchedList::ClearSoon() {
    {
        std::lock_guard lock(mutex_);
        pending_.clear();
        clearPending_ = true;
    }
    Schedule();
}

// Only the first row after a batch has been shown schedules the next batch.
void BatchedList::Schedule() {
    if (!scheduled_.exchange(true)) {
        Post(this, [this] { timer_.start(); });
    }
}

void BatchedList::Flush() {
    scheduled_ = false;
    std::vector<EntryStringItem> rows;
    bool clear = false;
    {
        std::lock_guard lock(mutex_);
        rows.swap(pending_);
        clear = std::exchange(clearPending_, false);
    }
    if (clear) {
        model_->Clear();
    }
    if (rows.empty()) {
        return;
    }
    model_->Append(std::move(rows));
    QModelIndex last = model_->index(model_->rowCount() - 1);
    view_->selectionModel()->setCurrentIndex(last, QItemSelectionModel::ClearAndSelect);
    view_->scrollTo(last);
}

void BatchedList::Clear() {
    {
        std::lock_guard lock(mutex_);
        pending_.clear();
        clearPending_ = false;
    }
    view_->clearSelection();
    model_->Clear();
}
