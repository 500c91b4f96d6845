#pragma once
// Decoded PCM for comparisons, as left-justified 32-bit samples so that depths compare directly.

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
    std::vector<double> channel(int index) const;
};

// Checks the decoder gives signed packed little-endian PCM of this shape and layout tag.
void expectPackedFormat(const ZTDecoder& decoder, double sampleRate, uint32_t channels,
                        uint32_t bitsPerChannel, uint32_t bytesPerSample, uint32_t layoutTag);

// Reads the decoder to its end; fails after 100000 empty reads in a row (counted when asked).
Pcm decodeAll(ZTDecoder& decoder, uint32_t chunkFrames = 4096, size_t* emptyReadsBeforeTheEnd = nullptr);

Pcm pcmFromBytes(const std::vector<uint8_t>& bytes, const AudioStreamBasicDescription& format);
// ffmpeg's decode of one stream, all channels at the native rate.
Pcm decodeWithFFmpeg(const QString& path, const QString& streamSpecifier = QStringLiteral("a:0"));

struct Alignment
{
    long lag = 0;             // b[i + lag] lines up with a[i]
    double correlation = 0.0; // Pearson correlation at that lag, over the overlap
};

// The lag within [-maxLag, maxLag] that best lines up one channel of b with a.
Alignment bestAlignment(const Pcm& a, const Pcm& b, long maxLag, int channel = 0);
// A least-squares sine of this frequency after skipSeconds: amplitude and residual in dB relative to it.
struct ToneFit
{
    double amplitude = 0;
    double residualDB = 0;
};
ToneFit fitTone(const Pcm& pcm, int channel, double frequency, double skipSeconds = 0.01);

// Number of samples that differ (the lengths must match for 0).
size_t countDifferences(const Pcm& a, const Pcm& b);
