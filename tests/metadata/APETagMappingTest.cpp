// The APE mapping against tags written and read by mutagen.

#include "APETagMapping.h"
#include "Encoding.h"
#include "Fixtures.h"
#include "Mutagen.h"
#include "NaturalLanguageDate.h"
#include "TagDump.h"

#include <QFile>
#include <gtest/gtest.h>
#include <taglib/apetag.h>
#include <taglib/mpegfile.h>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

QString freshMp3(const ScratchDir& dir)
{
    return dir.copyOf(Fixtures::generated("tag-base.mp3"), "tagged.mp3");
}

void readAPE(const QString& path, AudioMetadata& metadata)
{
    TagLib::MPEG::File file(QFile::encodeName(path).constData(), false);
    ASSERT_TRUE(file.APETag());
    APETagMapping::addInfoFromAPETag(file.APETag(), metadata);
}

void writeAPE(const QString& path, const AudioMetadata& metadata, const std::optional<QString>& encodedBy,
              const std::optional<QString>& comment)
{
    TagLib::MPEG::File file(QFile::encodeName(path).constData(), false);
    APETagMapping::fillOutAPETag(metadata, file.APETag(true), encodedBy, comment);
    file.save(TagLib::MPEG::File::APE, TagLib::File::StripNone, TagLib::ID3v2::v4,
              TagLib::File::DoNotDuplicate);
}

} // namespace

// Beyond TaggedFileTest: other spellings, a date, the compilation slip, a back cover; fields there win.
TEST(APETagMapping, readsWhatAnotherTaggerWrote)
{
    ScratchDir dir;
    const QString path = freshMp3(dir);
    using Mutagen::entry;
    const QString png = Fixtures::generated("art.png");
    Mutagen::tag(path, "ape",
                 {entry("Date", "2004-05-06"), entry("Track", "3/12"), entry("TotalTracks", "14"),
                  entry("DiscNum", "2"), entry("TotalDiscs", "3"), entry("Compilation", "1"),
                  entry("UnsyncedLyrics", "la la"), entry("Encoded By", "Encoder"),
                  entry("Cover Art (Back)", QJsonObject{{"cover", png}, {"name", "back.png"}})});
    AudioMetadata metadata;
    readAPE(path, metadata);
    using F = AudioMetadata::Field;
    // The total is not from TRACK's slash; the compilation item lands in the tempo, never in the flag.
    // clang-format off
    for (const auto& [field, value] : std::initializer_list<std::pair<F, QVariant>>{
             {F::trackYear, 2004}, {F::trackNumber, 3}, {F::totalTracks, 14}, {F::discNumber, 2},
             {F::discTotal, 3}, {F::bpm, 1}, {F::partOfACompilation, QVariant()}, {F::lyrics, "la la"},
             {F::sourceEncodedWith, "Encoder"}}) {
        // clang-format on
        EXPECT_EQ(metadata.value(field), value) << AudioMetadata::fieldName(field).toStdString();
    }
    const AlbumArtworkPtr artwork = metadata.albumArtwork();
    ASSERT_TRUE(artwork);
    EXPECT_EQ(artwork->originalFilename(), u"back.png"_s);
    EXPECT_EQ(artwork->data(), fileBytes(png));

    // Fields already present win, and a year beats a date.
    runMutagen(QStringLiteral("import sys\nfrom mutagen.apev2 import APEv2\nt = APEv2()\n"
                              "t['Year'] = '1999'\nt['Date'] = '2004'\nt['BPM'] = '120'\nt['Title'] = 'T'\n"
                              "t['Compilation'] = '1'\nt['Cover Art (Front)'] = b'no nul byte'\n"
                              "t.save(sys.argv[1])\n"),
               path);
    AudioMetadata present;
    present.setTrackTitle(u"kept"_s);
    present.setPartOfACompilation(0);
    readAPE(path, present);
    EXPECT_EQ(present.trackTitle(), u"kept"_s);
    EXPECT_EQ((QList{present.trackYear(), present.bpm()}), (QList<std::optional<int>>{1999, 120}));
    EXPECT_FALSE(present.albumArtwork()) << "a cover without a file name is no cover";
}

