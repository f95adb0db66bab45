// The transfer list window, offscreen, with transfers whose counters the test moves.
#include "XFerWin.h"

#include <gtest/gtest.h>

#include <atomic>

#include "MultiListDriver.h"
#include "ScriptedAlerts.h"
#include "TransferInfo.h"

namespace {

class FakeTransfer : public TransferInfo {
public:
    explicit FakeTransfer(std::string file) : file_(std::move(file)) {}
    std::string HostText() const override { return "ftp.example.org"; }
    std::string OperationText() const override { return "Get BINARY"; }
    std::string FileText() const override { return file_; }
    long long TransferTotal() const override { return total; }
    long long TransferDone() const override { return done; }
    int STOP() override {
        ++stops;
        return 0;
    }

    std::atomic<long long> total{0};
    std::atomic<long long> done{0};
    std::atomic<int> stops{0};

private:
    std::string file_;
};

class XFerWinTest : public ::testing::Test {
protected:
    std::string Cell(int row, const char* title) const {
        const char* text = window.List()->Text(title, row);
        return text != nullptr ? text : "(null)";
    }
    void Stop() { window.MessageReceived(Message(XFerWin::kStopSelected)); }

    ScriptedAlerts alerts;
    XFerWin window{QRect(40, 40, 600, 100), "Transfer status"};
    FakeTransfer a{"a.iso"};
    FakeTransfer b{"b.iso"};
    FakeTransfer c{"c.iso"};
};

TEST_F(XFerWinTest, EachPassShowsTheTextsBytesPercentageAndSpeedOfItsRow) {
    window.AddEntry(&a, true);
    window.Refresh();
    EXPECT_EQ(Cell(0, "Server"), "ftp.example.org");
    EXPECT_EQ(Cell(0, "File"), "a.iso");
    EXPECT_EQ(Cell(0, "Status"), "...");  // nothing done yet
    EXPECT_EQ(Cell(0, "Total"), "...");   // size unknown
    EXPECT_EQ(Cell(0, "Percent"), "...");
    EXPECT_EQ(Cell(0, "Speed"), "0.0 B/s");
    a.done = 1024;  // in half a second: 2048 bytes a second
    window.Refresh();
    EXPECT_EQ(Cell(0, "Speed"), "2.0 KB/s");
    EXPECT_EQ(Cell(0, "Status"), "1024 B");
    EXPECT_EQ(Cell(0, "Total"), "...");
    a.done = 1536;  // 1024 bytes a second is not above a kilobyte
    a.total = 6000000000LL;
    window.Refresh();
    EXPECT_EQ(Cell(0, "Speed"), "1024.0 B/s");
    EXPECT_EQ(Cell(0, "Total"), "6000000000 B");
    EXPECT_EQ(Cell(0, "Percent"), "0.0%");
    a.done = 4500000000LL;
    window.Refresh();
    EXPECT_EQ(Cell(0, "Percent"), "75.0%");
}

TEST_F(XFerWinTest, StopStopsOnlySelectedStoppableRowsAndSaysSoWhenThereIsNone) {
    window.AddEntry(&a, true);
    window.AddEntry(&b, false);
    window.AddEntry(&c, true);
    Stop();
    window.List()->Select(1);
    Stop();
    EXPECT_EQ(alerts.Texts(),
              std::vector<std::string>(2, "Nothing to stop, please select a list entry."));
    for (int row : {0, 1, 2}) {
        window.List()->Select(row, true);
    }
    Stop();
    EXPECT_EQ(a.stops, 1);
    EXPECT_EQ(b.stops, 0);
    EXPECT_EQ(c.stops, 1);
    EXPECT_EQ(window.List()->CountItems(), 1);
    EXPECT_EQ(Cell(0, "File"), "...");  // not refreshed yet
    window.Refresh();
    EXPECT_EQ(Cell(0, "File"), "b.iso");
    window.RemoveEntry(&a);  // the transfer's own thread ends it later: nothing happens
    EXPECT_EQ(window.List()->CountItems(), 1);
}

TEST_F(XFerWinTest, RemovingTheMiddleRowLeavesTheOthersTheirOwnFlagsAndSpeeds) {
    window.AddEntry(&a, true);
    window.AddEntry(&b, true);
    window.AddEntry(&c, false);
    a.done = 1000;
    c.done = 100;
    window.Refresh();
    window.RemoveEntry(&b);
    a.done = 2024;  // 1024 more: 2.0 KB/s
    c.done = 612;   // 512 more: 1024.0 B/s
    window.Refresh();
    EXPECT_EQ(Cell(0, "Speed"), "2.0 KB/s");
    EXPECT_EQ(Cell(1, "Speed"), "1024.0 B/s");
    window.List()->Select(0);
    window.List()->Select(1, true);
    Stop();
    EXPECT_EQ(a.stops, 1);
    EXPECT_EQ(c.stops, 0);  // still not stoppable
}

}  // namespace
