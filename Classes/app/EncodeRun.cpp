#include "EncodeRun.h"

#include "ApplicationController.h"
#include "EncodeOperation.h"
#include "EncoderSettings.h"
#include "EncoderSlots.h"
#include "ErrorLog.h"
#include "FileEncodeOperation.h"
#include "MainThread.h"
#include "OperationsArrayController.h"
#include "Preferences.h"
#include "UserInterface.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

const char* const EncodeRun::kFailedToEncodeMessage = "Failed To Encode %1 of %2 Files.";
const char* const EncodeRun::kDamagedSourcesMessage = "%1 of %2 files written from a damaged source.";

namespace {

QString tr(const char* text)
{
    return QCoreApplication::translate("ApplicationController", text);
}

bool boolPreference(const char* key)
{
    return Preferences::shared().boolValue(QString::fromLatin1(key));
}

void showFolderAlert(UserInterface& ui, const char* title, const char* text)
{
    Alert alert;
    alert.messageText = tr(title);
    alert.informativeText = tr(text);
    alert.buttons = {tr("OK")};
    ui.runAlert(alert);
    ui.showPreferences();
}

} // namespace

EncodeRun::EncodeRun(ApplicationController& controller) : m_controller(controller)
{
    // On the main thread, with the encode that gave the slots back waiting,
    // as an operation's end waits (through the same hand-over, whose order
    // the thread checkers see; a queued call's would be hidden in Qt).
    EncoderSlots::shared().setOnGivenBack([this] {
        MainThread::runAndWait([this] {
            if (m_controller.encoderRunning() && !m_controller.m_cancelled) {
                startWaitingRows();
            }
        });
    });
}

EncodeRun::~EncodeRun()
{
    EncoderSlots::shared().setOnGivenBack({});
}

bool EncodeRun::takeSlotForRow()
{
    if (m_heldSlots > 0) {
        --m_heldSlots;
        return true;
    }
    return EncoderSlots::shared().takeForRow();
}

void EncodeRun::giveBackHeldSlots()
{
    for (; m_heldSlots > 0; --m_heldSlots) {
        EncoderSlots::shared().giveBackRow();
    }
}

qint64 EncodeRun::numProcesses()
{
    return Preferences::shared().integerValue(QStringLiteral("numProcesses"));
}

void EncodeRun::startRun(int encoderAction)
{
    if (m_controller.encoderRunning()) {
        return;
    }
    m_controller.m_currentFileInQueue = 0;
    for (const std::shared_ptr<EncoderSettings>& settings : std::as_const(m_controller.m_encoderSettings)) {
        settings->setEncoderAction(encoderAction);
    }
    encode();
}

void EncodeRun::encode()
{
    ApplicationController& c = m_controller;
    UserInterface& ui = c.ui();
    OperationsArrayController& queue = c.operationsController();
    if (queue.count() == 0) {
        ui.beep();
        return;
    }
    if (c.encoderRunning()) {
        return;
    }
    bool anyEnabled = false;
    bool anyMetadataOnly = false;
    for (const std::shared_ptr<EncoderSettings>& settings : std::as_const(c.m_encoderSettings)) {
        settings->makeMP3();
        anyEnabled = anyEnabled || settings->enabled();
        anyMetadataOnly =
            anyMetadataOnly || settings->encoderAction() == EncoderSettings::UpdateMetadataOnlyAction;
    }
    // "destinationDirectoryBookmark" stays empty on this platform: the plain
    // path is used.
    if (!anyMetadataOnly && !anyEnabled) {
        Alert alert;
        alert.messageText = tr("No Output Formats Enabled.");
        alert.informativeText = tr("Please enable at least one output format.");
        alert.buttons = {tr("OK.")};
        ui.beginAlertSheet(alert, [](int, bool) {});
        return;
    }
    if (!boolPreference("outputSameAsSource")) {
        const QString folder = Preferences::shared().stringValue(QStringLiteral("destinationDirectory"));
        const QFileInfo info(folder);
        // Existence only: a file in the way lets the run start, and each
        // output then fails to make its folder, with that failure logged.
        if (folder.isEmpty() || !info.exists()) {
            showFolderAlert(
                ui, "Output Folder Not Found",
                "The destination folder does not exist.  Please specify a new one in preferences.");
            return;
        }
        if (!info.isWritable()) {
            showFolderAlert(
                ui, "Permissions Error.",
                "You do not have write permissions to the output folder.  Please specify a new one "
                "in preferences.");
            return;
        }
        if (folder.contains(QDir::homePath() + QStringLiteral("/Music/iTunes"))) {
            showFolderAlert(ui, "Invalid Output Folder.",
                            "Files can not be written to a user's iTunes library folder.  Please choose a "
                            "different output folder in the preferences.");
            return;
        }
    }

    ui.closeSecondaryWindows();
    ErrorLog::shared()->clear();
    c.clearSelection();
    ui.setEncodeButtonToCancel(true);
    ui.setEncodeButtonEnabled(true);
    c.m_runningOperations = 0;
    c.m_failedEncodes = 0;
    c.m_successfulEncodes = 0;
    c.m_damagedEncodes = 0;
    c.m_overwriteExistingFilesHandling = 0;
    c.m_cancelled = false;
    c.m_createdOutputPaths.clear();
    c.m_writtenOutputPaths.clear();
    m_finishedThisRun.clear();
    m_albums.clear();
    ui.closeErrorLog();

    // Set before the launch: a row without children finishes from the event
    // loop, but one may also finish while the launch is still going on.
    c.setEncoderRunning(true);
    // Every row of the launch holds its slot before the first one starts: an
    // encode starting meanwhile then finds no idle slot to split over.
    EncoderSlots::shared().startRun(int(numProcesses()));
    giveBackHeldSlots();
    for (qsizetype i = 0; i < queue.count() && m_heldSlots < numProcesses(); ++i) {
        const FileEncodeOperation* operation = queue.at(i);
        if (!operation->isExecuting() && !operation->isFinished() && EncoderSlots::shared().takeForRow()) {
            ++m_heldSlots;
        }
    }
    for (qsizetype i = 0; i < queue.count(); ++i) {
        if (c.m_runningOperations >= numProcesses()) {
            break;
        }
        FileEncodeOperation* operation = queue.at(i);
        if (!operation->isExecuting() && !operation->isFinished()) {
            if (!takeSlotForRow()) {
                break;
            }
            ++c.m_runningOperations;
            ++c.m_currentFileInQueue;
            operation->start();
        }
    }
    giveBackHeldSlots();
    c.setEncoderRunning(c.m_runningOperations != 0);
    if (c.m_runningOperations == 0) {
        ui.setEncodeButtonToCancel(false);
        ui.setEncodeButtonEnabled(true);
        Q_EMIT c.runFinished();
        return;
    }
    Q_EMIT c.runStarted();
}

