#include "Alert.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QTimer>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "AlertHook.h"
#include "GuiWait.h"
#include "ScriptedAlerts.h"

namespace {

// Once the modal box is up, records its button labels and presses the one called label.
void PressWhenShown(const QString& label, QStringList* labelsSeen) {
    QTimer::singleShot(10, [label, labelsSeen] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (box == nullptr) {
            PressWhenShown(label, labelsSeen);
            return;
        }
        for (QAbstractButton* button : box->buttons()) {
            labelsSeen->append(button->text());
        }
        for (QAbstractButton* button : box->buttons()) {
            if (button->text() == label) {
                button->click();
            }
        }
    });
}

}  // namespace

TEST(AlertTest, TheBoxShowsOnTheGuiThreadForAnyCallerAndAnswersTheButtonPressed) {
    QStringList labels;
    PressWhenShown(QStringLiteral("No"), &labels);
    EXPECT_EQ(Alert::Go("Are you sure you want to LOGOUT ?", {"Yes", "No"}), 1);
    EXPECT_EQ(labels, (QStringList{"Yes", "No"})) << "buttons keep the order given";

    std::atomic<int> answer = -1;
    std::thread worker([&] { answer = Alert::Go("Skip, overwrite or reget?", {"A", "B", "C"}); });
    PressWhenShown(QStringLiteral("B"), &labels);
    ASSERT_TRUE(WaitUntil([&] { return answer != -1; }));
    worker.join();
    EXPECT_EQ(answer, 1);
}

TEST(AlertTest, TheEngineHookGoesToTheAlertWithOneOkButton) {
    ScriptedAlerts alerts;
    Alert::InstallEngineHook();
    std::thread([] { AlertHook::Raise("Reveive errror."); }).join();
    AlertHook::Set(nullptr);
    const auto asked = alerts.Alerts();
    ASSERT_EQ(asked.size(), 1u);
    EXPECT_EQ(asked[0].text, "Reveive errror.");
    EXPECT_EQ(asked[0].buttons, std::vector<std::string>{"OK"});
    EXPECT_EQ(Alert::Go("Impossible connection\nHost unreachable."), 0);
    EXPECT_EQ(alerts.Alerts().back().buttons, std::vector<std::string>{"OK"}) << "OK by default";
}
