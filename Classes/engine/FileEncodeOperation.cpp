#include "FileEncodeOperation.h"

#include "AudioFileReader.h"
#include "EncodeQueue.h"
#include "EncoderSettings.h"
#include "FileEncodeOperationDelegate.h"
#include "MP3EncodeOperation.h"
#include "MainThread.h"
#include "Preferences.h"
#include "TaggingThread.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMetaObject>
#include <QStandardPaths>
#include <algorithm>
#include <array>

namespace {

// Types the platform's audio file services open: a source of one of these
// is only skipped when its data format is the output's own.
constexpr std::array<const char*, 23> kPlatformAudioExtensions{
    "aif", "aiff", "aifc", "wav",  "wave", "m4a", "m4b", "m4r", "mp4", "mp2", "aac", "aacp",
    "sd2", "3ga",  "3gp",  "3gpp", "3gs",  "3g2", "caf", "snd", "au",  "amr", "sdir"};

bool isPlatformAudioExtension(const QString& extension)
{
    return std::any_of(kPlatformAudioExtensions.begin(), kPlatformAudioExtensions.end(),
                       [&](const char* known) { return extension == QLatin1String(known); });
}

QString fileName(const QString& path)
{
    return QFileInfo(path).fileName();
}

QString damagedStatus(const QString& name)
{
    return QCoreApplication::translate("FileEncodeOperation", "%1 - Converted from a damaged source")
        .arg(name);
}

} // namespace

FileEncodeOperation::FileEncodeOperation(const QString& fullPath, const QString& topLevelPath)
    : m_inFilePath(fullPath), m_topLevelPath(topLevelPath), m_queue(std::make_unique<EncodeQueue>()),
      m_currentStatus(fileName(fullPath))
{
}

FileEncodeOperation::FileEncodeOperation(const QString& fullPath, const QString& topLevelPath,
                                         ImageTrack track)
    : m_inFilePath(fullPath), m_topLevelPath(topLevelPath), m_track(std::move(track)),
      m_queue(std::make_unique<EncodeQueue>()), m_currentStatus(m_track->displayName(fullPath))
{
}

QString FileEncodeOperation::displayName() const
{
    const QString path = inFilePath();
    return m_track ? m_track->displayName(path) : fileName(path);
}

FileEncodeOperation::~FileEncodeOperation()
{
    // The children have finished (a row is only dropped when it is not
    // running); their destructors join what is left of their threads.
    m_queue.reset();
    qDeleteAll(m_children);
}

QString FileEncodeOperation::inFilePath() const
{
    std::lock_guard lock(m_lock);
    return m_inFilePath;
}

QString FileEncodeOperation::currentStatus() const
{
    std::lock_guard lock(m_lock);
    return m_currentStatus;
}

void FileEncodeOperation::setCurrentStatus(const QString& status)
{
    {
        std::lock_guard lock(m_lock);
        m_currentStatus = status;
    }
    Q_EMIT currentStatusChanged();
}

AudioMetadataPtr FileEncodeOperation::metadataIfRead() const
{
    std::lock_guard lock(m_lock);
    return m_metadata;
}

AudioMetadataPtr FileEncodeOperation::metadata()
{
    // A second caller waits for the first read instead of reading again.
    std::lock_guard readLock(m_metadataReadLock);
    {
        std::lock_guard lock(m_lock);
        if (m_metadata) {
            return m_metadata;
        }
    }
    AudioMetadataPtr record = readMetadata();
    {
        std::lock_guard lock(m_lock);
        m_metadata = record;
    }
    Q_EMIT metadataChanged();
    return record;
}

AudioMetadataPtr FileEncodeOperation::readMetadata() const
{
    AudioMetadataPtr record = AudioMetadata::metadataFromFile(inFilePath());
    if (m_track) {
        m_track->applyTo(*record);
    }
    return record;
}

void FileEncodeOperation::setMetadata(AudioMetadataPtr metadata)
{
    {
        std::lock_guard lock(m_lock);
        m_metadata = std::move(metadata);
    }
    Q_EMIT metadataChanged();
}

