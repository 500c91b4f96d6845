#pragma once
// One channel's decimation filter: a symmetric low-pass FIR over the 1-bit
// stream, evaluated with byte-indexed tables (one lookup per 8 taps) once per
// output sample, that turns DSD bytes into float samples at the DSD rate
// divided by the decimation.
//
// The state keeps the most recent 128 input bytes in a ring, which starts
// filled with the DSD idle pattern 0x69 so that silence decodes to silence
// from the first sample on. The older half of the filter window is read
// mirrored: each byte is bit-reversed in the ring as it crosses into that
// half, which lets both halves share the same tables. The ring is kept
// twice, one copy after the other, so that the window is read without
// wrapping.
//
// Ownership: owns its tables. Creation and destruction are serialised by the
// caller's process-wide lock (DSDDecoder); translate() touches only this
// object. One thread at a time.

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

class DSDFilter
{
public:
    // decimation 32 or 16; anything else means 8. lsbFirst: the earliest bit
    // of each byte is its least significant one (DSF), else its most
    // significant one (DFF).
    DSDFilter(uint32_t decimation, bool lsbFirst);

    uint32_t decimation() const { return m_decimation; }
    uint32_t numTables() const { return m_numTables; }

    // Consumes count × decimation / 8 bytes from src, stepping srcStride bytes
    // between them, and writes count samples to dst, stepping dstStride
    // floats. The ring position carries over to the next call.
    void translate(size_t count, const uint8_t* src, ptrdiff_t srcStride, float* dst, ptrdiff_t dstStride);

private:
    template <uint32_t NumTables>
    void translateWith(size_t count, const uint8_t* src, ptrdiff_t srcStride, float* dst,
                       ptrdiff_t dstStride);

    static constexpr uint32_t kFifoSize = 128;
    static constexpr uint32_t kFifoMask = kFifoSize - 1;

    // Sets ring position pos (mod 128) in both copies.
    void store(uint32_t pos, uint8_t value)
    {
        m_fifo[pos] = value;
        m_fifo[pos + kFifoSize] = value;
    }

    std::array<uint8_t, 2 * kFifoSize> m_fifo;
    uint32_t m_fifoPos = 0;
    uint32_t m_numTables = 0;
    std::vector<std::array<float, 256>> m_tables;
    uint32_t m_decimation = 8;
    bool m_lsbFirst = false;
};
