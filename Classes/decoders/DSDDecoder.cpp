#include "DSDDecoder.h"

#include "ChannelLayouts.h"
#include "ErrorLog.h"
#include "NamedException.h"
#include "Preferences.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <mutex>

namespace {

// Serialises creating and freeing the filters of every decoder in the
// process: several files are converted at once on worker threads.
std::mutex& filterLock()
{
    static std::mutex lock;
    return lock;
}

// The user's gain, in dB. DSD is mastered well below the modulator's full
// scale; up to 6 dB lifts it towards PCM levels, and the decoder never
// attenuates. Peaks beyond full scale are clipped.
constexpr double kMinGainDB = 0.0;
constexpr double kMaxGainDB = 6.0;

QString fourCharText(OSStatus status)
{
    const uint32_t code = uint32_t(status);
    QString text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        text += QChar(char((code >> shift) & 0xFF));
    }
    return text;
}

} // namespace

DSDDecoder::~DSDDecoder()
{
    freeDSDProc();
}

bool DSDDecoder::initWithFilename(const QString& path)
{
    if (!ZTDecoder::initWithFilename(path)) {
        return false;
    }

    // The preference is read but does not change this decoder's output rate.
    (void)Preferences::shared().integerValue(QStringLiteral("dsd_decimation"));
    m_decimation = 32;

    const double storedGainDB = Preferences::shared().doubleValue(QStringLiteral("dsd_gain"));
    const double gainDB =
        std::isnan(storedGainDB) ? kMinGainDB : std::clamp(storedGainDB, kMinGainDB, kMaxGainDB);
    m_gain = float(std::pow(10.0, gainDB / 20.0));

    KLXDSDFile::Error error;
    m_file = KLXDSDFile::initWithFilename(path, int32_t(m_decimation), &error);
    if (!m_file) {
        ErrorLog::logMessage(error.localizedDescription);
        return false;
    }

    const uint32_t channels = m_file->channels();
    m_dsdBuffer.assign(m_file->blockSize(), 0);
    m_dsd2pcmBuffer.assign(m_file->blockSize(), 0.0f);
    m_residueBuffer.assign(m_file->blockSize(), 0.0f);

    {
        std::lock_guard lock(filterLock());
        for (uint32_t channel = 0; channel < channels; ++channel) {
            m_dsdProc.push_back(std::make_unique<DSDFilter>(m_decimation, m_file->dsdFormat() == 1));
        }
    }

    const double sampleRate = double(m_file->dsdSampleRate() / m_decimation);
    setSignedPackedFormat(sampleRate, channels, 24, 3);

    AudioStreamBasicDescription floatFormat;
    floatFormat.mSampleRate = sampleRate;
    floatFormat.mFormatID = kAudioFormatLinearPCM;
    floatFormat.mFormatFlags = kAudioFormatFlagIsFloat;
    floatFormat.mBytesPerPacket = 4 * channels;
    floatFormat.mFramesPerPacket = 1;
    floatFormat.mBytesPerFrame = 4 * channels;
    floatFormat.mChannelsPerFrame = channels;
    floatFormat.mBitsPerChannel = 32;
    m_audioConverter = FloatToInt24Converter::create(floatFormat, m_decodeFormat);
    if (!m_audioConverter) {
        ErrorLog::logMessage(QStringLiteral("DSDDecoder Unable To Create Audio Converter: %1").arg(path));
        freeDSDProc();
        m_file.reset();
        return false;
    }

    setChannelLayout(ChannelLayouts::dsdLayout(channels));
    m_residueSampleCount = 0;
    m_currentBlock = 0;
    return true;
}

void DSDDecoder::freeDSDProc()
{
    std::lock_guard lock(filterLock());
    m_dsdProc.clear();
}

int64_t DSDDecoder::totalFrames()
{
    return m_file ? m_file->totalPCMSamples() : -1;
}