void FileEncodeOperation::setPercentCompleteNumber(float value)
{
    if (value >= 0) {
        m_progressUnknown = false;
    }
    m_percentComplete = value;
    Q_EMIT percentCompleteChanged();
}

void FileEncodeOperation::start()
{
    if (m_cancelled) {
        m_success = true;
        m_finished = true;
        Q_EMIT isFinishedChanged();
        return;
    }
    if (m_sourceDamaged.exchange(false)) {
        setCurrentStatus(displayName());
    }
    m_executing = true;
    Q_EMIT isExecutingChanged();
    main();
}

void FileEncodeOperation::cancel()
{
    m_cancelled = true;
    m_queue->cancelAllOperations();
}

void FileEncodeOperation::resetOperation()
{
    m_queue->cancelAllOperations();
    releaseChildren();
    m_successfulEncodes = 0;
    m_failedEncodes = 0;
    m_skippedEncodes = 0;
    m_damagedEncodes = 0;
    m_percentComplete = 0;
    m_progressUnknown = false;
    setCurrentStatus(m_sourceDamaged ? damagedStatus(displayName()) : displayName());
    m_success = true;
    m_skipped = false;
    m_cancelled = false;
    m_finished = false;
    m_executing = false;
    m_reEncodeToSamefile = false;
    Q_EMIT percentCompleteChanged();
}

void FileEncodeOperation::releaseChildren()
{
    // Reset may run inside a child's own finish notice: the children are
    // destroyed from the event loop, after their threads have let go.
    for (EncodeOperation* child : std::as_const(m_children)) {
        disconnect(child, nullptr, this, nullptr);
        child->deleteLater();
    }
    m_children.clear();
    m_operations.clear();
}

bool FileEncodeOperation::shouldSkip(const EncoderSettings& settings) const
{
    if (settings.encoderAction() != EncoderSettings::UpdateMetadataOnlyAction && !settings.enabled()) {
        return true;
    }
    if (!Preferences::shared().boolValue(QStringLiteral("skipFilesOfSameType")) ||
        settings.encoderAction() == EncoderSettings::UpdateMetadataOnlyAction) {
        return false;
    }
    const QString source = inFilePath();
    const QString extension = QFileInfo(source).suffix().toLower();
    if (extension != settings.extension().toLower()) {
        return false;
    }
    if (!isPlatformAudioExtension(extension)) {
        return true;
    }
    OSStatus status = noErr;
    const std::unique_ptr<AudioFileReader> reader = AudioFileReader::open(source, status);
    if (!reader) {
        return true;
    }
    AudioStreamBasicDescription format{};
    if (reader->getFileDataFormat(format) != noErr) {
        return true;
    }
    return format.mFormatID == settings.formatID();
}

void FileEncodeOperation::main()
{
    int created = 0;
    const QList<std::shared_ptr<EncoderSettings>> formats =
        m_delegate ? m_delegate->encoderSettings() : QList<std::shared_ptr<EncoderSettings>>();
    for (const std::shared_ptr<EncoderSettings>& settings : formats) {
        if (shouldSkip(*settings)) {
            continue;
        }
        auto* child = new MP3EncodeOperation(inFilePath(), m_topLevelPath);
        child->setSettings(settings);
        child->setTrack(m_track);
        child->setDelegate(m_delegate);

        // Tags are read on the tagging thread, like every tag access of a run;
        // the record comes back through the row's lock, not this stack.
        if (m_delegate) {
            m_delegate->taggingThread()->runAndWait([this] { metadata(); });
        }
        child->setMetadata(metadata());

        observe(child);
        m_children.append(child);
        m_operations.append(child);
        m_queue->addOperation(child);
        ++created;
        if (settings->encoderAction() == EncoderSettings::UpdateMetadataOnlyAction) {
            break;
        }
    }
    if (created == 0) {
        QMetaObject::invokeMethod(
            this, [this] { completeOperation(); }, Qt::QueuedConnection);
    }
}

