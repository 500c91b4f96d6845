// The Xiph, MP4 and ASF mappings: reading habits, and what the writers leave in a file (read by mutagen).

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
    using F = AudioMetadata::Field;
    auto record = std::make_shared<AudioMetadata>();
    // clang-format off
    for (const auto& [field, value] : std::initializer_list<std::pair<F, QVariant>>{
             {F::trackTitle, u"Títle"_s}, {F::trackArtist, u"Artist"_s}, {F::albumTitle, u"Album"_s},
             {F::trackYear, 2004}, {F::trackComment, u"the record's own comment, never written"_s},
             {F::trackNumber, 3}, {F::totalTracks, 12}, {F::discNumber, 1}, {F::discTotal, 2},
             {F::trackGenre, u"Genre"_s}, {F::grouping, u"Grouping"_s}, {F::trackComposer, u"Composer"_s},
             {F::albumArtist, u"Album Artist"_s}, {F::lyrics, u"Lyrics"_s}, {F::bpm, 128},
             {F::key, u"A Minor"_s},
             {F::ISRC, u"GBXYZ0400001"_s}, {F::partOfACompilation, 1}, {F::trackCopyright, u"Copyright"_s}}) {
        // clang-format on
        record->setValue(field, value);
    }
    auto artwork = std::make_shared<AlbumArtwork>();
    artwork->setData(fileBytes(Fixtures::generated("art.png")));
    artwork->setArtworkType(4);
    artwork->setComments(u"Back"_s);
    record->setAlbumArtwork(artwork);
    return record;
}

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
    EXPECT_EQ(
        (QList{record.trackYear(), record.trackNumber(), record.totalTracks(), record.partOfACompilation()}),
        (QList<std::optional<int>>{2001, 3, 9, 1}));
    EXPECT_EQ((QList{record.trackComment(), record.trackArtist(), record.trackTitle()}),
              (QList<std::optional<QString>>{"described", "A B", "from the comment"}));

    TagLib::Ogg::XiphComment noAlbum;
    noAlbum.addField("YEAR", "1999");
    noAlbum.addField("COMPILATION", "0");
    noAlbum.addField("AUTHOR", "Author");
    AudioMetadata second;
    XiphCommentMapping::addInfoFromVorbisTag(noAlbum, second);
    EXPECT_EQ((QList{second.trackYear(), second.partOfACompilation()}), (QList<std::optional<int>>{0, 0}));
    EXPECT_EQ(second.trackArtist(), u"Author"_s);
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
        // clang-format off
        for (const auto& [key, text] : {std::pair{"title", "Títle"}, {"date", "2004"}, {"tracktotal", "12"},
                 {"description", "the comment"}, {"encodedby", "Sonabrik"}, {"other", "kept"}}) {
            // clang-format on
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
            EXPECT_EQ(picture[u"type"_s].toInt(), 4);
        } else {
            EXPECT_TRUE(pictures.isEmpty());
        }
    }
}

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
    EXPECT_EQ(
        (QList{record->trackNumber(), record->totalTracks(), record->discNumber(), record->discTotal()}),
        (QList<std::optional<int>>{5, std::nullopt, std::nullopt, 3}));
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
    // clang-format off
    for (const auto& [key, text] : {std::pair{"\u00a9nam", "Títle"}, {"\u00a9cmt", "the comment"},
             {"tmpo", "128"}, {"----:com.apple.iTunes:KEY", "A Minor"},
             {"----:com.apple.iTunes:initialkey", "A Minor"}}) {
        // clang-format on
        EXPECT_EQ(texts(tags, key), QStringList{QString::fromUtf8(text)}) << key;
    }
    EXPECT_EQ(tags[u"trkn"_s].toArray()[0].toArray(), (QJsonArray{3, 12}));
    EXPECT_EQ(tags[u"disk"_s].toArray()[0].toArray(), (QJsonArray{1, 2}));
    EXPECT_FALSE(tags.contains(u"cpil"_s));
    EXPECT_FALSE(tags.contains(QString::fromUtf8("\u00a9too")));
    const QJsonArray covers = tags[u"covr"_s].toArray();
    ASSERT_EQ(covers.size(), 1);
    EXPECT_EQ(covers[0].toObject()[u"md5"_s].toString(), md5Of(Fixtures::generated("art.png")));
    EXPECT_EQ(covers[0].toObject()[u"format"_s].toInt(), 14); // PNG
}

AudioMetadataPtr readASF(const QString& path)
{
    auto record = std::make_shared<AudioMetadata>();
    TagLib::ASF::File file(QFile::encodeName(path).constData());
    EXPECT_TRUE(file.isValid());
    ASFTagMapping::addInfoFromASFTag(*file.tag(), *record);
    return record;
}

// "WM/DiscTotal" is read before the part of set, whose total then only fills what is still missing.
TEST(ASFTagMapping, ReadsPartOfSetAndNumbersOfEitherType)
{
    const auto dword = [](int n) { return QJsonObject{{"dword", n}}; };
    using Row = std::tuple<QJsonArray, int, std::optional<int>, std::optional<int>>;
    ScratchDir dir;
    int n = 0;
    // clang-format off
    for (const auto& [tags, discTotal, totalTracks, bpm] : {
             Row{{entry("WM/PartOfSet", "2/3"), entry("WM/TrackTotal", "12"), entry("WM/BPM", dword(99))},
             3, 12, 99},
             Row{{entry("WM/PartOfSet", "2"), entry("WM/DiscTotal", dword(3)),
             entry("WM/TrackTotal", dword(12)),
                  entry("WM/BPM", "99"), entry("WM/BeatsPerMinute", "120")}, 3, 12, 120},
             Row{{entry("WM/PartOfSet", "2/3"), entry("WM/DiscTotal", dword(5))},
             5, std::nullopt, std::nullopt}}) {
        // clang-format on
        const QString path = dir.copyOf(Fixtures::generated("reading.wma"), u"%1.wma"_s.arg(++n));
        Mutagen::tag(path, "asf", tags);
        const AudioMetadataPtr record = readASF(path);
        EXPECT_EQ(record->discNumber(), 2);
        EXPECT_EQ(record->discTotal(), discTotal);
        EXPECT_EQ(record->totalTracks(), totalTracks);
        EXPECT_EQ(record->bpm(), bpm);
    }
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
    // clang-format off
    for (const auto& [key, text] : {std::pair{"Title", "Títle"}, {"WM/BeatsPerMinute", "128"},
             {"WM/PartOfSet", "1"}, {"WM/IsCompilation", "1"}, {"WM/EncodedBy", "Sonabrik"}}) {
        // clang-format on
        EXPECT_EQ(texts(tags, key), QStringList{QString::fromUtf8(text)}) << key;
    }
    EXPECT_FALSE(tags.contains(u"WM/BPM"_s));
    // The comment argument was null: the description is cleared.
    EXPECT_EQ(texts(tags, "Description").join(QString()), QString());
    EXPECT_EQ(tags[u"WM/Picture"_s].toArray().size(), 1);

    // The other program's picture is still the one there.
    const AudioMetadataPtr back = readASF(path);
    ASSERT_NE(back->albumArtwork(), nullptr);
    EXPECT_EQ(back->albumArtwork()->data(), fileBytes(Fixtures::generated("art.jpg")));
}

} // namespace
