#include "DesktopUserInterface.h"

#include "ApplicationController.h"
#include "ErrorLogWindowController.h"
#include "MainWindow.h"
#include "OutputFolderPopUp.h"
#include "OutputFormatsPane.h"
#include "QueueListModel.h"
#include "QueueListView.h"

#include <QApplication>
#include <QCheckBox>
#include <QDesktopServices>
#include <QFileDialog>
#include <QItemSelectionModel>
#include <QMessageBox>
#include <QProgressDialog>
#include <QPushButton>
#include <QStandardPaths>
#include <QUrl>

namespace {

QMessageBox::Icon iconOf(Alert::Style style)
{
    switch (style) {
    case Alert::Style::Informational:
        return QMessageBox::Information;
    case Alert::Style::Critical:
        return QMessageBox::Critical;
    case Alert::Style::Warning:
        break;
    }
    return QMessageBox::Warning;
}

// The return code of the button clicked: 1000 for the first, and so on.
int returnCodeOf(QMessageBox* box)
{
    const QVariant code =
        box->clickedButton() != nullptr ? box->clickedButton()->property("returnCode") : QVariant();
    if (code.isValid()) {
        return code.toInt();
    }
    // Closed without a button (Escape on a box without an escape button):
    // the default answer.
    return AlertFirstButtonReturn;
}

} // namespace

DesktopUserInterface::DesktopUserInterface() = default;

DesktopUserInterface::~DesktopUserInterface()
{
    delete m_progress;
}

void DesktopUserInterface::attach(MainWindow* window, ApplicationController* controller)
{
    m_window = window;
    m_controller = controller;
    QItemSelectionModel* selection = window->queueView()->selectionModel();
    connect(selection, &QItemSelectionModel::selectionChanged, this, [this] {
        if (!m_settingSelection && m_controller != nullptr) {
            m_controller->listViewSelectionDidChange();
        }
    });
    // The controller may have made its formats before the window was here.
    reloadOutputFormatList();
}

QMessageBox* DesktopUserInterface::messageBoxFor(const Alert& alert, QWidget* parent)
{
    auto* box = new QMessageBox(parent);
    box->setIcon(iconOf(alert.style));
    box->setWindowTitle(QStringLiteral("Sonabrik"));
    box->setText(alert.messageText);
    box->setInformativeText(alert.informativeText);
    // The first button confirms and is the default; the second is the
    // alternative beside it; a third stands apart.
    static constexpr QMessageBox::ButtonRole kRoles[] = {QMessageBox::AcceptRole, QMessageBox::RejectRole,
                                                         QMessageBox::DestructiveRole};
    for (qsizetype i = 0; i < alert.buttons.size(); ++i) {
        QPushButton* button =
            box->addButton(alert.buttons.at(i), kRoles[std::min<qsizetype>(i, std::size(kRoles) - 1)]);
        button->setProperty("returnCode", int(AlertFirstButtonReturn + i));
        if (i == 0) {
            // Escape answers like Return: never the overwriting "Yes" or
            // "Quit Anyway" by accident.
            box->setDefaultButton(button);
            box->setEscapeButton(button);
        }
    }
    if (!alert.suppressionTitle.isEmpty()) {
        box->setCheckBox(new QCheckBox(alert.suppressionTitle, box));
    }
    return box;
}

void DesktopUserInterface::beginAlertSheet(const Alert& alert,
                                           std::function<void(int button, bool suppressed)> completion)
{
    QMessageBox* box = messageBoxFor(alert, m_window);
    box->setWindowModality(Qt::WindowModal);
    box->setAttribute(Qt::WA_DeleteOnClose);
    connect(box, &QMessageBox::finished, box, [box, completion = std::move(completion)] {
        const bool suppressed = box->checkBox() != nullptr && box->checkBox()->isChecked();
        completion(returnCodeOf(box), suppressed);
    });
    box->open();
}

int DesktopUserInterface::runAlert(const Alert& alert)
{
    QMessageBox* box = messageBoxFor(alert, m_window);
    box->setWindowModality(Qt::ApplicationModal);
    box->exec();
    const int code = returnCodeOf(box);
    delete box;
    return code;
}

QProgressDialog* DesktopUserInterface::progressDialog()
{
    if (m_progress.isNull()) {
        m_progress = new QProgressDialog(m_window);
        m_progress->setWindowModality(Qt::WindowModal);
        m_progress->setWindowTitle(QStringLiteral("Sonabrik"));
        m_progress->setMinimumWidth(360);
        m_progress->setRange(0, 100);
        m_progress->setAutoReset(false);
        m_progress->setAutoClose(false);
        m_progress->setMinimumDuration(0);
        m_progress->reset();
        m_progress->hide();
        connect(m_progress, &QProgressDialog::canceled, this, [this] {
            if (m_controller != nullptr) {
                m_controller->progressPanelCancelButtonPressed();
            }
        });
    }
    return m_progress;
}

void DesktopUserInterface::beginProgressSheet()
{
    progressDialog()->setValue(0);
    progressDialog()->open();
}

void DesktopUserInterface::endProgressSheet(int)
{
    // The cancel flag is cleared by the controller itself.
    progressDialog()->hide();
}

void DesktopUserInterface::hideProgressSheet()
{
    progressDialog()->hide();
}

void DesktopUserInterface::setProgressText(const QString& text)
{
    progressDialog()->setLabelText(text);
}

