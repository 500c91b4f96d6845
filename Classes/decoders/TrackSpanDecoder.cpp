#include "TrackSpanDecoder.h"

#include <algorithm>

namespace {

// Frames moved from the inner decoder per fill: about what the encoder asks
// for at a time, so that a track is read in as few calls as a whole file.
constexpr uint32_t kFramesPerFill = 8192;

} // namespace

TrackSpanDecoder::TrackSpanDecoder(std::unique_ptr<ZTDecoder> inner, int64_t start, int64_t length)
    : m_inner(std::move(inner)), m_toSkip(std::max<int64_t>(start, 0)), m_left(std::max<int64_t>(length, 0)),
      m_length(std::max<int64_t>(length, 0))
{
    ZTDecoder::initWithFilename(m_inner->inFilePath());
    m_decodeFormat = m_inner->decodeFormat();
    if (const AudioChannelLayout* layout = m_inner->channelLayout()) {
        setChannelLayout(*layout);
    }
    // A first track starting at 0 needs no seek; a failed seek leaves the
    // inner decoder unusable, which then shows as a stream ending at once.
    if (m_toSkip > 0 && m_inner->seekToFrame(m_toSkip)) {
        m_toSkip = 0;
    }
}

uint32_t TrackSpanDecoder::readInner(uint32_t frames, bool drop)
{
    const uint32_t bytesPerFrame = m_decodeFormat.mBytesPerFrame;
    AudioBufferList list;
    list.mNumberBuffers = 1;
    list.mBuffers[0].mNumberChannels = m_decodeFormat.mChannelsPerFrame;
    list.mBuffers[0].mDataByteSize = frames * bytesPerFrame;
    if (drop) {
        m_dropped.resize(size_t(frames) * bytesPerFrame);
        list.mBuffers[0].mData = m_dropped.data();
    } else {
        list.mBuffers[0].mData = pcmBuffer()->exposeBufferForWriting();
    }
    // A read of nothing before the end is no end (a decoder may produce
    // nothing in one fill); read again.
    uint32_t read = 0;
    do {
        read = m_inner->readAudio(&list, frames);
    } while (read == 0 && !m_inner->isEndOfFile() && !isCancelled());
    if (!drop) {
        pcmBuffer()->wroteBytes(read * bytesPerFrame);
    }
    return read;
}

void TrackSpanDecoder::fillPCMBuffer()
{
    if (m_isEndOfFile) {
        return;
    }
    if (isCancelled()) {
        m_inner->cancel();
    }
    const uint32_t bytesPerFrame = m_decodeFormat.mBytesPerFrame;
    while (m_toSkip > 0) {
        const uint32_t read = readInner(uint32_t(std::min<int64_t>(m_toSkip, kFramesPerFill)), true);
        if (read == 0) {
            finish();
            return;
        }
        m_toSkip -= read;
    }
    RingBuffer* buffer = pcmBuffer();
    if (buffer->freeSpaceAvailable() < kFramesPerFill * bytesPerFrame) {
        buffer->resize(buffer->size() + kFramesPerFill * bytesPerFrame);
    }
    const uint32_t wanted = uint32_t(std::min<int64_t>(m_left, kFramesPerFill));
    const uint32_t read = wanted > 0 ? readInner(wanted, false) : 0;
    m_left -= read;
    if (read == 0 || m_left == 0) {
        finish();
    }
}

void TrackSpanDecoder::finish()
{
    m_isEndOfFile = true;
    // The base adds an early end against totalFrames() after this.
    m_damage = m_inner->damage();
}
