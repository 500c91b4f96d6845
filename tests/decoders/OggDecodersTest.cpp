// Vorbis, Opus and Speex are lossy: each decoded channel must line up with
// its source channel (correlation above 0.95 after alignment) and the length
// must follow each decoder's rule: Vorbis and Opus trimmed to the encoder's
// length as ffmpeg reads it, Speex untrimmed whole frames.

#include "Fixtures.h"
#include "Pcm.h"
#include "Tools.h"
#include "ZTDecoder.h"

#include <QJsonObject>
#include <cmath>
#include <gtest/gtest.h>
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
    double sum = 0;
    for (double s : samples) {
        sum += s * s;
    }
    return samples.empty() ? 0.0 : std::sqrt(sum / double(samples.size()));
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
        // The span of the page granules, at 48 kHz whatever the output rate,
        // pre-skip included: what ffprobe calls the stream's duration.
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
        Pcm one = decoded;
        Pcm reference = source;
        // bestAlignment compares one channel index of both; bring the
        // source channel that belongs to this decoded channel to it.
        for (size_t frame = 0; frame < reference.frames(); ++frame) {
            reference.samples[frame * size_t(reference.channels) + size_t(channel)] =
                source.samples[frame * size_t(source.channels) + size_t(c.sourceChannel[size_t(channel)])];
        }
        const Alignment alignment = bestAlignment(reference, one, c.maxLag, channel);
        EXPECT_GT(alignment.correlation, 0.95) << "channel " << channel << " lag " << alignment.lag;
    }
}

// One row per file: file, source, decoder, rate, source channel of each
// decoded channel, layout, length rule, Speex frame size, largest lag.
// clang-format off
INSTANTIATE_TEST_SUITE_P(
    Files, OggDecoding,
    testing::Values(
        OggCase{"dec-vorbis-1ch.ogg", "dec-vorbis-src-1ch.wav", "OggVorbisDecoder", 44100, {0},
                kAudioChannelLayoutTag_Mono, Length::Source, 0, 8},
        OggCase{"dec-vorbis-2ch.ogg", "dec-vorbis-src-2ch.wav", "OggVorbisDecoder", 44100, {0, 1},
                kAudioChannelLayoutTag_Stereo, Length::Source, 0, 8},
        // Vorbis order L C R Ls Rs LFE from WAVE's L R C LFE Ls Rs.
        OggCase{"dec-vorbis-6ch.ogg", "dec-vorbis-src-6ch.wav", "OggVorbisDecoder", 44100, {0, 2, 1, 4, 5, -1},
                kAudioChannelLayoutTag_MPEG_5_1_C, Length::Source, 0, 8},
        // L C R Ls Rs Cs LFE from WAVE's L R C LFE Cs Ls Rs.
        OggCase{"dec-vorbis-7ch.ogg", "dec-vorbis-src-7ch.wav", "OggVorbisDecoder", 44100, {0, 2, 1, 5, 6, 4, 3},
                kAudioChannelLayoutTag_UseChannelDescriptions, Length::Source, 0, 8},
        OggCase{"dec-opus-48k-2ch.opus", "dec-opus-src-48k-2ch.wav", "OggOpusDecoder", 48000, {0, 1},
                kAudioChannelLayoutTag_Stereo, Length::FFmpeg, 0, 8},
        OggCase{"dec-opus-48k-6ch.opus", "dec-opus-src-48k-6ch.wav", "OggOpusDecoder", 48000, {0, 2, 1, 4, 5, -1},
                kAudioChannelLayoutTag_MPEG_5_1_C, Length::FFmpeg, 0, 8},
        OggCase{"dec-opus-44k-2ch.opus", "dec-opus-src-44k-2ch.wav", "OggOpusDecoder", 44100, {0, 1},
                kAudioChannelLayoutTag_Stereo, Length::FFmpegAt44100, 0, 64},
        OggCase{"core.opus", "core-48k-mono-16.wav", "OggOpusDecoder", 48000, {0},
                kAudioChannelLayoutTag_Mono, Length::FFmpeg, 0, 8},
        OggCase{"dec-speex-n-1ch.spx", "dec-speex-src-n-1ch.wav", "OggSpeexDecoder", 8000, {0},
                kAudioChannelLayoutTag_Mono, Length::SpeexFrames, 160, 400},
        OggCase{"dec-speex-w-1ch.spx", "dec-speex-src-w-1ch.wav", "OggSpeexDecoder", 16000, {0},
                kAudioChannelLayoutTag_Mono, Length::SpeexFrames, 320, 400},
        OggCase{"dec-speex-w-2ch.spx", "dec-speex-src-w-2ch.wav", "OggSpeexDecoder", 16000, {0, 1},
                kAudioChannelLayoutTag_Stereo, Length::SpeexFrames, 320, 400},
        OggCase{"dec-speex-n-2ch.spx", "dec-speex-src-n-2ch.wav", "OggSpeexDecoder", 8000, {0, 1},
                kAudioChannelLayoutTag_Stereo, Length::SpeexFrames, 160, 400},
        OggCase{"dec-speex-u-1ch.spx", "dec-speex-src-u-1ch.wav", "OggSpeexDecoder", 32000, {0},
                kAudioChannelLayoutTag_Mono, Length::SpeexFrames, 640, 800},
        OggCase{"dec-speex-u-2ch.spx", "dec-speex-src-u-2ch.wav", "OggSpeexDecoder", 32000, {0, 1},
                kAudioChannelLayoutTag_Stereo, Length::SpeexFrames, 640, 800}),
    [](const testing::TestParamInfo<OggCase>& info) { return testNameOf(QLatin1String(info.param.file)); });
