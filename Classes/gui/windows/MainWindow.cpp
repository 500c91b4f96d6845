#include "MainWindow.h"

#include "ApplicationController.h"
#include "ApplicationNotifier.h"
#include "EncodeRun.h"
#include "ErrorLogWindowController.h"
#include "FileEncodeOperation.h"
#include "Icons.h"
#include "MP3ListViewCell.h"
#include "MetadataActions.h"
#include "MetadataWindowcontroller.h"
#include "OperationsArrayController.h"
#include "OutputFolderPopUp.h"
#include "OutputFormatsPane.h"
#include "PreferencesWindowController.h"
#include "QueueListModel.h"
#include "QueueListView.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFileDialog>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QSplitter>
#include <QStandardPaths>
#include <QStatusBar>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>

MainWindow::MainWindow(ApplicationController& controller, QWidget* parent)
    : QMainWindow(parent), m_controller(controller)
{
    setWindowTitle(QStringLiteral("Sonabrik"));
    setObjectName(QStringLiteral("MainWindow"));
    setWindowIcon(QIcon::fromTheme(QStringLiteral("org.sonabrik.Sonabrik"),
                                   Icons::themed(QStringLiteral("audio-x-generic"))));
    resize(920, 640);

    createActions();
    createCentralArea();
    createToolBar();
    createMenus();

    m_status = new QLabel(this);
    statusBar()->addWidget(m_status, 1);
    statusBar()->setSizeGripEnabled(true);

    connect(&controller, &ApplicationController::encoderRunningChanged, this,
            &MainWindow::encoderRunningChanged);
    connect(&controller, &ApplicationController::containsMP3FilesChanged, this,
            &MainWindow::updateEncodeMenu);
    connect(&controller, &ApplicationController::operationFinished, this,
            [this](FileEncodeOperation* row) { m_runProgress.finish(row); });
    connect(&controller, &ApplicationController::parsingFinished, m_queueModel,
            &QueueListModel::flushPendingRows);
    connect(&controller, &ApplicationController::runStarted, this, &MainWindow::runStarted);
    connect(&controller, &ApplicationController::runFinished, this, &MainWindow::runFinished);
    connect(m_queueModel, &QAbstractItemModel::rowsInserted, this, &MainWindow::updateStatus);
    connect(m_queueModel, &QAbstractItemModel::rowsRemoved, this, &MainWindow::updateStatus);
    m_runProgressTimer.setInterval(250);
    connect(&m_runProgressTimer, &QTimer::timeout, this, &MainWindow::updateRunProgress);

    setEncodeButtonToCancel(false);
    updateEncodeMenu();
    updateStatus();
}

MainWindow::~MainWindow() = default;

QAction* MainWindow::addCommand(const char* name, const QString& text, const QString& iconName,
                                const QKeySequence& shortcut, std::function<void()> command)
{
    auto* action = new QAction(text, this);
    action->setObjectName(QLatin1String(name));
    if (!iconName.isEmpty()) {
        action->setIcon(Icons::themed(iconName));
        m_themedActions.append({action, iconName});
    }
    if (!shortcut.isEmpty()) {
        action->setShortcut(shortcut);
    }
    connect(action, &QAction::triggered, this, [command = std::move(command)] { command(); });
    return action;
}

QAction* MainWindow::action(const char* name) const
{
    return findChild<QAction*>(QLatin1String(name), Qt::FindDirectChildrenOnly);
}

