// The Xiph, MP4 and ASF mappings: their deliberate reading habits, and what
// the writers leave in a real file, read back with mutagen.

#include "ASFTagMapping.h"
#include "AudioMetadata.h"
#include "Encoding.h"
#include "Fixtures.h"
#include "MP4TagMapping.h"
#include "Mutagen.h"
#include "Tools.h"
#include "XiphCommentMapping.h"

#include <QCryptographicHash>
#include <QFile>
#include <QJsonArray>
#include <taglib/asffile.h>
#include <taglib/mp4file.h>
#include <taglib/vorbisfile.h>
#include <taglib/xiphcomment.h>

using namespace Qt::StringLiterals;

namespace {

using Mutagen::entry;

QString md5Of(const QString& path)
{
    return QString::fromLatin1(QCryptographicHash::hash(fileBytes(path), QCryptographicHash::Md5).toHex());
}

QStringList texts(const QJsonObject& tags, const char* key)
{
    QStringList result;
    for (const QJsonValue& value : tags[QString::fromUtf8(key)].toArray()) {
        result << (value.isString() ? value.toString() : QString::number(value.toInt()));
    }
    return result;
}

// A record with every descriptive field that the writers map, and a cover.
AudioMetadataPtr fullRecord()
{
    auto record = std::make_shared<AudioMetadata>();
    record->setTrackTitle(u"Títle"_s);
    record->setTrackArtist(u"Artist"_s);
    record->setAlbumTitle(u"Album"_s);
    record->setTrackYear(2004);
    record->setTrackComment(u"the record's own comment, never written"_s);
    record->setTrackNumber(3);
    record->setTotalTracks(12);
    record->setDiscNumber(1);
    record->setDiscTotal(2);
    record->setTrackGenre(u"Genre"_s);
    record->setGrouping(u"Grouping"_s);
    record->setTrackComposer(u"Composer"_s);
    record->setAlbumArtist(u"Album Artist"_s);
    record->setLyrics(u"Lyrics"_s);
    record->setBpm(128);
    record->setKey(u"A Minor"_s);
    record->setISRC(u"GBXYZ0400001"_s);
    record->setPartOfACompilation(1);
    record->setTrackCopyright(u"Copyright"_s);
    auto artwork = std::make_shared<AlbumArtwork>();
    artwork->setData(fileBytes(Fixtures::generated("art.png")));
    artwork->setArtworkType(4);
    artwork->setComments(u"Back"_s);
    record->setAlbumArtwork(artwork);
    return record;
}

// --- Xiph comments

TEST(XiphCommentMapping, ReadsYearFromTheAlbumAndOtherKeptHabits)
{
    TagLib::Ogg::XiphComment comment;
    comment.addField("YEAR", "1999");
    comment.addField("ALBUM", "2001 Odyssey");
    comment.addField("DESCRIPTION", "described");
    comment.addField("COMMENT", "commented");
    comment.addField("ARTIST", "A");
    comment.addField("ARTIST", "B", false);
    comment.addField("TRACKNUMBER", "3/12");
    comment.addField("COMPILATION", " yes");
    comment.addField("TITLE", "from the comment");
    AudioMetadata record;
    record.setTrackTitle(u"from an earlier tag"_s);
    record.setTotalTracks(9);
    XiphCommentMapping::addInfoFromVorbisTag(comment, record);
    EXPECT_EQ(record.trackYear(), 2001);
    EXPECT_EQ(record.trackComment(), u"described"_s);
    EXPECT_EQ(record.trackArtist(), u"A B"_s);
    EXPECT_EQ(record.trackNumber(), 3);
    EXPECT_EQ(record.totalTracks(), 9);
    EXPECT_EQ(record.partOfACompilation(), 1);
    EXPECT_EQ(record.trackTitle(), u"from the comment"_s);

    TagLib::Ogg::XiphComment noAlbum;
    noAlbum.addField("YEAR", "1999");
    noAlbum.addField("COMPILATION", "0");
    noAlbum.addField("AUTHOR", "Author");
    AudioMetadata second;
    XiphCommentMapping::addInfoFromVorbisTag(noAlbum, second);
    EXPECT_EQ(second.trackYear(), 0);
    EXPECT_EQ(second.partOfACompilation(), 0);
    EXPECT_EQ(second.trackArtist(), u"Author"_s);

    TagLib::Ogg::XiphComment undated;
    undated.addField("DATE", "not a date");
    AudioMetadata third;
    XiphCommentMapping::addInfoFromVorbisTag(undated, third);
    EXPECT_EQ(third.trackYear(), std::nullopt);
}

TEST(XiphCommentMapping, APictureThatDoesNotParseStillGivesAnEmptyArtworkAndCOVERARTIsIgnored)
{
    ScratchDir dir;
    const QString broken = dir.copyOf(Fixtures::generated("core.ogg"), "broken.ogg");
    Mutagen::tag(broken, "ogg",
                 QJsonArray() << entry("METADATA_BLOCK_PICTURE", QJsonObject{{"base64", "Zm9vYmFy"}}));
    const AlbumArtworkPtr artwork = AudioMetadata::metadataFromFile(broken)->albumArtwork();
    ASSERT_NE(artwork, nullptr);
    EXPECT_EQ(artwork->data(), QByteArray());

    const QString coverArt = dir.copyOf(Fixtures::generated("core.ogg"), "coverart.ogg");
    Mutagen::tag(
        coverArt, "ogg",
        {entry("COVERART", QString::fromLatin1(fileBytes(Fixtures::generated("art.jpg")).toBase64()))});
    EXPECT_EQ(AudioMetadata::metadataFromFile(coverArt)->albumArtwork(), nullptr);
}

TEST(XiphCommentMapping, WritingReplacesEveryMappedFieldAndThePictureOnlyWhenAsked)
{
    ScratchDir dir;
    for (const bool writeArtwork : {true, false}) {
        const QString path =
            dir.copyOf(Fixtures::generated("core.ogg"), u"written-%1.ogg"_s.arg(writeArtwork));
        Mutagen::tag(
            path, "ogg",
            {entry("YEAR", "1990"), entry("COMMENT", "old"), entry("AUTHOR", "old"),
             entry("UNSYNCEDLYRICS", "old"), entry("COMPILATION", "1"), entry("ENCODER", "old"),
             entry("COVERART", "AAAA"), entry("OTHER", "kept"),
             entry("METADATA_BLOCK_PICTURE", QJsonObject{{"flacpicture", Fixtures::generated("art.gif")}})});
        const AudioMetadataPtr record = fullRecord();
        record->setPartOfACompilation(0);
        {
            TagLib::Ogg::Vorbis::File file(QFile::encodeName(path).constData());
            ASSERT_TRUE(file.isValid());
            XiphCommentMapping::fillOutXiphComment(*record, *file.tag(), u"Sonabrik"_s, u"the comment"_s,
                                                   writeArtwork);
            ASSERT_TRUE(file.save());
        }
        const QJsonObject tags = Mutagen::dump(path);
        SCOPED_TRACE(writeArtwork);
        for (const auto& [key, text] : {std::pair{"title", "Títle"},
                                        {"artist", "Artist"},
                                        {"date", "2004"},
                                        {"description", "the comment"},
                                        {"tracknumber", "3"},
                                        {"tracktotal", "12"},
                                        {"discnumber", "1"},
                                        {"disctotal", "2"},
                                        {"lyrics", "Lyrics"},
                                        {"bpm", "128"},
                                        {"encodedby", "Sonabrik"},
                                        {"other", "kept"}}) {
            EXPECT_EQ(texts(tags, key), QStringList{QString::fromUtf8(text)}) << key;
        }
        for (const char* removed :
             {"year", "comment", "author", "unsyncedlyrics", "compilation", "encoder", "coverart"}) {
            EXPECT_FALSE(tags.contains(QLatin1String(removed))) << removed;
        }
        const QJsonArray pictures = tags[u"pictures"_s].toArray();
        if (writeArtwork) {
            ASSERT_EQ(pictures.size(), 1);
            const QJsonObject picture = pictures[0].toObject();
            EXPECT_EQ(picture[u"md5"_s].toString(), md5Of(Fixtures::generated("art.png")));
            EXPECT_EQ(picture[u"mime"_s].toString(), u"image/png"_s);
            EXPECT_EQ(picture[u"type"_s].toInt(), 4);
            EXPECT_EQ(picture[u"description"_s].toString(), u"Back"_s);
        } else {
            EXPECT_TRUE(pictures.isEmpty());
        }
    }
}

// --- MP4

AudioMetadataPtr readMP4(const QString& path)
{
    auto record = std::make_shared<AudioMetadata>();
    TagLib::MP4::File file(QFile::encodeName(path).constData());
    EXPECT_TRUE(file.isValid());
    MP4TagMapping::addInfoFromMP4Tag(*file.tag(), *record);
    return record;
}

TEST(MP4TagMapping, ReadsPairsFreeFormKeysAndCoversAsTheyAlwaysHave)
{
    ScratchDir dir;
    const QString path = dir.copyOf(Fixtures::generated("reading.m4a"), "quirks.m4a");
    Mutagen::tag(path, "mp4",
                 {entry("trkn", QJsonObject{{"pair", QJsonArray{5, 0}}}),
                  entry("disk", QJsonObject{{"pair", QJsonArray{0, 3}}}),
                  entry("----:com.apple.iTunes:initialkey", QJsonObject{{"freeform", "Eb Minor"}}),
                  entry("\u00a9art", "lower-case artist"),
                  entry("covr", QJsonObject{{"cover", Fixtures::generated("art.gif")}, {"format", "gif"}})});
    const AudioMetadataPtr record = readMP4(path);
    EXPECT_EQ(record->trackNumber(), 5);
    EXPECT_EQ(record->totalTracks(), std::nullopt);
    EXPECT_EQ(record->discNumber(), std::nullopt);
    EXPECT_EQ(record->discTotal(), 3);
    EXPECT_EQ(record->key(), u"Eb Minor"_s);
    EXPECT_EQ(record->trackArtist(), u"lower-case artist"_s);
    ASSERT_NE(record->albumArtwork(), nullptr);
    EXPECT_EQ(record->albumArtwork()->data(), fileBytes(Fixtures::generated("art.gif")));
    EXPECT_EQ(record->albumArtwork()->mimeType(), u"image/png"_s);
    EXPECT_EQ(record->albumArtwork()->artworkType(), 3u);
}

TEST(MP4TagMapping, WritingPutsEveryItemMutagenKnows)
{
    ScratchDir dir;
    const QString path = dir.copyOf(Fixtures::generated("reading.m4a"), "written.m4a");
    Mutagen::tag(path, "mp4", {entry("cpil", QJsonObject{{"bool", true}}), entry("\u00a9too", "old")});
    const AudioMetadataPtr record = fullRecord();
    record->setPartOfACompilation(0);
    {
        TagLib::MP4::File file(QFile::encodeName(path).constData());
        ASSERT_TRUE(file.isValid());
        MP4TagMapping::fillOutMP4Tag(*record, *file.tag(), std::nullopt, u"the comment"_s);
        ASSERT_TRUE(file.save());
    }
    const QJsonObject tags = Mutagen::dump(path);
    EXPECT_EQ(texts(tags, "\u00a9nam"), QStringList{"Títle"});
    EXPECT_EQ(texts(tags, "\u00a9day"), QStringList{"2004"});
    EXPECT_EQ(texts(tags, "\u00a9cmt"), QStringList{"the comment"});
    EXPECT_EQ(tags[u"trkn"_s].toArray()[0].toArray(), (QJsonArray{3, 12}));
    EXPECT_EQ(tags[u"disk"_s].toArray()[0].toArray(), (QJsonArray{1, 2}));
    EXPECT_EQ(texts(tags, "tmpo"), QStringList{"128"});
    EXPECT_EQ(texts(tags, "aART"), QStringList{"Album Artist"});
    EXPECT_EQ(texts(tags, "----:com.apple.iTunes:KEY"), QStringList{"A Minor"});
    EXPECT_EQ(texts(tags, "----:com.apple.iTunes:initialkey"), QStringList{"A Minor"});
    EXPECT_EQ(texts(tags, "----:com.apple.iTunes:ISRC"), QStringList{"GBXYZ0400001"});
    EXPECT_FALSE(tags.contains(u"cpil"_s));
    EXPECT_FALSE(tags.contains(QString::fromUtf8("\u00a9too")));
    const QJsonArray covers = tags[u"covr"_s].toArray();
    ASSERT_EQ(covers.size(), 1);
    EXPECT_EQ(covers[0].toObject()[u"md5"_s].toString(), md5Of(Fixtures::generated("art.png")));
    EXPECT_EQ(covers[0].toObject()[u"format"_s].toInt(), 14); // PNG
}

// --- ASF

AudioMetadataPtr readASF(const QString& path)
{
    auto record = std::make_shared<AudioMetadata>();
    TagLib::ASF::File file(QFile::encodeName(path).constData());
    EXPECT_TRUE(file.isValid());
    ASFTagMapping::addInfoFromASFTag(*file.tag(), *record);
    return record;
}

TEST(ASFTagMapping, ReadsPartOfSetAndNumbersOfEitherType)
{
    ScratchDir dir;
    const QString slash = dir.copyOf(Fixtures::generated("reading.wma"), "slash.wma");
    Mutagen::tag(slash, "asf",
                 {entry("WM/PartOfSet", "2/3"), entry("WM/TrackTotal", "12"),
                  entry("WM/BPM", QJsonObject{{"dword", 99}})});
    AudioMetadataPtr record = readASF(slash);
    EXPECT_EQ(record->discNumber(), 2);
    EXPECT_EQ(record->discTotal(), 3);
    EXPECT_EQ(record->totalTracks(), 12);
    EXPECT_EQ(record->bpm(), 99);

    const QString separate = dir.copyOf(Fixtures::generated("reading.wma"), "separate.wma");
    Mutagen::tag(separate, "asf",
                 {entry("WM/PartOfSet", "2"), entry("WM/DiscTotal", QJsonObject{{"dword", 3}}),
                  entry("WM/TrackTotal", QJsonObject{{"dword", 12}}), entry("WM/BPM", "99"),
                  entry("WM/BeatsPerMinute", "120")});
    record = readASF(separate);
    EXPECT_EQ(record->discNumber(), 2);
    EXPECT_EQ(record->discTotal(), 3);
    EXPECT_EQ(record->totalTracks(), 12);
    EXPECT_EQ(record->bpm(), 120);

    // The "WM/DiscTotal" row is read before the part of set, whose total then
    // only fills what is still missing.
    const QString both = dir.copyOf(Fixtures::generated("reading.wma"), "both.wma");
    Mutagen::tag(both, "asf",
                 {entry("WM/PartOfSet", "2/3"), entry("WM/DiscTotal", QJsonObject{{"dword", 5}})});
    record = readASF(both);
    EXPECT_EQ(record->discNumber(), 2);
    EXPECT_EQ(record->discTotal(), 5);
}

TEST(ASFTagMapping, WritingReplacesAttributesAndLeavesPicturesAlone)
{
    ScratchDir dir;
    const QString path = dir.copyOf(Fixtures::generated("reading.wma"), "written.wma");
    Mutagen::tag(path, "asf",
                 {entry("WM/BPM", "99"),
                  entry("WM/Picture", QJsonObject{{"asfpicture", Fixtures::generated("art.jpg")}})});
    const AudioMetadataPtr record = fullRecord();
    record->setDiscTotal(std::nullopt);
    {
        TagLib::ASF::File file(QFile::encodeName(path).constData());
        ASSERT_TRUE(file.isValid());
        ASFTagMapping::fillOutASFTag(*record, *file.tag(), u"Sonabrik"_s, std::nullopt);
        ASSERT_TRUE(file.save());
    }
    const QJsonObject tags = Mutagen::dump(path);
    EXPECT_EQ(texts(tags, "Title"), QStringList{"Títle"});
    EXPECT_EQ(texts(tags, "WM/AlbumTitle"), QStringList{"Album"});
    EXPECT_EQ(texts(tags, "WM/BeatsPerMinute"), QStringList{"128"});
    EXPECT_FALSE(tags.contains(u"WM/BPM"_s));
    EXPECT_EQ(texts(tags, "WM/PartOfSet"), QStringList{"1"});
    EXPECT_EQ(texts(tags, "WM/IsCompilation"), QStringList{"1"});
    EXPECT_EQ(texts(tags, "WM/EncodedBy"), QStringList{"Sonabrik"});
    EXPECT_EQ(texts(tags, "WM/InitialKey"), QStringList{"A Minor"});
    // The comment argument was null: the description is cleared.
    EXPECT_EQ(texts(tags, "Description").join(QString()), QString());
    EXPECT_EQ(tags[u"WM/Picture"_s].toArray().size(), 1);

    // The other program's picture is still the one there.
    const AudioMetadataPtr back = readASF(path);
    ASSERT_NE(back->albumArtwork(), nullptr);
    EXPECT_EQ(back->albumArtwork()->data(), fileBytes(Fixtures::generated("art.jpg")));
}

} // namespace
