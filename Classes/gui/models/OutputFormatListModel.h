#pragma once
// The controller's output formats (its encoderSettings list) as a Qt list
// model, one row per record, for the output-format table. Rows are dragged
// within the table under the type "OutputFormatTableViewDataType"; a drop
// onto a row counts as a drop above it, and the move itself is the
// commands' (OutputFormatCommands::acceptDrop).
//
// The commands change the list first and then ask for reload(), which
// announces a reset; a change of a record's settings is announced by
// refresh() as a change of every row, gathered until the event loop turns,
// so that a cell that changes its record is not reconfigured from inside
// its own handler; if by then the list's length changed, it announces a
// reset instead.
//
// Main thread. The controller and the commands are not owned and must
// outlive the model.

#include <QAbstractListModel>

class ApplicationController;
class EncoderSettings;
class OutputFormatCommands;

class OutputFormatListModel : public QAbstractListModel
{
    Q_OBJECT
public:
    enum Role
    {
        SettingsRole = Qt::UserRole + 1, // EncoderSettings*
    };

    explicit OutputFormatListModel(ApplicationController& controller, QObject* parent = nullptr);

    void setCommands(OutputFormatCommands* commands) { m_commands = commands; }
    EncoderSettings* settingsAt(int row) const;

    void reload();
    void refresh();

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    Qt::DropActions supportedDragActions() const override { return Qt::MoveAction; }
    Qt::DropActions supportedDropActions() const override { return Qt::MoveAction; }
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    bool canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                         const QModelIndex& parent) const override;
    bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                      const QModelIndex& parent) override;

private:
    ApplicationController& m_controller;
    OutputFormatCommands* m_commands = nullptr;
    bool m_refreshPending = false;
    // The rows announced so far: the list itself changes before the model
    // hears of it.
    int m_rows = 0;
};