void DesktopUserInterface::setProgressValue(double value)
{
    progressDialog()->setValue(int(value));
}

void DesktopUserInterface::setProgressIndeterminate(bool indeterminate)
{
    // A range of nothing makes the bar busy.
    progressDialog()->setRange(0, indeterminate ? 0 : 100);
}

void DesktopUserInterface::runOpenPanel(const QStringList& allowedExtensions,
                                        std::function<void(const QStringList& paths)> completion)
{
    QStringList patterns;
    for (const QString& extension : allowedExtensions) {
        patterns << QStringLiteral("*.") + extension << QStringLiteral("*.") + extension.toUpper();
    }
    auto* dialog = new QFileDialog(m_window, tr("Add Files"),
                                   QStandardPaths::writableLocation(QStandardPaths::MusicLocation));
    dialog->setFileMode(QFileDialog::ExistingFiles);
    dialog->setNameFilters({tr("Music and video files (%1)").arg(patterns.join(u' ')), tr("All files (*)")});
    dialog->setLabelText(QFileDialog::Accept, tr("Add"));
    dialog->setWindowModality(Qt::WindowModal);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QFileDialog::finished, dialog, [dialog, completion = std::move(completion)](int result) {
        completion(result == QDialog::Accepted ? dialog->selectedFiles() : QStringList());
    });
    dialog->open();
}

void DesktopUserInterface::beep()
{
    QApplication::beep();
}

void DesktopUserInterface::reloadQueueList()
{
    if (m_window) {
        m_window->queueModel()->flushPendingRows();
        m_window->queueView()->viewport()->update();
    }
}

void DesktopUserInterface::reloadOutputFormatList()
{
    if (m_window) {
        m_window->outputFormatsPane()->reload();
    }
}

QList<int> DesktopUserInterface::selectedRows() const
{
    QList<int> rows;
    if (!m_window) {
        return rows;
    }
    for (const QModelIndex& index : m_window->queueView()->selectionModel()->selectedRows()) {
        rows.append(index.row());
    }
    std::sort(rows.begin(), rows.end());
    return rows;
}

void DesktopUserInterface::selectRows(const QList<int>& rows)
{
    if (!m_window) {
        return;
    }
    m_window->queueModel()->flushPendingRows();
    QAbstractItemModel* model = m_window->queueView()->model();
    QItemSelection selection;
    for (int row : rows) {
        if (row >= 0 && row < model->rowCount()) {
            selection.select(model->index(row, 0), model->index(row, 0));
        }
    }
    // The controller chose this selection itself: it is not told again.
    m_settingSelection = true;
    m_window->queueView()->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    if (!rows.isEmpty() && rows.first() < model->rowCount()) {
        m_window->queueView()->selectionModel()->setCurrentIndex(model->index(rows.first(), 0),
                                                                 QItemSelectionModel::NoUpdate);
    }
    m_settingSelection = false;
}

void DesktopUserInterface::scrollToRow(int row)
{
    if (m_window && row >= 0) {
        m_window->queueModel()->flushPendingRows();
        m_window->queueView()->scrollTo(m_window->queueView()->model()->index(row, 0));
    }
}

void DesktopUserInterface::moveSelection(int step)
{
    if (!m_window) {
        return;
    }
    m_window->queueModel()->flushPendingRows();
    const QList<int> rows = selectedRows();
    if (m_window->queueView()->model()->rowCount() == 0) {
        return;
    }
    const int last = m_window->queueView()->model()->rowCount() - 1;
    const int from = rows.isEmpty() ? (step > 0 ? -1 : last + 1) : (step > 0 ? rows.last() : rows.first());
    selectRows({std::clamp(from + step, 0, last)});
}

void DesktopUserInterface::moveSelectionUp()
{
    moveSelection(-1);
}

void DesktopUserInterface::moveSelectionDown()
{
    moveSelection(1);
}

void DesktopUserInterface::refreshOutputDirectoryPopUp()
{
    if (m_window) {
        m_window->outputFolderPopUp()->refresh();
    }
}

void DesktopUserInterface::setEncodeButtonToCancel(bool cancel)
{
    if (m_window) {
        m_window->setEncodeButtonToCancel(cancel);
    }
}

void DesktopUserInterface::setEncodeButtonEnabled(bool enabled)
{
    if (m_window) {
        m_window->setEncodeButtonEnabled(enabled);
    }
}

void DesktopUserInterface::showErrorLog()
{
    if (m_window) {
        ErrorLogWindowController* log = m_window->errorLogWindow();
        log->show();
        log->raise();
    }
}

void DesktopUserInterface::closeErrorLog()
{
    if (m_window) {
        m_window->errorLogWindow()->hide();
    }
}

void DesktopUserInterface::showPreferences()
{
    if (m_window) {
        m_window->showPreferences();
    }
}

void DesktopUserInterface::closeSecondaryWindows()
{
    if (m_window) {
        m_window->closeSecondaryWindows();
    }
}

void DesktopUserInterface::refreshMetadataEditor()
{
    if (m_window) {
        m_window->refreshMetadataEditor();
    }
}

void DesktopUserInterface::showHelp()
{
    if (m_window) {
        m_window->showHelp();
    }
}

void DesktopUserInterface::openFolder(const QString& path)
{
    QDesktopServices::openUrl(QUrl::fromLocalFile(path));
}
