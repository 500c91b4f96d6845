// The ID3 mapping against tags written and read by mutagen: what other
// programs write is read into the record, and what Sonabrik writes reads
// back in mutagen as the frames it should be.

#include "ID3TagMapping.h"
#include "Fixtures.h"
#include "TagDump.h"

#include <QFile>
#include <QJsonArray>
#include <gtest/gtest.h>
#include <taglib/id3v1tag.h>
#include <taglib/id3v2tag.h>
#include <taglib/mpegfile.h>

namespace {

QString freshMp3(const ScratchDir& dir)
{
    const QString path = dir.file(QStringLiteral("tagged.mp3"));
    QFile::copy(Fixtures::generated(QStringLiteral("tag-base.mp3")), path);
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
    return path;
}

void readID3v2(const QString& path, AudioMetadata& metadata)
{
    TagLib::MPEG::File file(QFile::encodeName(path).constData(), false);
    ASSERT_TRUE(file.isValid());
    ID3TagMapping::addInfoFromID3v2Tag(file.ID3v2Tag(), metadata);
}

void writeID3v2(const QString& path, const AudioMetadata& metadata, int version,
                TagLib::String::Type encoding, const std::optional<QString>& encodedBy,
                const std::optional<QString>& comment)
{
    TagLib::MPEG::File file(QFile::encodeName(path).constData(), false);
    ASSERT_TRUE(file.isValid());
    ID3TagMapping::fillOutID3v2Tag(metadata, file.ID3v2Tag(true), version, encoding, encodedBy, comment);
    file.save(TagLib::MPEG::File::ID3v2, TagLib::File::StripNone,
              version == 3 ? TagLib::ID3v2::v3 : TagLib::ID3v2::v4, TagLib::File::DoNotDuplicate);
}

QByteArray pngBytes()
{
    QFile file(Fixtures::generated(QStringLiteral("art.png")));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    return file.readAll();
}

} // namespace

TEST(ID3TagMapping, readsWhatAnotherTaggerWrote)
{
    ScratchDir dir;
    const QString path = freshMp3(dir);
    runMutagen(QStringLiteral(R"PY(
import sys
from mutagen.id3 import (ID3, TIT2, TPE1, TALB, TCON, TDRC, TRCK, TPOS, COMM, TCOM, TCOP, TENC, TBPM, TKEY,
                         TSRC, TCMP, TPE2, TIT1, USLT, APIC)
t = ID3()
t.add(TIT2(encoding=3, text="Ünïcode ☃ title"))
t.add(TPE1(encoding=1, text="Artist"))
t.add(TALB(encoding=0, text="Album"))
t.add(TCON(encoding=3, text="(17)"))
t.add(TDRC(encoding=3, text="1999-04-02"))
t.add(TRCK(encoding=3, text="3/12"))
t.add(TPOS(encoding=3, text="2/3"))
t.add(COMM(encoding=3, lang="eng", desc="iTunNORM", text="not ours"))
t.add(COMM(encoding=3, lang="eng", desc="", text="the comment"))
for cls, text in ((TCOM, "Composer"), (TCOP, "(c) 1999"), (TENC, "Some Encoder"), (TBPM, "128"),
                  (TKEY, "Am"), (TSRC, "USRC17607839"), (TCMP, "1"), (TPE2, "Album Artist"), (TIT1, "Group")):
    t.add(cls(encoding=3, text=text))
t.add(USLT(encoding=3, lang="eng", desc="", text="la la la\nla"))
t.add(APIC(encoding=3, mime="image/png", type=4, desc="the back", data=b"\x89PNG fake bytes"))
t.save(sys.argv[1], v2_version=4)
)PY"),
               path);

    AudioMetadata metadata;
    metadata.setTrackArtist(QStringLiteral("read before")); // absent fields only...
    metadata.setTrackNumber(7);                             // ...but TRCK overrides
    readID3v2(path, metadata);

    EXPECT_EQ(metadata.trackTitle(), QStringLiteral("Ünïcode ☃ title"));
    EXPECT_EQ(metadata.trackArtist(), QStringLiteral("read before"));
    EXPECT_EQ(metadata.albumTitle(), QStringLiteral("Album"));
    EXPECT_EQ(metadata.trackGenre(), QStringLiteral("Rock"));
    EXPECT_EQ(metadata.trackYear(), 1999);
    EXPECT_EQ(metadata.trackNumber(), 3);
    EXPECT_EQ(metadata.totalTracks(), 12);
    EXPECT_EQ(metadata.discNumber(), 2);
    EXPECT_EQ(metadata.discTotal(), 3);
    EXPECT_EQ(metadata.trackComment(), QStringLiteral("the comment"));
    EXPECT_EQ(metadata.trackComposer(), QStringLiteral("Composer"));
    EXPECT_EQ(metadata.trackCopyright(), QStringLiteral("(c) 1999"));
    EXPECT_EQ(metadata.sourceEncodedWith(), QStringLiteral("Some Encoder"));
    EXPECT_EQ(metadata.bpm(), 128);
    EXPECT_EQ(metadata.key(), QStringLiteral("Am"));
    EXPECT_EQ(metadata.ISRC(), QStringLiteral("USRC17607839"));
    EXPECT_EQ(metadata.partOfACompilation(), 1);
    EXPECT_EQ(metadata.albumArtist(), QStringLiteral("Album Artist"));
    EXPECT_EQ(metadata.grouping(), QStringLiteral("Group"));
    EXPECT_EQ(metadata.lyrics(), QStringLiteral("la la la\nla"));
    const AlbumArtworkPtr artwork = metadata.albumArtwork();
    ASSERT_TRUE(artwork);
    EXPECT_EQ(artwork->artworkType(), 4u);
    EXPECT_EQ(artwork->mimeType(), QStringLiteral("image/png"));
    EXPECT_EQ(artwork->comments(), QStringLiteral("the back"));
    EXPECT_EQ(artwork->data(), QByteArray("\x89PNG fake bytes"));
}

