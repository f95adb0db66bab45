#include "StatusModel.h"

#include <gtest/gtest.h>

namespace {

class StatusModelTest : public ::testing::Test {
protected:
    StatusModelTest() : status([this] { return now; }) {}

    // A file of size bytes in a transfer under way.
    void StartFile(const std::string& name, int size) {
        status.SetTypeOperation("Receiving...");
        status.SetNameFichier(name);
        status.SetMax(size);
    }

    std::int64_t now = 1000;
    StatusModel status;
};

}  // namespace

TEST_F(StatusModelTest, AGroupCountOfOneChangesNothing) {
    StartFile("a.bin", 10000);
    status.SetNbOctet(700);
    const StatusView before = status.View();
    EXPECT_FALSE(status.SetNbFile(1, 1));
    EXPECT_FALSE(status.SetNbFile(4, 1));
    EXPECT_EQ(status.View(), before);
    EXPECT_FALSE(status.View().group.visible);
    EXPECT_EQ(status.Bytes(), 700);
}

TEST_F(StatusModelTest, AGroupShowsItsIndicatorAndRestartsTheCount) {
    status.SetNbOctet(300);
    EXPECT_TRUE(status.SetNbFile(1, 3));
    IndicatorView group = status.View().group;
    EXPECT_TRUE(group.visible);
    EXPECT_EQ(group.figures.Max(), 3);
    EXPECT_EQ(group.figures.Position(), 1);
    EXPECT_EQ(group.figures.Text2(), "1/3");
    EXPECT_EQ(status.Bytes(), 0);

    StartFile("b.bin", 4000);
    EXPECT_EQ(status.View().group.figures.Text1(), "Multiple files.");
    status.SetNbFile(2, 3);
    group = status.View().group;
    EXPECT_EQ(group.figures.Position(), 2);
    EXPECT_EQ(group.figures.Text2(), "2/3");
}

TEST_F(StatusModelTest, StopIsOfferedOnlyAfterMoreThan2048BytesOfAFile) {
    StartFile("small.txt", 2048);
    EXPECT_FALSE(status.View().stopEnabled) << "every file starts with Stop disabled";
    EXPECT_FALSE(status.SetNbOctet(1024));
    EXPECT_FALSE(status.SetNbOctet(1024));
    EXPECT_FALSE(status.View().stopEnabled);

    StartFile("big.iso", 1 << 20);
    EXPECT_FALSE(status.SetNbOctet(2048));
    EXPECT_TRUE(status.SetNbOctet(1));
    EXPECT_TRUE(status.View().stopEnabled);
}

TEST_F(StatusModelTest, ThePulseShowsCountsThenSpeedAndRemainingTimeThenTheStall) {
    StartFile("a.bin", 10000);
    const StatusView started = status.View();
    EXPECT_TRUE(started.file.visible);
    EXPECT_EQ(started.file.figures.Max(), 10000);
    EXPECT_EQ(started.file.figures.Text1(), "a.bin");

    status.SetNbOctet(500);
    ASSERT_TRUE(status.Update());
    IndicatorModel file = status.View().file.figures;
    EXPECT_EQ(file.Text2(), "0.5KB/10.0KB") << "the first second shows only the counts";
    EXPECT_EQ(file.Text1(), "");
    EXPECT_EQ(file.Position(), 500);

    now += 2;
    status.SetNbOctet(1500);
    ASSERT_TRUE(status.Update());
    file = status.View().file.figures;
    EXPECT_EQ(file.Text2(), "2.0KB/10.0KB, 1000B/s");
    EXPECT_EQ(file.Text1(), "a.bin :8.0s remaining");
    EXPECT_EQ(file.Position(), 2000);

    now += 1;
    ASSERT_TRUE(status.Update());
    file = status.View().file.figures;
    EXPECT_EQ(file.Text2(), "2.0KB/10.0KB, ZZzz...");
    EXPECT_EQ(file.Text1(), "") << "no name and no remaining time while stalled";
}

TEST_F(StatusModelTest, ResetHidesAndEmptiesButLeavesTheBarsWhereTheyWere) {
    status.SetNbFile(1, 2);
    StartFile("a.bin", 10000);
    status.SetNbOctet(4000);
    status.Update();
    status.LoadFD(3, 1);
    status.SetTitle("ftp.example.org");
    status.SetControlChecked(false);

    status.Reset();
    const StatusView view = status.View();
    EXPECT_FALSE(view.group.visible);
    EXPECT_FALSE(view.file.visible);
    EXPECT_EQ(view.file.figures.Text1(), "");
    EXPECT_EQ(view.file.figures.Text2(), "");
    EXPECT_EQ(view.group.figures.Text1(), "");
    EXPECT_EQ(view.file.figures.Position(), 4000) << "Reset only redraws the bars";
    EXPECT_EQ(view.counts, "");
    EXPECT_EQ(view.title, "Tarvik Status");
    EXPECT_TRUE(view.controlChecked);
    EXPECT_EQ(view.operation, "Receiving...") << "the next operation replaces it";
    EXPECT_EQ(status.Bytes(), 0);
}

TEST_F(StatusModelTest, CountsLineAndControls) {
    status.LoadFD(12, 3);
    EXPECT_EQ(status.Text(), "12 File(s), 3 Directory(s) fetched...");
    status.LoadFD(0, 0);
    EXPECT_EQ(status.Text(), "");
    status.SetEnabledSHControl(false);
    status.SetEtatLog(true);
    EXPECT_FALSE(status.View().controlEnabled);
    EXPECT_TRUE(status.View().logChecked);
}
