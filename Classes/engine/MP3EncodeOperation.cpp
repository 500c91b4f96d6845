#include "MP3EncodeOperation.h"

#include "CoreAudioTypes.h"
#include "DecoderPcmSource.h"
#include "EncoderSettings.h"
#include "ErrorLog.h"
#include "FileRewrite.h"
#include "LameConfiguration.h"
#include "LoudnessMeter.h"
#include "MP3TagWriter.h"
#include "MainThread.h"
#include "NamedException.h"
#include "Preferences.h"
#include "TrackSpanDecoder.h"
#include "UtilityFunctions.h"
#include "ZTDecoder.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <limits>
#include <new>
#include <vector>

const QString MP3EncodeOperation::kFailedToEncodeMessage =
    QStringLiteral("MP3 Encode Operation Failed To Encode File: %1.  Error:%2");
const QString MP3EncodeOperation::kDamagedSourceMessage =
    QStringLiteral("Damaged Source: %1: %2. The MP3 holds what could be decoded.");

namespace {

QString exceptionsTr(const char* text)
{
    return QCoreApplication::translate("Exceptions", text);
}

// Splitting one source over several LAME instances pays from about this
// long on. Measured on this project's 2-core machine (sonabrik-cli -j 2,
// VBR -V 2, music-like 44.1 kHz stereo FLAC, best wall time of five, split
// against --no-split): 10 s 0.16 s against 0.16 s (nothing won: start-up,
// tags and moving into place are most of it), 20 s 0.21 against 0.27
// (0.78), 30 s 0.28 against 0.36 (0.78), 45 s 0.33 against 0.52 (0.63),
// 60 s 0.47 against 0.69 (0.68), 90 s 0.64 against 0.97 (0.66). Below
// half a minute the few hundredths of a second won are within the noise of
// a shared machine; benchmarks/split-long-file.sh measures it again.
constexpr double kMinimumSplitSeconds = 30.0;
// Every chunk at least this long (a half-minute file makes at most three),
// and no more chunks than kMaximumChunks.
constexpr double kMinimumChunkSeconds = 10.0;
constexpr int64_t kMaximumChunks = 16;
// Each encoder gets up to this many chunks of at least a minute, taken one
// after another: when the machine slows one thread, the others take over its
// share instead of idling at the end, and the first chunks are joined while
// the last ones encode. A 20-minute FLAC at -j 2 then took 0.557 of the
// unsplit wall time, against 0.584 with one chunk per encoder and the join
// after all of them (benchmarks/split-long-file.sh, one run each).
constexpr int64_t kChunksPerEncoder = 4;
constexpr double kMinimumQueuedChunkSeconds = 60.0;
// The operation's pass over the whole source while the chunks encode: read
// for this long at every poll of the split encoder (about ten a second), and
// up to the longer time while the pass is behind the chunks.
constexpr std::chrono::milliseconds kPassSlice{40};
constexpr std::chrono::milliseconds kLongestPassSlice{250};

// LAME's worst case for a chunk of that many samples.
size_t mp3BufferSize(uint32_t channels, uint32_t frames)
{
    return size_t(1.25 * double(channels) * double(frames)) + 7200;
}

template <typename T> std::vector<T> allocateZeroed(size_t count, const char* failure)
{
    try {
        return std::vector<T>(count);
    } catch (const std::bad_alloc&) {
        ZT_FAIL(QString::fromLatin1(failure));
    }
}

} // namespace

MP3EncodeOperation::~MP3EncodeOperation() = default;

