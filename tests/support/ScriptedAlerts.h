#pragma once

#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "Alert.h"

// Answers every Alert::Go with the next scripted button index (0 once the script is used up) and
// records what was asked, so that no test ever waits on a box. The previous responder comes back
// at the end of the scope. Safe to be asked from several threads.
class ScriptedAlerts {
public:
    struct Asked {
        std::string text;
        std::vector<std::string> buttons;
    };

    ScriptedAlerts() {
        previous_ = Alert::SetResponder(
            [this](const std::string& text, const std::vector<std::string>& buttons) {
                std::lock_guard lock(mutex_);
                asked_.push_back({text, buttons});
                const int answer = answers_.empty() ? 0 : answers_.front();
                if (!answers_.empty()) {
                    answers_.pop_front();
                }
                return answer;
            });
    }
    ~ScriptedAlerts() { Alert::SetResponder(std::move(previous_)); }
    ScriptedAlerts(const ScriptedAlerts&) = delete;
    ScriptedAlerts& operator=(const ScriptedAlerts&) = delete;

    void Answer(int index) {
        std::lock_guard lock(mutex_);
        answers_.push_back(index);
    }
    std::vector<Asked> Alerts() const {
        std::lock_guard lock(mutex_);
        return asked_;
    }
    std::vector<std::string> Texts() const {
        std::vector<std::string> texts;
        for (const Asked& asked : Alerts()) {
            texts.push_back(asked.text);
        }
        return texts;
    }

private:
    mutable std::mutex mutex_;
    std::deque<int> answers_;
    std::vector<Asked> asked_;
    Alert::Responder previous_;
};
