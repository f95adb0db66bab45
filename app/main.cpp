// Tarvik: starts the application, with Quick-Launch files named on the command line.
#include <QApplication>
#include <QMessageBox>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "Alert.h"
#include "ConfigManager.h"
#include "TalismanApplication.h"
#include "TalismanWindow.h"

int main(int argc, char** argv) {
    std::printf("%s\n", TalismanWindow::kTitle);
    std::printf("Graphical FTP client; settings in %s\n", ConfigManager::SettingsFile().c_str());
    std::fflush(stdout);
    QApplication application(argc, argv);
    QApplication::setApplicationName("Tarvik");
    QApplication::setOrganizationName("Marlowen");
    QApplication::setQuitOnLastWindowClosed(false);
    Alert::InstallEngineHook();
    ConfigManager::SetCorruptionHandler([](const std::string& text) {
        QMessageBox::critical(nullptr, "", QString::fromStdString(text));
        std::exit(0);
    });
    TalismanApplication tarvik;
    std::vector<std::string> files(argv + 1, argv + argc);
    tarvik.ArgvReceived(files);
    tarvik.ReadyToRun();
    return application.exec();
}