void MP3EncodeOperation::main()
{
    const std::shared_ptr<const EncoderSettings> format = settings();

    if (format->encoderAction() == EncoderSettings::UpdateMetadataOnlyAction) {
        if (QFileInfo(inFilePath()).suffix().toLower() != QLatin1String("mp3")) {
            ErrorLog::logMessage(
                tr("Could Not Write Metadata To: %1.  Sonabrik Only Supports Writing Metadata To MP3 Files.")
                    .arg(inFilePath()));
            setSuccess(false);
            completeOperation();
        } else {
            if (ReplayGain::mode() != ReplayGain::Off) {
                measureSource();
            }
            updateMetadataOnly();
        }
        return;
    }
    if (format->encoderAction() == EncoderSettings::SkipAction) {
        setSkipped(true);
        setSuccess(true);
        completeOperation();
        return;
    }

    setCurrentStatus(tr("Preparing To Encode %1").arg(format->outputFormatDescription()));
    if (!determineOutputPath()) {
        return;
    }
    setCurrentFrame(-1);

    try {
        encode();
    } catch (const NamedException& exception) {
        setSuccess(false);
        ErrorLog::logMessage(tr(kFailedToEncodeMessage.toUtf8().constData())
                                 .arg(QFileInfo(inFilePath()).fileName(), exception.reason()));
    } catch (const std::exception& exception) {
        setSuccess(false);
        ErrorLog::logMessage(
            tr(kFailedToEncodeMessage.toUtf8().constData())
                .arg(QFileInfo(inFilePath()).fileName(), QString::fromLocal8Bit(exception.what())));
    }
    if (!success() && m_channelsWithoutDownmix > 2) {
        ErrorLog::logMessage(
            tr("%1 has %2 channels and MP3 holds at most two: turn on \"Down-mix to stereo\" "
               "(the preference \"downmixToStereo\", or sonabrik-cli --downmix) to convert it.")
                .arg(QFileInfo(inFilePath()).fileName())
                .arg(m_channelsWithoutDownmix));
    }
    if (m_outFile) {
        // Left open by a failure: close it without looking.
        std::fclose(m_outFile);
        m_outFile = nullptr;
    }
    // Whatever stopped the encode, its half-written MP3 and decoded WAV are
    // of no use to anyone: a long run of failures must not fill /tmp.
    removeTemporaryFiles();
    completeOperation();
}

