#pragma once

#include <map>
#include <string>
#include <vector>

class LPBListView;
class MessageHandler;
class PathLabel;
class QAction;
class QCheckBox;
class QLabel;
class QMainWindow;
class QPushButton;

// Builds the session window's menu bar, its two sides and its buttons. Every menu item and button
// posts its code to the window (or to the application for "Show", "help" and "About"); the panes'
// context menus, their Backspace and drags from one side to the other do what the buttons do.
class SessionLayout {
public:
    struct Widgets {
        LPBListView* localDirectories = nullptr;
        LPBListView* localFiles = nullptr;
        LPBListView* hostDirectories = nullptr;
        LPBListView* hostFiles = nullptr;
        PathLabel* localLabel = nullptr;
        PathLabel* hostLabel = nullptr;
        // Beside the host path: what protects the session, once logged on.
        QLabel* securityMark = nullptr;
        QAction* spawnItem = nullptr;
        QAction* logItem = nullptr;
        QAction* fullListingItem = nullptr;
        QCheckBox* ascii = nullptr;
        std::multimap<std::string, QPushButton*> buttons;
        // Disabled while a host operation runs.
        std::vector<QPushButton*> hostControls;
    };

    static Widgets Build(QMainWindow* window, MessageHandler* session, MessageHandler* application);
};
