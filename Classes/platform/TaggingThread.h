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
// Failures: an exception thrown by a call is carried back and rethrown in
// the sender. Destruction stops the event loop and joins the thread; calls
// still queued then are not run, so destroy it only when no operation runs.

#include <QThread>
#include <functional>
#include <memory>

class QObject;

class TaggingThread
{
public:
    // Starts the thread.
    TaggingThread();
    TaggingThread(const TaggingThread&) = delete;
    TaggingThread& operator=(const TaggingThread&) = delete;
    ~TaggingThread();

    void runAndWait(const std::function<void()>& fn);

    bool isCurrentThread() const;
    QThread* thread() const { return m_thread.get(); }

private:
    std::unique_ptr<QThread> m_thread;
    // Lives on m_thread; calls are queued to it.
    std::unique_ptr<QObject> m_receiver;
};
