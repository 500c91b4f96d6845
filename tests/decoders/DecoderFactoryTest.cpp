// Which decoder the factory picks, and how it refuses what it cannot open.
// Then the wording of a damage report (each format's damaged files end to end: tests/cli).

#include "DecoderFactory.h"
#include "DecoderDamage.h"
#include "Fixtures.h"
#include "InstantRetries.h"
#include "NamedException.h"
#include "Pcm.h"
#include "Tools.h"
#include "ZTDecoder.h"

#include <QDir>
#include <QFileInfo>
#include <gtest/gtest.h>
#include <malloc.h>

using namespace Qt::StringLiterals;

namespace {

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
        {"/m/a.DFF", DecoderClass::DSD},
        // Everything else goes to the platform reader, Shorten included.
        {"/m/a.shn", DecoderClass::CoreAudioWithFFMPEGFallback},
        {"/m/flac", DecoderClass::CoreAudioWithFFMPEGFallback},
        {"/m.flac/a.wav", DecoderClass::CoreAudioWithFFMPEGFallback},
    };
    for (const auto& [path, expected] : byExtension) {
        EXPECT_EQ(DecoderFactory::decoderClassForExtension(QLatin1String(path)), expected) << path;
    }
    const std::pair<const char*, DecoderClass> byContent[] = {
        {"core-opus-named.ogg", DecoderClass::OggOpus},
        {"core-vorbis-named.opus", DecoderClass::OggVorbis},
        {"core-flac-named.oga", DecoderClass::OggFLAC},
    };
    for (const auto& [file, expected] : byContent) {
        const QString path = Fixtures::generated(QLatin1String(file));
        EXPECT_EQ(DecoderFactory::decoderClassForFilename(path), expected) << file;
        // And the decoder it opens reads the file's audio.
        const std::unique_ptr<ZTDecoder> decoder = ZTDecoder::decoderWithFilename(path);
        ASSERT_NE(decoder, nullptr) << file;
        const Pcm decoded = decodeAll(*decoder);
        const Pcm reference = decodeWithFFmpeg(path);
        ASSERT_GT(reference.frames(), 0u) << file;
        EXPECT_GT(bestAlignment(reference, decoded, 8).correlation, 0.95) << file;
    }
}

struct Refusal
{
    const char* file;
    QStringList messages; // the log lines (%1 is the path), or the reason of the exception raised
};

class RefusedFiles : public testing::TestWithParam<Refusal>
{
};

// The platform reader refuses first, then FFmpeg (which retries a missing
// file four times, instantly here); the Ogg sniffer and decoders raise.
TEST_P(RefusedFiles, GiveNullAndEveryDecodersLogLineOrRaise)
{
    ErrorLogCapture log;
    InstantRetries retries;
    const QString path = Fixtures::generated(QLatin1String(GetParam().file));
    QStringList seen;
    try {
        EXPECT_EQ(ZTDecoder::decoderWithFilename(path), nullptr);
        seen = log.messages();
    } catch (const NamedException& e) {
        seen = QStringList{e.reason()};
    }
    QStringList expected;
    for (const QString& message : GetParam().messages) {
        expected << (message.contains(QLatin1String("%1")) ? message.arg(path) : message);
    }
    EXPECT_EQ(seen, expected);
}

const QString kFallBack =
    u"Failed To Create Core Audio Decoder.  Attempting To Fall Back To FFMPEG Decoder"_s;

