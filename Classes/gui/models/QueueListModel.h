#pragma once
// The queue as a Qt list model: one row per queued file operation, in queue
// order. Insertions and removals are announced as such, never as a reset,
// so that a view keeps its selection and scroll position. Files join the
// queue one by one at its end, thousands a second during a big drop; the
// model gathers them and announces them as one insertion of the new rows
// at most every 50 ms (or when flushed), so that the view lays itself out
// a few times a second instead of once per file. A removal first announces
// the rows still gathered.
//
// The rows' visible state (status text, progress) changes many times a
// second while files convert; those changes are gathered and announced at
// most every 50 ms as one change of all rows, which a view turns into a
// repaint of the rows it shows.
//
// Threads: main thread only (the queue is only changed there). The queue is
// not owned and must outlive the model.

#include <QAbstractListModel>
#include <QTimer>

class FileEncodeOperation;
class OperationsArrayController;

class QueueListModel : public QAbstractListModel
{
    Q_OBJECT
public:
    enum Role
    {
        StatusRole = Qt::UserRole + 1, // QString: the row's current status
        PercentCompleteRole,           // double, 0 to 100
        ProgressUnknownRole,           // bool: the progress bar is busy
        ExecutingRole,                 // bool: the row is converting
        PathRole,                      // QString: the source file
        DamagedRole,                   // bool: converted from a damaged source
    };

    explicit QueueListModel(OperationsArrayController& queue, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

    FileEncodeOperation* operationAt(int row) const;

    // Announces the rows that joined the queue and are not announced yet.
    void flushPendingRows();

    // Announces a change of every row now (the controller's refresh).
    void refreshRows();

Q_SIGNALS:
    // Some row's progress or status changed (already announced as data).
    void rowsProgressed();

private:
    void watch(FileEncodeOperation* operation);
    void scheduleRefresh();

    OperationsArrayController& m_queue;
    QTimer m_refreshTimer;
    QTimer m_insertTimer;
    int m_announcedRows = 0;
};
