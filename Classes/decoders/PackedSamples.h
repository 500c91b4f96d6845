#pragma once
// Packing 32-bit samples whose most significant bit is the source's (as the
// platform readers deliver them) into little-endian samples of 1 to 4 bytes:
// the top bytes of each, unrounded, since the source's own depth is no finer.
// Pure; any thread.

#include <cstddef>
#include <cstdint>

namespace PackedSamples {

// Writes count samples of bytesPerSample bytes each to out.
inline void packTopBytes(const int32_t* in, size_t count, uint32_t bytesPerSample, uint8_t* out)
{
    const uint32_t shift = 32 - 8 * bytesPerSample;
    for (size_t i = 0; i < count; ++i) {
        const uint32_t value = uint32_t(in[i]) >> shift;
        for (uint32_t b = 0; b < bytesPerSample; ++b) {
            *out++ = uint8_t(value >> (8 * b));
        }
    }
}

} // namespace PackedSamples
