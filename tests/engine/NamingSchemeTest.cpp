#include "NamingScheme.h"
#include "AudioMetadata.h"
#include "EncoderSettings.h"
#include "FileNameLimit.h"
#include "Preferences.h"
#include "QtPrinters.h"
#include "SafeFilename.h"

#include <QDir>
#include <gtest/gtest.h>

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
    // One dot goes by the naming rules; the next would still hide the file, so it is replaced.
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
    // Names are plain substrings: "bitrateMethod" before "bitrate", "key" inside "Monkey".
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
    // The inner group is substituted first; the outer one then holds no token and stays text.
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

    // Other encoder types keep bit/s; a fixed rate and a channel mode win over the source's.
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

// Every token given values a hostile tag may hold must name a visible file inside the output folder.
const QString kBase = u"/out/base"_s;

QStringList hostileValues()
{
    QStringList values =
        u"/|../../etc/passwd|..|.|...|.hidden|..hidden|...And Justice for All|a/../../b|"
        u"/absolute|line\nbreak|\ttab|\x01start|del\x7f|{trackTitle}/{albumTitle}"_s.split(u'|');
    values << u"nul"_s + QChar(0) + u"../after"_s << QString(QChar(0))
           << QString::fromUtf8("\xff\xfe\xc3(\xed\xa0\x80") << QString(QChar(0xD800)) + u"x"_s
           << u"x"_s.repeated(10000) << u"é"_s.repeated(10000) << u"../"_s.repeated(3334)
           << u"."_s.repeated(10000) << u"a"_s + QString(10000, QChar(0x0301));
    return values;
}

// Sets every text field of a record to value.
void fillTexts(AudioMetadata& metadata, const QString& value)
{
    for (int f = 0; f < AudioMetadata::kFieldCount; ++f) {
        const auto field = AudioMetadata::Field(f);
        if (AudioMetadata::kindOf(field) == AudioMetadata::Kind::Text) {
            metadata.setValue(field, value);
        }
    }
}

// The source's file name carries the value too, where a file name can.
QString sourceNamed(const QString& value)
{
    QString name = value;
    name.replace(u'/', u'_').replace(QChar(0), u'_');
    return u"/in/"_s + FileNameLimit::fit(name, u".flac"_s);
}

void expectVisibleAndInside(const QString& relative, const std::string& context)
{
    const QString path = FileNameLimit::fitPath(NamingScheme::pathBelow(kBase, relative) + u".mp3"_s);
    ASSERT_TRUE(path.startsWith(kBase + u'/')) << context << " -> " << path.toStdString();
    EXPECT_FALSE(path.contains(QChar(0))) << context;
    const QStringList components = path.mid(kBase.size() + 1).split(u'/');
    for (const QString& component : components) {
        EXPECT_FALSE(component.isEmpty()) << context << " -> " << path.toStdString();
        EXPECT_FALSE(component.startsWith(u'.')) << context << " -> " << path.left(400).toStdString();
        EXPECT_TRUE(std::none_of(component.begin(), component.end(), &SafeFilename::isControlCharacter))
            << context << " -> " << path.left(400).toStdString();
        EXPECT_LE(component.toUtf8().size(), FileNameLimit::kMaxComponentBytes) << context;
    }
    EXPECT_TRUE(components.last().endsWith(u".mp3"_s)) << context;
    EXPECT_GT(components.last().size(), 4) << context;
}

class HostileNaming : public Naming, public testing::WithParamInterface<QString>
{
};

TEST_P(HostileNaming, EveryValueNamesAVisibleFileInsideTheOutputFolder)
{
    const QString token = GetParam();
    const QStringList schemes{u'{' + token + u'}', u'{' + token + u"}/{"_s + token + u'}',
                              u"{albumArtist}/{"_s + token + u" - }{trackTitle}"_s,
                              u"x/{"_s + token + u"}/"_s};
    EncoderSettings settings;
    const struct
    {
        bool windowsSafe;
        const char* replacement;
    } options[] = {{false, "_"},  {true, "_"},  {true, ""},  {true, "."},
                   {false, "\t"}, {true, ".."}, {false, "/"}};
    for (const auto& option : options) {
        Preferences::shared().setValue(u"createWindowsSafeFilenames"_s, option.windowsSafe);
        Preferences::shared().setValue(u"replaceInvalidCharactersWith"_s,
                                       QString::fromLatin1(option.replacement));
        for (const QString& value : hostileValues()) {
            AudioMetadata metadata;
            fillTexts(metadata, value);
            for (const QString& scheme : schemes) {
                const std::string context = scheme.toStdString() + " with " + value.left(30).toStdString() +
                                            " windows " + std::to_string(option.windowsSafe) + option.replacement;
                expectVisibleAndInside(
                    NamingScheme::evaluate(scheme, &metadata, &settings, sourceNamed(value), true), context);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Tokens, HostileNaming, ::testing::ValuesIn(NamingScheme::tokenNames()),
                         [](const auto& info) { return info.param.toStdString(); });

TEST(SafeFilename, ReplacesTheChosenSetsByTheCleanedReplacement)
{
    const QString all = u"a<b>c:d\"e/f\\g|h?i*j+k=l[m]n,o;p"_s;
    SafeFilename::Options options;
    options.windowsSafe = false;
    EXPECT_EQ(SafeFilename::make(all, options), "a<b>c:d\"e:f\\g|h?i*j+k=l[m]n,o;p");
    options.windowsSafe = true;
    EXPECT_EQ(SafeFilename::make(all, options), "a_b_c_d_e_f_g_h_i_j+k=l[m]n,o;p");
    options.smbSafe = true;
    EXPECT_EQ(SafeFilename::make(all, options), "a_b_c_d_e_f_g_h_i_j_k_l_m_n_o_p");
    // The replacement loses the characters of both sets, even with SMB off.
    options.smbSafe = false;
    options.replacement = u"[-]"_s;
    EXPECT_EQ(SafeFilename::make(u"1/2"_s, options), "1_-_2");
    options.replacement = QString();
    EXPECT_EQ(SafeFilename::make(u"?who*/"_s, options), "who");
}

} // namespace
