#include "SessionLayout.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QMainWindow>
#include <QMenuBar>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

#include <algorithm>

#include "Framer.h"
#include "LPBListView.h"
#include "MessageCodes.h"
#include "MessageHandler.h"
#include "PathLabel.h"
#include "StatusBar.h"

namespace {

// Host-side controls by name: disabled while a host operation runs.
const char* const kHostControlNames[] = {
    "logout",  "up2",   "go2",   "Mkd2", "Rmd2", "Del2",  "out",        "in",
    "Reload2", "rend2", "renf2", "Ind",  "Outd", "View2", "selectall2", "unselectall2"};

class Builder {
public:
    Builder(QMainWindow* window, MessageHandler* session, MessageHandler* application)
        : window_(window), session_(session), application_(application) {}

    SessionLayout::Widgets Build() {
        BuildMenus();
        auto* central = new QWidget(window_);
        auto* layout = new QVBoxLayout(central);
        layout->setContentsMargins(6, 6, 6, StatusBar::kHeight + 2);
        layout->setSpacing(6);
        auto* sides = new QHBoxLayout;
        sides->addWidget(BuildSide(true), 1);
        sides->addWidget(BuildTransferColumn());
        sides->addWidget(BuildSide(false), 1);
        layout->addLayout(sides, 1);
        auto* panels = new Framer("Frame3boutons", Framer::kSideBySide, 5, central);
        QWidget* localPanel = BuildButtonPanel(true);
        QWidget* hostPanel = BuildButtonPanel(false);
        panels->SetView1(localPanel);
        panels->SetView2(hostPanel);
        // The tab splits the panels in half: each half must hold the wider panel's captions.
        const QSize least = localPanel->minimumSizeHint().expandedTo(hostPanel->minimumSizeHint());
        panels->setMinimumWidth(2 * least.width() + panels->GetTabSize() + 4);
        panels->setFixedHeight(std::max(112, least.height()));
        layout->addWidget(panels);
        window_->setCentralWidget(central);
        ConnectPanes();
        for (const char* name : kHostControlNames) {
            auto [first, last] = widgets_.buttons.equal_range(name);
            for (auto it = first; it != last; ++it) {
                widgets_.hostControls.push_back(it->second);
            }
        }
        return widgets_;
    }

private:
    QAction* Item(QMenu* menu, const char* label, std::uint32_t code, QKeySequence shortcut = {},
                  bool toApplication = false) {
        QAction* action = menu->addAction(QString::fromUtf8(label));
        action->setShortcut(shortcut);
        MessageHandler* target = toApplication ? application_ : session_;
        QObject::connect(action, &QAction::triggered, window_, [target, code] {
            if (target != nullptr) {
                target->PostMessage(Message(code));
            }
        });
        return action;
    }

