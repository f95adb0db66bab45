// xferbench: the transfer list window with many transfers whose counters keep moving, and the
// share of one core its GUI thread spends on them.
//   xferbench [--rows N] [--seconds S]   (N defaults to 200, S to 10)
//   xferbench --demo [--seconds S]       three transfers that run for a screenshot
// Run it with QT_QPA_PLATFORM=offscreen, or under Xvfb to count real drawing.
#include <QApplication>
#include <QTimer>

#include <time.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "TransferInfo.h"
#include "XFerWin.h"

namespace {

class MovingTransfer : public TransferInfo {
public:
    MovingTransfer(std::string host, std::string operation, std::string file, long long total,
                   long long rate)
        : host_(std::move(host)),
          operation_(std::move(operation)),
          file_(std::move(file)),
          total_(total),
          rate_(rate) {}
    std::string HostText() const override { return host_; }
    std::string OperationText() const override { return operation_; }
    std::string FileText() const override { return file_; }
    long long TransferTotal() const override { return total_; }
    long long TransferDone() const override { return done_; }
    int STOP() override { return 0; }
    // Moves the count on by a tenth of a second's worth of bytes.
    void Step() {
        long long next = done_ + rate_ / 10;
        done_ = total_ > 0 ? next % (total_ + 1) : next;
    }

private:
    std::string host_;
    std::string operation_;
    std::string file_;
    long long total_;
    long long rate_;
    std::atomic<long long> done_{0};
};

double ThreadCpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

std::vector<std::unique_ptr<MovingTransfer>> Transfers(bool demo, int rows) {
    std::vector<std::unique_ptr<MovingTransfer>> transfers;
    if (demo) {
        transfers.push_back(std::make_unique<MovingTransfer>("ftp.debian.org", "Get BINARY",
                                                             "debian-12.8.0-amd64-DVD-1.iso",
                                                             3994091520LL, 11534336));
        transfers.push_back(std::make_unique<MovingTransfer>(
            "mirror.example.net", "Put BINARY", "holiday-photos.tar.gz", 734003200LL, 2097152));
        transfers.push_back(std::make_unique<MovingTransfer>("files.example.org", "Get ASCII",
                                                             "changelog.txt", 0, 8192));
        return transfers;
    }
    for (int i = 0; i < rows; ++i) {
        transfers.push_back(std::make_unique<MovingTransfer>(
            "host" + std::to_string(i % 7) + ".example.org", i % 2 ? "Put BINARY" : "Get BINARY",
            "file-" + std::to_string(i) + ".bin", 1000000000LL + i, 1048576LL * (1 + i % 13)));
    }
    return transfers;
}

}  // namespace

int main(int argc, char** argv) {
    int rows = 200;
    int seconds = 10;
    bool demo = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--rows") == 0 && i + 1 < argc) {
            rows = std::atoi(argv[++i]);
        } else if (std::strcmp(argv[i], "--seconds") == 0 && i + 1 < argc) {
            seconds = std::atoi(argv[++i]);
        } else if (std::strcmp(argv[i], "--demo") == 0) {
            demo = true;
        } else {
            std::fprintf(stderr, "usage: xferbench [--rows N] [--seconds S] [--demo]\n");
            return 64;
        }
    }
    QApplication application(argc, argv);
    XFerWin window(QRect(40, 40, 760, demo ? 140 : 600), "Transfer status");
    std::vector<std::unique_ptr<MovingTransfer>> transfers = Transfers(demo, rows);
    for (const auto& transfer : transfers) {
        window.AddEntry(transfer.get(), true);
    }
    std::atomic<bool> running{true};
    std::thread mover([&] {
        while (running) {
            for (const auto& transfer : transfers) {
                transfer->Step();
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    });
    double cpuStart = ThreadCpuSeconds();
    auto wallStart = std::chrono::steady_clock::now();
    QTimer::singleShot(std::chrono::seconds(seconds), &application, &QApplication::quit);
    application.exec();
    double cpu = ThreadCpuSeconds() - cpuStart;
    double wall =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - wallStart).count();
    running = false;
    mover.join();
    for (const auto& transfer : transfers) {
        window.RemoveEntry(transfer.get());
    }
    std::printf(
        "%zu rows, refreshed every 0.5 s: GUI thread %.3f s of CPU in %.1f s, %.2f %% of one "
        "core\n",
        transfers.size(), cpu, wall, 100.0 * cpu / wall);
    return 0;
}
