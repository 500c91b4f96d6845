#include "MainThread.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>
#include <exception>

namespace MainThread {

bool isMainThread()
{
    QCoreApplication* app = QCoreApplication::instance();
    return app == nullptr || QThread::currentThread() == app->thread();
}

void runAndWait(const std::function<void()>& fn)
{
    if (isMainThread()) {
        fn();
        return;
    }
    // The exception cannot cross the event loop, so it is caught there and
    // rethrown here, in the thread that asked.
    std::exception_ptr failure;
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [&] {
            try {
                fn();
            } catch (...) {
                failure = std::current_exception();
            }
        },
        Qt::BlockingQueuedConnection);
    if (failure) {
        std::rethrow_exception(failure);
    }
}

void post(std::function<void()> fn)
{
    QCoreApplication* app = QCoreApplication::instance();
    if (app == nullptr) {
        fn();
        return;
    }
    QMetaObject::invokeMethod(app, std::move(fn), Qt::QueuedConnection);
}

} // namespace MainThread
