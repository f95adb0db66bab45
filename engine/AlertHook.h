#pragma once

#include <functional>
#include <string>

// The engine's one way to show a modal alert. The application installs a hook that shows a
// message box; tests install one that records the text. With no hook the text goes to stderr.
class AlertHook {
public:
    using Function = std::function<void(const std::string& text)>;

    static void Set(Function hook);
    static void Raise(const std::string& text);
};
