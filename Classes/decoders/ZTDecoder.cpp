#include "ZTDecoder.h"

#include "DecoderFactory.h"
#include "NamedException.h"

std::unique_ptr<ZTDecoder> ZTDecoder::decoderWithFilename(const QString& path)
{
    return DecoderFactory::decoderWithFilename(path);
}

bool ZTDecoder::initWithFilename(const QString& path)
{
    m_pcmBuffer = std::make_unique<RingBuffer>();
    m_inFilePath = path;
    m_isEndOfFile = false;
    m_decodeFormat = AudioStreamBasicDescription{};
    m_channelLayout.reset();
    return true;
}

uint32_t ZTDecoder::readAudio(AudioBufferList* bufferList, uint32_t frameCount)
{
    ZT_REQUIRE(nullptr != bufferList, "NULL != bufferList");
    ZT_REQUIRE(0 < bufferList->mNumberBuffers, "0 < bufferList->mNumberBuffers");
    ZT_REQUIRE(0 < frameCount, "0 < frameCount");

    uint32_t byteCount = m_decodeFormat.mBytesPerFrame * frameCount;
    ZT_REQUIRE(bufferList->mBuffers[0].mDataByteSize >= byteCount,
               "bufferList->mBuffers[0].mDataByteSize >= byteCount");

    if (m_pcmBuffer->bytesAvailable() < byteCount) {
        fillPCMBuffer();
    }
    byteCount = std::min(byteCount, m_pcmBuffer->bytesAvailable());

    const uint32_t copied = m_pcmBuffer->getData(bufferList->mBuffers[0].mData, byteCount);
    bufferList->mBuffers[0].mNumberChannels = m_decodeFormat.mChannelsPerFrame;
    bufferList->mBuffers[0].mDataByteSize = copied;

    // The bytes of a trailing partial frame are copied but never counted as
    // a frame (integer division).
    const uint32_t frames = copied / m_decodeFormat.mBytesPerFrame;
    m_currentFrame += frames;
    if (frames == 0 && m_isEndOfFile) {
        checkLength();
    }
    return frames;
}

void ZTDecoder::checkLength()
{
    if (m_lengthChecked) {
        return;
    }
    m_lengthChecked = true;
    const int64_t announced = announcedFrames();
    const int64_t delivered = int64_t(m_currentFrame);
    if (announced > 0 && delivered + m_packetFrames < announced) {
        m_damage.noteEndedEarly(delivered, announced);
    }
}

int64_t ZTDecoder::decodedFrames() const
{
    const uint32_t bytesPerFrame = m_decodeFormat.mBytesPerFrame;
    const uint32_t waiting = m_pcmBuffer && bytesPerFrame ? m_pcmBuffer->bytesAvailable() / bytesPerFrame : 0;
    return int64_t(m_currentFrame) + waiting;
}

void ZTDecoder::didSeekTo(int64_t frame)
{
    m_currentFrame = uint64_t(frame);
}

void ZTDecoder::noteDamage(DecoderDamage::Kind kind, int64_t count)
{
    m_damage.note(kind, decodedFrames(), count);
}

void ZTDecoder::setSignedPackedFormat(double sampleRate, uint32_t channels, uint32_t bitsPerChannel,
                                      uint32_t bytesPerSample)
{
    m_decodeFormat.mSampleRate = sampleRate;
    m_decodeFormat.mFormatID = kAudioFormatLinearPCM;
    m_decodeFormat.mFormatFlags = kLinearPCMFormatFlagsSignedPacked;
    m_decodeFormat.mChannelsPerFrame = channels;
    m_decodeFormat.mBitsPerChannel = bitsPerChannel;
    m_decodeFormat.mBytesPerFrame = bytesPerSample * channels;
    m_decodeFormat.mBytesPerPacket = m_decodeFormat.mBytesPerFrame;
    m_decodeFormat.mFramesPerPacket = 1;
}

void ZTDecoder::setChannelLayout(AudioChannelLayout layout)
{
    m_channelLayout = std::make_unique<AudioChannelLayout>(std::move(layout));
}