void MP3EncodeOperation::encode()
{
    const std::shared_ptr<const EncoderSettings> format = settings();
    const QString formatName = format->outputFormatDescription();

    std::unique_ptr<ZTDecoder> decoder;
    try {
        decoder = ZTDecoder::decoderWithFilename(inFilePath());
    } catch (const NamedException& exception) {
        ErrorLog::logMessage(
            tr("MP3 Encode Operation Aborting. Could Not Initialize Any Decoder For File: %1. Exception: %2")
                .arg(inFilePath(), exception.reason()));
        return;
    }
    if (!decoder) {
        ErrorLog::logMessage(
            tr("MP3 Encode Operation Aborting. Could Not Initialize Any Decoder For File: %1.")
                .arg(inFilePath()));
        return;
    }

    // The file the PCM comes from: the source, or its decoded WAV.
    QString pcmPath = inFilePath();
    if (!decoder->decodesInRealTime()) {
        // The name reserved by getTemporaryFilePath is only the stem of the
        // WAV's name: give it back at once, or every such file leaves one.
        const QString reserved = getTemporaryFilePath();
        QFile::remove(reserved);
        setDecodeFilePath(reserved + QStringLiteral(".wav"));
        decoder->setDelegate(this);
        if (decoder->decodeToFile(decodeFilePath())) {
            if (std::unique_ptr<ZTDecoder> wav = ZTDecoder::decoderWithFilename(decodeFilePath())) {
                decoder = std::move(wav);
                pcmPath = decodeFilePath();
            }
        }
    }

    if (track()) {
        decoder = std::make_unique<TrackSpanDecoder>(std::move(decoder), track()->start, track()->length);
    }

    // What LAME is given: the decoder's PCM, or its stereo down-mix when the
    // source has more channels than MP3 can hold and the user asked for it.
    const bool downmix = Preferences::shared().boolValue(QStringLiteral("downmixToStereo"));
    auto source = std::make_unique<DecoderPcmSource>(std::move(decoder), downmix);
    m_channelsWithoutDownmix = source->channelsWithoutDownmix();
    const AudioStreamBasicDescription outputFormat = source->format();

    m_gfp.reset(lame_init());
    if (!m_gfp) {
        ErrorLog::logMessage(tr("Failed To Initialize LAME Encoder"));
        return;
    }
    const bool parametersTaken = LameConfiguration::apply(m_gfp.get(), *format, int(outputFormat.mSampleRate),
                                                          int(outputFormat.mChannelsPerFrame));
    if (ReplayGain::mode() != ReplayGain::Off) {
        m_meter = std::make_shared<LoudnessMeter>(outputFormat.mChannelsPerFrame,
                                                  (unsigned long)(outputFormat.mSampleRate));
        // More channels than LAME takes: the encode fails at LAME anyway.
        if (!m_meter->valid()) {
            m_meter.reset();
        }
        source->setMeter(m_meter);
    }
    setTotalFrames(source->totalFrames());
    if (!parametersTaken || lame_init_params(m_gfp.get()) == -1) {
        ZT_FAIL(exceptionsTr("Unable to initialize the LAME encoder."));
    }

    setTempFilePath(getTemporaryFilePath());
    m_outFile = std::fopen(QFile::encodeName(tempFilePath()).constData(), "w");
    if (!m_outFile) {
        ZT_FAIL(QStringLiteral("Could Not Open The Output File"));
    }
    setCurrentStatus(tr("Encoding %1").arg(formatName));

    const auto reportProgress = [&](qint64 framesLeft) {
        setCurrentFrame(totalFrames() - framesLeft);
        setCurrentStatus(tr("Encoding %1 - %2%")
                             .arg(formatName)
                             .arg(double(float(currentFrame()) / float(totalFrames()) * 100.0f), 0, 'f', 1));
    };

    EncoderSlots::Loan loan;
    const std::vector<SplitMP3Encoder::Chunk> chunks = planSplit(*source, loan);
    bool split = chunks.size() > 1;
    int64_t framesRead = 0;
    if (split) {
        try {
            framesRead = encodeSplit(*source, pcmPath, chunks, 1 + loan.count(), reportProgress);
        } catch (const NamedException&) {
            // Parts that cannot be joined come from a source that is not what
            // it announced (one that ends early): one encoder takes whatever
            // its decoder delivers, as without splitting, from the start.
            split = false;
            loan.giveBack();
            source = restartSingle(pcmPath, downmix);
        }
    }
    if (!split) {
        framesRead = encodeSingle(*source, reportProgress);
    }
    loan.giveBack();

    if (!isCancelled() && source->decoder().damage().isDamaged()) {
        m_sourceDamaged = true;
        ErrorLog::logMessage(
            tr(kDamagedSourceMessage.toUtf8().constData())
                .arg(inFilePath(), source->decoder().damage().describe(source->decodedFormat().mSampleRate)));
    }
    if (!isCancelled()) {
        finishMeasuring();
        // The last chunks since the last report: a row's bar ends full, also
        // for files shorter than eight chunks.
        reportProgress(totalFrames() - framesRead);
        if (!split) {
            finishEncode();
            FILE* stream = m_outFile;
            m_outFile = nullptr;
            if (std::fclose(stream) != 0) {
                ZT_FAIL(QStringLiteral("Could Not Close The Output File."));
            }
            m_outFile = std::fopen(QFile::encodeName(tempFilePath()).constData(), "r+");
            if (!m_outFile) {
                ZT_FAIL(QStringLiteral("Could Not Open The Output File"));
            }
            lame_mp3_tags_fid(m_gfp.get(), m_outFile);
        }
    }

    setSuccess(true);
    if (m_outFile && !closeOutFile()) {
        const NamedException failure(kIOException, QStringLiteral("Unable to close the output file."));
        ErrorLog::logMessage(failure.reason());
        setSuccess(false);
    }

    if (!success()) {
        return;
    }
    deletePartiallyEncodedFileIfCancelled();
    const Preferences& preferences = Preferences::shared();
    if (preferences.boolValue(QStringLiteral("writeMetadata"))) {
        setCurrentStatus(tr("%1 - Writing Metadata").arg(formatName));
        writeMetadataOnTaggingThread();
        // A full disk while the tags went in: what is left is not the MP3
        // that was encoded, and must not be put in place as if it were.
        if (m_tagsCutTheAudio) {
            NamedException::raise(kIOException,
                                  QStringLiteral("Unable to write the tags to the output file."));
        }
    }
    setCurrentStatus(tr("%1 - Moving To Output Location").arg(formatName));
    moveEncodedFileToOutputLocation();
    if (preferences.boolValue(QStringLiteral("saveAlbumArtworkToFile"))) {
        saveAlbumArtworkToFile();
    }
    if (preferences.boolValue(QStringLiteral("addToiTunesLibrary"))) {
        MainThread::runAndWait([this] { addToiTunes(); });
        MainThread::runAndWait([this] { addToMusic(); });
    }
}

