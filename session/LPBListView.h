#pragma once

#include <QListView>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "EntryListModel.h"
#include "EntryStringItem.h"

class EntryListModel;
class QAbstractButton;
class QMimeData;

// A pane's list of entries with first-letter type-ahead: typing a letter selects the first entry
// that begins with it (either case), typing it again steps to the next one. Backspace or Alt+Up
// asks for the folder above; the context menu offers the window's buttons that act on the list.
// Entries may be dragged to the pane of the other side of the same window.
class LPBListView : public QListView {
    Q_OBJECT

public:
    // An item of the context menu that does what its button does; no button makes a separator.
    struct Command {
        QString label;
        QAbstractButton* button = nullptr;
        bool needsSelection = false;
    };

    LPBListView(const QString& name, bool multipleSelection, QWidget* parent = nullptr);

    EntryListModel* Model() const { return model_; }
    // A new folder's entries: the first one is current, none is selected.
    void SetItems(std::vector<EntryStringItem> items);
    // A list kept elsewhere too, shown without a copy.
    void SetShared(EntryListModel::Shared items);
    const std::vector<EntryStringItem>& Items() const;
    // Texts of the selected entries, in list order.
    std::vector<std::string> SelectedTexts() const;
    // Text of the first selected entry, or nothing.
    std::optional<std::string> FirstSelected() const;
    // The entry of the first selected row, or null; valid until the rows change.
    const EntryStringItem* FirstSelectedItem() const;
    void SelectAll();
    void UnSelectAll();
    // Adds the entry with exactly this text to the selection; false when there is none.
    bool SelectText(const std::string& text);

    void SetCommands(std::vector<Command> commands) { commands_ = std::move(commands); }
    // Lists of one side ("local" or "host") take drops only from lists of the other side.
    void SetSide(const QString& side) { side_ = side; }
    void SetDropHandler(std::function<void(const LPBListView& source)> dropped);
    // What a drag of the selection carries: the side it comes from, never a path.
    std::unique_ptr<QMimeData> DragData() const;
    // Hands a drop to the handler when it is a drag from the other side of this window.
    bool TakeDrop(const QMimeData& data, const QObject* source);

signals:
    // Double-click or Enter on an entry, which is then the selected one.
    void Invoked();
    // Backspace or Alt+Up.
    void UpRequested();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void StartAtTheTop();
    void TypeAhead(char key);
    const LPBListView* DropSource(const QMimeData& data, const QObject* source) const;

    EntryListModel* model_;
    char lastKey_ = 0;
    std::vector<Command> commands_;
    QString side_;
    std::function<void(const LPBListView& source)> dropped_;
    // Where a press on a selected entry began: moving far enough from it starts a drag.
    std::optional<QPoint> dragStart_;
};
