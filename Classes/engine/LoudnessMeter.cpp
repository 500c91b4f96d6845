#include "LoudnessMeter.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <type_traits>

namespace {

// BS.1770's K-weighting as analog prototypes, brought to the sample rate by
// the bilinear transform: at 48 kHz they give the coefficients the
// recommendation tabulates.
constexpr double kShelfFrequency = 1681.974450955533;
constexpr double kShelfGain = 3.999843853973347; // dB
constexpr double kShelfQ = 0.7071752369554196;
constexpr double kHighPassFrequency = 38.13547087602444;
constexpr double kHighPassQ = 0.5003270373238773;

// A block's loudness is -0.691 + 10 log10 of its mean square.
constexpr double kLoudnessOffset = -0.691;
constexpr double kAbsoluteGate = -70.0; // LUFS
constexpr double kRelativeGate = -10.0; // LU below the blocks above the absolute gate

constexpr unsigned long kLowestSampleRate = 8000;

double energyOf(double loudness)
{
    return std::pow(10.0, (loudness - kLoudnessOffset) / 10.0);
}

template <class Sample> constexpr double kFullScale = sizeof(Sample) == 2 ? 32768.0 : 2147483648.0;
template <class Sample> constexpr int kPeakShift = sizeof(Sample) == 2 ? 16 : 0;

// What a filter state has decayed to after sound gave way to silence: kept,
// it would go on as denormal numbers, each many times slower to work with.
void flushTiny(double& state)
{
    if (std::fabs(state) < 1e-30) {
        state = 0;
    }
}

} // namespace

LoudnessMeter::LoudnessMeter(unsigned channels, unsigned long sampleRate)
{
    if (channels == 0 || channels > 2 || sampleRate < kLowestSampleRate) {
        return;
    }
    m_channels = channels;
    const double rate = double(sampleRate);

    double k = std::tan(std::numbers::pi * kShelfFrequency / rate);
    const double vh = std::pow(10.0, kShelfGain / 20.0);
    const double vb = std::pow(vh, 0.4996667741545416);
    double a0 = 1.0 + k / kShelfQ + k * k;
    m_shelf = {(vh + vb * k / kShelfQ + k * k) / a0, 2.0 * (k * k - vh) / a0,
               (vh - vb * k / kShelfQ + k * k) / a0, 2.0 * (k * k - 1.0) / a0,
               (1.0 - k / kShelfQ + k * k) / a0};

    k = std::tan(std::numbers::pi * kHighPassFrequency / rate);
    a0 = 1.0 + k / kHighPassQ + k * k;
    m_highPass = {1.0, -2.0, 1.0, 2.0 * (k * k - 1.0) / a0, (1.0 - k / kHighPassQ + k * k) / a0};

    // 100 ms, rounded to whole frames.
    m_subBlockFrames = (sampleRate + 5) / 10;
}

LoudnessMeter::~LoudnessMeter() = default;

template <class Sample, unsigned Channels>
void LoudnessMeter::filterRun(const Sample* const* channels, size_t from, size_t count)
{
    // Stereo goes through the filters as pairs of doubles, one lane per
    // channel (GCC's and Clang's vector extension, SSE2 on x86-64): half the
    // instructions, and the states stay in registers.
    using Lanes = std::conditional_t<Channels == 2, DoublePair, double>;
    const auto load = [this](double ChannelState::*member) {
        if constexpr (Channels == 2) {
            return Lanes{m_state[0].*member, m_state[1].*member};
        } else {
            return Lanes(m_state[0].*member);
        }
    };
    Lanes shelf1 = load(&ChannelState::shelf1);
    Lanes shelf2 = load(&ChannelState::shelf2);
    Lanes highPass1 = load(&ChannelState::highPass1);
    Lanes highPass2 = load(&ChannelState::highPass2);
    Lanes sum{};
    const Biquad s = m_shelf;
    const Biquad h = m_highPass;
    const Sample* left = channels[0] + from;
    const Sample* right = channels[Channels - 1] + from;
    int64_t peak = m_peak >> kPeakShift<Sample>;
    for (size_t i = 0; i < count; ++i) {
        Lanes in;
        if constexpr (Channels == 2) {
            in = Lanes{double(left[i]), double(right[i])};
            peak = std::max({peak, std::abs(int64_t(left[i])), std::abs(int64_t(right[i]))});
        } else {
            in = double(left[i]);
            peak = std::max(peak, std::abs(int64_t(left[i])));
        }
        in *= 1.0 / kFullScale<Sample>;
        // Grouped so that each state waits for one product and one
        // subtraction after the output it feeds back, not two sums.
        const Lanes shelved = s.b0 * in + shelf1;
        shelf1 = (s.b1 * in + shelf2) - s.a1 * shelved;
        shelf2 = s.b2 * in - s.a2 * shelved;
        const Lanes weighted = shelved + highPass1;
        highPass1 = (h.b1 * shelved + highPass2) - h.a1 * weighted;
        highPass2 = shelved - h.a2 * weighted;
        sum += weighted * weighted;
    }
    for (unsigned c = 0; c < Channels; ++c) {
        const auto lane = [c](const Lanes& value) {
            if constexpr (Channels == 2) {
                return double(value[c]);
            } else {
                return double(value);
            }
        };
        ChannelState& state = m_state[c];
        state = {lane(shelf1), lane(shelf2), lane(highPass1), lane(highPass2)};
        flushTiny(state.shelf1);
        flushTiny(state.shelf2);
        flushTiny(state.highPass1);
        flushTiny(state.highPass2);
        m_subBlockSum += lane(sum);
    }
    m_peak = peak << kPeakShift<Sample>;
}

