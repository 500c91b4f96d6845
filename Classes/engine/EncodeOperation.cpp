#include "EncodeOperation.h"

#include "EncodeOperationDelegate.h"
#include "ErrorLog.h"
#include "FileNameLimit.h"
#include "Locked.h"
#include "MainThread.h"
#include "NamingScheme.h"
#include "OutputFiles.h"
#include "Preferences.h"
#include "SafeFilename.h"
#include "TaggingThread.h"
#include "UtilityFunctions.h"
#include "VectorState.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <array>

const QString EncodeOperation::kITunesFolderMessage =
    QStringLiteral("Tracks can not be written to your iTunes library folder.  Please choose an alternate "
                   "destination folder in "
                   "the preferences.");
const QString EncodeOperation::kITunesMetadataMessage =
    QStringLiteral("The Metadata Of Music In Your iTunes Library Can Not Be Edited");
const QString EncodeOperation::kCouldNotMoveToFolderMessage =
    QStringLiteral("Could Not Move Encoded File To Folder %1.  Error:%2");
const QString EncodeOperation::kCouldNotMoveToLocationMessage =
    QStringLiteral("Could Not Move File To Output Location %1.  Error:%2");

namespace {

bool preference(const char* key)
{
    return Preferences::shared().boolValue(QString::fromLatin1(key));
}

QString stringPreference(const char* key)
{
    return Preferences::shared().stringValue(QString::fromLatin1(key));
}

// Cover files are named by the image's MIME type; anything unknown is saved
// as a JPEG name, as it always was.
struct ArtworkExtensionRow
{
    const char* mimeType;
    const char* extension;
};
constexpr std::array<ArtworkExtensionRow, 5> kArtworkExtensions{{
    {"image/jpeg", "jpg"},
    {"image/png", "png"},
    {"image/gif", "gif"},
    {"image/tiff", "tiff"},
    {"image/bmp", "bmp"},
}};
constexpr const char* kDefaultArtworkExtension = "jpg";

QString artworkExtension(const std::optional<QString>& mimeType)
{
    for (const ArtworkExtensionRow& row : kArtworkExtensions) {
        if (mimeType == QLatin1String(row.mimeType)) {
            return QString::fromLatin1(row.extension);
        }
    }
    return QString::fromLatin1(kDefaultArtworkExtension);
}

QString displayName(const QString& path)
{
    return QFileInfo(path).fileName();
}

} // namespace

EncodeOperation::EncodeOperation(const QString& inFilePath, const QString& topLevelPath)
    : m_inFilePath(inFilePath), m_topLevelPath(topLevelPath)
{
}

EncodeOperation::~EncodeOperation()
{
    if (m_thread.joinable()) {
        m_thread.join();
    }
    for (std::thread& thread : m_endedThreads) {
        thread.join();
    }
    if (m_outFile) {
        std::fclose(m_outFile);
    }
}

void EncodeOperation::start()
{
    if (m_cancelled) {
        // The result is set before the notice, so that observers see it.
        m_success = true;
        m_finished = true;
        Q_EMIT isFinishedChanged();
        return;
    }
    // A run after the user's answer: the first run's main has returned or is
    // about to (its last step may still be waiting for the main thread, so
    // joining it here could wait forever).
    if (m_thread.joinable()) {
        m_endedThreads.push_back(std::move(m_thread));
    }
    setWaitingUserInput(false);
    m_executing = true;
    m_thread = std::thread([this] {
        VectorState::clearUpperHalves();
        main();
    });
    Q_EMIT isExecutingChanged();
}

void EncodeOperation::completeOperation()
{
    MainThread::runAndWait([this] {
        m_executing = false;
        m_finished = true;
        Q_EMIT isExecutingChanged();
        Q_EMIT isFinishedChanged();
    });
}

QString EncodeOperation::outFilePath() const
{
    return Locked::read(m_lock, m_outFilePath);
}

QString EncodeOperation::tempFilePath() const
{
    return Locked::read(m_lock, m_tempFilePath);
}

