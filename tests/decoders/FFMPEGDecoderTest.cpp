// What the factory sends to FFmpeg decodes to 16 bits from the first audio
// stream; a missing file is waited for.

#include "FFMPEGDecoder.h"
#include "Fixtures.h"
#include "InstantRetries.h"
#include "MetadataReader.h"
#include "Pcm.h"
#include "Tools.h"

#include <QFile>
#include <QJsonArray>
#include <cstring>
#include <gtest/gtest.h>
#include <link.h>

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

    // The length is counted in whole seconds of the container's duration
    // (the 2.9 s Matroska file reports 2 s).
    const QJsonObject probe = ffprobe(path, {"-show_entries", "format=duration"});
    EXPECT_EQ(decoder->totalFrames(),
              int64_t(probe["format"]["duration"].toString().toDouble()) * int64_t(c.sampleRate));

    size_t emptyReads = 0;
    const Pcm decoded = decodeAll(*decoder, 1000, &emptyReads);
    if (c.streamIndex > 0) {
        // Packets of the video stream before it add nothing: such reads give
        // 0 frames while the end is not reached.
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

INSTANTIATE_TEST_SUITE_P(
    Files, FFmpegFiles,
    testing::Values(
        // Lossless: the source samples.
        FFmpegCase{"plat.mov", "plat-src-44k-2-16.wav", true, 0, 44100, 2, kAudioChannelLayoutTag_Stereo},
        FFmpegCase{"plat-flac51.avi", "plat-src-44k-6-16.wav", true, 0, 44100, 6,
                   kAudioChannelLayoutTag_Unknown},
        // Audio in stream 1, behind a video stream.
        FFmpegCase{"plat-video.avi", "plat-src-44k-2-16.wav", true, 1, 44100, 2,
                   kAudioChannelLayoutTag_Stereo},
        // Matroska is no platform type: the platform reader refuses it.
        FFmpegCase{"plat-flac.mkv", "plat-src-44k-2-16-2.9s.wav", true, 0, 44100, 2,
                   kAudioChannelLayoutTag_Stereo, true},
        // RealAudio 1.0 decodes to 16 bits natively and is delivered as decoded.
        FFmpegCase{"plat.rm", "plat.rm", true, 0, 8000, 1, kAudioChannelLayoutTag_Mono},
        // Float codecs go through the resampler; the reference is FFmpeg's own decode.
        FFmpegCase{"plat.wma", "plat.wma", false, 0, 44100, 2, kAudioChannelLayoutTag_Stereo},
        FFmpegCase{"plat.mpg", "plat.mpg", false, 1, 48000, 2, kAudioChannelLayoutTag_Stereo}),
    [](const testing::TestParamInfo<FFmpegCase>& info) {
        return testNameOf(QLatin1String(info.param.file));
    });

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

// A file still on its way to disk is looked for again after 1 to 4 s, four
// times; one that appears meanwhile is decoded without a word in the log.
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

// FFmpeg is loaded when the first file needs it, not at start-up: linking
// it again would slow every start of the program without failing anything
// else. Each test case runs in a process of its own, so nothing has loaded it
// before this one.
bool libraryLoaded(const char* soname)
{
    struct Search
    {
        const char* soname;
        bool found = false;
    } search{soname};
    dl_iterate_phdr(
        [](dl_phdr_info* info, size_t, void* data) {
            auto* s = static_cast<Search*>(data);
            s->found = s->found || (info->dlpi_name && std::strstr(info->dlpi_name, s->soname));
            return 0;
        },
        &search);
    return search.found;
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

} // namespace
