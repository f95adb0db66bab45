#include "StatusWindow.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QLabel>
#include <QPushButton>
#include <QTabWidget>

#include "CrossThread.h"
#include "GraphView.h"
#include "Indicator.h"
#include "MessageCodes.h"

namespace {

const QColor kStatusViewColour(230, 230, 230);
const QColor kLabelColour(210, 210, 210);

// The original's frame (200,200)-(550,360): its rects count both edges.
constexpr QPoint kOrigin(200, 200);
constexpr QSize kSize(351, 161);
constexpr int kMaxWidth = 1025;

constexpr auto kRedrawDelay = std::chrono::milliseconds(20);
constexpr auto kPulse = std::chrono::seconds(1);

// Rects given by both corners, edges included, as the original gave them.
QRect Corners(int left, int top, int right, int bottom) {
    return QRect(QPoint(left, top), QPoint(right, bottom));
}

void Paint(QWidget* widget, const QColor& colour) {
    QPalette colours = widget->palette();
    colours.setColor(QPalette::Window, colour);
    widget->setPalette(colours);
    widget->setAutoFillBackground(true);
}

void Show(Indicator* indicator, const IndicatorView& view) {
    indicator->SetFigures(view.figures);
    indicator->setVisible(view.visible);
}

}  // namespace

StatusWindow::StatusWindow(MessageHandler* owner, StatusModel::Clock clock)
    : QWidget(owner != nullptr ? owner->Widget() : nullptr,
              Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint),
      MessageHandler(this),
      owner_(owner),
      model_(std::move(clock)) {
    setObjectName(QStringLiteral("StatusWindow"));
    setWindowTitle(QString::fromLatin1(kStatusTitle));
    move(kOrigin);
    resize(kSize);
    setMinimumSize(kSize);
    setMaximumSize(kMaxWidth, kSize.height());
    BuildControls();

    redraw_.setSingleShot(true);
    redraw_.setInterval(kRedrawDelay);
    connect(&redraw_, &QTimer::timeout, this, &StatusWindow::Redraw);
    pulse_.setInterval(kPulse);
    connect(&pulse_, &QTimer::timeout, this, &StatusWindow::Update);
    pulse_.start();
}

StatusWindow::~StatusWindow() = default;

void StatusWindow::BuildControls() {
    QFont small = font();
    small.setPixelSize(11);
    setFont(small);

    tabs_ = new QTabWidget(this);
    statusView_ = new QWidget();
    statusView_->setObjectName(QStringLiteral("Plain stat"));
    Paint(statusView_, kStatusViewColour);
    // The tab takes its label from the page's name, as on the original platform.
    tabs_->addTab(statusView_, statusView_->objectName());
    speedGraph_ = new GraphView("Speed");
    tabs_->addTab(speedGraph_, speedGraph_->objectName());
    tabs_->setObjectName(QStringLiteral("coucou"));

    operation_ = new QLabel(statusView_);
    operation_->setObjectName(QStringLiteral("statusop"));
    counts_ = new QLabel(statusView_);
    counts_->setObjectName(QStringLiteral("file"));
    for (QLabel* label : {operation_, counts_}) {
        Paint(label, kLabelColour);
        label->setTextFormat(Qt::PlainText);
    }

    group_ = new Indicator("Multiple files...", 2, statusView_);
    file_ = new Indicator("FileInProgress", 2, statusView_);
    file_->SetBlueBar();
    QFont indicatorFont = small;
    indicatorFont.setPixelSize(10);
    for (Indicator* indicator : {group_, file_}) {
        indicator->SetPercentInBar(true);
        indicator->setFont(indicatorFont);
        indicator->hide();
    }

    stop_ = new QPushButton(QStringLiteral("Stop"), statusView_);
    stop_->setObjectName(QStringLiteral("stop"));
    logBox_ = new QCheckBox(QStringLiteral("Log window"), statusView_);
    controlBox_ = new QCheckBox(QStringLiteral("Control window"), statusView_);
    controlBox_->setChecked(true);
    // Where the two boxes overlap, the log box takes the clicks.
    logBox_->raise();

    // Names for screen readers; the figures are drawn, not written.
    tabs_->setAccessibleName(QStringLiteral("Status pages"));
    speedGraph_->setAccessibleName(QStringLiteral("Speed graph"));
    speedGraph_->setAccessibleDescription(QStringLiteral("Bytes per second, a point a second"));
    group_->setAccessibleName(QStringLiteral("Progress of the group of files"));
    file_->setAccessibleName(QStringLiteral("Progress of the current file"));
    stop_->setAccessibleDescription(QStringLiteral("Stops the running operation"));
    logBox_->setAccessibleDescription(QStringLiteral("Shows or hides the FTP log"));
    controlBox_->setAccessibleDescription(QStringLiteral("Shows or hides the session window"));

    connect(stop_, &QPushButton::clicked, this, [this] { PostMessage(Message(kStop)); });
    connect(logBox_, &QCheckBox::clicked, this, [this](bool checked) {
        model_.SetEtatLog(checked);
        PostMessage(Message(kLogBox));
    });
    connect(controlBox_, &QCheckBox::clicked, this, [this](bool checked) {
        model_.SetControlChecked(checked);
        PostMessage(Message(kControlBox));
    });
    statusView_->installEventFilter(this);
}