    void BuildMenus() {
        QMenuBar* bar = window_->menuBar();
        bar->setObjectName("menuFTP");
        const auto ctrl = Qt::CTRL;
        const auto ctrlAlt = Qt::CTRL | Qt::ALT;

        QMenu* session = bar->addMenu(QObject::tr("&Session"));
        widgets_.spawnItem = Item(session, "&Spawn a new connection for data exchanges", 50);
        widgets_.spawnItem->setCheckable(true);
        widgets_.spawnItem->setChecked(true);
        // The item keeps its own mark; the window reads it.
        widgets_.spawnItem->disconnect(window_);
        session->addSeparator();
        Item(session, "Reload &local", 4, ctrl | Qt::Key_R);
        Item(session, "Reload &host", 44, ctrlAlt | Qt::Key_R);
        session->addSeparator();
        Item(session, "Open &Tracker here", 41, ctrl | Qt::Key_T);
        session->addSeparator();
        Item(session, "Log&out", kQuitRequested, ctrl | Qt::Key_W);
        Item(session, "&Quick Logout", 3, ctrl | Qt::Key_X);

        QMenu* directory = bar->addMenu(QObject::tr("&Directory"));
        QMenu* localDirectory = directory->addMenu(QObject::tr("&Local"));
        Item(localDirectory, "&Change directory", 5, ctrl | Qt::Key_C);
        Item(localDirectory, "Create a &new directory", 7);
        Item(localDirectory, "&Rename selected folder", 60);
        Item(localDirectory, "&Delete selected folder", 9);
        QMenu* hostDirectory = directory->addMenu(QObject::tr("&Host"));
        Item(hostDirectory, "&Change directory", 6, ctrlAlt | Qt::Key_C);
        Item(hostDirectory, "Create a &new directory", 8);
        Item(hostDirectory, "&Rename selected folder", 65);
        Item(hostDirectory, "&Delete selected folder", 10);

        QMenu* files = bar->addMenu(QObject::tr("&Files"));
        QMenu* localFiles = files->addMenu(QObject::tr("&Local"));
        Item(localFiles, "Select &all files", 45, ctrl | Qt::Key_A);
        Item(localFiles, "&Clear selection", 47, ctrl | Qt::SHIFT | Qt::Key_A);
        localFiles->addSeparator();
        Item(localFiles, "&View selected file(s)", 16, ctrl | Qt::Key_V);
        Item(localFiles, "&Delete selected file(s)", 11, ctrl | Qt::Key_D);
        Item(localFiles, "&Rename selected file(s)", 70, ctrl | Qt::Key_E);
        localFiles->addSeparator();
        Item(localFiles, "&Gunzip", 30);
        Item(localFiles, "&Untar", 31);
        Item(localFiles, "Un&zip", 130);
        QMenu* hostFiles = files->addMenu(QObject::tr("&Host"));
        Item(hostFiles, "Select &all files", 46, ctrlAlt | Qt::Key_A);
        Item(hostFiles, "&Clear selection", 48, ctrlAlt | Qt::SHIFT | Qt::Key_A);
        hostFiles->addSeparator();
        Item(hostFiles, "&View selected file(s)", 17, ctrlAlt | Qt::Key_V);
        Item(hostFiles, "&Delete selected file(s)", 12, ctrlAlt | Qt::Key_D);
        Item(hostFiles, "&Rename selected file(s)", 75, ctrlAlt | Qt::Key_E);

        QMenu* windows = bar->addMenu(QObject::tr("&Windows"));
        Item(windows, "Show &main window", FourCC("Show"), ctrl | Qt::Key_M, true);
        windows->addSeparator();
        widgets_.logItem = Item(windows, "FTP &Log", 43, ctrl | Qt::Key_1);
        widgets_.logItem->setCheckable(true);
        widgets_.fullListingItem = Item(windows, "&Full Listing", 35, ctrl | Qt::Key_2);
        widgets_.fullListingItem->setCheckable(true);

        QMenu* help = bar->addMenu(QObject::tr("&Help"));
        Item(help, "&On-line help...", FourCC("help"), ctrl | Qt::Key_H, true);
        help->addSeparator();
        Item(help, "&About Tarvik", kAboutRequested, {}, true);
    }

    QWidget* BuildSide(bool local) {
        auto* side = new QWidget;
        auto* layout = new QVBoxLayout(side);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->setSpacing(3);
        auto* label = new PathLabel(local ? "Showdir1" : "Showdir2", side);
        label->setStyleSheet(
            "QLabel { background: rgb(230,230,230); color: black; padding: 3px 6px;"
            " border: 1px solid rgb(200,200,200); border-radius: 3px; }");
        auto* frame = new Framer(local ? "Frame1" : "Frame2", Framer::kStacked, 5, side);
        auto* directories = new LPBListView(local ? "listerep1" : "listerep2", false, frame);
        auto* files = new LPBListView(local ? "listefich1" : "listefich2", true, frame);
        files->setStyleSheet("QListView { color: rgb(0,0,100); }");
        directories->setAccessibleName(local ? QObject::tr("Local folders")
                                             : QObject::tr("Host folders"));
        directories->setAccessibleDescription(
            QObject::tr("Enter opens the folder, Backspace goes up one folder"));
        files->setAccessibleName(local ? QObject::tr("Local files") : QObject::tr("Host files"));
        files->setAccessibleDescription(QObject::tr("Backspace goes up one folder"));
        frame->SetView1(directories);
        frame->SetView2(files);
        frame->SetRatio(0.4F);
        if (local) {
            layout->addWidget(label);
        } else {
            auto* top = new QHBoxLayout;
            top->setSpacing(4);
            top->addWidget(label, 1);
            widgets_.securityMark = SecurityMark();
            top->addWidget(widgets_.securityMark);
            layout->addLayout(top);
        }
        layout->addWidget(frame, 1);
        std::uint32_t openCode = local ? 5 : 6;
        std::uint32_t selectionCode = local ? 80 : 81;
        MessageHandler* session = session_;
        QObject::connect(directories, &LPBListView::Invoked, window_,
                         [session, openCode] { session->PostMessage(Message(openCode)); });
        QObject::connect(
            files->selectionModel(), &QItemSelectionModel::selectionChanged, window_,
            [session, selectionCode] { session->PostMessage(Message(selectionCode)); });
        Message up = UpMessage(local);
        for (LPBListView* list : {directories, files}) {
            list->SetSide(local ? "local" : "host");
            QObject::connect(list, &LPBListView::UpRequested, window_,
                             [session, up] { session->PostMessage(up); });
        }
        (local ? widgets_.localDirectories : widgets_.hostDirectories) = directories;
        (local ? widgets_.localFiles : widgets_.hostFiles) = files;
        (local ? widgets_.localLabel : widgets_.hostLabel) = label;
        return side;
    }

