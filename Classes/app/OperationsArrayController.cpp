#include "OperationsArrayController.h"

#include "FileEncodeOperation.h"

#include <QFileInfo>
#include <algorithm>

OperationsArrayController::OperationsArrayController(QObject* parent) : QObject(parent) {}

OperationsArrayController::~OperationsArrayController()
{
    qDeleteAll(m_operations);
}

void OperationsArrayController::append(FileEncodeOperation* operation)
{
    const qsizetype index = m_operations.size();
    Q_EMIT operationAboutToBeInserted(index);
    m_operations.append(operation);
    Q_EMIT operationInserted(index);
    Q_EMIT arrangedObjectsChanged();
}

void OperationsArrayController::remove(FileEncodeOperation* operation)
{
    const qsizetype index = m_operations.indexOf(operation);
    if (index < 0) {
        return;
    }
    Q_EMIT operationAboutToBeRemoved(index);
    m_operations.removeAt(index);
    Q_EMIT operationRemoved(index);
    // Rows below the removed one move up by one.
    QList<int> selection;
    for (int row : std::as_const(m_selection)) {
        if (row < index) {
            selection.append(row);
        } else if (row > index) {
            selection.append(row - 1);
        }
    }
    m_selection = selection;
    Q_EMIT arrangedObjectsChanged();
}

bool OperationsArrayController::containsFile(const QString& path) const
{
    return std::any_of(m_operations.begin(), m_operations.end(),
                       [&](const FileEncodeOperation* operation) { return operation->inFilePath() == path; });
}

bool OperationsArrayController::containsExtension(const QString& extension) const
{
    return std::any_of(m_operations.begin(), m_operations.end(), [&](const FileEncodeOperation* operation) {
        return QFileInfo(operation->inFilePath()).suffix().toLower() == extension;
    });
}

QStringList OperationsArrayController::paths() const
{
    QStringList result;
    result.reserve(m_operations.size());
    for (const FileEncodeOperation* operation : m_operations) {
        result.append(operation->inFilePath());
    }
    return result;
}

void OperationsArrayController::setSelectionIndexes(const QList<int>& rows)
{
    QList<int> selection;
    selection.reserve(rows.size());
    for (int row : rows) {
        if (row >= 0 && row < m_operations.size()) {
            selection.append(row);
        }
    }
    // Sorted first: a whole queue of ten thousand rows may be selected.
    std::sort(selection.begin(), selection.end());
    selection.erase(std::unique(selection.begin(), selection.end()), selection.end());
    m_selection = selection;
}

QList<FileEncodeOperation*> OperationsArrayController::selectedObjects() const
{
    QList<FileEncodeOperation*> result;
    for (int row : m_selection) {
        result.append(m_operations.at(row));
    }
    return result;
}
