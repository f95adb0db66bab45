#include "StatusWindow.h"

#include <QCheckBox>
#include <QLabel>
#include <QPushButton>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "GuiWait.h"
#include "Indicator.h"
#include "MessageCodes.h"
#include "RecordingWindow.h"

namespace {

class StatusWindowTest : public ::testing::Test {
protected:
    StatusWindowTest() {
        session.show();
        status->show();
    }

    template <typename T>
    T* Child(const char* name) {
        return status->findChild<T*>(QString::fromLatin1(name));
    }
    QCheckBox* Box(const QString& text) {
        const auto boxes = status->findChildren<QCheckBox*>();
        const auto found = std::find_if(boxes.begin(), boxes.end(),
                                        [&](QCheckBox* box) { return box->text() == text; });
        return found == boxes.end() ? nullptr : *found;
    }
    Indicator* Group() { return Child<Indicator>("Multiple files..."); }
    Indicator* File() { return Child<Indicator>("FileInProgress"); }
    // Lets the batched redraw run.
    void Redrawn() { Settle(std::chrono::milliseconds(80)); }

    std::atomic<std::int64_t> now = 500;
    RecordingWindow session;
    StatusWindow* status = new StatusWindow(&session, [this] { return now.load(); });
};

}  // namespace

TEST_F(StatusWindowTest, WorkerCallsReachTheWidgets) {
    EXPECT_FALSE(Group()->isVisible());
    EXPECT_FALSE(File()->isVisible());
    std::thread([this] {
        status->SetTitle("ftp.example.org");
        status->SetTypeOperation("Receiving files...");
        status->LoadFD(3, 1);
        status->SetNbFile(1, 3);
        status->SetNameFichier("a.bin");
        status->SetMax(10000);
    }).join();
    ASSERT_TRUE(WaitUntil([&] { return File()->Text1() == "a.bin"; }));
    EXPECT_EQ(status->windowTitle(), "ftp.example.org");
    EXPECT_EQ(Child<QLabel>("statusop")->text(), "Receiving files...");
    EXPECT_EQ(Child<QLabel>("file")->text(), "3 File(s), 1 Directory(s) fetched...");
    EXPECT_EQ(Group()->Text2(), "1/3");
    EXPECT_TRUE(File()->isVisible());
    EXPECT_EQ(File()->Text1(), "a.bin");

    status->Reset();
    ASSERT_TRUE(WaitUntil([&] { return status->windowTitle() == "Tarvik Status"; }));
    EXPECT_FALSE(File()->isVisible());
}

TEST_F(StatusWindowTest, StopIsEnabledAfter2048BytesOfAFileAndStopsTheOwnersOperation) {
    auto* stop = Child<QPushButton>("stop");
    status->SetNameFichier("small.txt");
    status->SetMax(2048);
    status->SetNbOctet(2048);
    EXPECT_TRUE(WaitUntil([&] { return !stop->isEnabled(); }));
    status->SetNameFichier("a.bin");
    status->SetMax(100000);
    std::thread([this] { status->SetNbOctet(2048); }).join();
    Redrawn();
    EXPECT_FALSE(stop->isEnabled());
    status->SetNbOctet(1);
    ASSERT_TRUE(WaitUntil([&] { return stop->isEnabled(); }));

    stop->click();
    ASSERT_TRUE(WaitUntil([&] { return !session.Received().empty(); }));
    EXPECT_EQ(session.Codes(), std::vector<std::uint32_t>{StatusWindow::kStopOperation});
}

TEST_F(StatusWindowTest, ThePulseRunsByItself) {
    status->SetPulseRate(std::chrono::milliseconds(10));
    status->SetNameFichier("a.bin");
    status->SetMax(10000);
    status->SetNbOctet(500);
    ASSERT_TRUE(WaitUntil([&] { return File()->Text2().starts_with("0.5KB/10.0KB"); }));
    EXPECT_EQ(File()->Position(), 500);
}

TEST_F(StatusWindowTest, TheBoxesAskForTheLogAndHideOrShowTheSessionWindow) {
    QCheckBox* logBox = Box("Log window");
    QCheckBox* controlBox = Box("Control window");
    ASSERT_TRUE(logBox && controlBox);
    EXPECT_TRUE(controlBox->isChecked());
    logBox->click();
    ASSERT_TRUE(WaitUntil([&] { return !session.Received().empty(); }));
    EXPECT_EQ(session.Codes(), std::vector<std::uint32_t>{43});
    status->SetEtatLog(false);
    EXPECT_TRUE(WaitUntil([&] { return !logBox->isChecked(); }))
        << "the session keeps the box in step";

    controlBox->click();
    ASSERT_TRUE(WaitUntil([&] { return !session.isVisible(); }));
    EXPECT_TRUE(status->isVisible()) << "the status window stays while its session is hidden";
    controlBox->click();
    ASSERT_TRUE(WaitUntil([&] { return session.isVisible(); }));

    status->SetEnabledSHControl(false);
    EXPECT_TRUE(WaitUntil([&] { return !controlBox->isEnabled(); }));
}