int64_t MP3EncodeOperation::encodeSingle(DecoderPcmSource& source,
                                         const std::function<void(qint64)>& reportProgress)
{
    int64_t framesRemaining = totalFrames();
    int64_t framesRead = 0;
    for (uint64_t chunk = 1;; ++chunk) {
        const PcmBlockSource::Block block = source.next();
        if (block.frames == 0) {
            break;
        }
        encodeBlock(block);
        framesRemaining -= int64_t(block.frames);
        framesRead += int64_t(block.frames);

        if (chunk % 8 == 0) {
            if (isCancelled()) {
                break;
            }
            reportProgress(framesRemaining);
        }
    }
    return framesRead;
}

std::vector<SplitMP3Encoder::Chunk> MP3EncodeOperation::planSplit(const DecoderPcmSource& source,
                                                                  EncoderSlots::Loan& loan)
{
    const int64_t frames = totalFrames();
    const double rate = source.format().mSampleRate;
    if (!Preferences::shared().boolValue(QStringLiteral("splitLongFiles")) || frames <= 0 || rate <= 0 ||
        double(frames) < kMinimumSplitSeconds * rate) {
        return {};
    }
    // No more chunks than the source has stretches of kMinimumChunkSeconds.
    const int64_t worthwhile =
        std::clamp<int64_t>(int64_t(double(frames) / (kMinimumChunkSeconds * rate)), 1, kMaximumChunks);
    if (worthwhile < 2) {
        return {};
    }
    loan.borrow(int(worthwhile) - 1);
    if (loan.count() == 0) {
        return {};
    }
    const int64_t encoders = 1 + loan.count();
    const int64_t perEncoder =
        std::clamp<int64_t>(int64_t(double(frames) / (double(encoders) * kMinimumQueuedChunkSeconds * rate)),
                            1, kChunksPerEncoder);
    std::vector<SplitMP3Encoder::Chunk> chunks =
        SplitMP3Encoder::plan(frames, int(rate), lame_get_out_samplerate(m_gfp.get()),
                              lame_get_framesize(m_gfp.get()), int(encoders * perEncoder));
    // Slots the plan had no chunk for go back at once.
    loan.keep(int(std::clamp<int64_t>(int64_t(chunks.size()), 1, encoders)) - 1);
    return chunks;
}

std::unique_ptr<DecoderPcmSource> MP3EncodeOperation::restartSingle(const QString& pcmPath, bool downmix)
{
    if (!m_outFile || !(m_outFile = std::freopen(nullptr, "w", m_outFile))) {
        ZT_FAIL(QStringLiteral("Could Not Open The Output File"));
    }
    std::unique_ptr<ZTDecoder> decoder = ZTDecoder::decoderWithFilename(pcmPath);
    if (!decoder) {
        ZT_FAIL(QStringLiteral("Could not open the source again."));
    }
    if (track()) {
        decoder = std::make_unique<TrackSpanDecoder>(std::move(decoder), track()->start, track()->length);
    }
    auto source = std::make_unique<DecoderPcmSource>(std::move(decoder), downmix);
    if (m_meter) {
        m_meter = std::make_shared<LoudnessMeter>(source->format().mChannelsPerFrame,
                                                  (unsigned long)(source->format().mSampleRate));
        source->setMeter(m_meter);
    }
    return source;
}

