// sonabrik-cli converting files whose tags are hostile: names that try to
// leave the output folder or hide in it, control characters, invalid UTF-8,
// ten thousand characters, and covers that are huge or lie about their size.
// The outputs are looked at as files (where they are, how they are named)
// and with mutagen and ffprobe (what they hold).

#include "CliProgram.h"
#include "Encoding.h"
#include "Fixtures.h"
#include "Mutagen.h"
#include "TagDump.h"
#include "Tools.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QRegularExpression>
#include <functional>
#include <gtest/gtest.h>

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
    const ToolResult result = runTool(systemPython(), QStringList{hostileFiles()} + arguments);
    ASSERT_EQ(result.exitCode, 0) << result.standardError.toStdString();
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
        QDir().mkpath(in());
        const ToolResult made =
            runTool(u"sox"_s, {u"-D"_s, u"-n"_s, u"-r"_s, u"44100"_s, u"-c"_s, u"2"_s, u"-b"_s, u"16"_s,
                               in(name), u"synth"_s, u"0.5"_s, u"sine"_s, u"440"_s});
        EXPECT_EQ(made.exitCode, 0) << made.standardError.toStdString();
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

QStringList mp3sBelow(const QString& folder)
{
    return filesBelow(folder).filter(QRegularExpression(u"\\.mp3$"_s));
}