    // Hidden until the log-on says what protects the session.
    static QLabel* SecurityMark() {
        auto* mark = new QLabel;
        mark->setObjectName("security");
        mark->setTextFormat(Qt::PlainText);
        mark->hide();
        return mark;
    }

    // What the "Up" button of a side posts.
    static Message UpMessage(bool local) {
        Message up(local ? 37 : 38);
        up.AddString("prompt", "..");
        return up;
    }

    // The caption whole with a little air, as the style's hint would leave it; the style's
    // wider minimum for any captioned button would not let the panels fit a small screen.
    static void KeepCaptionWhole(QPushButton* button) {
        const QStyle* style = button->style();
        const QFontMetrics metrics = button->fontMetrics();
        button->setMinimumWidth(
            metrics.horizontalAdvance(button->text()) + metrics.averageCharWidth() +
            style->pixelMetric(QStyle::PM_ButtonMargin, nullptr, button) +
            2 * style->pixelMetric(QStyle::PM_DefaultFrameWidth, nullptr, button));
    }

    // The tip is also what a screen reader says of the button; spoken replaces a caption that is
    // only a sign.
    QPushButton* Button(const char* name, const char* label, Message message,
                        const QString& tip = {}, const char* spoken = nullptr) {
        auto* button = new QPushButton(QString::fromUtf8(label));
        button->setObjectName(name);
        KeepCaptionWhole(button);
        button->setToolTip(tip);
        if (spoken != nullptr) {
            button->setAccessibleName(QObject::tr(spoken));
        }
        MessageHandler* session = session_;
        QObject::connect(button, &QPushButton::clicked, window_,
                         [session, message] { session->PostMessage(message); });
        widgets_.buttons.emplace(name, button);
        return button;
    }

    static QLabel* Caption(const char* text) {
        auto* caption = new QLabel(QObject::tr(text));
        caption->setAlignment(Qt::AlignCenter);
        caption->setStyleSheet("QLabel { color: rgb(110,110,110); font-size: 8pt; }");
        return caption;
    }

    QWidget* BuildTransferColumn() {
        auto* column = new QWidget;
        auto* layout = new QVBoxLayout(column);
        layout->setContentsMargins(0, 22, 0, 0);
        layout->addStretch();
        layout->addWidget(Caption("Files"));
        get_ = Button("in", "<", Message(2), QObject::tr(kGetFiles), "Get files");
        send_ = Button("out", ">", Message(1), QObject::tr(kSendFiles), "Send files");
        layout->addWidget(get_);
        layout->addWidget(send_);
        layout->addSpacing(6);
        layout->addWidget(
            Button("in", "<All", Message(15), QObject::tr("Get all host files"), "Get all files"));
        layout->addWidget(Button("out", "All>", Message(14), QObject::tr("Send all local files"),
                                 "Send all files"));
        layout->addSpacing(10);
        layout->addWidget(Caption("Trees"));
        getTree_ = Button("Ind", "<", Message(20), QObject::tr(kGetTree), "Get tree");
        sendTree_ = Button("Outd", ">", Message(21), QObject::tr(kSendTree), "Send tree");
        layout->addWidget(getTree_);
        layout->addWidget(sendTree_);
        layout->addSpacing(10);
        widgets_.ascii = new QCheckBox(QObject::tr("ASCII"));
        widgets_.ascii->setObjectName("ascii");
        widgets_.ascii->setAccessibleDescription(
            QObject::tr("Transfer as text, with the line ends of each side"));
        MessageHandler* session = session_;
        QObject::connect(widgets_.ascii, &QCheckBox::toggled, window_,
                         [session] { session->PostMessage(Message(13)); });
        layout->addWidget(widgets_.ascii);
        layout->addStretch();
        column->setFixedWidth(64);
        return column;
    }

