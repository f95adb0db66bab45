#pragma once

#include <functional>
#include <string>
#include <vector>

// The look of the box: the icon it shows.
enum class AlertKind { Empty, Info, Idea, Warning, Stop };

// Modal alerts with the program's own texts. Go may be called from any thread: the box is shown
// on the GUI thread and a worker waits for the answer; the GUI thread itself runs the box's own
// event loop.
class Alert {
public:
    // Answers an alert instead of a box: (text, button labels) -> index of the button pressed.
    // It runs on the thread that called Go and must be safe to call from several at once.
    using Responder =
        std::function<int(const std::string& text, const std::vector<std::string>& buttons)>;

    // Index of the button pressed, counting from the left.
    static int Go(const std::string& text, const std::vector<std::string>& buttons = {"OK"},
                  AlertKind kind = AlertKind::Info, const std::string& title = "");

    // Installs a responder (an empty one restores the boxes) and returns the previous one.
    static Responder SetResponder(Responder responder);

    // Sends the engine's alerts (AlertHook) to Go, with one "OK" button.
    static void InstallEngineHook();
};
