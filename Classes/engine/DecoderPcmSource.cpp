#include "DecoderPcmSource.h"

#include "LoudnessMeter.h"
#include "NamedException.h"
#include "TrackSpanDecoder.h"
#include "ZTChannelMixer.h"
#include "ZTDecoder.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

namespace {

struct ReadSizeRow
{
    uint32_t bitsPerChannel;
    uint32_t bytes;
};
// 24-bit shares the 8-bit size on purpose: fewer frames per read, not more bytes.
constexpr std::array<ReadSizeRow, 4> kReadSizes{{{8, 32768}, {16, 65536}, {24, 32768}, {32, 131072}}};

template <typename T> void resizeOrFail(std::vector<T>& buffer, size_t count)
{
    try {
        buffer.resize(count);
    } catch (const std::bad_alloc&) {
        ZT_FAIL(QStringLiteral("Unable to allocate Buffer memory."));
    }
}

// Splits interleaved samples of bytesPerSample bytes each into one buffer
// per channel, converting each with toSample.
template <typename Sample, typename Convert>
void deinterleave(const uint8_t* data, uint32_t channels, size_t frames,
                  std::vector<std::vector<Sample>>& out, size_t bytesPerSample, Convert toSample)
{
    for (size_t i = 0; i < frames; ++i) {
        for (uint32_t c = 0; c < channels; ++c) {
            out[c][i] = toSample(data + (i * channels + c) * bytesPerSample);
        }
    }
}

} // namespace

DecoderPcmSource::DecoderPcmSource(std::unique_ptr<ZTDecoder> decoder, bool downmixToStereo)
    : m_decoder(std::move(decoder))
{
    m_decodedFormat = m_decoder->decodeFormat();
    m_format = m_decodedFormat;
    if (m_decodedFormat.mChannelsPerFrame > 2) {
        if (downmixToStereo) {
            m_format.mChannelsPerFrame = 2;
            m_format.mBytesPerFrame = m_decodedFormat.mBytesPerFrame / m_decodedFormat.mChannelsPerFrame * 2;
            m_format.mBytesPerPacket = m_format.mBytesPerFrame;
            const AudioChannelLayout sourceLayout =
                m_decoder->channelLayout() ? *m_decoder->channelLayout()
                                           : AudioChannelLayout::withTag(kAudioChannelLayoutTag_Unknown);
            m_mixer = ZTChannelMixer::create(m_decodedFormat, m_format, sourceLayout,
                                             AudioChannelLayout::withTag(kAudioChannelLayoutTag_Stereo));
            if (!m_mixer) {
                ZT_FAIL(QStringLiteral("Unable to down-mix %1 channels to stereo.")
                            .arg(m_decodedFormat.mChannelsPerFrame));
            }
        } else {
            m_channelsWithoutDownmix = m_decodedFormat.mChannelsPerFrame;
        }
    }
    m_bufferSize = readBufferSize(m_format.mBitsPerChannel);
    if (m_bufferSize == 0) {
        NamedException::raise(
            kIllegalInputException,
            QStringLiteral("Sample Size Of %1 bit Not Supported!  Lame Supports 8, 16, 24, and 32 "
                           "Bit Sample Sizes.  Aborting Operation")
                .arg(m_format.mBitsPerChannel));
    }
    if (m_decodedFormat.mBytesPerFrame == 0) {
        ZT_FAIL(QStringLiteral("Invalid Audio Input (0 Bytes Per Frame)"));
    }
    resizeOrFail(m_decoded, m_bufferSize);
    if (m_mixer) {
        // A stereo mix of the decoded frames is never larger than they are.
        resizeOrFail(m_mixed, m_bufferSize);
    }
    const size_t maxFrames = m_bufferSize / m_decodedFormat.mBytesPerFrame;
    const bool wide = m_format.mBitsPerChannel == 24 || m_format.mBitsPerChannel == 32;
    if (wide) {
        m_wide.resize(m_format.mChannelsPerFrame);
        for (std::vector<int32_t>& channel : m_wide) {
            resizeOrFail(channel, maxFrames);
        }
    } else {
        m_narrow.resize(m_format.mChannelsPerFrame);
        for (std::vector<int16_t>& channel : m_narrow) {
            resizeOrFail(channel, maxFrames);
        }
    }
}

DecoderPcmSource::~DecoderPcmSource() = default;

