#pragma once
// The queue that runs the encode operations of one file operation: starts
// them in the order they were added, at most maxConcurrent at a time, and
// starts the next one when one finishes.
//
// An operation waiting for the user's overwrite answer keeps its place (it
// has not finished). cancelAllOperations() cancels every operation not yet
// finished; those not yet started are still started, and finish at once.
//
// Ownership: the queue owns nothing; the file operation owns the encode
// operations and keeps them alive until they have finished. Threads: main
// thread only. The next operation is started from the event loop, never
// from inside another operation's finish notice.

#include <QList>
#include <QObject>
#include <QPointer>

class EncodeOperation;

class EncodeQueue : public QObject
{
    Q_OBJECT
public:
    explicit EncodeQueue(int maxConcurrent = 1, QObject* parent = nullptr);

    void addOperation(EncodeOperation* operation);
    void cancelAllOperations();
    int maxConcurrent() const { return m_maxConcurrent; }
    qsizetype operationCount() const { return m_operations.size(); }

private:
    void startWaitingOperations();
    void operationFinished(EncodeOperation* operation);
    void scheduleStart();

    int m_maxConcurrent;
    bool m_startScheduled = false;
    QList<QPointer<EncodeOperation>> m_operations; // added and not finished, in order
};