void MainWindow::createActions()
{
    ApplicationController& c = m_controller;
    QAction* addFiles = addCommand("addFiles", tr("Add Files…"), QStringLiteral("document-open"),
                                   QKeySequence::Open, [&c] { c.openFiles(); });
    addFiles->setToolTip(tr("Add music files to the queue"));
    addFiles->setIconText(tr("Add Files"));
    QAction* addFolder =
        addCommand("addFolder", tr("Add Folder…"), QStringLiteral("folder-open"),
                   QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_O), [this] { this->addFolder(); });
    addFolder->setToolTip(tr("Add every music file of a folder and its sub-folders"));
    addFolder->setIconText(tr("Add Folder"));
    QAction* remove = addCommand("remove", tr("Remove"), QStringLiteral("list-remove"), QKeySequence::Delete,
                                 [&c] { c.removeSelectedItems(); });
    remove->setToolTip(tr("Remove the selected files from the queue"));
    addCommand("clearQueue", tr("Clear Queue"), QStringLiteral("edit-clear"), QKeySequence(),
               [&c] { c.clear(); });
    addCommand("selectAll", tr("Select All"), QString(), QKeySequence::SelectAll, [this] {
        if (!m_queueView->selectionLocked()) {
            m_queueView->selectAll();
        }
    });
    addCommand("encode", tr("Encode"), QStringLiteral("media-playback-start"),
               QKeySequence(Qt::CTRL | Qt::Key_Return), [&c] { c.encodeFilesMenuItemSelected(); });
    addCommand("updateMetadata", tr("Update Metadata"), QStringLiteral("document-properties"),
               QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Return),
               [&c] { c.updateMetadataMenuItemSelected(); });
    addCommand("cancel", tr("Cancel"), QStringLiteral("process-stop"),
               QKeySequence(Qt::CTRL | Qt::Key_Period), [&c] { c.cancel(); });
    // The toolbar's button: Encode, or Cancel while something runs.
    m_encodeButton = addCommand("encodeButton", tr("Encode"), QString(), QKeySequence(), [this] {
        if (m_encodeButtonCancels) {
            m_controller.cancel();
        } else {
            m_controller.encodeFilesMenuItemSelected();
        }
    });
    QAction* preferences = addCommand("preferences", tr("Preferences…"), QStringLiteral("preferences-system"),
                                      QKeySequence(Qt::CTRL | Qt::Key_Comma), [this] { showPreferences(); });
    preferences->setIconText(tr("Preferences"));
    QAction* metadata =
        addCommand("metadataEditor", tr("Metadata Editor"), QStringLiteral("document-properties"),
                   QKeySequence(Qt::CTRL | Qt::Key_I), [this] { showMetadataWindow(); });
    metadata->setIconText(tr("Metadata"));
    metadata->setToolTip(tr("Edit the tags of the selected files (Ctrl+I)"));
    m_metadataActions = new MetadataActions(m_controller, this);
    addCommand("errorLog", tr("Error Log"), QStringLiteral("dialog-warning"),
               QKeySequence(Qt::CTRL | Qt::Key_L), [this] {
                   errorLogWindow()->show();
                   errorLogWindow()->raise();
                   errorLogWindow()->activateWindow();
               });
    addCommand("help", tr("Sonabrik Help"), QStringLiteral("help-about"), QKeySequence::HelpContents,
               [this] { showHelp(); });
    addCommand("about", tr("About Sonabrik"), QStringLiteral("help-about"), QKeySequence(), [this] {
        QMessageBox::about(this, tr("About Sonabrik"),
                           tr("<h3>Sonabrik %1</h3><p>Converts music files of many formats to tagged MP3 "
                              "files.</p><p>Encoding by LAME, tags by TagLib, decoding by libFLAC, "
                              "libvorbis, libopus, libspeex, WavPack, libmpcdec, libmodplug, libsndfile and "
                              "FFmpeg.</p>")
                               .arg(QCoreApplication::applicationVersion()));
    });
    addCommand("quit", tr("Quit"), QStringLiteral("application-exit"), QKeySequence::Quit,
               [this] { requestQuit(); });
    action("quit")->setMenuRole(QAction::QuitRole);
}

void MainWindow::createMenus()
{
    QMenu* file = menuBar()->addMenu(tr("&File"));
    file->addAction(action("addFiles"));
    file->addAction(action("addFolder"));
    file->addSeparator();
    file->addAction(action("quit"));

    QMenu* edit = menuBar()->addMenu(tr("&Edit"));
    edit->addAction(action("remove"));
    edit->addAction(action("clearQueue"));
    edit->addAction(action("selectAll"));
    edit->addSeparator();
    edit->addAction(action("preferences"));

    QMenu* metadata = menuBar()->addMenu(tr("&Metadata"));
    metadata->addAction(action("metadataEditor"));
    metadata->addSeparator();
    const QList<QAction*>& commands = m_metadataActions->actions();
    for (qsizetype i = 0; i < commands.size(); ++i) {
        // Clearing, then copy and paste, then revert.
        if (i == 3 || i == commands.size() - 1) {
            metadata->addSeparator();
        }
        metadata->addAction(commands.at(i));
    }
    connect(metadata, &QMenu::aboutToShow, m_metadataActions, &MetadataActions::updateEnabled);

    QMenu* convert = menuBar()->addMenu(tr("&Convert"));
    convert->addAction(action("encode"));
    convert->addAction(action("updateMetadata"));
    convert->addAction(action("cancel"));

    QMenu* window = menuBar()->addMenu(tr("&Window"));
    window->addAction(action("errorLog"));

    QMenu* help = menuBar()->addMenu(tr("&Help"));
    help->addAction(action("help"));
    help->addAction(action("about"));
}

