#include "GraphView.h"

#include <QImage>
#include <QTabWidget>

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <memory>
#include <thread>

#include "GuiWait.h"
#include "StatusWindow.h"

namespace {

const QColor kBlue(50, 50, 150);
const QColor kRed(255, 0, 0);

// How many pixels of a column have the colour, in the graph as it draws now.
int Pixels(GraphView& graph, int column, const QColor& colour) {
    const QImage image = graph.grab().toImage();
    int count = 0;
    for (int row = 0; row < image.height(); ++row) {
        count += image.pixelColor(column, row) == colour ? 1 : 0;
    }
    return count;
}

// 20 columns of rows 0 to 50.
class GraphViewTest : public ::testing::Test {
protected:
    GraphViewTest() { graph.resize(20, 51); }
    int Pixels(int column, const QColor& colour) { return ::Pixels(graph, column, colour); }

    GraphView graph{"Speed"};
};

}  // namespace

// A value too high halves the scale until it fits, and the scale stays halved.
TEST_F(GraphViewTest, EachValueIsAColumnFromTheBottomScaledToFit) {
    const struct {
        float value;
        int blue;
        int red;
        float scale;
    } cases[] = {
        {10, 10, 0, 1},     {0, 0, 0, 1},   {-1, 0, 51, 1},
        {NAN, 0, 51, 1},    {50, 50, 0, 1},  // 102 and 51 do not fit in rows 0 to 50, 25.5 does
        {102, 26, 0, 0.25}, {8, 2, 0, 0.25}};
    for (const auto& c : cases) {
        graph.AddValue(c.value);
        const int column = graph.Count() - 1;
        EXPECT_EQ(Pixels(column, kBlue), c.blue) << c.value;
        EXPECT_EQ(Pixels(column, kRed), c.red) << c.value;
        EXPECT_EQ(graph.Scale(), c.scale) << c.value;
    }
    EXPECT_EQ(graph.grab().toImage().pixelColor(0, 50), kBlue) << "bars stand on the bottom row";
}

// Values come from the transfer's worker thread.
TEST_F(GraphViewTest, TheSampleAfterTheLastColumnStartsAgainOnTheLeft) {
    std::thread([this] {
        for (int i = 0; i < 21; ++i) {
            graph.AddValue(i < 20 ? 10 : 30);
        }
    }).join();
    ASSERT_TRUE(WaitUntil([this] { return Pixels(0, kBlue) == 30; }));
    EXPECT_EQ(graph.Count(), 1);
    EXPECT_EQ(Pixels(1, kBlue), 0) << "the old columns are gone";
}

TEST(StatusSpeedPage, PlotsEachMeasuredSecondOfATransfer) {
    std::atomic<std::int64_t> now = 500;
    auto status = std::make_unique<StatusWindow>(nullptr, [&now] { return now.load(); });
    status->SetPulseRate(std::chrono::hours(1));  // the test gives the pulses
    auto* tabs = status->findChild<QTabWidget*>();
    auto* graph = status->findChild<GraphView*>();
    ASSERT_TRUE(tabs && graph);

    status->Update();
    EXPECT_EQ(graph->Count(), 0) << "no transfer yet";
    status->SetNameFichier("a.bin");
    status->SetMax(100000);
    status->SetNbOctet(3000);
    status->Update();
    EXPECT_EQ(graph->Count(), 0) << "no whole second measured yet";
    now = 502;
    status->SetNbOctet(1000);
    status->Update();  // 4000 bytes in 2 s
    now = 503;
    status->Update();  // stalled
    ASSERT_EQ(graph->Count(), 2);
    status->show();
    tabs->setCurrentWidget(graph);
    // 2000 bytes a second, scaled down to fit: more than half the page high.
    EXPECT_GT(Pixels(*graph, 0, kBlue), graph->height() / 2);
    EXPECT_EQ(Pixels(*graph, 1, kBlue), 0) << "a stalled second is an empty column";
    EXPECT_EQ(Pixels(*graph, 1, kRed), 0);
}
