// The ID3 mapping against tags written and read by mutagen, both ways.

#include "ID3TagMapping.h"
#include "Encoding.h"
#include "Fixtures.h"
#include "TagDump.h"
#include "Tools.h"

#include <QFile>
#include <QJsonArray>
#include <gtest/gtest.h>
#include <taglib/id3v2tag.h>
#include <taglib/mpegfile.h>
#include <taglib/textidentificationframe.h>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

QString freshMp3(const ScratchDir& dir)
{
    return dir.copyOf(Fixtures::generated("tag-base.mp3"), "tagged.mp3");
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
    return fileBytes(Fixtures::generated("art.png"));
}

} // namespace

// Beyond TaggedFileTest: a numeric genre, a full date, other programs' comments.
TEST(ID3TagMapping, readsWhatAnotherTaggerWrote)
{
    ScratchDir dir;
    const QString path = freshMp3(dir);
    runMutagen(QStringLiteral(R"PY(
import sys
from mutagen.id3 import ID3, TIT2, TCON, TDRC, TRCK, COMM
t = ID3()
t.add(TIT2(encoding=3, text="title"))
t.add(TCON(encoding=3, text="(17)"))
t.add(TDRC(encoding=3, text="1999-04-02"))
t.add(TRCK(encoding=3, text="3/12"))
t.add(COMM(encoding=3, lang="eng", desc="iTunNORM", text="not ours"))
t.add(COMM(encoding=3, lang="eng", desc="", text="the comment"))
t.save(sys.argv[1], v2_version=4)
)PY"),
               path);

    AudioMetadata metadata;
    metadata.setTrackTitle(u"read before"_s); // absent fields only...
    metadata.setTrackNumber(7);               // ...but TRCK overrides
    readID3v2(path, metadata);
    EXPECT_EQ((QList{metadata.trackTitle(), metadata.trackGenre(), metadata.trackComment()}),
              (QList<std::optional<QString>>{"read before", "Rock", "the comment"}));
    EXPECT_EQ((QList{metadata.trackYear(), metadata.trackNumber(), metadata.totalTracks()}),
              (QList<std::optional<int>>{1999, 3, 12}));
}

// The total read earlier (5) survives a frame without a slash.
TEST(ID3TagMapping, trackAndDiscFramesSplitAtTheSlash)
{
    using Row = std::tuple<const char*, int, int>;
    for (const auto& [text, number, total] : {Row{"3", 3, 5}, Row{"/12", 0, 12}, Row{" 04 / 9", 4, 9}}) {
        TagLib::ID3v2::Tag tag;
        for (const char* id : {"TRCK", "TPOS"}) {
            auto* frame = new TagLib::ID3v2::TextIdentificationFrame(id, TagLib::String::Latin1);
            frame->setText(text);
            tag.addFrame(frame); // the tag owns it
        }
        AudioMetadata metadata;
        metadata.setTotalTracks(5);
        metadata.setDiscTotal(5);
        ID3TagMapping::addInfoFromID3v2Tag(&tag, metadata);
        EXPECT_EQ((std::vector{metadata.trackNumber(), metadata.totalTracks(), metadata.discNumber(),
                               metadata.discTotal()}),
                  (std::vector<std::optional<int>>{number, total, number, total}))
            << text;
    }
}

