#pragma once

class LPBListView;
class MessageHandler;
class QCheckBox;
class QComboBox;
class QGroupBox;
class QLineEdit;
class QListWidget;
class QMainWindow;
class QMenu;
class QPushButton;
class QTabWidget;
class QTextEdit;

// Builds the main window's menus and its three pages: the connection form with the saved forms,
// the firewall settings and the display settings. Controls post their codes to the window.
class TalismanLayout {
public:
    struct Widgets {
        QTabWidget* tabs = nullptr;
        QGroupBox* connectFrame = nullptr;
        QLineEdit* host = nullptr;
        QLineEdit* login = nullptr;
        QLineEdit* password = nullptr;
        QPushButton* mainServer = nullptr;
        QPushButton* mirrorField = nullptr;
        QMenu* mirrors = nullptr;
        QLineEdit* localDirectory = nullptr;
        QLineEdit* hostDirectory = nullptr;
        QLineEdit* port = nullptr;
        QCheckBox* passive = nullptr;
        QComboBox* security = nullptr;
        QTextEdit* comments = nullptr;
        QListWidget* forms = nullptr;
        QPushButton* connect = nullptr;
        QCheckBox* useFirewall = nullptr;
        QLineEdit* firewallHost = nullptr;
        QLineEdit* firewallLogin = nullptr;
        QLineEdit* firewallPassword = nullptr;
        QLineEdit* firewallPort = nullptr;
        QLineEdit* firewallCommand = nullptr;
        QPushButton* fontField = nullptr;
        QMenu* fonts = nullptr;
        QLineEdit* fontSize = nullptr;
        LPBListView* preview = nullptr;
    };

    static Widgets Build(QMainWindow* window, MessageHandler* handler, MessageHandler* application);
};
