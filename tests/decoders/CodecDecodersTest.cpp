// The lossless decoders (and Musepack within its rounding) deliver what the
// codec's own tool, or ffmpeg reading the source, makes of the same file,
// sample for sample, in the file's width and with the reported length.
// Then tracker modules, which render at 44100 Hz stereo, for the song's length, once.

#include "Fixtures.h"
#include "ModDecoder.h"
#include "MusepackDecoder.h"
#include "NamedException.h"
#include "Pcm.h"
#include "Tools.h"
#include "ZTDecoder.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <tuple>

using namespace Qt::StringLiterals;

namespace {

constexpr uint32_t kMono = kAudioChannelLayoutTag_Mono;
constexpr uint32_t kStereo = kAudioChannelLayoutTag_Stereo;
constexpr uint32_t k51 = kAudioChannelLayoutTag_MPEG_5_1_A;
constexpr uint32_t kUnknown = kAudioChannelLayoutTag_Unknown;

struct ExactCase
{
    const char* file;
    // "wvunpack" or "mpcdec" on the file, "taglib" for ffmpeg on a file of TagLib's, else a fixture ffmpeg
    // decodes
    const char* reference;
    const char* decoder; // the class name, less "Decoder"
    double rate;
    uint32_t channels;
    uint32_t bits;
    uint32_t bytes;
    uint32_t layoutTag;
    int64_t tolerance = 0; // largest difference allowed on the 32-bit scale
};

Pcm referenceDecode(const ExactCase& c, const QString& path, ScratchDir& scratch)
{
    const QString tool = QLatin1String(c.reference);
    if (tool == u"taglib"_s) {
        return decodeWithFFmpeg(path);
    }
    if (tool != u"wvunpack"_s && tool != u"mpcdec"_s) {
        return decodeWithFFmpeg(Fixtures::generated(tool));
    }
    const QString wav = scratch.file(u"reference.wav"_s);
    const QStringList arguments =
        tool == u"wvunpack"_s ? QStringList{"-q", "-y", path, "-o", wav} : QStringList{path, wav};
    EXPECT_EQ(runTool(tool, arguments).exitCode, 0);
    return decodeWithFFmpeg(wav);
}

void expectExactDecoding(const ExactCase& c)
{
    const bool taglib = QLatin1String(c.reference) == u"taglib"_s;
    if (taglib) {
        SONABRIK_REQUIRE_TAGLIB_FIXTURES();
    }
    const QString path = (taglib ? Fixtures::taglib : Fixtures::generated)(QLatin1String(c.file));
    ScratchDir scratch;
    const Pcm reference = referenceDecode(c, path, scratch);
    ASSERT_GT(reference.frames(), 0u);
    // A large read and an odd small one that keeps the ring buffer wrapping.
    for (uint32_t chunkFrames : {4096u, 333u}) {
        SCOPED_TRACE(chunkFrames);
        ErrorLogCapture log;
        std::unique_ptr<ZTDecoder> decoder = ZTDecoder::decoderWithFilename(path);
        ASSERT_NE(decoder, nullptr) << log.messages().join(u'\n').toStdString();
        EXPECT_EQ(decoder->className(), QLatin1String(c.decoder) + u"Decoder"_s);
        expectPackedFormat(*decoder, c.rate, c.channels, c.bits, c.bytes, c.layoutTag);
        EXPECT_EQ(decoder->totalFrames(), int64_t(reference.frames()));

        const Pcm decoded = decodeAll(*decoder, chunkFrames);
        ASSERT_EQ(decoded.frames(), reference.frames());
        EXPECT_EQ(decoder->currentFrame(), reference.frames());
        size_t far = 0;
        for (size_t i = 0; i < decoded.samples.size(); ++i) {
            far += std::llabs(int64_t(decoded.samples[i]) - reference.samples[i]) > c.tolerance;
        }
        EXPECT_EQ(far, 0u);
        EXPECT_TRUE(log.messages().isEmpty()) << log.messages().join(u'\n').toStdString();
    }
}

std::string caseName(const testing::TestParamInfo<ExactCase>& info)
{
    return testNameOf(QLatin1String(info.param.file));
}

class CodecDecoding : public testing::TestWithParam<ExactCase>
{
};
class FLACDecoding : public CodecDecoding
{
};
class CoreAudioLossless : public CodecDecoding
{
};

TEST_P(CodecDecoding, MatchesTheCodecsOwnDecoderSampleForSample)
{
    expectExactDecoding(GetParam());
}

TEST_P(FLACDecoding, MatchesTheSourceSampleForSample)
{
    expectExactDecoding(GetParam());
}

TEST_P(CoreAudioLossless, DeliversTheSourceSamplesInTheFileWidth)
{
    expectExactDecoding(GetParam());
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Files, CodecDecoding, testing::Values(
    ExactCase{"codec-8.wv", "wvunpack", "WavPack", 44100, 1, 8, 1, kMono},
    ExactCase{"codec-16.wv", "wvunpack", "WavPack", 44100, 2, 16, 2, kStereo},
    ExactCase{"codec-24.wv", "wvunpack", "WavPack", 48000, 2, 24, 3, kStereo},
    ExactCase{"codec-6ch.wv", "wvunpack", "WavPack", 44100, 6, 16, 2, kUnknown},
    // Lossless with its correction file; the copy without one decodes to the lossy part, as wvunpack does.
    ExactCase{"codec-24-hybrid.wv", "wvunpack", "WavPack", 48000, 2, 24, 3, kStereo},
    ExactCase{"codec-24-lossy.wv", "wvunpack", "WavPack", 48000, 2, 24, 3, kStereo},
    ExactCase{"codec-16.tta", "codec-16.tta", "TrueAudio", 44100, 2, 16, 2, kStereo},
    ExactCase{"codec-24.tta", "codec-24.tta", "TrueAudio", 48000, 2, 24, 3, kStereo},
    ExactCase{"codec-8ch-24.tta", "codec-8ch-24.tta", "TrueAudio", 48000, 8, 24, 3, kUnknown},
    // mpcdec rounds where the decoder truncates: one 16-bit step apart at most.
    ExactCase{"codec-stereo.mpc", "mpcdec", "Musepack", 44100, 2, 16, 2, kStereo, 1 << 16},
    ExactCase{"codec-mono.mpc", "mpcdec", "Musepack", 44100, 1, 16, 2, kMono, 1 << 16},
    // Monkey's Audio files of several encoder versions.
    ExactCase{"mac-396.ape", "taglib", "MonkeysAudio", 44100, 2, 16, 2, kStereo},
    ExactCase{"mac-399.ape", "taglib", "MonkeysAudio", 44100, 2, 16, 2, kStereo},
    ExactCase{"mac-399-tagged.ape", "taglib", "MonkeysAudio", 44100, 2, 16, 2, kStereo}), caseName);

INSTANTIATE_TEST_SUITE_P(Files, FLACDecoding, testing::Values(
    ExactCase{"dec-8-2ch.flac", "dec-8-2ch.wav", "FLAC", 44100, 2, 8, 1, kStereo},
    ExactCase{"dec-16-2ch.flac", "dec-16-2ch.wav", "FLAC", 44100, 2, 16, 2, kStereo},
    ExactCase{"dec-16-6ch.flac", "dec-16-6ch.wav", "FLAC", 44100, 6, 16, 2, k51},
    ExactCase{"dec-16-7ch.flac", "dec-16-7ch.wav", "FLAC", 44100, 7, 16, 2, kUnknown},
    ExactCase{"dec-24-2ch.flac", "dec-24-2ch.wav", "FLAC", 44100, 2, 24, 3, kStereo},
    // Blocks larger than the default ring buffer.
    ExactCase{"dec-24-8ch-block4608.flac", "dec-24-8ch.wav", "FLAC", 44100, 8, 24, 3, kUnknown},
    ExactCase{"dec-24-2ch.oggflac", "dec-24-2ch.wav", "OggFLAC", 44100, 2, 24, 3, kStereo},
    ExactCase{"dec-16-6ch.oga", "dec-16-6ch.wav", "OggFLAC", 44100, 6, 16, 2, k51}), caseName);

INSTANTIATE_TEST_SUITE_P(Files, CoreAudioLossless, testing::Values(
    ExactCase{"plat-u8.wav", "plat-u8.wav", "CoreAudio", 22050, 1, 8, 1, kMono},
    ExactCase{"plat-src-44k-2-16.wav", "plat-src-44k-2-16.wav", "CoreAudio", 44100, 2, 16, 2, kStereo},
    ExactCase{"plat-src-48k-2-24.wav", "plat-src-48k-2-24.wav", "CoreAudio", 48000, 2, 24, 3, kStereo},
    ExactCase{"plat-s32.wav", "plat-s32.wav", "CoreAudio", 32000, 2, 32, 4, kStereo},
    ExactCase{"plat-float.wav", "plat-float.wav", "CoreAudio", 44100, 2, 32, 4, kStereo},
    // WAVE_FORMAT_EXTENSIBLE with the 5.1 mask: the bitmap becomes a tag.
    ExactCase{"plat-51.wav", "plat-src-44k-6-16.wav", "CoreAudio", 44100, 6, 16, 2, k51},
    ExactCase{"plat.rf64", "plat-src-48k-2-24.wav", "CoreAudio", 48000, 2, 24, 3, kStereo},
    ExactCase{"plat.w64", "plat-src-44k-6-16.wav", "CoreAudio", 44100, 6, 16, 2, kUnknown},
    ExactCase{"plat-24.aiff", "plat-src-48k-2-24.wav", "CoreAudio", 48000, 2, 24, 3, kStereo},
    ExactCase{"plat.aifc", "plat-src-44k-2-16.wav", "CoreAudio", 44100, 2, 16, 2, kStereo},
    // A-law states no width and decodes to 16 bits, as its reference does.
    ExactCase{"plat-alaw.aifc", "plat-alaw.aifc", "CoreAudio", 48000, 1, 16, 2, kMono},
    ExactCase{"plat.caf", "plat-src-48k-2-24.wav", "CoreAudio", 48000, 2, 24, 3, kStereo},
    // A layout chunk naming MPEG_4_0_A: kept as written, read within the chunk (AddressSanitizer watches).
    ExactCase{"plat-chan-overread-mpeg40a.aiff", "plat-chan-overread-mpeg40a.aiff", "CoreAudio", 44100, 4, 16, 2,
              kAudioChannelLayoutTag_MPEG_4_0_A},
    ExactCase{"plat-chan-overread-mpeg40a.caf", "plat-chan-overread-mpeg40a.aiff", "CoreAudio", 44100, 4, 16, 2,
              kAudioChannelLayoutTag_MPEG_4_0_A},
    ExactCase{"plat.au", "plat-src-48k-1-16.wav", "CoreAudio", 48000, 1, 16, 2, kMono},
    ExactCase{"plat-alac16.m4a", "plat-src-44k-2-16.wav", "CoreAudio", 44100, 2, 16, 2, kStereo},
    ExactCase{"plat-alac24.m4a", "plat-src-48k-2-24.wav", "CoreAudio", 48000, 2, 24, 3, kStereo},
    // 20-bit ALAC keeps 2-byte samples, in either container: the top bits, rounded.
    ExactCase{"plat-alac20.caf", "plat-alac20.m4a", "CoreAudio", 48000, 2, 20, 2, kStereo, 0x8000},
    ExactCase{"plat-alac20.m4a", "plat-alac20.m4a", "CoreAudio", 48000, 2, 20, 2, kStereo, 0x8000}), caseName);
// clang-format on

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
    Pcm source = decodeWithFFmpeg(Fixtures::generated("dec-16-2ch.wav"));
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
    source.samples.resize(decoded.samples.size());
    EXPECT_EQ(countDifferences(decoded, source), 0u);
}

