// The platform reader's formats decode to what ffmpeg reads from the same
// PCM: sample for sample when lossless, waveform for waveform when lossy.

#include "CoreAudioDecoder.h"
#include "Fixtures.h"
#include "Pcm.h"
#include "Tools.h"

#include <cstdlib>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

std::unique_ptr<ZTDecoder> openGenerated(const char* name)
{
    return ZTDecoder::decoderWithFilename(Fixtures::generated(QLatin1String(name)));
}

// Frames [from, from + count) of pcm.
Pcm slice(const Pcm& pcm, size_t from, size_t count)
{
    Pcm part{pcm.channels, pcm.sampleRate, {}};
    const size_t begin = std::min(pcm.samples.size(), from * size_t(pcm.channels));
    const size_t end = std::min(pcm.samples.size(), (from + count) * size_t(pcm.channels));
    part.samples.assign(pcm.samples.begin() + ptrdiff_t(begin), pcm.samples.begin() + ptrdiff_t(end));
    return part;
}

struct LosslessCase
{
    const char* file;
    const char* source; // the PCM it was made from
    double sampleRate;
    uint32_t channels;
    uint32_t bitsPerChannel;
    uint32_t bytesPerSample;
    uint32_t layoutTag;
};

class CoreAudioLossless : public testing::TestWithParam<LosslessCase>
{
};

