#pragma once
// Commands on the metadata of the selected queue rows, before they are
// encoded or tagged: clear all (after a question), clear the cover, clear
// the lyrics, copy, paste and revert (after a question, re-reading the
// source). They change only the in-memory records of the rows.
//
// Loops over 31 or more selected rows run on a thread of their own behind
// the progress sheet, updated at most every 0.2 s; the sheet's Cancel stops
// them after the row in progress (earlier rows keep the change). Shorter
// loops run at once on the main thread. The selection's own metadata
// reading (readSelection) is such a loop too.
//
// Paste is a full replacement of the seventeen exchanged fields, not a
// merge: a field absent when copying becomes absent. That is deliberate.
//
// Threads: the commands on the main thread; the loops where said above.

#include <QList>
#include <QString>
#include <QVariantMap>
#include <functional>
#include <optional>

class ApplicationController;
class FileEncodeOperation;

class MetadataCommands
{
public:
    static constexpr qsizetype kBackgroundRowThreshold = 31;

    explicit MetadataCommands(ApplicationController& controller) : m_controller(controller) {}

    void clearAllMetadata();
    void clearAlbumArtwork();
    void clearLyrics();
    void copyAllMetadata();
    void pasteAllMetadata();
    void revertMetadata();

    // The copied fields; none before the first copy.
    const std::optional<QVariantMap>& copiedMetadata() const { return m_copiedMetadata; }
    // Replaces the copied fields with a set copied elsewhere (another
    // window's, through the clipboard); the next paste writes it.
    void setCopiedMetadata(QVariantMap dictionary) { m_copiedMetadata = std::move(dictionary); }

    // Reads the tags of the given (newly selected) rows behind the progress
    // sheet; on a background thread.
    void readSelection(const QList<FileEncodeOperation*>& rows);

private:
    // Asks the question; on "Yes" runs perRow over the selection, inline or
    // in the background with the sheet titled title and the progress text
    // progressFormat ("... %1 of %2").
    void confirmAndRun(const QString& message, const QString& informativeText, const QString& title,
                       const char* progressFormat, std::function<void(FileEncodeOperation*)> perRow);
    // The loop itself; returns false when cancelled.
    bool runLoop(const QList<FileEncodeOperation*>& rows, const char* progressFormat,
                 const std::function<void(FileEncodeOperation*)>& perRow);

    ApplicationController& m_controller;
    std::optional<QVariantMap> m_copiedMetadata;
};
