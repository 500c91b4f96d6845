#pragma once
// The error log as a two-column table model: the date of each message and
// the message. It follows the log as it grows: messages logged on any
// thread reach it through the event loop and are announced as inserted
// rows; a clear is announced as a reset.
//
// Main thread. The log (ErrorLog::shared()) lives for the whole process.

#include "ErrorLog.h"

#include <QAbstractTableModel>

class ErrorLogModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum Column
    {
        DateColumn,
        MessageColumn,
        ColumnCount
    };

    explicit ErrorLogModel(QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

    // Brings the rows in line with the log now.
    void synchronize();

private:
    void reset();

    QList<ErrorLogEntry> m_entries;
};
