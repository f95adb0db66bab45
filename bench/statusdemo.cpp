// Drives a status window and a log window through a fake transfer of a group of files.
//   statusdemo              runs until closed
//   statusdemo --shots DIR  saves DIR/status-window.png and DIR/log-window.png in the middle
//                           of the second file, then quits
//   statusdemo --speed      shows the "Speed" page while large files move at a varying speed,
//                           one stalled for a while; a demo second lasts 100 ms
//   statusdemo --speed --shots DIR  saves DIR/status-speed.png once 260 seconds are plotted
#include <QApplication>
#include <QDir>
#include <QPixmap>
#include <QScreen>
#include <QTabWidget>
#include <QTimer>

#include <atomic>
#include <chrono>
#include <cmath>
#include <string>
#include <thread>
#include <vector>

#include "GraphView.h"
#include "LogWindow.h"
#include "MessageHandler.h"
#include "StatusWindow.h"
#include "ThreadSet.h"

namespace {

// Stands in for the session window, which owns the two windows and hears their messages.
class FakeSession : public QWidget, public MessageHandler {
public:
    FakeSession() : MessageHandler(this) {}
    void MessageReceived(const Message&) override {}
};

struct FakeFile {
    std::string name;
    int size;
};

const std::vector<FakeFile> kFiles = {
    {"README.txt", 3200},
    {"debian-12.5.0-amd64-netinst.iso", 7340032},
    {"SHA256SUMS", 1150},
    {"debian-12.5.0-amd64-DVD-1.iso.torrent", 184320},
};

constexpr int kBytesPerSecond = 1400000;
constexpr auto kTick = std::chrono::milliseconds(50);

void Transfer(StatusWindow* status, LogWindow* log, const std::atomic<bool>& quit) {
    status->SetTitle("ftp.debian.org");
    status->SetTypeOperation("Receiving files...");
    const int count = static_cast<int>(kFiles.size());
    for (int index = 1; index <= count && !quit; ++index) {
        const FakeFile& file = kFiles[index - 1];
        log->AddLine("RETR " + file.name);
        log->AddLine("150 Opening BINARY mode data connection for " + file.name + " (" +
                     std::to_string(file.size) + " bytes).");
        status->SetNbFile(index, count);
        status->SetNameFichier(file.name);
        status->SetMax(file.size);
        const int chunk = kBytesPerSecond / 20;
        for (int sent = 0; sent < file.size && !quit; sent += chunk) {
            std::this_thread::sleep_for(kTick);
            status->SetNbOctet(std::min(chunk, file.size - sent));
        }
        log->AddLine("226 Transfer complete.");
    }
    status->SetTypeOperation("Idle.");
}

// The speed graph's demo: big files, each at its own pace with a wave on it, the second one
// stalling for 15 s midway.
struct PacedFile {
    std::string name;
    long long size;
    double bytesPerSecond;
};

const std::vector<PacedFile> kPacedFiles = {
    {"debian-12.5.0-amd64-netinst.iso", 120000000, 1500000},
    {"debian-live-12.5.0-amd64-kde.iso", 70000000, 700000},
    {"debian-12.5.0-amd64-DVD-1.iso", 400000000, 2200000},
};

// Time runs ten times faster, so that a screenful of seconds fills in half a minute.
constexpr int kDemoSecondMs = 100;
constexpr auto kPacedTick = std::chrono::milliseconds(20);
constexpr double kTickSeconds = static_cast<double>(kPacedTick.count()) / kDemoSecondMs;

std::int64_t DemoSeconds() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
               .count() /
           kDemoSecondMs;
}

void PacedTransfer(StatusWindow* status, LogWindow* log, const std::atomic<bool>& quit) {
    status->SetTitle("ftp.debian.org");
    status->SetTypeOperation("Receiving files...");
    const int count = static_cast<int>(kPacedFiles.size());
    for (int index = 1; index <= count && !quit; ++index) {
        const PacedFile& file = kPacedFiles[index - 1];
        log->AddLine("RETR " + file.name);
        status->SetNbFile(index, count);
        status->SetNameFichier(file.name);
        status->SetMax(file.size);
        double seconds = 0;
        for (long long sent = 0; sent < file.size && !quit; seconds += kTickSeconds) {
            std::this_thread::sleep_for(kPacedTick);
            if (index == 2 && seconds >= 30 && seconds < 45) {
                continue;
            }
            const double wave = 1 + 0.6 * std::sin(seconds / 4) * std::sin(seconds / 11);
            const long long chunk =
                std::min(file.size - sent, std::llround(file.bytesPerSecond * kTickSeconds * wave));
            status->SetNbOctet(chunk);
            sent += chunk;
        }
        log->AddLine("226 Transfer complete.");
    }
    status->SetTypeOperation("Idle.");
}

