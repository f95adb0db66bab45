#include "ScriptedAlerts.h"

ScriptedAlerts::ScriptedAlerts(std::vector<int> answers)
    : answers_(answers.begin(), answers.end()) {
    previous_ = Alert::SetResponder(
        [this](const std::string& text, const std::vector<std::string>& buttons) {
            return Respond(text, buttons);
        });
}

ScriptedAlerts::~ScriptedAlerts() {
    Alert::SetResponder(std::move(previous_));
}

void ScriptedAlerts::Answer(int index) {
    std::lock_guard lock(mutex_);
    answers_.push_back(index);
}

int ScriptedAlerts::Respond(const std::string& text, const std::vector<std::string>& buttons) {
    std::lock_guard lock(mutex_);
    asked_.push_back({text, buttons});
    if (answers_.empty()) {
        return 0;
    }
    const int answer = answers_.front();
    answers_.pop_front();
    return answer;
}

std::vector<ScriptedAlerts::Asked> ScriptedAlerts::Alerts() const {
    std::lock_guard lock(mutex_);
    return asked_;
}

std::vector<std::string> ScriptedAlerts::Texts() const {
    std::lock_guard lock(mutex_);
    std::vector<std::string> texts;
    for (const Asked& asked : asked_) {
        texts.push_back(asked.text);
    }
    return texts;
}