// A file cut short decodes what it holds, or fails with the decoder's
// exception: never more than the whole.
TEST(TrueAudioDecoder, TruncatedFilesDecodeTheirStartOrFail)
{
    auto decoder = ZTDecoder::decoderWithFilename(Fixtures::generated("codec-24-truncated.tta"));
    ASSERT_NE(decoder, nullptr);
    try {
        EXPECT_LT(decodeAll(*decoder).frames(), 48000u);
    } catch (const NamedException& exception) {
        EXPECT_EQ(exception.name(), kTTAException);
        EXPECT_EQ(exception.reason(), u"TTA Decoder process_stream Error"_s);
    }
}

TEST(MusepackDecoder, SamplesAreTruncatedAndClamped)
{
    EXPECT_EQ(MusepackDecoder::quantize(1.0f, 16), 32767);
    EXPECT_EQ(MusepackDecoder::quantize(-1.0f, 16), -32768);
    EXPECT_EQ(MusepackDecoder::quantize(0.99999f, 16), 32767);
    EXPECT_EQ(MusepackDecoder::quantize(-1.5f, 16), -32768);
    EXPECT_EQ(MusepackDecoder::quantize(0.5f / 32768.0f * 3.0f, 16), 1);
    EXPECT_EQ(MusepackDecoder::quantize(-0.5f / 32768.0f * 3.0f, 16), -1);
}

