#include "LoudnessMeter.h"

#include <algorithm>
#include <cmath>
#include <ebur128.h>

void LoudnessMeter::StateDeleter::operator()(ebur128_state* state) const
{
    ebur128_destroy(&state);
}

LoudnessMeter::LoudnessMeter(unsigned channels, unsigned long sampleRate) : m_channels(channels)
{
    if (channels == 0 || channels > 2 || sampleRate == 0) {
        return;
    }
    m_state.reset(ebur128_init(channels, sampleRate,
                               EBUR128_MODE_I | EBUR128_MODE_SAMPLE_PEAK | EBUR128_MODE_HISTOGRAM));
}

LoudnessMeter::~LoudnessMeter() = default;

template <class Sample> void LoudnessMeter::addPlanar(const Sample* left, const Sample* right, size_t frames)
{
    if (!m_state || left == nullptr || frames == 0) {
        return;
    }
    // libebur128 takes interleaved integers at full 32-bit scale.
    constexpr int kShift = sizeof(Sample) == 2 ? 16 : 0;
    m_interleaved.resize(frames * m_channels);
    for (size_t i = 0; i < frames; ++i) {
        m_interleaved[i * m_channels] = int(uint32_t(int32_t(left[i])) << kShift);
        if (m_channels == 2) {
            m_interleaved[i * 2 + 1] = int(uint32_t(int32_t((right ? right : left)[i])) << kShift);
        }
    }
    ebur128_add_frames_int(m_state.get(), m_interleaved.data(), frames);
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
    double peak = 0;
    for (unsigned channel = 0; m_state && channel < m_channels; ++channel) {
        double value = 0;
        if (ebur128_sample_peak(m_state.get(), channel, &value) == EBUR128_SUCCESS) {
            peak = std::max(peak, value);
        }
    }
    return peak;
}

std::optional<double> LoudnessMeter::loudness(const QList<const LoudnessMeter*>& meters)
{
    std::vector<ebur128_state*> states;
    for (const LoudnessMeter* meter : meters) {
        if (meter && meter->m_state) {
            states.push_back(meter->m_state.get());
        }
    }
    double value = -HUGE_VAL;
    if (states.empty() ||
        ebur128_loudness_global_multiple(states.data(), states.size(), &value) != EBUR128_SUCCESS ||
        !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
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