TEST(APETagMapping, writesItemsAndCoversAsTheLayoutSays)
{
    ScratchDir dir;
    const QString path = freshMp3(dir);
    // Another program's back cover and private item; an old spelling of the track total.
    runMutagen(QStringLiteral("import sys\nfrom mutagen.apev2 import APEv2, APEValue, BINARY\nt = APEv2()\n"
                              "t['Cover Art (Back)'] = APEValue(b'b.jpg\\x00old', BINARY)\n"
                              "t['Private'] = 'stays'\nt['TotalTracks'] = '99'\nt['Encoder'] = 'old'\n"
                              "t.save(sys.argv[1])\n"),
               path);
    AudioMetadata metadata;
    using F = AudioMetadata::Field;
    // clang-format off
    for (const auto& [field, value] : std::initializer_list<std::pair<F, QVariant>>{
             {F::trackTitle, u"Ünïcode ☃"_s}, {F::trackNumber, 3}, {F::totalTracks, 12}, {F::discNumber, 1},
             {F::bpm, 97}, {F::partOfACompilation, 1}, {F::lyrics, u"words"_s}, {F::trackYear, 2001}}) {
        // clang-format on
        metadata.setValue(field, value);
    }
    auto artwork = std::make_shared<AlbumArtwork>();
    artwork->setData(QByteArray("\xFF\xD8\xFF image", 9));
    metadata.setAlbumArtwork(artwork);
    writeAPE(path, metadata, u"LAME via Sonabrik"_s, u"the comment"_s);

    // The items by their upper-cased keys (APE keys ignore case).
    QJsonObject ape;
    const auto readBack = [&] {
        ape = {};
        const QJsonObject tags = mutagenTags(path)["ape"].toObject();
        for (auto it = tags.begin(); it != tags.end(); ++it) {
            ape.insert(it.key().toUpper(), it.value());
        }
    };
    readBack();
    EXPECT_EQ(ape.keys(), QStringList({"BPM", "COMMENT", "COMPILATION", "COVER ART (BACK)",
                                       "COVER ART (FRONT)", "DISCNUMBER", "ENCODEDBY", "LYRICS", "PRIVATE",
                                       "TITLE", "TRACK", "TRACKTOTAL", "YEAR"}));
    const auto binary = [&](const char* key) {
        return QByteArray::fromHex(ape.value(QLatin1String(key))["binary"].toString().toLatin1());
    };
    // clang-format off
    for (const auto& [key, value] : {std::pair{"TITLE", "Ünïcode ☃"}, {"TRACKTOTAL", "12"}, {"BPM", "97"},
                                     {"COMPILATION", "1"}, {"COMMENT", "the comment"},
                                     {"ENCODEDBY", "LAME via Sonabrik"}, {"PRIVATE", "stays"}}) {
        // clang-format on
        EXPECT_EQ(ape.value(QLatin1String(key)).toString(), QString::fromUtf8(value)) << key;
    }
    EXPECT_EQ(binary("COVER ART (FRONT)"), QByteArray("cover.jpg\0\xFF\xD8\xFF image", 19));
    EXPECT_EQ(binary("COVER ART (BACK)"), QByteArray("b.jpg\0old", 9)); // another program's stays

    // A back cover of the record goes under its own key and reads back as a front cover.
    artwork->setArtworkType(4);
    artwork->setOriginalFilename(u"scan.jpg"_s);
    writeAPE(path, metadata, std::nullopt, std::nullopt);
    readBack();
    EXPECT_EQ(binary("COVER ART (BACK)"), QByteArray("scan.jpg\0\xFF\xD8\xFF image", 18));
    for (const char* gone : {"COVER ART (FRONT)", "ENCODEDBY", "COMMENT"}) {
        EXPECT_FALSE(ape.contains(QLatin1String(gone))) << gone;
    }
    AudioMetadata back;
    readAPE(path, back);
    ASSERT_TRUE(back.albumArtwork());
    EXPECT_EQ(back.albumArtwork()->artworkType(), 3u);
    EXPECT_EQ(back.bpm(), 1) << "the written compilation flag reads back as a tempo of 1";
}

TEST(NaturalLanguageDate, yearsOfTheCommonForms)
{
    // clang-format off
    for (const auto& [text, year] : std::initializer_list<std::pair<const char*, std::optional<int>>>{
             {"2004-05-06T10:20:30", 2004}, {" 1999 ", 1999}, {"6 May 2004", 2004}, {"May 6, 2004", 2004},
             {"December 1971", 1971}, {"31/12/1980", 1980}, {"2004-13-40", std::nullopt},
             {"someday", std::nullopt}, {"", std::nullopt}}) {
        // clang-format on
        EXPECT_EQ(NaturalLanguageDate::yearOf(QString::fromLatin1(text)), year) << text;
    }
}