TEST_P(CoreAudioLossless, DeliversTheSourceSamplesInTheFileWidth)
{
    const LosslessCase& c = GetParam();
    ErrorLogCapture log;
    auto decoder = openGenerated(c.file);
    ASSERT_NE(decoder, nullptr) << log.messages().join(QLatin1Char('\n')).toStdString();
    ASSERT_EQ(decoder->className(), u"CoreAudioDecoder"_s);
    expectPackedFormat(*decoder, c.sampleRate, c.channels, c.bitsPerChannel, c.bytesPerSample, c.layoutTag);

    // Odd chunk sizes make reads straddle the ring buffer's refills.
    const Pcm decoded = decodeAll(*decoder, 1531);
    const Pcm source = decodeWithFFmpeg(Fixtures::generated(QLatin1String(c.source)));
    ASSERT_EQ(decoded.frames(), source.frames());
    EXPECT_EQ(decoder->totalFrames(), int64_t(decoded.frames()));
    if (c.bitsPerChannel == 8 * c.bytesPerSample) {
        EXPECT_EQ(countDifferences(decoded, source), 0u);
    } else {
        // Wider samples than the bytes hold: the top bits, rounded.
        size_t far = 0;
        for (size_t i = 0; i < source.samples.size(); ++i) {
            far += std::llabs(int64_t(decoded.samples[i]) - source.samples[i]) > 0x8000 ? 1 : 0;
        }
        EXPECT_EQ(far, 0u);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Files, CoreAudioLossless,
    testing::Values(
        LosslessCase{"plat-u8.wav", "plat-u8.wav", 22050, 1, 8, 1, kAudioChannelLayoutTag_Mono},
        LosslessCase{"plat-src-44k-2-16.wav", "plat-src-44k-2-16.wav", 44100, 2, 16, 2,
                     kAudioChannelLayoutTag_Stereo},
        LosslessCase{"plat-src-48k-2-24.wav", "plat-src-48k-2-24.wav", 48000, 2, 24, 3,
                     kAudioChannelLayoutTag_Stereo},
        LosslessCase{"plat-s32.wav", "plat-s32.wav", 32000, 2, 32, 4, kAudioChannelLayoutTag_Stereo},
        LosslessCase{"plat-float.wav", "plat-float.wav", 44100, 2, 32, 4, kAudioChannelLayoutTag_Stereo},
        // WAVE_FORMAT_EXTENSIBLE with the 5.1 mask: the bitmap becomes a tag.
        LosslessCase{"plat-51.wav", "plat-src-44k-6-16.wav", 44100, 6, 16, 2,
                     kAudioChannelLayoutTag_MPEG_5_1_A},
        LosslessCase{"plat.rf64", "plat-src-48k-2-24.wav", 48000, 2, 24, 3, kAudioChannelLayoutTag_Stereo},
        LosslessCase{"plat.w64", "plat-src-44k-6-16.wav", 44100, 6, 16, 2, kAudioChannelLayoutTag_Unknown},
        LosslessCase{"plat-24.aiff", "plat-src-48k-2-24.wav", 48000, 2, 24, 3, kAudioChannelLayoutTag_Stereo},
        LosslessCase{"plat.aifc", "plat-src-44k-2-16.wav", 44100, 2, 16, 2, kAudioChannelLayoutTag_Stereo},
        // A-law states no width and decodes to 16 bits, as its reference does.
        LosslessCase{"plat-alaw.aifc", "plat-alaw.aifc", 48000, 1, 16, 2, kAudioChannelLayoutTag_Mono},
        LosslessCase{"plat.caf", "plat-src-48k-2-24.wav", 48000, 2, 24, 3, kAudioChannelLayoutTag_Stereo},
        // A layout chunk naming MPEG_4_0_A: its tag is kept as written, and
        // reading it stays inside the chunk (AddressSanitizer watches).
        LosslessCase{"plat-chan-overread-mpeg40a.aiff", "plat-chan-overread-mpeg40a.aiff", 44100, 4, 16, 2,
                     kAudioChannelLayoutTag_MPEG_4_0_A},
        LosslessCase{"plat-chan-overread-mpeg40a.caf", "plat-chan-overread-mpeg40a.aiff", 44100, 4, 16, 2,
                     kAudioChannelLayoutTag_MPEG_4_0_A},
        LosslessCase{"plat.au", "plat-src-48k-1-16.wav", 48000, 1, 16, 2, kAudioChannelLayoutTag_Mono},
        LosslessCase{"plat-alac16.m4a", "plat-src-44k-2-16.wav", 44100, 2, 16, 2,
                     kAudioChannelLayoutTag_Stereo},
        LosslessCase{"plat-alac24.m4a", "plat-src-48k-2-24.wav", 48000, 2, 24, 3,
                     kAudioChannelLayoutTag_Stereo},
        // 20-bit ALAC keeps 2-byte samples, in either container.
        LosslessCase{"plat-alac20.caf", "plat-alac20.m4a", 48000, 2, 20, 2, kAudioChannelLayoutTag_Stereo},
        LosslessCase{"plat-alac20.m4a", "plat-alac20.m4a", 48000, 2, 20, 2, kAudioChannelLayoutTag_Stereo}),
    [](const testing::TestParamInfo<LosslessCase>& info) {
        return testNameOf(QLatin1String(info.param.file));
    });

struct LossyCase
{
    const char* file;
    const char* source;
    uint32_t channels;
    long maxLag; // the codec's delay, in frames
    uint32_t layoutTag;
};

class CoreAudioLossy : public testing::TestWithParam<LossyCase>
{
};

TEST_P(CoreAudioLossy, MatchesTheSourceWaveform)
{
    const LossyCase& c = GetParam();
    ErrorLogCapture log;
    auto decoder = openGenerated(c.file);
    ASSERT_NE(decoder, nullptr) << log.messages().join(QLatin1Char('\n')).toStdString();
    ASSERT_EQ(decoder->className(), u"CoreAudioDecoder"_s);
    const Pcm source = decodeWithFFmpeg(Fixtures::generated(QLatin1String(c.source)));
    expectPackedFormat(*decoder, source.sampleRate, c.channels, 16, 2, c.layoutTag);

    const Pcm decoded = decodeAll(*decoder);
    EXPECT_LE(std::labs(long(decoded.frames()) - long(source.frames())), c.maxLag + 1152);
    EXPECT_LE(std::labs(decoder->totalFrames() - long(decoded.frames())), c.maxLag + 1152);
    // A stretch from the middle, so that the codec's start-up does not count.
    const Pcm middle = slice(decoded, 8192, 8192);
    for (int channel = 0; channel < int(c.channels); ++channel) {
        const Alignment alignment = bestAlignment(middle, slice(source, 8192, 8192), c.maxLag, channel);
        EXPECT_GT(alignment.correlation, 0.98) << "channel " << channel << " lag " << alignment.lag;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Files, CoreAudioLossy,
    testing::Values(LossyCase{"plat.mp3", "plat-src-44k-2-16.wav", 2, 1200, kAudioChannelLayoutTag_Stereo},
                    LossyCase{"plat.mp2", "plat-src-48k-2-24.wav", 2, 1200, kAudioChannelLayoutTag_Stereo},
                    LossyCase{"plat.aac", "plat-src-44k-2-16.wav", 2, 2200, kAudioChannelLayoutTag_Stereo},
                    LossyCase{"plat-aac51.m4a", "plat-src-44k-6-16.wav", 6, 2200,
                              kAudioChannelLayoutTag_MPEG_5_1_A},
                    LossyCase{"plat.3gp", "plat-src-48k-1-16.wav", 1, 2200, kAudioChannelLayoutTag_Mono}),
    [](const testing::TestParamInfo<LossyCase>& info) { return testNameOf(QLatin1String(info.param.file)); });

TEST(CoreAudioDecoder, TruncatedFilesDecodeWhatIsThere)
{
    ErrorLogCapture log;
    auto wav = openGenerated("plat-truncated.wav");
    ASSERT_NE(wav, nullptr);
    const Pcm head = decodeAll(*wav);
    const Pcm source = decodeWithFFmpeg(Fixtures::generated("plat-src-44k-2-16.wav"));
    ASSERT_GT(head.frames(), 10000u);
    ASSERT_LT(head.frames(), source.frames());
    EXPECT_EQ(countDifferences(head, slice(source, 0, head.frames())), 0u);

    auto mp3 = openGenerated("plat-truncated.mp3");
    ASSERT_NE(mp3, nullptr);
    const Pcm partial = decodeAll(*mp3);
    EXPECT_GT(partial.frames(), 0u);
    EXPECT_LT(partial.frames(), source.frames() / 2);
    EXPECT_TRUE(log.messages().isEmpty()) << log.messages().join(QLatin1Char('\n')).toStdString();
}

// A sample format the platform reader has no integer width for goes to
// FFmpeg, which decodes it.
TEST(CoreAudioDecoder, ClientFormatsOutsideTheReadersWidthsFallBackToFFmpeg)
{
    ErrorLogCapture log;
    auto decoder = openGenerated("plat-double.wav");
    ASSERT_NE(decoder, nullptr);
    EXPECT_EQ(decoder->className(), u"FFMPEGDecoder"_s);
    EXPECT_EQ(log.messages(),
              QStringList(
                  {u"Audio File Set Property Client Data Format Failed With Error: fmt?"_s,
                   QStringLiteral(
                       "Failed To Create Core Audio Decoder.  Attempting To Fall Back To FFMPEG Decoder")}));
    EXPECT_EQ(decodeAll(*decoder).frames(), 44100u);
}

} // namespace
