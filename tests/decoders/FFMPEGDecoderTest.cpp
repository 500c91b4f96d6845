// What the factory sends to FFmpeg decodes to 16 bits from the first audio stream.
// Then the platform reader's lossy formats, and its cut and refused files.

#include "FFMPEGDecoder.h"
#include "CoreAudioDecoder.h"
#include "Fixtures.h"
#include "InstantRetries.h"
#include "MetadataReader.h"
#include "Pcm.h"
#include "Tools.h"

#include <QFile>
#include <QJsonArray>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

struct FFmpegCase
{
    const char* file;
    const char* reference; // what the decoded PCM must equal (exact) or resemble
    bool exact;
    int streamIndex;
    double sampleRate;
    uint32_t channels;
    uint32_t layoutTag;
    bool byFallback = false; // reached through the platform reader's refusal
};

class FFmpegFiles : public testing::TestWithParam<FFmpegCase>
{
};

TEST_P(FFmpegFiles, DecodeTheFirstAudioStreamTo16Bits)
{
    const FFmpegCase& c = GetParam();
    const QString path = Fixtures::generated(QLatin1String(c.file));
    ErrorLogCapture log;
    auto decoder = ZTDecoder::decoderWithFilename(path);
    ASSERT_NE(decoder, nullptr) << log.messages().join(QLatin1Char('\n')).toStdString();
    ASSERT_EQ(decoder->className(), u"FFMPEGDecoder"_s);
    const QStringList fallback{u"ExtAudioFileOpenURL Failed With Error: typ?"_s,
                               QStringLiteral("Failed To Create Core Audio Decoder.  Attempting To Fall Back "
                                              "To FFMPEG Decoder")};
    EXPECT_EQ(log.messages(), c.byFallback ? fallback : QStringList());
    EXPECT_EQ(static_cast<FFMPEGDecoder&>(*decoder).streamIndex(), c.streamIndex);
    expectPackedFormat(*decoder, c.sampleRate, c.channels, 16, 2, c.layoutTag);

    // Whole seconds of the container's duration (2 s for the 2.9 s Matroska file).
    const QJsonObject probe = ffprobe(path, {"-show_entries", "format=duration"});
    EXPECT_EQ(decoder->totalFrames(),
              int64_t(probe["format"]["duration"].toString().toDouble()) * int64_t(c.sampleRate));

    size_t emptyReads = 0;
    const Pcm decoded = decodeAll(*decoder, 1000, &emptyReads);
    if (c.streamIndex > 0) {
        // Reads of the video stream's packets give 0 frames before the end.
        EXPECT_GT(emptyReads, 0u);
    }
    const Pcm reference = decodeWithFFmpeg(Fixtures::generated(QLatin1String(c.reference)));
    if (c.exact) {
        EXPECT_EQ(countDifferences(decoded, reference), 0u);
        return;
    }
    EXPECT_EQ(decoded.frames(), reference.frames());
    for (int channel = 0; channel < int(c.channels); ++channel) {
        const Alignment alignment = bestAlignment(decoded, reference, 2, channel);
        EXPECT_EQ(alignment.lag, 0);
        EXPECT_GT(alignment.correlation, 0.999) << "channel " << channel;
    }
}

constexpr uint32_t kStereo = kAudioChannelLayoutTag_Stereo;

// clang-format off
INSTANTIATE_TEST_SUITE_P(Files, FFmpegFiles, testing::Values(
    // Lossless: the source samples; in stream 1 behind a video stream; Matroska, which the platform reader refuses.
    FFmpegCase{"plat.mov", "plat-src-44k-2-16.wav", true, 0, 44100, 2, kStereo},
    FFmpegCase{"plat-flac51.avi", "plat-src-44k-6-16.wav", true, 0, 44100, 6, kAudioChannelLayoutTag_Unknown},
    FFmpegCase{"plat-video.avi", "plat-src-44k-2-16.wav", true, 1, 44100, 2, kStereo},
    FFmpegCase{"plat-flac.mkv", "plat-src-44k-2-16-2.9s.wav", true, 0, 44100, 2, kStereo, true},
    // 16-bit RealAudio 1.0 is delivered as decoded; float codecs go through the resampler.
    FFmpegCase{"plat.rm", "plat.rm", true, 0, 8000, 1, kAudioChannelLayoutTag_Mono},
    FFmpegCase{"plat.wma", "plat.wma", false, 0, 44100, 2, kStereo},
    FFmpegCase{"plat.mpg", "plat.mpg", false, 1, 48000, 2, kStereo}),
    [](const testing::TestParamInfo<FFmpegCase>& info) { return testNameOf(QLatin1String(info.param.file)); });