INSTANTIATE_TEST_SUITE_P(
    Files, RefusedFiles,
    testing::Values(
        Refusal{"plat-empty.wav",
                {"ExtAudioFileOpenURL Failed With Error: typ?", kFallBack,
                 "FFMPEG Could Not Open Input For File: %1 ERROR: -1094995529",
                 "%1: Invalid data found when processing input"}},
        Refusal{"missing.wav",
                {"ExtAudioFileOpenURL Failed With Error: -43", kFallBack,
                 "FFMPEG Could Not Open Input For File: %1 ERROR: -2", "%1: No such file or directory"}},
        // FFmpeg's text for "no error" follows the path.
        Refusal{"plat-unknown-codec.wav",
                {"ExtAudioFileOpenURL Failed With Error: fmt?", kFallBack,
                 "FFMPEG Could Not Find A Valid Decoder For File: %1", "%1: Success"}},
        Refusal{"plat-silent-video.avi", {"Failed To Determine mBytesPerFrame."}},
        // The Ogg sniffer, before any decoder.
        Refusal{"core-theora.ogg", {"The Ogg File's Data Format Is Unknown."}},
        Refusal{"core-wav-named.ogg", {"Input does not appear to be an Ogg bitstream."}},
        Refusal{"core-empty.ogg", {"Input does not appear to be an Ogg bitstream."}},
        Refusal{"core-truncated-page.ogg", {"Input does not appear to be an Ogg bitstream."}},
        Refusal{"core-unfinished-packet.ogg", {"Error reading initial header packet."}},
        Refusal{"core-directory.ogg", {"Reading Input File Failed: (Is a directory)."}},
        Refusal{"missing.opus", {"Opening Input File Failed: No such file or directory."}},
        // The decoders, on headers no encoder writes.
        Refusal{"dec-vorbis-first-page.ogg", {"Failed ov_test.  Not a vaild Ogg Vorbis file."}},
        Refusal{"dec-opus-no-channels.opus", {"Opus Proces Header Failed."}},
        Refusal{"dec-speex-bad-mode.spx", {"Cannot read Speex header."}},
        Refusal{"dec-speex-version-2.spx",
                {"This file was encoded with Speex bit-stream version 2, which I don't know how to decode"}},
        Refusal{"dec-speex-other-bitstream.spx",
                {"The file was encoded with a different version of Speex."}}),
    [](const testing::TestParamInfo<Refusal>& info) { return testNameOf(QLatin1String(info.param.file)); });