// Every frame Sonabrik writes, checked in mutagen; frames of other programs do not survive.
TEST(ID3TagMapping, writesEveryFrameAndNothingElse)
{
    ScratchDir dir;
    const QString path = freshMp3(dir);
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

    using F = AudioMetadata::Field;
    AudioMetadata metadata;
    // clang-format off
    for (const auto& [field, value] : std::initializer_list<std::pair<F, QVariant>>{
             {F::trackTitle, u"Title"_s}, {F::trackYear, 2004}, {F::trackGenre, u"Jazz"_s}, {F::bpm, 97},
             {F::totalTracks, 12}, {F::discNumber, 1}, {F::discTotal, 2}, {F::grouping, u"Group"_s},
             {F::trackComposer, u"C"_s}, {F::trackCopyright, u"(c)"_s}, {F::lyrics, u"line one\nline two"_s},
             {F::partOfACompilation, 0}, {F::key, u"C#m"_s}, {F::ISRC, u"GBAYE0601498"_s},
             {F::albumArtist, u"Various"_s}, {F::trackComment, u"the record's comment, not written"_s}}) {
        // clang-format on
        metadata.setValue(field, value);
    }
    auto artwork = std::make_shared<AlbumArtwork>();
    artwork->setData(pngBytes());
    artwork->setComments(u"front"_s);
    metadata.setAlbumArtwork(artwork);
    writeID3v2(path, metadata, 4, TagLib::String::UTF8, u"LAME via Sonabrik"_s, u"passed comment"_s);

    const QJsonObject tags = mutagenTags(path);
    const QJsonObject frames = tags["id3v2"]["frames"].toObject();
    QStringList ids = frames.keys();
    ids.sort();
    EXPECT_EQ(ids, QStringList({"APIC", "COMM", "TBPM", "TCOM", "TCON", "TCOP", "TDRC", "TENC", "TIT1",
                                "TIT2", "TKEY", "TPE2", "TPOS", "TRCK", "TSRC", "USLT"}));
    // clang-format off
    for (const auto& [id, text] : {std::pair{"TRCK", "/12"}, {"TPOS", "1/2"}, {"TDRC", "2004"},
                                   {"TBPM", "97"}, {"TKEY", "C#m"}, {"TENC", "LAME via Sonabrik"}}) {
        // clang-format on
        EXPECT_EQ(id3v2Text(tags, QString::fromLatin1(id)), QString::fromUtf8(text)) << id;
    }
    EXPECT_EQ(frames["TRCK"][0]["encoding"].toInt(), 0) << "numbers are Latin-1";
    EXPECT_EQ(frames["COMM"].toArray().size(), 1);
    EXPECT_EQ(frames["COMM"][0].toObject(),
              QJsonObject(
                  {{"text", QJsonArray{"passed comment"}}, {"lang", "eng"}, {"desc", ""}, {"encoding", 3}}));
    const QJsonObject picture = frames["APIC"][0].toObject();
    EXPECT_EQ((QStringList{picture["mime"].toString(), picture["desc"].toString()}),
              (QStringList{"image/png", "front"}));
    EXPECT_EQ(QByteArray::fromHex(picture["data"].toString().toLatin1()), pngBytes());

    // Without numbers no TRCK, without an encoded-by text no TENC; a true compilation flag gives TCMP.
    AudioMetadata sparse;
    sparse.setPartOfACompilation(1);
    writeID3v2(path, sparse, 4, TagLib::String::UTF8, std::nullopt, std::nullopt);
    EXPECT_EQ(mutagenTags(path).value(u"id3v2"_s)["frames"].toObject().keys(), QStringList{"TCMP"});
}

// A cover larger than an ID3v2 tag can hold is left out and logged, not written with an overflowing size.
TEST(ID3CoverLimit, APictureBeyondTheTagsSizeFieldIsLeftOutAndLogged)
{
    constexpr qsizetype kTooLarge = qsizetype(1) << 28; // one byte past what the tag's 28 bits can say
    ErrorLogCapture log;
    AudioMetadata metadata;
    metadata.setTrackTitle(u"Title"_s);
    {
        auto artwork = std::make_shared<AlbumArtwork>();
        QByteArray data(kTooLarge, '\0');
        data[0] = char(0xFF); // a JPEG's first byte, so it is typed as one
        artwork->setData(std::move(data));
        metadata.setAlbumArtwork(artwork);
    }
    TagLib::ID3v2::Tag tag;
    ID3TagMapping::fillOutID3v2Tag(metadata, &tag, 4, TagLib::String::UTF8, std::nullopt, std::nullopt);
    EXPECT_TRUE(tag.frameListMap()["APIC"].isEmpty());
    EXPECT_EQ(tag.title(), TagLib::String("Title"));
    EXPECT_TRUE(log.contains(
        QStringLiteral("The Album Artwork (268435456 Bytes) Is Too Large For An ID3v2 Tag And Was Not "
                       "Written.")))
        << log.messages().join(u'\n').toStdString();
}
