#include "ApplicationController.h"

#include "ApplicationNotifier.h"
#include "EncodeRun.h"
#include "EncoderSettings.h"
#include "ErrorLog.h"
#include "FileEncodeOperation.h"
#include "FileIntake.h"
#include "MainThread.h"
#include "MetadataCommands.h"
#include "OperationsArrayController.h"
#include "OutputFiles.h"
#include "OverwriteQuestion.h"
#include "Preferences.h"
#include "UserInterface.h"
#include "UtilityFunctions.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QThread>

const char* const ApplicationController::kWelcomeTitle = "Welcome to Sonabrik!";
const char* const ApplicationController::kWelcomeText =
    "Sonabrik makes creating MP3 Files quick and easy!  Simply add your files, set your desired MP3 Encoding "
    "paramaters, and click Encode!  Sonabrik puts your encoded files in your Music folder, or you can select "
    "your own output location in the preferences.  See the help file for a detailed explanation of using "
    "Sonabrik.";
const char* const ApplicationController::kOperationsInProgressTitle =
    "There Are Still Operations In Progress.";

namespace {

// Rows selected at once from which reading their tags moves to a thread of
// its own, behind the progress sheet.
constexpr qsizetype kBackgroundRowThreshold = 31;

Preferences& preferences()
{
    return Preferences::shared();
}

} // namespace

ApplicationController::ApplicationController(UserInterface* ui, QObject* parent)
    : QObject(parent), m_ui(ui), m_operations(std::make_unique<OperationsArrayController>()),
      m_run(std::make_unique<EncodeRun>(*this)),
      m_overwriteQuestion(std::make_unique<OverwriteQuestion>(*this)),
      m_metadataCommands(std::make_unique<MetadataCommands>(*this))
{
    m_refreshTimer.setInterval(100);
    connect(&m_refreshTimer, &QTimer::timeout, this, [this] {
        m_ui->reloadQueueList();
        if (!m_processingFiles) {
            m_refreshTimer.stop();
        }
    });
}

ApplicationController::~ApplicationController()
{
    // Background work hops to the main thread: let it, until it is done.
    m_cancelled = true;
    while (m_backgroundJobs > 0) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    for (BackgroundThread& background : m_threads) {
        background.thread.join();
    }
    // Rows removed during the last run are destroyed from the event loop.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void ApplicationController::initialize()
{
    // The first use of the store registers the defaults resource with
    // "numProcesses" set to the processor count.
    Preferences::shared();
}

QString ApplicationController::applicationSupportFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
           QStringLiteral("/Sonabrik");
}

QString ApplicationController::defaultOutputFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::MusicLocation) + QStringLiteral("/Sonabrik");
}

void ApplicationController::awakeFromNib()
{
    initialize();
    // FFmpeg 5 needs neither a lock manager nor registration.
    QDir().mkpath(applicationSupportFolder());
    // What a killed run left in the temporary folder.
    removeAbandonedTemporaryFiles();

    connect(ApplicationNotifier::shared(), &ApplicationNotifier::filesDropped, this,
            &ApplicationController::filesWereDropped);
    connect(ApplicationNotifier::shared(), &ApplicationNotifier::outputDirectoryDidChange, this,
            &ApplicationController::outputDirectoryChanged);

    m_encoderSettings.clear();
    m_createdOutputPaths.clear();
    m_taggingThread = std::make_unique<TaggingThread>();

    m_processingFiles = false;
    m_showingAlert = false;
    m_cancelled = false;
    m_currentFileInQueue = 0;
    m_containsMP3Files = false;
    m_selectedOperations.clear();
    m_overwriteExistingFilesHandling = 0;

    m_ui->refreshOutputDirectoryPopUp();
    createFirstEncoderSettings();
    m_ui->reloadQueueList();
    m_ui->reloadOutputFormatList();
}

void ApplicationController::createFirstEncoderSettings()
{
    const std::shared_ptr<EncoderSettings> settings = firstEncoderSettingsFromPreferences();
    m_encoderSettings.append(settings);
    observeEncoderSettings(settings);
}

void ApplicationController::observeEncoderSettings(const std::shared_ptr<EncoderSettings>& settings)
{
    connect(settings.get(), &EncoderSettings::encoderSettingChanged, this,
            [this] { m_ui->reloadOutputFormatList(); });
}

void ApplicationController::stopObservingEncoderSettings(const std::shared_ptr<EncoderSettings>& settings)
{
    disconnect(settings.get(), &EncoderSettings::encoderSettingChanged, this, nullptr);
}

std::shared_ptr<EncoderSettings> ApplicationController::firstEncoderSettingsFromPreferences()
{
    auto settings = std::make_shared<EncoderSettings>();
    settings->setEnabled(true);
    settings->setBitrate(preferences().integerValue(QStringLiteral("bitrate")));
    settings->setQuality(preferences().integerValue(QStringLiteral("quality")));
    settings->setVbrQuality(preferences().integerValue(QStringLiteral("vbrQuality")));
    settings->setSampleRate(preferences().integerValue(QStringLiteral("sampleRate")));
    settings->setBitrateMethod(qint32(preferences().integerValue(QStringLiteral("method"))));
    settings->setChannelMode(qint32(preferences().integerValue(QStringLiteral("mode"))));
    settings->setEncoderAction(qint32(preferences().integerValue(QStringLiteral("encoderAction"))));
    settings->setExtension(QStringLiteral("mp3"));
    return settings;
}

