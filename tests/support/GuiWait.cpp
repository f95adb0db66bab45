#include "GuiWait.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

bool WaitUntil(const std::function<bool()>& condition, std::chrono::milliseconds timeout) {
    QElapsedTimer clock;
    clock.start();
    while (!condition()) {
        if (clock.elapsed() > timeout.count()) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(1);
    }
    return true;
}

void Settle(std::chrono::milliseconds duration) {
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < duration.count()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(1);
    }
}