void FileEncodeOperation::observe(EncodeOperation* child)
{
    // The children notify from their own threads; every change of this row
    // is made on the main thread while the child waits.
    connect(
        child, &EncodeOperation::isFinishedChanged, this,
        [this, child] {
            if (child->isFinished()) {
                MainThread::runAndWait([this, child] { childFinished(child); });
            }
        },
        Qt::DirectConnection);
    connect(
        child, &EncodeOperation::waitingUserInputChanged, this,
        [this, child] {
            if (child->waitingUserInput() && m_delegate) {
                MainThread::runAndWait([this, child] { m_delegate->waitingUserInputDidChange(child); });
            }
        },
        Qt::DirectConnection);
    connect(
        child, &EncodeOperation::currentFrameChanged, this,
        [this, child] { MainThread::runAndWait([this, child] { childProgressed(child); }); },
        Qt::DirectConnection);
    connect(
        child, &EncodeOperation::currentStatusChanged, this,
        [this, child] { MainThread::runAndWait([this, child] { childStatusChanged(child); }); },
        Qt::DirectConnection);
}

void FileEncodeOperation::childProgressed(EncodeOperation* child)
{
    if (!m_operations.contains(child)) {
        return;
    }
    const float done = float(m_successfulEncodes + m_failedEncodes);
    const float parts = float(m_operations.size()) + done;
    const qint64 total = child->totalFrames();
    // A child at -1 (or of unknown length) gives a negative share: the row's
    // progress then stays unknown.
    const float share = total > 0 ? float(child->currentFrame()) / float(total) : -1.0f;
    setPercentCompleteNumber(done / parts + share / parts);
}

void FileEncodeOperation::childStatusChanged(EncodeOperation* child)
{
    if (m_operations.contains(child)) {
        setCurrentStatus(QStringLiteral("%1 - %2").arg(displayName(), child->currentStatus()));
    }
}

void FileEncodeOperation::childFinished(EncodeOperation* child)
{
    if (!m_operations.contains(child)) {
        return;
    }
    if (child->success()) {
        ++m_successfulEncodes;
        if (child->skipped()) {
            ++m_skippedEncodes;
        }
        if (child->sourceDamaged()) {
            ++m_damagedEncodes;
            m_sourceDamaged = true;
        }
    } else {
        m_success = false;
        ++m_failedEncodes;
    }
    if (child->inFilePath() == child->outFilePath()) {
        m_reEncodeToSamefile = true;
    }
    m_skipped = child->skipped();
    const bool metadataOnlyMP3 =
        child->settings() &&
        child->settings()->encoderAction() == EncoderSettings::UpdateMetadataOnlyAction &&
        QFileInfo(child->inFilePath()).suffix().toLower() == QLatin1String("mp3");
    disconnect(child, nullptr, this, nullptr);
    m_operations.removeAll(child);
    if (!m_operations.isEmpty()) {
        return;
    }

    // The same file may be queued twice: the other row still reads it. A
    // damaged source is kept: the output lacks what could not be decoded.
    if (Preferences::shared().boolValue(QStringLiteral("deleteOriginal")) && m_success &&
        m_damagedEncodes == 0 && !m_reEncodeToSamefile && !m_cancelled && !m_skipped && !m_track &&
        !(m_delegate && m_delegate->otherRowReadsSource(this, inFilePath()))) {
        // The Trash lives in the data folder, which a fresh account may lack;
        // without it the move would pick a trash of its own elsewhere.
        QDir().mkpath(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation));
        QFile::moveToTrash(inFilePath());
    }
    // A skipped child's output path names the file that was in the way,
    // not this source under a new name.
    if (metadataOnlyMP3 && !child->skipped()) {
        std::lock_guard lock(m_lock);
        m_inFilePath = child->outFilePath();
    }
    if (m_sourceDamaged) {
        setCurrentStatus(damagedStatus(displayName()));
    }
    completeOperation();
}

void FileEncodeOperation::completeOperation()
{
    MainThread::runAndWait([this] {
        m_executing = false;
        m_finished = true;
        Q_EMIT isExecutingChanged();
        Q_EMIT isFinishedChanged();
    });
}
