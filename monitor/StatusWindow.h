#pragma once

#include <QTimer>
#include <QWidget>

#include <atomic>
#include <chrono>
#include <string>

#include "MessageHandler.h"
#include "StatusModel.h"
#include "StatusMonitor.h"

class GraphView;
class Indicator;
class QCheckBox;
class QLabel;
class QPushButton;
class QTabWidget;

// The small window that shows what a session is doing: the operation, the counts of a listing,
// the position in a group of files and the bytes, speed and remaining time of the current file,
// with a Stop button and the boxes that show or hide the log window and the session window.
//
// Every operation may be called from any thread. The figures change at once in the StatusModel;
// the widgets follow on the GUI thread, redrawn once for a burst of calls. A pulse (once a second)
// turns the byte count into the bar, the speed and the remaining time, and adds the speed to the
// graph on the "Speed" page.
class StatusWindow : public QWidget, public MessageHandler, public StatusMonitor {
    Q_OBJECT

public:
    // Codes of the window's own controls.
    static constexpr std::uint32_t kStop = 1;
    static constexpr std::uint32_t kLogBox = 2;
    static constexpr std::uint32_t kControlBox = 3;
    // Posted to the owner to show or hide its log window, and to stop its running operation.
    static constexpr std::uint32_t kToggleLog = 43;
    static constexpr std::uint32_t kStopOperation = 18;

    // Created hidden; the owner, if any, receives the controls' messages and owns the window.
    explicit StatusWindow(MessageHandler* owner,
                          StatusModel::Clock clock = StatusModel::SteadySeconds);
    ~StatusWindow() override;

    void SetTypeOperation(const std::string& text) override;
    void SetMax(long long size) override;
    void SetNbOctet(long long bytes) override;
    void LoadFD(int files, int directories) override;
    std::string Text() override;

    void SetNameFichier(const std::string& name) override;
    void SetNbFile(int index, int count) override;
    void Update();
    void Reset() override;
    void SetEnabledSHControl(bool enabled);
    void SetEtatLog(bool checked);
    void SetTitle(const std::string& title);

    // One pulse a second unless changed.
    void SetPulseRate(std::chrono::milliseconds interval);
    // The figures as they are now, which the widgets show after the next redraw.
    StatusView View() const { return model_.View(); }
    std::int64_t Bytes() const { return model_.Bytes(); }

    void MessageReceived(const Message& message) override;

protected:
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void BuildControls();
    void LayOutControls();
    void Changed();
    void Redraw();
    void ToggleOwner();

    MessageHandler* owner_;
    StatusModel model_;
    QTabWidget* tabs_;
    QWidget* statusView_;
    GraphView* speedGraph_;
    QLabel* operation_;
    QLabel* counts_;
    Indicator* group_;
    Indicator* file_;
    QPushButton* stop_;
    QCheckBox* logBox_;
    QCheckBox* controlBox_;
    QTimer pulse_;
    QTimer redraw_;
    std::atomic<bool> redrawPending_{false};
};
