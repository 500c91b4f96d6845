#include "MainThread.h"

#include "BlockingCall.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>

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
    BlockingCall::runOn(QCoreApplication::instance(), fn);
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
