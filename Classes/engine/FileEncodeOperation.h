#pragma once
// One queued source file, shown as one row of the queue: when it runs it
// creates one MP3 encode operation per applicable output format of the
// delegate's list, hands each the source's metadata, runs them on a queue of
// its own, merges their progress and status into its own, and finishes when
// the last of them has finished; then it may move the source to the Trash.
//
// Fan-out rules, per output format in order: a disabled format is skipped
// unless it only writes metadata; with "skipFilesOfSameType" a format with
// the source's own extension is skipped (for the platform's audio types only
// when the source's data format matches, or cannot be read); a metadata-only
// format ends the walk, so an MP3 source gets exactly one child. Without
// children the row completes at once, successfully.
//
// A row may be one track of an album image (track()): its children convert
// that span of the image, and the sheet's fields overlay the image's tags.
//
// The source is moved to the Trash only when "deleteOriginal" is on, every
// child succeeded, none found the source damaged, none wrote to the source's
// own path, the last one was not skipped, the row was not cancelled and no
// other queued row has the same source (the delegate is asked).
//
// A row whose children wrote their outputs from a damaged source stays
// marked (sourceDamaged(), and a status saying so once reset) until it is
// started again.
//
// After a metadata-only child on an MP3 source, inFilePath() follows the file
// to its new name, unless the child was skipped.
//
// Observable state (signals emitted on the main thread): isExecuting,
// isFinished, percentComplete, progressUnknown, currentStatus. The children
// report from their own threads; every change of the row's visible state is
// made on the main thread while the child waits.
//
// Lifecycle: created by the intake → start() (main thread) runs main() at
// once → finished when the last child finishes → resetOperation() makes it
// ready for another run. A cancelled row finishes at start() with success.
//
// Ownership: the controller owns the row; the row owns its children and
// keeps each one until it may be destroyed (after its thread ended). The
// delegate is not owned. metadata() may be called from any thread.

#include "AudioMetadata.h"
#include "ImageTrack.h"

#include <QList>
#include <QObject>
#include <QString>
#include <atomic>
#include <memory>
#include <mutex>
#include <optional>

class EncodeOperation;
class EncodeQueue;
class EncoderSettings;
class FileEncodeOperationDelegate;

class FileEncodeOperation : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool isExecuting READ isExecuting NOTIFY isExecutingChanged)
    Q_PROPERTY(bool isFinished READ isFinished NOTIFY isFinishedChanged)
    Q_PROPERTY(float percentComplete READ percentComplete NOTIFY percentCompleteChanged)
    Q_PROPERTY(bool progressUnknown READ progressUnknown NOTIFY percentCompleteChanged)
    Q_PROPERTY(QString currentStatus READ currentStatus NOTIFY currentStatusChanged)

public:
    FileEncodeOperation(const QString& fullPath, const QString& topLevelPath);
    // One track of the album image at fullPath. Such a row never moves the
    // image to the Trash: the image holds the other tracks too.
    FileEncodeOperation(const QString& fullPath, const QString& topLevelPath, ImageTrack track);
    ~FileEncodeOperation() override;

    const std::optional<ImageTrack>& track() const { return m_track; }
    // The row's name: the source's file name, or the track's title and place.
    QString displayName() const;

    FileEncodeOperationDelegate* delegate() const { return m_delegate; }
    void setDelegate(FileEncodeOperationDelegate* delegate) { m_delegate = delegate; }

    // Main thread.
    void start();
    void cancel();
    void resetOperation();

    bool isCancelled() const { return m_cancelled; }
    bool isExecuting() const { return m_executing; }
    bool isFinished() const { return m_finished; }
    bool success() const { return m_success; }
    bool skipped() const { return m_skipped; }
    bool reEncodeToSamefile() const { return m_reEncodeToSamefile; }
    qint64 successfulEncodes() const { return m_successfulEncodes; }
    qint64 failedEncodes() const { return m_failedEncodes; }
    // Successful children that wrote nothing: their output existed and was
    // kept.
    qint64 skippedEncodes() const { return m_skippedEncodes; }
    // Successful children that found their source damaged.
    qint64 damagedEncodes() const { return m_damagedEncodes; }
    // Whether the last run found the source damaged; kept by
    // resetOperation(), cleared by start().
    bool sourceDamaged() const { return m_sourceDamaged; }
    float percentComplete() const { return m_percentComplete; }
    bool progressUnknown() const { return m_progressUnknown; }
    QString currentStatus() const;
    // The source; after a metadata-only run that renamed it, its new path.
    QString inFilePath() const;
    const QString& topLevelPath() const { return m_topLevelPath; }

    // The children not yet finished, in the order they were created.
    QList<EncodeOperation*> operations() const { return m_operations; }
    // Every child of the current run, finished or not, until the row is
    // reset. Main thread.
    QList<EncodeOperation*> children() const { return m_children; }

    // The source's tags, read once (under the row's lock) and shared by the
    // children and the metadata commands. Any thread.
    AudioMetadataPtr metadata();
    // The record if it has been read, else null; never reads. Any thread.
    AudioMetadataPtr metadataIfRead() const;
    // Replaces the record (revert). Any thread.
    void setMetadata(AudioMetadataPtr metadata);
    // A fresh record from the source, with the track's fields for a track
    // of an album image; the row's own record is left alone. Any thread.
    AudioMetadataPtr readMetadata() const;

    // A negative value (a child with unknown progress) only stores the value.
    void setPercentCompleteNumber(float value);

Q_SIGNALS:
    void isExecutingChanged();
    void isFinishedChanged();
    void percentCompleteChanged();
    void currentStatusChanged();
    void metadataChanged();

private:
    void main();
    bool shouldSkip(const EncoderSettings& settings) const;
    void observe(EncodeOperation* child);
    void childFinished(EncodeOperation* child);
    void childWaiting(EncodeOperation* child);
    void childProgressed(EncodeOperation* child);
    void childStatusChanged(EncodeOperation* child);
    void completeOperation();
    void setCurrentStatus(const QString& status);
    void releaseChildren();

    FileEncodeOperationDelegate* m_delegate = nullptr;
    mutable std::mutex m_lock; // guards m_inFilePath, m_currentStatus, m_metadata
    QString m_inFilePath;
    const QString m_topLevelPath;
    const std::optional<ImageTrack> m_track;
    AudioMetadataPtr m_metadata;
    std::mutex m_metadataReadLock; // one read of the tags at a time
    std::unique_ptr<EncodeQueue> m_queue;
    QList<EncodeOperation*> m_operations;
    // Every child created since the last reset, owned here.
    QList<EncodeOperation*> m_children;

    std::atomic<qint64> m_successfulEncodes = 0;
    std::atomic<qint64> m_failedEncodes = 0;
    std::atomic<qint64> m_skippedEncodes = 0;
    std::atomic<qint64> m_damagedEncodes = 0;
    std::atomic<bool> m_sourceDamaged = false;
    std::atomic<float> m_percentComplete = 0;
    std::atomic<bool> m_progressUnknown = false;
    QString m_currentStatus;
    std::atomic<bool> m_success = true;
    std::atomic<bool> m_skipped = false;
    std::atomic<bool> m_cancelled = false;
    std::atomic<bool> m_finished = false;
    std::atomic<bool> m_executing = false;
    std::atomic<bool> m_reEncodeToSamefile = false;
};
