#include "BlockingCall.h"

#include <QMetaObject>
#include <QObject>
#include <exception>

namespace BlockingCall {

void runOn(QObject* receiver, const std::function<void()>& fn)
{
    std::exception_ptr failure;
    QMetaObject::invokeMethod(
        receiver,
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

} // namespace BlockingCall
