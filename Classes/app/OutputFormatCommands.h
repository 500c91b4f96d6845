#pragma once
// The commands of the output-format list: add a format made from the stored
// default, remove, duplicate, store one as the default, and move rows
// dropped in the table. They change the controller's encoderSettings list
// and keep the controller observing exactly the records in it.
//
// Rules that differ by where a command comes from (sender):
// - remove from a context menu removes the clicked row, even the last one;
//   from the button it removes the selected rows, but never the last
//   record (beep);
// - duplicate and use-as-default take the clicked row from a menu, else the
//   selected row; without one they beep.
//
// Main thread only; neither the controller nor the table is owned and both
// must outlive the commands. The list must not change during a run: the
// window locks it while the controller's encoderRunning is set.

#include <QList>
#include <QMimeData>
#include <memory>
#include <optional>

class ApplicationController;
class EncoderSettings;
class OutputFormatTable;

class OutputFormatCommands
{
public:
    enum class Sender
    {
        Button,   // a toolbar or window button, or a main-menu item
        MenuItem, // an item of the table's context menu
    };

    // The drag type of rows of the output-format table.
    static const char* const kDragType;

    OutputFormatCommands(ApplicationController& controller, OutputFormatTable& table);

    void addOutputFormat();
    void removeOutputFormat(Sender sender);
    void duplicateOutputFormat(Sender sender);
    void useSelectedFormatAsDefault(Sender sender);

    // Drag and drop of rows. writeRows() archives the given rows' indexes
    // under kDragType; acceptDrop() moves the archived rows above row (the
    // list's size: below the last one), selects them and answers whether
    // the data held rows.
    static std::unique_ptr<QMimeData> writeRows(const QList<int>& rows);
    bool acceptDrop(const QMimeData& data, int row);

private:
    std::optional<int> commandRow(Sender sender) const;

    ApplicationController& m_controller;
    OutputFormatTable& m_table;
};