std::unique_ptr<ZTDecoder> openModule(const QString& path)
{
    ErrorLogCapture log;
    auto decoder = ZTDecoder::decoderWithFilename(path);
    EXPECT_NE(decoder, nullptr) << log.messages().join(u'\n').toStdString();
    if (decoder) {
        EXPECT_EQ(decoder->className(), u"ModDecoder"_s);
        expectPackedFormat(*decoder, 44100, 2, 16, 2, kAudioChannelLayoutTag_Stereo);
    }
    return decoder;
}

// libmodplug sees the song's end one render late: the last 8192 frames and a little more.
constexpr double kRenderedBeyondTheEnd = 2 * 8192;

// 247 rows of 500 ms, all rendered; a song jumping back to its first order
// (two patterns of 64 rows of 6 ticks of 882 frames) plays once. libmodplug
// states the length in whole seconds.
TEST(ModDecoder, RendersTheSongsLengthOnce)
{
    EXPECT_EQ(ModDecoder::framesOfLength(123500), 5446350);
    for (const auto& [file, frames] :
         {std::pair{"codec-123.5s.mod", 5446350.0}, std::pair{"codec-loop.mod", 2.0 * 64 * 6 * 882}}) {
        auto decoder = openModule(Fixtures::generated(file));
        ASSERT_NE(decoder, nullptr);
        EXPECT_NEAR(double(decoder->totalFrames()), frames, 44100 / 2) << file;
        const Pcm pcm = decodeAll(*decoder, 8192);
        EXPECT_GE(double(pcm.frames()), frames) << file;
        EXPECT_LE(double(pcm.frames()), frames + kRenderedBeyondTheEnd) << file;
        EXPECT_GT(*std::max_element(pcm.samples.begin(), pcm.samples.end()), 1 << 26) << file; // -30 dB
    }
}

TEST(ModDecoder, AFileNoLoaderTakesIsLogged)
{
    const QString path = Fixtures::generated("codec-broken.mod");
    ErrorLogCapture log;
    EXPECT_EQ(ZTDecoder::decoderWithFilename(path), nullptr);
    EXPECT_EQ(log.messages(), QStringList{u"ModDecoder ModPlug_Load Failed!  File: "_s + path});
    // The module lock was given back: the next module opens.
    EXPECT_NE(ZTDecoder::decoderWithFilename(Fixtures::generated("codec-loop.mod")), nullptr);
}

} // namespace
