#include "EncodeQueue.h"

#include "EncodeOperation.h"

#include <QTimer>

EncodeQueue::EncodeQueue(int maxConcurrent, QObject* parent)
    : QObject(parent), m_maxConcurrent(maxConcurrent < 1 ? 1 : maxConcurrent)
{
}

void EncodeQueue::addOperation(EncodeOperation* operation)
{
    m_operations.append(operation);
    connect(operation, &EncodeOperation::isFinishedChanged, this, [this, operation] {
        if (operation->isFinished()) {
            operationFinished(operation);
        }
    });
    scheduleStart();
}

void EncodeQueue::cancelAllOperations()
{
    for (const QPointer<EncodeOperation>& operation : m_operations) {
        if (operation && !operation->isFinished()) {
            operation->cancel();
        }
    }
    scheduleStart();
}

void EncodeQueue::operationFinished(EncodeOperation* operation)
{
    disconnect(operation, nullptr, this, nullptr);
    m_operations.removeAll(operation);
    scheduleStart();
}

void EncodeQueue::scheduleStart()
{
    // Starting from the event loop keeps a start (which may finish a
    // cancelled operation at once) out of the observers' notices.
    if (m_startScheduled) {
        return;
    }
    m_startScheduled = true;
    QTimer::singleShot(0, this, [this] {
        m_startScheduled = false;
        startWaitingOperations();
    });
}

void EncodeQueue::startWaitingOperations()
{
    m_operations.removeAll(nullptr);
    int busy = 0;
    for (const QPointer<EncodeOperation>& operation : m_operations) {
        // Executing, or paused for the user: both hold a place.
        if (operation->isExecuting() || operation->waitingUserInput()) {
            ++busy;
        }
    }
    const QList<QPointer<EncodeOperation>> operations = m_operations;
    for (const QPointer<EncodeOperation>& operation : operations) {
        if (busy >= m_maxConcurrent) {
            break;
        }
        if (!operation || operation->isExecuting() || operation->waitingUserInput() ||
            operation->isFinished()) {
            continue;
        }
        ++busy;
        operation->start();
    }
}
