#include "TrueAudioDecoder.h"

#include "ChannelLayouts.h"
#include "ErrorLog.h"
#include "FFmpegAudioSource.h"
#include "NamedException.h"
#include "PackedSamples.h"

#include <QFile>
#include <algorithm>

namespace {

constexpr uint32_t kFramesPerFill = 5120;

} // namespace

TrueAudioDecoder::TrueAudioDecoder() = default;
TrueAudioDecoder::~TrueAudioDecoder() = default;

bool TrueAudioDecoder::initWithFilename(const QString& path)
{
    if (!ZTDecoder::initWithFilename(path)) {
        return false;
    }
    // Tell an unreadable file from one that is no True Audio stream.
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        ErrorLog::logMessage(QStringLiteral("tta_open_read failed to open file: %1").arg(path));
        return false;
    }
    file.close();
    OSStatus status = noErr;
    m_tta = FFmpegAudioSource::openWithDemuxer(path, "tta", status);
    if (!m_tta) {
        ErrorLog::logMessage(QStringLiteral("TTA Decoder init_get_info failed"));
        return false;
    }
    m_totalSamples = m_tta->lengthFrames();
    const AudioStreamBasicDescription format = m_tta->dataFormat();
    const uint32_t bits = m_tta->sourceBitsPerSample();
    setSignedPackedFormat(format.mSampleRate, format.mChannelsPerFrame, bits, (bits + 7) / 8);
    if (m_decodeFormat.mBytesPerFrame == 0) {
        ErrorLog::logMessage(QStringLiteral("Failed To Determine mBytesPerFrame."));
        return false;
    }
    setChannelLayout(ChannelLayouts::monoStereoLayout(format.mChannelsPerFrame));
    return true;
}

void TrueAudioDecoder::fillPCMBuffer()
{
    RingBuffer* buffer = pcmBuffer();
    const uint32_t frameBytes = m_decodeFormat.mBytesPerFrame;
    const uint32_t unit = frameBytes * kFramesPerFill;
    if (buffer->size() < (unit | 4)) {
        buffer->resize(buffer->size() + (unit | 4));
    }
    uint8_t* writeArea = buffer->exposeBufferForWriting();
    uint32_t frames = std::min(kFramesPerFill, buffer->freeSpaceAvailable() / frameBytes);
    if (frames == 0) {
        return;
    }
    const uint32_t channels = m_decodeFormat.mChannelsPerFrame;
    m_samples.resize(size_t(frames) * channels);
    m_tta->readFrames(m_samples.data(), frames);
    if (m_tta->firstDecodeError() != 0) {
        NamedException::raise(kTTAException, QStringLiteral("TTA Decoder process_stream Error"));
    }
    PackedSamples::packTopBytes(m_samples.data(), size_t(frames) * channels, frameBytes / channels,
                                writeArea);
    if (frames == 0) {
        m_isEndOfFile = true;
        return;
    }
    buffer->wroteBytes(frames * frameBytes);
}
