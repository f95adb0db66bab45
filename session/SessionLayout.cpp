#include "SessionLayout.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QMainWindow>
#include <QMenuBar>
#include <QPushButton>
#include <QVBoxLayout>

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
        panels->SetView1(BuildButtonPanel(true));
        panels->SetView2(BuildButtonPanel(false));
        panels->setFixedHeight(112);
        layout->addWidget(panels);
        window_->setCentralWidget(central);
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

        QMenu* session = bar->addMenu(QObject::tr("Session"));
        widgets_.spawnItem = Item(session, "Spawn a new connection for data exchanges", 50);
        widgets_.spawnItem->setCheckable(true);
        widgets_.spawnItem->setChecked(true);
        // The item keeps its own mark; the window reads it.
        widgets_.spawnItem->disconnect(window_);
        session->addSeparator();
        Item(session, "Reload local", 4, ctrl | Qt::Key_R);
        Item(session, "Reload host", 44, ctrlAlt | Qt::Key_R);
        session->addSeparator();
        Item(session, "Open Tracker here", 41, ctrl | Qt::Key_T);
        session->addSeparator();
        Item(session, "Logout", kQuitRequested, ctrl | Qt::Key_W);
        Item(session, "Quick Logout", 3, ctrl | Qt::Key_X);

        QMenu* directory = bar->addMenu(QObject::tr("Directory"));
        QMenu* localDirectory = directory->addMenu(QObject::tr("Local"));
        Item(localDirectory, "Change directory", 5, ctrl | Qt::Key_C);
        Item(localDirectory, "Create a new directory", 7);
        Item(localDirectory, "Rename selected folder", 60);
        Item(localDirectory, "Delete selected folder", 9);
        QMenu* hostDirectory = directory->addMenu(QObject::tr("Host"));
        Item(hostDirectory, "Change directory", 6, ctrlAlt | Qt::Key_C);
        Item(hostDirectory, "Create a new directory", 8);
        Item(hostDirectory, "Rename selected folder", 65);
        Item(hostDirectory, "Delete selected folder", 10);

        QMenu* files = bar->addMenu(QObject::tr("Files"));
        QMenu* localFiles = files->addMenu(QObject::tr("Local"));
        Item(localFiles, "Select all files", 45, ctrl | Qt::Key_A);
        Item(localFiles, "Clear selection", 47, ctrl | Qt::SHIFT | Qt::Key_A);
        localFiles->addSeparator();
        Item(localFiles, "View selected file(s)", 16, ctrl | Qt::Key_V);
        Item(localFiles, "Delete selected file(s)", 11, ctrl | Qt::Key_D);
        Item(localFiles, "Rename selected file(s)", 70, ctrl | Qt::Key_E);
        localFiles->addSeparator();
        Item(localFiles, "Gunzip", 30);
        Item(localFiles, "Untar", 31);
        Item(localFiles, "Unzip", 130);
        QMenu* hostFiles = files->addMenu(QObject::tr("Host"));
        Item(hostFiles, "Select all files", 46, ctrlAlt | Qt::Key_A);
        Item(hostFiles, "Clear selection", 48, ctrlAlt | Qt::SHIFT | Qt::Key_A);
        hostFiles->addSeparator();
        Item(hostFiles, "View selected file(s)", 17, ctrlAlt | Qt::Key_V);
        Item(hostFiles, "Delete selected file(s)", 12, ctrlAlt | Qt::Key_D);
        Item(hostFiles, "Rename selected file(s)", 75, ctrlAlt | Qt::Key_E);

        QMenu* windows = bar->addMenu(QObject::tr("Windows"));
        Item(windows, "Show main window", FourCC("Show"), ctrl | Qt::Key_M, true);
        windows->addSeparator();
        widgets_.logItem = Item(windows, "FTP Log", 43, ctrl | Qt::Key_1);
        widgets_.logItem->setCheckable(true);
        widgets_.fullListingItem = Item(windows, "Full Listing", 35, ctrl | Qt::Key_2);
        widgets_.fullListingItem->setCheckable(true);

        QMenu* help = bar->addMenu(QObject::tr("Help"));
        Item(help, "On-line help...", FourCC("help"), ctrl | Qt::Key_H, true);
        help->addSeparator();
        Item(help, "About Tarvik", kAboutRequested, {}, true);
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
        frame->SetView1(directories);
        frame->SetView2(files);
        frame->SetRatio(0.4F);
        layout->addWidget(label);
        layout->addWidget(frame, 1);
        std::uint32_t openCode = local ? 5 : 6;
        std::uint32_t selectionCode = local ? 80 : 81;
        MessageHandler* session = session_;
        QObject::connect(directories, &LPBListView::Invoked, window_,
                         [session, openCode] { session->PostMessage(Message(openCode)); });
        QObject::connect(
            files->selectionModel(), &QItemSelectionModel::selectionChanged, window_,
            [session, selectionCode] { session->PostMessage(Message(selectionCode)); });
        (local ? widgets_.localDirectories : widgets_.hostDirectories) = directories;
        (local ? widgets_.localFiles : widgets_.hostFiles) = files;
        (local ? widgets_.localLabel : widgets_.hostLabel) = label;
        return side;
    }

    QPushButton* Button(const char* name, const char* label, Message message,
                        const char* tip = nullptr) {
        auto* button = new QPushButton(QString::fromUtf8(label));
        button->setObjectName(name);
        button->setFocusPolicy(Qt::NoFocus);
        if (tip != nullptr) {
            button->setToolTip(QString::fromUtf8(tip));
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
        layout->addWidget(Button("in", "<", Message(2), "Get the selected host files"));
        layout->addWidget(Button("out", ">", Message(1), "Send the selected local files"));
        layout->addSpacing(6);
        layout->addWidget(Button("in", "<All", Message(15), "Get all host files"));
        layout->addWidget(Button("out", "All>", Message(14), "Send all local files"));
        layout->addSpacing(10);
        layout->addWidget(Caption("Trees"));
        layout->addWidget(Button("Ind", "<", Message(20), "Get the selected host directory tree"));
        layout->addWidget(
            Button("Outd", ">", Message(21), "Send the selected local directory tree"));
        layout->addSpacing(10);
        widgets_.ascii = new QCheckBox(QObject::tr("ASCII"));
        widgets_.ascii->setObjectName("ascii");
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
        auto* directory = new QLabel(QObject::tr("Directory"));
        directory->setObjectName(local ? "purpose1" : "purpose2");
        auto* files = new QLabel(QObject::tr("Files"));
        grid->addWidget(directory, 0, 0);
        Message up(local ? 37 : 38);
        up.AddString("prompt", "..");
        int column = 1;
        for (auto [stem, label, code] : {std::tuple{"up", "Up", 0u},
                                         {"go", "Open", local ? 5u : 6u},
                                         {"Mkd", "Create", local ? 7u : 8u},
                                         {"Rmd", "Delete", local ? 9u : 10u},
                                         {"rend", "Rename", local ? 60u : 65u}}) {
            std::string buttonName = name(stem);
            grid->addWidget(Button(buttonName.c_str(), label, code == 0 ? up : Message(code)), 0,
                            column++);
        }
        grid->addWidget(files, 1, 0);
        column = 1;
        for (auto [stem, label, code] : {std::tuple{"Reload", "Reload", local ? 4u : 44u},
                                         {"Del", "Delete", local ? 11u : 12u},
                                         {"View", "View", local ? 16u : 17u},
                                         {"renf", "Rename", local ? 70u : 75u},
                                         {"selectall", "All", local ? 45u : 46u},
                                         {"unselectall", "Clear", local ? 47u : 48u}}) {
            std::string buttonName = name(stem);
            grid->addWidget(Button(buttonName.c_str(), label, Message(code)), 1, column++);
        }
        auto* tools = new QHBoxLayout;
        if (local) {
            tools->addWidget(Button("gunzip", "GUnZip", Message(30)));
            tools->addWidget(Button("untar", "UnTar", Message(31)));
            tools->addWidget(Button("unzip", "UnZip", Message(130)));
            tools->addWidget(Button("exec", "Exec", Message(32)));
            tools->addWidget(Button("browser", "Browser", Message(41)));
        } else {
            tools->addWidget(Button("dirinfo", "Full Listing", Message(35)));
            tools->addWidget(Button("loginfo", "FTP Log", Message(43)));
            tools->addStretch();
            tools->addWidget(Button("logout", "Logout", Message(kQuitRequested)));
        }
        grid->addLayout(tools, 2, 0, 1, 7);
        return panel;
    }

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
