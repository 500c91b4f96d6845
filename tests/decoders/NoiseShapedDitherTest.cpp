// The dither of the Opus decoder, measured on what it produces: an error
// without bias whose energy the 48 and 44.1 kHz filters move to the top of
// the band, and digital silence that stays exactly silent.

#include "NoiseShapedDither.h"

#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <vector>

namespace {

struct ErrorSpectrum
{
    double mean = 0;
    double rms = 0;
    double highToLow = 0; // energy of the error's differences over that of its sums
};

// Dithers a quiet 1 kHz tone and looks at the quantisation error.
ErrorSpectrum measure(int fs, float gain)
{
    constexpr int kFrames = 48000;
    std::vector<float> in(kFrames);
    for (int i = 0; i < kFrames; ++i) {
        in[size_t(i)] = 0.01f * float(std::sin(2 * std::numbers::pi * 1000.0 * i / fs));
    }
    std::vector<int16_t> out(kFrames);
    NoiseShapedDither dither(1, fs);
    dither.process(in.data(), out.data(), kFrames);

    ErrorSpectrum spectrum;
    double sum = 0, squares = 0, high = 0, low = 0, previous = 0;
    for (int i = 0; i < kFrames; ++i) {
        const double error = double(out[size_t(i)]) - double(in[size_t(i)]) * gain;
        sum += error;
        squares += error * error;
        high += (error - previous) * (error - previous);
        low += (error + previous) * (error + previous);
        previous = error;
    }
    spectrum.mean = sum / kFrames;
    spectrum.rms = std::sqrt(squares / kFrames);
    spectrum.highToLow = high / low;
    return spectrum;
}

TEST(NoiseShapedDither, PushesTheErrorAboveTheAudibleBandWithoutBias)
{
    for (int fs : {48000, 44100}) {
        const ErrorSpectrum spectrum = measure(fs, 32753.0f);
        EXPECT_LT(std::abs(spectrum.mean), 0.05) << fs;
        EXPECT_LT(spectrum.rms, 4.0) << fs;
        EXPECT_GT(spectrum.highToLow, 10.0) << fs;
    }
    // Other rates get plain dither: error within a couple of steps, no bias.
    const ErrorSpectrum plain = measure(16000, 32765.0f);
    EXPECT_LT(std::abs(plain.mean), 0.05);
    EXPECT_LT(plain.rms, 2.0);
}

TEST(NoiseShapedDither, DigitalSilenceStaysSilent)
{
    NoiseShapedDither dither(2, 48000);
    std::vector<float> silence(2 * 100, 0.0f);
    std::vector<float> tone(2 * 100);
    for (size_t i = 0; i < tone.size(); ++i) {
        tone[i] = 0.3f * float(std::sin(double(i) * 0.05));
    }
    std::vector<int16_t> out(silence.size());

    dither.process(silence.data(), out.data(), 100);
    EXPECT_EQ(std::count(out.begin(), out.end(), 0), 200);

    // After sound, the dither noise and its feedback die out within the
    // first block of silence; from the next block on the output is zero.
    dither.process(tone.data(), out.data(), 100);
    dither.process(silence.data(), out.data(), 100);
    EXPECT_EQ(std::count(out.begin() + 100, out.end(), 0), 100);
    EXPECT_EQ(dither.mute(), 100);
    dither.process(silence.data(), out.data(), 100);
    EXPECT_EQ(std::count(out.begin(), out.end(), 0), 200);
}

} // namespace
