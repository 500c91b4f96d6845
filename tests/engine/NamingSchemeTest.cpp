#include "NamingScheme.h"
#include "AudioMetadata.h"
#include "EncoderSettings.h"
#include "Preferences.h"
#include "QtPrinters.h"

#include <QDir>
#include <gtest/gtest.h>
#include <random>

using namespace Qt::StringLiterals;

namespace {

const QString kSource = u"/music/in/My Song.flac"_s;
// The character the evaluation uses internally to stand for a substituted value.
const QChar kMarker(char16_t(0xFDD0));

// Every test starts from the registered defaults and leaves them so.
class Naming : public testing::Test
{
protected:
    void SetUp() override { Preferences::shared().removeAllValues(); }
    void TearDown() override { Preferences::shared().removeAllValues(); }

    static void set(const char* key, const QVariant& value)
    {
        Preferences::shared().setValue(QString::fromLatin1(key), value);
    }

    QString path(const QString& scheme, const AudioMetadata* m = nullptr, const EncoderSettings* s = nullptr)
    {
        return NamingScheme::evaluate(scheme, m, s, kSource, true);
    }
    QString text(const QString& scheme, const AudioMetadata* m = nullptr, const EncoderSettings* s = nullptr)
    {
        return NamingScheme::evaluate(scheme, m, s, kSource, false);
    }

