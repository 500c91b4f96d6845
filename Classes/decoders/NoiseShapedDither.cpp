#include "NoiseShapedDither.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>

namespace {

enum ShapingRow
{
    Shaping48000,
    Shaping44100,
    ShapingOther,
    ShapingRowCount
};

struct ShapingCoefficients
{
    ShapingRow row;
    std::array<float, 4> b;
    std::array<float, 4> a;
    float gain;
};

// The 48 and 44.1 kHz filters shape the noise; other rates get plain TPDF
// dither (b = 1 only repeats the last error, a = 0 adds no feedback).
constexpr std::array<ShapingCoefficients, ShapingRowCount> kShaping = {{
    {Shaping48000, {2.2374f, -0.7339f, -0.1251f, -0.6033f}, {0.9030f, 0.0116f, -0.5853f, -0.2571f}, 32753.0f},
    {Shaping44100, {2.2061f, -0.4706f, -0.2534f, -0.6214f}, {1.0587f, 0.0676f, -0.6054f, -0.2738f}, 32753.0f},
    {ShapingOther, {1.0f, 0.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 0.0f, 0.0f}, 32765.0f},
}};
static_assert(kShaping[Shaping48000].row == Shaping48000 && kShaping[Shaping44100].row == Shaping44100 &&
              kShaping[ShapingOther].row == ShapingOther);

constexpr uint32_t kSeed = 22222;
std::atomic<uint32_t> g_randomState{kSeed};

inline uint32_t advance(uint32_t state)
{
    return state * 96314165u + 907633515u;
}

inline float toUnit(uint32_t draw)
{
    return float(int32_t(draw)) * (1.0f / 4294967296.0f);
}

} // namespace

NoiseShapedDither::NoiseShapedDither(int channels, int fs)
    : m_channels(channels), m_fs(fs), m_b_buf(size_t(channels) * 4, 0.0f), m_a_buf(size_t(channels) * 4, 0.0f)
{
}

uint32_t NoiseShapedDither::nextRandom()
{
    uint32_t state = g_randomState.load(std::memory_order_relaxed);
    state = advance(state);
    g_randomState.store(state, std::memory_order_relaxed);
    return state;
}

void NoiseShapedDither::seedRandom(uint32_t seed)
{
    g_randomState.store(seed, std::memory_order_relaxed);
}

void NoiseShapedDither::process(const float* in, int16_t* out, int frames)
{
    const ShapingCoefficients& shaping =
        kShaping[m_fs == 48000 ? Shaping48000 : (m_fs == 44100 ? Shaping44100 : ShapingOther)];
    if (m_mute > kClearFeedbackAfter) {
        std::fill(m_a_buf.begin(), m_a_buf.end(), 0.0f);
    }

    uint32_t random = g_randomState.load(std::memory_order_relaxed);
    for (int frame = 0; frame < frames; ++frame) {
        bool silent = true;
        for (int channel = 0; channel < m_channels; ++channel) {
            const size_t index = size_t(frame) * size_t(m_channels) + size_t(channel);
            const float x = in[index];
            silent = silent && x == 0.0f;
            float* b = &m_b_buf[size_t(channel) * 4];
            float* a = &m_a_buf[size_t(channel) * 4];

            const float err =
                (shaping.b[0] * b[0] - shaping.a[0] * a[0]) + (shaping.b[1] * b[1] - shaping.a[1] * a[1]) +
                (shaping.b[2] * b[2] - shaping.a[2] * a[2]) + (shaping.b[3] * b[3] - shaping.a[3] * a[3]);
            float r = 0.0f;
            if (m_mute < kSilentAfter) {
                const uint32_t first = random = advance(random);
                const uint32_t second = random = advance(random);
                r = toUnit(first) - toUnit(second);
            }
            // Plain assignments: std::copy_backward of three floats ends up
            // as a call to memmove, which costs more than the filter.
            b[3] = b[2];
            b[2] = b[1];
            b[1] = b[0];
            a[3] = a[2];
            a[2] = a[1];
            a[1] = a[0];
            a[0] = err;

            const float s = x * shaping.gain - err;
            const float quantised = std::floor(std::clamp(r + s, -32768.0f, 32767.0f) + 0.5f);
            b[0] = m_mute < kSilentAfter ? std::clamp(quantised - s, -1.5f, 1.5f) : 0.0f;
            out[index] = int16_t(quantised);
        }
        m_mute = silent ? std::min(m_mute + 1, kMaxMute) : 0;
    }
    g_randomState.store(random, std::memory_order_relaxed);
}
