// WavPack, Musepack, True Audio and Monkey's Audio decode to what each
// codec's own tool (wvunpack, mpcdec) or FFmpeg makes of the same file,
// sample for sample (Musepack within its rounding), with the reported length.

#include "Fixtures.h"
#include "MusepackDecoder.h"
#include "NamedException.h"
#include "Pcm.h"
#include "Tools.h"
#include "ZTDecoder.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

enum class Reference
{
    Wvunpack,
    Mpcdec,
    FFmpeg,
};

struct CodecCase
{
    const char* file;
    const char* decoderClass;
    Reference reference;
    double sampleRate;
    uint32_t channels;
    uint32_t bits;
    uint32_t layoutTag;
    // mpcdec rounds where the Musepack decoder truncates: no sample may be
    // more than one 16-bit step away.
    bool withinOneStep = false;
};

// What the codec's own tool decodes path to.
Pcm referenceDecode(const QString& path, Reference reference, ScratchDir& scratch)
{
    const QString wav = scratch.file(QFileInfo(path).completeBaseName() + u"-reference.wav"_s);
    switch (reference) {
    case Reference::Wvunpack:
        EXPECT_EQ(runTool("wvunpack", {"-q", "-y", path, "-o", wav}).exitCode, 0);
        return decodeWithFFmpeg(wav);
    case Reference::Mpcdec:
        EXPECT_EQ(runTool("mpcdec", {path, wav}).exitCode, 0);
        return decodeWithFFmpeg(wav);
    case Reference::FFmpeg:
        break;
    }
    return decodeWithFFmpeg(path);
}

class CodecDecoding : public testing::TestWithParam<CodecCase>
{
};

TEST_P(CodecDecoding, MatchesTheCodecsOwnDecoderSampleForSample)
{
    const CodecCase& c = GetParam();
    const QString path = Fixtures::generated(QLatin1String(c.file));
    ScratchDir scratch;
    const Pcm reference = referenceDecode(path, c.reference, scratch);
    ASSERT_GT(reference.frames(), 0u);

    // A large read and an odd small one that keeps the ring buffer wrapping.
    for (uint32_t chunkFrames : {4096u, 333u}) {
        ErrorLogCapture log;
        std::unique_ptr<ZTDecoder> decoder = ZTDecoder::decoderWithFilename(path);
        ASSERT_NE(decoder, nullptr) << log.messages().join(u'\n').toStdString();
        EXPECT_EQ(decoder->className(), QLatin1String(c.decoderClass));
        expectPackedFormat(*decoder, c.sampleRate, c.channels, c.bits, c.bits / 8, c.layoutTag);
        EXPECT_EQ(decoder->totalFrames(), int64_t(reference.frames()));

        const Pcm decoded = decodeAll(*decoder, chunkFrames);
        ASSERT_EQ(decoded.frames(), reference.frames()) << "chunk " << chunkFrames;
        if (!c.withinOneStep) {
            EXPECT_EQ(countDifferences(decoded, reference), 0u) << "chunk " << chunkFrames;
        } else {
            size_t far = 0;
            for (size_t i = 0; i < decoded.samples.size(); ++i) {
                far += std::llabs(int64_t(decoded.samples[i]) - reference.samples[i]) > (int64_t(1) << 16);
            }
            EXPECT_EQ(far, 0u) << "chunk " << chunkFrames;
        }
        EXPECT_TRUE(log.messages().isEmpty()) << log.messages().join(u'\n').toStdString();
    }
}

