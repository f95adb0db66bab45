// Worker threads report to a status window and a log window as fast as they can while the
// windows pulse and redraw. Built under ThreadSanitizer this must stay silent, and no byte and
// no line may be lost.
#include <QCheckBox>
#include <QPushButton>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "GuiWait.h"
#include "LogWindow.h"
#include "RecordingWindow.h"
#include "StatusWindow.h"

TEST(StatusStressTest, FourWorkersReportForTwoSecondsWhileTheWindowsPulse) {
    RecordingWindow session;
    auto* status = new StatusWindow(&session);
    auto* log = new LogWindow("FTP Log: stress", &session);
    session.show();
    status->show();
    log->show();
    status->SetPulseRate(std::chrono::milliseconds(5));
    status->SetNameFichier("start");
    status->SetMax(1 << 30);

    constexpr int kWorkers = 4;
    std::atomic<bool> stop = false;
    std::vector<long long> bytesSent(kWorkers, 0);
    std::vector<int> linesSent(kWorkers, 0);
    std::vector<std::thread> workers;
    for (int worker = 0; worker < kWorkers; ++worker) {
        workers.emplace_back([&, worker] {
            const std::string name = "worker" + std::to_string(worker) + ".bin";
            for (int round = 0; !stop; ++round) {
                const int chunk = 512 + (round % 7) * 1000 + worker;
                status->SetNbOctet(chunk);
                bytesSent[worker] += chunk;
                status->SetTypeOperation("Receiving " + std::to_string(round));
                status->SetNameFichier(name);
                log->AddLine(name + " " + std::to_string(round));
                ++linesSent[worker];
                if (worker == 0) {
                    status->LoadFD(round, worker);
                    [[maybe_unused]] const std::string counts = status->Text();
                }
                std::this_thread::sleep_for(std::chrono::microseconds(100));
            }
        });
    }
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (std::chrono::steady_clock::now() < end) {
        Settle(std::chrono::milliseconds(20));
    }
    stop = true;
    for (std::thread& worker : workers) {
        worker.join();
    }

    long long totalBytes = 0;
    int totalLines = 0;
    for (int worker = 0; worker < kWorkers; ++worker) {
        totalBytes += bytesSent[worker];
        totalLines += linesSent[worker];
    }
    EXPECT_EQ(status->Bytes(), totalBytes);
    ASSERT_TRUE(WaitUntil([&] { return log->LineCount() == totalLines; }))
        << log->LineCount() << " of " << totalLines << " lines shown";
    ASSERT_TRUE(WaitUntil(
        [&] { return status->findChild<QPushButton*>(QStringLiteral("stop"))->isEnabled(); }));
    EXPECT_GT(totalLines, kWorkers);
}