TEST(ID3TagMapping, trackAndDiscFramesSplitAtTheSlash)
{
    struct Case
    {
        const char* trck;
        std::optional<int> number, total;
    };
    // The total read earlier (5) survives a frame without a slash.
    for (const Case& c : {Case{"3/12", 3, 12}, Case{"3", 3, 5}, Case{"/12", 0, 12}, Case{" 04 / 9", 4, 9}}) {
        ScratchDir dir;
        const QString path = freshMp3(dir);
        runMutagen(QStringLiteral("import sys\nfrom mutagen.id3 import ID3, TRCK, TPOS\nt = ID3()\n"
                                  "t.add(TRCK(encoding=0, text=%1))\nt.add(TPOS(encoding=0, text=%1))\n"
                                  "t.save(sys.argv[1])\n")
                       .arg(QStringLiteral("'%1'").arg(QString::fromLatin1(c.trck))),
                   path);
        AudioMetadata metadata;
        metadata.setTotalTracks(5);
        metadata.setDiscTotal(5);
        readID3v2(path, metadata);
        EXPECT_EQ(metadata.trackNumber(), c.number) << c.trck;
        EXPECT_EQ(metadata.totalTracks(), c.total) << c.trck;
        EXPECT_EQ(metadata.discNumber(), c.number) << c.trck;
        EXPECT_EQ(metadata.discTotal(), c.total) << c.trck;
    }
}

// Every frame Sonabrik writes, checked in mutagen, for each encoding it offers.
struct EncodingCase
{
    int version;
    TagLib::String::Type encoding;
    int mutagenEncoding; // what mutagen reports for the text frames
    bool keepsNonLatin;
};

class ID3v2Writing : public testing::TestWithParam<EncodingCase>
{
};

