// Each decoded Vorbis, Opus and Speex channel lines up with its source
// channel, and the length follows each decoder's rule.
// Then the Opus decoder's dither: an unbiased error moved to the top of the band.

#include "Fixtures.h"
#include "NoiseShapedDither.h"
#include "Pcm.h"
#include "Tools.h"
#include "ZTDecoder.h"

#include <QJsonObject>
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <numeric>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

enum class Length
{
    Source,        // exactly the source's frames
    FFmpeg,        // exactly what ffmpeg decodes from the file
    FFmpegAt44100, // ffmpeg's 48 kHz length converted to 44.1 kHz
    SpeexFrames,   // whole frames of frameSize, covering the source
};

struct OggCase
{
    const char* file;
    const char* source;
    const char* decoderClass;
    double rate;
    // Per decoded channel, the source channel it carries; -1 for an LFE
    // channel, which the encoders band-limit below the test tone.
    std::vector<int> sourceChannel;
    uint32_t layoutTag;
    Length length;
    int frameSize; // Speex only
    long maxLag;
};

double rms(const std::vector<double>& samples)
{
    return std::sqrt(std::inner_product(samples.begin(), samples.end(), samples.begin(), 0.0) /
                     double(std::max<size_t>(samples.size(), 1)));
}

class OggDecoding : public testing::TestWithParam<OggCase>
{
};

TEST_P(OggDecoding, FollowsTheSourceWithTheDecodersLength)
{
    const OggCase& c = GetParam();
    const QString path = Fixtures::generated(QLatin1String(c.file));
    const Pcm source = decodeWithFFmpeg(Fixtures::generated(QLatin1String(c.source)));
    const int channels = int(c.sourceChannel.size());

    std::unique_ptr<ZTDecoder> decoder = ZTDecoder::decoderWithFilename(path);
    ASSERT_NE(decoder, nullptr);
    EXPECT_EQ(decoder->className(), QLatin1String(c.decoderClass));
    expectPackedFormat(*decoder, c.rate, uint32_t(channels), 16, 2, c.layoutTag);

    if (QLatin1String(c.decoderClass) == QLatin1String("OggOpusDecoder")) {
        // The granules' span at 48 kHz, pre-skip included: ffprobe's duration.
        const QJsonObject stream = ffprobe(path, {u"-show_streams"_s})[u"streams"_s][0].toObject();
        EXPECT_EQ(decoder->totalFrames(), stream[u"duration_ts"_s].toInteger());
    }

    const Pcm decoded = decodeAll(*decoder, 1000);
    switch (c.length) {
    case Length::Source:
        EXPECT_EQ(decoded.frames(), source.frames());
        EXPECT_EQ(decoder->totalFrames(), int64_t(source.frames()));
        break;
    case Length::FFmpeg:
        EXPECT_EQ(decoded.frames(), decodeWithFFmpeg(path).frames());
        break;
    case Length::FFmpegAt44100:
        EXPECT_NEAR(double(decoded.frames()), double(decodeWithFFmpeg(path).frames()) * 44100.0 / 48000.0,
                    1.0);
        break;
    case Length::SpeexFrames:
        EXPECT_EQ(decoded.frames() % size_t(c.frameSize), 0u) << decoded.frames();
        EXPECT_GE(decoded.frames(), source.frames());
        EXPECT_LE(decoded.frames(), source.frames() + 2 * size_t(c.frameSize));
        EXPECT_EQ(decoder->totalFrames(), int64_t(source.frames()));
        break;
    }

    for (int channel = 0; channel < channels; ++channel) {
        if (c.sourceChannel[size_t(channel)] < 0) {
            continue;
        }
        Pcm reference = source;
        // bestAlignment compares one channel index of both: move the source channel there.
        for (size_t frame = 0; frame < reference.frames(); ++frame) {
            reference.samples[frame * size_t(reference.channels) + size_t(channel)] =
                source.samples[frame * size_t(source.channels) + size_t(c.sourceChannel[size_t(channel)])];
        }
        const Alignment alignment = bestAlignment(reference, decoded, c.maxLag, channel);
        EXPECT_GT(alignment.correlation, 0.95) << "channel " << channel << " lag " << alignment.lag;
    }
}

