#include "QueueListModel.h"

#include "FileEncodeOperation.h"
#include "OperationsArrayController.h"

QueueListModel::QueueListModel(OperationsArrayController& queue, QObject* parent)
    : QAbstractListModel(parent), m_queue(queue)
{
    m_refreshTimer.setSingleShot(true);
    m_refreshTimer.setInterval(50);
    connect(&m_refreshTimer, &QTimer::timeout, this, &QueueListModel::refreshRows);

    m_insertTimer.setSingleShot(true);
    m_insertTimer.setInterval(50);
    connect(&m_insertTimer, &QTimer::timeout, this, &QueueListModel::flushPendingRows);

    connect(&queue, &OperationsArrayController::operationInserted, this, [this](qsizetype index) {
        watch(m_queue.at(index));
        if (!m_insertTimer.isActive()) {
            m_insertTimer.start();
        }
    });
    connect(&queue, &OperationsArrayController::operationAboutToBeRemoved, this, [this](qsizetype index) {
        flushPendingRows();
        beginRemoveRows(QModelIndex(), int(index), int(index));
    });
    connect(&queue, &OperationsArrayController::operationRemoved, this, [this] {
        --m_announcedRows;
        endRemoveRows();
    });
    m_announcedRows = int(queue.count());
    for (FileEncodeOperation* operation : queue.arrangedObjects()) {
        watch(operation);
    }
}

void QueueListModel::watch(FileEncodeOperation* operation)
{
    // The operation announces on the main thread; finding its row on every
    // notice would cost a scan of the queue, so the notices only schedule a
    // refresh of all rows.
    connect(operation, &FileEncodeOperation::percentCompleteChanged, this, &QueueListModel::scheduleRefresh);
    connect(operation, &FileEncodeOperation::currentStatusChanged, this, &QueueListModel::scheduleRefresh);
    connect(operation, &FileEncodeOperation::isExecutingChanged, this, &QueueListModel::scheduleRefresh);
}

void QueueListModel::flushPendingRows()
{
    m_insertTimer.stop();
    const int rows = int(m_queue.count());
    if (rows <= m_announcedRows) {
        return;
    }
    beginInsertRows(QModelIndex(), m_announcedRows, rows - 1);
    m_announcedRows = rows;
    endInsertRows();
}

void QueueListModel::scheduleRefresh()
{
    if (!m_refreshTimer.isActive()) {
        m_refreshTimer.start();
    }
}

void QueueListModel::refreshRows()
{
    m_refreshTimer.stop();
    if (rowCount() > 0) {
        Q_EMIT dataChanged(index(0), index(rowCount() - 1));
    }
    Q_EMIT rowsProgressed();
}

int QueueListModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : m_announcedRows;
}

FileEncodeOperation* QueueListModel::operationAt(int row) const
{
    return row >= 0 && row < m_announcedRows ? m_queue.at(row) : nullptr;
}

QVariant QueueListModel::data(const QModelIndex& index, int role) const
{
    const FileEncodeOperation* operation = operationAt(index.row());
    if (operation == nullptr || index.column() != 0) {
        return {};
    }
    switch (role) {
    case Qt::DisplayRole:
    case StatusRole:
        return operation->currentStatus();
    case Qt::ToolTipRole:
    case PathRole:
        return operation->inFilePath();
    case PercentCompleteRole:
        return 100.0 * double(operation->percentComplete());
    case ProgressUnknownRole:
        return operation->progressUnknown();
    case ExecutingRole:
        return operation->isExecuting();
    case DamagedRole:
        return operation->sourceDamaged();
    default:
        return {};
    }
}

Qt::ItemFlags QueueListModel::flags(const QModelIndex& index) const
{
    // No drag: the queue has no manual order.
    return index.isValid() ? Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren
                           : Qt::NoItemFlags;
}