TEST_P(ID3v2Writing, writesEveryFrameAndNothingElse)
{
    const EncodingCase c = GetParam();
    ScratchDir dir;
    const QString path = freshMp3(dir);
    // Frames of other programs that the record cannot express must go.
    runMutagen(QStringLiteral(R"PY(
import sys
from mutagen.id3 import ID3, TXXX, COMM, PCNT, TCMP
t = ID3()
t.add(TXXX(encoding=3, desc="MusicBrainz Album Id", text="x"))
t.add(COMM(encoding=3, lang="eng", desc="iTunNORM", text="y"))
t.add(PCNT(count=4))
t.add(TCMP(encoding=3, text="1"))
t.save(sys.argv[1])
)PY"),
               path);

    AudioMetadata metadata;
    metadata.setTrackTitle(QStringLiteral("Straße ☃"));
    metadata.setTrackArtist(QStringLiteral("Artist"));
    metadata.setAlbumTitle(QStringLiteral("Album"));
    metadata.setTrackYear(2004);
    metadata.setTrackGenre(QStringLiteral("Jazz"));
    metadata.setTotalTracks(12);
    metadata.setDiscNumber(1);
    metadata.setDiscTotal(2);
    metadata.setTrackComment(QStringLiteral("the record's comment is not written"));
    metadata.setGrouping(QStringLiteral("Group"));
    metadata.setTrackComposer(QStringLiteral("Composer"));
    metadata.setTrackCopyright(QStringLiteral("(c)"));
    metadata.setLyrics(QStringLiteral("line one\nline two"));
    metadata.setBpm(97);
    metadata.setPartOfACompilation(0);
    metadata.setKey(QStringLiteral("C#m"));
    metadata.setISRC(QStringLiteral("GBAYE0601498"));
    metadata.setAlbumArtist(QStringLiteral("Various"));
    auto artwork = std::make_shared<AlbumArtwork>();
    artwork->setData(pngBytes());
    artwork->setComments(QStringLiteral("front"));
    metadata.setAlbumArtwork(artwork);

    writeID3v2(path, metadata, c.version, c.encoding, QStringLiteral("LAME 3.100 via Sonabrik"),
               QStringLiteral("passed comment"));

    const QJsonObject tags = mutagenTags(path);
    const QJsonObject id3 = tags[QStringLiteral("id3v2")].toObject();
    EXPECT_EQ(id3[QStringLiteral("version")].toArray()[1].toInt(), c.version);
    const QJsonObject frames = id3[QStringLiteral("frames")].toObject();
    const QString yearFrame = c.version == 3 ? QStringLiteral("TYER") : QStringLiteral("TDRC");
    QStringList ids = frames.keys();
    QStringList expected{"APIC", "COMM", "TALB", "TBPM", "TCOM", "TCON", "TCOP", yearFrame, "TENC",
                         "TIT1", "TIT2", "TKEY", "TPE1", "TPE2", "TPOS", "TRCK", "TSRC",    "USLT"};
    ids.sort();
    expected.sort();
    EXPECT_EQ(ids, expected);

    if (c.keepsNonLatin) {
        EXPECT_EQ(id3v2Text(tags, QStringLiteral("TIT2")), QStringLiteral("Straße ☃"));
    } else {
        EXPECT_EQ(id3v2Text(tags, QStringLiteral("TIT2")), QStringLiteral("Straße ?"));
    }
    EXPECT_EQ(frames[QStringLiteral("TIT2")][0][QStringLiteral("encoding")].toInt(), c.mutagenEncoding);
    EXPECT_EQ(frames[QStringLiteral("TCOM")][0][QStringLiteral("encoding")].toInt(), c.mutagenEncoding);
    EXPECT_EQ(id3v2Text(tags, QStringLiteral("TRCK")), QStringLiteral("/12"));
    EXPECT_EQ(frames[QStringLiteral("TRCK")][0][QStringLiteral("encoding")].toInt(), 0);
    EXPECT_EQ(id3v2Text(tags, QStringLiteral("TPOS")), QStringLiteral("1/2"));
    EXPECT_EQ(id3v2Text(tags, yearFrame), QStringLiteral("2004"));
    EXPECT_EQ(id3v2Text(tags, QStringLiteral("TCON")), QStringLiteral("Jazz"));
    EXPECT_EQ(id3v2Text(tags, QStringLiteral("TBPM")), QStringLiteral("97"));
    EXPECT_EQ(frames[QStringLiteral("TBPM")][0][QStringLiteral("encoding")].toInt(), 0);
    EXPECT_EQ(id3v2Text(tags, QStringLiteral("TKEY")), QStringLiteral("C#m"));
    EXPECT_EQ(id3v2Text(tags, QStringLiteral("TSRC")), QStringLiteral("GBAYE0601498"));
    EXPECT_EQ(id3v2Text(tags, QStringLiteral("TPE2")), QStringLiteral("Various"));
    EXPECT_EQ(id3v2Text(tags, QStringLiteral("TIT1")), QStringLiteral("Group"));
    EXPECT_EQ(id3v2Text(tags, QStringLiteral("TENC")), QStringLiteral("LAME 3.100 via Sonabrik"));

    const QJsonObject comment = frames[QStringLiteral("COMM")][0].toObject();
    EXPECT_EQ(frames[QStringLiteral("COMM")].toArray().size(), 1);
    EXPECT_EQ(comment[QStringLiteral("text")][0].toString(), QStringLiteral("passed comment"));
    EXPECT_EQ(comment[QStringLiteral("lang")].toString(), QStringLiteral("eng"));
    EXPECT_EQ(comment[QStringLiteral("desc")].toString(), QString());
    const QJsonObject lyrics = frames[QStringLiteral("USLT")][0].toObject();
    EXPECT_EQ(lyrics[QStringLiteral("text")][0].toString(), QStringLiteral("line one\nline two"));
    EXPECT_EQ(lyrics[QStringLiteral("lang")].toString(), QStringLiteral("eng"));
    const QJsonObject picture = frames[QStringLiteral("APIC")][0].toObject();
    EXPECT_EQ(picture[QStringLiteral("mime")].toString(), QStringLiteral("image/png"));
    EXPECT_EQ(picture[QStringLiteral("type")].toInt(), 3);
    EXPECT_EQ(picture[QStringLiteral("desc")].toString(), QStringLiteral("front"));
    EXPECT_EQ(QByteArray::fromHex(picture[QStringLiteral("data")].toString().toLatin1()), pngBytes());

    // And the record comes back the same through the reader.
    AudioMetadata back;
    readID3v2(path, back);
    EXPECT_EQ(back.totalTracks(), 12);
    EXPECT_EQ(back.trackNumber(), 0);
    EXPECT_EQ(back.lyrics(), metadata.lyrics());
    EXPECT_FALSE(back.partOfACompilation());
    ASSERT_TRUE(back.albumArtwork());
    EXPECT_EQ(back.albumArtwork()->data(), pngBytes());
}

