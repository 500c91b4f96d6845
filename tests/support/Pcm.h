#pragma once
// PCM for comparisons: what a decoder delivered, and what a reference tool
// (ffmpeg) makes of the same or the source file.
//
// Samples are held as 32-bit integers, left-justified (a 16-bit sample s is
// s << 16), so that files of different depths compare directly.

#include <QString>
#include <cstdint>
#include <vector>

class ZTDecoder;
struct AudioStreamBasicDescription;

struct Pcm
{
    int channels = 0;
    double sampleRate = 0;
    std::vector<int32_t> samples; // interleaved

    size_t frames() const { return channels > 0 ? samples.size() / size_t(channels) : 0; }
    // One channel as doubles in [-1, 1).
    std::vector<double> channel(int index) const;
};

// Checks the decoder's output format: signed, packed, little-endian integer
// PCM of the given rate, channels and width, and its channel layout tag.
void expectPackedFormat(const ZTDecoder& decoder, double sampleRate, uint32_t channels,
                        uint32_t bitsPerChannel, uint32_t bytesPerSample, uint32_t layoutTag);

// Reads the decoder to its end through readAudio() in chunks of chunkFrames.
// Gives up (and fails the test) after 100000 reads in a row that return
// nothing without reaching the end. Counts those reads when asked.
Pcm decodeAll(ZTDecoder& decoder, uint32_t chunkFrames = 4096, size_t* emptyReadsBeforeTheEnd = nullptr);

// Converts interleaved little-endian integer bytes of the given format.
Pcm pcmFromBytes(const std::vector<uint8_t>& bytes, const AudioStreamBasicDescription& format);

// Decodes path with ffmpeg to 32-bit PCM (all channels, native rate).
// streamSpecifier picks the stream ("a:0" by default).
Pcm decodeWithFFmpeg(const QString& path, const QString& streamSpecifier = QStringLiteral("a:0"));

struct Alignment
{
    long lag = 0;             // b[i + lag] lines up with a[i]
    double correlation = 0.0; // Pearson correlation at that lag, over the overlap
};

// The lag within [-maxLag, maxLag] that best lines up channel `channel` of b
// with a, and the correlation there.
Alignment bestAlignment(const Pcm& a, const Pcm& b, long maxLag, int channel = 0);

// A sine of a known frequency fitted (least squares) to one channel after
// its first skipSeconds: its amplitude (of full scale), and what is left once
// it is removed, in dB relative to it (a wrong frequency leaves nearly all).
struct ToneFit
{
    double amplitude = 0;
    double residualDB = 0;
};
ToneFit fitTone(const Pcm& pcm, int channel, double frequency, double skipSeconds = 0.01);

// Number of samples that differ (the lengths must match for 0).
size_t countDifferences(const Pcm& a, const Pcm& b);
