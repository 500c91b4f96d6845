#pragma once
// The queue: the queued file operations in insertion order, the rows
// selected in the queue list, and the three queries the controller asks of
// it (each a linear scan in order).
//
// Ownership: the queue owns its operations. remove() hands an operation
// back to the caller, who destroys it from the event loop (deleteLater),
// since a removal may happen inside the operation's own finish notice.
// Threads: main thread only.

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

class FileEncodeOperation;

class OperationsArrayController : public QObject
{
    Q_OBJECT
public:
    explicit OperationsArrayController(QObject* parent = nullptr);
    ~OperationsArrayController() override;

    const QList<FileEncodeOperation*>& arrangedObjects() const { return m_operations; }
    qsizetype count() const { return m_operations.size(); }
    FileEncodeOperation* at(qsizetype index) const { return m_operations.at(index); }
    qsizetype indexOf(FileEncodeOperation* operation) const { return m_operations.indexOf(operation); }

    // Takes ownership.
    void append(FileEncodeOperation* operation);
    // Gives up ownership and drops the operation from the selection.
    void remove(FileEncodeOperation* operation);

    // Some operation's input path equals path exactly.
    bool containsFile(const QString& path) const;
    // Some operation's input extension, lower-cased, equals extension (taken
    // as given, not lower-cased).
    bool containsExtension(const QString& extension) const;
    // The input paths of all operations, in order.
    QStringList paths() const;

    // The selection, as rows of the queue list (ascending, in range).
    QList<int> selectionIndexes() const { return m_selection; }
    void setSelectionIndexes(const QList<int>& rows);
    QList<FileEncodeOperation*> selectedObjects() const;

Q_SIGNALS:
    // Around each single insertion and removal, so that a list model can
    // announce the row itself instead of resetting.
    void operationAboutToBeInserted(qsizetype index);
    void operationInserted(qsizetype index);
    void operationAboutToBeRemoved(qsizetype index);
    void operationRemoved(qsizetype index);
    // After any change of the list.
    void arrangedObjectsChanged();

private:
    QList<FileEncodeOperation*> m_operations;
    QList<int> m_selection;
};
