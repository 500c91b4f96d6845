#include "MonkeysAudioDecoder.h"

#include "ChannelLayouts.h"
#include "ErrorLog.h"
#include "FFmpegAudioSource.h"
#include "NamedException.h"
#include "PackedSamples.h"

MonkeysAudioDecoder::MonkeysAudioDecoder() = default;
MonkeysAudioDecoder::~MonkeysAudioDecoder() = default;

bool MonkeysAudioDecoder::initWithFilename(const QString& path)
{
    if (!ZTDecoder::initWithFilename(path)) {
        return false;
    }
    OSStatus status = noErr;
    m_decompressor = FFmpegAudioSource::openWithDemuxer(path, "ape", status);
    if (!m_decompressor) {
        ZT_FAIL(QStringLiteral("Unable to open the input file."));
    }
    const AudioStreamBasicDescription format = m_decompressor->dataFormat();
    const uint32_t bits = m_decompressor->sourceBitsPerSample();
    setSignedPackedFormat(format.mSampleRate, format.mChannelsPerFrame, bits, bits / 8);
    if (m_decodeFormat.mBytesPerFrame == 0) {
        ErrorLog::logMessage(QStringLiteral("Failed To Determine mBytesPerFrame."));
        return false;
    }
    setChannelLayout(ChannelLayouts::monoStereoLayout(format.mChannelsPerFrame));
    return true;
}

int64_t MonkeysAudioDecoder::totalFrames()
{
    return m_decompressor->lengthFrames();
}

void MonkeysAudioDecoder::fillPCMBuffer()
{
    RingBuffer* buffer = pcmBuffer();
    const uint32_t blockAlign = m_decodeFormat.mBytesPerFrame;
    ZT_ASSERT(blockAlign != 0, QStringLiteral("Unable to determine the Monkey's Audio block size."));
    uint8_t* writeArea = buffer->exposeBufferForWriting();
    uint32_t blocks = buffer->freeSpaceAvailable() / blockAlign;
    if (blocks == 0) {
        // No room for a block now: that is no end of the file.
        return;
    }
    const uint32_t channels = m_decodeFormat.mChannelsPerFrame;
    m_samples.resize(size_t(blocks) * channels);
    m_decompressor->readFrames(m_samples.data(), blocks);
    if (const int error = m_decompressor->firstDecodeError()) {
        ZT_FAIL(QStringLiteral("Error Decoding Monkey's Audio Frame: %1. Error %2")
                    .arg(qint64(currentFrame()))
                    .arg(error));
    }
    PackedSamples::packTopBytes(m_samples.data(), size_t(blocks) * channels,
                                m_decodeFormat.mBitsPerChannel / 8, writeArea);
    buffer->wroteBytes(blockAlign * blocks);
    if (blocks == 0) {
        m_isEndOfFile = true;
    }
}
