#include "Alert.h"

#include <QAbstractButton>
#include <QApplication>
#include <QKeyEvent>
#include <QMessageBox>
#include <QTimer>

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>

#include "AlertHook.h"
#include "GuiWait.h"
#include "ScriptedAlerts.h"

namespace {

// Hands the modal box to answer once it is up.
void WhenShown(std::function<void(QMessageBox*)> answer) {
    QTimer::singleShot(10, [answer] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        box ? answer(box) : WhenShown(answer);
    });
}

// Records the box's button labels and presses the one called label.
void Press(const QString& label, QStringList* seen) {
    WhenShown([label, seen](QMessageBox* box) {
        for (QAbstractButton* button : box->buttons()) {
            seen->append(button->text());
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
    Press(QStringLiteral("No"), &labels);
    EXPECT_EQ(Alert::Go("Are you sure you want to LOGOUT ?", {"Yes", "No"}), 1);
    EXPECT_EQ(labels, (QStringList{"Yes", "No"})) << "buttons keep the order given";

    std::atomic<int> answer = -1;
    std::thread worker([&] { answer = Alert::Go("Skip, overwrite or reget?", {"A", "B", "C"}); });
    Press(QStringLiteral("B"), &labels);
    ASSERT_TRUE(WaitUntil([&] { return answer != -1; }));
    worker.join();
    EXPECT_EQ(answer, 1);
}

// Escape says no: it answers as the button that declines the question.
TEST(AlertTest, EscapeAnswersNoOrCancel) {
    const struct {
        std::vector<std::string> buttons;
        int answer;
    } cases[] = {{{"Yes", "No"}, 1},
                 {{"Remove", "Cancel"}, 1},
                 {{"Trust always", "This time", "Cancel"}, 2},
                 {{"Cancel the transfer", "Go on"}, 0},
                 {{"Get(Overwrite)", "Skip"}, 1}};
    for (const auto& asked : cases) {
        bool stayed = false;
        WhenShown([&stayed](QMessageBox* box) {
            QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
            QApplication::sendEvent(box, &escape);
            if ((stayed = box->isVisible())) {
                box->buttons().front()->click();
            }
        });
        EXPECT_EQ(Alert::Go("Sure?", asked.buttons), asked.answer) << asked.buttons.front();
        EXPECT_FALSE(stayed) << asked.buttons.front();
    }
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
}
