#pragma once
// One conversion of one source file into one output format: the abstract
// base that owns everything around the encoding proper.
//
// It chooses the output path (destination folder or the source's own, kept
// folder structure or naming scheme, the refusal of "~/Music/iTunes",
// collisions and overwriting, pausing for the user's answer), hands out the
// temporary file, moves the finished file into place (an existing output is
// only replaced by a complete file, and goes to the Trash), rewrites the tags
// of an MP3 source in place (metadata only), removes a cancelled partial
// file, saves the cover beside the output and offers the file to a music
// library. The subclass provides main() (MP3EncodeOperation).
//
// State is observable: isExecutingChanged, isFinishedChanged,
// waitingUserInputChanged, currentFrameChanged, currentStatusChanged and
// metadataChanged are emitted on the thread that changed the value (the
// operation's own thread for progress, the main thread for completion and
// for the pause for the user's answer);
// observers on other threads connect with a queued connection.
//
// Lifecycle: created → start() runs main() on a thread of its own →
// completeOperation() (always on the main thread; the worker waits for it)
// marks it finished, with success() telling the result; or main() stops with
// waitingUserInput() set, and the owner asks the user and either calls
// start() again (outFilePath is then kept, or replaced by the owner) or
// settles it with setSuccess/setSkipped/completeOperation.
// A cancelled operation that has not started finishes at start() with
// success true. cancel() only sets a flag that the worker polls.
//
// Threads: the main thread must run its event loop while operations run.
// All access to the delegate's createdOutputPaths is done on the main
// thread; writeMetadata() runs on the delegate's tagging thread.
//
// Ownership: the owner keeps the operation alive until its worker thread has
// ended (the destructor joins it): destroy it after isFinished was announced
// and control went back to the event loop, never from inside a slot run
// during completeOperation(). The delegate is not owned.
//
// Failures are logged to the error log with the messages below and leave
// success() false; nothing here shows a dialog or throws to the caller.

#include "AudioMetadata.h"
#include "EncoderSettings.h"
#include "ImageTrack.h"
#include "ZTDecoder.h"

#include <QObject>
#include <QString>
#include <atomic>
#include <cstdio>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

class EncodeOperationDelegate;
class LoudnessMeter;

class EncodeOperation : public QObject, public DecoderDelegate
{
    Q_OBJECT
    Q_PROPERTY(bool isExecuting READ isExecuting NOTIFY isExecutingChanged)
    Q_PROPERTY(bool isFinished READ isFinished NOTIFY isFinishedChanged)
    Q_PROPERTY(bool waitingUserInput READ waitingUserInput NOTIFY waitingUserInputChanged)
    Q_PROPERTY(qint64 currentFrame READ currentFrame NOTIFY currentFrameChanged)
    Q_PROPERTY(QString currentStatus READ currentStatus NOTIFY currentStatusChanged)

public:
    static const QString
        kITunesFolderMessage; // "Tracks can not be written to your iTunes library folder. ..."
    static const QString
        kITunesMetadataMessage; // "The Metadata Of Music In Your iTunes Library Can Not Be Edited"
    static const QString kCouldNotMoveToFolderMessage; // "Could Not Move Encoded File To Folder %1. Error:%2"
    static const QString
        kCouldNotMoveToLocationMessage; // "Could Not Move File To Output Location %1.  Error:%2"

    EncodeOperation(const QString& inFilePath, const QString& topLevelPath);
    ~EncodeOperation() override;

    // Main thread.
    void start();
    void cancel() { m_cancelled = true; }
    bool isCancelled() const { return m_cancelled; }
    bool isConcurrent() const { return true; }
    bool isExecuting() const { return m_executing; }
    bool isFinished() const { return m_finished; }
    bool waitingUserInput() const { return m_waitingUserInput; }

    EncodeOperationDelegate* delegate() const { return m_delegate; }
    void setDelegate(EncodeOperationDelegate* delegate) { m_delegate = delegate; }

    const QString& inFilePath() const { return m_inFilePath; }
    const QString& topLevelPath() const { return m_topLevelPath; }
    QString outFilePath() const;
    QString tempFilePath() const;
    QString decodeFilePath() const;

    // The source's tags, read on first use when none were given.
    AudioMetadataPtr metadata();
    void setMetadata(AudioMetadataPtr metadata);
    std::shared_ptr<const EncoderSettings> settings() const { return m_settings; }
    void setSettings(std::shared_ptr<const EncoderSettings> settings) { m_settings = std::move(settings); }
    // For one track of an album image (the source is then the image): set
    // before the operation starts.
    const std::optional<ImageTrack>& track() const { return m_track; }
    void setTrack(std::optional<ImageTrack> track) { m_track = std::move(track); }