// clang-format on

// 8-bit PCM comes as FFmpeg decodes it, unsigned, under the signed flag.
TEST(FFMPEGDecoder, EightBitSamplesAreDeliveredUnsignedAsDecoded)
{
    auto decoder = ZTDecoder::decoderWithFilename(Fixtures::generated("plat-u8.mov"));
    ASSERT_NE(decoder, nullptr);
    ASSERT_EQ(decoder->className(), u"FFMPEGDecoder"_s);
    expectPackedFormat(*decoder, 22050, 1, 8, 1, kAudioChannelLayoutTag_Mono);
    Pcm decoded = decodeAll(*decoder);
    for (int32_t& sample : decoded.samples) {
        sample = int32_t(uint32_t(sample) ^ 0x80000000u);
    }
    EXPECT_EQ(countDifferences(decoded, decodeWithFFmpeg(Fixtures::generated("plat-u8.wav"))), 0u);
}

// A missing file is looked for again after 1 to 4 s, four times; one that
// appears meanwhile is decoded without a word in the log.
TEST(FFMPEGDecoder, AMissingFileIsWaitedForFourTimes)
{
    ScratchDir scratch;
    {
        InstantRetries retries;
        FFMPEGDecoder gone;
        EXPECT_FALSE(gone.initWithFilename(scratch.file("gone.rm")));
        ASSERT_EQ(retries.waits().size(), 4u);
        for (uint32_t wait : retries.waits()) {
            EXPECT_GE(wait, 1000000u);
            EXPECT_LT(wait, 4000000u);
        }
    }
    ErrorLogCapture log;
    InstantRetries retries;
    const QString path = scratch.file("arriving.mov");
    retries.duringWait(2, [&] { QFile::copy(Fixtures::generated("plat.mov"), path); });
    auto decoder = ZTDecoder::decoderWithFilename(path);
    ASSERT_NE(decoder, nullptr);
    EXPECT_EQ(retries.waits().size(), 2u);
    EXPECT_TRUE(log.messages().isEmpty());
    EXPECT_EQ(decodeAll(*decoder).frames(), 44100u);
}

// FFmpeg is loaded when the first file needs it, not at start-up (each test
// case runs in a process of its own: nothing loaded it before).
bool libraryLoaded(const char* soname)
{
    QFile maps(u"/proc/self/maps"_s);
    return maps.open(QIODevice::ReadOnly) && maps.readAll().contains(soname);
}

TEST(FFmpegLoading, OnlyTheFilesThatNeedFFmpegLoadIt)
{
    for (const char* name : {"dec-16-2ch.wav", "dec-16-2ch.flac", "core.ogg", "core.opus"}) {
        const QString path = Fixtures::generated(QLatin1String(name));
        auto decoder = ZTDecoder::decoderWithFilename(path);
        ASSERT_NE(decoder, nullptr) << name;
        EXPECT_GT(decodeAll(*decoder).frames(), 0u) << name;
        EXPECT_NE(MetadataReader::metadataFromFile(path), nullptr) << name;
    }
    EXPECT_FALSE(libraryLoaded("libavformat.so")) << "FFmpeg was loaded for files it does not read";

    // AAC in MP4: the platform reader decodes it through FFmpeg.
    auto decoder = ZTDecoder::decoderWithFilename(Fixtures::generated("plat-aac.m4a"));
    ASSERT_NE(decoder, nullptr);
    EXPECT_GT(decodeAll(*decoder).frames(), 0u);
    EXPECT_TRUE(libraryLoaded("libavformat.so"));
}

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


// clang-format off
INSTANTIATE_TEST_SUITE_P(Files, CoreAudioLossy, testing::Values(
    LossyCase{"plat.mp3", "plat-src-44k-2-16.wav", 2, 1200, kStereo},
    LossyCase{"plat.mp2", "plat-src-48k-2-24.wav", 2, 1200, kStereo},
    LossyCase{"plat.aac", "plat-src-44k-2-16.wav", 2, 2200, kStereo},
    LossyCase{"plat-aac51.m4a", "plat-src-44k-6-16.wav", 6, 2200, kAudioChannelLayoutTag_MPEG_5_1_A},
    LossyCase{"plat.3gp", "plat-src-48k-1-16.wav", 1, 2200, kAudioChannelLayoutTag_Mono}),
    [](const testing::TestParamInfo<LossyCase>& info) { return testNameOf(QLatin1String(info.param.file)); });
// clang-format on

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

// A sample format the platform reader has no integer width for goes to FFmpeg.
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
