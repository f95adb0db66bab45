// Tarvik: starts the application with the Quick-Launch files and ftp:// links it is given, or
// hands them to the Tarvik already running in this desktop session.
#include <QApplication>
#include <QMessageBox>
#include <QStringList>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "Alert.h"
#include "ConfigManager.h"
#include "Emblem.h"
#include "LaunchArguments.h"
#include "TalismanApplication.h"
#include "TalismanWindow.h"
#include "TarvikBus.h"

namespace {

// Ends the run when the command line asks only for a text, or is wrong.
std::optional<int> AnswerAtOnce(const LaunchArguments& arguments) {
    if (arguments.error) {
        std::fprintf(stderr, "%s\n%s", arguments.error->c_str(), LaunchArguments::kUsage);
        return 2;
    }
    if (arguments.help) {
        std::fputs(LaunchArguments::kUsage, stdout);
        return 0;
    }
    if (arguments.version) {
        std::printf("%s\n", TalismanWindow::kTitle);
        return 0;
    }
    return std::nullopt;
}

}  // namespace

int main(int argc, char** argv) {
    const LaunchArguments arguments =
        LaunchArguments::Parse(std::vector<std::string>(argv + 1, argv + argc));
    if (std::optional<int> status = AnswerAtOnce(arguments)) {
        return *status;
    }
    std::printf("%s\n", TalismanWindow::kTitle);
    std::printf("Graphical FTP client; settings in %s\n", ConfigManager::SettingsFile().c_str());
    std::fflush(stdout);
    QApplication application(argc, argv);
    QApplication::setApplicationName("Tarvik");
    QApplication::setOrganizationName("Marlowen");
    QApplication::setDesktopFileName("org.marlowen.Tarvik");
    QApplication::setWindowIcon(QIcon(Emblem::Draw(128)));
    QApplication::setQuitOnLastWindowClosed(false);

    TarvikBus bus;
    if (bus.Claim() == TarvikBus::Claimed::ByAnother) {
        QStringList items;
        for (const std::string& item : arguments.items) {
            items << QString::fromStdString(item);
        }
        if (TarvikBus::HandOver(items, arguments.desktop)) {
            return 0;
        }
        std::fprintf(stderr, "The Tarvik already running does not answer: starting another.\n");
    }

    Alert::InstallEngineHook();
    ConfigManager::SetCorruptionHandler([](const std::string& text) {
        QMessageBox::critical(nullptr, "", QString::fromStdString(text));
        std::exit(0);
    });
    TalismanApplication tarvik;
    bus.Serve(&tarvik);
    tarvik.Open(arguments.items, arguments.desktop);
    tarvik.ReadyToRun();
    tarvik.ShowSplash();
    return application.exec();
}