int64_t MP3EncodeOperation::encodeSplit(DecoderPcmSource& whole, const QString& pcmPath,
                                        const std::vector<SplitMP3Encoder::Chunk>& chunks, int encoders,
                                        const std::function<void(qint64)>& reportProgress)
{
    const std::shared_ptr<const EncoderSettings> format = settings();
    const AudioStreamBasicDescription pcm = whole.format();
    const bool downmix = Preferences::shared().boolValue(QStringLiteral("downmixToStereo"));
    const int64_t trackStart = track() ? track()->start : -1;
    const int64_t trackLength = track() ? track()->length : -1;

    SplitMP3Encoder encoder(
        [format, pcm](lame_global_flags* gfp) {
            // Already taken by the operation's own instance, with the same values.
            LameConfiguration::apply(gfp, *format, int(pcm.mSampleRate), int(pcm.mChannelsPerFrame));
        },
        [pcmPath, downmix, trackStart, trackLength](const SplitMP3Encoder::Chunk& chunk) {
            std::unique_ptr<ZTDecoder> decoder = DecoderPcmSource::openSpan(
                pcmPath, chunk.inputStart, chunk.inputFrames, trackStart, trackLength);
            if (!decoder) {
                ZT_FAIL(QStringLiteral("Could not open the source again for a part of it."));
            }
            return std::unique_ptr<PcmBlockSource>(
                std::make_unique<DecoderPcmSource>(std::move(decoder), downmix));
        },
        chunks, encoders);

    // The operation's own pass over the whole source, for the meter and the
    // decoder's damage report (a FLAC signature is only checked by a decoder
    // that read everything), between the encoder's polls: at least a slice
    // each time, and more while it is behind the parts, so that it ends with
    // them also where decoding is dear (DSD), but never so long at once that
    // a cancel waits. Without a meter the PCM is only decoded, not converted.
    bool passEnded = false;
    int64_t framesRead = 0;
    const auto readPass = [&](int64_t catchUpTo) {
        const auto start = std::chrono::steady_clock::now();
        for (;;) {
            const auto spent = std::chrono::steady_clock::now() - start;
            if (passEnded || spent >= kLongestPassSlice || (spent >= kPassSlice && framesRead >= catchUpTo)) {
                return;
            }
            const size_t frames = m_meter ? whole.next().frames : whole.skip();
            framesRead += int64_t(frames);
            passEnded = frames == 0;
        }
    };
    const bool encoded = encoder.encode(m_outFile, [&](int64_t framesEncoded) {
        if (isCancelled()) {
            return false;
        }
        readPass(framesEncoded);
        reportProgress(totalFrames() - std::min<int64_t>(framesEncoded, totalFrames()));
        return true;
    });
    while (encoded && !passEnded && !isCancelled()) {
        readPass(std::numeric_limits<int64_t>::max());
    }
    return framesRead;
}

void MP3EncodeOperation::encodeBlock(const PcmBlockSource::Block& block)
{
    const bool stereo = block.right16 || block.right32;
    const size_t mp3Size = mp3BufferSize(stereo ? 2 : 1, uint32_t(block.frames));
    // Grown once and then reused: the blocks of one source are all of one size.
    if (m_mp3Buffer.size() < mp3Size) {
        m_mp3Buffer = allocateZeroed<unsigned char>(mp3Size, "Unable to allocate memory.");
    }
    int written;
    if (block.left32) {
        written = lame_encode_buffer_int(m_gfp.get(), block.left32, stereo ? block.right32 : block.left32,
                                         int(block.frames), m_mp3Buffer.data(), int(mp3Size));
    } else {
        written = lame_encode_buffer(m_gfp.get(), block.left16, stereo ? block.right16 : block.left16,
                                     int(block.frames), m_mp3Buffer.data(), int(mp3Size));
    }
    if (written < 0) {
        ZT_FAIL(QStringLiteral("LAME encoding error."));
    }
    if (std::fwrite(m_mp3Buffer.data(), 1, size_t(written), m_outFile) != size_t(written)) {
        ZT_FAIL(QStringLiteral("Unable to write to the output file."));
    }
}

