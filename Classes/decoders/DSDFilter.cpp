#include "DSDFilter.h"

#include "DSDFilterCoefficients.h"

#include <span>

namespace {

constexpr uint8_t kIdlePattern = 0x69;

constexpr std::array<uint8_t, 256> makeBitReversal()
{
    std::array<uint8_t, 256> table{};
    for (unsigned value = 0; value < 256; ++value) {
        unsigned reversed = 0;
        for (unsigned bit = 0; bit < 8; ++bit) {
            reversed |= ((value >> bit) & 1u) << (7 - bit);
        }
        table[value] = uint8_t(reversed);
    }
    return table;
}
constexpr std::array<uint8_t, 256> kBitReversal = makeBitReversal();
static_assert(kBitReversal[0x01] == 0x80 && kBitReversal[0x69] == 0x96 && kBitReversal[0xF0] == 0x0F);

std::span<const double> coefficientsFor(uint32_t& decimation)
{
    switch (decimation) {
    case 32:
        return DSDFilterCoefficients::kDecimation32;
    case 16:
        return DSDFilterCoefficients::kDecimation16;
    default:
        decimation = 8;
        return DSDFilterCoefficients::kDecimation8;
    }
}

} // namespace

DSDFilter::DSDFilter(uint32_t decimation, bool lsbFirst) : m_decimation(decimation), m_lsbFirst(lsbFirst)
{
    const std::span<const double> half = coefficientsFor(m_decimation);
    m_numTables = uint32_t(half.size() / 8);
    m_tables.resize(m_numTables);
    // Table t holds, for every byte value, the sum of the eight taps 8t ...
    // 8t + 7 weighted by the byte's bits as +1 / -1, bit m taking tap 8t + m
    // in the byte's time order. The tables are stored outermost first, so
    // that the newest byte of the window meets table 0.
    for (uint32_t t = 0; t < m_numTables; ++t) {
        std::array<float, 256>& table = m_tables[m_numTables - 1 - t];
        for (unsigned e = 0; e < 256; ++e) {
            double value = 0;
            for (unsigned m = 0; m < 8; ++m) {
                const unsigned bit = m_lsbFirst ? (e >> m) & 1u : (e >> (7 - m)) & 1u;
                value += (double(bit) * 2 - 1) * half[8 * t + m];
            }
            table[e] = float(value);
        }
    }
    m_fifo.fill(kIdlePattern);
    m_fifoPos = 0;
    static_assert(sizeof(DSDFilterCoefficients::kDecimation8) / sizeof(double) % 16 == 0 &&
                      sizeof(DSDFilterCoefficients::kDecimation16) / sizeof(double) % 16 == 0 &&
                      sizeof(DSDFilterCoefficients::kDecimation32) / sizeof(double) % 16 == 0,
                  "translate() sums the tables in pairs");
}

template <uint32_t NumTables>
void DSDFilter::translateWith(size_t count, const uint8_t* src, ptrdiff_t srcStride, float* dst,
                              ptrdiff_t dstStride)
{
    constexpr uint32_t kBytesPerOutput = NumTables == 36 ? 4 : NumTables == 14 ? 2 : 1;
    const std::array<float, 256>* tables = m_tables.data();
    uint32_t pos = m_fifoPos;
    while (count > 0) {
        // Take in the bytes of one output sample; each byte that crosses into
        // the older half of the window is mirrored there.
        for (uint32_t byte = 0; byte < kBytesPerOutput; ++byte) {
            store(pos, *src);
            const uint32_t crossing = (pos - NumTables) & kFifoMask;
            store(crossing, kBitReversal[m_fifo[crossing]]);
            src += srcStride;
            if (byte + 1 < kBytesPerOutput) {
                pos = (pos + 1) & kFifoMask;
            }
        }

        // newest[-i] is the byte i places back, oldest[i] the one
        // 2 * NumTables - 1 - i places back; both stay inside the doubled
        // ring. Each table meets one byte of either half; everything is
        // summed in double precision, in two running totals so that the
        // additions overlap.
        const uint8_t* newest = m_fifo.data() + pos + kFifoSize;
        const uint8_t* oldest = newest - (2 * NumTables - 1);
        double acc0 = 0, acc1 = 0;
        for (uint32_t i = 0; i < NumTables; i += 2) {
            acc0 += double(tables[i][newest[-ptrdiff_t(i)]]) + double(tables[i][oldest[i]]);
            acc1 += double(tables[i + 1][newest[-ptrdiff_t(i) - 1]]) + double(tables[i + 1][oldest[i + 1]]);
        }
        *dst = float(acc0 + acc1);
        dst += dstStride;
        pos = (pos + 1) & kFifoMask;
        --count;
    }
    m_fifoPos = pos;
}

void DSDFilter::translate(size_t count, const uint8_t* src, ptrdiff_t srcStride, float* dst,
                          ptrdiff_t dstStride)
{
    // The window's length is fixed per ratio; knowing it at compile time
    // lets the summing loop unroll completely.
    switch (m_numTables) {
    case 36:
        translateWith<36>(count, src, srcStride, dst, dstStride);
        break;
    case 14:
        translateWith<14>(count, src, srcStride, dst, dstStride);
        break;
    default:
        translateWith<6>(count, src, srcStride, dst, dstStride);
        break;
    }
}
