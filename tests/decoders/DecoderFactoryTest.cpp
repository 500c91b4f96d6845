// Which decoder the factory picks, and how it refuses what it cannot open:
// with null and the log lines of every decoder it tried, or with the named
// exception of the Ogg sniffer and decoders.

#include "DecoderFactory.h"
#include "Fixtures.h"
#include "InstantRetries.h"
#include "NamedException.h"
#include "Pcm.h"
#include "Tools.h"
#include "ZTDecoder.h"

#include <QFileInfo>
#include <gtest/gtest.h>
#include <malloc.h>

using namespace Qt::StringLiterals;

namespace {

QString className(DecoderClass decoderClass)
{
    return DecoderFactory::decoderClassName(decoderClass);
}

TEST(DecoderFactory, PicksByTheLowerCasedLastExtensionAndOggByItsFirstPacket)
{
    // How a path meets the table, not the table again.
    const std::pair<const char*, DecoderClass> byExtension[] = {
        {"/m/A.FLAC", DecoderClass::FLAC},
        {"/m/a.tar.flac", DecoderClass::FLAC},
        {"/m/a.IT", DecoderClass::Mod},
        {"/m/a.OPUS", DecoderClass::OggByContent},
        {"/m/a.Wma", DecoderClass::FFMPEG},
        {"/m/a.ape", DecoderClass::MonkeysAudio},
        {"/m/a.mpc", DecoderClass::Musepack},
        {"/m/a.wv", DecoderClass::WavPack},
        {"/m/a.tta", DecoderClass::TrueAudio},
        {"/m/a.dsf", DecoderClass::DSD},
        {"/m/a.DFF", DecoderClass::DSD},
        // Everything else goes to the platform reader, Shorten included.
        {"/m/a.shn", DecoderClass::CoreAudioWithFFMPEGFallback},
        {"/m/flac", DecoderClass::CoreAudioWithFFMPEGFallback},
        {"/m.flac/a.wav", DecoderClass::CoreAudioWithFFMPEGFallback},
    };
    for (const auto& [path, expected] : byExtension) {
        EXPECT_EQ(className(DecoderFactory::decoderClassForExtension(QLatin1String(path))),
                  className(expected))
            << path;
    }
    const std::pair<const char*, DecoderClass> byContent[] = {
        {"core-opus-named.ogg", DecoderClass::OggOpus},
        {"core-vorbis-named.opus", DecoderClass::OggVorbis},
        {"core-flac-named.oga", DecoderClass::OggFLAC},
    };
    for (const auto& [file, expected] : byContent) {
        const QString path = Fixtures::generated(QLatin1String(file));
        EXPECT_EQ(className(DecoderFactory::decoderClassForFilename(path)), className(expected)) << file;
        // And the decoder opened for it really reads the file's audio.
        const std::unique_ptr<ZTDecoder> decoder = ZTDecoder::decoderWithFilename(path);
        ASSERT_NE(decoder, nullptr) << file;
        const Pcm decoded = decodeAll(*decoder);
        const Pcm reference = decodeWithFFmpeg(path);
        ASSERT_GT(reference.frames(), 0u) << file;
        EXPECT_GT(bestAlignment(reference, decoded, 2000).correlation, 0.95) << file;
    }
}

struct Refusal
{
    const char* file;
    QStringList messages; // %1 is the path
};

class RefusedFiles : public testing::TestWithParam<Refusal>
{
};

// The platform reader refuses first, then FFmpeg (which retries a missing
// file four times, instantly here).
TEST_P(RefusedFiles, GiveNullAndEveryDecodersLogLine)
{
    ErrorLogCapture log;
    InstantRetries retries;
    const QString path = Fixtures::generated(QLatin1String(GetParam().file));
    EXPECT_EQ(ZTDecoder::decoderWithFilename(path), nullptr);
    QStringList expected;
    for (const QString& message : GetParam().messages) {
        expected << (message.contains(QLatin1String("%1")) ? message.arg(path) : message);
    }
    EXPECT_EQ(log.messages(), expected);
}

const QString kFallBack =
    u"Failed To Create Core Audio Decoder.  Attempting To Fall Back To FFMPEG Decoder"_s;

INSTANTIATE_TEST_SUITE_P(
    Files, RefusedFiles,
    testing::Values(Refusal{"plat-empty.wav",
                            {"ExtAudioFileOpenURL Failed With Error: typ?", kFallBack,
                             "FFMPEG Could Not Open Input For File: %1 ERROR: -1094995529",
                             "%1: Invalid data found when processing input"}},
                    Refusal{"plat-text.wav",
                            {"ExtAudioFileOpenURL Failed With Error: typ?", kFallBack,
                             "FFMPEG Could Not Open Input For File: %1 ERROR: -1094995529",
                             "%1: Invalid data found when processing input"}},
                    Refusal{"missing.wav",
                            {"ExtAudioFileOpenURL Failed With Error: -43", kFallBack,
                             "FFMPEG Could Not Open Input For File: %1 ERROR: -2",
                             "%1: No such file or directory"}},
                    // FFmpeg's text for "no error" follows the path.
                    Refusal{"plat-unknown-codec.wav",
                            {"ExtAudioFileOpenURL Failed With Error: fmt?", kFallBack,
                             "FFMPEG Could Not Find A Valid Decoder For File: %1", "%1: Success"}},
                    Refusal{"plat-silent-video.avi", {"Failed To Determine mBytesPerFrame."}}),
    [](const testing::TestParamInfo<Refusal>& info) { return testNameOf(QLatin1String(info.param.file)); });

struct Failure
{
    const char* file;
    const char* reason;
};

class FailingOggFiles : public testing::TestWithParam<Failure>
{
};

TEST_P(FailingOggFiles, RaiseTheirMessage)
{
    try {
        ZTDecoder::decoderWithFilename(Fixtures::generated(QLatin1String(GetParam().file)));
        ADD_FAILURE() << "opened";
    } catch (const NamedException& e) {
        EXPECT_EQ(e.reason(), QString::fromUtf8(GetParam().reason));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Files, FailingOggFiles,
    testing::Values(
        // The sniffer, before any decoder.
        Failure{"core-theora.ogg", "The Ogg File's Data Format Is Unknown."},
        Failure{"core-wav-named.ogg", "Input does not appear to be an Ogg bitstream."},
        Failure{"core-empty.ogg", "Input does not appear to be an Ogg bitstream."},
        Failure{"core-truncated-page.ogg", "Input does not appear to be an Ogg bitstream."},
        Failure{"core-unfinished-packet.ogg", "Error reading initial header packet."},
        Failure{"core-directory.ogg", "Reading Input File Failed: (Is a directory)."},
        Failure{"missing.opus", "Opening Input File Failed: No such file or directory."},
        // The decoders, on headers no encoder writes.
        Failure{"dec-vorbis-first-page.ogg", "Failed ov_test.  Not a vaild Ogg Vorbis file."},
        Failure{"dec-opus-no-channels.opus", "Opus Proces Header Failed."},
        Failure{"dec-speex-bad-mode.spx", "Cannot read Speex header."},
        Failure{"dec-speex-version-2.spx",
                "This file was encoded with Speex bit-stream version 2, which I don't know how to decode"},
        Failure{"dec-speex-other-bitstream.spx", "The file was encoded with a different version of Speex."}),
    [](const testing::TestParamInfo<Failure>& info) { return testNameOf(QLatin1String(info.param.file)); });

// The Ogg sniffer runs twice for every Ogg file of a run (tags, then audio):
// whatever it finds, or however it fails, it keeps nothing. Measured on the
// heap of the shipped build; LeakSanitizer checks the same in the sanitizer
// build.
TEST(DecoderFactory, SniffingOggFilesKeepsNoMemory)
{
    const char* const files[] = {"core-vorbis-named.opus",   "core-opus-named.ogg",
                                 "dec-speex-n-1ch.spx",      "core-flac-named.oga",
                                 "core-theora.ogg",          "core-unfinished-packet.ogg",
                                 "dec-vorbis-first-page.ogg"};
    for (const char* file : files) {
        const QString path = Fixtures::generated(QLatin1String(file));
        const auto sniff = [&] {
            try {
                DecoderFactory::decoderClassForFilename(path);
            } catch (const NamedException&) {
                // core-theora and core-unfinished-packet are refused: that
                // road must free as much as the others.
            }
        };
        sniff(); // first-use allocations (Qt's codecs, the log) are not growth
        const size_t before = mallinfo2().uordblks;
        for (int i = 0; i < 200; ++i) {
            sniff();
        }
        const size_t after = mallinfo2().uordblks;
        // A stream state kept is some 28 KB a sniff, 5 MB over 200 of them.
        EXPECT_LT(after > before ? after - before : 0, size_t(64 * 1024)) << file;
    }
}

// Every decodable file of TagLib's test data, broken ones among them, in
// one sweep: each decodes to its end or is refused (null with its log lines,
// or a known message); none may crash or hang, claim more than ten minutes,
// or report damage but the files cut short in that collection: a FLAC file
// whose STREAMINFO announces 7:15 and which stops inside its second frame,
// an MP4 file whose header announces 1:05 of audio it does not hold, and MP3
// files that are the first kilobytes of longer recordings, whose Info frames
// still count the whole (31:27 in 4 kB). Modules render as long as they say
// they last; their loader and the codec decoders log one line when refusing.
TEST(DecoderFactory, TagLibsFilesDecodeOrAreRefused)
{
    SONABRIK_REQUIRE_TAGLIB_FIXTURES();
    InstantRetries retries;
    const QStringList knownFailures = {
        "Input does not appear to be an Ogg bitstream.",
        "The Ogg File's Data Format Is Unknown.",
        "Error reading initial header packet.",
        "Failed ov_test.  Not a vaild Ogg Vorbis file.",
        "Failed ov_test_open.  Could not open input file.",
        "ov_read Failed.",
        "Opus Proces Header Failed.",
        "Cannot read Speex header.",
        "Could Not Create MPC Demuxer.",
        "Unable to open the input file.",
        "can't open file: can't read all of WavPack file!.",
        "Error Decoding Monkey's Audio Frame: 0. Error -1094995529",
    };
    const QStringList broken = {"empty-seektable.flac", "ilst-is-last.m4a", "lame_cbr.mp3",
                                "lame_vbr.mp3",         "mpeg2.mp3",        "rare_frames.mp3",
                                "toc_many_children.mp3"};
    const QStringList oneLogLine = {"wv", "mpc", "tta", "ape", "mod", "s3m", "it", "xm"};
    const QStringList files = Fixtures::taglibFilesWithExtensions(
        {"wav", "aif", "aiff", "aifc", "m4a", "mp3", "3g2", "aac", "flac", "oga", "ogg", "opus", "spx",
         "wv",  "mpc", "ape",  "tta",  "wma", "asf", "dsf", "dff", "mod",  "s3m", "it",  "xm"});
    ASSERT_GT(files.size(), 50);
    int decoded = 0;
    for (const QString& path : files) {
        SCOPED_TRACE(path.toStdString());
        const QFileInfo file(path);
        ErrorLogCapture log;
        try {
            const std::unique_ptr<ZTDecoder> decoder = ZTDecoder::decoderWithFilename(path);
            if (!decoder) {
                EXPECT_FALSE(log.messages().isEmpty());
                if (oneLogLine.contains(file.suffix().toLower())) {
                    EXPECT_EQ(log.messages().size(), 1) << log.messages().join(u'\n').toStdString();
                }
                continue;
            }
            const int64_t total = decoder->totalFrames();
            const Pcm pcm = decodeAll(*decoder);
            EXPECT_TRUE(decoder->isEndOfFile());
            EXPECT_LT(pcm.frames(), size_t(600 * std::max(decoder->decodeFormat().mSampleRate, 8000.0)));
            EXPECT_EQ(decoder->damage().isDamaged(), broken.contains(file.fileName()))
                << decoder->damage().describe(44100).toStdString();
            if (decoder->className() == QLatin1String("ModDecoder")) {
                EXPECT_LE(std::llabs(int64_t(pcm.frames()) - total), 44100) << total;
            }
            ++decoded;
        } catch (const NamedException& e) {
            EXPECT_TRUE(knownFailures.contains(e.reason())) << e.reason().toStdString();
        }
    }
    EXPECT_GT(decoded, files.size() / 2);
}

} // namespace
