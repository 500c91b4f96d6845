// Inputs that are broken, cut short or written by other programs: each
// either decodes to its end or fails with its decoder's message, and none
// crashes or hangs.

#include "Fixtures.h"
#include "NamedException.h"
#include "Pcm.h"
#include "Tools.h"
#include "ZTDecoder.h"

#include <gtest/gtest.h>

namespace {

struct BadFile
{
    const char* file;
    const char* message;
};

class BadHeaders : public testing::TestWithParam<BadFile>
{
};

TEST_P(BadHeaders, FailToOpenWithTheirMessage)
{
    try {
        ZTDecoder::decoderWithFilename(Fixtures::generated(QLatin1String(GetParam().file)));
        ADD_FAILURE() << "opened";
    } catch (const NamedException& e) {
        EXPECT_EQ(e.reason(), QLatin1String(GetParam().message));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Files, BadHeaders,
    testing::Values(
        BadFile{"dec-vorbis-first-page.ogg", "Failed ov_test.  Not a vaild Ogg Vorbis file."},
        BadFile{"dec-opus-no-channels.opus", "Opus Proces Header Failed."},
        BadFile{"dec-speex-bad-mode.spx", "Cannot read Speex header."},
        BadFile{"dec-speex-version-2.spx",
                "This file was encoded with Speex bit-stream version 2, which I don't know how to decode"},
        BadFile{"dec-speex-other-bitstream.spx", "The file was encoded with a different version of Speex."}),
    [](const testing::TestParamInfo<BadFile>& info) { return testNameOf(QLatin1String(info.param.file)); });

TEST(OggOpusDecoder, ATruncatedFileEndsWhereItsPacketsEnd)
{
    const QString cut = Fixtures::generated(QStringLiteral("dec-opus-truncated.opus"));
    std::unique_ptr<ZTDecoder> decoder = ZTDecoder::decoderWithFilename(cut);
    ASSERT_NE(decoder, nullptr);
    // The last page is gone, so the length is that of the last page left.
    EXPECT_GT(decoder->totalFrames(), 0);
    const Pcm decoded = decodeAll(*decoder);
    EXPECT_TRUE(decoder->isEndOfFile());
    EXPECT_GT(decoded.frames(), 10000u);
    EXPECT_LT(decoded.frames(), 48000u);
    const Alignment alignment = bestAlignment(
        decodeWithFFmpeg(Fixtures::generated(QStringLiteral("dec-opus-src-48k-2ch.wav"))), decoded, 8);
    EXPECT_EQ(alignment.lag, 0);
    EXPECT_GT(alignment.correlation, 0.95);
}

TEST(OggSpeexDecoder, AHeaderAnnouncingHugePacketsStillDecodes)
{
    std::unique_ptr<ZTDecoder> decoder =
        ZTDecoder::decoderWithFilename(Fixtures::generated(QStringLiteral("dec-speex-200-frames.spx")));
    ASSERT_NE(decoder, nullptr);
    const Pcm decoded = decodeAll(*decoder);
    EXPECT_TRUE(decoder->isEndOfFile());
    EXPECT_GE(decoded.frames(), 16000u);
}

// Every message these inputs may end with.
const QStringList kKnownFailures = {
    QStringLiteral("Input does not appear to be an Ogg bitstream."),
    QStringLiteral("The Ogg File's Data Format Is Unknown."),
    QStringLiteral("Error reading initial header packet."),
    QStringLiteral("Failed ov_test.  Not a vaild Ogg Vorbis file."),
    QStringLiteral("Failed ov_test_open.  Could not open input file."),
    QStringLiteral("ov_read Failed."),
    QStringLiteral("Opus Proces Header Failed."),
    QStringLiteral("Ogg loss of streaming."),
    QStringLiteral("Cannot read Speex header."),
};

TEST(TagLibFiles, DecodeOrFailWithTheirMessage)
{
    SONABRIK_REQUIRE_TAGLIB_FIXTURES();
    const QStringList files = Fixtures::taglibFilesWithExtensions(
        {QStringLiteral("flac"), QStringLiteral("oga"), QStringLiteral("ogg"), QStringLiteral("opus"),
         QStringLiteral("spx"), QStringLiteral("oggflac")});
    ASSERT_FALSE(files.isEmpty());
    for (const QString& file : files) {
        ErrorLogCapture log;
        QString outcome;
        try {
            std::unique_ptr<ZTDecoder> decoder = ZTDecoder::decoderWithFilename(file);
            if (!decoder) {
                outcome = QStringLiteral("null, logged: ") + log.messages().join(QLatin1Char('|'));
                EXPECT_FALSE(log.messages().isEmpty()) << file.toStdString();
            } else {
                const Pcm pcm = decodeAll(*decoder);
                EXPECT_TRUE(decoder->isEndOfFile()) << file.toStdString();
                outcome = QStringLiteral("%1: %2 frames").arg(decoder->className()).arg(pcm.frames());
            }
        } catch (const NamedException& e) {
            outcome = e.reason();
            EXPECT_TRUE(kKnownFailures.contains(e.reason()))
                << file.toStdString() << ": " << e.reason().toStdString();
        }
        std::printf("%s: %s\n", qPrintable(QFileInfo(file).fileName()), qPrintable(outcome));
    }
}

} // namespace
