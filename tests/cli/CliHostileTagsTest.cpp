// sonabrik-cli converting files whose tags are hostile: names that try to
// leave the output folder or hide in it, control characters, invalid UTF-8,
// ten thousand characters, and covers that are huge or lie about their size.

#include "CliTestKit.h"
#include "Encoding.h"
#include "Mutagen.h"
#include "TagDump.h"

#include <QCryptographicHash>
#include <QDirIterator>
#include <QRegularExpression>
#include <functional>

using namespace Qt::StringLiterals;

namespace {

using CliProgram::filesBelow;
using CliProgram::probedDuration;
using Mutagen::entry;

QString hostileFiles()
{
    return QStringLiteral(SONABRIK_SOURCE_DIR "/tests/support/hostile_files.py");
}

void hostile(const QStringList& arguments)
{
    CliTestKit::mustRun(systemPython(), QStringList{hostileFiles()} + arguments);
}

QString hex(const QByteArray& bytes)
{
    return QString::fromLatin1(bytes.toHex());
}

void png(const QString& path, int width, int height, qint64 padding)
{
    hostile({u"png"_s, path, QString::number(width), QString::number(height), QString::number(padding)});
}

class CliHostileTags : public ::testing::Test
{
public:
    QString in(const QString& name = {}) const { return scratch.file(u"in/"_s + name); }
    QString out(const QString& name = {}) const { return scratch.file(u"out/"_s + name); }

    // Half a second of tone, as FLAC or WAV.
    QString tone(const QString& name) const
    {
        CliTestKit::synth(in(name), 0.5, {u"sine"_s, u"440"_s});
        return in(name);
    }

protected:
    CliProgram::Result convert(const QStringList& options)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        const QString temporary = scratch.file(u"tmp"_s);
        QDir().mkpath(temporary);
        environment.insert(u"TMPDIR"_s, temporary);
        return CliProgram::run(QStringList{u"convert"_s} + options + QStringList{u"-o"_s, out(), in()},
                               environment);
    }

    PreferencesScope prefs;
    ScratchDir scratch;
};

// Every folder and file the run made is inside the output folder, visible,
// and has a name the file system takes; the MP3s are whole.
void expectVisibleNamesInside(const QString& scratchFolder, const QString& outFolder, int expectedMP3s,
                              const QByteArray& cover)
{
    for (const QString& file : filesBelow(scratchFolder)) {
        EXPECT_TRUE(file.startsWith(u"in/"_s) || file.startsWith(u"out/"_s) || file.startsWith(u"tmp/"_s) ||
                    file == u"cover.png"_s)
            << "written outside the output folder: " << file.toStdString();
    }
    const QString outside = QFileInfo(outFolder).canonicalFilePath() + u'/';
    QDirIterator walk(outFolder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                      QDirIterator::Subdirectories);
    int mp3s = 0;
    int covers = 0;
    while (walk.hasNext()) {
        const QString path = walk.next();
        const QString name = walk.fileName();
        EXPECT_TRUE(QFileInfo(path).canonicalFilePath().startsWith(outside)) << path.toStdString();
        EXPECT_FALSE(name.startsWith(u'.')) << "hidden: " << path.toStdString();
        EXPECT_LE(QFile::encodeName(name).size(), 255) << path.toStdString();
        if (!walk.fileInfo().isFile()) {
            continue;
        }
        if (name.endsWith(u".png"_s)) {
            ++covers;
            EXPECT_EQ(fileBytes(path), cover) << path.toStdString();
        } else {
            ++mp3s;
            EXPECT_TRUE(name.endsWith(u".mp3"_s)) << path.toStdString();
            EXPECT_NEAR(probedDuration(path), 0.5, 0.06) << path.toStdString();
        }
    }
    EXPECT_EQ(mp3s, expectedMP3s);
    EXPECT_EQ(covers, cover.isEmpty() ? 0 : 1);
}

// The MP3 whose ID3v2 title is title, among the files below folder.
QString mp3Titled(const QString& folder, const QString& title)
{
    for (const QString& file : filesBelow(folder).filter(QRegularExpression(u"\\.mp3$"_s))) {
        if (id3v2Text(mutagenTags(folder + u'/' + file), u"TIT2"_s) == title) {
            return folder + u'/' + file;
        }
    }
    return QString();
}

