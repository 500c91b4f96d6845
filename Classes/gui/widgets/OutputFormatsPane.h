#pragma once
// The output formats of the main window: a title, the table of formats
// (one editable cell per format, rows dragged by their grip to reorder
// them) and the buttons and context menu of the output-format commands:
// add, remove, duplicate and use as default. The pane is the commands'
// table: it answers for the selection and the clicked row, and shows their
// changes. While the controller runs, the pane is locked.
//
// Main thread. The controller is not owned and must outlive the pane.

#include "OutputFormatTable.h"

#include <QWidget>
#include <memory>

class ApplicationController;
class OutputFormatCommands;
class OutputFormatListModel;
class OutputFormatTableView;
class QMenu;
class QToolButton;

class OutputFormatsPane : public QWidget, public OutputFormatTable
{
    Q_OBJECT
public:
    explicit OutputFormatsPane(ApplicationController& controller, QWidget* parent = nullptr);
    ~OutputFormatsPane() override;

    OutputFormatTableView* tableView() const { return m_view; }
    OutputFormatListModel* model() const { return m_model; }
    OutputFormatCommands& commands() { return *m_commands; }
    QToolButton* addButton() const { return m_addButton; }
    QToolButton* removeButton() const { return m_removeButton; }
    QToolButton* duplicateButton() const { return m_duplicateButton; }
    QToolButton* defaultButton() const { return m_defaultButton; }

    // A record's settings changed: the cells show them again.
    void reload();

    // The context menu of row (-1: below the rows); its commands act on
    // that row. The caller shows it, and owns it.
    std::unique_ptr<QMenu> contextMenuForRow(int row);

    // OutputFormatTable.
    QList<int> selectedOutputFormatRows() const override;
    std::optional<int> clickedOutputFormatRow() const override { return m_clickedRow; }
    void reloadOutputFormatTable() override;
    void selectOutputFormatRows(int first, int count) override;
    void scrollToOutputFormatRow(int row) override;

private:
    QToolButton* toolButton(const QString& iconName, const QString& text, const QString& toolTip);
    void updateButtons();

    ApplicationController& m_controller;
    std::unique_ptr<OutputFormatCommands> m_commands;
    OutputFormatListModel* m_model = nullptr;
    OutputFormatTableView* m_view = nullptr;
    QToolButton* m_addButton = nullptr;
    QToolButton* m_removeButton = nullptr;
    QToolButton* m_duplicateButton = nullptr;
    QToolButton* m_defaultButton = nullptr;
    std::optional<int> m_clickedRow;
};
