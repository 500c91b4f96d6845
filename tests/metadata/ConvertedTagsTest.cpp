// The tags of a FLAC, an Ogg Vorbis, an M4A and a WMA source, written by
// mutagen in each format's own keys, arrive in the ID3v2 tag of the MP3
// that an encode operation makes of it (read back with mutagen).

#include "Encoding.h"
#include "Fixtures.h"
#include "MP3EncodeOperation.h"
#include "Mutagen.h"
#include "TagDump.h"
#include "Tools.h"

#include <QFile>
#include <QJsonArray>
#include <gtest/gtest.h>

namespace {

using Mutagen::entry;

struct SourceCase
{
    const char* name;
    const char* fixture;
    const char* extension;
    const char* tagger;
    // title, artist, album, year, track, total, disc, discs, genre, album
    // artist, composer, bpm, compilation, cover: in this format's keys
    std::array<const char*, 14> keys;
};

QJsonValue valueFor(const SourceCase& c, size_t index)
{
    const QString tagger = QString::fromLatin1(c.tagger);
    const QString cover = Fixtures::generated(QStringLiteral("art.png"));
    static const std::array<const char*, 11> texts{
        "Ünïcode Title", "Artist", "Album", "2007", "3", "12", "1", "2", "Genre", "Album Artist", "Composer"};
    if (tagger == QLatin1String("mp4")) {
        switch (index) {
        case 4:
            return QJsonObject{{"pair", QJsonArray{3, 12}}};
        case 6:
            return QJsonObject{{"pair", QJsonArray{1, 2}}};
        case 11:
            return QJsonObject{{"int", 96}};
        case 12:
            return QJsonObject{{"bool", true}};
        case 13:
            return QJsonObject{{"cover", cover}, {"format", "png"}};
        }
    } else if (tagger == QLatin1String("asf")) {
        switch (index) {
        case 4:
        case 5:
        case 11:
        case 12:
            return QJsonObject{{"dword", index == 4 ? 3 : index == 5 ? 12 : index == 11 ? 96 : 1}};
        case 6:
            return QStringLiteral("1/2");
        case 13:
            return QJsonObject{{"asfpicture", cover}, {"type", 3}, {"mime", "image/png"}};
        }
    } else {
        switch (index) {
        case 11:
            return QStringLiteral("96");
        case 12:
            return QStringLiteral("1");
        case 13:
            return QJsonObject{{"flacpicture", cover}, {"type", 3}, {"mime", "image/png"}};
        }
    }
    return QString::fromUtf8(texts[index]);
}

class ConvertedTags : public testing::TestWithParam<SourceCase>
{
};

TEST_P(ConvertedTags, ArriveInTheMP3sID3v2Tag)
{
    const SourceCase& c = GetParam();
    ScratchDir sources;
    ScratchDir out;
    const QString source = sources.file(QStringLiteral("source.") + c.extension);
    ASSERT_TRUE(QFile::copy(Fixtures::generated(QString::fromLatin1(c.fixture)), source));
    QFile::setPermissions(source, QFile::ReadOwner | QFile::WriteOwner);
    QJsonArray tags;
    for (size_t i = 0; i < c.keys.size(); ++i) {
        if (c.keys[i] != nullptr) {
            tags.append(entry(QString::fromUtf8(c.keys[i]), valueFor(c, i)));
        }
    }
    Mutagen::tag(source, QString::fromLatin1(c.tagger), tags);

    PreferencesScope preferences({{"destinationDirectory", out.path()}});
    BasicEncodeDelegate delegate;
    MP3EncodeOperation operation(source, source);
    operation.setDelegate(&delegate);
    operation.setSettings(mp3Format(0, 64));
    ErrorLogCapture log;
    runOperation(operation);
    ASSERT_TRUE(operation.success()) << log.messages().join(QLatin1Char('\n')).toStdString();

    const QJsonObject mp3 = mutagenTags(operation.outFilePath());
    EXPECT_EQ(id3v2Text(mp3, QStringLiteral("TIT2")), QStringLiteral("Ünïcode Title"));
    EXPECT_EQ(id3v2Text(mp3, QStringLiteral("TPE1")), QStringLiteral("Artist"));
    EXPECT_EQ(id3v2Text(mp3, QStringLiteral("TALB")), QStringLiteral("Album"));
    // The year frame of the ID3v2 version written (TYER in 2.3, TDRC in 2.4).
    EXPECT_EQ(id3v2Text(mp3, QStringLiteral("TYER")) + id3v2Text(mp3, QStringLiteral("TDRC")),
              QStringLiteral("2007"));
    EXPECT_EQ(id3v2Text(mp3, QStringLiteral("TRCK")), QStringLiteral("3/12"));
    EXPECT_EQ(id3v2Text(mp3, QStringLiteral("TPOS")), QStringLiteral("1/2"));
    EXPECT_EQ(id3v2Text(mp3, QStringLiteral("TCON")), QStringLiteral("Genre"));
    EXPECT_EQ(id3v2Text(mp3, QStringLiteral("TPE2")), QStringLiteral("Album Artist"));
    EXPECT_EQ(id3v2Text(mp3, QStringLiteral("TCOM")), QStringLiteral("Composer"));
    EXPECT_EQ(id3v2Text(mp3, QStringLiteral("TBPM")), QStringLiteral("96"));
    EXPECT_EQ(id3v2Text(mp3, QStringLiteral("TCMP")), QStringLiteral("1"));
    const QJsonObject picture = mp3["id3v2"]["frames"]["APIC"][0].toObject();
    EXPECT_EQ(picture["mime"].toString(), QStringLiteral("image/png"));
    EXPECT_EQ(picture["type"].toInt(), 3);
    EXPECT_EQ(QByteArray::fromHex(picture["data"].toString().toLatin1()),
              fileBytes(Fixtures::generated(QStringLiteral("art.png"))));
}

INSTANTIATE_TEST_SUITE_P(
    Sources, ConvertedTags,
    testing::Values(SourceCase{"FLAC",
                               "core.flac",
                               "flac",
                               "flac",
                               {"TITLE", "ARTIST", "ALBUM", "DATE", "TRACKNUMBER", "TRACKTOTAL", "DISCNUMBER",
                                "DISCTOTAL", "GENRE", "ALBUMARTIST", "COMPOSER", "BPM", "COMPILATION",
                                "METADATA_BLOCK_PICTURE"}},
                    SourceCase{"Vorbis",
                               "core.ogg",
                               "ogg",
                               "ogg",
                               {"TITLE", "ARTIST", "ALBUM", "DATE", "TRACKNUMBER", "TRACKTOTAL", "DISCNUMBER",
                                "DISCTOTAL", "GENRE", "ALBUMARTIST", "COMPOSER", "BPM", "COMPILATION",
                                "METADATA_BLOCK_PICTURE"}},
                    SourceCase{"M4A",
                               "reading.m4a",
                               "m4a",
                               "mp4",
                               {"\u00a9nam", "\u00a9ART", "\u00a9alb", "\u00a9day", "trkn", nullptr, "disk",
                                nullptr, "\u00a9gen", "aART", "\u00a9wrt", "tmpo", "cpil", "covr"}},
                    SourceCase{"WMA",
                               "reading.wma",
                               "wma",
                               "asf",
                               {"Title", "Author", "WM/AlbumTitle", "WM/Year", "WM/TrackNumber",
                                "WM/TrackTotal", "WM/PartOfSet", nullptr, "WM/Genre", "WM/AlbumArtist",
                                "WM/Composer", "WM/BeatsPerMinute", "WM/IsCompilation", "WM/Picture"}}),
    [](const testing::TestParamInfo<SourceCase>& info) { return std::string(info.param.name); });

} // namespace
