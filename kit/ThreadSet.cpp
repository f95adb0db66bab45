#include "ThreadSet.h"

#include <QCoreApplication>
#include <QPointer>

#include <pthread.h>

#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "CrossThread.h"

namespace {

constexpr std::size_t kThreadNameLength = 15;

struct IdleCallback {
    QPointer<QObject> context;
    std::function<void()> callback;
};

}  // namespace

struct ThreadSet::State {
    std::mutex mutex;
    int running = 0;
    std::vector<IdleCallback> idleCallbacks;

    // Called by each worker as its very last step.
    void WorkerEnded() {
        std::vector<IdleCallback> callbacks;
        {
            std::lock_guard lock(mutex);
            if (--running == 0) {
                callbacks.swap(idleCallbacks);
            }
        }
        if (callbacks.empty()) {
            return;
        }
        // The contexts may die while this thread runs, so they are checked on their own thread;
        // the application object outlives every window.
        if (QCoreApplication* application = QCoreApplication::instance()) {
            Post(application, [callbacks = std::move(callbacks)] {
                for (const IdleCallback& idle : callbacks) {
                    if (idle.context) {
                        idle.callback();
                    }
                }
            });
        }
    }
};

ThreadSet::ThreadSet() : state_(std::make_shared<State>()) {}

ThreadSet::~ThreadSet() = default;

bool ThreadSet::Spawn(const std::string& name, std::function<void()> body) {
    {
        std::lock_guard lock(state_->mutex);
        ++state_->running;
    }
    try {
        std::thread worker([state = state_, name = name.substr(0, kThreadNameLength),
                            body = std::move(body)]() mutable {
            pthread_setname_np(pthread_self(), name.c_str());
            body();
            // Whatever the body captured goes before the window hears that its workers are done.
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

int ThreadSet::Running() const {
    std::lock_guard lock(state_->mutex);
    return state_->running;
}

void ThreadSet::WhenIdle(QObject* context, std::function<void()> callback) {
    {
        std::lock_guard lock(state_->mutex);
        if (state_->running > 0) {
            state_->idleCallbacks.push_back({QPointer<QObject>(context), std::move(callback)});
            return;
        }
    }
    callback();
}