bool StatusWindow::eventFilter(QObject* watched, QEvent* event) {
    if (watched == statusView_ && event->type() == QEvent::Resize) {
        LayOutControls();
    }
    return QWidget::eventFilter(watched, event);
}

void StatusWindow::LayOutControls() {
    const int right = statusView_->width() - 1;
    const int bottom = statusView_->height() - 1;
    operation_->setGeometry(Corners(5, 5, 230, 15));
    counts_->setGeometry(Corners(5, 20, 230, 30));
    group_->setGeometry(Corners(5, 35, right - 5, 65));
    file_->setGeometry(Corners(5, 70, right - 5, 100));
    stop_->setGeometry(Corners(right - 80, bottom - 30, right - 5, bottom - 5));
    logBox_->setGeometry(Corners(right - 170, bottom - 28, right - 85, bottom - 5));
    // The two boxes overlap by 20 pixels, as they always did.
    controlBox_->setGeometry(Corners(right - 280, bottom - 28, right - 150, bottom - 5));
}

void StatusWindow::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    tabs_->setGeometry(rect());
}

void StatusWindow::SetTypeOperation(const std::string& text) {
    model_.SetTypeOperation(text);
    Changed();
}

void StatusWindow::SetMax(long long size) {
    model_.SetMax(size);
    Changed();
}

void StatusWindow::SetNbOctet(long long bytes) {
    // Called for every block of a transfer: the widgets hear of it only when Stop is armed.
    if (model_.SetNbOctet(bytes)) {
        Changed();
    }
}

void StatusWindow::LoadFD(int files, int directories) {
    model_.LoadFD(files, directories);
    Changed();
}

std::string StatusWindow::Text() {
    return model_.Text();
}

void StatusWindow::SetNameFichier(const std::string& name) {
    model_.SetNameFichier(name);
    Changed();
}

void StatusWindow::SetNbFile(int index, int count) {
    if (model_.SetNbFile(index, count)) {
        Changed();
    }
}

void StatusWindow::Update() {
    if (!model_.Update()) {
        return;
    }
    Changed();
    // Only measured seconds are plotted: the first second of a file has no speed yet.
    const std::int64_t speed = model_.Speed();
    if (speed != kSpeedUnknown) {
        speedGraph_->AddValue(static_cast<float>(speed));
    }
}

void StatusWindow::Reset() {
    model_.Reset();
    Changed();
}

void StatusWindow::SetEnabledSHControl(bool enabled) {
    model_.SetEnabledSHControl(enabled);
    Changed();
}

void StatusWindow::SetEtatLog(bool checked) {
    model_.SetEtatLog(checked);
    Changed();
}

void StatusWindow::SetTitle(const std::string& title) {
    model_.SetTitle(title);
    Changed();
}

void StatusWindow::SetPulseRate(std::chrono::milliseconds interval) {
    pulse_.setInterval(interval);
}

void StatusWindow::Changed() {
    // One redraw for a burst of changes: only the first change after a redraw schedules one.
    if (redrawPending_.exchange(true)) {
        return;
    }
    Post(this, [this] { redraw_.start(); });
}

void StatusWindow::Redraw() {
    // Cleared before reading, so that a change made while this runs schedules the next redraw.
    redrawPending_ = false;
    const StatusView view = model_.View();
    setWindowTitle(QString::fromStdString(view.title));
    operation_->setText(QString::fromStdString(view.operation));
    counts_->setText(QString::fromStdString(view.counts));
    Show(group_, view.group);
    Show(file_, view.file);
    stop_->setEnabled(view.stopEnabled);
    logBox_->setChecked(view.logChecked);
    controlBox_->setChecked(view.controlChecked);
    controlBox_->setEnabled(view.controlEnabled);
}

void StatusWindow::MessageReceived(const Message& message) {
    switch (message.what) {
        case kStop:
            // The operation stops; the session goes on.
            if (owner_ != nullptr) {
                owner_->PostMessage(Message(kStopOperation));
            }
            break;
        case kLogBox:
            if (owner_ != nullptr) {
                owner_->PostMessage(Message(kToggleLog));
            }
            break;
        case kControlBox:
            ToggleOwner();
            break;
        default:
            break;
    }
}

void StatusWindow::ToggleOwner() {
    QWidget* window = owner_ != nullptr ? owner_->Widget() : nullptr;
    if (window == nullptr) {
        return;
    }
    window->setVisible(!window->isVisible());
}

void StatusWindow::closeEvent(QCloseEvent* event) {
    // No close box: the window system cannot close it, only its owner can.
    if (event->spontaneous()) {
        event->ignore();
        return;
    }
    QWidget::closeEvent(event);
}