constexpr uint32_t kMono = kAudioChannelLayoutTag_Mono;
constexpr uint32_t kStereo = kAudioChannelLayoutTag_Stereo;
constexpr uint32_t k51 = kAudioChannelLayoutTag_MPEG_5_1_C;

// clang-format off
INSTANTIATE_TEST_SUITE_P(Files, OggDecoding, testing::Values(
    OggCase{"dec-vorbis-1ch.ogg", "dec-vorbis-src-1ch.wav", "OggVorbisDecoder", 44100, {0}, kMono, Length::Source, 0, 8},
    OggCase{"dec-vorbis-2ch.ogg", "dec-vorbis-src-2ch.wav", "OggVorbisDecoder", 44100, {0, 1}, kStereo, Length::Source, 0, 8},
    // Vorbis order L C R Ls Rs LFE from WAVE's L R C LFE Ls Rs.
    OggCase{"dec-vorbis-6ch.ogg", "dec-vorbis-src-6ch.wav", "OggVorbisDecoder", 44100, {0, 2, 1, 4, 5, -1}, k51,
            Length::Source, 0, 8},
    // L C R Ls Rs Cs LFE from WAVE's L R C LFE Cs Ls Rs.
    OggCase{"dec-vorbis-7ch.ogg", "dec-vorbis-src-7ch.wav", "OggVorbisDecoder", 44100, {0, 2, 1, 5, 6, 4, 3},
            kAudioChannelLayoutTag_UseChannelDescriptions, Length::Source, 0, 8},
    OggCase{"dec-opus-48k-2ch.opus", "dec-opus-src-48k-2ch.wav", "OggOpusDecoder", 48000, {0, 1}, kStereo, Length::FFmpeg, 0, 8},
    OggCase{"dec-opus-48k-6ch.opus", "dec-opus-src-48k-6ch.wav", "OggOpusDecoder", 48000, {0, 2, 1, 4, 5, -1}, k51,
            Length::FFmpeg, 0, 8},
    OggCase{"dec-opus-44k-2ch.opus", "dec-opus-src-44k-2ch.wav", "OggOpusDecoder", 44100, {0, 1}, kStereo,
            Length::FFmpegAt44100, 0, 64},
    OggCase{"core.opus", "core-48k-mono-16.wav", "OggOpusDecoder", 48000, {0}, kMono, Length::FFmpeg, 0, 8},
    OggCase{"dec-speex-n-1ch.spx", "dec-speex-src-n-1ch.wav", "OggSpeexDecoder", 8000, {0}, kMono, Length::SpeexFrames, 160, 400},
    OggCase{"dec-speex-w-2ch.spx", "dec-speex-src-w-2ch.wav", "OggSpeexDecoder", 16000, {0, 1}, kStereo,
            Length::SpeexFrames, 320, 400},
    OggCase{"dec-speex-n-2ch.spx", "dec-speex-src-n-2ch.wav", "OggSpeexDecoder", 8000, {0, 1}, kStereo,
            Length::SpeexFrames, 160, 400},
    OggCase{"dec-speex-u-2ch.spx", "dec-speex-src-u-2ch.wav", "OggSpeexDecoder", 32000, {0, 1}, kStereo,
            Length::SpeexFrames, 640, 800}),
    [](const testing::TestParamInfo<OggCase>& info) { return testNameOf(QLatin1String(info.param.file)); });
// clang-format on

std::unique_ptr<ZTDecoder> openGenerated(const char* name)
{
    return ZTDecoder::decoderWithFilename(Fixtures::generated(QLatin1String(name)));
}

