#pragma once
// ReplayGain 2.0 figures of the PCM that goes into the MP3 encoder: the
// integrated loudness after ITU-R BS.1770 / EBU R128 (libebur128) and the
// sample peak, as a linear value. The gain is the distance to the
// reference of -18 LUFS. An album's loudness is measured over all of its
// tracks' audio together, from the tracks' own meters.
//
// The meter keeps a histogram of the loudness blocks, so its memory does
// not grow with the length of the audio.
//
// Samples come as planar channels of 16-bit or left-justified 32-bit
// integers, the forms the encoder is given; right is null for mono.
//
// Ownership: the meter owns its libebur128 state. Threads: one at a time.
// Failures: a meter that libebur128 refuses (no channels, a rate it cannot
// take) is not valid() and measures nothing; nothing throws.

#include <QList>
#include <QString>
#include <cstddef>
#include <ebur128.h>
#include <memory>
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

    bool valid() const { return m_state != nullptr; }

    void add(const short* left, const short* right, size_t frames);
    void add(const int* left, const int* right, size_t frames);

    // Integrated loudness in LUFS; empty for silence or too little audio.
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
    struct StateDeleter
    {
        void operator()(ebur128_state* state) const;
    };
    template <class Sample> void addPlanar(const Sample* left, const Sample* right, size_t frames);

    std::unique_ptr<ebur128_state, StateDeleter> m_state;
    unsigned m_channels;
    std::vector<int> m_interleaved; // scratch, reused between calls
};