    qint64 currentFrame() const { return m_currentFrame; }
    qint64 totalFrames() const { return m_totalFrames; }
    QString currentStatus() const;
    bool success() const { return m_success; }
    bool skipped() const { return m_skipped; }
    bool outputFileExistedBeforeEncode() const { return m_outputFileExistedBeforeEncode; }
    // The output was written from a source the decoder found damaged.
    virtual bool sourceDamaged() const { return false; }
    // The loudness of all the audio the output holds, when ReplayGain was
    // on and the whole of it was measured; else null. Read it once the
    // operation has finished.
    virtual std::shared_ptr<const LoudnessMeter> loudnessMeter() const { return nullptr; }

    // What the application does with an operation waiting for the overwrite
    // answer (main thread): give it another output path, or settle it as
    // skipped without running it again.
    void setOutFilePath(const QString& path);
    void setWaitingUserInput(bool waiting);
    void setSuccess(bool success) { m_success = success; }
    void setSkipped(bool skipped) { m_skipped = skipped; }
    // Marks the operation finished on the main thread, waiting for it when
    // called from another thread.
    void completeOperation();

    // Progress of a decoder that converts to an intermediate file (0 to 1):
    // becomes currentFrame out of 100; a cancelled operation cancels it.
    void decoderDidUpdateProgressPercent(ZTDecoder* decoder, double fraction) override;

    virtual bool isItunesCompatible() const { return false; }

Q_SIGNALS:
    void isExecutingChanged();
    void isFinishedChanged();
    void waitingUserInputChanged();
    void currentFrameChanged();
    void currentStatusChanged();
    void metadataChanged();

protected:
    // The conversion, on the operation's own thread. Must end by calling
    // completeOperation() exactly once, or by determineOutputPath() answering
    // false.
    virtual void main() = 0;
    // Tags the file at tempFilePath; the base does nothing. On a user's own
    // file (the metadata-only update) a failure is reported through
    // setMetadataWriteError(), with the file left as it was.
    virtual void writeMetadata() {}
    void setMetadataWriteError(const QString& reason) { m_metadataWriteError = reason; }

    // Chooses outFilePath. False: stop now (completed, or waiting for the user).
    bool determineOutputPath();
    void moveEncodedFileToOutputLocation();
    void updateMetadataOnly();
    void deletePartiallyEncodedFileIfCancelled();
    // Removes tempFilePath and decodeFilePath if they are still there, so
    // that a failed or cancelled encode leaves nothing in the temporary
    // folder. Never call it once tempFilePath is the source itself (the
    // metadata-only update). Worker thread.
    void removeTemporaryFiles();
    void saveAlbumArtworkToFile();
    // No music-library application exists on this platform: both answer false.
    bool addToiTunes();
    bool addToMusic();

    // Runs writeMetadata() on the delegate's tagging thread and waits.
    void writeMetadataOnTaggingThread();

    void setTempFilePath(const QString& path);
    void setDecodeFilePath(const QString& path);
    void setCurrentFrame(qint64 frame);
    void setTotalFrames(qint64 frames) { m_totalFrames = frames; }
    void setCurrentStatus(const QString& status);

    // The open output stream while encoding; the subclass opens and closes it.
    FILE* m_outFile = nullptr;

private:
    bool isInITunesFolder(const QString& path) const;
    bool createdOutputPathsContains(const QString& path);
    void pauseForUserInput();
    // Quarantine and AppleDouble companions do not exist on this platform;
    // the steps are kept where the move makes them.
    void releaseFromQuarantine(const QString& path) {}
    void applyAppleDoubleCompanion(const QString& path) {}

    EncodeOperationDelegate* m_delegate = nullptr;
    const QString m_inFilePath;
    const QString m_topLevelPath;
    mutable std::mutex m_lock; // guards the strings and the metadata pointer
    QString m_outFilePath;
    QString m_tempFilePath;
    QString m_decodeFilePath;
    QString m_currentStatus;
    QString m_metadataWriteError; // written and read on the operation's threads in turn
    AudioMetadataPtr m_metadata;
    std::shared_ptr<const EncoderSettings> m_settings;
    std::optional<ImageTrack> m_track;

    std::atomic<qint64> m_currentFrame = 0;
    std::atomic<qint64> m_totalFrames = 100;
    std::atomic<bool> m_success = false;
    std::atomic<bool> m_cancelled = false;
    std::atomic<bool> m_skipped = false;
    std::atomic<bool> m_waitingUserInput = false;
    std::atomic<bool> m_finished = false;
    std::atomic<bool> m_executing = false;
    std::atomic<bool> m_outputFileExistedBeforeEncode = false;

    std::thread m_thread;
    // Threads of earlier runs (before a pause for the user's answer). They
    // are joined when the operation is destroyed, never at start(): the old
    // thread may still be handing its pause to the main thread.
    std::vector<std::thread> m_endedThreads;
};
