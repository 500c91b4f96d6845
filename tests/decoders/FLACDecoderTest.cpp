// FLAC and Ogg FLAC decode sample-exactly: every depth the decoder writes,
// channel counts up to 8, blocks larger than the default ring buffer. The
// reference is ffmpeg's reading of the WAVE file flac encoded.

#include "Fixtures.h"
#include "NamedException.h"
#include "Pcm.h"
#include "Tools.h"
#include "ZTDecoder.h"

#include <gtest/gtest.h>
#include <tuple>

using namespace Qt::StringLiterals;

namespace {

struct FLACCase
{
    const char* file;
    const char* source;
    const char* decoderClass;
    uint32_t bits;
    uint32_t channels;
    uint32_t layoutTag;
};

class FLACDecoding : public testing::TestWithParam<FLACCase>
{
};

TEST_P(FLACDecoding, MatchesTheSourceSampleForSample)
{
    const FLACCase& c = GetParam();
    const Pcm source = decodeWithFFmpeg(Fixtures::generated(QLatin1String(c.source)));
    ASSERT_EQ(source.frames(), 44100u);

    // A large read and an odd small one: the second wraps the ring buffer
    // around constantly.
    for (uint32_t chunkFrames : {4096u, 333u}) {
        std::unique_ptr<ZTDecoder> decoder =
            ZTDecoder::decoderWithFilename(Fixtures::generated(QLatin1String(c.file)));
        ASSERT_NE(decoder, nullptr);
        EXPECT_EQ(decoder->className(), QLatin1String(c.decoderClass));

        expectPackedFormat(*decoder, 44100, c.channels, c.bits, c.bits / 8, c.layoutTag);
        EXPECT_EQ(decoder->totalFrames(), 44100);

        const Pcm decoded = decodeAll(*decoder, chunkFrames);
        EXPECT_EQ(decoded.frames(), source.frames()) << "chunk " << chunkFrames;
        EXPECT_EQ(countDifferences(decoded, source), 0u) << "chunk " << chunkFrames;
        EXPECT_EQ(decoder->currentFrame(), 44100u);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Files, FLACDecoding,
    testing::Values(
        FLACCase{"dec-8-1ch.flac", "dec-8-1ch.wav", "FLACDecoder", 8, 1, kAudioChannelLayoutTag_Mono},
        FLACCase{"dec-8-2ch.flac", "dec-8-2ch.wav", "FLACDecoder", 8, 2, kAudioChannelLayoutTag_Stereo},
        FLACCase{"dec-16-2ch.flac", "dec-16-2ch.wav", "FLACDecoder", 16, 2, kAudioChannelLayoutTag_Stereo},
        FLACCase{"dec-16-6ch.flac", "dec-16-6ch.wav", "FLACDecoder", 16, 6,
                 kAudioChannelLayoutTag_MPEG_5_1_A},
        FLACCase{"dec-16-7ch.flac", "dec-16-7ch.wav", "FLACDecoder", 16, 7, kAudioChannelLayoutTag_Unknown},
        FLACCase{"dec-24-2ch.flac", "dec-24-2ch.wav", "FLACDecoder", 24, 2, kAudioChannelLayoutTag_Stereo},
        FLACCase{"dec-24-8ch.flac", "dec-24-8ch.wav", "FLACDecoder", 24, 8, kAudioChannelLayoutTag_Unknown},
        FLACCase{"dec-24-8ch-block4608.flac", "dec-24-8ch.wav", "FLACDecoder", 24, 8,
                 kAudioChannelLayoutTag_Unknown},
        FLACCase{"dec-24-2ch.oggflac", "dec-24-2ch.wav", "OggFLACDecoder", 24, 2,
                 kAudioChannelLayoutTag_Stereo},
        FLACCase{"dec-16-6ch.oga", "dec-16-6ch.wav", "OggFLACDecoder", 16, 6,
                 kAudioChannelLayoutTag_MPEG_5_1_A}),
    [](const testing::TestParamInfo<FLACCase>& info) { return testNameOf(QLatin1String(info.param.file)); });

// FLAC and WavPack files of depths the decoders do not write open, and
// refuse their first block.
TEST(FLACAndWavPackDecoders, UnsupportedDepthsOpenButRefuseTheFirstBlock)
{
    for (const auto& [file, bits, channels, codec] : {std::tuple{"dec-20-2ch.flac", 20u, 2u, "FLAC"},
                                                      {"dec-12-1ch.flac", 12u, 1u, "FLAC"},
                                                      {"codec-12.wv", 12u, 1u, "WavPack"}}) {
        std::unique_ptr<ZTDecoder> decoder =
            ZTDecoder::decoderWithFilename(Fixtures::generated(QLatin1String(file)));
        ASSERT_NE(decoder, nullptr) << file;
        EXPECT_EQ(decoder->decodeFormat().mBitsPerChannel, bits);
        EXPECT_EQ(decoder->decodeFormat().mBytesPerFrame, bits / 8 * channels);
        try {
            decodeAll(*decoder);
            ADD_FAILURE() << file << " decoded";
        } catch (const NamedException& e) {
            EXPECT_EQ(e.name(), kIllegalInputException);
            EXPECT_EQ(e.reason(), u"%1 Does Not Support %2 Bit Files"_s.arg(codec).arg(bits));
        }
    }
}

TEST(FLACDecoder, ATruncatedFileDecodesWhatItHas)
{
    const Pcm source = decodeWithFFmpeg(Fixtures::generated("dec-16-2ch.wav"));
    std::unique_ptr<ZTDecoder> decoder =
        ZTDecoder::decoderWithFilename(Fixtures::generated("dec-16-2ch-truncated.flac"));
    ASSERT_NE(decoder, nullptr);
    EXPECT_EQ(decoder->totalFrames(), 44100);
    Pcm decoded = decodeAll(*decoder);
    EXPECT_TRUE(decoder->isEndOfFile());
    EXPECT_GT(decoded.frames(), 4096u);
    EXPECT_LT(decoded.frames(), source.frames());
    // Reported as ending early, where the decoded audio ends.
    EXPECT_EQ(decoder->damage().firstFrame(DecoderDamage::Kind::EndsEarly), int64_t(decoded.frames()));
    Pcm prefix = source;
    prefix.samples.resize(decoded.samples.size());
    EXPECT_EQ(countDifferences(decoded, prefix), 0u);
}

} // namespace
