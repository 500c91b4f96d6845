#include "ErrorLogWindowController.h"

#include "ErrorLog.h"
#include "ErrorLogModel.h"
#include "Icons.h"

#include <QDialogButtonBox>
#include <QFileDialog>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QStandardPaths>
#include <QTableView>
#include <QTimer>
#include <QVBoxLayout>

namespace {

void chooseSavePath(QWidget* parent, std::function<void(const QString&)> done)
{
    const QString start = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation) +
                          QStringLiteral("/Sonabrik Error Log.log");
    auto* dialog =
        new QFileDialog(parent, QObject::tr("Save Error Log"), start, QObject::tr("Log files (*.log)"));
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setDefaultSuffix(QStringLiteral("log"));
    dialog->setWindowModality(Qt::WindowModal);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    QObject::connect(dialog, &QFileDialog::finished, dialog, [dialog, done](int result) {
        const QStringList files = dialog->selectedFiles();
        if (result == QDialog::Accepted && !files.isEmpty()) {
            done(files.first());
        }
    });
    dialog->open();
}

} // namespace

ErrorLogWindowController::ErrorLogWindowController(QWidget* parent)
    : QWidget(parent, Qt::Window), m_model(new ErrorLogModel(this)), m_table(new QTableView(this)),
      m_saveChooser(chooseSavePath)
{
    setWindowTitle(tr("Error Log"));
    setObjectName(QStringLiteral("ErrorLog"));
    resize(720, 360);

    m_table->setModel(m_model);
    m_table->setWordWrap(true);
    m_table->setAlternatingRowColors(true);
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    m_table->setShowGrid(false);
    m_table->verticalHeader()->hide();
    m_table->verticalHeader()->setMinimumSectionSize(16);
    // Rows as tall as their message at the column's width: the header sizes
    // each row to its contents, again when the column's width changes.
    m_table->verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_table->horizontalHeader()->setSectionResizeMode(ErrorLogModel::DateColumn,
                                                      QHeaderView::ResizeToContents);
    m_table->horizontalHeader()->setStretchLastSection(true);
    m_table->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);

    auto* buttons = new QDialogButtonBox(this);
    QPushButton* saveButton = buttons->addButton(tr("Save…"), QDialogButtonBox::ActionRole);
    saveButton->setIcon(Icons::themed(QStringLiteral("document-save-as")));
    QPushButton* clearButton = buttons->addButton(tr("Clear"), QDialogButtonBox::ActionRole);
    clearButton->setIcon(Icons::themed(QStringLiteral("edit-clear")));
    QPushButton* mailButton = buttons->addButton(tr("E-mail Report…"), QDialogButtonBox::ActionRole);
    mailButton->setIcon(Icons::themed(QStringLiteral("mail-send")));
    QPushButton* closeButton = buttons->addButton(QDialogButtonBox::Close);
    connect(saveButton, &QPushButton::clicked, this, &ErrorLogWindowController::save);
    connect(clearButton, &QPushButton::clicked, this, &ErrorLogWindowController::clear);
    connect(mailButton, &QPushButton::clicked, this, &ErrorLogWindowController::emailReportToDeveloper);
    connect(closeButton, &QPushButton::clicked, this, &QWidget::close);

    auto* layout = new QVBoxLayout(this);
    auto* intro = new QLabel(tr("Problems met while files were converted or tagged."), this);
    intro->setWordWrap(true);
    layout->addWidget(intro);
    layout->addWidget(m_table, 1);
    layout->addWidget(buttons);

    connect(m_model, &QAbstractItemModel::rowsInserted, this, &ErrorLogWindowController::scrollToNewest);
}

ErrorLogWindowController::~ErrorLogWindowController() = default;

void ErrorLogWindowController::scrollToNewest()
{
    // After the new rows are laid out.
    QTimer::singleShot(0, m_table, &QTableView::scrollToBottom);
}

void ErrorLogWindowController::save()
{
    m_saveChooser(this, [](const QString& path) { ErrorLog::shared()->saveToFile(path); });
}

void ErrorLogWindowController::clear()
{
    ErrorLog::shared()->clear();
}

void ErrorLogWindowController::emailReportToDeveloper()
{
    ErrorLog::shared()->emailReportToDeveloper();
}
