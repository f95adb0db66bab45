#include "CrossThread.h"

#include <QThread>

namespace crossthread_detail {

std::recursive_mutex& HandOverLock() {
    static std::recursive_mutex lock;
    return lock;
}

void HandOverBarrier() {
    std::lock_guard barrier(HandOverLock());
}

bool OnThreadOf(const QObject* target) {
    return target->thread() == QThread::currentThread();
}

}  // namespace crossthread_detail
