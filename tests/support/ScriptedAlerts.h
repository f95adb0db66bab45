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

    explicit ScriptedAlerts(std::vector<int> answers = {});
    ~ScriptedAlerts();
    ScriptedAlerts(const ScriptedAlerts&) = delete;
    ScriptedAlerts& operator=(const ScriptedAlerts&) = delete;

    void Answer(int index);
    std::vector<Asked> Alerts() const;
    std::vector<std::string> Texts() const;

private:
    int Respond(const std::string& text, const std::vector<std::string>& buttons);

    mutable std::mutex mutex_;
    std::deque<int> answers_;
    std::vector<Asked> asked_;
    Alert::Responder previous_;
};
