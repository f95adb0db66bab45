#pragma once

#include <QObject>
#include <QTimer>

#include <atomic>
#include <chrono>
#include <mutex>
#include <vector>

#include "EntryStringItem.h"

class EntryListModel;
class QListView;

// Rows added to a list from any thread reach it in batches: one ranged insert per batch, the
// newest row then selected and in view, so that thousands of lines a second cost a few redraws.
class BatchedList : public QObject {
    Q_OBJECT

public:
    BatchedList(QListView* view, EntryListModel* model, std::chrono::milliseconds delay);

    // Any thread.
    void Add(EntryStringItem row);
    // Any thread: what is on its way is dropped and the list is emptied with the next batch.
    void ClearSoon();
    // GUI thread: the rows on their way are shown now.
    void Flush();
    // GUI thread: the list and what is on its way are emptied now.
    void Clear();

private:
    void Schedule();

    QListView* view_;
    EntryListModel* model_;
    QTimer timer_;
    std::mutex mutex_;
    std::vector<EntryStringItem> pending_;
    bool clearPending_ = false;
    std::atomic<bool> scheduled_{false};
};