void MainWindow::createToolBar()
{
    QToolBar* toolBar = addToolBar(tr("Main Toolbar"));
    toolBar->setObjectName(QStringLiteral("MainToolbar"));
    toolBar->setMovable(false);
    toolBar->setFloatable(false);
    toolBar->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    toolBar->setIconSize(QSize(24, 24));
    toolBar->addAction(action("addFiles"));
    toolBar->addAction(action("addFolder"));
    toolBar->addAction(action("remove"));
    toolBar->addSeparator();

    m_encodeToolButton = new QToolButton(toolBar);
    m_encodeToolButton->setDefaultAction(m_encodeButton);
    m_encodeToolButton->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    m_encodeToolButton->setIconSize(QSize(24, 24));
    m_encodeToolButton->setMinimumWidth(64);
    m_encodeMenu = new QMenu(m_encodeToolButton);
    m_encodeMenu->addAction(action("encode"));
    m_encodeMenu->addAction(action("updateMetadata"));
    toolBar->addWidget(m_encodeToolButton);
    toolBar->addSeparator();

    auto* folderBox = new QWidget(toolBar);
    auto* folderLayout = new QVBoxLayout(folderBox);
    folderLayout->setContentsMargins(6, 2, 6, 2);
    folderLayout->setSpacing(2);
    m_outputFolder = new OutputFolderPopUp(folderBox);
    auto* folderLabel = new QLabel(tr("Output Folder"), folderBox);
    folderLabel->setAlignment(Qt::AlignHCenter);
    folderLabel->setBuddy(m_outputFolder);
    folderLayout->addWidget(m_outputFolder);
    folderLayout->addWidget(folderLabel);
    toolBar->addWidget(folderBox);

    auto* spacer = new QWidget(toolBar);
    spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    toolBar->addWidget(spacer);
    toolBar->addAction(action("metadataEditor"));
    toolBar->addAction(action("preferences"));
}

void MainWindow::createCentralArea()
{
    m_queueModel = new QueueListModel(m_controller.operationsController(), this);
    m_queueView = new QueueListView(this);
    m_queueView->setModel(m_queueModel);
    connect(m_queueView, &QueueListView::filesDropped, this,
            [](const QStringList& paths) { ApplicationNotifier::shared()->postFilesDropped(paths); });
    connect(m_queueView, &QueueListView::contextMenuRequestedForRow, this, &MainWindow::showQueueContextMenu);
    connect(m_queueView, &QueueListView::doubleClicked, this,
            [this] { action("metadataEditor")->trigger(); });

    m_formatsArea = new OutputFormatsPane(m_controller, this);
    // Room for two formats without scrolling.
    m_formatsArea->setMinimumHeight(2 * MP3ListViewCell::kHeight + 40);

    auto* splitter = new QSplitter(Qt::Vertical, this);
    splitter->setChildrenCollapsible(false);
    splitter->addWidget(m_queueView);
    splitter->addWidget(m_formatsArea);
    splitter->setStretchFactor(0, 3);
    splitter->setStretchFactor(1, 1);
    setCentralWidget(splitter);
}

PreferencesWindowController* MainWindow::preferencesWindow()
{
    if (!m_preferences) {
        // A window of its own, like the log's: the main window's sheets
        // must not block it.
        m_preferences = std::make_unique<PreferencesWindowController>();
    }
    return m_preferences.get();
}

void MainWindow::showPreferences()
{
    preferencesWindow()->show();
    preferencesWindow()->raise();
    preferencesWindow()->activateWindow();
}

void MainWindow::closeSecondaryWindows()
{
    if (m_preferences) {
        m_preferences->close();
    }
    if (m_metadataWindow) {
        m_metadataWindow->close();
    }
}

MetadataWindowcontroller* MainWindow::metadataWindow()
{
    if (!m_metadataWindow) {
        // A window of its own: the questions of the metadata commands are
        // sheets on the main window and must not block the editor's fields.
        m_metadataWindow = std::make_unique<MetadataWindowcontroller>(m_controller);
        m_metadataWindow->addActions(m_metadataActions->actions());
        m_metadataWindow->resize(m_metadataWindow->sizeHint().expandedTo(QSize(720, 0)));
        connect(m_metadataWindow.get(), &MetadataWindowcontroller::displayRefreshed, m_metadataActions,
                &MetadataActions::updateEnabled);
    }
    return m_metadataWindow.get();
}