    QWidget* BuildButtonPanel(bool local) {
        auto* panel = new QWidget;
        panel->setObjectName(local ? "viewb1" : "viewb2");
        auto* grid = new QGridLayout(panel);
        grid->setContentsMargins(4, 4, 4, 4);
        grid->setHorizontalSpacing(4);
        grid->setVerticalSpacing(4);
        auto name = [local](const char* stem) { return std::string(stem) + (local ? "1" : "2"); };
        // "%1" is the side: local or host.
        auto tip = [local](const char* text) {
            return QObject::tr(text).arg(local ? QObject::tr("local") : QObject::tr("host"));
        };
        auto* directory = new QLabel(QObject::tr("Directory"));
        directory->setObjectName(local ? "purpose1" : "purpose2");
        auto* files = new QLabel(QObject::tr("Files"));
        grid->addWidget(directory, 0, 0);
        int column = 1;
        for (auto [stem, label, code, text] :
             {std::tuple{"up", "Up", 0u, "Go up one %1 folder"},
              {"go", "Open", local ? 5u : 6u, "Open the selected %1 folder"},
              {"Mkd", "Create", local ? 7u : 8u, "Create a new %1 directory"},
              {"Rmd", "Delete", local ? 9u : 10u, "Delete the selected %1 folder"},
              {"rend", "Rename", local ? 60u : 65u, "Rename the selected %1 folder"}}) {
            std::string buttonName = name(stem);
            grid->addWidget(Button(buttonName.c_str(), label,
                                   code == 0 ? UpMessage(local) : Message(code), tip(text)),
                            0, column++);
        }
        grid->addWidget(files, 1, 0);
        column = 1;
        for (auto [stem, label, code, text] :
             {std::tuple{"Reload", "Reload", local ? 4u : 44u, "List the %1 folder again"},
              {"Del", "Delete", local ? 11u : 12u, "Delete the selected %1 files"},
              {"View", "View", local ? 16u : 17u, "View the selected %1 files"},
              {"renf", "Rename", local ? 70u : 75u, "Rename the selected %1 files"},
              {"selectall", "All", local ? 45u : 46u, "Select all %1 files"},
              {"unselectall", "Clear", local ? 47u : 48u, "Clear the %1 selection"}}) {
            std::string buttonName = name(stem);
            grid->addWidget(Button(buttonName.c_str(), label, Message(code), tip(text)), 1,
                            column++);
        }
        auto* tools = new QHBoxLayout;
        if (local) {
            tools->addWidget(Button("gunzip", "GUnZip", Message(30),
                                    QObject::tr("Unpack the selected gzip files")));
            tools->addWidget(Button("untar", "UnTar", Message(31),
                                    QObject::tr("Unpack the selected tar archives")));
            tools->addWidget(Button("unzip", "UnZip", Message(130),
                                    QObject::tr("Unpack the selected zip archives")));
            tools->addWidget(
                Button("exec", "Exec", Message(32), QObject::tr("Run the selected programs")));
            tools->addWidget(Button("browser", "Browser", Message(41),
                                    QObject::tr("Open the local folder in the file manager")));
        } else {
            tools->addWidget(Button("dirinfo", "Full Listing", Message(35)));
            tools->addWidget(Button("loginfo", "FTP Log", Message(43)));
            tools->addStretch();
            tools->addWidget(Button("logout", "Logout", Message(kQuitRequested)));
        }
        grid->addLayout(tools, 2, 0, 1, 7);
        return panel;
    }