QString EncodeOperation::decodeFilePath() const
{
    return Locked::read(m_lock, m_decodeFilePath);
}

QString EncodeOperation::currentStatus() const
{
    return Locked::read(m_lock, m_currentStatus);
}

void EncodeOperation::setOutFilePath(const QString& path)
{
    Locked::write(m_lock, m_outFilePath, path);
}

void EncodeOperation::setWaitingUserInput(bool waiting)
{
    if (m_waitingUserInput.exchange(waiting) != waiting) {
        Q_EMIT waitingUserInputChanged();
    }
}

void EncodeOperation::setTempFilePath(const QString& path)
{
    Locked::write(m_lock, m_tempFilePath, path);
}

void EncodeOperation::setDecodeFilePath(const QString& path)
{
    Locked::write(m_lock, m_decodeFilePath, path);
}

void EncodeOperation::setCurrentFrame(qint64 frame)
{
    m_currentFrame = frame;
    Q_EMIT currentFrameChanged();
}

void EncodeOperation::setCurrentStatus(const QString& status)
{
    Locked::write(m_lock, m_currentStatus, status);
    Q_EMIT currentStatusChanged();
}

AudioMetadataPtr EncodeOperation::metadata()
{
    {
        std::lock_guard lock(m_lock);
        if (m_metadata) {
            return m_metadata;
        }
    }
    // Read outside the lock: reading may take a while and never fails.
    AudioMetadataPtr metadata = AudioMetadata::metadataFromFile(m_inFilePath);
    {
        std::lock_guard lock(m_lock);
        if (!m_metadata) {
            m_metadata = metadata;
        }
        metadata = m_metadata;
    }
    Q_EMIT metadataChanged();
    return metadata;
}

void EncodeOperation::setMetadata(AudioMetadataPtr metadata)
{
    Locked::write(m_lock, m_metadata, std::move(metadata));
    Q_EMIT metadataChanged();
}

void EncodeOperation::decoderDidUpdateProgressPercent(ZTDecoder* decoder, double fraction)
{
    m_totalFrames = 100;
    setCurrentFrame(qint64(fraction * 100));
    if (m_cancelled && decoder) {
        decoder->cancel();
    }
}

bool EncodeOperation::isInITunesFolder(const QString& path) const
{
    return path.contains(QDir::homePath() + QStringLiteral("/Music/iTunes"));
}

bool EncodeOperation::createdOutputPathsContains(const QString& path)
{
    bool contains = false;
    MainThread::runAndWait([&] { contains = m_delegate && m_delegate->createdOutputPaths().contains(path); });
    return contains;
}

void EncodeOperation::pauseForUserInput()
{
    // Announced on the main thread while the worker waits, as completion
    // is: the owner may settle the operation (and disconnect from it) the
    // moment it hears of the pause, and the worker must not still be inside
    // its own notices then.
    MainThread::runAndWait([this] {
        m_executing = false;
        m_waitingUserInput = true;
        Q_EMIT isExecutingChanged();
        Q_EMIT waitingUserInputChanged();
    });
}