    AudioMetadata metadata;
};

TEST_F(Naming, OptionalGroupsDisappearWithAnAbsentValueAndKeepTheirTextWithAnEmptyOne)
{
    metadata.setTrackNumber(7);
    metadata.setTrackTitle(u"Song"_s);
    EXPECT_EQ(path("{trackNumber - }{trackTitle}", &metadata), "07 - Song");
    set("useTwoDigitNumbers", false);
    EXPECT_EQ(path("{trackNumber - }{trackTitle}", &metadata), "7 - Song");
    metadata.setTrackNumber(std::nullopt);
    EXPECT_EQ(path("{trackNumber - }{trackTitle}", &metadata), "Song");

    EXPECT_EQ(path("{[genre] }{trackTitle}", &metadata), "Song");
    metadata.setTrackGenre(QString());
    EXPECT_EQ(path("{[genre] }{trackTitle}", &metadata), "[] Song");
    // A group's literal text may hold anything but braces.
    metadata.setDiscNumber(2);
    EXPECT_EQ(path("{Disc discNumber/}{trackTitle}", &metadata), "Disc 2/Song");
}

TEST_F(Naming, FallbacksFillMissingTextsAndTheComposerOnlyWhenAbsent)
{
    EXPECT_EQ(path("{albumArtist}/{albumTitle}/{trackTitle}"), "Unknown Artist/Unknown Album/My Song");
    metadata.setAlbumArtist(QString());
    metadata.setTrackArtist(QString());
    metadata.setAlbumTitle(QString());
    metadata.setTrackTitle(QString());
    EXPECT_EQ(text("{albumArtist}|{trackArtist}|{albumTitle}|{trackTitle}", &metadata),
              "Unknown Artist|Unknown Artist|Unknown Album|My Song");
    EXPECT_EQ(text("<{composer}>"), "<Unknown Composer>");
    metadata.setTrackComposer(QString());
    EXPECT_EQ(text("<{composer}>", &metadata), "<>");
    // Without metadata every other metadata token is absent.
    EXPECT_EQ(text("a{ genre}{ year}{ key}{ trackNumber}{ sourceKind}b"), "ab");
}

TEST_F(Naming, EmptySchemesAndEmptyResultsFallBackOnTheSourceName)
{
    EXPECT_EQ(path(QString()), "My Song");
    EXPECT_EQ(path(u""_s), "My Song");
    EXPECT_EQ(path("{sourceFormat}"), "My Song");
    EXPECT_EQ(path("{sourceFormat}/x"), "/x");
    EXPECT_EQ(path("{albumTitle}/{genre}"), "Unknown Album/My Song"); // ends with "/"
    metadata.setTrackTitle(u".hidden"_s);
    EXPECT_EQ(path("{albumTitle}/{trackTitle}", &metadata), "Unknown Album/hidden");
    // Only one dot goes by the naming rules; the next would still hide the
    // file, so it is replaced.
    EXPECT_EQ(path("..x"), "_x");
}

TEST_F(Naming, ValuesAreMadeSafeInPathModeOnly)
{
    metadata.setTrackTitle(u"AC/DC Live"_s);
    EXPECT_EQ(path("{trackTitle}", &metadata), "AC_DC Live");
    EXPECT_EQ(text("{trackTitle}", &metadata), "AC/DC Live");
    set("createWindowsSafeFilenames", false);
    EXPECT_EQ(path("{trackTitle}", &metadata), "AC:DC Live");
    // A "/" written in the scheme makes folders either way.
    EXPECT_EQ(path("x/{trackTitle}", &metadata), "x/AC:DC Live");
}

TEST_F(Naming, OnlyTheFirstTokenInTableOrderIsSubstitutedInAGroup)
{
    metadata.setTrackArtist(u"Artist"_s);
    metadata.setAlbumTitle(u"Album"_s);
    EXPECT_EQ(text("{trackArtist - albumTitle}", &metadata), "Artist - albumTitle");
    // Table order, not position: albumArtist is searched before albumTitle.
    EXPECT_EQ(text("{albumTitle by albumArtist}", &metadata), "albumTitle by Unknown Artist");
    // Names are found as plain substrings: "bitrateMethod" before "bitrate",
    // and "key" inside "Monkey".
    EncoderSettings settings;
    settings.setBitrateMethod(2);
    EXPECT_EQ(text("{bitrateMethod}", nullptr, &settings), "VBR");
    metadata.setKey(u"D Minor"_s);
    EXPECT_EQ(text("{Monkey}", &metadata), "MonD Minor");
    EXPECT_EQ(text("{Monkey}x"), "x");
}

TEST_F(Naming, ADeeperGroupWithoutATokenStopsEvaluationAndBracesStayAsWritten)
{
    metadata.setTrackTitle(u"Song"_s);
    EXPECT_EQ(text("{{nothing}}{trackTitle}", &metadata), "{{nothing}}{trackTitle}");
    EXPECT_EQ(text("{trackTitle", &metadata), "{trackTitle");
    EXPECT_EQ(text("trackTitle}", &metadata), "trackTitle}");
    EXPECT_EQ(text("}{trackTitle}{", &metadata), "}Song{");
    EXPECT_EQ(text("{unknownToken}-{trackTitle}", &metadata), "{unknownToken}-Song");
    // An inner group is substituted first; the outer group then holds no
    // token of its own and stays as text.
    metadata.setDiscNumber(1);
    EXPECT_EQ(text("{Disc {discNumber}}", &metadata), "{Disc 01}");
}

TEST_F(Naming, ValuesAreNeverReadAsSchemeText)
{
    metadata.setTrackTitle(u"{trackTitle}"_s);
    metadata.setAlbumTitle(u"{{x}} albumArtist {genre"_s);
    EXPECT_EQ(text("{trackTitle}", &metadata), "{trackTitle}");
    EXPECT_EQ(text("{albumTitle}/{trackTitle}", &metadata), "{{x}} albumArtist {genre/{trackTitle}");
    EXPECT_EQ(text(QString(kMarker) + "{trackTitle}" + kMarker, &metadata),
              QString(kMarker) + "{trackTitle}" + kMarker);
}

TEST_F(Naming, OutputAndSourceTokensDescribeTheFormatAndTheStream)
{
    EncoderSettings settings;
    settings.setBitrate(192);
    settings.setChannelMode(0);
    metadata.setSourceSampleRate(44100);
    metadata.setSourceChannels(6);
    metadata.setSourceBitrate(1411200);
    metadata.setSourceBitrateMode(u"CBR"_s);
    metadata.setSourceKind(u"FLAC"_s);
    metadata.setSourceFormat(u"Free Lossless Audio Codec"_s);
    metadata.setSourceEncodedWith(u"reference libFLAC"_s);
    EXPECT_EQ(
        text("{outputFormat} {outputEncoding}, {bitrate} {bitrateMethod}, {sampleRate}, {outputChannels} ch",
             &metadata, &settings),
        "MP3 192.00 kbps CBR, 192.00 kbps CBR, 44.100 kHz, 6 ch");
    EXPECT_EQ(text("{sourceKind} {sourceBitrate} {sourceBitrateMethod} {sourceSampleRate} {sourceChannels}"
                   "{ sourceFormat}{ sourceEncodedWith}",
                   &metadata),
              "FLAC 1411.20 kbps CBR 44.100 kHz 6 reference libFLAC");

    // Other encoder types keep bit/s; a fixed rate and a channel mode win
    // over the source's.
    settings.setEncoderType(EncoderSettings::OggVorbis);
    settings.setBitrate(128000);
    settings.setSampleRate(48000);
    settings.setChannelMode(3);
    settings.setBitrateMethod(7);
    EXPECT_EQ(
        text("{outputBitrate}|{outputSampleRate}|{outputChannels}|{encodingMethod}|", &metadata, &settings),
        "128.00 kbps|48.000 kHz|1||");
    // Without settings the output tokens have no value.
    EXPECT_EQ(text("a{ outputFormat}{ bitrate}{ sampleRate}{ outputChannels}{ encodingFormat}b", &metadata),
              "ab");
}

TEST_F(Naming, ThePreferencesPreviewExample)
{
    // The example the preferences window previews, with the default scheme
    // and comment format.
    metadata.setTrackNumber(1);
    metadata.setTotalTracks(17);
    metadata.setTrackTitle(u"Lantern Road"_s);
    metadata.setAlbumTitle(u"North of Tidewater"_s);
    metadata.setTrackArtist(u"The Quiet Orchards"_s);
    metadata.setAlbumArtist(u"The Quiet Orchards"_s);
    metadata.setTrackComposer(u"Halden/Marsh"_s);
    metadata.setSourceKind(u"FLAC"_s);
    EncoderSettings settings(Preferences::shared().dictionaryValue(u"defaultEncoderSetting"_s));
    const Preferences& preferences = Preferences::shared();
    EXPECT_EQ(path(preferences.stringValue(u"customNamingScheme"_s), &metadata, &settings),
              "The Quiet Orchards/North of Tidewater/01 - Lantern Road");
    EXPECT_EQ(text(preferences.stringValue(u"commentsFormatString"_s), &metadata, &settings),
              "FLAC converted to MP3 VBR Quality 8");
    EXPECT_EQ(path("{composer}", &metadata), "Halden_Marsh");
}

// A tag can hold anything. Whatever it holds, a name made in path mode has
// no "." or ".." component and, joined to the output folder, stays inside.
void expectInsideBase(const QString& relative, const std::string& context)
{
    const QString base = u"/out/base"_s;
    const QString joined = NamingScheme::pathBelow(base, relative);
    EXPECT_TRUE(joined.startsWith(base + QLatin1Char('/'))) << context << " -> " << joined.toStdString();
    for (const QString& component : relative.split(QLatin1Char('/'))) {
        EXPECT_TRUE(component != QLatin1String(".") && component != QLatin1String(".."))
            << context << " -> " << relative.toStdString();
    }
}

TEST_F(Naming, NoTagValueLeadsOutOfTheOutputFolder)
{
    const char* values[] = {".",       "..",     "...", "/",       "//",    "/etc/passwd",
                            "../../x", "..\\..", "",    ".hidden", "a/../b"};
    const char* schemes[] = {"{albumArtist}/{albumTitle}/{trackTitle}", "{genre}{grouping}/{trackTitle}",
                             "{trackTitle}", "{albumTitle}/", "{genre}/{key}/{trackTitle}"};
    const char* replacements[] = {"_", "", ".", "..", "/"};
    for (bool windowsSafe : {true, false}) {
        for (const char* replacement : replacements) {
            set("createWindowsSafeFilenames", windowsSafe);
            set("replaceInvalidCharactersWith", QString::fromLatin1(replacement));
            for (const char* value : values) {
                for (const char* other : values) {
                    AudioMetadata m;
                    m.setAlbumArtist(QString::fromLatin1(value));
                    m.setAlbumTitle(QString::fromLatin1(other));
                    m.setTrackTitle(QString::fromLatin1(value));
                    m.setTrackGenre(QString::fromLatin1(value));
                    m.setGrouping(QString::fromLatin1(other));
                    m.setKey(QString::fromLatin1(other));
                    for (const char* scheme : schemes) {
                        expectInsideBase(NamingScheme::evaluate(QString::fromLatin1(scheme), &m, nullptr,
                                                                u"/in/..flac"_s, true),
                                         std::string(scheme) + " with " + value + ", " + other + ", '" +
                                             replacement + "', windows " + (windowsSafe ? "on" : "off"));
                    }
                }
            }
        }
    }
}

// Random schemes and values, from pieces that stress the parser: braces in
// every arrangement, token names, separators, dots, lone surrogates and the
// evaluation's own marker character. Fixed seed; a few seconds at most.
TEST_F(Naming, AnyInputReturnsAndPathModeStaysInside)
{
    std::mt19937 random(20261121);
    const QStringList tokens = NamingScheme::tokenNames();
    const QString pieces[] = {u"{"_s,
                              u"}"_s,
                              u"{{"_s,
                              u"}}"_s,
                              u"/"_s,
                              u".."_s,
                              u"."_s,
                              u" - "_s,
                              u"x"_s,
                              QString(QChar(0xD800)),
                              QString(QChar(0xDFFF)),
                              QString(QChar(0)),
                              u"\\"_s,
                              u":"_s,
                              QString(kMarker)};
    // Values and paths never hold the marker; schemes may.
    auto randomText = [&](int maxPieces, bool withMarker = false) {
        QString text;
        const int count = int(random() % unsigned(maxPieces + 1));
        for (int i = 0; i < count; ++i) {
            if (random() % 3 == 0) {
                text += tokens[qsizetype(random() % unsigned(tokens.size()))];
            } else {
                text += pieces[random() % (std::size(pieces) - (withMarker ? 0 : 1))];
            }
        }
        return text;
    };
    EncoderSettings settings;
    for (int round = 0; round < 1500; ++round) {
        if (round % 100 == 0) {
            set("createWindowsSafeFilenames", random() % 2 == 0);
            set("createSMBSafeFilenames", random() % 2 == 0);
            set("useTwoDigitNumbers", random() % 2 == 0);
            set("replaceInvalidCharactersWith", randomText(2));
        }
        AudioMetadata m;
        for (int f = 0; f <= int(AudioMetadata::Field::key); ++f) {
            const auto field = AudioMetadata::Field(f);
            if (AudioMetadata::kindOf(field) == AudioMetadata::Kind::Text && random() % 4 != 0) {
                m.setValue(field, randomText(6));
            }
        }
        m.setTrackNumber(int(random()));
        if (round % 50 == 25) {
            m.setTrackTitle(randomText(20000));
        }
        const QString scheme = randomText(round % 50 == 0 ? 2000 : 40, true);
        const QString source = u"/in/"_s + randomText(3) + u".wav"_s;
        for (bool pathMode : {false, true}) {
            const QString result =
                NamingScheme::evaluate(scheme, &m, round % 2 ? &settings : nullptr, source, pathMode);
            if (pathMode) {
                expectInsideBase(result, "round " + std::to_string(round));
            }
            if (!scheme.contains(kMarker)) {
                EXPECT_FALSE(result.contains(kMarker)) << "round " << round;
            }
        }
    }
}

} // namespace