    QPushButton* Find(const char* name) const { return widgets_.buttons.find(name)->second; }

    // The panes' context menus and drags do what the buttons do, with the same words as the
    // buttons' tips and the menu items.
    void ConnectPanes() {
        using C = LPBListView::Command;
        const C separator;
        widgets_.localDirectories->SetCommands(
            {C{QObject::tr("Open"), Find("go1")}, C{QObject::tr(kSendTree), sendTree_, true},
             separator, C{QObject::tr("Create a new directory"), Find("Mkd1")},
             C{QObject::tr("Rename selected folder"), Find("rend1"), true},
             C{QObject::tr("Delete selected folder"), Find("Rmd1"), true}, separator,
             C{QObject::tr("Reload local"), Find("Reload1")}});
        widgets_.hostDirectories->SetCommands(
            {C{QObject::tr("Open"), Find("go2")}, C{QObject::tr(kGetTree), getTree_, true},
             separator, C{QObject::tr("Create a new directory"), Find("Mkd2")},
             C{QObject::tr("Rename selected folder"), Find("rend2"), true},
             C{QObject::tr("Delete selected folder"), Find("Rmd2"), true}, separator,
             C{QObject::tr("Reload host"), Find("Reload2")}});
        widgets_.localFiles->SetCommands(
            {C{QObject::tr(kSendFiles), send_, true},
             C{QObject::tr("View selected file(s)"), Find("View1"), true},
             C{QObject::tr("Rename selected file(s)"), Find("renf1"), true},
             C{QObject::tr("Delete selected file(s)"), Find("Del1"), true}, separator,
             C{QObject::tr("Gunzip"), Find("gunzip"), true},
             C{QObject::tr("Untar"), Find("untar"), true},
             C{QObject::tr("Unzip"), Find("unzip"), true},
             C{QObject::tr("Exec"), Find("exec"), true}, separator,
             C{QObject::tr("Select all files"), Find("selectall1")},
             C{QObject::tr("Clear selection"), Find("unselectall1"), true},
             C{QObject::tr("Reload local"), Find("Reload1")}});
        widgets_.hostFiles->SetCommands(
            {C{QObject::tr(kGetFiles), get_, true},
             C{QObject::tr("View selected file(s)"), Find("View2"), true},
             C{QObject::tr("Rename selected file(s)"), Find("renf2"), true},
             C{QObject::tr("Delete selected file(s)"), Find("Del2"), true}, separator,
             C{QObject::tr("Select all files"), Find("selectall2")},
             C{QObject::tr("Clear selection"), Find("unselectall2"), true},
             C{QObject::tr("Reload host"), Find("Reload2")}});

        // A drop on the other side is the arrow towards it: files or a whole tree.
        const std::map<const LPBListView*, QPushButton*> arrows = {
            {widgets_.localFiles, send_},
            {widgets_.localDirectories, sendTree_},
            {widgets_.hostFiles, get_},
            {widgets_.hostDirectories, getTree_}};
        for (LPBListView* list : {widgets_.localFiles, widgets_.localDirectories,
                                  widgets_.hostFiles, widgets_.hostDirectories}) {
            list->SetDropHandler(
                [arrows](const LPBListView& source) { arrows.at(&source)->click(); });
        }
    }

    static constexpr const char* kGetFiles = "Get the selected host files";
    static constexpr const char* kSendFiles = "Send the selected local files";
    static constexpr const char* kGetTree = "Get the selected host directory tree";
    static constexpr const char* kSendTree = "Send the selected local directory tree";

    QPushButton* get_ = nullptr;
    QPushButton* send_ = nullptr;
    QPushButton* getTree_ = nullptr;
    QPushButton* sendTree_ = nullptr;
    QMainWindow* window_;
    MessageHandler* session_;
    MessageHandler* application_;
    SessionLayout::Widgets widgets_;
};

}  // namespace

SessionLayout::Widgets SessionLayout::Build(QMainWindow* window, MessageHandler* session,
                                            MessageHandler* application) {
    return Builder(window, session, application).Build();
}