OSStatus DSDDecoder::convertSamplesInBuffer(float* buffer, uint32_t frames, RingBuffer* ring)
{
    const uint32_t freeSpace = ring->freeSpaceAvailable();
    uint8_t* writeArea = ring->exposeBufferForWriting();

    // The whole buffer is scaled and clipped, not only the frames converted.
    if (m_gain != 1.0f) {
        const float gain = m_gain;
        const size_t count = m_file->blockSize();
        for (size_t i = 0; i < count; ++i) {
            buffer[i] = std::clamp(buffer[i] * gain, -1.0f, 1.0f);
        }
    }

    uint32_t converted = 0;
    const OSStatus status = m_audioConverter->convert(buffer, frames, writeArea, freeSpace, &converted);
    if (status == noErr) {
        ring->wroteBytes(m_decodeFormat.mBytesPerFrame * converted);
    }
    return status;
}

void DSDDecoder::convertOrFail(float* buffer, uint32_t frames)
{
    const OSStatus status = convertSamplesInBuffer(buffer, frames, pcmBuffer());
    ZT_ASSERT(
        status == noErr,
        QStringLiteral("DSDDecoder Failed To Convert Samples With Error: %1").arg(fourCharText(status)));
}

void DSDDecoder::convertPartOfResidue(uint32_t want)
{
    const size_t channels = m_file->channels();
    convertOrFail(m_residueBuffer.data(), want);
    const size_t rest = size_t(m_residueSampleCount - want);
    std::memmove(m_residueBuffer.data(), m_residueBuffer.data() + want * channels,
                 rest * channels * sizeof(float));
    m_residueSampleCount -= want;
}

void DSDDecoder::fillPCMBuffer()
{
    RingBuffer* ring = pcmBuffer();
    const uint32_t channels = m_file->channels();
    uint32_t want = m_file->PCMSamplesPerBlock();

    const uint32_t need = m_file->PCMSamplesPerBlock() * m_decodeFormat.mBytesPerFrame;
    if (ring->size() < need) {
        ring->resize(need);
    }
    if (ring->freeSpaceAvailable() < need) {
        return;
    }

    if (m_currentBlock >= m_file->totalBlocks()) {
        if (m_residueSampleCount == 0) {
            m_isEndOfFile = true;
        } else if (m_residueSampleCount <= want) {
            convertOrFail(m_residueBuffer.data(), uint32_t(m_residueSampleCount));
            m_residueSampleCount = 0;
        } else {
            convertPartOfResidue(want);
        }
        return;
    }

    if (m_residueSampleCount > 0) {
        if (m_residueSampleCount > want) {
            convertPartOfResidue(want);
            return;
        }
        convertOrFail(m_residueBuffer.data(), uint32_t(m_residueSampleCount));
        want -= uint32_t(m_residueSampleCount);
        m_residueSampleCount = 0;
        if (want == 0) {
            return;
        }
    }

    const bool dsf = m_file->dsdFormat() == 1;
    while (m_currentBlock < m_file->totalBlocks()) {
        // A short read at the end of a cut file leaves the previous block's
        // bytes behind the new ones; they are filtered like the rest.
        m_file->read(m_dsdBuffer.data(), 1, m_dsdBuffer.size());
        ++m_currentBlock;
        const uint32_t n = m_currentBlock == m_file->totalBlocks() ? m_file->lastBlockPCMSampleCount()
                                                                   : m_file->PCMSamplesPerBlock();

        for (uint32_t channel = 0; channel < channels; ++channel) {
            // DSF keeps each channel's bytes together, DFF interleaves them.
            const uint8_t* source = dsf ? m_dsdBuffer.data() + size_t(m_file->DSDStride()) * channel
                                        : m_dsdBuffer.data() + channel;
            const ptrdiff_t sourceStride = dsf ? 1 : ptrdiff_t(channels);
            m_dsdProc[channel]->translate(n, source, sourceStride, m_dsd2pcmBuffer.data() + channel,
                                          ptrdiff_t(channels));
        }

        if (want < n) {
            convertOrFail(m_dsd2pcmBuffer.data(), want);
            std::memcpy(m_residueBuffer.data(), m_dsd2pcmBuffer.data() + size_t(want) * channels,
                        size_t(n - want) * channels * sizeof(float));
            m_residueSampleCount = n - want;
            return;
        }
        convertOrFail(m_dsd2pcmBuffer.data(), n);
        if (want == n) {
            return;
        }
        want -= n;
    }
}
