#include "OutputFormatCommands.h"

#include "ApplicationController.h"
#include "EncoderSettings.h"
#include "MutableListMoves.h"
#include "OutputFormatTable.h"
#include "Preferences.h"
#include "UserInterface.h"

#include <QDataStream>
#include <QIODevice>

const char* const OutputFormatCommands::kDragType = "OutputFormatTableViewDataType";

OutputFormatCommands::OutputFormatCommands(ApplicationController& controller, OutputFormatTable& table)
    : m_controller(controller), m_table(table)
{
}

std::optional<int> OutputFormatCommands::commandRow(Sender sender) const
{
    if (sender == Sender::MenuItem) {
        return m_table.clickedOutputFormatRow();
    }
    const QList<int> selected = m_table.selectedOutputFormatRows();
    if (selected.isEmpty()) {
        return std::nullopt;
    }
    return selected.first();
}

void OutputFormatCommands::addOutputFormat()
{
    auto& list = m_controller.encoderSettingsList();
    auto settings = std::make_shared<EncoderSettings>(
        Preferences::shared().dictionaryValue(QStringLiteral("defaultEncoderSetting")));
    const bool otherFormat = settings->encoderType() != EncoderSettings::MP3;
    if (settings->makeMP3() && otherFormat) {
        // Stored back, so the log tells of the old default once.
        Preferences::shared().setValue(QStringLiteral("defaultEncoderSetting"),
                                       settings->settingsDictionary());
    }
    m_controller.observeEncoderSettings(settings);
    list.append(settings);
    m_table.reloadOutputFormatTable();
    const int last = int(list.size()) - 1;
    m_table.selectOutputFormatRows(last, 1);
    m_table.scrollToOutputFormatRow(last);
    m_controller.ui().reloadOutputFormatList();
}

void OutputFormatCommands::removeOutputFormat(Sender sender)
{
    auto& list = m_controller.encoderSettingsList();
    if (sender == Sender::MenuItem) {
        // The context menu may empty the list: only the button keeps the last
        // format.
        const std::optional<int> row = m_table.clickedOutputFormatRow();
        if (!row || *row < 0 || *row >= list.size()) {
            return;
        }
        m_controller.stopObservingEncoderSettings(list.at(*row));
        list.removeAt(*row);
        m_table.reloadOutputFormatTable();
        m_controller.ui().reloadOutputFormatList();
        return;
    }

    QList<int> rows = m_table.selectedOutputFormatRows();
    rows.removeIf([&](int row) { return row < 0 || row >= list.size(); });
    if (rows.isEmpty() || list.size() <= 1) {
        m_controller.ui().beep();
        return;
    }
    std::sort(rows.begin(), rows.end());
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    for (auto row = rows.crbegin(); row != rows.crend(); ++row) {
        m_controller.stopObservingEncoderSettings(list.at(*row));
        list.removeAt(*row);
    }
    m_table.reloadOutputFormatTable();
    m_controller.ui().reloadOutputFormatList();
}

void OutputFormatCommands::duplicateOutputFormat(Sender sender)
{
    auto& list = m_controller.encoderSettingsList();
    const std::optional<int> row = commandRow(sender);
    if (!row || *row < 0 || *row >= list.size()) {
        m_controller.ui().beep();
        return;
    }
    // The copy goes above its source, which moves down one and stays the
    // selected row.
    std::shared_ptr<EncoderSettings> copy = list.at(*row)->copy();
    m_controller.observeEncoderSettings(copy);
    list.insert(*row, copy);
    m_table.reloadOutputFormatTable();
    m_table.selectOutputFormatRows(*row + 1, 1);
    m_table.scrollToOutputFormatRow(*row + 1);
    m_controller.ui().reloadOutputFormatList();
}

void OutputFormatCommands::useSelectedFormatAsDefault(Sender sender)
{
    const auto& list = m_controller.encoderSettingsList();
    const std::optional<int> row = commandRow(sender);
    if (!row || *row < 0 || *row >= list.size()) {
        m_controller.ui().beep();
        return;
    }
    Preferences::shared().setValue(QStringLiteral("defaultEncoderSetting"),
                                   list.at(*row)->settingsDictionary());
}

std::unique_ptr<QMimeData> OutputFormatCommands::writeRows(const QList<int>& rows)
{
    QByteArray archive;
    QDataStream stream(&archive, QIODevice::WriteOnly);
    stream << rows;
    auto data = std::make_unique<QMimeData>();
    data->setData(QString::fromLatin1(kDragType), archive);
    return data;
}

bool OutputFormatCommands::acceptDrop(const QMimeData& data, int row)
{
    if (!data.hasFormat(QString::fromLatin1(kDragType))) {
        return false;
    }
    QList<int> indexes;
    QDataStream stream(data.data(QString::fromLatin1(kDragType)));
    stream >> indexes;
    auto& list = m_controller.encoderSettingsList();
    if (stream.status() != QDataStream::Ok || indexes.isEmpty() || row < 0 || row > list.size()) {
        return false;
    }
    MutableListMoves::moveObjectsFromIndexes(list, indexes, row);
    const auto above = MutableListMoves::rowsAboveRow(row, indexes);
    m_table.selectOutputFormatRows(int(row - above), int(indexes.size()));
    m_table.reloadOutputFormatTable();
    return true;
}
