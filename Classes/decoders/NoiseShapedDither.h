#pragma once
// Float to 16-bit conversion with noise-shaped TPDF dither, as the Opus
// decoder uses it: the quantisation error is fed back through a 4-tap
// filter chosen by the output rate, which pushes the noise above the most
// audible band at 48 and 44.1 kHz. After 17 frames of digital silence the
// dither stops, so silence stays exactly silent.
//
// The random numbers come from one process-wide linear congruential
// generator (seeded with 22222). Each process() call takes the generator's
// state, draws from it and stores it back; decoders running at once on
// several threads therefore share the sequence without locking, and only
// the order in which they interleave is unspecified.
//
// Ownership: plain value type. Threads: one thread per object.

#include <cstdint>
#include <vector>

class NoiseShapedDither
{
public:
    static constexpr int kMaxMute = 960;
    // mute counts frames of exact silence; from kSilentAfter on no noise is
    // added, and beyond kClearFeedbackAfter the feedback history (m_a_buf) is dropped.
    static constexpr int kSilentAfter = 17;
    static constexpr int kClearFeedbackAfter = 64;

    NoiseShapedDither(int channels, int fs);

    // Converts frames interleaved frames of channels() floats in [-1, 1]
    // into 16-bit samples.
    void process(const float* in, int16_t* out, int frames);

    int channels() const { return m_channels; }
    int fs() const { return m_fs; }
    int mute() const { return m_mute; }

    // The generator's next value; advances the process-wide state.
    static uint32_t nextRandom();
    static void seedRandom(uint32_t seed);

private:
    int m_channels;
    int m_fs;
    int m_mute = kMaxMute;
    std::vector<float> m_b_buf; // per channel, 4 entries, newest first
    std::vector<float> m_a_buf;
};