void MP3EncodeOperation::finishEncode()
{
    std::vector<unsigned char> mp3 = allocateZeroed<unsigned char>(7200, "Could Not Allocate LAME Buffer.");
    const int written = lame_encode_flush(m_gfp.get(), mp3.data(), int(mp3.size()));
    if (written == -1) {
        ZT_FAIL(QStringLiteral("lame_encode_flush Failed."));
    }
    if (std::fwrite(mp3.data(), 1, size_t(written), m_outFile) != size_t(written)) {
        ZT_FAIL(QStringLiteral("Could Not Write Frames To Output File."));
    }
}

bool MP3EncodeOperation::closeOutFile()
{
    FILE* stream = m_outFile;
    m_outFile = nullptr;
    return std::fclose(stream) == 0;
}

void MP3EncodeOperation::writeMetadata()
{
    const AudioMetadataPtr record = metadata();
    // The album's figures come later, once the whole album is measured.
    ReplayGain gain;
    gain.track = m_trackGain;
    if (settings()->encoderAction() == EncoderSettings::UpdateMetadataOnlyAction) {
        // The user's own file: never cut short, whatever fails.
        const QString path = tempFilePath();
        if (MP3TagWriter::writeMetadataInPlace(path, *record, settings().get(), inFilePath(), gain)) {
            return;
        }
        setMetadataWriteError(FileRewrite::replaceWithEditedCopy(
            path,
            [&](QByteArray& bytes) {
                return MP3TagWriter::writeMetadata(bytes, *record, settings().get(), inFilePath(), gain);
            },
            &MP3TagWriter::compareAudio));
        return;
    }
    const qint64 audioBefore = MP3TagWriter::audioBytes(tempFilePath());
    MP3TagWriter::writeMetadata(tempFilePath(), *record, settings().get(), inFilePath(), gain);
    m_tagsCutTheAudio = MP3TagWriter::audioBytes(tempFilePath()) != audioBefore;
}

std::shared_ptr<const LoudnessMeter> MP3EncodeOperation::loudnessMeter() const
{
    return m_measured ? m_meter : nullptr;
}

void MP3EncodeOperation::finishMeasuring()
{
    if (m_meter) {
        m_measured = true;
        m_trackGain = ReplayGain::figuresOf(*m_meter);
    }
}

void MP3EncodeOperation::measureSource()
{
    const auto cannotMeasure = [this](const QString& reason) {
        m_meter.reset();
        ErrorLog::logMessage(
            tr("Could Not Measure The Loudness Of %1: %2. Its Tags Are Written Without ReplayGain.")
                .arg(inFilePath(), reason));
    };
    setCurrentStatus(tr("Measuring Loudness"));
    try {
        std::unique_ptr<ZTDecoder> decoder = ZTDecoder::decoderWithFilename(inFilePath());
        if (!decoder) {
            cannotMeasure(tr("no decoder opens it"));
            return;
        }
        if (track()) {
            decoder = std::make_unique<TrackSpanDecoder>(std::move(decoder), track()->start, track()->length);
        }
        const AudioStreamBasicDescription format = decoder->decodeFormat();
        m_meter =
            std::make_shared<LoudnessMeter>(format.mChannelsPerFrame, (unsigned long)(format.mSampleRate));
        if (DecoderPcmSource::readBufferSize(format.mBitsPerChannel) == 0 || format.mBytesPerFrame == 0 ||
            !m_meter->valid()) {
            cannotMeasure(tr("its audio has a form the meter does not take"));
            return;
        }
        DecoderPcmSource source(std::move(decoder), false);
        source.setMeter(m_meter);
        setTotalFrames(source.totalFrames());
        qint64 framesRead = 0;
        for (uint64_t chunk = 1;; ++chunk) {
            const size_t frames = source.next().frames;
            if (frames == 0) {
                break;
            }
            framesRead += qint64(frames);
            if (chunk % 8 == 0) {
                if (isCancelled()) {
                    m_meter.reset();
                    return;
                }
                setCurrentFrame(framesRead);
            }
        }
        finishMeasuring();
    } catch (const NamedException& exception) {
        cannotMeasure(exception.reason());
    } catch (const std::exception& exception) {
        cannotMeasure(QString::fromLocal8Bit(exception.what()));
    }
}