void MainWindow::showMetadataWindow()
{
    metadataWindow()->refreshDisplay();
    metadataWindow()->show();
    metadataWindow()->raise();
    metadataWindow()->activateWindow();
}

void MainWindow::refreshMetadataEditor()
{
    if (m_metadataWindow && m_metadataWindow->isVisible()) {
        m_metadataWindow->refreshDisplay();
    }
    m_metadataActions->updateEnabled();
}

ErrorLogWindowController* MainWindow::errorLogWindow()
{
    if (!m_errorLog) {
        // A window of its own, not a child: the alert that reports the
        // failures blocks the main window, not the log it offers to show.
        m_errorLog = std::make_unique<ErrorLogWindowController>();
    }
    return m_errorLog.get();
}

void MainWindow::addFolder()
{
    auto* dialog = new QFileDialog(this, tr("Add Folder"),
                                   QStandardPaths::writableLocation(QStandardPaths::MusicLocation));
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    dialog->setLabelText(QFileDialog::Accept, tr("Add"));
    dialog->setWindowModality(Qt::WindowModal);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QFileDialog::filesSelected, this,
            [this](const QStringList& folders) { m_controller.applicationOpenFiles(folders); });
    dialog->open();
}

void MainWindow::showQueueContextMenu(int row, const QPoint& globalPosition)
{
    QMenu menu(this);
    QAction* remove = menu.addAction(Icons::themed(QStringLiteral("list-remove")), tr("Remove"));
    remove->setEnabled(row >= 0);
    menu.addAction(action("clearQueue"));
    menu.addSeparator();
    menu.addAction(action("metadataEditor"));
    menu.addAction(action("copyAllMetadata"));
    menu.addAction(action("pasteAllMetadata"));
    menu.addSeparator();
    menu.addAction(action("addFiles"));
    menu.addAction(action("addFolder"));
    if (menu.exec(globalPosition) == remove) {
        m_controller.removeSelectedItems(row);
    }
}

void MainWindow::setEncodeButtonToCancel(bool cancel)
{
    m_encodeButtonCancels = cancel;
    const QString iconName = cancel ? QStringLiteral("process-stop") : QStringLiteral("media-playback-start");
    m_encodeButton->setText(cancel ? tr("Cancel") : tr("Encode"));
    m_encodeButton->setToolTip(cancel ? tr("Stop what is running") : tr("Convert the queue (Ctrl+Return)"));
    m_encodeButton->setIcon(Icons::themed(iconName));
    m_encodeButton->setEnabled(true);
    for (auto& themed : m_themedActions) {
        if (themed.first == m_encodeButton) {
            themed.second = iconName;
        }
    }
    if (std::none_of(m_themedActions.begin(), m_themedActions.end(),
                     [this](const auto& themed) { return themed.first == m_encodeButton; })) {
        m_themedActions.append({m_encodeButton, iconName});
    }
    updateEncodeMenu();
}

void MainWindow::setEncodeButtonEnabled(bool enabled)
{
    m_encodeButton->setEnabled(enabled);
}

void MainWindow::updateEncodeMenu()
{
    // The drop-down with "Update Metadata" only when MP3 files are queued
    // and the button is not cancelling.
    const bool withMenu = m_controller.containsMP3Files() && !m_encodeButtonCancels;
    m_encodeToolButton->setMenu(withMenu ? m_encodeMenu : nullptr);
    m_encodeToolButton->setPopupMode(withMenu ? QToolButton::MenuButtonPopup : QToolButton::DelayedPopup);
    action("updateMetadata")->setEnabled(m_controller.containsMP3Files());
}

void MainWindow::encoderRunningChanged()
{
    const bool running = m_controller.encoderRunning();
    m_queueView->setSelectionLocked(running);
    m_queueView->setAnimating(running);
    action("encode")->setEnabled(!running);
    action("updateMetadata")->setEnabled(!running && m_controller.containsMP3Files());
    action("cancel")->setEnabled(running);
    // Tags are written during a run: no editing meanwhile.
    action("metadataEditor")->setEnabled(!running);
    if (!running) {
        m_runProgressTimer.stop();
        setWindowTitle(QStringLiteral("Sonabrik"));
    }
    updateStatus();
}