INSTANTIATE_TEST_SUITE_P(
    Files, CodecDecoding,
    testing::Values(CodecCase{"codec-8.wv", "WavPackDecoder", Reference::Wvunpack, 44100, 1, 8,
                              kAudioChannelLayoutTag_Mono},
                    CodecCase{"codec-16.wv", "WavPackDecoder", Reference::Wvunpack, 44100, 2, 16,
                              kAudioChannelLayoutTag_Stereo},
                    CodecCase{"codec-24.wv", "WavPackDecoder", Reference::Wvunpack, 48000, 2, 24,
                              kAudioChannelLayoutTag_Stereo},
                    CodecCase{"codec-6ch.wv", "WavPackDecoder", Reference::Wvunpack, 44100, 6, 16,
                              kAudioChannelLayoutTag_Unknown},
                    // With its correction file the hybrid file is lossless; the copy
                    // without one decodes to the lossy part, as wvunpack does.
                    CodecCase{"codec-24-hybrid.wv", "WavPackDecoder", Reference::Wvunpack, 48000, 2, 24,
                              kAudioChannelLayoutTag_Stereo},
                    CodecCase{"codec-24-lossy.wv", "WavPackDecoder", Reference::Wvunpack, 48000, 2, 24,
                              kAudioChannelLayoutTag_Stereo},
                    CodecCase{"codec-16.tta", "TrueAudioDecoder", Reference::FFmpeg, 44100, 2, 16,
                              kAudioChannelLayoutTag_Stereo},
                    CodecCase{"codec-24.tta", "TrueAudioDecoder", Reference::FFmpeg, 48000, 2, 24,
                              kAudioChannelLayoutTag_Stereo},
                    CodecCase{"codec-6ch.tta", "TrueAudioDecoder", Reference::FFmpeg, 44100, 6, 16,
                              kAudioChannelLayoutTag_Unknown},
                    CodecCase{"codec-8ch-24.tta", "TrueAudioDecoder", Reference::FFmpeg, 48000, 8, 24,
                              kAudioChannelLayoutTag_Unknown},
                    CodecCase{"codec-stereo.mpc", "MusepackDecoder", Reference::Mpcdec, 44100, 2, 16,
                              kAudioChannelLayoutTag_Stereo, true},
                    CodecCase{"codec-mono.mpc", "MusepackDecoder", Reference::Mpcdec, 44100, 1, 16,
                              kAudioChannelLayoutTag_Mono, true}),
    [](const testing::TestParamInfo<CodecCase>& info) { return testNameOf(QLatin1String(info.param.file)); });

TEST(WavPackDecoder, CorrectionFileMakesTheHybridFileLossless)
{
    const Pcm source = decodeWithFFmpeg(Fixtures::generated("codec-src-48k-2-24.wav"));
    auto hybrid = ZTDecoder::decoderWithFilename(Fixtures::generated("codec-24-hybrid.wv"));
    auto lossy = ZTDecoder::decoderWithFilename(Fixtures::generated("codec-24-lossy.wv"));
    ASSERT_NE(hybrid, nullptr);
    ASSERT_NE(lossy, nullptr);
    EXPECT_EQ(countDifferences(decodeAll(*hybrid), source), 0u);
    EXPECT_GT(countDifferences(decodeAll(*lossy), source), 1000u);
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

// Monkey's Audio files of several encoder versions from the TagLib
// collection, against FFmpeg and ffprobe's length.
TEST(MonkeysAudioDecoder, MatchesFFmpegWithTheFilesLength)
{
    SONABRIK_REQUIRE_TAGLIB_FIXTURES();
    for (const char* file : {"mac-396.ape", "mac-399.ape", "mac-399-tagged.ape"}) {
        SCOPED_TRACE(file);
        const QString path = Fixtures::taglib(QLatin1String(file));
        const Pcm reference = decodeWithFFmpeg(path);
        ErrorLogCapture log;
        auto decoder = ZTDecoder::decoderWithFilename(path);
        ASSERT_NE(decoder, nullptr) << log.messages().join(u'\n').toStdString();
        EXPECT_EQ(decoder->className(), u"MonkeysAudioDecoder"_s);
        const QJsonObject probe = ffprobe(path, {"-show_entries", "stream=duration_ts"});
        EXPECT_EQ(decoder->totalFrames(), probe["streams"][0]["duration_ts"].toInteger());
        const Pcm decoded = decodeAll(*decoder, 777);
        ASSERT_EQ(decoded.frames(), reference.frames());
        EXPECT_EQ(countDifferences(decoded, reference), 0u);
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

} // namespace
