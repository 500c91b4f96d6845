#pragma once
// ReplayGain 2.0 figures of the PCM that goes into the MP3 encoder: the
// integrated loudness after ITU-R BS.1770-4 / EBU R128 and the sample peak,
// as a linear value. The gain is the distance to the reference of -18 LUFS.
// An album's loudness is measured over all of its tracks' audio together,
// from the tracks' own meters.
//
// The meter runs beside the encoder on every sample, so it is written for
// speed: both channels go through the K-weighting filter (a high shelf and
// a high-pass, as two biquads) in one pass with the filter state in
// registers, and each 100 ms adds one sum of squares, from which the
// overlapping 400 ms gating blocks are put together without summing any
// sample twice. It keeps one number per 100 ms of audio (some 290 KB per
// hour), which lets an album be gated over all its tracks exactly.
// libebur128 measures the same but takes about six times as long, some 9 %
// of LAME's time at V2 against 1.5 % (benchmarks/LoudnessMeterBenchmark.cpp
// runs the three side by side); the tests hold our figures against ffmpeg's
// meter.
//
// Samples come as planar channels of 16-bit or left-justified 32-bit
// integers, the forms the encoder is given; right is null for mono. Both
// channels weigh 1 (left and right, or a single channel).
//
// Ownership: plain values, no handles. Threads: one at a time. Failures: a
// meter of no channels, more than two, or a sample rate below 8 kHz is not
// valid() and measures nothing; nothing throws.

#include <QList>
#include <QString>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

class LoudnessMeter
{
public:
    static constexpr double kReferenceLoudness = -18.0;

    LoudnessMeter(unsigned channels, unsigned long sampleRate);
    ~LoudnessMeter();
    LoudnessMeter(const LoudnessMeter&) = delete;
    LoudnessMeter& operator=(const LoudnessMeter&) = delete;

    bool valid() const { return m_channels != 0; }

    void add(const short* left, const short* right, size_t frames);
    void add(const int* left, const int* right, size_t frames);

    // Integrated loudness in LUFS; empty for silence or too little audio
    // (less than one 400 ms block).
    std::optional<double> loudness() const;
    // The largest sample magnitude of every channel, 1.0 being full scale.
    double samplePeak() const;

    // The loudness of the meters' audio taken together.
    static std::optional<double> loudness(const QList<const LoudnessMeter*>& meters);
    static double gainFor(double loudness) { return kReferenceLoudness - loudness; }

    // The tag texts: "-6.48 dB" and "0.912345".
    static QString gainText(double gain);
    static QString peakText(double peak);

private:
    // One second-order section, transposed direct form II.
    struct Biquad
    {
        double b0, b1, b2, a1, a2;
    };
    typedef double DoublePair __attribute__((vector_size(16)));
    struct ChannelState
    {
        double shelf1 = 0, shelf2 = 0, highPass1 = 0, highPass2 = 0;
    };

    template <class Sample> void addPlanar(const Sample* left, const Sample* right, size_t frames);
    template <class Sample, unsigned Channels>
    void filterRun(const Sample* const* channels, size_t from, size_t count);
    void endSubBlock();

    unsigned m_channels = 0;
    Biquad m_shelf{};
    Biquad m_highPass{};
    ChannelState m_state[2]{};
    size_t m_subBlockFrames = 0; // frames in 100 ms
    size_t m_subBlockFill = 0;
    double m_subBlockSum = 0; // K-weighted squares of the sub-block so far, all channels
    std::array<double, 3> m_previousSums{};
    unsigned m_subBlocks = 0;
    // Mean square of each 400 ms block, every 100 ms.
    std::vector<double> m_blocks;
    int64_t m_peak = 0; // at 32-bit scale
};
