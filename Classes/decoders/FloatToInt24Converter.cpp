#include "FloatToInt24Converter.h"

#include <algorithm>
#include <cmath>

std::unique_ptr<FloatToInt24Converter> FloatToInt24Converter::create(const AudioStreamBasicDescription& from,
                                                                     const AudioStreamBasicDescription& to)
{
    const uint32_t channels = from.mChannelsPerFrame;
    const bool floatIn = from.mFormatID == kAudioFormatLinearPCM &&
                         from.mFormatFlags == kAudioFormatFlagIsFloat && from.mBitsPerChannel == 32 &&
                         from.mBytesPerFrame == 4 * channels;
    const bool packed24Out = to.mFormatID == kAudioFormatLinearPCM &&
                             to.mFormatFlags == kLinearPCMFormatFlagsSignedPacked &&
                             to.mBitsPerChannel == 24 && to.mBytesPerFrame == 3 * channels;
    if (channels == 0 || !floatIn || !packed24Out || to.mChannelsPerFrame != channels ||
        to.mSampleRate != from.mSampleRate) {
        return nullptr;
    }
    return std::unique_ptr<FloatToInt24Converter>(new FloatToInt24Converter(channels));
}

int32_t FloatToInt24Converter::toInt24(float sample)
{
    // Clamped first, so that the conversion below stays in range; NaN goes
    // to 0. Rounding half away from zero by hand keeps the loop free of
    // library calls.
    const float scaled = std::clamp(sample * 8388608.0f, -8388608.0f, 8388607.0f);
    if (std::isnan(scaled)) {
        return 0;
    }
    return int32_t(scaled + (scaled >= 0.0f ? 0.5f : -0.5f));
}

OSStatus FloatToInt24Converter::convert(const float* in, uint32_t frames, uint8_t* out, uint32_t outBytes,
                                        uint32_t* framesConverted) const
{
    const uint32_t count = std::min(frames, outBytes / (3 * m_channels));
    const uint32_t samples = count * m_channels;
    for (uint32_t i = 0; i < samples; ++i) {
        const uint32_t value = uint32_t(toInt24(in[i]));
        out[0] = uint8_t(value);
        out[1] = uint8_t(value >> 8);
        out[2] = uint8_t(value >> 16);
        out += 3;
    }
    *framesConverted = count;
    return noErr;
}
