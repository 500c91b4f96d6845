// Real files tagged by mutagen, checked field by field; the dispatch, the fallbacks, TagLib's test files.

#include "MetadataReader.h"
#include "AudioMetadata.h"
#include "Encoding.h"
#include "FFmpegMetadataReader.h"
#include "Fixtures.h"
#include "InstantRetries.h"
#include "Mutagen.h"
#include "Preferences.h"
#include "Tools.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <array>

using namespace Qt::StringLiterals;

namespace {

using Mutagen::entry;

QJsonObject probe(const QString& path)
{
    return ffprobe(
        path, {"-select_streams", "a:0", "-show_entries", "stream=sample_rate,channels:format=duration"});
}

QString art(const char* name)
{
    return Fixtures::generated(QString::fromLatin1(name));
}

// The tag families, and text fields (one per kind of mapping row) under each family's own key.
// clang-format off
enum Family { Xiph, MP4, ASF, ID3, APE };
struct TextKey { AudioMetadata::Field field; const char* text; std::array<const char*, 5> keys; };
using F = AudioMetadata::Field;
const TextKey kTextKeys[] = {
    {F::trackTitle, "Título Ünö", {"TITLE", "\u00a9nam", "Title", "TIT2", "Title"}},
    {F::trackArtist, "Artist A", {"ARTIST", "\u00a9ART", "Author", "TPE1", "Artist"}},
    {F::albumArtist, "Album Artist D", {"ALBUMARTIST", "aART", "WM/AlbumArtist", "TPE2", "AlbumArtist"}},
    {F::trackGenre, "Ambient", {"GENRE", "\u00a9gen", "WM/Genre", "TCON", "Genre"}},
    {F::trackComment, "A comment", {"DESCRIPTION", "\u00a9cmt", "Description", "COMM", "Comment"}},
    {F::grouping, "Group G", {"GROUPING", "\u00a9grp", "WM/ContentGroupDescription", "TIT1", "Grouping"}},
    {F::lyrics, "Some lyrics", {"LYRICS", "\u00a9lyr", "WM/Lyrics", "USLT", "Lyrics"}},
    {F::key, "D Major", {"KEY", "----:com.apple.iTunes:KEY", "WM/InitialKey", "TKEY", "Key"}},
    {F::sourceEncodedWith, "Encoder E", {"ENCODEDBY", "\u00a9too", "WM/EncodedBy", "TENC", "EncodedBy"}},
};
// clang-format on

QJsonObject backCover(const char* kind)
{
    return {{kind, art("art.png")}, {"type", 4}, {"mime", "image/png"}, {"description", "Back"}};
}

// Numbers, a compilation and the cover in the family's own forms (APE has no compilation flag of its own).
QJsonArray numbersAndCover(Family family)
{
    // clang-format off
    switch (family) {
    case Xiph:
        return {entry("DATE", "1999-04-01"), entry("TRACKNUMBER", "3"), entry("TRACKTOTAL", "12"),
                entry("DISCNUMBER", "1"), entry("DISCTOTAL", "2"), entry("BPM", "120"),
                entry("COMPILATION", "1"),
                entry("METADATA_BLOCK_PICTURE", backCover("flacpicture"))};
    case MP4:
        return {entry("\u00a9day", "1999"), entry("trkn", QJsonObject{{"pair", QJsonArray{3, 12}}}),
                entry("disk", QJsonObject{{"pair", QJsonArray{1, 2}}}),
                entry("tmpo", QJsonObject{{"int", 120}}),
                entry("cpil", QJsonObject{{"bool", true}}),
                entry("covr", QJsonObject{{"cover", art("art.png")}, {"format", "png"}})};
    case ASF:
        return {entry("WM/Year", "1999"), entry("WM/TrackNumber", QJsonObject{{"dword", 3}}),
                entry("WM/TrackTotal", QJsonObject{{"dword", 12}}), entry("WM/PartOfSet", "1/2"),
                entry("WM/BeatsPerMinute", "120"), entry("WM/IsCompilation", QJsonObject{{"dword", 1}}),
                entry("WM/Picture", backCover("asfpicture"))};
    case ID3:
        return {entry("TDRC", "1999"), entry("TRCK", "3/12"), entry("TPOS", "1/2"),
                entry("TBPM", "120"),  entry("TCMP", "1"),    entry("APIC", backCover("apic"))};
    case APE:
        return {entry("Year", "1999"), entry("Track", "3"), entry("TrackTotal", "12"),
        entry("DiscNumber", "1"),
                entry("DiscTotal", "2"), entry("BPM", "120"),
                entry("Cover Art (Front)", QJsonObject{{"cover", art("art.png")}, {"name", "art.png"}})};
    }
    // clang-format on
    return {};
}

QJsonArray tagsOf(Family family)
{
    QJsonArray tags = numbersAndCover(family);
    for (const TextKey& row : kTextKeys) {
        const QString key = QString::fromUtf8(row.keys[family]);
        const QString text = QString::fromUtf8(row.text);
        if (family == MP4 && key.startsWith(QLatin1String("----:"))) {
            tags.append(entry(key, QJsonObject{{"freeform", text}}));
        } else if (family == ID3 && key == QLatin1String("COMM")) {
            tags.append(entry(key, QJsonObject{{"text", text}}));
        } else {
            tags.append(entry(key, text));
        }
    }
    return tags;
}

// Bits per second for most readers, the library's kilobits for Ogg FLAC, Speex and Windows Media.
enum Bitrate
{
    Bits,
    Kilobits,
    NoBitrate,
};

struct FormatCase
{
    const char *name, *fixture, *extension, *tagger;
    Family family;
    const char *kind, *format, *tagFormat; // null kind or format: the platform's, whatever it is
    Bitrate bitrate;
    int sampleSize;                    // 0: none expected
    bool keepsPictureType;             // covers of MP4 and APE files always read as front covers
    bool wholeSeconds = true;          // lengths from TagLib are whole seconds, from the platform exact
    const char* channelMode = nullptr; // null: the platform's name of the type, whatever the library calls it
    int rateFactor = 1;                // ffprobe counts DSD in bytes of 8 samples
};

class TaggedFileTest : public testing::TestWithParam<FormatCase>
{
};

TEST_P(TaggedFileTest, ReadsEveryFieldAndTheStream)
{
    const FormatCase& c = GetParam();
    ScratchDir dir;
    // Fixtures named "taglib:" come from TagLib's test files (nothing in Debian writes them).
    QString path = dir.file(u"tagged."_s + c.extension);
    const QString fixture = QString::fromLatin1(c.fixture);
    if (fixture.startsWith(QLatin1String("taglib:"))) {
        SONABRIK_REQUIRE_TAGLIB_FIXTURES();
        ASSERT_TRUE(QFile::copy(Fixtures::taglib(fixture.mid(7)), path));
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
    } else {
        path = dir.copyOf(Fixtures::generated(fixture), u"tagged."_s + c.extension);
    }
    Mutagen::tag(path, QString::fromLatin1(c.tagger), tagsOf(c.family));

    const AudioMetadataPtr record = AudioMetadata::metadataFromFile(path);
    for (const TextKey& row : kTextKeys) {
        EXPECT_EQ(record->value(row.field).toString(), QString::fromUtf8(row.text)) << row.keys[c.family];
    }
    EXPECT_EQ(
        (std::vector{record->trackYear(), record->trackNumber(), record->totalTracks(), record->discNumber(),
                     record->discTotal(), record->bpm(), record->partOfACompilation()}),
        (std::vector<std::optional<int>>{1999, 3, 12, 1, 2, 120,
                                         c.family == APE ? std::nullopt : std::optional(1)}));
    const AlbumArtworkPtr artwork = record->albumArtwork();
    ASSERT_NE(artwork, nullptr);
    EXPECT_EQ(artwork->data(), fileBytes(art("art.png")));
    EXPECT_EQ(artwork->mimeType(), u"image/png"_s);
    EXPECT_EQ(artwork->artworkType(), c.keepsPictureType ? 4u : 3u);
    if (c.keepsPictureType) {
        EXPECT_EQ(artwork->comments(), u"Back"_s);
    }
    if (c.family == APE) { // APE covers keep the file name they were stored with
        EXPECT_EQ(artwork->originalFilename(), u"art.png"_s);
    }
    const QString kind = record->sourceKind().value_or(u"WAVE"_s);
    EXPECT_TRUE(c.kind ? kind == QLatin1String(c.kind) : kind != u"WAVE"_s) << kind.toStdString();
    if (c.channelMode != nullptr) {
        EXPECT_EQ(record->sourceChannelMode(), QString::fromLatin1(c.channelMode));
    }
    const QString format = record->sourceFormat().value_or(QString());
    EXPECT_TRUE(c.format ? format == QLatin1String(c.format) : !format.isEmpty()) << format.toStdString();
    EXPECT_EQ(record->sourceTagFormat(), QString::fromLatin1(c.tagFormat));
    const QJsonObject reference = probe(path);
    const QJsonObject stream = reference["streams"][0].toObject();
    EXPECT_EQ(record->sourceSampleRate(), stream["sample_rate"].toString().toInt() * c.rateFactor);
    EXPECT_EQ(record->sourceChannels(), stream["channels"].toInt());
    EXPECT_NEAR(record->sourceLength().value_or(-9), reference["format"]["duration"].toString().toDouble(),
                c.wholeSeconds ? 1.0 : 0.05);
    EXPECT_EQ(record->sourceSampleSize(),
              c.sampleSize == 0 ? std::nullopt : std::optional<int>(c.sampleSize));
    const int bitrate = record->sourceBitrate().value_or(0);
    EXPECT_TRUE(c.bitrate == Bits       ? bitrate > 8000
                : c.bitrate == Kilobits ? bitrate > 8 && bitrate < 2000
                                        : !record->sourceBitrate().has_value())
        << bitrate;
    EXPECT_EQ(record->sourceLocation(), path);
    EXPECT_EQ(record->sourceFileSize(), QFileInfo(path).size());
    EXPECT_EQ(record->sourceDateModified(), QFileInfo(path).lastModified());
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(
    Formats, TaggedFileTest,
    testing::Values(
        FormatCase{"FLAC", "core.flac", "flac", "flac", Xiph, "FLAC", "Free Lossless Audio Codec", "Vorbis",
                   Bits, 16, true},
        FormatCase{"OggFLAC", "core.oggflac", "oga", "ogg", Xiph, "OGG FLAC", "Free Lossless Audio Codec",
                   "Vorbis", Kilobits, 16, true},
        FormatCase{"Vorbis", "core.ogg", "ogg", "ogg", Xiph, "OGG Vorbis", "Vorbis", "Vorbis", Bits, 0, true},
        FormatCase{"Speex", "core.spx", "spx", "ogg", Xiph, "OGG Speex", "Speex v1", "Vorbis",
                   Kilobits, 0, true},
        FormatCase{"Opus", "core.opus", "opus", "ogg", Xiph, "Ogg Opus", "Opus", "Vorbis",
                   NoBitrate, 0, true},
        FormatCase{"MP4", "reading.m4a", "m4a", "mp4", MP4, "QuickTime / MOV", "AAC (Advanced Audio Coding)",
                   "MP4 Metadata", Bits, 0, false, false},
        FormatCase{"MP3", "reading.mp3", "mp3", "id3", ID3, nullptr, "MPEG Version 1 Audio Layer 3",
                   "ID3v2.4.0", Bits, 0, true, false, "Joint Stereo"},
        FormatCase{"AIFF", "reading.aiff", "aiff", "aiff", ID3, nullptr, nullptr, "ID3v2.4.0",
                   Bits, 16, true, false, "Stereo"},
        FormatCase{"WAVE", "reading.wav", "wav", "wave", ID3, nullptr, nullptr, "ID3v2.4.0",
                   Bits, 16, true, false, "Stereo"},
        FormatCase{"TrueAudio", "reading.tta", "tta", "id3", ID3, "True Audio", "TTA v1", "ID3v2.4.0",
                   Bits, 16, true},
        FormatCase{"DSF", "reading.dsf", "dsf", "dsf", ID3, "DSD", "DSF", "ID3v2.4.0",
                   Bits, 1, true, true, nullptr, 8},
        FormatCase{"WavPack", "reading.wv", "wv", "ape", APE, "WavPack", "WavPack v1040", "APE Tag v2.0",
                   Bits, 16, false},
        FormatCase{"Musepack", "reading.mpc", "mpc", "ape", APE, "Musepack", "MPC v8", "APE Tag v2.0",
                   Bits, 16, false},
        FormatCase{"MonkeysAudio", "taglib:mac-399.ape", "ape", "ape", APE, "Monkey's Audio", "APE v3990",
                   "APE Tag v2.0", Bits, 16, false},
        FormatCase{"WindowsMedia", "reading.wma", "wma", "asf", ASF, "Windows Media", "Windows Media Audio",
                   "ASF", Kilobits, 0, true}),
    [](const testing::TestParamInfo<FormatCase>& info) { return std::string(info.param.name); });
// clang-format on

TEST(MetadataDispatch, ChoosesTheReaderByLowerCasedExtensionAndOggByItsFirstStreamAndLogsFailures)
{
    for (const auto& [file, kind] : {std::pair{"core-upper.FLAC", "FLAC"},
                                     {"core-opus-named.ogg", "Ogg Opus"},
                                     {"core-vorbis-named.opus", "OGG Vorbis"},
                                     {"core-flac-named.oga", "OGG FLAC"}}) {
        EXPECT_EQ(AudioMetadata::metadataFromFile(Fixtures::generated(file))->sourceKind(),
                  QLatin1String(kind));
    }

    // An Ogg stream of another codec: only what the file system tells.
    const QString theora = Fixtures::generated("core-theora.ogg");
    const AudioMetadataPtr video = AudioMetadata::metadataFromFile(theora);
    EXPECT_EQ(video->sourceKind(), std::nullopt);
    EXPECT_EQ(video->sourceLength(), std::nullopt);
    EXPECT_EQ(video->sourceLocation(), theora);
    EXPECT_EQ(video->sourceFileSize(), QFileInfo(theora).size());

    // What stops the reader is logged, and there is still a record.
    ErrorLogCapture log;
    const QString notOgg = Fixtures::generated("core-wav-named.ogg");
    const AudioMetadataPtr record = AudioMetadata::metadataFromFile(notOgg);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->sourceLocation(), std::nullopt);
    ASSERT_EQ(log.messages().size(), 1);
    EXPECT_TRUE(
        log.messages()[0].startsWith(u"Could Not Initialize Audio Metadata for: "_s + notOgg + u" Error: "_s))
        << log.messages()[0].toStdString();

    // A file that is not there: the reader's fixed texts and the location.
    const AudioMetadataPtr missing = AudioMetadata::metadataFromFile(u"/nonexistent/gone.flac"_s);
    EXPECT_EQ(missing->sourceKind(), u"FLAC"_s);
    EXPECT_EQ(missing->sourceLocation(), u"/nonexistent/gone.flac"_s);
    EXPECT_EQ(missing->sourceFileSize(), std::nullopt);
    EXPECT_EQ(missing->sourceLength(), std::nullopt);
}

TEST(MetadataDispatch, TagsAreReadInOrderAndTheID3TrackFrameOverrides)
{
    ScratchDir dir;
    const QString flac = dir.copyOf(Fixtures::generated("core.flac"), "three-tags.flac");
    Mutagen::tag(flac, "flac",
                 {entry("TITLE", "xiph title"), entry("TRACKNUMBER", "5"), entry("TRACKTOTAL", "9")});
    Mutagen::tag(flac, "id3", {entry("TIT2", "id3 title"), entry("TRCK", "7/12"), entry("TALB", "id3 album")},
                 QJsonObject{{"v1", 2}});
    const AudioMetadataPtr record = AudioMetadata::metadataFromFile(flac);
    EXPECT_EQ(record->sourceTagFormat(), u"Vorbis, ID3v2.4.0, ID3v1"_s);
    EXPECT_EQ(record->trackTitle(), u"xiph title"_s);
    EXPECT_EQ(record->albumTitle(), u"id3 album"_s);
    EXPECT_EQ(record->trackNumber(), 7);
    EXPECT_EQ(record->totalTracks(), 12);

    const QString mp3 = dir.copyOf(Fixtures::generated("reading-vbr.mp3"), "Song.MP3");
    // mutagen puts the APE tag first and appends the ID3v1 tag after it.
    Mutagen::tag(mp3, "ape", {entry("Title", "ape title"), entry("Lyrics", "ape lyrics")});
    Mutagen::tag(mp3, "id3", {entry("TIT2", "id3 title")}, QJsonObject{{"v1", 2}, {"version", 3}});
    const AudioMetadataPtr song = AudioMetadata::metadataFromFile(mp3);
    EXPECT_EQ(song->sourceTagFormat(), u"ID3v2.3.0, ID3v1, APE Tag v2.00"_s);
    EXPECT_EQ(song->trackTitle(), u"id3 title"_s);
    EXPECT_EQ(song->lyrics(), u"ape lyrics"_s);
    EXPECT_EQ(song->sourceBitrateMode(), u"VBR"_s);
    EXPECT_EQ(song->sourceFormat(), u"MPEG Version 1 Audio Layer 3"_s);
}

// One picture block reaches the MP3 in the CLI's tests; of two, neither is taken, but a comment's is.
TEST(MetadataDispatch, FLACPictureBlocksGiveTheCoverOnlyWhenThereIsOne)
{
    ScratchDir dir;
    const QString two = dir.copyOf(Fixtures::generated("reading-two-pictures.flac"), "two.flac");
    EXPECT_EQ(AudioMetadata::metadataFromFile(two)->albumArtwork(), nullptr);
    const QJsonObject gif{{"flacpicture", art("art.gif")}, {"type", 3}, {"mime", "image/gif"}};
    Mutagen::tag(two, "flac", QJsonArray() << QJsonValue(entry("METADATA_BLOCK_PICTURE", gif)));
    const AlbumArtworkPtr fromTag = AudioMetadata::metadataFromFile(two)->albumArtwork();
    ASSERT_NE(fromTag, nullptr);
    EXPECT_EQ(fromTag->data(), fileBytes(art("art.gif")));
}

// RealMedia is read by FFmpeg; a missing file is waited for (as the decoder does), then logged.
TEST(MetadataDispatch, FFmpegReadsRealMediaAndLogsAMissingFile)
{
    ScratchDir dir;
    const QString path = dir.file("late.rm");
    {
        InstantRetries retries;
        ErrorLogCapture log;
        const AudioMetadataPtr record = AudioMetadata::metadataFromFile(path);
        ASSERT_NE(record, nullptr);
        EXPECT_EQ(record->trackTitle(), u"late"_s) << "the file name stands in";
        EXPECT_EQ(retries.waits().size(), 3u);
        EXPECT_EQ(log.messages(),
                  QStringList(
                      {u"FFMPEG Could Not Open Input For File For Metadata Reading: %1 ERROR: -2"_s.arg(path),
                       path + u": No such file or directory"_s}));
    }
    const AudioMetadataPtr record = AudioMetadata::metadataFromFile(Fixtures::generated("reading.rm"));
    EXPECT_EQ((QList{record->sourceKind(), record->sourceFormat(), record->trackTitle(),
                     record->trackArtist(), record->trackCopyright(), record->trackComment()}),
              (QList<std::optional<QString>>{"rm", "RealMedia", "Real Title", "Real Author", "Real Copyright",
                                             "Real Comment"}));
    EXPECT_EQ((QList<std::optional<double>>{record->sourceSampleRate(), record->sourceChannels(),
                                            record->sourceBitrate()}),
              (QList<std::optional<double>>{44100, 2, 96000}));
    EXPECT_EQ(record->sourceLength(), 2);
}

TEST(MetadataDispatch, FFmpegEntriesSplitNumbersAndOverwriteEarlierOnes)
{
    AudioMetadata record;
    using Row = std::tuple<const char*, const char*, int, int, std::optional<int>>;
    for (const auto& [key, value, number, total, year] :
         {Row{"TRACK", "7/12", 7, 12, std::nullopt}, Row{"track", "8", 8, 12, std::nullopt},
          Row{"Date", "6 May 2004", 8, 12, 2004}, Row{"date", "someday", 8, 12, 2004}}) {
        FFmpegMetadataReader::addMetadataEntry(QLatin1String(key), QLatin1String(value), record);
        EXPECT_EQ((QList{record.trackNumber(), record.totalTracks(), record.trackYear()}),
                  (QList<std::optional<int>>{number, total, year}))
            << key << " " << value;
    }
}

// By default a missing cover is looked for as "cover.*" and a missing title is the file name.
TEST(ArtworkFromFilename, FallbacksFillAMissingCoverAndTitleWhenThePreferencesSaySo)
{
    ScratchDir dir;
    const QString path = dir.copyOf(Fixtures::generated("core.flac"), "01 Intro.flac");
    ASSERT_TRUE(QFile::copy(art("art.jpg"), dir.file("Cover.JPG")));
    const AudioMetadataPtr record = AudioMetadata::metadataFromFile(path);
    EXPECT_EQ(record->trackTitle(), u"01 Intro"_s);
    ASSERT_NE(record->albumArtwork(), nullptr);
    EXPECT_EQ(record->albumArtwork()->data(), fileBytes(art("art.jpg")));

    PreferencesScope preferences(
        {{"readAlbumArtworkFromFile", false}, {"fallbackOnFilenameWhenTitleIsMissing", false}});
    const AudioMetadataPtr without = AudioMetadata::metadataFromFile(path);
    EXPECT_EQ(without->trackTitle(), std::nullopt);
    EXPECT_EQ(without->albumArtwork(), nullptr);

    // A name made by the naming scheme from the record's own tags.
    Mutagen::tag(path, "flac", {entry("ALBUM", "Blue")});
    ASSERT_TRUE(QFile::copy(art("art.png"), dir.file("blue-front.png")));
    PreferencesScope named({{"readAlbumArtworkFileName", u"{albumTitle}-*"_s}});
    ASSERT_NE(AudioMetadata::metadataFromFile(path)->albumArtwork(), nullptr);
    EXPECT_EQ(AudioMetadata::metadataFromFile(path)->albumArtwork()->originalFilename(), u"blue-front.png"_s);
}

TEST(ArtworkFromFilename, MatchesTheWildcardIgnoringCaseAndAccents)
{
    ScratchDir dir;
    ASSERT_TRUE(QFile::copy(art("art.png"), dir.file("Cövér [front].PNG")));
    ASSERT_TRUE(QFile::copy(art("art-garbage.png"), dir.file("notes.png")));
    AudioMetadata record;
    MetadataReader::readAlbumArtworkFromFilename(dir.file("cover [FRONT].p?g"), record);
    ASSERT_NE(record.albumArtwork(), nullptr);
    EXPECT_EQ(record.albumArtwork()->originalFilename(), u"Cövér [front].PNG"_s);

    AudioMetadata none;
    MetadataReader::readAlbumArtworkFromFilename(u"/nonexistent/folder/*"_s, none);
    EXPECT_EQ(none.albumArtwork(), nullptr);
    // The first match is not an image: nothing is set.
    MetadataReader::readAlbumArtworkFromFilename(dir.file("n*"), none);
    EXPECT_EQ(none.albumArtwork(), nullptr);
}

TEST(PlatformFiles, InfoDictionaryAndChunksFillWhatIsMissing)
{
    ScratchDir dir;
    // Extensions without a reader of their own go to the platform's row.
    const QString info = dir.copyOf(Fixtures::generated("reading-info.wav"), "info.bwf");
    const AudioMetadataPtr record = AudioMetadata::metadataFromFile(info);
    EXPECT_EQ((QList{record->trackTitle(), record->trackArtist(), record->albumTitle(), record->trackGenre(),
                     record->trackComment(), record->trackCopyright()}),
              (QList<std::optional<QString>>{"Info Title", "Info Artist", "Info Album", "Info Genre",
                                             "Info Comment", "Info Copyright"}));
    EXPECT_EQ((QList<std::optional<double>>{record->trackYear(), record->sourceSampleRate(),
                                            record->sourceChannels(), record->sourceSampleSize(),
                                            record->sourceBitrate()}),
              (QList<std::optional<double>>{2003, 44100, 2, 16, 44100 * 2 * 16}));
    EXPECT_EQ(record->sourceChannelMode(), u"Stereo"_s);
    const QJsonObject infoProbe = probe(info);
    EXPECT_NEAR(*record->sourceLength(), infoProbe["format"]["duration"].toString().toDouble(), 1e-3);
    EXPECT_TRUE(record->userData()->contains(u"LIST"_s));
    EXPECT_FALSE(record->userData()->contains(u"data"_s));

    // Loop information wins over the MIDI chunk; B is spelt "Bc" in loops.
    const AudioMetadataPtr loop = AudioMetadata::metadataFromFile(Fixtures::generated("reading-loop.caf"));
    EXPECT_EQ(loop->key(), u"B Minor"_s);
    EXPECT_EQ(loop->trackGenre(), u"Loops"_s);
    EXPECT_EQ(loop->bpm(), 8 * 60 / 2);

    const QString midi = dir.copyOf(Fixtures::generated("reading-midi.wav"), "midi.bwf");
    const AudioMetadataPtr fromMidi = AudioMetadata::metadataFromFile(midi);
    EXPECT_EQ(fromMidi->bpm(), 120);
    EXPECT_EQ(fromMidi->key(), u"D Major"_s);
    EXPECT_EQ(fromMidi->sourceChannelMode(), u"Mono"_s);
}

// Every file of TagLib's test data, broken ones included, gives a record (sanitizers check the rest).
TEST(TagLibFiles, EveryFileGivesARecord)
{
    SONABRIK_REQUIRE_TAGLIB_FIXTURES();
    const QFileInfoList files = QDir(Fixtures::taglibDir()).entryInfoList(QDir::Files, QDir::Name);
    ASSERT_FALSE(files.isEmpty());
    for (const QFileInfo& file : files) {
        EXPECT_NE(AudioMetadata::metadataFromFile(file.absoluteFilePath()), nullptr)
            << file.fileName().toStdString();
    }
}

TEST(TagLibFiles, ModulesReadTheirTrackerFormatsAndTags)
{
    SONABRIK_REQUIRE_TAGLIB_FIXTURES();
    // clang-format off
    for (const auto& [file, format, title, tracker, bpm] :
         {std::tuple<const char*, const char*, const char*, const char*, std::optional<int>>{
              "test.xm", "Fast Tracker 2 v260", "title of song", "MilkyTracker        ", 6},
          {"test.it", "Impulse Tracker v535", "test song name", "Impulse Tracker", 125},
          {"test.s3m", "Scream Tracker 3 v4896", "test song name", "ScreamTracker III", 125},
          {"test.mod", "Module File", "title of song", "StarTrekker", std::nullopt}}) {
        // clang-format on
        const AudioMetadataPtr record =
            AudioMetadata::metadataFromFile(Fixtures::taglib(QLatin1String(file)));
        SCOPED_TRACE(file);
        EXPECT_EQ(record->sourceKind(), u"Module File"_s);
        EXPECT_EQ(record->sourceFormat(), QLatin1String(format));
        EXPECT_EQ(record->sourceTagFormat(), u"Module Tag"_s);
        EXPECT_EQ(record->trackTitle(), QLatin1String(title));
        EXPECT_EQ(record->grouping(), QLatin1String(tracker));
        EXPECT_EQ(record->bpm(), bpm);
        EXPECT_TRUE(record->trackComment().value_or(QString()).contains(u"comments"_s));
    }
}

} // namespace
