#include "MP3EncodeOperation.h"

#include "CoreAudioTypes.h"
#include "ErrorLog.h"
#include "FileRewrite.h"
#include "LoudnessMeter.h"
#include "MP3TagWriter.h"
#include "MainThread.h"
#include "NamedException.h"
#include "Preferences.h"
#include "TrackSpanDecoder.h"
#include "UtilityFunctions.h"
#include "ZTChannelMixer.h"
#include "ZTDecoder.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
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

// Output rates LAME is told; any other value leaves the choice to LAME.
constexpr std::array<int64_t, 9> kOutputSampleRates{8000,  11025, 12000, 16000, 22050,
                                                    24000, 32000, 44100, 48000};

struct ChannelModeRow
{
    qint32 channelMode;
    MPEG_mode mode;
    bool forceMS;
};
constexpr std::array<ChannelModeRow, 3> kChannelModes{{
    {1, STEREO, false},
    {2, JOINT_STEREO, true},
    {3, MONO, false},
}};

struct ChunkSizeRow
{
    uint32_t bitsPerChannel;
    uint32_t bytes;
};
// 24-bit shares the 8-bit size on purpose: fewer frames per chunk, not more bytes.
constexpr std::array<ChunkSizeRow, 4> kChunkSizes{{{8, 32768}, {16, 65536}, {24, 32768}, {32, 131072}}};

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

// A chunk's channel buffers and LAME's output buffer, left unfilled: every
// sample is written before LAME reads it, and only the bytes LAME reports are
// written out. Zero-filling them would clear some 75 MB per minute of 16-bit
// stereo for nothing, about 1% of the whole encode.
template <typename T> std::unique_ptr<T[]> allocateForOverwrite(size_t count, const char* failure)
{
    try {
        return std::make_unique_for_overwrite<T[]>(count);
    } catch (const std::bad_alloc&) {
        ZT_FAIL(QString::fromLatin1(failure));
    }
}

// Splits interleaved samples of bytesPerSample bytes each into one buffer
// per channel, converting each with toSample.
template <typename Sample, typename Convert>
void deinterleave(const uint8_t* data, uint32_t channels, size_t frames,
                  std::vector<std::unique_ptr<Sample[]>>& out, size_t bytesPerSample, Convert toSample)
{
    for (size_t i = 0; i < frames; ++i) {
        for (uint32_t c = 0; c < channels; ++c) {
            out[c][i] = toSample(data + (i * channels + c) * bytesPerSample);
        }
    }
}

} // namespace

MP3EncodeOperation::~MP3EncodeOperation() = default;