bool EncodeRun::keepsRow(const FileEncodeOperation& operation) const
{
    const bool metadataOnly =
        !m_controller.m_encoderSettings.isEmpty() &&
        m_controller.m_encoderSettings.first()->encoderAction() == EncoderSettings::UpdateMetadataOnlyAction;
    if (metadataOnly && QFileInfo(operation.inFilePath()).suffix().toLower() == QLatin1String("mp3")) {
        return boolPreference("keepFilesInQueueAfterWritingMetadata");
    }
    return boolPreference("keepFilesInQueueAfterEncoding") && !boolPreference("deleteOriginal");
}

void EncodeRun::operationDidFinish(FileEncodeOperation* operation)
{
    ApplicationController& c = m_controller;
    UserInterface& ui = c.ui();
    OperationsArrayController& queue = c.operationsController();
    --c.m_runningOperations;
    // Kept for the next row until the end of this call.
    ++m_heldSlots;
    Q_EMIT c.operationFinished(operation);
    // Before the row is reset or released: its children hold the figures.
    m_albums.rowFinished(*operation);

    const bool keep = keepsRow(*operation);
    if (operation->isCancelled()) {
        operation->resetOperation();
    } else {
        m_finishedThisRun.insert(operation);
        if (operation->success()) {
            c.m_successfulEncodes += operation->successfulEncodes();
            c.m_damagedEncodes += operation->damagedEncodes();
        } else {
            c.m_failedEncodes += operation->failedEncodes();
        }
        if ((!operation->success() || operation->damagedEncodes() > 0) && boolPreference("showLogOnError")) {
            ui.showErrorLog();
        }

        if (keep || operation->sourceDamaged()) {
            operation->resetOperation();
            ui.reloadQueueList();
        } else {
            QObject::disconnect(operation, nullptr, &c, nullptr);
            queue.remove(operation);
            c.m_selectedOperations.removeAll(operation);
            m_finishedThisRun.remove(operation);
            operation->deleteLater();
            ui.reloadQueueList();
        }
        if (c.m_containsMP3Files && !queue.containsExtension(QStringLiteral("mp3"))) {
            c.setContainsMP3Files(false);
        }

        if (!c.m_cancelled) {
            if (!keep) {
                for (qsizetype i = 0; i < queue.count(); ++i) {
                    if (c.m_runningOperations >= numProcesses()) {
                        break;
                    }
                    FileEncodeOperation* next = queue.at(i);
                    if (startable(*next) && !next->isCancelled()) {
                        if (!takeSlotForRow()) {
                            break;
                        }
                        ++c.m_runningOperations;
                        next->start();
                    }
                }
            } else {
                qint64 countdown = queue.count();
                while (c.m_currentFileInQueue < queue.count()) {
                    if (c.m_runningOperations >= numProcesses()) {
                        break;
                    }
                    if (--countdown <= c.m_runningOperations) {
                        break;
                    }
                    FileEncodeOperation* next = queue.at(c.m_currentFileInQueue);
                    ++c.m_currentFileInQueue;
                    // A batch-wide overwrite answer may have started this row
                    // already, out of turn.
                    if (!startable(*next)) {
                        continue;
                    }
                    if (!takeSlotForRow()) {
                        --c.m_currentFileInQueue;
                        break;
                    }
                    ++c.m_runningOperations;
                    next->start();
                    ui.scrollToRow(int(c.m_currentFileInQueue - numProcesses()));
                }
            }
        }
    }

    giveBackHeldSlots();
    if (c.m_runningOperations == 0) {
        runDidEnd(keep);
    } else if (!m_albums.isEmpty()) {
        m_albums.finishAlbums(pendingAlbums(), c.taggingThread());
    }
    if (queue.count() == 0) {
        c.setContainsMP3Files(false);
    }
}