INSTANTIATE_TEST_SUITE_P(Encodings, ID3v2Writing,
                         testing::Values(EncodingCase{4, TagLib::String::UTF8, 3, true},
                                         EncodingCase{3, TagLib::String::UTF16, 1, true},
                                         EncodingCase{3, TagLib::String::Latin1, 0, false},
                                         EncodingCase{4, TagLib::String::UTF16, 1, true},
                                         EncodingCase{4, TagLib::String::Latin1, 0, false}),
                         [](const testing::TestParamInfo<EncodingCase>& info) {
                             return "v2_" + std::to_string(info.param.version) + "_encoding_" +
                                    std::to_string(int(info.param.encoding));
                         });

TEST(ID3TagMapping, emptyRecordWritesNoNumbersAndNoEncodedByWithoutOne)
{
    ScratchDir dir;
    const QString path = freshMp3(dir);
    AudioMetadata metadata;
    metadata.setTrackTitle(QStringLiteral("Only a title"));
    metadata.setPartOfACompilation(1);
    writeID3v2(path, metadata, 4, TagLib::String::UTF8, std::nullopt, std::nullopt);
    const QJsonObject frames =
        mutagenTags(path)[QStringLiteral("id3v2")][QStringLiteral("frames")].toObject();
    QStringList ids = frames.keys();
    ids.sort();
    EXPECT_EQ(ids, QStringList({"TCMP", "TIT2"}));
    EXPECT_EQ(frames[QStringLiteral("TCMP")][0][QStringLiteral("text")][0].toString(), QStringLiteral("1"));
}