// The MP3 whose ID3v2 title is title, among the files below folder.
QString mp3Titled(const QString& folder, const QString& title)
{
    for (const QString& file : mp3sBelow(folder)) {
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

    const QStringList all = mp3sBelow(out());
    const QString fromWav =
        out(all.first() == QDir(out()).relativeFilePath(fromFlac) ? all.last() : all.first());
    const QJsonObject wavTags = mutagenTags(fromWav);
    EXPECT_EQ(id3v2Text(wavTags, u"TPE1"_s), u"/"_s);
    EXPECT_EQ(id3v2Text(wavTags, u"TALB"_s), u"/"_s.repeated(10000));
    // A title TagLib cannot decode is no title: the file's name stands in.
    EXPECT_EQ(id3v2Text(wavTags, u"TIT2"_s), u"hostile"_s);
    EXPECT_TRUE(fromWav.endsWith(u"/hostile.mp3"_s)) << fromWav.toStdString();
}

// What mutagen finds of the first APIC frame: its size and MD5, or nothing.
struct Cover
{
    qint64 size = -1;
    QByteArray md5;
};

Cover coverIn(const QString& mp3)
{
    const ToolResult read = runTool(
        systemPython(),
        {u"-c"_s,
         QStringLiteral("import hashlib, sys, mutagen.id3\n"
                        "frames = mutagen.id3.ID3(sys.argv[1]).getall('APIC')\n"
                        "if frames: print(len(frames[0].data), hashlib.md5(frames[0].data).hexdigest())\n"),
         mp3});
    EXPECT_EQ(read.exitCode, 0) << read.standardError.toStdString();
    const QList<QByteArray> fields = read.standardOutput.trimmed().split(' ');
    if (fields.size() != 2) {
        return {};
    }
    return {fields[0].toLongLong(), fields[1]};
}

QByteArray md5Of(const QString& path)
{
    return QCryptographicHash::hash(fileBytes(path), QCryptographicHash::Md5).toHex();
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
    // Makes in/cover.<ext> from the image in scratch/image, titled "Cover".
    std::function<void(CliHostileTags&, const QString& image)> make;
    std::function<void(const QString& image)> image;
    CoverOutcome outcome;
};

class CliHostileCover : public CliHostileTags, public ::testing::WithParamInterface<HostileCover>
{
};

void jpeg(const QString& path, int width, int height)
{
    const ToolResult made =
        runTool(u"ffmpeg"_s, {u"-v"_s, u"error"_s, u"-f"_s, u"lavfi"_s, u"-i"_s, u"color=red:s=16x16"_s,
                              u"-frames:v"_s, u"1"_s, u"-f"_s, u"mjpeg"_s, path});
    ASSERT_EQ(made.exitCode, 0) << made.standardError.toStdString();
    hostile({u"jpegsize"_s, path, QString::number(width), QString::number(height)});
}

auto flacWithPicture(const char* mime, int lengthDelta)
{
    return [=](CliHostileTags& t, const QString& image) {
        const QString flac = t.tone(u"cover.flac"_s);
        Mutagen::tag(flac, u"flac"_s, {entry(u"TITLE"_s, u"Cover"_s)});
        hostile({u"flacpicture"_s, flac, image, QLatin1String(mime), QString::number(lengthDelta)});
    };
}

auto wavWithAPIC(const char* mime, int sizeDelta)
{
    return [=](CliHostileTags& t, const QString& image) {
        const QString wav = t.tone(u"cover.wav"_s);
        QJsonObject picture{{u"apic"_s, image}, {u"mime"_s, QLatin1String(mime)}};
        Mutagen::tag(wav, u"wave"_s, {entry(u"TIT2"_s, u"Cover"_s), entry(u"APIC"_s, picture)});
        if (sizeDelta != 0) {
            hostile({u"apicsize"_s, wav, QString::number(sizeDelta)});
        }
    };
}

// A 50 MB cover is embedded: ID3v2 holds up to 256 MB, and the user's own
// image is what they expect in the file, however large. A cover whose tag
// says it runs past the tag are dropped, those that end early are cut where
// the tag says (the bytes after them are not the picture's to the reader);
// images whose header lies about their size are carried unchanged, as they
// are never decoded on their way. In every case the file converts whole,
// with its title.
const HostileCover kHostileCovers[] = {
    {"FiftyMegabytePNG", wavWithAPIC("image/png", 0), [](const QString& p) { png(p, 1, 1, 50 << 20); },
     CoverOutcome::Embedded},
    {"PNGWithLyingDimensions", flacWithPicture("image/png", 0),
     [](const QString& p) { png(p, 65535, 65535, 0); }, CoverOutcome::Embedded},
    {"JPEGWithLyingDimensions", flacWithPicture("image/jpeg", 0),
     [](const QString& p) { jpeg(p, 65000, 64000); }, CoverOutcome::Embedded},
    {"FLACPictureLongerThanItsBlock", flacWithPicture("image/png", 1000),
     [](const QString& p) { png(p, 16, 16, 200); }, CoverOutcome::Dropped},
    {"FLACPictureShorterThanItsBlock", flacWithPicture("image/png", -kShortBy),
     [](const QString& p) { png(p, 16, 16, 200); }, CoverOutcome::Cut},
    {"APICLongerThanItsTag", wavWithAPIC("image/png", 100000), [](const QString& p) { png(p, 16, 16, 200); },
     CoverOutcome::Dropped},
    {"APICShorterThanItsData", wavWithAPIC("image/png", -kShortBy),
     [](const QString& p) { png(p, 16, 16, 200); }, CoverOutcome::Cut},
};

TEST_P(CliHostileCover, TheFileConvertsWithItsTitle)
{
    const QString image = scratch.file(u"image"_s);
    GetParam().image(image);
    GetParam().make(*this, image);
    const CliProgram::Result result = convert({});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QStringList written = filesBelow(out());
    ASSERT_EQ(written.size(), 1) << written.join(u' ').toStdString();
    const QString mp3 = out(written.first());
    EXPECT_NEAR(probedDuration(mp3), 0.5, 0.06);
    EXPECT_EQ(id3v2Text(mutagenTags(mp3), u"TIT2"_s), u"Cover"_s);

    const Cover cover = coverIn(mp3);
    const QByteArray bytes = fileBytes(image);
    switch (GetParam().outcome) {
    case CoverOutcome::Embedded:
        EXPECT_EQ(cover.size, bytes.size());
        EXPECT_EQ(cover.md5, md5Of(image));
        break;
    case CoverOutcome::Dropped:
        EXPECT_EQ(cover.size, -1);
        break;
    case CoverOutcome::Cut:
        EXPECT_EQ(cover.size, bytes.size() - kShortBy);
        EXPECT_EQ(
            cover.md5,
            QCryptographicHash::hash(bytes.left(bytes.size() - kShortBy), QCryptographicHash::Md5).toHex());
        break;
    }
}

INSTANTIATE_TEST_SUITE_P(Covers, CliHostileCover, ::testing::ValuesIn(kHostileCovers),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