uint32_t MP3EncodeOperation::chunkBufferSize(uint32_t bitsPerChannel)
{
    for (const ChunkSizeRow& row : kChunkSizes) {
        if (row.bitsPerChannel == bitsPerChannel) {
            return row.bytes;
        }
    }
    return 0;
}

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
            }
        }
    }

    if (track()) {
        decoder = std::make_unique<TrackSpanDecoder>(std::move(decoder), track()->start, track()->length);
    }

    m_gfp.reset(lame_init());
    if (!m_gfp) {
        ErrorLog::logMessage(tr("Failed To Initialize LAME Encoder"));
        return;
    }

    // What LAME is given: the decoder's PCM, or its stereo down-mix when the
    // source has more channels than MP3 can hold and the user asked for it.
    const AudioStreamBasicDescription decodedFormat = decoder->decodeFormat();
    AudioStreamBasicDescription outputFormat = decodedFormat;
    std::unique_ptr<ZTChannelMixer> mixer;
    if (decodedFormat.mChannelsPerFrame > 2) {
        if (Preferences::shared().boolValue(QStringLiteral("downmixToStereo"))) {
            outputFormat.mChannelsPerFrame = 2;
            outputFormat.mBytesPerFrame = decodedFormat.mBytesPerFrame / decodedFormat.mChannelsPerFrame * 2;
            outputFormat.mBytesPerPacket = outputFormat.mBytesPerFrame;
            const AudioChannelLayout sourceLayout =
                decoder->channelLayout() ? *decoder->channelLayout()
                                         : AudioChannelLayout::withTag(kAudioChannelLayoutTag_Unknown);
            mixer = ZTChannelMixer::create(decodedFormat, outputFormat, sourceLayout,
                                           AudioChannelLayout::withTag(kAudioChannelLayoutTag_Stereo));
            if (!mixer) {
                ZT_FAIL(QStringLiteral("Unable to down-mix %1 channels to stereo.")
                            .arg(decodedFormat.mChannelsPerFrame));
            }
        } else {
            m_channelsWithoutDownmix = decodedFormat.mChannelsPerFrame;
        }
    }
    configureLame(outputFormat.mSampleRate, outputFormat.mChannelsPerFrame);
    if (ReplayGain::mode() != ReplayGain::Off) {
        m_meter = std::make_shared<LoudnessMeter>(outputFormat.mChannelsPerFrame,
                                                  (unsigned long)(outputFormat.mSampleRate));
        // More channels than LAME takes: the encode fails at LAME anyway.
        if (!m_meter->valid()) {
            m_meter.reset();
        }
    }

    m_sourceBitsPerChannel = outputFormat.mBitsPerChannel;
    setTotalFrames(decoder->totalFrames());
    int64_t framesRemaining = totalFrames();

    const uint32_t bufferSize = chunkBufferSize(m_sourceBitsPerChannel);
    if (bufferSize == 0) {
        NamedException::raise(
            kIllegalInputException,
            QStringLiteral("Sample Size Of %1 bit Not Supported!  Lame Supports 8, 16, 24, and 32 "
                           "Bit Sample Sizes.  Aborting Operation")
                .arg(m_sourceBitsPerChannel));
    }
    std::vector<uint8_t> buffer = allocateZeroed<uint8_t>(bufferSize, "Unable to allocate Buffer memory.");
    // The decoder's frames before the down-mix; a stereo mix of them is never
    // larger, so it goes back into buffer.
    std::vector<uint8_t> decodedBuffer;
    if (mixer) {
        decodedBuffer = allocateZeroed<uint8_t>(bufferSize, "Unable to allocate Buffer memory.");
    }

    // LAME refuses more than two channels already when told the count, and
    // would then go on with its default of two: a refusal of any of the three
    // is a refusal of the parameters.
    const bool channelsTaken = lame_set_num_channels(m_gfp.get(), int(outputFormat.mChannelsPerFrame)) >= 0;
    const bool rateTaken = lame_set_in_samplerate(m_gfp.get(), int(outputFormat.mSampleRate)) >= 0;
    if (!channelsTaken || !rateTaken || lame_init_params(m_gfp.get()) == -1) {
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
    AudioBufferList bufferList;
    bufferList.mNumberBuffers = 1;
    bufferList.mBuffers[0].mData = buffer.data();
    AudioBufferList decodedList;
    decodedList.mNumberBuffers = 1;
    decodedList.mBuffers[0].mData = mixer ? decodedBuffer.data() : buffer.data();
    for (uint64_t chunk = 1;; ++chunk) {
        if (decodedFormat.mBytesPerFrame == 0) {
            ZT_FAIL(QStringLiteral("Invalid Audio Input (0 Bytes Per Frame)"));
        }
        uint32_t frames = 0;
        // A read of nothing before the end is not counted: read again, with
        // the whole buffer offered again (a read sets the size it filled).
        do {
            decodedList.mBuffers[0].mNumberChannels = decodedFormat.mChannelsPerFrame;
            decodedList.mBuffers[0].mDataByteSize = bufferSize;
            frames = decoder->readAudio(&decodedList, bufferSize / decodedFormat.mBytesPerFrame);
            if (frames == 0 && decoder->isEndOfFile()) {
                break;
            }
        } while (frames == 0);
        if (frames == 0) {
            break;
        }
        if (mixer) {
            bufferList.mBuffers[0].mDataByteSize = bufferSize;
            const OSStatus mixed = mixer->mixFrom(&decodedList, &bufferList, frames);
            if (mixed != noErr) {
                ZT_FAIL(QStringLiteral("Unable to down-mix to stereo: error %1").arg(mixed));
            }
        } else {
            bufferList.mBuffers[0] = decodedList.mBuffers[0];
        }
        encodeChunk(&bufferList, frames);
        framesRemaining -= frames;

        if (chunk % 8 == 0) {
            if (isCancelled()) {
                break;
            }
            reportProgress(framesRemaining);
        }
    }

    if (!isCancelled() && decoder->damage().isDamaged()) {
        m_sourceDamaged = true;
        ErrorLog::logMessage(tr(kDamagedSourceMessage.toUtf8().constData())
                                 .arg(inFilePath(), decoder->damage().describe(decodedFormat.mSampleRate)));
    }
    if (!isCancelled()) {
        finishMeasuring();
        // The last chunks since the last report: a row's bar ends full, also
        // for files shorter than eight chunks.
        reportProgress(framesRemaining);
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

    setSuccess(true);
    if (m_outFile && !closeOutFile()) {
        const NamedException failure(kIOException, QStringLiteral("Unable to close the output file."));
        ErrorLog::logMessage(failure.reason());
        setSuccess(false);
    }
    buffer = {};

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

void MP3EncodeOperation::configureLame(double inputSampleRate, uint32_t channels)
{
    lame_global_flags* gfp = m_gfp.get();
    const EncoderSettings& format = *settings();

    lame_set_bWriteVbrTag(gfp, 1);

    MPEG_mode mode = NOT_SET;
    bool forceMS = false;
    for (const ChannelModeRow& row : kChannelModes) {
        if (row.channelMode == format.channelMode()) {
            mode = row.mode;
            forceMS = row.forceMS;
        }
    }
    lame_set_mode(gfp, mode);
    if (forceMS) {
        lame_set_force_ms(gfp, 1);
    }

    if (std::find(kOutputSampleRates.begin(), kOutputSampleRates.end(), format.sampleRate()) !=
        kOutputSampleRates.end()) {
        lame_set_out_samplerate(gfp, int(format.sampleRate()));
    }

    lame_set_quality(gfp, int(10 - format.quality()));

    switch (format.bitrateMethod()) {
    case EncoderSettings::ABR:
        lame_set_VBR(gfp, vbr_abr);
        lame_set_VBR_mean_bitrate_kbps(gfp, int(format.bitrate()));
        break;
    case EncoderSettings::VBR:
        lame_set_VBR(gfp, vbr_mtrh);
        lame_set_VBR_q(gfp, int(10 - format.vbrQuality()));
        break;
    default:
        lame_set_brate(gfp, int(format.bitrate()));
        lame_set_VBR(gfp, vbr_off);
        break;
    }

    lame_set_findReplayGain(gfp, 0);
}

void MP3EncodeOperation::splitChannels(const AudioBufferList* bufferList, uint32_t frameCount,
                                       std::vector<std::unique_ptr<int16_t[]>>& narrow,
                                       std::vector<std::unique_ptr<int32_t[]>>& wideChannels)
{
    const uint32_t channels = bufferList->mBuffers[0].mNumberChannels;
    const size_t samples = size_t(frameCount);
    const bool wide = m_sourceBitsPerChannel == 24 || m_sourceBitsPerChannel == 32;
    for (uint32_t c = 0; c < channels; ++c) {
        if (wide) {
            wideChannels.push_back(allocateForOverwrite<int32_t>(samples, "Unable to allocate memory."));
        } else {
            narrow.push_back(allocateForOverwrite<int16_t>(samples, "Unable to allocate memory."));
        }
    }

    const uint8_t* data = static_cast<const uint8_t*>(bufferList->mBuffers[0].mData);
    switch (m_sourceBitsPerChannel) {
    case 8:
        // The byte in both halves, with no sign or offset change: how 8-bit
        // sources have always been widened.
        deinterleave(data, channels, samples, narrow, 1, [](const uint8_t* p) {
            const uint16_t b = *p;
            return int16_t(uint16_t((b << 8) | b));
        });
        break;
    case 16:
        deinterleave(data, channels, samples, narrow, 2, [](const uint8_t* p) {
            int16_t value;
            std::memcpy(&value, p, 2);
            return value;
        });
        break;
    case 24:
        deinterleave(data, channels, samples, wideChannels, 3, [](const uint8_t* p) {
            return int32_t((uint32_t(p[0]) << 8) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 24));
        });
        break;
    case 32:
        deinterleave(data, channels, samples, wideChannels, 4, [](const uint8_t* p) {
            int32_t value;
            std::memcpy(&value, p, 4);
            return value;
        });
        break;
    default:
        NamedException::raise(kIllegalInputException, QStringLiteral("Sample size not supported"));
    }
    if (m_meter) {
        // Measured as LAME gets it: what the listener hears is LAME's
        // rendering of exactly these samples.
        if (!wideChannels.empty()) {
            m_meter->add(wideChannels[0].get(), channels > 1 ? wideChannels[1].get() : nullptr, samples);
        } else if (!narrow.empty()) {
            m_meter->add(narrow[0].get(), channels > 1 ? narrow[1].get() : nullptr, samples);
        }
    }
}

void MP3EncodeOperation::encodeChunk(const AudioBufferList* bufferList, uint32_t frameCount)
{
    const uint32_t channels = bufferList->mBuffers[0].mNumberChannels;
    const size_t mp3Size = mp3BufferSize(channels, frameCount);
    const std::unique_ptr<unsigned char[]> mp3 =
        allocateForOverwrite<unsigned char>(mp3Size, "Unable to allocate memory.");

    std::vector<std::unique_ptr<int16_t[]>> narrow;
    std::vector<std::unique_ptr<int32_t[]>> wideChannels;
    splitChannels(bufferList, frameCount, narrow, wideChannels);

    int written;
    if (!wideChannels.empty()) {
        const int* left = wideChannels[0].get();
        const int* right = channels > 1 ? wideChannels[1].get() : left;
        written = lame_encode_buffer_int(m_gfp.get(), left, right, int(frameCount), mp3.get(), int(mp3Size));
    } else {
        const short* left = narrow[0].get();
        const short* right = channels > 1 ? narrow[1].get() : left;
        written = lame_encode_buffer(m_gfp.get(), left, right, int(frameCount), mp3.get(), int(mp3Size));
    }
    if (written < 0) {
        ZT_FAIL(QStringLiteral("LAME encoding error."));
    }
    if (std::fwrite(mp3.get(), 1, size_t(written), m_outFile) != size_t(written)) {
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
        m_sourceBitsPerChannel = format.mBitsPerChannel;
        const uint32_t bufferSize = chunkBufferSize(m_sourceBitsPerChannel);
        m_meter =
            std::make_shared<LoudnessMeter>(format.mChannelsPerFrame, (unsigned long)(format.mSampleRate));
        if (bufferSize == 0 || format.mBytesPerFrame == 0 || !m_meter->valid()) {
            cannotMeasure(tr("its audio has a form the meter does not take"));
            return;
        }
        setTotalFrames(decoder->totalFrames());
        std::vector<uint8_t> buffer =
            allocateZeroed<uint8_t>(bufferSize, "Unable to allocate Buffer memory.");
        AudioBufferList bufferList;
        bufferList.mNumberBuffers = 1;
        bufferList.mBuffers[0].mData = buffer.data();
        qint64 framesRead = 0;
        for (uint64_t chunk = 1;; ++chunk) {
            bufferList.mBuffers[0].mNumberChannels = format.mChannelsPerFrame;
            bufferList.mBuffers[0].mDataByteSize = bufferSize;
            const uint32_t frames = decoder->readAudio(&bufferList, bufferSize / format.mBytesPerFrame);
            if (frames == 0) {
                if (decoder->isEndOfFile()) {
                    break;
                }
                continue;
            }
            std::vector<std::unique_ptr<int16_t[]>> narrow;
            std::vector<std::unique_ptr<int32_t[]>> wide;
            splitChannels(&bufferList, frames, narrow, wide);
            framesRead += frames;
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