TEST(ID3TagMapping, id3v1RoundTrip)
{
    ScratchDir dir;
    const QString path = freshMp3(dir);
    AudioMetadata metadata;
    metadata.setTrackTitle(QStringLiteral("A title that is longer than thirty characters"));
    metadata.setTrackArtist(QStringLiteral("Artist"));
    metadata.setTrackGenre(QStringLiteral("Not A Standard Genre"));
    metadata.setTrackYear(1987);
    metadata.setTrackNumber(9);
    {
        TagLib::MPEG::File file(QFile::encodeName(path).constData(), false);
        ID3TagMapping::fillOutID3v1Tag(metadata, file.ID3v1Tag(true), QStringLiteral("comment"));
        file.save(TagLib::MPEG::File::ID3v1, TagLib::File::StripNone, TagLib::ID3v2::v4,
                  TagLib::File::DoNotDuplicate);
    }
    const QJsonObject v1 = mutagenTags(path)[QStringLiteral("id3v1")].toObject();
    EXPECT_EQ(v1[QStringLiteral("TIT2")].toString(), QStringLiteral("A title that is longer than th"));
    EXPECT_EQ(v1[QStringLiteral("TPE1")].toString(), QStringLiteral("Artist"));
    EXPECT_EQ(v1[QStringLiteral("TDRC")].toString(), QStringLiteral("1987"));
    EXPECT_EQ(v1[QStringLiteral("TRCK")].toString(), QStringLiteral("9"));
    EXPECT_EQ(v1[QStringLiteral("COMM")].toString(), QStringLiteral("comment"));
    EXPECT_FALSE(v1.contains("TCON")) << "a genre outside the list is no genre";

    AudioMetadata back;
    back.setTrackArtist(QStringLiteral("kept"));
    TagLib::MPEG::File file(QFile::encodeName(path).constData(), false);
    ID3TagMapping::addInfoFromID3v1Tag(file.ID3v1Tag(), back);
    EXPECT_EQ(back.trackTitle(), QStringLiteral("A title that is longer than th"));
    EXPECT_EQ(back.trackArtist(), QStringLiteral("kept"));
    EXPECT_EQ(back.trackComment(), QStringLiteral("comment"));
    EXPECT_EQ(back.trackYear(), 1987);
    EXPECT_EQ(back.trackNumber(), 9);
    EXPECT_FALSE(back.trackGenre());
    EXPECT_FALSE(back.albumTitle());
}

// Real files of other programs, broken ones included: the readers agree with
// mutagen on the title and the track frame, and never fall over.
TEST(ID3TagMapping, readsOtherProgramsFilesLikeMutagen)
{
    SONABRIK_REQUIRE_TAGLIB_FIXTURES();
    int compared = 0;
    for (const QString& path : Fixtures::taglibFilesWithExtensions({QStringLiteral("mp3")})) {
        TagLib::MPEG::File file(QFile::encodeName(path).constData(), false);
        if (!file.isValid() || !file.hasID3v2Tag()) {
            continue;
        }
        AudioMetadata metadata;
        ID3TagMapping::addInfoFromID3v2Tag(file.ID3v2Tag(), metadata);
        ID3TagMapping::addInfoFromID3v1Tag(file.ID3v1Tag(), metadata);
        const QJsonObject tags = mutagenTags(path);
        if (!tags.contains(QStringLiteral("id3v2"))) {
            continue; // mutagen refuses what TagLib reads: nothing to compare
        }
        const QString title = id3v2Text(tags, QStringLiteral("TIT2"));
        if (!title.isEmpty() && !title.contains(u'/')) {
            EXPECT_EQ(metadata.trackTitle().value_or(QString()), title) << path.toStdString();
            ++compared;
        }
        const QString track = id3v2Text(tags, QStringLiteral("TRCK"));
        if (!track.isEmpty()) {
            EXPECT_EQ(metadata.trackNumber().value_or(-1), track.section(u'/', 0, 0).toInt())
                << path.toStdString();
        }
    }
    EXPECT_GE(compared, 3);
}
