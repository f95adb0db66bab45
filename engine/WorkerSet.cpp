#include "WorkerSet.h"

#include <pthread.h>

#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t kThreadNameLength = 15;

}  // namespace

struct WorkerSet::State {
    std::mutex mutex;
    int running = 0;
    std::vector<std::function<void()>> idleCallbacks;

    // Called by each worker as its very last step.
    void WorkerEnded() {
        std::vector<std::function<void()>> callbacks;
        {
            std::lock_guard lock(mutex);
            if (--running == 0) {
                callbacks.swap(idleCallbacks);
            }
        }
        for (const auto& callback : callbacks) {
            callback();
        }
    }
};

WorkerSet::WorkerSet() : state_(std::make_shared<State>()) {}

WorkerSet::~WorkerSet() = default;

bool WorkerSet::Spawn(const std::string& name, std::function<void()> body) {
    {
        std::lock_guard lock(state_->mutex);
        ++state_->running;
    }
    try {
        std::thread worker([state = state_, name = name.substr(0, kThreadNameLength),
                            body = std::move(body)]() mutable {
            pthread_setname_np(pthread_self(), name.c_str());
            body();
            // Whatever the body captured goes before the owner hears that its workers are done.
            body = nullptr;
            state->WorkerEnded();
        });
        worker.detach();
    } catch (const std::system_error&) {
        state_->WorkerEnded();
        return false;
    }
    return true;
}

int WorkerSet::Running() const {
    std::lock_guard lock(state_->mutex);
    return state_->running;
}

void WorkerSet::WhenIdle(std::function<void()> callback) {
    {
        std::lock_guard lock(state_->mutex);
        if (state_->running > 0) {
            state_->idleCallbacks.push_back(std::move(callback));
            return;
        }
    }
    callback();
}