void LoudnessMeter::endSubBlock()
{
    // A gating block is 400 ms, starting every 100 ms: the last four
    // sub-blocks.
    if (m_subBlocks >= 3) {
        const double sum = m_previousSums[0] + m_previousSums[1] + m_previousSums[2] + m_subBlockSum;
        m_blocks.push_back(sum / double(4 * m_subBlockFrames));
    }
    m_previousSums = {m_previousSums[1], m_previousSums[2], m_subBlockSum};
    ++m_subBlocks;
    m_subBlockSum = 0;
    m_subBlockFill = 0;
}

template <class Sample> void LoudnessMeter::addPlanar(const Sample* left, const Sample* right, size_t frames)
{
    if (!valid() || left == nullptr) {
        return;
    }
    const Sample* const channels[2] = {left, right ? right : left};
    for (size_t done = 0; done < frames;) {
        const size_t count = std::min(frames - done, m_subBlockFrames - m_subBlockFill);
        if (m_channels == 2) {
            filterRun<Sample, 2>(channels, done, count);
        } else {
            filterRun<Sample, 1>(channels, done, count);
        }
        done += count;
        m_subBlockFill += count;
        if (m_subBlockFill == m_subBlockFrames) {
            endSubBlock();
        }
    }
}

void LoudnessMeter::add(const short* left, const short* right, size_t frames)
{
    addPlanar(left, right, frames);
}

void LoudnessMeter::add(const int* left, const int* right, size_t frames)
{
    addPlanar(left, right, frames);
}

std::optional<double> LoudnessMeter::loudness() const
{
    return loudness({this});
}

double LoudnessMeter::samplePeak() const
{
    return double(m_peak) / kFullScale<int>;
}

std::optional<double> LoudnessMeter::loudness(const QList<const LoudnessMeter*>& meters)
{
    // Gated over the blocks of every meter as one: the mean of the blocks
    // above the absolute gate sets the relative gate, and the mean of those
    // above both is the loudness.
    const double absoluteGate = energyOf(kAbsoluteGate);
    const auto meanAbove = [&](double gate) -> std::optional<double> {
        double sum = 0;
        size_t count = 0;
        for (const LoudnessMeter* meter : meters) {
            if (!meter) {
                continue;
            }
            for (const double block : meter->m_blocks) {
                if (block > gate) {
                    sum += block;
                    ++count;
                }
            }
        }
        return count == 0 ? std::nullopt : std::optional<double>(sum / double(count));
    };
    const std::optional<double> ungated = meanAbove(absoluteGate);
    if (!ungated) {
        return std::nullopt;
    }
    const double relativeGate = std::max(absoluteGate, *ungated * std::pow(10.0, kRelativeGate / 10.0));
    const std::optional<double> gated = meanAbove(relativeGate);
    if (!gated) {
        return std::nullopt;
    }
    return kLoudnessOffset + 10.0 * std::log10(*gated);
}

QString LoudnessMeter::gainText(double gain)
{
    // Never "-0.00 dB".
    const double rounded = std::round(gain * 100) / 100;
    return QString::asprintf("%.2f dB", rounded == 0 ? 0.0 : rounded);
}

QString LoudnessMeter::peakText(double peak)
{
    return QString::asprintf("%.6f", peak);
}
