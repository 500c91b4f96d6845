#include "FFMPEGDecoder.h"
#include "Fixtures.h"
#include "InstantRetries.h"
#include "Pcm.h"
#include "Tools.h"

#include <QFile>
#include <gtest/gtest.h>

namespace {

// Whole seconds of the container's duration, as ffprobe tells it.
int64_t containerSeconds(const QString& path)
{
    const ToolResult probe =
        runTool(QStringLiteral("ffprobe"),
                {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-show_entries"),
                 QStringLiteral("format=duration"), QStringLiteral("-of"),
                 QStringLiteral("default=noprint_wrappers=1:nokey=1"), path});
    return int64_t(QString::fromUtf8(probe.standardOutput).trimmed().toDouble());
}

struct FFmpegCase
{
    const char* file;
    const char* reference; // what the decoded PCM must equal (exact) or resemble
    bool exact;
    int streamIndex;
    double sampleRate;
    uint32_t channels;
    uint32_t layoutTag;
};

class FFmpegFiles : public testing::TestWithParam<FFmpegCase>
{
};

TEST_P(FFmpegFiles, DecodeTheFirstAudioStreamTo16Bits)
{
    const FFmpegCase& c = GetParam();
    ErrorLogCapture log;
    auto decoder = ZTDecoder::decoderWithFilename(Fixtures::generated(QLatin1String(c.file)));
    ASSERT_NE(decoder, nullptr) << log.messages().join(QLatin1Char('\n')).toStdString();
    ASSERT_EQ(decoder->className(), QStringLiteral("FFMPEGDecoder"));
    EXPECT_EQ(static_cast<FFMPEGDecoder&>(*decoder).streamIndex(), c.streamIndex);

    const AudioStreamBasicDescription format = decoder->decodeFormat();
    EXPECT_EQ(format.mFormatID, kAudioFormatLinearPCM);
    EXPECT_EQ(format.mFormatFlags, 12u);
    EXPECT_EQ(format.mSampleRate, c.sampleRate);
    EXPECT_EQ(format.mChannelsPerFrame, c.channels);
    EXPECT_EQ(format.mBitsPerChannel, 16u);
    EXPECT_EQ(format.mBytesPerFrame, 2 * c.channels);
    EXPECT_EQ(decoder->channelLayout()->mChannelLayoutTag, c.layoutTag);

    // The length is counted in whole seconds of the container's duration
    // (the 2.9 s Matroska file reports 2 s).
    const QString path = Fixtures::generated(QLatin1String(c.file));
    EXPECT_EQ(decoder->totalFrames(), containerSeconds(path) * int64_t(c.sampleRate));

    const Pcm decoded = decodeAll(*decoder, 1000);
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
                   kAudioChannelLayoutTag_Stereo},
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
    auto decoder = ZTDecoder::decoderWithFilename(Fixtures::generated(QStringLiteral("plat-u8.mov")));
    ASSERT_NE(decoder, nullptr);
    ASSERT_EQ(decoder->className(), QStringLiteral("FFMPEGDecoder"));
    EXPECT_EQ(decoder->decodeFormat().mBitsPerChannel, 8u);
    EXPECT_EQ(decoder->decodeFormat().mBytesPerFrame, 1u);
    EXPECT_EQ(decoder->decodeFormat().mFormatFlags, 12u);
    Pcm decoded = decodeAll(*decoder);
    for (int32_t& sample : decoded.samples) {
        sample = int32_t(uint32_t(sample) ^ 0x80000000u);
    }
    EXPECT_EQ(countDifferences(decoded, decodeWithFFmpeg(Fixtures::generated(QStringLiteral("plat-u8.wav")))),
              0u);
}

TEST(FFMPEGDecoder, AStreamWithoutADecoderIsRefusedWithFFmpegsTextForNoError)
{
    ErrorLogCapture log;
    const QString path = Fixtures::generated(QStringLiteral("plat-unknown-codec.wav"));
    EXPECT_EQ(ZTDecoder::decoderWithFilename(path), nullptr);
    EXPECT_EQ(
        log.messages(),
        QStringList({QStringLiteral("ExtAudioFileOpenURL Failed With Error: fmt?"),
                     QStringLiteral(
                         "Failed To Create Core Audio Decoder.  Attempting To Fall Back To FFMPEG Decoder"),
                     QStringLiteral("FFMPEG Could Not Find A Valid Decoder For File: %1").arg(path),
                     QStringLiteral("%1: Success").arg(path)}));
}