void ApplicationController::applicationDidFinishLaunching()
{
    const QString defaultFolder = defaultOutputFolder();
    if (preferences().boolValue(QStringLiteral("firstRun"))) {
        preferences().setValue(QStringLiteral("destinationDirectory"), defaultFolder);
        // Everything that shows the output folder follows the new one.
        ApplicationNotifier::shared()->postOutputDirectoryDidChange();
        Alert welcome;
        welcome.messageText = tr(kWelcomeTitle);
        welcome.informativeText = tr(kWelcomeText);
        welcome.buttons = {tr("OK!"), tr("Show Preferences"), tr("Show Help")};
        welcome.style = Alert::Style::Informational;
        const bool besideSources = preferences().boolValue(QStringLiteral("outputSameAsSource"));
        const int button = m_ui->runWelcome(
            welcome,
            besideSources ? QString() : preferences().stringValue(QStringLiteral("destinationDirectory")));
        if (button == AlertSecondButtonReturn) {
            m_ui->showPreferences();
        } else if (button == AlertThirdButtonReturn) {
            m_ui->showHelp();
        }
        preferences().setValue(QStringLiteral("firstRun"), false);
    }
    if (preferences().stringValue(QStringLiteral("destinationDirectory")) == defaultFolder) {
        QString error;
        OutputFiles::createFolderWithSafeNames(defaultFolder, &error);
    }
    preferences().setValue(QStringLiteral("runNumber"),
                           preferences().integerValue(QStringLiteral("runNumber")) + 1);
}

void ApplicationController::runInBackground(std::function<void()> work)
{
    // A long-running session starts many of these: keep only the live ones.
    std::erase_if(m_threads, [](BackgroundThread& background) {
        if (!*background.done) {
            return false;
        }
        background.thread.join();
        return true;
    });
    ++m_backgroundJobs;
    auto done = std::make_shared<std::atomic<bool>>(false);
    std::thread thread([this, done, work = std::move(work)] {
        work();
        --m_backgroundJobs;
        *done = true;
    });
    m_threads.push_back(BackgroundThread{std::move(thread), std::move(done)});
}

void ApplicationController::openFiles()
{
    m_ui->runOpenPanel(FileIntake::acceptedExtensions(), [this](const QStringList& paths) {
        if (!paths.isEmpty()) {
            applicationOpenFiles(paths);
        }
    });
}

void ApplicationController::applicationOpenFiles(const QStringList& paths)
{
    runInBackground([this, paths] { parseDroppedFiles(paths); });
}

void ApplicationController::filesWereDropped(const QStringList& paths)
{
    applicationOpenFiles(paths);
}

void ApplicationController::parseDroppedFiles(const QStringList& paths)
{
    FileIntake(*this).parse(paths);
}

void ApplicationController::startRefreshTimer()
{
    MainThread::runAndWait([this] { m_refreshTimer.start(); });
}

void ApplicationController::finishedParsingFiles()
{
    m_ui->reloadQueueList();
    m_ui->reloadOutputFormatList();
    setEncoderRunning(false);
    m_ui->setEncodeButtonToCancel(false);
    // A Cancel during the parse disabled the button.
    m_ui->setEncodeButtonEnabled(true);
    if (m_ui->selectedRows().isEmpty() && m_operations->count() > 0) {
        m_ui->selectRows({0});
        listViewSelectionDidChange();
    }
    m_processingFiles = false;
    Q_EMIT parsingFinished();
}

void ApplicationController::addFileEncodeOperationToQueue(const QString& filePath,
                                                          const QString& topLevelPath,
                                                          std::optional<ImageTrack> track)
{
    auto* operation = track ? new FileEncodeOperation(filePath, topLevelPath, std::move(*track))
                            : new FileEncodeOperation(filePath, topLevelPath);
    operation->setDelegate(this);
    connect(operation, &FileEncodeOperation::isFinishedChanged, this, [this, operation] {
        if (operation->isFinished()) {
            m_run->operationDidFinish(operation);
        }
    });
    m_operations->append(operation);
    if (!m_containsMP3Files && QFileInfo(filePath).suffix().toLower() == QLatin1String("mp3")) {
        setContainsMP3Files(true);
    }
}

void ApplicationController::setEncoderRunning(bool running)
{
    if (m_encoderRunning.exchange(running) != running) {
        Q_EMIT encoderRunningChanged();
    }
}

void ApplicationController::setContainsMP3Files(bool contains)
{
    if (m_containsMP3Files != contains) {
        m_containsMP3Files = contains;
        Q_EMIT containsMP3FilesChanged();
    }
}

