#include "StatusWindow.h"

#include <QCheckBox>
#include <QLabel>
#include <QPushButton>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "GuiWait.h"
#include "Indicator.h"
#include "MessageCodes.h"
#include "RecordingWindow.h"

namespace {

class StatusWindowTest : public ::testing::Test {
protected:
    StatusWindowTest() : status(new StatusWindow(&session, [this] { return now.load(); })) {
        session.show();
        status->show();
    }

    template <typename T>
    T* Child(const char* name) {
        return status->findChild<T*>(QString::fromLatin1(name));
    }
    QString Label(const char* name) { return Child<QLabel>(name)->text(); }
    Indicator* Group() { return Child<Indicator>("Multiple files..."); }
    Indicator* File() { return Child<Indicator>("FileInProgress"); }
    // Lets the batched redraw run.
    void Redrawn() { Settle(std::chrono::milliseconds(80)); }

    std::atomic<std::int64_t> now = 500;
    RecordingWindow session;
    StatusWindow* status;
};

}  // namespace

TEST_F(StatusWindowTest, IsTitledHasNoCloseBoxAndAFixedHeight) {
    EXPECT_EQ(status->windowTitle(), QStringLiteral("Tarvik Status"));
    EXPECT_FALSE(status->windowFlags() & Qt::WindowCloseButtonHint);
    EXPECT_EQ(status->minimumSize(), QSize(351, 161));
    EXPECT_EQ(status->maximumSize(), QSize(1025, 161));
    EXPECT_FALSE(Group()->isVisible());
    EXPECT_FALSE(File()->isVisible());
    EXPECT_TRUE(Group()->PercentInBar());
    EXPECT_EQ(File()->BarColour(), QColor(51, 152, 255));
}

TEST_F(StatusWindowTest, WorkerCallsReachTheWidgets) {
    std::thread worker([this] {
        status->SetTitle("ftp.example.org");
        status->SetTypeOperation("Receiving files...");
        status->LoadFD(3, 1);
        status->SetNbFile(1, 3);
        status->SetNameFichier("a.bin");
        status->SetMax(10000);
    });
    worker.join();
    Redrawn();
    EXPECT_EQ(status->windowTitle(), QStringLiteral("ftp.example.org"));
    EXPECT_EQ(Label("statusop"), QStringLiteral("Receiving files..."));
    EXPECT_EQ(Label("file"), QStringLiteral("3 File(s), 1 Directory(s) fetched..."));
    EXPECT_EQ(status->Text(), "3 File(s), 1 Directory(s) fetched...");
    EXPECT_TRUE(Group()->isVisible());
    EXPECT_EQ(Group()->Text2(), "1/3");
    EXPECT_EQ(Group()->Text1(), "Multiple files.");
    EXPECT_TRUE(File()->isVisible());
    EXPECT_EQ(File()->Max(), 10000);
    EXPECT_EQ(File()->Text1(), "a.bin");
}

TEST_F(StatusWindowTest, StopIsEnabledAfter2048BytesAndAsksTheOwnerToQuit) {
    auto* stop = Child<QPushButton>("stop");
    status->SetNameFichier("a.bin");
    status->SetMax(100000);
    Redrawn();
    EXPECT_FALSE(stop->isEnabled());
    std::thread worker([this] { status->SetNbOctet(2048); });
    worker.join();
    Redrawn();
    EXPECT_FALSE(stop->isEnabled());
    status->SetNbOctet(1);
    Redrawn();
    EXPECT_TRUE(stop->isEnabled());

    stop->click();
    ASSERT_TRUE(WaitUntil([&] { return !session.Received().empty(); }));
    EXPECT_EQ(session.Codes(), std::vector<std::uint32_t>{kQuitRequested});
}

TEST_F(StatusWindowTest, EachPulseShowsSpeedAndRemainingTime) {
    // The pulses are given by hand here, one per step of the fake clock.
    status->SetPulseRate(std::chrono::hours(1));
    status->SetNameFichier("a.bin");
    status->SetMax(10000);
    status->SetNbOctet(500);
    status->Update();
    Redrawn();
    EXPECT_EQ(File()->Text2(), "0.5KB/10.0KB");
    EXPECT_EQ(File()->Text1(), "");

    now += 2;
    status->SetNbOctet(1500);
    status->Update();
    Redrawn();
    EXPECT_EQ(File()->Text2(), "2.0KB/10.0KB, 1000B/s");
    EXPECT_EQ(File()->Text1(), "a.bin :8.0s remaining");
    EXPECT_EQ(File()->Position(), 2000);

    now += 1;
    status->Update();
    Redrawn();
    EXPECT_EQ(File()->Text2(), "2.0KB/10.0KB, ZZzz...");
    EXPECT_EQ(File()->Text1(), "");
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
    QCheckBox* logBox = nullptr;
    QCheckBox* controlBox = nullptr;
    for (QCheckBox* box : status->findChildren<QCheckBox*>()) {
        (box->text() == "Log window" ? logBox : controlBox) = box;
    }
    ASSERT_TRUE(logBox && controlBox);
    EXPECT_TRUE(controlBox->isChecked());

    logBox->click();
    ASSERT_TRUE(WaitUntil([&] { return !session.Received().empty(); }));
    EXPECT_EQ(session.Codes(), std::vector<std::uint32_t>{43});
    status->SetEtatLog(false);
    Redrawn();
    EXPECT_FALSE(logBox->isChecked()) << "the session keeps the box in step";

    controlBox->click();
    ASSERT_TRUE(WaitUntil([&] { return !session.isVisible(); }));
    EXPECT_TRUE(status->isVisible()) << "the status window stays while its session is hidden";
    controlBox->click();
    ASSERT_TRUE(WaitUntil([&] { return session.isVisible(); }));

    status->SetEnabledSHControl(false);
    Redrawn();
    EXPECT_FALSE(controlBox->isEnabled());
}

TEST_F(StatusWindowTest, ResetHidesTheBarsAndRestoresTitleAndControlBox) {
    QCheckBox* controlBox = nullptr;
    for (QCheckBox* box : status->findChildren<QCheckBox*>()) {
        if (box->text() == "Control window") {
            controlBox = box;
        }
    }
    status->SetTitle("ftp.example.org");
    status->SetNbFile(1, 2);
    status->SetNameFichier("a.bin");
    status->SetMax(5000);
    status->LoadFD(1, 1);
    controlBox->click();
    Redrawn();
    status->Reset();
    Redrawn();
    EXPECT_FALSE(Group()->isVisible());
    EXPECT_FALSE(File()->isVisible());
    EXPECT_EQ(File()->Text1(), "");
    EXPECT_EQ(Label("file"), QString());
    EXPECT_EQ(status->windowTitle(), QStringLiteral("Tarvik Status"));
    EXPECT_TRUE(controlBox->isChecked());
}
