#include "DecoderFactory.h"
#include "QtPrinters.h"
#include "Fixtures.h"
#include "InstantRetries.h"
#include "NamedException.h"
#include "Tools.h"
#include "ZTDecoder.h"

#include <gtest/gtest.h>

namespace {

struct ExtensionCase
{
    const char* path;
    DecoderClass expected;
};

class DecoderByExtension : public testing::TestWithParam<ExtensionCase>
{
};

TEST_P(DecoderByExtension, PicksTheTableRow)
{
    EXPECT_EQ(DecoderFactory::decoderClassName(DecoderFactory::decoderClassForExtension(QLatin1String(GetParam().path))),
              DecoderFactory::decoderClassName(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(
    Table, DecoderByExtension,
    testing::Values(ExtensionCase{"/m/a.flac", DecoderClass::FLAC}, ExtensionCase{"/m/A.FLAC", DecoderClass::FLAC},
                    ExtensionCase{"/m/a.Flac", DecoderClass::FLAC}, ExtensionCase{"/m/a.rm", DecoderClass::FFMPEG},
                    ExtensionCase{"/m/a.RMJ", DecoderClass::FFMPEG}, ExtensionCase{"/m/a.mpeg", DecoderClass::FFMPEG},
                    ExtensionCase{"/m/a.mov", DecoderClass::FFMPEG}, ExtensionCase{"/m/a.wmv", DecoderClass::FFMPEG},
                    ExtensionCase{"/m/a.asf", DecoderClass::FFMPEG}, ExtensionCase{"/m/a.ape", DecoderClass::MonkeysAudio},
                    ExtensionCase{"/m/a.mpc", DecoderClass::Musepack}, ExtensionCase{"/m/a.wv", DecoderClass::WavPack},
                    ExtensionCase{"/m/a.tta", DecoderClass::TrueAudio}, ExtensionCase{"/m/a.669", DecoderClass::Mod},
                    ExtensionCase{"/m/a.IT", DecoderClass::Mod}, ExtensionCase{"/m/a.abc", DecoderClass::Mod},
                    ExtensionCase{"/m/a.umx", DecoderClass::Mod}, ExtensionCase{"/m/a.dsf", DecoderClass::DSD},
                    ExtensionCase{"/m/a.DFF", DecoderClass::DSD}, ExtensionCase{"/m/a.oggflac", DecoderClass::OggByContent},
                    ExtensionCase{"/m/a.spx", DecoderClass::OggByContent},
                    ExtensionCase{"/m/a.OPUS", DecoderClass::OggByContent},
                    // Everything else, the platform's own formats and Shorten included.
                    ExtensionCase{"/m/a.wav", DecoderClass::CoreAudioWithFFMPEGFallback},
                    ExtensionCase{"/m/a.shn", DecoderClass::CoreAudioWithFFMPEGFallback},
                    ExtensionCase{"/m/a.m4a", DecoderClass::CoreAudioWithFFMPEGFallback},
                    ExtensionCase{"/m/noextension", DecoderClass::CoreAudioWithFFMPEGFallback},
                    ExtensionCase{"/m/flac", DecoderClass::CoreAudioWithFFMPEGFallback},
                    ExtensionCase{"/m.flac/a.wav", DecoderClass::CoreAudioWithFFMPEGFallback},
                    ExtensionCase{"/m/a.tar.flac", DecoderClass::FLAC}),
    [](const testing::TestParamInfo<ExtensionCase>& info) {
        return testNameOf(QString::number(info.index) + QLatin1Char('_') +
                          QString::fromLatin1(info.param.path).section(QLatin1Char('/'), -1));
    });

struct OggCase
{
    const char* file;
    DecoderClass expected;
};

class OggByContent : public testing::TestWithParam<OggCase>
{
};

TEST_P(OggByContent, IgnoresTheExtension)
{
    EXPECT_EQ(DecoderFactory::decoderClassName(DecoderFactory::decoderClassForFilename(
                  Fixtures::generated(QLatin1String(GetParam().file)))),
              DecoderFactory::decoderClassName(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(Files, OggByContent,
                         testing::Values(OggCase{"core.ogg", DecoderClass::OggVorbis},
                                         OggCase{"core.opus", DecoderClass::OggOpus},
                                         OggCase{"core.spx", DecoderClass::OggSpeex},
                                         OggCase{"core.oggflac", DecoderClass::OggFLAC},
                                         OggCase{"core-opus-named.ogg", DecoderClass::OggOpus},
                                         OggCase{"core-vorbis-named.opus", DecoderClass::OggVorbis},
                                         OggCase{"core-flac-named.oga", DecoderClass::OggFLAC}),
                         [](const testing::TestParamInfo<OggCase>& info) {
                             return testNameOf(QString::fromLatin1(info.param.file));
                         });

QString factoryFailure(const QString& path)
{
    try {
        ZTDecoder::decoderWithFilename(path);
    } catch (const NamedException& e) {
        return e.reason();
    }
    return QStringLiteral("<no exception>");
}

TEST(DecoderFactory, BadOggFilesRaiseTheirMessage)
{
    EXPECT_EQ(factoryFailure(Fixtures::generated(QStringLiteral("core-theora.ogg"))),
              QStringLiteral("The Ogg File's Data Format Is Unknown."));
    for (const char* name : {"core-wav-named.ogg", "core-empty.ogg", "core-truncated-page.ogg", "core-zeros.spx"}) {
        EXPECT_EQ(factoryFailure(Fixtures::generated(QLatin1String(name))),
                  QStringLiteral("Input does not appear to be an Ogg bitstream."))
            << name;
    }
    EXPECT_EQ(factoryFailure(Fixtures::generated(QStringLiteral("core-directory.ogg"))),
              QStringLiteral("Reading Input File Failed: (Is a directory)."));
    EXPECT_EQ(factoryFailure(Fixtures::generated(QStringLiteral("missing.opus"))),
              QStringLiteral("Opening Input File Failed: No such file or directory."));
}

TEST(DecoderFactory, FilesThatCannotBeOpenedGiveNullAndALogLine)
{
    ErrorLogCapture log;
    InstantRetries retries;
    ScratchDir scratch;
    for (const char* name : {"missing.wav", "missing.flac", "missing.wma"}) {
        EXPECT_EQ(ZTDecoder::decoderWithFilename(scratch.file(QLatin1String(name))), nullptr) << name;
    }
    EXPECT_GE(log.messages().size(), 3);
}

TEST(DecoderFactory, EveryTableExtensionIsLowerCaseAndListedOnce)
{
    const QStringList extensions = DecoderFactory::tableExtensions();
    EXPECT_EQ(extensions.size(), 45);
    EXPECT_EQ(QSet<QString>(extensions.begin(), extensions.end()).size(), extensions.size());
    for (const QString& extension : extensions) {
        EXPECT_EQ(extension, extension.toLower());
    }
}

} // namespace