TEST_F(CliHostileTags, NamesStayInsideAndVisibleAndTheTagsSurviveWhole)
{
    const QString longComposer = u"Ünïcödé "_s.repeated(1250); // 10,000 characters
    const QString controls = u"line\nbreak\ttab\x01start del\x7f"_s;
    const QString flac = tone(u"hostile.flac"_s);
    Mutagen::tag(flac, u"flac"_s,
                 {entry(u"TITLE"_s, u"../../escape"_s), entry(u"ARTIST"_s, u".hidden"_s),
                  entry(u"ALBUMARTIST"_s, u".."_s), entry(u"ALBUM"_s, u"...And Justice for All"_s),
                  entry(u"GENRE"_s, controls), entry(u"COMPOSER"_s, longComposer),
                  entry(u"GROUPING"_s, u"QQQQ"_s), entry(u"ISRC"_s, u"RRRR"_s)});
    // Its cover is saved beside the MP3 too, named by its album.
    const QString cover = scratch.file(u"cover.png"_s);
    png(cover, 16, 16, 0);
    hostile({u"flacpicture"_s, flac, cover, u"image/png"_s, u"0"_s});
    prefs.set(u"saveAlbumArtworkToFile"_s, true);
    prefs.set(u"albumArtworkFileName"_s, u"{albumTitle}"_s);
    // Raw bytes where a tag writer would only write valid text: invalid
    // UTF-8 in one comment, a NUL in another.
    hostile({u"replace"_s, flac, hex("GROUPING=QQQQ"), hex("GROUPING=\xff\xfe\xc3(")});
    hostile({u"replace"_s, flac, hex("ISRC=RRRR"), hex(QByteArray("ISRC=R\0/R", 9))});

    const QString wav = tone(u"hostile.wav"_s);
    Mutagen::tag(wav, u"wave"_s,
                 {entry(u"TIT2"_s, u"SSSS"_s), entry(u"TPE1"_s, u"/"_s), entry(u"TPE2"_s, u"."_s),
                  entry(u"TALB"_s, u"/"_s.repeated(10000))});
    hostile({u"replace"_s, wav, hex("SSSS"), hex("\xed\xa0\x80S")}); // a UTF-8 surrogate

    const QString scheme = QStringLiteral(
        "{albumArtist}/{albumTitle}/{trackArtist}/{genre} {grouping} {ISRC}/{composer}/{trackTitle}");
    const CliProgram::Result result = convert({u"-n"_s, scheme});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString() << result.out.toStdString();
    EXPECT_TRUE(result.out.contains(u"2 of 2 files written."_s)) << result.out.toStdString();
    expectVisibleNamesInside(scratch.path(), out(), 2, fileBytes(cover));

    // The names were made safe; the tags keep every character.
    const QString fromFlac = mp3Titled(out(), u"../../escape"_s);
    ASSERT_FALSE(fromFlac.isEmpty()) << filesBelow(out()).join(u'\n').toStdString();
    const QJsonObject tags = mutagenTags(fromFlac);
    EXPECT_EQ(id3v2Text(tags, u"TPE1"_s), u".hidden"_s);
    EXPECT_EQ(id3v2Text(tags, u"TPE2"_s), u".."_s);
    EXPECT_EQ(id3v2Text(tags, u"TALB"_s), u"...And Justice for All"_s);
    EXPECT_EQ(id3v2Text(tags, u"TCON"_s), controls);
    EXPECT_EQ(id3v2Text(tags, u"TCOM"_s), longComposer);
    // TagLib reads a comment up to a NUL, and drops one that is not UTF-8.
    EXPECT_EQ(id3v2Text(tags, u"TSRC"_s), u"R"_s);
    EXPECT_EQ(id3v2Text(tags, u"TIT1"_s), QString());

    // A title TagLib cannot decode is no title: the file's name stands in.
    const QString fromWav = mp3Titled(out(), u"hostile"_s);
    const QJsonObject wavTags = mutagenTags(fromWav);
    EXPECT_EQ(id3v2Text(wavTags, u"TPE1"_s), u"/"_s);
    EXPECT_EQ(id3v2Text(wavTags, u"TALB"_s), u"/"_s.repeated(10000));
    EXPECT_TRUE(fromWav.endsWith(u"/hostile.mp3"_s)) << fromWav.toStdString();
}

// What mutagen finds of the title and the first APIC frame (its size and
// MD5, or -1), read without dumping the picture.
struct Cover
{
    QString title;
    qint64 size = -1;
    QByteArray md5;
};

Cover coverIn(const QString& mp3)
{
    const ToolResult read = runTool(
        systemPython(),
        {u"-c"_s,
         QStringLiteral("import hashlib, sys, mutagen.id3\n"
                        "tags = mutagen.id3.ID3(sys.argv[1])\n"
                        "frames = tags.getall('APIC')\n"
                        "print(tags.get('TIT2', ''))\n"
                        "if frames: print(len(frames[0].data), hashlib.md5(frames[0].data).hexdigest())\n"),
         mp3});
    EXPECT_EQ(read.exitCode, 0) << read.standardError.toStdString();
    const QList<QByteArray> lines = read.standardOutput.trimmed().split('\n');
    const QList<QByteArray> fields = lines.value(1).split(' ');
    if (fields.size() != 2) {
        return {QString::fromUtf8(lines.value(0)), -1, {}};
    }
    return {QString::fromUtf8(lines.value(0)), fields[0].toLongLong(), fields[1]};
}

