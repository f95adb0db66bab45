#include "ThreadSet.h"

#include <QCoreApplication>
#include <QPointer>

#include "CrossThread.h"

bool ThreadSet::Spawn(const std::string& name, std::function<void()> body) {
    return workers_.Spawn(name, std::move(body));
}

int ThreadSet::Running() const {
    return workers_.Running();
}

void ThreadSet::WhenIdle(QObject* context, std::function<void()> callback) {
    if (workers_.Running() == 0) {
        callback();
        return;
    }
    // The context may die while the last worker runs, so it is checked on its own thread; the
    // application object outlives every window.
    workers_.WhenIdle([context = QPointer<QObject>(context), callback = std::move(callback)] {
        if (QCoreApplication* application = QCoreApplication::instance()) {
            Post(application, [context, callback] {
                if (context) {
                    callback();
                }
            });
        }
    });
}