// True once the second file is under way and its speed has been measured.
bool MiddleOfSecondFile(const StatusWindow& status) {
    const StatusView view = status.View();
    const IndicatorModel& file = view.file.figures;
    return view.group.figures.Position() == 2 && file.Max() > 0 &&
           file.Position() * 100LL / file.Max() >= 42 && !file.Text1().empty();
}

}  // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tarvik"));
    const QStringList arguments = QApplication::arguments();
    const int shotsAt = static_cast<int>(arguments.indexOf(QStringLiteral("--shots")));
    const QString shots =
        shotsAt > 0 && shotsAt + 1 < arguments.size() ? arguments[shotsAt + 1] : QString();
    const bool speed = arguments.contains(QStringLiteral("--speed"));

    FakeSession session;
    auto* status = speed ? new StatusWindow(&session, DemoSeconds) : new StatusWindow(&session);
    auto* graph = status->findChild<GraphView*>(QStringLiteral("Speed"));
    if (speed) {
        status->SetPulseRate(std::chrono::milliseconds(kDemoSecondMs));
        status->findChild<QTabWidget*>()->setCurrentWidget(graph);
    }
    auto* log = new LogWindow("FTP Log: ftp.debian.org", &session);
    log->setGeometry(560, 200, 451, 300);
    status->show();
    log->show();
    log->AddLine("LOGIN to ftp.debian.org ... (40s time out)");
    log->AddLine("220 ftp.debian.org FTP server");
    log->AddLine("USER anonymous");
    log->AddLine("331 Please specify the password.");
    log->AddLine("PASS ********");
    log->AddLine("230 Login successful.");
    log->AddLine("CWD /debian-cd/current/amd64/iso-cd");
    log->AddLine("250 Directory successfully changed.");
    log->AddLine("TYPE I");
    log->AddLine("200 Switching to Binary mode.");

    std::atomic<bool> quit = false;
    ThreadSet threads;
    threads.Spawn("ThreadIN", [&] {
        if (speed) {
            PacedTransfer(status, log, quit);
        } else {
            Transfer(status, log, quit);
        }
    });

    QTimer watch;
    if (speed && !shots.isEmpty()) {
        QObject::connect(&watch, &QTimer::timeout, [&] {
            if (graph->Count() < 260) {
                return;
            }
            watch.stop();
            QDir().mkpath(shots);
            status->grab().save(shots + QStringLiteral("/status-speed.png"));
            quit = true;
            threads.WhenIdle(&session, [] { QApplication::exit(0); });
        });
        watch.start(50);
    } else if (!shots.isEmpty()) {
        QObject::connect(&watch, &QTimer::timeout, [&] {
            if (!MiddleOfSecondFile(*status)) {
                return;
            }
            watch.stop();
            // The widgets follow the figures after a short batching delay.
            QTimer::singleShot(150, [&] {
                QDir().mkpath(shots);
                status->grab().save(shots + QStringLiteral("/status-window.png"));
                log->grab().save(shots + QStringLiteral("/log-window.png"));
                QApplication::primaryScreen()->grabWindow(0).save(shots +
                                                                  QStringLiteral("/screen.png"));
                quit = true;
                // exit, not quit: quit would ask the windows to close, and these two refuse.
                threads.WhenIdle(&session, [] { QApplication::exit(0); });
            });
        });
        watch.start(100);
    }
    QObject::connect(&application, &QApplication::aboutToQuit, [&] { quit = true; });
    const int result = QApplication::exec();
    // The worker reports to the windows: let it end before they go.
    while (threads.Running() > 0) {
        std::this_thread::sleep_for(kTick);
    }
    return result;
}
