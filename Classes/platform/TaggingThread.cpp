#include "TaggingThread.h"

#include "BlockingCall.h"

#include <QObject>

TaggingThread::TaggingThread()
    : m_thread(std::make_unique<QThread>()), m_receiver(std::make_unique<QObject>())
{
    m_thread->setObjectName(QStringLiteral("Sonabrik tagging"));
    m_receiver->moveToThread(m_thread.get());
    m_thread->start();
}

TaggingThread::~TaggingThread()
{
    m_thread->quit();
    m_thread->wait();
    // The receiver belongs to a thread that has finished; deleting it from
    // here is safe because no event can reach it any more.
    m_receiver.reset();
}

bool TaggingThread::isCurrentThread() const
{
    return QThread::currentThread() == m_thread.get();
}

void TaggingThread::runAndWait(const std::function<void()>& fn)
{
    if (isCurrentThread()) {
        fn();
        return;
    }
    BlockingCall::runOn(m_receiver.get(), fn);
}
