#include "MetadataCommands.h"

#include "ApplicationController.h"
#include "FileEncodeOperation.h"
#include "MainThread.h"
#include "OperationsArrayController.h"
#include "UserInterface.h"

#include <QCoreApplication>
#include <QElapsedTimer>

namespace {

QString tr(const char* text)
{
    return QCoreApplication::translate("ApplicationController", text);
}

// The progress sheet is updated at most this often.
constexpr qint64 kProgressIntervalMs = 200;

} // namespace

bool MetadataCommands::runLoop(const QList<FileEncodeOperation*>& rows, const char* progressFormat,
                               const std::function<void(FileEncodeOperation*)>& perRow)
{
    const qsizetype n = rows.size();
    QElapsedTimer sinceUpdate;
    sinceUpdate.start();
    for (qsizetype i = 0; i < n; ++i) {
        if (sinceUpdate.elapsed() > kProgressIntervalMs) {
            // i counts from 0, so an update may show "0 of n".
            MainThread::runAndWait([&] {
                m_controller.ui().setProgressValue(double(i) / double(n) * 100.0);
                m_controller.ui().setProgressText(tr(progressFormat).arg(i).arg(n));
            });
            sinceUpdate.restart();
            if (m_controller.isCancelled()) {
                return false;
            }
        }
        perRow(rows.at(i));
    }
    return true;
}

void MetadataCommands::confirmAndRun(const QString& message, const QString& informativeText,
                                     const QString& title, const char* progressFormat,
                                     std::function<void(FileEncodeOperation*)> perRow)
{
    Alert alert;
    alert.messageText = message;
    alert.informativeText = informativeText;
    alert.buttons = {tr("Yes"), tr("No")};
    m_controller.ui().beginAlertSheet(alert, [this, title, progressFormat, perRow](int button, bool) {
        if (button != AlertFirstButtonReturn) {
            return;
        }
        const QList<FileEncodeOperation*> rows = m_controller.operationsController().selectedObjects();
        UserInterface& ui = m_controller.ui();
        auto finish = [&ui] {
            ui.endProgressSheet(0);
            ui.hideProgressSheet();
        };
        if (m_controller.ui().selectedRows().size() < kBackgroundRowThreshold) {
            runLoop(rows, progressFormat, perRow);
            finish();
            return;
        }
        m_controller.setCancelled(false);
        ui.setProgressText(title);
        ui.setProgressIndeterminate(false);
        ui.setProgressValue(0);
        ui.beginProgressSheet();
        m_controller.runInBackground([this, rows, progressFormat, perRow, finish] {
            runLoop(rows, progressFormat, perRow);
            MainThread::runAndWait(finish);
            MainThread::runAndWait([this] { m_controller.setCancelled(false); });
        });
    });
}

void MetadataCommands::clearAllMetadata()
{
    const qsizetype count = m_controller.operationsController().selectedObjects().size();
    confirmAndRun(tr("Clear Metadata"),
                  tr("Are you sure you want to clear all the metadata from %1 selected files?").arg(count),
                  tr("Clearing Metadata"), "Clearing Metadata %1 of %2",
                  [](FileEncodeOperation* row) { row->metadata()->clearAll(); });
}

void MetadataCommands::revertMetadata()
{
    const qsizetype count = m_controller.operationsController().selectedObjects().size();
    confirmAndRun(
        tr("Revert Metadata"),
        tr("Are you sure you want to revert the metadata on %1 selected files?  This will re-read the "
           "metadata from the original source file and undo any changes you've made.")
            .arg(count),
        tr("Reading Metadata"), "Reading Metadata %1 of %2", [](FileEncodeOperation* row) {
            row->setMetadata(row->readMetadata());
        });
}

void MetadataCommands::clearAlbumArtwork()
{
    for (FileEncodeOperation* row : m_controller.operationsController().selectedObjects()) {
        row->metadata()->setAlbumArtwork(nullptr);
    }
}

void MetadataCommands::clearLyrics()
{
    for (FileEncodeOperation* row : m_controller.operationsController().selectedObjects()) {
        row->metadata()->setLyrics(std::nullopt);
    }
}

void MetadataCommands::copyAllMetadata()
{
    const QList<FileEncodeOperation*> rows = m_controller.operationsController().selectedObjects();
    if (rows.isEmpty()) {
        return; // nothing selected: nothing to copy
    }
    m_copiedMetadata = rows.first()->metadata()->exchangeDictionary();
}

void MetadataCommands::pasteAllMetadata()
{
    if (!m_copiedMetadata) {
        return;
    }
    for (FileEncodeOperation* row : m_controller.operationsController().selectedObjects()) {
        row->metadata()->setFromExchangeDictionary(*m_copiedMetadata);
    }
}

void MetadataCommands::readSelection(const QList<FileEncodeOperation*>& rows)
{
    const bool finished =
        runLoop(rows, "Reading Metadata %1 of %2", [](FileEncodeOperation* row) { row->metadata(); });
    MainThread::runAndWait([this, finished, rows] {
        UserInterface& ui = m_controller.ui();
        if (!finished) {
            m_controller.clearSelection();
            ui.endProgressSheet(0);
            ui.hideProgressSheet();
        } else {
            ui.setProgressText(tr("Selecting %1 Files").arg(rows.size()));
            ui.setProgressIndeterminate(true);
            m_controller.m_selectedOperations = rows;
            ui.refreshMetadataEditor();
            ui.endProgressSheet(1);
            ui.hideProgressSheet();
        }
        m_controller.setCancelled(false);
    });
}