std::unique_ptr<ZTDecoder> DecoderPcmSource::openSpan(const QString& path, int64_t start, int64_t length,
                                                      int64_t trackStart, int64_t trackLength)
{
    std::unique_ptr<ZTDecoder> decoder = ZTDecoder::decoderWithFilename(path);
    if (!decoder) {
        return nullptr;
    }
    if (trackStart >= 0) {
        // One span over the image: the track's own, narrowed to the stretch.
        start += trackStart;
        length = std::min(length, std::max<int64_t>(trackLength - (start - trackStart), 0));
    }
    if (start == 0) {
        // A stretch from the very start is still only a stretch: told so by
        // a seek, a FLAC decoder sums no signature, which only a decoder
        // reading everything can check. A decoder that cannot seek reads on
        // from the start, as the span would have it.
        decoder->seekToFrame(0);
    }
    return std::make_unique<TrackSpanDecoder>(std::move(decoder), start, length);
}

uint32_t DecoderPcmSource::readBufferSize(uint32_t bitsPerChannel)
{
    for (const ReadSizeRow& row : kReadSizes) {
        if (row.bitsPerChannel == bitsPerChannel) {
            return row.bytes;
        }
    }
    return 0;
}

int64_t DecoderPcmSource::totalFrames() const
{
    return m_decoder->totalFrames();
}

void DecoderPcmSource::cancel()
{
    m_decoder->cancel();
}

uint32_t DecoderPcmSource::read()
{
    AudioBufferList list;
    list.mNumberBuffers = 1;
    list.mBuffers[0].mData = m_decoded.data();
    uint32_t frames = 0;
    // A read of nothing before the end is not counted: read again, with the
    // whole buffer offered again (a read sets the size it filled).
    do {
        list.mBuffers[0].mNumberChannels = m_decodedFormat.mChannelsPerFrame;
        list.mBuffers[0].mDataByteSize = m_bufferSize;
        frames = m_decoder->readAudio(&list, m_bufferSize / m_decodedFormat.mBytesPerFrame);
    } while (frames == 0 && !m_decoder->isEndOfFile() && !m_decoder->isCancelled());
    return frames;
}

size_t DecoderPcmSource::skip()
{
    return read();
}

PcmBlockSource::Block DecoderPcmSource::next()
{
    const uint32_t frames = read();
    if (frames == 0) {
        return {};
    }
    const uint8_t* data = m_decoded.data();
    if (m_mixer) {
        AudioBufferList from;
        from.mNumberBuffers = 1;
        from.mBuffers[0].mNumberChannels = m_decodedFormat.mChannelsPerFrame;
        from.mBuffers[0].mDataByteSize = frames * m_decodedFormat.mBytesPerFrame;
        from.mBuffers[0].mData = m_decoded.data();
        AudioBufferList to;
        to.mNumberBuffers = 1;
        to.mBuffers[0].mNumberChannels = m_format.mChannelsPerFrame;
        to.mBuffers[0].mDataByteSize = m_bufferSize;
        to.mBuffers[0].mData = m_mixed.data();
        const OSStatus mixed = m_mixer->mixFrom(&from, &to, frames);
        if (mixed != noErr) {
            ZT_FAIL(QStringLiteral("Unable to down-mix to stereo: error %1").arg(mixed));
        }
        data = m_mixed.data();
    }

    const uint32_t channels = m_format.mChannelsPerFrame;
    const size_t samples = frames;
    switch (m_format.mBitsPerChannel) {
    case 8:
        // The byte in both halves, with no sign or offset change: how 8-bit
        // sources have always been widened.
        deinterleave(data, channels, samples, m_narrow, 1, [](const uint8_t* p) {
            const uint16_t b = *p;
            return int16_t(uint16_t((b << 8) | b));
        });
        break;
    case 16:
        deinterleave(data, channels, samples, m_narrow, 2, [](const uint8_t* p) {
            int16_t value;
            std::memcpy(&value, p, 2);
            return value;
        });
        break;
    case 24:
        deinterleave(data, channels, samples, m_wide, 3, [](const uint8_t* p) {
            return int32_t((uint32_t(p[0]) << 8) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 24));
        });
        break;
    case 32:
        deinterleave(data, channels, samples, m_wide, 4, [](const uint8_t* p) {
            int32_t value;
            std::memcpy(&value, p, 4);
            return value;
        });
        break;
    default:
        NamedException::raise(kIllegalInputException, QStringLiteral("Sample size not supported"));
    }

    Block block;
    block.frames = samples;
    if (!m_wide.empty()) {
        block.left32 = m_wide[0].data();
        block.right32 = channels > 1 ? m_wide[1].data() : nullptr;
        if (m_meter) {
            m_meter->add(block.left32, block.right32, samples);
        }
    } else {
        block.left16 = m_narrow[0].data();
        block.right16 = channels > 1 ? m_narrow[1].data() : nullptr;
        if (m_meter) {
            m_meter->add(block.left16, block.right16, samples);
        }
    }
    return block;
}
