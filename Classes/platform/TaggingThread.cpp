#include "TaggingThread.h"

#include "BlockingCall.h"

#include <QEventLoop>
#include <QObject>
#include <condition_variable>
#include <mutex>
#include <pthread.h>

namespace {

// What the constructor waits for: the thread's loop and receiver exist.
struct Startup
{
    std::mutex lock;
    std::condition_variable readyCondition;
    bool ready = false;
};

} // namespace

TaggingThread::TaggingThread()
{
    Startup startup;
    m_thread = std::thread([this, &startup] {
        pthread_setname_np(pthread_self(), "Sonabrik taggin"); // 15 bytes at most
        // The event loop makes the thread's event dispatcher; the receiver
        // made after it lives on this thread.
        QEventLoop loop;
        QObject receiver;
        {
            std::lock_guard guard(startup.lock);
            m_threadId = std::this_thread::get_id();
            m_loop = &loop;
            m_receiver = &receiver;
            startup.ready = true;
            startup.readyCondition.notify_all();
        }
        loop.exec();
        // Calls queued after the loop ended are dropped (their senders
        // released) when the receiver is destroyed, here on its own thread.
    });
    std::unique_lock guard(startup.lock);
    startup.readyCondition.wait(guard, [&] { return startup.ready; });
}

TaggingThread::~TaggingThread()
{
    BlockingCall::runOn(m_receiver, [this] { m_loop->quit(); });
    m_thread.join();
}

bool TaggingThread::isCurrentThread() const
{
    return std::this_thread::get_id() == m_threadId;
}

void TaggingThread::runAndWait(const std::function<void()>& fn)
{
    if (isCurrentThread()) {
        fn();
        return;
    }
    BlockingCall::runOn(m_receiver, fn);
}
