// sessionbench: a real session window driven as a user drives it, timed, with the longest time
// the GUI thread did not answer meanwhile.
//   sessionbench URL [--active]
//       lists the host folder URL: log-on and first listing, then a reload
//   sessionbench [--active|--passive] [--ascii] --get-tree URL LOCALDIR
//       the window's recursive get of the host folder URL into LOCALDIR/<its name>
//   sessionbench [--active|--passive] [--ascii] --put-tree LOCALDIR/dir URL
//       the window's recursive send of the local folder into the host folder URL
//   sessionbench [--active|--passive] [--ascii] --get-file URL LOCALDIR
//       the window's get of one host file, on the session's own connection
// --wait SECONDS lets the session idle after the log-on, before the operation (past a server's
// idle timeout, say); --hold keeps the window open afterwards, --ask shows the window's questions
// as boxes instead
// of answering their first button, and --rename NAME opens the rename prompt of the host file
// NAME after the listing (all for screenshots under Xvfb). The transfers exit 0 only
// when every file moved.
#include <QAction>
#include <QApplication>
#include <QElapsedTimer>
#include <QPointer>
#include <QTimer>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Alert.h"
#include "FTPWindow.h"
#include "FtpUrl.h"
#include "LPBListView.h"

namespace {

namespace fs = std::filesystem;

// Ticks every few milliseconds on the GUI thread and keeps the longest gap between two ticks.
class StallMeter {
public:
    StallMeter() {
        clock_.start();
        QObject::connect(&timer_, &QTimer::timeout, [this] {
            qint64 now = clock_.elapsed();
            longest_ = std::max(longest_, now - last_);
            last_ = now;
        });
        timer_.start(5);
    }
    void Restart() {
        last_ = clock_.elapsed();
        longest_ = 0;
    }
    qint64 Longest() const { return longest_; }

private:
    QTimer timer_;
    QElapsedTimer clock_;
    qint64 last_ = 0;
    qint64 longest_ = 0;
};

template <typename Done>
double TimeUntil(const Done& done) {
    QElapsedTimer clock;
    clock.start();
    while (!done()) {
        QApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return clock.elapsed() / 1000.0;
}

// The most memory the process held at once (VmHWM), as the system counts it.
long long PeakMegabytes() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:")) {
            return std::atoll(line.c_str() + 6) / 1024;
        }
    }
    return -1;
}

struct Options {
    std::string mode = "list";
    int passive = 1;
    bool ascii = false;
    bool ask = false;
    int hold = 0;
    int wait = 0;
    std::string rename;
    std::vector<std::string> words;
};

int Usage() {
    std::fprintf(
        stderr,
        "usage: sessionbench URL [--active]\n"
        "       sessionbench [--active|--passive] [--ascii] --get-tree URL LOCALDIR\n"
        "       sessionbench [--active|--passive] [--ascii] --put-tree LOCALDIR/dir URL\n"
        "       sessionbench [--active|--passive] [--ascii] --get-file URL LOCALDIR\n"
        "       any of them with --wait SECONDS, --hold SECONDS, --ask and --rename NAME\n");
    return 64;
}

bool Parse(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        std::string word = argv[i];
        if (word == "--active" || word == "--passive") {
            options.passive = word == "--passive" ? 1 : 0;
        } else if (word == "--ascii") {
            options.ascii = true;
        } else if (word == "--ask") {
            options.ask = true;
        } else if (word == "--rename" && i + 1 < argc) {
            options.rename = argv[++i];
        } else if (word == "--hold" && i + 1 < argc) {
            options.hold = std::atoi(argv[++i]);
        } else if (word == "--wait" && i + 1 < argc) {
            options.wait = std::atoi(argv[++i]);
        } else if (word == "--get-tree" || word == "--put-tree" || word == "--get-file") {
            options.mode = word.substr(2);
        } else if (word.starts_with("--")) {
            return false;
        } else {
            options.words.push_back(word);
        }
    }
    return options.words.size() == (options.mode == "list" ? 1u : 2u);
}