// clang-format on

TEST(OggVorbisDecoder, SevenChannelsAreDescribedInVorbisOrder)
{
    std::unique_ptr<ZTDecoder> decoder =
        ZTDecoder::decoderWithFilename(Fixtures::generated("dec-vorbis-7ch.ogg"));
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
    std::unique_ptr<ZTDecoder> plain =
        ZTDecoder::decoderWithFilename(Fixtures::generated("dec-opus-48k-2ch.opus"));
    std::unique_ptr<ZTDecoder> quieter =
        ZTDecoder::decoderWithFilename(Fixtures::generated("dec-opus-gain-minus6db.opus"));
    ASSERT_NE(plain, nullptr);
    ASSERT_NE(quieter, nullptr);
    const Pcm a = decodeAll(*plain);
    const Pcm b = decodeAll(*quieter);
    ASSERT_EQ(a.frames(), b.frames());
    EXPECT_NEAR(rms(b.channel(0)) / rms(a.channel(0)), 0.5, 0.01);
}

// At 44.1 kHz the decoder's output comes within 62 dB of an exact resampling
// of libopus's 48 kHz output (sox's "rate -v"); its 16-bit noise-shaped
// dither keeps it near 65 dB, and libsoxr's medium quality falls to 60. The Speex resampler at quality 5,
// which the decoder once used, reaches about 53 dB on such noise (benchmarks/ResamplerComparison.cpp). The
// reference repeats the decoder's timing: the 48 kHz pre-skip (here zeros) is resampled with the rest, then
// the pre-skip's count of output frames is dropped.
TEST(OggOpusDecoder, ResamplesTo44100CloseToAnExactResampling)
{
    ScratchDir scratch;
    const QString opus = Fixtures::generated("dec-opus-44k-noise.opus");
    const QString decoded48k = scratch.file("48k.wav");
    const QString reference = scratch.file("reference.wav");
    ASSERT_EQ(runTool("opusdec", {"--quiet", "--rate", "48000", "--float", "--no-dither", opus, decoded48k})
                  .exitCode,
              0);
    // 312 samples: the pre-skip in the file's header.
    ASSERT_EQ(runTool("sox", {"-D", decoded48k, "-e", "floating-point", "-b", "32", reference, "pad",
                              "312s@0", "rate", "-v", "44100", "trim", "312s"})
                  .exitCode,
              0);
    const Pcm expected = decodeWithFFmpeg(reference);
    // Signal to difference, in dB, over the middle, away from the ends where
    // the resamplers see different edges.
    const auto closeness = [&expected](const Pcm& pcm) {
        const size_t frames = std::min(pcm.frames(), expected.frames());
        EXPECT_GT(frames, 40000u);
        double signal = 0;
        double noise = 0;
        for (size_t i = 2 * 2048; i < 2 * (frames - 2048); ++i) {
            const double r = double(expected.samples[i]);
            const double d = double(pcm.samples[i]) - r;
            signal += r * r;
            noise += d * d;
        }
        return 10.0 * std::log10(signal / noise);
    };
    auto decoder = ZTDecoder::decoderWithFilename(opus);
    ASSERT_NE(decoder, nullptr);
    const Pcm pcm = decodeAll(*decoder);
    ASSERT_EQ(pcm.sampleRate, 44100);
    EXPECT_GT(closeness(pcm), 62.0);
}

TEST(OggSpeexDecoder, ExpandsIntensityStereo)
{
    // The source is the same tone at 0.9 on the left and 0.5 on the right.
    for (const char* file : {"dec-speex-n-2ch.spx", "dec-speex-w-2ch.spx", "dec-speex-u-2ch.spx"}) {
        std::unique_ptr<ZTDecoder> decoder =
            ZTDecoder::decoderWithFilename(Fixtures::generated(QLatin1String(file)));
        ASSERT_NE(decoder, nullptr);
        const Pcm decoded = decodeAll(*decoder);
        EXPECT_NEAR(rms(decoded.channel(0)) / rms(decoded.channel(1)), 1.8, 0.3) << file;
    }
}

TEST(OggOpusDecoder, ATruncatedFileEndsWhereItsPacketsEnd)
{
    std::unique_ptr<ZTDecoder> decoder =
        ZTDecoder::decoderWithFilename(Fixtures::generated("dec-opus-truncated.opus"));
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

TEST(OggSpeexDecoder, AHeaderAnnouncingHugePacketsStillDecodes)
{
    std::unique_ptr<ZTDecoder> decoder =
        ZTDecoder::decoderWithFilename(Fixtures::generated("dec-speex-200-frames.spx"));
    ASSERT_NE(decoder, nullptr);
    const Pcm decoded = decodeAll(*decoder);
    EXPECT_TRUE(decoder->isEndOfFile());
    EXPECT_GE(decoded.frames(), 16000u);
}

} // namespace
