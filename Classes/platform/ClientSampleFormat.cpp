#include "ClientSampleFormat.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

struct ClientWidth
{
    uint32_t bits;
    uint32_t bytes;
};

// The widths a client may ask for; 20-in-2 is what the ALAC decoder asks for
// 20-bit sources.
constexpr ClientWidth kClientWidths[] = {{8, 1}, {16, 2}, {20, 2}, {24, 3}, {32, 4}};

// Rounds a left-justified sample to its top (32 - shift) bits, saturating.
inline int32_t narrow(int32_t sample, int shift)
{
    const int64_t rounded = (int64_t(sample) + (int64_t(1) << (shift - 1))) >> shift;
    const int64_t top = (int64_t(1) << (31 - shift)) - 1;
    return int32_t(std::min(rounded, top));
}

} // namespace

OSStatus ClientSampleFormat::check(const AudioStreamBasicDescription& client,
                                   const AudioStreamBasicDescription& fileFormat)
{
    const uint32_t required = kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked;
    const uint32_t refused =
        kAudioFormatFlagIsFloat | kAudioFormatFlagIsBigEndian | kAudioFormatFlagIsNonInterleaved;
    if (client.mFormatID != kAudioFormatLinearPCM || (client.mFormatFlags & required) != required ||
        (client.mFormatFlags & refused) != 0 || client.mChannelsPerFrame == 0 ||
        client.mChannelsPerFrame != fileFormat.mChannelsPerFrame ||
        client.mSampleRate != fileFormat.mSampleRate || client.mFramesPerPacket != 1 ||
        client.mBytesPerPacket != client.mBytesPerFrame ||
        client.mBytesPerFrame % client.mChannelsPerFrame != 0) {
        return kAudioConverterErr_FormatNotSupported;
    }
    const uint32_t bytes = client.mBytesPerFrame / client.mChannelsPerFrame;
    for (const ClientWidth& width : kClientWidths) {
        if (width.bits == client.mBitsPerChannel && width.bytes == bytes) {
            return noErr;
        }
    }
    return kAudioConverterErr_FormatNotSupported;
}

ClientSampleFormat::ClientSampleFormat(const AudioStreamBasicDescription& client)
    : m_bytesPerSample(client.mBytesPerFrame / client.mChannelsPerFrame), m_channels(client.mChannelsPerFrame)
{
}

int32_t ClientSampleFormat::fromDouble(double sample)
{
    const double scaled = std::nearbyint(sample * 2147483648.0);
    return int32_t(std::clamp(scaled, -2147483648.0, 2147483647.0));
}

void ClientSampleFormat::write(const int32_t* in, size_t count, void* out) const
{
    switch (m_bytesPerSample) {
    case 1: {
        auto* dst = static_cast<int8_t*>(out);
        for (size_t i = 0; i < count; ++i) {
            dst[i] = int8_t(narrow(in[i], 24));
        }
        break;
    }
    case 2: {
        auto* dst = static_cast<int16_t*>(out);
        for (size_t i = 0; i < count; ++i) {
            dst[i] = int16_t(narrow(in[i], 16));
        }
        break;
    }
    case 3: {
        auto* dst = static_cast<uint8_t*>(out);
        for (size_t i = 0; i < count; ++i) {
            const uint32_t v = uint32_t(narrow(in[i], 8));
            dst[3 * i] = uint8_t(v);
            dst[3 * i + 1] = uint8_t(v >> 8);
            dst[3 * i + 2] = uint8_t(v >> 16);
        }
        break;
    }
    default:
        if (out != in) {
            std::memmove(out, in, count * sizeof(int32_t));
        }
        break;
    }
}