// The Ogg sniffer runs twice for every Ogg file of a run (tags, then audio):
// whatever it finds, or however it fails, it keeps nothing.
TEST(DecoderFactory, SniffingOggFilesKeepsNoMemory)
{
    for (const char* file :
         {"core-vorbis-named.opus", "core-opus-named.ogg", "dec-speex-n-1ch.spx", "core-flac-named.oga",
          "core-theora.ogg", "core-unfinished-packet.ogg", "dec-vorbis-first-page.ogg"}) {
        const QString path = Fixtures::generated(QLatin1String(file));
        const auto sniff = [&] {
            try {
                DecoderFactory::decoderClassForFilename(path);
            } catch (const NamedException&) {
                // Refused files must free as much as the others.
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

// Each file decodes to its end or is refused (null with its log lines, or
// an exception: one of knownFailures when given), without crash, hang, or ten
// minutes claimed, reporting damage only when listed as cut short.
void expectDecodedOrRefused(const QStringList& paths, const QStringList& cut,
                            const QStringList& knownFailures)
{
    InstantRetries retries;
    const QStringList oneLogLine = {"wv", "mpc", "tta", "ape", "mod", "s3m", "it", "xm"};
    int decoded = 0;
    for (const QString& path : paths) {
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
            EXPECT_EQ(decoder->damage().isDamaged(), cut.contains(file.fileName()))
                << decoder->damage().describe(44100).toStdString();
            if (decoder->className() == QLatin1String("ModDecoder")) {
                EXPECT_LE(std::llabs(int64_t(pcm.frames()) - total), 44100) << total;
            }
            ++decoded;
        } catch (const NamedException& e) {
            EXPECT_TRUE(knownFailures.isEmpty() || knownFailures.contains(e.reason()))
                << e.reason().toStdString();
        }
    }
    EXPECT_GT(decoded, paths.size() / 2);
}

TEST(DecoderFactory, GeneratedFilesDecodeOrAreRefused)
{
    QStringList paths;
    for (const QString& name :
         QDir(Fixtures::generatedDir())
             .entryList({"*.flac", "*.oga", "*.oggflac", "*.ogg", "*.opus", "*.spx", "*.wv", "*.mpc",
                         "*.tta",  "*.ape", "*.wav",     "*.aif", "*.aiff", "*.caf", "*.au", "*.mp3",
                         "*.m4a",  "*.aac", "*.wma",     "*.dsf", "*.dff",  "*.mod"},
                        QDir::Files, QDir::Name)) {
        paths << Fixtures::generated(name);
    }
    ASSERT_GT(paths.size(), 100);
    // Cut short or corrupted by the generators. (An MP3 tells its length in LAME's Info frame.)
    expectDecodedOrRefused(paths,
                           {"dec-16-2ch-truncated.flac", "dec-opus-truncated.opus", "codec-24-truncated.tta",
                            "plat-truncated.wav", "plat-truncated.mp3", "plat-corrupt-aac.m4a"},
                           {});
}

// Broken ones among them: the files cut short have headers or Info frames
// announcing more than they hold.
TEST(DecoderFactory, TagLibsFilesDecodeOrAreRefused)
{
    SONABRIK_REQUIRE_TAGLIB_FIXTURES();
    const QStringList files = Fixtures::taglibFilesWithExtensions(
        {"wav", "aif", "aiff", "aifc", "m4a", "mp3", "3g2", "aac", "flac", "oga", "ogg", "opus", "spx",
         "wv",  "mpc", "ape",  "tta",  "wma", "asf", "dsf", "dff", "mod",  "s3m", "it",  "xm"});
    ASSERT_GT(files.size(), 50);
    expectDecodedOrRefused(
        files,
        {"empty-seektable.flac", "ilst-is-last.m4a", "lame_cbr.mp3", "lame_vbr.mp3", "mpeg2.mp3",
         "rare_frames.mp3", "toc_many_children.mp3"},
        {"Input does not appear to be an Ogg bitstream.", "The Ogg File's Data Format Is Unknown.",
         "Error reading initial header packet.", "Failed ov_test.  Not a vaild Ogg Vorbis file.",
         "Failed ov_test_open.  Could not open input file.", "ov_read Failed.", "Opus Proces Header Failed.",
         "Cannot read Speex header.", "Could Not Create MPC Demuxer.", "Unable to open the input file.",
         "can't open file: can't read all of WavPack file!.",
         "Error Decoding Monkey's Audio Frame: 0. Error -1094995529"});
}

using Kind = DecoderDamage::Kind;

TEST(DecoderDamage, SaysWhatWasFoundAndWhere)
{
    const double rate = 44100;
    DecoderDamage none;
    EXPECT_FALSE(none.isDamaged());
    EXPECT_EQ(none.describe(rate), QString());

    DecoderDamage crc;
    crc.note(Kind::FailedCRC, int64_t(8.45 * rate));
    crc.note(Kind::FailedCRC, int64_t(9.0 * rate), 2);
    crc.noteEndedEarly(int64_t(12.0 * rate), int64_t(20.0 * rate));
    // Any other damage breaks the signature too: it is not named then.
    crc.note(Kind::ChecksumMismatch, int64_t(12.0 * rate));
    EXPECT_TRUE(crc.isDamaged());
    EXPECT_EQ(crc.count(Kind::FailedCRC), 3);
    EXPECT_EQ(crc.firstFrame(Kind::FailedCRC), int64_t(8.45 * rate));
    EXPECT_EQ(crc.describe(rate), QStringLiteral("3 frames failed their CRC, first at 0:08.4; "
                                                 "stream ends at 0:12.0 of 0:20.0"));

    DecoderDamage signature;
    signature.note(Kind::ChecksumMismatch, int64_t(20.0 * rate));
    EXPECT_EQ(signature.describe(rate), u"MD5 signature does not match the decoded audio"_s);

    DecoderDamage ogg;
    ogg.note(Kind::MissingPages, int64_t(61.25 * rate), 2);
    ogg.note(Kind::NoEndOfStream, int64_t(75.0 * rate));
    EXPECT_EQ(ogg.describe(rate),
              QStringLiteral("2 pages are missing, first at 1:01.2; stream ends at 1:15.0 without its "
                             "end-of-stream page"));
}

} // namespace