bool EncodeOperation::determineOutputPath()
{
    if (!outFilePath().isEmpty()) {
        return true; // run again after the user's answer
    }

    Preferences& preferences = Preferences::shared();
    const bool sameAsSource = preference("outputSameAsSource");
    // A track of an image is named as a file of its own beside the image
    // would be: "03 - Title.flac".
    const QString namingPath = m_track ? QFileInfo(m_inFilePath).path() + u'/' +
                                             SafeFilename::make(m_track->fileStem(m_inFilePath)) + u'.' +
                                             QFileInfo(m_inFilePath).suffix()
                                       : m_inFilePath;
    const QFileInfo source(namingPath);
    const QString baseFolder = sameAsSource ? source.path() : stringPreference("destinationDirectory");
    const QString extension = m_settings ? m_settings->extension() : QString();

    QString candidate;
    if (preference("preserveInputFileDirectoryStructure") && !sameAsSource) {
        // From the added folder's own name down to the file.
        QString relative = source.fileName();
        if (m_inFilePath.size() != m_topLevelPath.size()) {
            const qsizetype n = QFileInfo(m_topLevelPath).path().size();
            relative = namingPath.mid(n);
        }
        const QFileInfo relativeInfo(relative);
        const QString stem = relativeInfo.suffix().isEmpty()
                                 ? relative
                                 : relative.left(relative.size() - relativeInfo.suffix().size() - 1);
        candidate = QDir::cleanPath(baseFolder + u'/' + stem + u'.' + extension);
    } else if (preference("useCustomNamingScheme")) {
        QString scheme = preferences.stringValue(QStringLiteral("customNamingScheme"));
        if (scheme.isEmpty()) {
            scheme = QStringLiteral("{sourceFilename}");
        }
        const AudioMetadataPtr record = metadata();
        const QString relative =
            NamingScheme::evaluate(scheme, record.get(), m_settings.get(), namingPath, true);
        candidate = NamingScheme::pathBelow(baseFolder, relative) + u'.' + extension;
    } else {
        candidate = QDir::cleanPath(baseFolder + u'/' + source.completeBaseName() + u'.' + extension);
    }
    // Tags make names of any length; the file system takes 255 bytes a name.
    candidate = FileNameLimit::fitPath(candidate);

    if (isInITunesFolder(candidate)) {
        ErrorLog::logMessage(tr(kITunesFolderMessage.toUtf8().constData()));
        m_success = false;
        completeOperation();
        return false;
    }

    if (!QFileInfo::exists(candidate)) {
        setOutFilePath(uniqueFilePath(candidate));
        return true;
    }

    m_outputFileExistedBeforeEncode = true;
    // outFilePath is still empty here, so this never finds it: every existing
    // file counts as one not made during this run. Kept as it always was.
    const bool createdThisRun = createdOutputPathsContains(outFilePath());

    if (preference("overwriteOutputFiles")) {
        setOutFilePath(candidate);
        if (preference("promptBeforeOverwriting") && !createdThisRun) {
            pauseForUserInput();
            return false;
        }
        return true;
    }
    if (sameAsSource && source.suffix().compare(extension, Qt::CaseInsensitive) == 0) {
        setOutFilePath(candidate); // the output is the source's own path
    } else {
        setOutFilePath(uniqueFilePath(candidate));
    }
    return true;
}

void EncodeOperation::moveEncodedFileToOutputLocation()
{
    const QString temporary = tempFilePath();
    if (!temporary.isEmpty() && QFileInfo::exists(temporary)) {
        applyAppleDoubleCompanion(temporary);
        QFile::setPermissions(temporary, QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                             QFileDevice::ReadGroup | QFileDevice::ReadOther); // 0644

        const QString outPath = outFilePath();
        const QFileInfo destination(uniqueFilePath(outPath));
        QString error;
        const QString folder = OutputFiles::createFolderWithSafeNames(destination.path(), &error);
        QString written;
        if (!folder.isEmpty()) {
            written =
                OutputFiles::copyWithoutReplacing(temporary, folder + u'/' + destination.fileName(), &error);
        }
        if (written.isEmpty()) {
            // Nothing was put in place, so nothing may be replaced either.
            ErrorLog::logMessage(tr(kCouldNotMoveToFolderMessage.toUtf8().constData())
                                     .arg(displayName(destination.path()), error));
            m_success = false;
        } else {
            const bool replace = (QFileInfo::exists(outPath) && preference("overwriteOutputFiles") &&
                                  m_outputFileExistedBeforeEncode && !createdOutputPathsContains(outPath)) ||
                                 (preference("deleteOriginal") && m_inFilePath == outPath);
            if (replace && written != outPath) {
                OutputFiles::moveToTrashOrDelete(outPath);
                if (!OutputFiles::replace(written, outPath, &error)) {
                    ErrorLog::logMessage(tr(kCouldNotMoveToLocationMessage.toUtf8().constData())
                                             .arg(displayName(outPath), error));
                    m_success = false;
                } else {
                    written = outPath;
                }
            }
            releaseFromQuarantine(outPath);
            MainThread::runAndWait([&] {
                if (m_delegate) {
                    m_delegate->createdOutputPaths().append(outPath);
                    m_delegate->outputWasWritten(written);
                }
            });
        }
    }

    removeTemporaryFiles();
}

