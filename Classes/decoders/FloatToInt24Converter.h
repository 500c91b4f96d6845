#pragma once
// Converts interleaved 32-bit float samples (full scale ±1.0) into packed
// little-endian 24-bit signed integers, rounding to the nearest value and
// clipping at full scale: the format converter of the DSD decoder.
//
// Value type; no state beyond the formats; any thread.

#include "AudioFileStatus.h"
#include "CoreAudioTypes.h"

#include <cstdint>
#include <memory>

class FloatToInt24Converter
{
public:
    // A converter from interleaved float to the given 24-bit packed format
    // of the same rate and channels; null when the formats are not such a
    // pair.
    static std::unique_ptr<FloatToInt24Converter> create(const AudioStreamBasicDescription& from,
                                                         const AudioStreamBasicDescription& to);

    // Converts up to frames frames from in into out, as many as outBytes
    // holds; *framesConverted tells how many. Gives noErr.
    OSStatus convert(const float* in, uint32_t frames, uint8_t* out, uint32_t outBytes,
                     uint32_t* framesConverted) const;

    static int32_t toInt24(float sample);

private:
    explicit FloatToInt24Converter(uint32_t channels) : m_channels(channels) {}

    uint32_t m_channels;
};
