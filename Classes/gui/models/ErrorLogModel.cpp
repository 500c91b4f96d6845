#include "ErrorLogModel.h"

#include <QLocale>

ErrorLogModel::ErrorLogModel(QObject* parent) : QAbstractTableModel(parent)
{
    ErrorLog* log = ErrorLog::shared();
    // Queued: messages are logged on worker threads, and a clear announces
    // itself under the log's lock.
    connect(log, &ErrorLog::entryInserted, this, &ErrorLogModel::synchronize, Qt::QueuedConnection);
    connect(log, &ErrorLog::errorLogDidChange, this, &ErrorLogModel::reset, Qt::QueuedConnection);
    m_entries = log->errorLog();
}

void ErrorLogModel::synchronize()
{
    const QList<ErrorLogEntry> entries = ErrorLog::shared()->errorLog();
    if (entries.size() < m_entries.size()) {
        // Cleared since, and the reset is still on its way.
        reset();
        return;
    }
    if (entries.size() == m_entries.size()) {
        return;
    }
    beginInsertRows(QModelIndex(), int(m_entries.size()), int(entries.size() - 1));
    m_entries = entries;
    endInsertRows();
}

void ErrorLogModel::reset()
{
    beginResetModel();
    m_entries = ErrorLog::shared()->errorLog();
    endResetModel();
}

int ErrorLogModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(m_entries.size());
}

int ErrorLogModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant ErrorLogModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= m_entries.size()) {
        return {};
    }
    const ErrorLogEntry& entry = m_entries.at(index.row());
    if (role == Qt::DisplayRole) {
        return index.column() == DateColumn
                   ? QLocale().toString(entry.date.toLocalTime(), QLocale::ShortFormat)
                   : entry.log;
    }
    if (role == Qt::ToolTipRole && index.column() == DateColumn) {
        return ErrorLog::textOfDate(entry.date);
    }
    if (role == Qt::TextAlignmentRole) {
        return QVariant::fromValue(Qt::AlignLeft | Qt::AlignTop);
    }
    return {};
}

QVariant ErrorLogModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) {
        return {};
    }
    return section == DateColumn ? tr("Date") : tr("Message");
}
