#include "OutputFormatListModel.h"

#include "ApplicationController.h"
#include "EncoderSettings.h"
#include "OutputFormatCommands.h"

#include <QMimeData>
#include <QTimer>
#include <algorithm>

OutputFormatListModel::OutputFormatListModel(ApplicationController& controller, QObject* parent)
    : QAbstractListModel(parent), m_controller(controller),
      m_rows(int(controller.encoderSettingsList().size()))
{
}

EncoderSettings* OutputFormatListModel::settingsAt(int row) const
{
    const auto& list = m_controller.encoderSettingsList();
    return row >= 0 && row < m_rows && row < list.size() ? list.at(row).get() : nullptr;
}

void OutputFormatListModel::reload()
{
    beginResetModel();
    m_rows = int(m_controller.encoderSettingsList().size());
    endResetModel();
}

void OutputFormatListModel::refresh()
{
    if (m_refreshPending) {
        return;
    }
    m_refreshPending = true;
    QTimer::singleShot(0, this, [this] {
        m_refreshPending = false;
        if (m_rows != m_controller.encoderSettingsList().size()) {
            // Formats were added or removed by someone other than the commands.
            reload();
        } else if (rowCount() > 0) {
            Q_EMIT dataChanged(index(0), index(rowCount() - 1));
        }
    });
}

int OutputFormatListModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : m_rows;
}

QVariant OutputFormatListModel::data(const QModelIndex& index, int role) const
{
    EncoderSettings* settings = settingsAt(index.row());
    if (settings == nullptr) {
        return {};
    }
    switch (role) {
    case Qt::DisplayRole:
    case Qt::ToolTipRole:
    case Qt::AccessibleTextRole:
        return settings->completeDescription();
    case SettingsRole:
        return QVariant::fromValue(settings);
    default:
        return {};
    }
}

Qt::ItemFlags OutputFormatListModel::flags(const QModelIndex& index) const
{
    if (!index.isValid()) {
        return Qt::ItemIsDropEnabled;
    }
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsEditable | Qt::ItemIsDragEnabled |
           Qt::ItemIsDropEnabled;
}

QStringList OutputFormatListModel::mimeTypes() const
{
    return {QString::fromLatin1(OutputFormatCommands::kDragType)};
}

QMimeData* OutputFormatListModel::mimeData(const QModelIndexList& indexes) const
{
    QList<int> rows;
    for (const QModelIndex& index : indexes) {
        rows << index.row();
    }
    std::sort(rows.begin(), rows.end());
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    return OutputFormatCommands::writeRows(rows).release();
}

bool OutputFormatListModel::canDropMimeData(const QMimeData* data, Qt::DropAction action, int, int,
                                            const QModelIndex&) const
{
    return data != nullptr && action == Qt::MoveAction &&
           data->hasFormat(QString::fromLatin1(OutputFormatCommands::kDragType));
}

bool OutputFormatListModel::dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                                         const QModelIndex& parent)
{
    if (m_commands == nullptr || !canDropMimeData(data, action, row, column, parent)) {
        return false;
    }
    if (row < 0) {
        // Onto a row: above it. Onto the empty space below the rows: at the end.
        row = parent.isValid() ? parent.row() : rowCount();
    }
    return m_commands->acceptDrop(*data, row);
}