// Files, folders and bytes below a local folder.
struct Sizes {
    long long files = 0;
    long long folders = 0;
    long long bytes = 0;
};

Sizes Measure(const fs::path& root) {
    Sizes sizes;
    std::error_code error;
    for (auto entry = fs::recursive_directory_iterator(root, error);
         entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        if (entry->is_directory()) {
            ++sizes.folders;
        } else if (entry->is_regular_file()) {
            ++sizes.files;
            sizes.bytes += static_cast<long long>(entry->file_size());
        }
    }
    return sizes;
}

// A window logged on to the host folder `start`; `seconds` gets the time from the log-on's start
// to both panes shown, and the stall meter starts with it. None when the log-on failed: the
// window has closed itself then.
QPointer<FTPWindow> OpenWindow(const FtpUrl& url, const Options& options, const std::string& start,
                               const std::string& local, StallMeter& stalls,
                               double* seconds = nullptr) {
    const std::string user = url.user.value_or("anonymous");
    QPointer<FTPWindow> window = new FTPWindow(
        QRect(60, 60, 460, 525), "Tarvik Transfer  Host: " + url.host + " Login: " + user + " ",
        url.host, user, url.password.value_or("sessionbench@localhost"), "", "", 0, 6000,
        options.passive);
    window->show();
    // The first paint of a new window (fonts, icon theme) is start-up, not work: let it pass.
    QElapsedTimer settle;
    settle.start();
    TimeUntil([&settle] { return settle.elapsed() > 500; });
    FTPWindow::LogOn logOn;
    logOn.port = url.port;
    logOn.startPath = start;
    if (!local.empty()) {
        logOn.localDirectory = local;
    }
    stalls.Restart();
    window->Init(logOn);
    double loggedOn =
        TimeUntil([&] { return !window || (!window->IsLoggingOn() && !window->IsBusy()); });
    if (!window || !window->IsConnected()) {
        std::fprintf(stderr, "sessionbench: the log-on to %s failed\n", url.host.c_str());
        TimeUntil([&] { return !window; });
        return nullptr;
    }
    if (seconds != nullptr) {
        *seconds = loggedOn;
    }
    if (options.ascii) {
        window->PostMessage(Message(FTPWindow::kToggleAscii));
    }
    window->SpawnItem()->setChecked(false);
    return window;
}

// The session left alone for a while, the window answering meanwhile.
void Idle(int seconds) {
    QElapsedTimer clock;
    clock.start();
    TimeUntil([&] { return clock.elapsed() >= seconds * 1000LL; });
}

// Posts one command and waits for the window to be free again: seconds taken.
double RunCommand(FTPWindow& window, std::uint32_t code) {
    QElapsedTimer clock;
    clock.start();
    // Handled at once, as a click is: the window is busy when this returns.
    window.MessageReceived(Message(code));
    TimeUntil([&] { return !window.IsBusy(); });
    return clock.elapsed() / 1000.0;
}

int List(QPointer<FTPWindow>& window, const FtpUrl& url, const Options& options,
         StallMeter& stalls) {
    double seconds = 0;
    window = OpenWindow(url, options, url.path, "", stalls, &seconds);
    if (!window) {
        return 1;
    }
    std::size_t shown =
        window->HostFiles()->Items().size() + window->HostDirectories()->Items().size();
    std::printf(
        "log-on and first listing: %zu entries shown in %.3f s, longest GUI stall %lld ms\n", shown,
        seconds, static_cast<long long>(stalls.Longest()));
    Idle(options.wait);
    stalls.Restart();
    double reload = RunCommand(*window, FTPWindow::kReloadHost);
    shown = window->HostFiles()->Items().size() + window->HostDirectories()->Items().size();
    std::printf("reload: %zu entries shown in %.3f s, longest GUI stall %lld ms\n", shown, reload,
                static_cast<long long>(stalls.Longest()));
    return 0;
}

