#pragma once
// The tagging thread: one long-lived thread with an event loop that performs
// every tag read of a running operation and every tag write, one call at a
// time, so that TagLib (and its process-wide default text encoding) is never
// used from two threads at once.
//
// The controller creates one at start-up and owns it; encode operations
// reach it through their delegate. runAndWait() hands a call over and blocks
// the sender until the call has run; calls from several threads queue up and
// run in arrival order. A call made on the tagging thread itself runs at
// once (no deadlock when a tag call nests another).
//
// The thread is a standard thread running a Qt event loop (Qt adopts it),
// and its Qt objects are made and destroyed on it: stopping it is a join,
// which orders everything the thread did before the destructor returns.
//
// Failures: an exception thrown by a call is carried back and rethrown in
// the sender. Destruction stops the event loop and joins the thread; calls
// still queued then are not run, so destroy it only when no operation runs.

#include <functional>
#include <thread>

class QEventLoop;
class QObject;

class TaggingThread
{
public:
    // Starts the thread and returns once its event loop takes calls.
    TaggingThread();
    TaggingThread(const TaggingThread&) = delete;
    TaggingThread& operator=(const TaggingThread&) = delete;
    ~TaggingThread();

    void runAndWait(const std::function<void()>& fn);

    bool isCurrentThread() const;

private:
    std::thread m_thread;
    // Set by the thread before the constructor returns, never changed
    // afterwards; the loop and the receiver live on the thread's stack.
    std::thread::id m_threadId;
    QEventLoop* m_loop = nullptr;
    QObject* m_receiver = nullptr;
};