void ApplicationController::listViewSelectionDidChange()
{
    m_operations->setSelectionIndexes(m_ui->selectedRows());
    const qsizetype n = m_operations->selectionIndexes().size();
    const qsizetype p = m_selectedOperations.size();
    if (n - p >= kBackgroundRowThreshold) {
        m_cancelled = false;
        m_ui->setProgressText(tr("Reading Metadata"));
        m_ui->setProgressIndeterminate(false);
        m_ui->beginProgressSheet();
        const QList<FileEncodeOperation*> rows = m_operations->selectedObjects();
        runInBackground([this, rows] { m_metadataCommands->readSelection(rows); });
        return;
    }
    m_selectedOperations = m_operations->selectedObjects();
    for (FileEncodeOperation* operation : std::as_const(m_selectedOperations)) {
        operation->metadata();
    }
    m_ui->refreshMetadataEditor();
}

void ApplicationController::selectPreviousItem()
{
    m_ui->moveSelectionUp();
    listViewSelectionDidChange();
}

void ApplicationController::selectNextItem()
{
    m_ui->moveSelectionDown();
    const QList<int> rows = m_ui->selectedRows();
    if (!rows.isEmpty()) {
        m_ui->scrollToRow(rows.last());
    }
    listViewSelectionDidChange();
}

void ApplicationController::clearSelection()
{
    m_ui->selectRows({});
    m_operations->setSelectionIndexes({});
    m_selectedOperations.clear();
    m_ui->refreshMetadataEditor();
}

void ApplicationController::deleteRows(const QList<int>& rows)
{
    if (m_runningOperations != 0) {
        m_ui->beep();
        return;
    }
    m_cancelled = false;
    setEncoderRunning(true);
    m_ui->setEncodeButtonToCancel(true);
    m_ui->setEncodeButtonEnabled(true);

    QList<FileEncodeOperation*> taken;
    for (int row : rows) {
        if (row >= 0 && row < m_operations->count()) {
            taken.append(m_operations->at(row));
        }
    }
    runInBackground([this, taken] {
        m_processingFiles = true;
        startRefreshTimer();
        for (qsizetype i = taken.size() - 1; i >= 0; --i) {
            FileEncodeOperation* operation = taken.at(i);
            MainThread::runAndWait([this, operation] {
                operation->cancel();
                disconnect(operation, nullptr, this, nullptr);
                m_operations->remove(operation);
                m_selectedOperations.removeAll(operation);
                operation->deleteLater();
            });
            if (m_cancelled) {
                break;
            }
        }
        m_processingFiles = false;
        MainThread::runAndWait([this] {
            m_ui->reloadQueueList();
            m_ui->reloadOutputFormatList();
            setEncoderRunning(false);
            setContainsMP3Files(m_operations->containsExtension(QStringLiteral("mp3")));
            m_ui->setEncodeButtonToCancel(false);
            // A Cancel during the removal disabled the button.
            m_ui->setEncodeButtonEnabled(true);
            clearSelection();
        });
    });
}

void ApplicationController::removeSelectedItems(std::optional<int> menuClickedRow)
{
    if (!menuClickedRow) {
        deleteRows(m_ui->selectedRows());
        return;
    }
    deleteRows(*menuClickedRow >= 0 ? QList<int>{*menuClickedRow} : QList<int>{});
}

void ApplicationController::outputDirectoryChanged()
{
    m_ui->refreshOutputDirectoryPopUp();
}

void ApplicationController::clear()
{
    QList<int> rows;
    for (int i = 0; i < m_operations->count(); ++i) {
        rows.append(i);
    }
    deleteRows(rows);
}

void ApplicationController::encodeFilesMenuItemSelected()
{
    m_run->startRun(EncoderSettings::EncodeAction);
}

void ApplicationController::updateMetadataMenuItemSelected()
{
    m_run->startRun(EncoderSettings::UpdateMetadataOnlyAction);
}

void ApplicationController::encode()
{
    m_run->encode();
}

void ApplicationController::cancel()
{
    m_run->cancel();
}

void ApplicationController::waitingUserInputDidChange(EncodeOperation* operation)
{
    m_overwriteQuestion->waitingUserInputDidChange(operation);
}

bool ApplicationController::otherRowReadsSource(const FileEncodeOperation* row, const QString& path)
{
    // Finished rows of a run that deletes originals have left the queue, so
    // the last of the rows sharing a source is the one that trashes it.
    const QList<FileEncodeOperation*> queued = m_operations->arrangedObjects();
    return std::any_of(queued.begin(), queued.end(), [&](const FileEncodeOperation* other) {
        return other != row && other->inFilePath() == path;
    });
}

void ApplicationController::applicationShouldTerminate(std::function<void(bool terminate)> reply)
{
    if (m_runningOperations < 1) {
        reply(true);
        return;
    }
    Alert alert;
    alert.messageText = tr(kOperationsInProgressTitle);
    alert.buttons = {tr("Continue Operations."), tr("Quit Anyway")};
    m_ui->beginAlertSheet(alert, [reply](int button, bool) {
        if (button == AlertFirstButtonReturn) {
            reply(false);
            return;
        }
        ErrorLog::shared()->clear();
        reply(true);
    });
}
