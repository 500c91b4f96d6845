#pragma once
// The application's main controller, without widgets: start-up, the queue
// and every road into it, the selection and its metadata, removal of rows,
// the run (checks, launch up to "numProcesses" files, completion, report),
// the overwrite question, the metadata commands and the closing rules.
//
// It talks to the user only through a UserInterface (the desktop window,
// the terminal, or a test's script) and delegates to smaller pieces:
// OperationsArrayController (the queue), FileIntake (parsing dropped paths),
// EncodeRun (the run and its completion), OverwriteQuestion and
// MetadataCommands. It is the delegate of every queued file operation and of
// their encode operations: it owns the tagging thread and the list of output
// paths created in the current run.
//
// Threads: create, use and destroy it on the main thread, which must run its
// event loop. Parsing, long selection reads, clears and reverts run on
// threads of their own and hop to the main thread for every change of the
// queue; the destructor waits for them (turning the event loop) before the
// queue is destroyed. Destroy it only when no run is active.
//
// Failures of single files are counted and logged by the operations; the
// controller reports them at the end of a run. Nothing here throws.

#include "FileEncodeOperationDelegate.h"
#include "ImageTrack.h"
#include "TaggingThread.h"

#include <QObject>
#include <QStringList>
#include <QTimer>
#include <QVariantMap>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

class EncodeRun;
class EncoderSettings;
class FileEncodeOperation;
class MetadataCommands;
class OperationsArrayController;
class OverwriteQuestion;
class UserInterface;

class ApplicationController : public QObject, public FileEncodeOperationDelegate
{
    Q_OBJECT
    Q_PROPERTY(bool encoderRunning READ encoderRunning NOTIFY encoderRunningChanged)
    Q_PROPERTY(bool containsMP3Files READ containsMP3Files NOTIFY containsMP3FilesChanged)

public:
    // Texts of the alerts shown here.
    static const char* const kWelcomeTitle;
    static const char* const kWelcomeText;
    static const char* const kOperationsInProgressTitle;

    // ui is not owned and must outlive the controller.
    explicit ApplicationController(UserInterface* ui, QObject* parent = nullptr);
    ~ApplicationController() override;

    // Start-up, in this order. initialize() registers the default
    // preferences (done once per process, also by the first use of the
    // preferences).
    static void initialize();
    void awakeFromNib();
    void applicationDidFinishLaunching();

    // The application-support folder and the default output folder,
    // tilde-expanded.
    static QString applicationSupportFolder();
    static QString defaultOutputFolder();
    // The first output format, as start-up builds it from the preferences.
    static std::shared_ptr<EncoderSettings> firstEncoderSettingsFromPreferences();

    // Roads into the queue: each parses the paths on a thread of its own.
    void openFiles();
    void applicationOpenFiles(const QStringList& paths);
    // The intake proper, on the calling (background) thread.
    void parseDroppedFiles(const QStringList& paths);
    // A row for the file, or for one track of it when it is an album image.
    void addFileEncodeOperationToQueue(const QString& filePath, const QString& topLevelPath,
                                       std::optional<ImageTrack> track = std::nullopt);

    // The selection of the queue list changed (or was set by code).
    void listViewSelectionDidChange();
    void selectPreviousItem();
    void selectNextItem();
    void clearSelection();
    void progressPanelCancelButtonPressed() { m_cancelled = true; }

    // Row removal.
    void deleteRows(const QList<int>& rows);
    // From a context menu, menuClickedRow is the row under the menu (-1 when
    // it opened below the rows): that row alone is removed. From anywhere
    // else (no menu row given), the selected rows are.
    void removeSelectedItems(std::optional<int> menuClickedRow = std::nullopt);
    void clear();

    // The run.
    void encodeFilesMenuItemSelected();
    void updateMetadataMenuItemSelected();
    void encode();
    void cancel();

    // Closing rules. applicationShouldTerminate answers through reply
    // (possibly later, after the question).
    void applicationShouldTerminate(std::function<void(bool terminate)> reply);
    bool windowShouldClose() const { return m_runningOperations < 1; }

    MetadataCommands& metadataCommands() { return *m_metadataCommands; }