void EncodeOperation::removeTemporaryFiles()
{
    for (const QString& path : {tempFilePath(), decodeFilePath()}) {
        if (!path.isEmpty() && path != m_inFilePath) {
            QFile::remove(path);
        }
    }
}

void EncodeOperation::updateMetadataOnly()
{
    m_success = true;
    setTempFilePath(m_inFilePath);

    if (isInITunesFolder(m_inFilePath)) {
        ErrorLog::logMessage(tr(kITunesMetadataMessage.toUtf8().constData()));
        m_success = false;
        completeOperation();
        return;
    }

    if (preference("useCustomNamingScheme") && preference("renameAfterUpdatingMetadata")) {
        if (!determineOutputPath()) {
            return;
        }
        const QFileInfo out(outFilePath());
        setOutFilePath(out.path() + u'/' + out.completeBaseName() + u'.' + QFileInfo(m_inFilePath).suffix());
    } else {
        setOutFilePath(m_inFilePath);
    }

    m_metadataWriteError.clear();
    writeMetadataOnTaggingThread();
    if (!m_metadataWriteError.isEmpty()) {
        ErrorLog::logMessage(
            tr("Could Not Write Metadata To: %1.  Error:%2").arg(m_inFilePath, m_metadataWriteError));
        m_success = false;
        completeOperation();
        return;
    }

    const QString outPath = outFilePath();
    if (tempFilePath() != outPath) {
        const QFileInfo destination(outPath);
        QString error;
        const QString folder = OutputFiles::createFolderWithSafeNames(destination.path(), &error);
        // A renamed source never takes the place of another file, whatever
        // the overwrite preferences say: two sources whose tags give the
        // same name would otherwise leave one file, and nothing in the Trash.
        const QString target = folder.isEmpty() ? QString() : folder + u'/' + destination.fileName();
        const QString moved =
            target.isEmpty() ? QString() : OutputFiles::moveWithoutReplacing(m_inFilePath, target, &error);
        if (moved.isEmpty()) {
            ErrorLog::logMessage(tr(kCouldNotMoveToFolderMessage.toUtf8().constData())
                                     .arg(displayName(destination.path()), error));
            m_success = false;
        } else {
            setOutFilePath(moved);
        }
    }
    completeOperation();
}

void EncodeOperation::deletePartiallyEncodedFileIfCancelled()
{
    if (!m_cancelled) {
        return;
    }
    QProcess rm;
    rm.start(QStringLiteral("/bin/rm"), {tempFilePath()});
    rm.waitForFinished(-1);
}

void EncodeOperation::saveAlbumArtworkToFile()
{
    const AudioMetadataPtr record = metadata();
    const AlbumArtworkPtr artwork = record ? record->albumArtwork() : nullptr;
    if (!artwork) {
        return;
    }
    const QString name = NamingScheme::evaluate(stringPreference("albumArtworkFileName"), record.get(),
                                                m_settings.get(), m_inFilePath, true);
    const QString path =
        FileNameLimit::fitPath(NamingScheme::pathBelow(QFileInfo(outFilePath()).path(), name) + u'.' +
                               artworkExtension(artwork->mimeType()));
    if (artwork->writeToFile(path)) {
        releaseFromQuarantine(path);
    }
}

bool EncodeOperation::addToiTunes()
{
    return false;
}

bool EncodeOperation::addToMusic()
{
    return false;
}

void EncodeOperation::writeMetadataOnTaggingThread()
{
    if (m_delegate) {
        m_delegate->taggingThread()->runAndWait([this] { writeMetadata(); });
    } else {
        writeMetadata();
    }
}
