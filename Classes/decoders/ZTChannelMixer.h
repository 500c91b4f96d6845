#pragma once
// Changes the channel count of PCM blocks between a decoder's output format
// and the format an encoder wants (5.1 to stereo, stereo to mono, mono to
// stereo) with a gain matrix: every output channel is a weighted sum of the
// input channels.
//
// The weights are the standard mix map of the two channel layouts
// (ChannelMixMap). Gains are applied as a matrix mixer would: a master gain
// (1/sqrt(2) from stereo to mono, 1.0 otherwise), a gain per output and per
// input channel (1.0) and one crosspoint per input/output pair (the map's
// weight). Samples are converted to 32-bit float, mixed in slices of at most
// kMaximumFramesPerSlice frames, and converted back with rounding and
// clipping to the destination's integer range.
//
// Formats: interleaved, packed, signed little-endian integer PCM of 1 to 4
// bytes per sample on both sides (what every decoder delivers), at the same
// sample rate.
//
// Ownership: the mixer owns its work buffers; callers own the buffer lists
// they pass. Threads: one thread at a time (one mixer per encode).
// Failures: create() gives null for formats or layout pairs it cannot mix;
// mixFrom() reports a bad call through its status and writes nothing then.

#include "AudioFileStatus.h"
#include "CoreAudioTypes.h"

#include <memory>
#include <vector>

class ZTChannelMixer
{
public:
    // Frames rendered per slice of a block.
    static constexpr uint32_t kMaximumFramesPerSlice = 4096;
    // The status of a call whose buffers do not fit the formats.
    static constexpr OSStatus kParameterError = -50;

    static std::unique_ptr<ZTChannelMixer> create(const AudioStreamBasicDescription& sourceFormat,
                                                  const AudioStreamBasicDescription& destinationFormat,
                                                  const AudioChannelLayout& sourceLayout,
                                                  const AudioChannelLayout& destinationLayout);

    // Mixes `frames` frames of from->mBuffers[0] into to->mBuffers[0] and
    // sets its byte size. 0 frames returns noErr and touches nothing; a
    // source or destination buffer too small for the frames gives
    // kParameterError.
    OSStatus mixFrom(const AudioBufferList* from, AudioBufferList* to, uint32_t frames);

    uint32_t sourceChannels() const { return m_srcNChannels; }
    uint32_t destinationChannels() const { return m_destNChannels; }
    float masterGain() const { return m_masterGain; }
    // The weight of input channel i in output channel j.
    float crosspoint(uint32_t i, uint32_t j) const { return m_crosspoints[size_t(i) * m_destNChannels + j]; }
    // Frames mixed since creation: runs on across calls.
    double sampleTime() const { return m_sampleTime; }
    // Position inside the block being mixed; restarts at every call.
    uint32_t currentFrame() const { return m_currentFrame; }

private:
    ZTChannelMixer() = default;
    void toFloat(const uint8_t* in, uint32_t frames);
    void renderSlice(uint32_t frames);
    void fromFloat(uint8_t* out, uint32_t frames) const;

    uint32_t m_srcNChannels = 0;
    uint32_t m_destNChannels = 0;
    uint32_t m_srcBytesPerSample = 0;
    uint32_t m_destBytesPerSample = 0;
    float m_masterGain = 1.0f;
    std::vector<float> m_outputGains;
    std::vector<float> m_inputGains;
    std::vector<float> m_crosspoints; // row by input channel
    double m_sampleTime = 0;
    uint32_t m_currentFrame = 0;
    // One plane per channel, frames long.
    std::vector<float> m_mixInput;
    std::vector<float> m_mixOutput;
    uint32_t m_planeFrames = 0;
};
