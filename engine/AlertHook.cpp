#include "AlertHook.h"

#include <cstdio>
#include <memory>
#include <mutex>

namespace {
std::mutex hookMutex;
std::shared_ptr<AlertHook::Function> currentHook;
}  // namespace

void AlertHook::Set(Function hook) {
    std::lock_guard lock(hookMutex);
    currentHook = hook ? std::make_shared<Function>(std::move(hook)) : nullptr;
}

void AlertHook::Raise(const std::string& text) {
    std::shared_ptr<Function> hook;
    {
        std::lock_guard lock(hookMutex);
        hook = currentHook;
    }
    // The hook may block on a modal box: never call it with the lock held.
    if (hook) {
        (*hook)(text);
    } else {
        std::fprintf(stderr, "Tarvik alert: %s\n", text.c_str());
    }
}
