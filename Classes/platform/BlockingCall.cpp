#include "BlockingCall.h"

#include <QMetaObject>
#include <QObject>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>

namespace {

// Qt hands a queued call over through its event queue and wakes a blocked
// sender through a semaphore; both are locks inside Qt that thread checkers
// cannot see. The hand-over therefore also passes through standard locks:
// postingLock orders the sender's making of the call before the receiver's
// reading of it, and the call's own mutex orders everything the call did
// before the sender's return. Each is held only for moments.
std::mutex postingLock;

struct Call
{
    // A copy made by the sender before posting: the receiver reads nothing
    // of the sender's stack but what fn itself refers to.
    std::function<void()> fn;
    std::mutex mutex;
    std::condition_variable finished;
    bool done = false;
    std::exception_ptr failure;

    void finish(std::exception_ptr result)
    {
        std::lock_guard lock(mutex);
        if (!done) {
            failure = std::move(result);
            done = true;
            finished.notify_all();
        }
    }
};

// The queued call. Qt destroys it unrun when its receiver goes away or its
// thread has ended: the sender is then released as well, as Qt's own blocking
// connection does.
class Task
{
public:
    explicit Task(std::shared_ptr<Call> call) : m_call(std::move(call)) {}
    Task(Task&&) noexcept = default;
    Task& operator=(Task&&) = delete;
    ~Task()
    {
        if (m_call) {
            m_call->finish(nullptr);
        }
    }

    void operator()()
    {
        // Only static state is touched before this: the members were
        // written by the sender, which released the lock after posting.
        {
            std::lock_guard posted(postingLock);
        }
        std::exception_ptr failure;
        try {
            m_call->fn();
        } catch (...) {
            failure = std::current_exception();
        }
        m_call->finish(std::move(failure));
    }

private:
    std::shared_ptr<Call> m_call;
};

} // namespace

namespace BlockingCall {

void runOn(QObject* receiver, const std::function<void()>& fn)
{
    auto call = std::make_shared<Call>();
    call->fn = fn;
    {
        // Held until Qt has let go of its own reference to the call, so that
        // the receiver is the one that destroys it.
        std::lock_guard posting(postingLock);
        QMetaObject::invokeMethod(receiver, Task(call), Qt::QueuedConnection);
    }
    std::unique_lock lock(call->mutex);
    call->finished.wait(lock, [&] { return call->done; });
    if (call->failure) {
        std::rethrow_exception(call->failure);
    }
}

} // namespace BlockingCall
