#pragma once

#include <chrono>
#include <functional>

// Runs the GUI thread's events until condition holds or timeout passes; true if it held.
bool WaitUntil(const std::function<bool()>& condition,
               std::chrono::milliseconds timeout = std::chrono::seconds(5));
// Runs the GUI thread's events for a while, for the batched redraws to happen.
void Settle(std::chrono::milliseconds duration = std::chrono::milliseconds(60));