enum class CoverOutcome
{
    Embedded, // the image's bytes, unchanged
    Dropped,  // no cover, the rest of the tags read
    Cut,      // as many of the image's bytes as the tag said: kShortBy fewer
};
constexpr int kShortBy = 100;

struct HostileCover
{
    const char* name;
    // Makes in/<name>.<ext> titled name, with the image at image.
    std::function<void(CliHostileTags&, const QString& name, const QString& image)> make;
    std::function<void(const QString& image)> image;
    CoverOutcome outcome;
};

auto flacWithPicture(int lengthDelta)
{
    return [=](CliHostileTags& t, const QString& name, const QString& image) {
        const QString flac = t.tone(name + u".flac"_s);
        Mutagen::tag(flac, u"flac"_s, {entry(u"TITLE"_s, name)});
        hostile({u"flacpicture"_s, flac, image, u"image/png"_s, QString::number(lengthDelta)});
    };
}

auto wavWithAPIC(int sizeDelta)
{
    return [=](CliHostileTags& t, const QString& name, const QString& image) {
        const QString wav = t.tone(name + u".wav"_s);
        QJsonObject picture{{u"apic"_s, image}, {u"mime"_s, u"image/png"_s}};
        Mutagen::tag(wav, u"wave"_s, {entry(u"TIT2"_s, name), entry(u"APIC"_s, picture)});
        if (sizeDelta != 0) {
            hostile({u"apicsize"_s, wav, QString::number(sizeDelta)});
        }
    };
}

// A cover larger than the 16 MB chunks the WAV reader keeps is embedded
// whole: it is the user's own image, and ID3v2 holds 256 MB. A cover whose
// tag says it runs past the tag is dropped, one that ends early is cut where
// the tag says; an image whose header lies about its size is carried
// unchanged, never decoded on its way.
const HostileCover kHostileCovers[] = {
    {"LargePNG", wavWithAPIC(0), [](const QString& p) { png(p, 1, 1, 17 << 20); }, CoverOutcome::Embedded},
    {"PNGWithLyingDimensions", flacWithPicture(0), [](const QString& p) { png(p, 65535, 65535, 0); },
     CoverOutcome::Embedded},
    {"FLACPictureLongerThanItsBlock", flacWithPicture(1000), [](const QString& p) { png(p, 16, 16, 200); },
     CoverOutcome::Dropped},
    {"FLACPictureShorterThanItsBlock", flacWithPicture(-kShortBy),
     [](const QString& p) { png(p, 16, 16, 200); }, CoverOutcome::Cut},
    {"ID3PictureLongerThanItsTag", wavWithAPIC(100000), [](const QString& p) { png(p, 16, 16, 200); },
     CoverOutcome::Dropped},
    {"ID3PictureShorterThanItsData", wavWithAPIC(-kShortBy), [](const QString& p) { png(p, 16, 16, 200); },
     CoverOutcome::Cut},
};

// All in one run: every file converts whole, with its title (which must not
// hold "APIC", the bytes the tag is patched at).
TEST_F(CliHostileTags, HostileCoversAreEmbeddedCutOrDropped)
{
    for (const HostileCover& row : kHostileCovers) {
        const QString name = QLatin1String(row.name);
        row.image(scratch.file(name + u".png"_s));
        row.make(*this, name, scratch.file(name + u".png"_s));
    }
    const CliProgram::Result result = convert({});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(filesBelow(out()).size(), std::size(kHostileCovers))
        << filesBelow(out()).join(u' ').toStdString();
    for (const HostileCover& row : kHostileCovers) {
        SCOPED_TRACE(row.name);
        const QString mp3 = out(QLatin1String(row.name) + u".mp3"_s);
        EXPECT_NEAR(probedDuration(mp3), 0.5, 0.06);
        const Cover cover = coverIn(mp3);
        EXPECT_EQ(cover.title, QLatin1String(row.name));
        QByteArray bytes = fileBytes(scratch.file(QLatin1String(row.name) + u".png"_s));
        if (row.outcome == CoverOutcome::Cut) {
            bytes.chop(kShortBy);
        }
        EXPECT_EQ(cover.size, row.outcome == CoverOutcome::Dropped ? -1 : bytes.size());
        if (row.outcome != CoverOutcome::Dropped) {
            EXPECT_EQ(cover.md5, QCryptographicHash::hash(bytes, QCryptographicHash::Md5).toHex());
        }
    }
}

} // namespace
