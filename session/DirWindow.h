#pragma once

#include <QWidget>

#include <atomic>
#include <vector>

#include "EntryStringItem.h"
#include "ListingMonitor.h"
#include "MessageHandler.h"

class BatchedList;
class LPBListView;

// "Full Listing": the raw lines of the last host listing, as they arrive. Lines may be added from
// any thread; they reach the list in batches, the newest one selected and in view. Closing the
// window hides it (the owner is told with 35); it goes for good when its owner deletes it.
class DirWindow : public QWidget, public MessageHandler, public ListingMonitor {
    Q_OBJECT

public:
    static constexpr std::uint32_t kToggle = 35;

    explicit DirWindow(MessageHandler* owner);

    void Clear() override;
    // Dropped while the window does not receive: a closed window keeps no lines.
    void AddLine(const EntryStringItem& line) override;
    void SetReceiving(bool receiving) { receiving_ = receiving; }
    void ShowLast() override;
    // Replaces every line at once (a listing served from the cache). GUI thread.
    void SetLines(std::vector<EntryStringItem> lines);
    // The lines shown, once the batches on their way have arrived. GUI thread.
    std::vector<EntryStringItem> Lines();
    // Selects every line that holds the text. GUI thread.
    void SelectContaining(const std::string& text);
    void SetMayQuit(bool allowed) { mayQuit_ = allowed; }
    LPBListView* List() const { return list_; }
    void MessageReceived(const Message& message) override;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    MessageHandler* owner_;
    LPBListView* list_;
    BatchedList* feed_;
    bool mayQuit_ = false;
    std::atomic<bool> receiving_{false};
};