    // State.
    OperationsArrayController& operationsController() { return *m_operations; }
    UserInterface& ui() { return *m_ui; }
    QList<std::shared_ptr<EncoderSettings>>& encoderSettingsList() { return m_encoderSettings; }
    // Every record of encoderSettingsList() is observed: any change of it
    // reloads the output-format list. Records leaving the list stop being
    // observed.
    void observeEncoderSettings(const std::shared_ptr<EncoderSettings>& settings);
    void stopObservingEncoderSettings(const std::shared_ptr<EncoderSettings>& settings);
    bool encoderRunning() const { return m_encoderRunning; }
    void setEncoderRunning(bool running);
    bool processingFiles() const { return m_processingFiles; }
    bool containsMP3Files() const { return m_containsMP3Files; }
    void setContainsMP3Files(bool contains);
    bool isCancelled() const { return m_cancelled; }
    void setCancelled(bool cancelled) { m_cancelled = cancelled; }
    qint64 runningOperations() const { return m_runningOperations; }
    qint64 failedEncodes() const { return m_failedEncodes; }
    qint64 successfulEncodes() const { return m_successfulEncodes; }
    // Of the successful encodes, those written from a damaged source.
    qint64 damagedEncodes() const { return m_damagedEncodes; }
    int overwriteExistingFilesHandling() const { return m_overwriteExistingFilesHandling; }
    QList<FileEncodeOperation*> selectedOperations() const { return m_selectedOperations; }

    // FileEncodeOperationDelegate.
    TaggingThread* taggingThread() override { return m_taggingThread.get(); }
    QStringList& createdOutputPaths() override { return m_createdOutputPaths; }
    void outputWasWritten(const QString& path) override { m_writtenOutputPaths.append(path); }
    // The files the current (or last) run wrote, as they are named on disk,
    // in the order they were put in place.
    const QStringList& writtenOutputPaths() const { return m_writtenOutputPaths; }
    QList<std::shared_ptr<EncoderSettings>> encoderSettings() override { return m_encoderSettings; }
    void waitingUserInputDidChange(EncodeOperation* operation) override;
    bool otherRowReadsSource(const FileEncodeOperation* row, const QString& path) override;

    // Runs work on a thread of its own, counted so that the destructor can
    // wait for it.
    void runInBackground(std::function<void()> work);

Q_SIGNALS:
    void encoderRunningChanged();
    void containsMP3FilesChanged();
    // A parse ended and its rows are queued.
    void parsingFinished();
    // A run launched its first files.
    void runStarted();
    // A queued file finished in a run, before it is reset or removed.
    void operationFinished(FileEncodeOperation* operation);
    // A run ended: nothing runs any more.
    void runFinished();

private:
    friend class EncodeRun;
    friend class FileIntake;
    friend class OverwriteQuestion;
    friend class MetadataCommands;

    void finishedParsingFiles();
    void startRefreshTimer();
    void createFirstEncoderSettings();
    void filesWereDropped(const QStringList& paths);
    void outputDirectoryChanged();

    UserInterface* m_ui;
    std::unique_ptr<OperationsArrayController> m_operations;
    std::unique_ptr<EncodeRun> m_run;
    std::unique_ptr<OverwriteQuestion> m_overwriteQuestion;
    std::unique_ptr<MetadataCommands> m_metadataCommands;
    std::unique_ptr<TaggingThread> m_taggingThread;
    QList<std::shared_ptr<EncoderSettings>> m_encoderSettings;
    QStringList m_createdOutputPaths;
    QStringList m_writtenOutputPaths;
    QList<FileEncodeOperation*> m_selectedOperations;
    QTimer m_refreshTimer;

    qint64 m_runningOperations = 0;
    qint64 m_currentFileInQueue = 0;
    qint64 m_failedEncodes = 0;
    qint64 m_successfulEncodes = 0;
    qint64 m_damagedEncodes = 0;
    int m_overwriteExistingFilesHandling = 0;
    std::atomic<bool> m_encoderRunning = false;
    std::atomic<bool> m_processingFiles = false;
    std::atomic<bool> m_cancelled = false;
    bool m_showingAlert = false;
    bool m_containsMP3Files = false;

    std::atomic<int> m_backgroundJobs = 0;
    struct BackgroundThread
    {
        std::thread thread;
        std::shared_ptr<std::atomic<bool>> done;
    };
    // Joined when the next one starts (those that are done) and at the end.
    std::vector<BackgroundThread> m_threads;
};
