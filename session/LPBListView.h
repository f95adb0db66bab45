#pragma once

#include <QListView>

#include <string>
#include <vector>

#include "EntryStringItem.h"

class EntryListModel;

// A pane's list of entries with first-letter type-ahead: typing a letter selects the first entry
// that begins with it (either case), typing it again steps to the next one.
class LPBListView : public QListView {
    Q_OBJECT

public:
    LPBListView(const QString& name, bool multipleSelection, QWidget* parent = nullptr);

    EntryListModel* Model() const { return model_; }
    void SetItems(std::vector<EntryStringItem> items);
    const std::vector<EntryStringItem>& Items() const;
    // Texts of the selected entries, in list order.
    std::vector<std::string> SelectedTexts() const;
    // Text of the first selected entry, or nothing.
    std::optional<std::string> FirstSelected() const;
    void SelectAll();
    void UnSelectAll();
    // Adds the entry with exactly this text to the selection; false when there is none.
    bool SelectText(const std::string& text);

signals:
    // Double-click or Enter on an entry.
    void Invoked();

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    void TypeAhead(char key);

    EntryListModel* model_;
    char lastKey_ = 0;
};
