#include "Alert.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QTimer>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "AlertHook.h"
#include "GuiWait.h"
#include "ScriptedAlerts.h"

namespace {

// Presses, on the GUI thread, the button with this label in the modal box once it is up.
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

TEST(AlertTest, AScriptedResponderAnswersFromAnyThreadAndIsRemoved) {
    {
        ScriptedAlerts alerts({2, 1});
        std::atomic<int> answer = -1;
        std::thread worker([&] {
            answer = Alert::Go("Overwrite?", {"Skip", "Overwrite", "Reget"}, AlertKind::Idea);
        });
        worker.join();
        EXPECT_EQ(answer, 2);
        EXPECT_EQ(Alert::Go("Are you sure you want to LOGOUT ?", {"Yes", "No"}), 1);
        EXPECT_EQ(Alert::Go("Impossible connection\nHost unreachable."), 0)
            << "an exhausted script answers with the first button";

        const std::vector<ScriptedAlerts::Asked> asked = alerts.Alerts();
        ASSERT_EQ(asked.size(), 3u);
        EXPECT_EQ(asked[0].text, "Overwrite?");
        EXPECT_EQ(asked[0].buttons, (std::vector<std::string>{"Skip", "Overwrite", "Reget"}));
        EXPECT_EQ(asked[2].buttons, std::vector<std::string>{"OK"});
    }
    // Out of scope, the state from before (no responder) is back.
    EXPECT_FALSE(Alert::SetResponder(nullptr));
}

TEST(AlertTest, WithoutAResponderTheGuiThreadShowsAModalBox) {
    QStringList labels;
    PressWhenShown(QStringLiteral("No"), &labels);
    EXPECT_EQ(Alert::Go("Are you sure you want to LOGOUT ?", {"Yes", "No"}), 1);
    EXPECT_EQ(labels, (QStringList{"Yes", "No"})) << "buttons keep the order given";
}

TEST(AlertTest, AWorkerWaitsForTheBoxShownOnTheGuiThread) {
    QStringList labels;
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
    std::thread worker([] { AlertHook::Raise("Reveive errror."); });
    worker.join();
    AlertHook::Set(nullptr);
    const std::vector<ScriptedAlerts::Asked> asked = alerts.Alerts();
    ASSERT_EQ(asked.size(), 1u);
    EXPECT_EQ(asked[0].text, "Reveive errror.");
    EXPECT_EQ(asked[0].buttons, std::vector<std::string>{"OK"});
}
