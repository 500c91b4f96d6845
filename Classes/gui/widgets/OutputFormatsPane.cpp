#include "OutputFormatsPane.h"

#include "ApplicationController.h"
#include "Icons.h"
#include "OutputFormatCommands.h"
#include "OutputFormatDelegate.h"
#include "OutputFormatListModel.h"
#include "OutputFormatTableView.h"

#include <QHBoxLayout>
#include <QItemSelectionModel>
#include <QLabel>
#include <QMenu>
#include <QToolButton>
#include <QVBoxLayout>

OutputFormatsPane::OutputFormatsPane(ApplicationController& controller, QWidget* parent)
    : QWidget(parent), m_controller(controller)
{
    m_commands = std::make_unique<OutputFormatCommands>(controller, *this);
    m_model = new OutputFormatListModel(controller, this);
    m_model->setCommands(m_commands.get());
    m_view = new OutputFormatTableView(this);
    m_view->setModel(m_model);
    m_view->setItemDelegate(new OutputFormatDelegate(m_view));
    m_view->setAccessibleName(tr("Output Formats"));
    m_view->openCells();
    // A reset closes every cell.
    connect(m_model, &QAbstractItemModel::modelReset, m_view, &OutputFormatTableView::openCells);

    auto* title = new QLabel(tr("<b>Output Formats</b>"), this);
    m_addButton =
        toolButton(QStringLiteral("list-add"), tr("Add"), tr("Add an output format made from the default"));
    m_removeButton =
        toolButton(QStringLiteral("list-remove"), tr("Remove"), tr("Remove the selected output format"));
    m_duplicateButton =
        toolButton(QStringLiteral("edit-copy"), tr("Duplicate"), tr("Duplicate the selected output format"));
    m_defaultButton = toolButton(QStringLiteral("document-save"), tr("Use as Default"),
                                 tr("New output formats start from the selected one"));
    m_defaultButton->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);

    auto* header = new QHBoxLayout;
    header->setContentsMargins(8, 6, 6, 2);
    header->setSpacing(2);
    header->addWidget(title);
    header->addStretch(1);
    for (QToolButton* button : {m_addButton, m_removeButton, m_duplicateButton, m_defaultButton}) {
        header->addWidget(button);
    }
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addLayout(header);
    layout->addWidget(m_view, 1);

    connect(m_addButton, &QToolButton::clicked, this, [this] { m_commands->addOutputFormat(); });
    connect(m_removeButton, &QToolButton::clicked, this,
            [this] { m_commands->removeOutputFormat(OutputFormatCommands::Sender::Button); });
    connect(m_duplicateButton, &QToolButton::clicked, this,
            [this] { m_commands->duplicateOutputFormat(OutputFormatCommands::Sender::Button); });
    connect(m_defaultButton, &QToolButton::clicked, this,
            [this] { m_commands->useSelectedFormatAsDefault(OutputFormatCommands::Sender::Button); });
    connect(m_view->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &OutputFormatsPane::updateButtons);
    connect(m_view, &OutputFormatTableView::contextMenuRequestedForRow, this,
            [this](int row, const QPoint& globalPosition) {
                std::unique_ptr<QMenu> menu = contextMenuForRow(row);
                menu->exec(globalPosition);
            });
    // The formats of a run stay as they were when it started.
    connect(&controller, &ApplicationController::encoderRunningChanged, this,
            [this] { setEnabled(!m_controller.encoderRunning()); });
    updateButtons();
}

OutputFormatsPane::~OutputFormatsPane() = default;

QToolButton* OutputFormatsPane::toolButton(const QString& iconName, const QString& text,
                                           const QString& toolTip)
{
    auto* button = new QToolButton(this);
    button->setIcon(Icons::themed(iconName));
    button->setText(text);
    button->setToolTip(toolTip);
    button->setAccessibleName(text);
    button->setAutoRaise(true);
    return button;
}

void OutputFormatsPane::updateButtons()
{
    const bool selected = !selectedOutputFormatRows().isEmpty();
    m_removeButton->setEnabled(selected);
    m_duplicateButton->setEnabled(selected);
    m_defaultButton->setEnabled(selected);
}

void OutputFormatsPane::reload()
{
    m_model->refresh();
}

std::unique_ptr<QMenu> OutputFormatsPane::contextMenuForRow(int row)
{
    auto menu = std::make_unique<QMenu>(this);
    const std::optional<int> clicked = row >= 0 ? std::optional<int>(row) : std::nullopt;
    const auto addCommand = [&](const QString& iconName, const QString& text,
                                void (OutputFormatCommands::*command)(OutputFormatCommands::Sender)) {
        QAction* action = menu->addAction(Icons::themed(iconName), text);
        action->setEnabled(clicked.has_value());
        connect(action, &QAction::triggered, this, [this, clicked, command] {
            m_clickedRow = clicked;
            (m_commands.get()->*command)(OutputFormatCommands::Sender::MenuItem);
            m_clickedRow.reset();
        });
    };
    addCommand(QStringLiteral("edit-copy"), tr("Duplicate"), &OutputFormatCommands::duplicateOutputFormat);
    addCommand(QStringLiteral("document-save"), tr("Use as Default"),
               &OutputFormatCommands::useSelectedFormatAsDefault);
    menu->addSeparator();
    addCommand(QStringLiteral("list-remove"), tr("Remove"), &OutputFormatCommands::removeOutputFormat);
    return menu;
}

QList<int> OutputFormatsPane::selectedOutputFormatRows() const
{
    QList<int> rows;
    for (const QModelIndex& index : m_view->selectionModel()->selectedRows()) {
        rows << index.row();
    }
    std::sort(rows.begin(), rows.end());
    return rows;
}

void OutputFormatsPane::reloadOutputFormatTable()
{
    const QList<int> selected = selectedOutputFormatRows();
    m_model->reload();
    for (int row : selected) {
        if (row < m_model->rowCount()) {
            m_view->selectionModel()->select(m_model->index(row), QItemSelectionModel::Select);
        }
    }
    updateButtons();
}

void OutputFormatsPane::selectOutputFormatRows(int first, int count)
{
    QItemSelection selection;
    const int last = std::min(first + count, m_model->rowCount()) - 1;
    if (first >= 0 && last >= first) {
        selection.select(m_model->index(first), m_model->index(last));
    }
    m_view->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    if (first >= 0 && first < m_model->rowCount()) {
        m_view->selectionModel()->setCurrentIndex(m_model->index(first), QItemSelectionModel::NoUpdate);
    }
    updateButtons();
}

void OutputFormatsPane::scrollToOutputFormatRow(int row)
{
    if (row >= 0 && row < m_model->rowCount()) {
        m_view->scrollTo(m_model->index(row));
    }
}