void EncodeRun::runDidEnd(bool keepRows)
{
    ApplicationController& c = m_controller;
    UserInterface& ui = c.ui();
    // Before the run is announced as ended: its outputs are then complete.
    m_albums.finishAll(c.taggingThread());
    c.setEncoderRunning(false);
    ui.reloadOutputFormatList();
    ui.setEncodeButtonToCancel(false);
    ui.setEncodeButtonEnabled(true);
    if (keepRows) {
        ui.scrollToRow(0);
    }
    if (c.m_failedEncodes > 0 || c.m_damagedEncodes > 0) {
        const qint64 total = c.m_failedEncodes + c.m_successfulEncodes;
        const QString failed = tr(kFailedToEncodeMessage).arg(c.m_failedEncodes).arg(total);
        const QString damaged = tr(kDamagedSourcesMessage).arg(c.m_damagedEncodes).arg(total);
        Alert alert;
        alert.messageText = c.m_failedEncodes > 0 ? failed : damaged;
        if (c.m_failedEncodes > 0 && c.m_damagedEncodes > 0) {
            alert.informativeText = damaged;
        }
        alert.buttons = {tr("OK"), tr("Show Report")};
        ui.beginAlertSheet(alert, [&ui](int button, bool) {
            if (button == AlertSecondButtonReturn) {
                ui.showErrorLog();
            }
        });
    }
    if (boolPreference("openOutputDirectoryWhenFinished") && !boolPreference("outputSameAsSource")) {
        ui.openFolder(Preferences::shared().stringValue(QStringLiteral("destinationDirectory")));
    }
    Q_EMIT c.runFinished();
}

void EncodeRun::cancel()
{
    ApplicationController& c = m_controller;
    c.m_cancelled = true;
    // Disabled before the operations are told: a row waiting for the
    // overwrite answer finishes at once when it is started again, so the run
    // may end (and enable the button) before this returns. When nothing runs
    // there is nothing to wait for, and the button stays as it is.
    if (c.encoderRunning()) {
        c.ui().setEncodeButtonEnabled(false);
    }
    // A copy: the run may end while the rows are told.
    const QList<FileEncodeOperation*> rows = c.operationsController().arrangedObjects();
    for (FileEncodeOperation* operation : rows) {
        if (!operation->isExecuting()) {
            continue;
        }
        operation->cancel();
        // An encode operation paused for the overwrite answer would wait
        // forever: started again, a cancelled operation finishes at once.
        for (EncodeOperation* waiting : operation->operations()) {
            if (waiting->waitingUserInput()) {
                waiting->setWaitingUserInput(false);
                waiting->start();
            }
        }
    }
    c.m_showingAlert = false;
}

void EncodeRun::startWaitingRows()
{
    ApplicationController& c = m_controller;
    OperationsArrayController& queue = c.operationsController();
    for (qsizetype i = 0; i < queue.count(); ++i) {
        if (c.m_runningOperations >= numProcesses()) {
            break;
        }
        FileEncodeOperation* operation = queue.at(i);
        if (startable(*operation)) {
            if (!takeSlotForRow()) {
                break;
            }
            ++c.m_runningOperations;
            operation->start();
        }
    }
}

bool EncodeRun::startable(const FileEncodeOperation& operation) const
{
    // Kept rows are reset when they finish, so only the record of this run
    // tells them from rows still to do.
    return !operation.isExecuting() && !operation.isFinished() && !m_finishedThisRun.contains(&operation);
}

std::optional<QSet<QString>> EncodeRun::pendingAlbums() const
{
    QSet<QString> albums;
    const OperationsArrayController& queue = m_controller.operationsController();
    for (qsizetype i = 0; i < queue.count(); ++i) {
        const FileEncodeOperation* row = queue.at(i);
        if (m_finishedThisRun.contains(row) || row->isCancelled() ||
            (row->isFinished() && !row->isExecuting())) {
            continue;
        }
        const AudioMetadataPtr metadata = row->metadataIfRead();
        if (!metadata) {
            return std::nullopt;
        }
        albums.insert(AlbumLoudness::albumOf(metadata.get(), row->track()));
    }
    return albums;
}