TEST(FFMPEGDecoder, PacketsOfTheVideoStreamAddNothing)
{
    FFMPEGDecoder decoder;
    ASSERT_TRUE(decoder.initWithFilename(Fixtures::generated(QStringLiteral("plat-video.avi"))));
    std::vector<int16_t> buffer(4096 * 2);
    AudioBufferList list;
    int emptyReadsBeforeTheEnd = 0;
    uint64_t frames = 0;
    for (int reads = 0; reads < 100000; ++reads) {
        list.mNumberBuffers = 1;
        list.mBuffers[0] = AudioBuffer{2, uint32_t(buffer.size() * 2), buffer.data()};
        const uint32_t got = decoder.readAudio(&list, 4096);
        if (got == 0 && decoder.isEndOfFile()) {
            break;
        }
        emptyReadsBeforeTheEnd += got == 0 ? 1 : 0;
        frames += got;
    }
    EXPECT_TRUE(decoder.isEndOfFile());
    EXPECT_EQ(frames, 44100u);
    EXPECT_GT(emptyReadsBeforeTheEnd, 0);
}

TEST(FFMPEGDecoder, AFileWithoutAudioFailsOnItsLastStream)
{
    ErrorLogCapture log;
    FFMPEGDecoder decoder;
    EXPECT_FALSE(decoder.initWithFilename(Fixtures::generated(QStringLiteral("plat-silent-video.avi"))));
    EXPECT_EQ(decoder.streamIndex(), 0);
    EXPECT_EQ(log.messages(), QStringList{QStringLiteral("Failed To Determine mBytesPerFrame.")});
}

TEST(FFMPEGDecoder, AMissingFileIsTriedFourTimesWithWaitsOfOneToFourSeconds)
{
    ErrorLogCapture log;
    InstantRetries retries;
    ScratchDir scratch;
    const QString path = scratch.file(QStringLiteral("gone.rm"));
    FFMPEGDecoder decoder;
    EXPECT_FALSE(decoder.initWithFilename(path));
    ASSERT_EQ(retries.waits().size(), 4u);
    for (uint32_t wait : retries.waits()) {
        EXPECT_GE(wait, 1000000u);
        EXPECT_LT(wait, 4000000u);
    }
    EXPECT_EQ(log.messages(),
              QStringList({QStringLiteral("FFMPEG Could Not Open Input For File: %1 ERROR: -2").arg(path),
                           QStringLiteral("%1: No such file or directory").arg(path)}));
}

TEST(FFMPEGDecoder, AFileThatAppearsDuringTheWaitsIsDecoded)
{
    ErrorLogCapture log;
    InstantRetries retries;
    ScratchDir scratch;
    const QString path = scratch.file(QStringLiteral("arriving.mov"));
    retries.duringWait(2, [&] { QFile::copy(Fixtures::generated(QStringLiteral("plat.mov")), path); });
    auto decoder = ZTDecoder::decoderWithFilename(path);
    ASSERT_NE(decoder, nullptr);
    EXPECT_EQ(retries.waits().size(), 2u);
    EXPECT_TRUE(log.messages().isEmpty());
    EXPECT_EQ(decodeAll(*decoder).frames(), 44100u);
}

TEST(FFMPEGDecoder, TextNamedAsAContainerIsRefused)
{
    ErrorLogCapture log;
    const QString path = Fixtures::generated(QStringLiteral("plat-text.mkv"));
    EXPECT_EQ(ZTDecoder::decoderWithFilename(path), nullptr);
    ASSERT_EQ(log.messages().size(), 4);
    EXPECT_EQ(log.messages()[2],
              QStringLiteral("FFMPEG Could Not Open Input For File: %1 ERROR: -1094995529").arg(path));
    EXPECT_EQ(log.messages()[3], QStringLiteral("%1: Invalid data found when processing input").arg(path));
}

} // namespace