void MainWindow::runStarted()
{
    m_runProgress.start(m_controller.operationsController().arrangedObjects());
    m_runClock.start();
    m_runProgressTimer.start();
    updateRunProgress();
}

void MainWindow::updateRunProgress()
{
    if (m_runProgress.filesTotal() <= 0) {
        return;
    }
    m_runProgress.follow(m_controller.operationsController().arrangedObjects());
    m_runProgress.setElapsed(double(m_runClock.elapsed()) / 1000.0);
    const int percent = int(m_runProgress.fraction() * 100);
    setWindowTitle(tr("%1% – Sonabrik").arg(percent));
    m_status->setText(tr("Converting: %1").arg(m_runProgress.describe()));
}

void MainWindow::updateStatus()
{
    if (m_runProgressTimer.isActive()) {
        return;
    }
    const qsizetype count = m_controller.operationsController().count();
    m_status->setText(count == 0 ? tr("The queue is empty")
                                 : tr("%n file(s) in the queue", nullptr, int(count)));
}

void MainWindow::runFinished()
{
    m_runProgressTimer.stop();
    setWindowTitle(QStringLiteral("Sonabrik"));
    const qint64 failed = m_controller.failedEncodes();
    const qint64 written = m_controller.successfulEncodes();
    updateStatus();
    if (m_quitAfterRun) {
        Q_EMIT terminateApproved();
        return;
    }
    if (isActiveWindow() || !m_notifier) {
        return;
    }
    QString body = written == 1 ? tr("1 file written.") : tr("%1 files written.").arg(written);
    if (failed > 0) {
        body += u' ' + QCoreApplication::translate("ApplicationController", EncodeRun::kFailedToEncodeMessage)
                           .arg(failed)
                           .arg(failed + written);
    }
    if (const qint64 damaged = m_controller.damagedEncodes(); damaged > 0) {
        body += u' ' + QCoreApplication::translate("ApplicationController", EncodeRun::kDamagedSourcesMessage)
                           .arg(damaged)
                           .arg(failed + written);
    }
    m_notifier(tr("Conversion finished"), body);
}

void MainWindow::requestQuit()
{
    m_controller.applicationShouldTerminate([this](bool terminate) {
        if (!terminate) {
            return;
        }
        if (m_controller.runningOperations() > 0) {
            // Cancelled files remove what they had begun to write; the
            // program ends when the last one has.
            m_quitAfterRun = true;
            m_controller.cancel();
            return;
        }
        Q_EMIT terminateApproved();
    });
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    if (m_controller.windowShouldClose()) {
        event->accept();
        if (m_errorLog) {
            m_errorLog->close();
        }
        closeSecondaryWindows();
        Q_EMIT terminateApproved();
        return;
    }
    event->ignore();
    requestQuit();
}

bool MainWindow::isDarkAppearance() const
{
    return palette().color(QPalette::Window).lightness() < 128;
}

void MainWindow::updateAppearance()
{
    // Themes may draw their icons differently on dark backgrounds: fetch
    // them again. Everything else is drawn from the palette.
    for (const auto& themed : std::as_const(m_themedActions)) {
        themed.first->setIcon(Icons::themed(themed.second));
    }
    m_queueView->viewport()->update();
}

void MainWindow::changeEvent(QEvent* event)
{
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::ThemeChange) {
        updateAppearance();
    }
}

void MainWindow::showHelp()
{
    QMessageBox box(this);
    box.setWindowTitle(tr("Sonabrik Help"));
    box.setIconPixmap(windowIcon().pixmap(64, 64));
    box.setText(tr("<h3>Converting music to MP3</h3>"));
    box.setInformativeText(
        tr("<ol><li>Add files or folders: drop them on the window, or use Add Files (Ctrl+O) and Add Folder "
           "(Ctrl+Shift+O).</li>"
           "<li>Choose the MP3 format under the queue: bit rate or VBR quality, sample rate, channels. Add "
           "more formats to make several MP3 files of each source.</li>"
           "<li>Choose where the files go with the Output Folder selector.</li>"
           "<li>Press Encode (Ctrl+Return). Each file shows its progress; failures are listed in the Error "
           "Log (Ctrl+L).</li></ol>"
           "<p>With MP3 files in the queue, the Encode button's menu offers Update Metadata, which rewrites "
           "their tags in place.</p>"));
    box.setStandardButtons(QMessageBox::Ok);
    box.exec();
}
