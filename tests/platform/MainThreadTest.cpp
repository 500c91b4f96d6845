#include "MainThread.h"
#include "NamedException.h"

#include <QEventLoop>
#include <QThread>
#include <QTimer>
#include <atomic>
#include <gtest/gtest.h>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

// On the main thread the call runs directly; a worker blocks until the main thread ran it.
TEST(MainThread, RunsDirectlyThereAndWorkersBlockUntilTheMainThreadRanTheCall)
{
    bool ran = false;
    MainThread::runAndWait([&] { ran = true; });
    EXPECT_TRUE(ran);
    EXPECT_TRUE(MainThread::isMainThread());

    QThread* main = QThread::currentThread();
    QThread* ranOn = nullptr;
    std::atomic<bool> workerReturned = false;
    QString failure;
    QEventLoop loop;
    std::thread worker([&] {
        EXPECT_FALSE(MainThread::isMainThread());
        MainThread::runAndWait([&] { ranOn = QThread::currentThread(); });
        EXPECT_EQ(ranOn, main) << "completed before runAndWait returns";
        try {
            MainThread::runAndWait([] { NamedException::raise(kIOException, u"carried back"_s); });
        } catch (const NamedException& e) {
            failure = e.reason();
        }
        workerReturned = true;
        QMetaObject::invokeMethod(&loop, "quit", Qt::QueuedConnection);
    });
    QTimer::singleShot(10000, &loop, &QEventLoop::quit);
    loop.exec();
    worker.join();
    EXPECT_TRUE(workerReturned);
    EXPECT_EQ(ranOn, main);
    EXPECT_EQ(failure, u"carried back"_s);
}

} // namespace
