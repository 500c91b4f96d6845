// Tags of encoded files as mutagen and TagLib read them, for each ID3v2 version, with ID3v1 and APE.

#include "MP3TagWriter.h"
#include "Encoding.h"
#include "Fixtures.h"
#include "MP3EncodeOperation.h"
#include "TagDump.h"
#include "Tools.h"

#include <QFile>
#include <QJsonArray>
#include <gtest/gtest.h>
#include <lame/lame.h>
#include <taglib/fileref.h>
#include <taglib/mpegfile.h>
#include <taglib/tpropertymap.h>

using namespace Qt::StringLiterals;

namespace {

AudioMetadataPtr fullRecord()
{
    auto metadata = std::make_shared<AudioMetadata>();
    metadata->setTrackTitle(u"Ελληνικά ♫"_s);
    metadata->setTrackArtist(u"Artist"_s);
    metadata->setAlbumTitle(u"Album"_s);
    metadata->setTotalTracks(12);
    metadata->setTrackYear(2010);
    metadata->setTrackComment(u"own comment"_s);
    metadata->setLyrics(u"sing\nalong"_s);
    auto artwork = std::make_shared<AlbumArtwork>();
    artwork->setData(fileBytes(Fixtures::generated(u"art.jpg"_s)));
    metadata->setAlbumArtwork(artwork);
    return metadata;
}

QString encodeWithTags(const ScratchDir& out, const AudioMetadataPtr& metadata)
{
    BasicEncodeDelegate delegate;
    const QString source = Fixtures::generated(u"encode-16-mono-48000.wav"_s);
    MP3EncodeOperation operation(source, source);
    operation.setDelegate(&delegate);
    operation.setSettings(mp3Format(0, 64));
    operation.setMetadata(metadata);
    runOperation(operation);
    EXPECT_TRUE(operation.success());
    return operation.outFilePath();
}

struct VersionCase
{
    int preference;
    int version;
    int encoding; // as mutagen reports it
};

} // namespace

class ID3v2Versions : public testing::TestWithParam<VersionCase>
{
};

TEST_P(ID3v2Versions, readBackInMutagenAndTagLib)
{
    const VersionCase c = GetParam();
    ScratchDir out;
    PreferencesScope preferences({{"destinationDirectory", out.path()},
                                  {"WriteMP3ID3v2TagVersion", c.preference},
                                  {"writeMP3ApeTag", true}});
    const QString path = encodeWithTags(out, fullRecord());
    const bool latin1 = c.encoding == 0;
    const QString title = latin1 ? u"???????? ?"_s : u"Ελληνικά ♫"_s;

    const QJsonObject tags = mutagenTags(path);
    const QJsonObject id3 = tags["id3v2"].toObject();
    EXPECT_EQ(id3["version"].toArray()[1].toInt(), c.version);
    const QJsonObject frames = id3["frames"].toObject();
    EXPECT_EQ(id3v2Text(tags, u"TIT2"_s), title);
    EXPECT_EQ(frames["TIT2"][0]["encoding"].toInt(), c.encoding);
    EXPECT_EQ(id3v2Text(tags, u"TRCK"_s), u"/12"_s);
    EXPECT_EQ(frames["COMM"][0]["text"][0].toString(), u"own comment"_s);
    EXPECT_EQ(frames["USLT"][0]["text"][0].toString(), u"sing\nalong"_s);
    EXPECT_EQ(frames["APIC"][0]["mime"].toString(), u"image/jpeg"_s);
    EXPECT_EQ(QByteArray::fromHex(frames["APIC"][0]["data"].toString().toLatin1()),
              fileBytes(Fixtures::generated(u"art.jpg"_s)));
    EXPECT_EQ(id3v2Text(tags, u"TENC"_s),
              u"LAME %1 via Sonabrik %2"_s.arg(get_lame_short_version(), SONABRIK_VERSION));

    const QJsonObject v1 = tags["id3v1"].toObject();
    EXPECT_EQ(v1["TPE1"].toString(), u"Artist"_s);
    EXPECT_EQ(v1["TDRC"].toString(), u"2010"_s);
    const QJsonObject ape = tags["ape"].toObject();
    EXPECT_EQ(ape["TITLE"].toString(), u"Ελληνικά ♫"_s); // UTF-8 whatever the ID3 choice
    EXPECT_EQ(ape["TRACKTOTAL"].toString(), u"12"_s);
    EXPECT_TRUE(ape["Cover Art (front)"].isObject());

    TagLib::FileRef file(QFile::encodeName(path).constData());
    ASSERT_FALSE(file.isNull());
    EXPECT_EQ(QString::fromStdString(file.tag()->title().to8Bit(true)), title);
    EXPECT_EQ(QString::fromStdString(file.file()->properties()["LYRICS"].toString().to8Bit(true)),
              u"sing\nalong"_s);
    EXPECT_GT(file.audioProperties()->lengthInMilliseconds(), 900);
}

INSTANTIATE_TEST_SUITE_P(Choices, ID3v2Versions,
                         testing::Values(VersionCase{1, 4, 3}, VersionCase{2, 3, 1}, VersionCase{3, 3, 0},
                                         VersionCase{4, 4, 1}, VersionCase{5, 4, 0}, VersionCase{0, 4, 3}),
                         [](const testing::TestParamInfo<VersionCase>& info) {
                             return "preference_" + std::to_string(info.param.preference);
                         });

// A comment from the format string in every tag kind and no encoder tag; the skip action leaves an
// MP3 source alone; with every kind off the tags written before are all stripped.
TEST(MP3TagWriter, commentFromTheFormatStringThenNoTagKindLeavesNoTag)
{
    ScratchDir dir;
    PreferencesScope preferences({{"writeEncodedByMetadataTag", false},
                                  {"writeFormatStringToComments", true},
                                  {"commentsFormatString", "{trackArtist}: converted to {outputFormat}"},
                                  {"writeMP3ApeTag", true}});
    const QString path = dir.copyOf(Fixtures::generated(u"tag-base.mp3"_s), u"out.mp3"_s);
    auto format = mp3Format(0);
    MP3TagWriter::writeMetadata(path, *fullRecord(), format.get(), u"/music/source.flac"_s);
    const QJsonObject tags = mutagenTags(path);
    const QString expected = u"Artist: converted to MP3"_s;
    EXPECT_EQ(tags["id3v2"]["frames"]["COMM"][0]["text"][0].toString(), expected);
    EXPECT_EQ(tags["id3v1"]["COMM"].toString(), expected);
    EXPECT_EQ(tags["ape"]["COMMENT"].toString(), expected);
    EXPECT_FALSE(tags["id3v2"]["frames"].toObject().contains("TENC"));
    EXPECT_FALSE(tags["ape"].toObject().contains("ENCODEDBY"));

    const QByteArray before = fileBytes(path);
    format->setEncoderAction(EncoderSettings::SkipAction);
    MP3TagWriter::writeMetadata(path, AudioMetadata(), format.get(), path);
    EXPECT_EQ(fileBytes(path), before);

    format->setEncoderAction(EncoderSettings::EncodeAction);
    preferences.set(u"writeMP3ID3v2Tag"_s, false);
    preferences.set(u"writeMP3ID3v1Tag"_s, false);
    preferences.set(u"writeMP3ApeTag"_s, false);
    MP3TagWriter::writeMetadata(path, *fullRecord(), format.get(), u"/music/source.flac"_s);
    EXPECT_TRUE(mutagenTags(path).isEmpty());
    EXPECT_FALSE(fileBytes(path).right(128).startsWith("TAG")); // no ID3v1 tag
}