Pcm decodeGenerated(const char* name)
{
    std::unique_ptr<ZTDecoder> decoder = openGenerated(name);
    EXPECT_NE(decoder, nullptr) << name;
    return decoder ? decodeAll(*decoder) : Pcm{};
}

TEST(OggVorbisDecoder, SevenChannelsAreDescribedInVorbisOrder)
{
    std::unique_ptr<ZTDecoder> decoder = openGenerated("dec-vorbis-7ch.ogg");
    ASSERT_NE(decoder, nullptr);
    ASSERT_NE(decoder->channelLayout(), nullptr);
    std::vector<uint32_t> labels;
    for (const AudioChannelDescription& description : decoder->channelLayout()->mChannelDescriptions) {
        labels.push_back(description.mChannelLabel);
    }
    EXPECT_EQ(labels, (std::vector<uint32_t>{
                          kAudioChannelLabel_Left, kAudioChannelLabel_Center, kAudioChannelLabel_Right,
                          kAudioChannelLabel_LeftSurround, kAudioChannelLabel_RightSurround,
                          kAudioChannelLabel_CenterSurround, kAudioChannelLabel_LFEScreen}));
}

TEST(OggOpusDecoder, AppliesTheHeaderGain)
{
    const Pcm plain = decodeGenerated("dec-opus-48k-2ch.opus");
    const Pcm quieter = decodeGenerated("dec-opus-gain-minus6db.opus");
    ASSERT_EQ(plain.frames(), quieter.frames());
    EXPECT_NEAR(rms(quieter.channel(0)) / rms(plain.channel(0)), 0.5, 0.01);
}

TEST(OggSpeexDecoder, ExpandsIntensityStereoAndTakesHugePackets)
{
    // The same tone at 0.9 on the left and 0.5 on the right.
    for (const char* file : {"dec-speex-n-2ch.spx", "dec-speex-w-2ch.spx", "dec-speex-u-2ch.spx"}) {
        const Pcm decoded = decodeGenerated(file);
        EXPECT_NEAR(rms(decoded.channel(0)) / rms(decoded.channel(1)), 1.8, 0.3) << file;
    }
    // A header announcing 200 frames a packet.
    EXPECT_GE(decodeGenerated("dec-speex-200-frames.spx").frames(), 16000u);
}

TEST(OggOpusDecoder, ATruncatedFileEndsWhereItsPacketsEnd)
{
    std::unique_ptr<ZTDecoder> decoder = openGenerated("dec-opus-truncated.opus");
    ASSERT_NE(decoder, nullptr);
    // The last page is gone, so the length is that of the last page left.
    EXPECT_GT(decoder->totalFrames(), 0);
    const Pcm decoded = decodeAll(*decoder);
    EXPECT_TRUE(decoder->isEndOfFile());
    EXPECT_GT(decoded.frames(), 10000u);
    EXPECT_LT(decoded.frames(), 48000u);
    // No end-of-stream page: reported where the decoded audio ends.
    EXPECT_EQ(decoder->damage().count(DecoderDamage::Kind::NoEndOfStream), 1);
    EXPECT_EQ(decoder->damage().firstFrame(DecoderDamage::Kind::NoEndOfStream), int64_t(decoded.frames()));
    const Alignment alignment =
        bestAlignment(decodeWithFFmpeg(Fixtures::generated("dec-opus-src-48k-2ch.wav")), decoded, 8);
    EXPECT_EQ(alignment.lag, 0);
    EXPECT_GT(alignment.correlation, 0.95);
}

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

    // After sound, the noise and its feedback die out within a block of silence.
    dither.process(tone.data(), out.data(), 100);
    dither.process(silence.data(), out.data(), 100);
    EXPECT_EQ(std::count(out.begin() + 100, out.end(), 0), 100);
    EXPECT_EQ(dither.mute(), 100);
    dither.process(silence.data(), out.data(), 100);
    EXPECT_EQ(std::count(out.begin(), out.end(), 0), 200);
}

} // namespace
