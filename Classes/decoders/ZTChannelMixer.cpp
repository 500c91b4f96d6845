#include "ZTChannelMixer.h"

#include "ChannelMixMap.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

bool isMixableInteger(const AudioStreamBasicDescription& format)
{
    if (format.mFormatID != kAudioFormatLinearPCM || format.mChannelsPerFrame == 0 ||
        (format.mFormatFlags &
         (kAudioFormatFlagIsFloat | kAudioFormatFlagIsBigEndian | kAudioFormatFlagIsNonInterleaved)) != 0 ||
        (format.mFormatFlags & kAudioFormatFlagIsSignedInteger) == 0 ||
        format.mBytesPerFrame % format.mChannelsPerFrame != 0) {
        return false;
    }
    const uint32_t bytes = format.mBytesPerFrame / format.mChannelsPerFrame;
    return bytes >= 1 && bytes <= 4;
}

int32_t readSample(const uint8_t* p, uint32_t bytes)
{
    uint32_t value = 0;
    for (uint32_t b = 0; b < bytes; ++b) {
        value |= uint32_t(p[b]) << (8 * b);
    }
    // Left-justify, then shift back with the sign.
    return int32_t(value << (32 - 8 * bytes)) >> (32 - 8 * bytes);
}

} // namespace

std::unique_ptr<ZTChannelMixer> ZTChannelMixer::create(const AudioStreamBasicDescription& sourceFormat,
                                                       const AudioStreamBasicDescription& destinationFormat,
                                                       const AudioChannelLayout& sourceLayout,
                                                       const AudioChannelLayout& destinationLayout)
{
    if (!isMixableInteger(sourceFormat) || !isMixableInteger(destinationFormat) ||
        sourceFormat.mSampleRate != destinationFormat.mSampleRate) {
        return nullptr;
    }
    const uint32_t in = sourceFormat.mChannelsPerFrame;
    const uint32_t out = destinationFormat.mChannelsPerFrame;
    std::optional<std::vector<float>> map = ChannelMixMap::matrix(sourceLayout, in, destinationLayout, out);
    if (!map) {
        return nullptr;
    }
    std::unique_ptr<ZTChannelMixer> mixer(new ZTChannelMixer);
    mixer->m_srcNChannels = in;
    mixer->m_destNChannels = out;
    mixer->m_srcBytesPerSample = sourceFormat.mBytesPerFrame / in;
    mixer->m_destBytesPerSample = destinationFormat.mBytesPerFrame / out;
    mixer->m_masterGain = (in == 2 && out == 1) ? 0.70710677f : 1.0f;
    mixer->m_outputGains.assign(out, 1.0f);
    mixer->m_inputGains.assign(in, 1.0f);
    mixer->m_crosspoints = std::move(*map);
    return mixer;
}

OSStatus ZTChannelMixer::mixFrom(const AudioBufferList* from, AudioBufferList* to, uint32_t frames)
{
    if (frames == 0) {
        return noErr;
    }
    if (!from || !to || from->mNumberBuffers < 1 || to->mNumberBuffers < 1 || !from->mBuffers[0].mData ||
        !to->mBuffers[0].mData ||
        uint64_t(from->mBuffers[0].mDataByteSize) < uint64_t(frames) * m_srcBytesPerSample * m_srcNChannels ||
        uint64_t(to->mBuffers[0].mDataByteSize) < uint64_t(frames) * m_destBytesPerSample * m_destNChannels) {
        return kParameterError;
    }
    m_currentFrame = 0;
    if (m_planeFrames < frames) {
        m_planeFrames = frames;
        m_mixInput.resize(size_t(frames) * m_srcNChannels);
        m_mixOutput.resize(size_t(frames) * m_destNChannels);
    }
    toFloat(static_cast<const uint8_t*>(from->mBuffers[0].mData), frames);
    for (uint32_t remaining = frames; remaining > 0;) {
        const uint32_t slice = std::min(kMaximumFramesPerSlice, remaining);
        renderSlice(slice);
        m_sampleTime += slice;
        m_currentFrame += slice;
        remaining -= slice;
    }
    fromFloat(static_cast<uint8_t*>(to->mBuffers[0].mData), frames);
    to->mBuffers[0].mNumberChannels = m_destNChannels;
    to->mBuffers[0].mDataByteSize = frames * m_destBytesPerSample * m_destNChannels;
    return noErr;
}

void ZTChannelMixer::toFloat(const uint8_t* in, uint32_t frames)
{
    const float scale = 1.0f / float(uint32_t(1) << (8 * m_srcBytesPerSample - 1));
    const size_t stride = m_planeFrames;
    for (uint32_t i = 0; i < frames; ++i) {
        for (uint32_t c = 0; c < m_srcNChannels; ++c) {
            const uint8_t* sample = in + (size_t(i) * m_srcNChannels + c) * m_srcBytesPerSample;
            m_mixInput[c * stride + i] = float(readSample(sample, m_srcBytesPerSample)) * scale;
        }
    }
}

void ZTChannelMixer::renderSlice(uint32_t frames)
{
    const size_t stride = m_planeFrames;
    for (uint32_t j = 0; j < m_destNChannels; ++j) {
        float* out = &m_mixOutput[j * stride + m_currentFrame];
        std::fill(out, out + frames, 0.0f);
        for (uint32_t i = 0; i < m_srcNChannels; ++i) {
            const float gain = m_masterGain * m_outputGains[j] * m_inputGains[i] * crosspoint(i, j);
            if (gain == 0.0f) {
                continue;
            }
            const float* in = &m_mixInput[i * stride + m_currentFrame];
            for (uint32_t k = 0; k < frames; ++k) {
                out[k] += in[k] * gain;
            }
        }
    }
}

void ZTChannelMixer::fromFloat(uint8_t* out, uint32_t frames) const
{
    const double fullScale = double(uint32_t(1) << (8 * m_destBytesPerSample - 1));
    const double highest = fullScale - 1.0;
    const size_t stride = m_planeFrames;
    for (uint32_t i = 0; i < frames; ++i) {
        for (uint32_t c = 0; c < m_destNChannels; ++c) {
            const double scaled = std::nearbyint(double(m_mixOutput[c * stride + i]) * fullScale);
            const uint32_t value = uint32_t(int32_t(std::clamp(scaled, -fullScale, highest)));
            uint8_t* sample = out + (size_t(i) * m_destNChannels + c) * m_destBytesPerSample;
            for (uint32_t b = 0; b < m_destBytesPerSample; ++b) {
                sample[b] = uint8_t(value >> (8 * b));
            }
        }
    }
}