// A tree or a file, chosen in the window's own lists and moved by its own commands.
int Transfer(QPointer<FTPWindow>& window, const FtpUrl& url, const Options& options,
             const fs::path& local, StallMeter& stalls) {
    std::string host = options.mode == "put-tree" ? url.path : url.Folder();
    std::string name = options.mode == "put-tree" ? local.filename().string() : url.Name();
    fs::path folder = options.mode == "put-tree" ? local.parent_path() : local;
    window = OpenWindow(url, options, host, folder.string(), stalls);
    if (!window) {
        return 1;
    }
    LPBListView* list = options.mode == "get-tree"   ? window->HostDirectories()
                        : options.mode == "put-tree" ? window->LocalDirectories()
                                                     : window->HostFiles();
    if (name.empty() || !list->SelectText(name)) {
        std::fprintf(stderr, "sessionbench: %s is not listed\n", name.c_str());
        return 1;
    }
    Idle(options.wait);
    std::uint32_t code = options.mode == "get-tree"   ? FTPWindow::kGetTree
                         : options.mode == "put-tree" ? FTPWindow::kSendTree
                                                      : FTPWindow::kGetSelected;
    stalls.Restart();
    double seconds = RunCommand(*window, code);
    std::error_code error;
    auto fileSize = static_cast<long long>(fs::file_size(folder / name, error));
    bool whole = options.mode == "get-file" ? !error : window->LastTree().whole;
    Sizes sizes{1, 0, error ? 0 : fileSize};
    if (options.mode != "get-file") {
        // What the walk moved; the bytes of the tree on the local side.
        sizes = Measure(options.mode == "put-tree" ? local : folder / name);
        sizes.files = window->LastTree().files;
        sizes.folders = window->LastTree().folders;
    }
    std::printf(
        "%s: %lld files, %lld directories, %lld bytes in %.3f s, longest GUI stall %lld ms\n",
        options.mode == "get-file" ? "file" : "tree", sizes.files, sizes.folders, sizes.bytes,
        seconds, static_cast<long long>(stalls.Longest()));
    return whole ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    Options options;
    if (!Parse(argc, argv, options)) {
        return Usage();
    }
    std::string urlText = options.mode == "put-tree" ? options.words[1] : options.words[0];
    std::optional<FtpUrl> url = FtpUrl::Parse(urlText);
    if (!url) {
        return Usage();
    }
    // A box nobody can answer in a benchmark: say what it said and answer its first button.
    int alerts = 0;
    if (!options.ask) {
        Alert::SetResponder([&alerts](const std::string& text, const std::vector<std::string>&) {
            std::fprintf(stderr, "sessionbench: alert: %s\n", text.c_str());
            ++alerts;
            return 0;
        });
    }
    Alert::InstallEngineHook();
    StallMeter stalls;
    QPointer<FTPWindow> window;
    int result = 0;
    if (options.mode == "list") {
        result = List(window, *url, options, stalls);
    } else {
        fs::path local = options.mode == "put-tree" ? options.words[0] : options.words[1];
        result = Transfer(window, *url, options, fs::absolute(local), stalls);
    }
    if (window && !options.rename.empty() && window->HostFiles()->SelectText(options.rename)) {
        window->PostMessage(Message(FTPWindow::kRenameHostFiles));
    }
    if (options.hold > 0) {
        QTimer::singleShot(options.hold * 1000, &application, &QApplication::quit);
        application.exec();
    }
    if (window) {
        window->PostMessage(Message(FTPWindow::kQuickLogout));
        TimeUntil([&] { return !window || window->isHidden(); });
    }
    std::printf("peak memory: %lld MB\n", PeakMegabytes());
    return result != 0 || alerts != 0 ? 1 : 0;
}
