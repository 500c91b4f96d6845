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
    hostile({QStringLiteral("png"), path, QString::number(width), QString::number(height),
             QString::number(padding)});
}

class CliHostileTags : public ::testing::Test
{
public:
    QString in(const QString& name = {}) const { return scratch.file(QStringLiteral("in/") + name); }
    QString out(const QString& name = {}) const { return scratch.file(QStringLiteral("out/") + name); }

    // Half a second of tone, as FLAC or WAV.
    QString tone(const QString& name) const
    {
        QDir().mkpath(in());
        const ToolResult made = runTool(
            QStringLiteral("sox"),
            {QStringLiteral("-D"), QStringLiteral("-n"), QStringLiteral("-r"), QStringLiteral("44100"),
             QStringLiteral("-c"), QStringLiteral("2"), QStringLiteral("-b"), QStringLiteral("16"), in(name),
             QStringLiteral("synth"), QStringLiteral("0.5"), QStringLiteral("sine"), QStringLiteral("440")});
        EXPECT_EQ(made.exitCode, 0) << made.standardError.toStdString();
        return in(name);
    }

protected:
    CliProgram::Result convert(const QStringList& options)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        const QString temporary = scratch.file(QStringLiteral("tmp"));
        QDir().mkpath(temporary);
        environment.insert(QStringLiteral("TMPDIR"), temporary);
        return CliProgram::run(QStringList{QStringLiteral("convert")} + options +
                                   QStringList{QStringLiteral("-o"), out(), in()},
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
        EXPECT_TRUE(file.startsWith(QStringLiteral("in/")) || file.startsWith(QStringLiteral("out/")) ||
                    file.startsWith(QStringLiteral("tmp/")) || file == QStringLiteral("cover.png"))
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
        if (name.endsWith(QStringLiteral(".png"))) {
            ++covers;
            EXPECT_EQ(fileBytes(path), cover) << path.toStdString();
        } else {
            ++mp3s;
            EXPECT_TRUE(name.endsWith(QStringLiteral(".mp3"))) << path.toStdString();
            EXPECT_NEAR(probedDuration(path), 0.5, 0.06) << path.toStdString();
        }
    }
    EXPECT_EQ(mp3s, expectedMP3s);
    EXPECT_EQ(covers, cover.isEmpty() ? 0 : 1);
}

QStringList mp3sBelow(const QString& folder)
{
    return filesBelow(folder).filter(QRegularExpression(QStringLiteral("\\.mp3$")));
}

// The MP3 whose ID3v2 title is title, among the files below folder.
QString mp3Titled(const QString& folder, const QString& title)
{
    for (const QString& file : mp3sBelow(folder)) {
        if (id3v2Text(mutagenTags(folder + u'/' + file), QStringLiteral("TIT2")) == title) {
            return folder + u'/' + file;
        }
    }
    return QString();
}

TEST_F(CliHostileTags, NamesStayInsideAndVisibleAndTheTagsSurviveWhole)
{
    const QString longComposer = QStringLiteral("Ünïcödé ").repeated(1250); // 10,000 characters
    const QString controls = QStringLiteral("line\nbreak\ttab\x01start del\x7f");
    const QString flac = tone(QStringLiteral("hostile.flac"));
    Mutagen::tag(flac, QStringLiteral("flac"),
                 {entry(QStringLiteral("TITLE"), QStringLiteral("../../escape")),
                  entry(QStringLiteral("ARTIST"), QStringLiteral(".hidden")),
                  entry(QStringLiteral("ALBUMARTIST"), QStringLiteral("..")),
                  entry(QStringLiteral("ALBUM"), QStringLiteral("...And Justice for All")),
                  entry(QStringLiteral("GENRE"), controls), entry(QStringLiteral("COMPOSER"), longComposer),
                  entry(QStringLiteral("GROUPING"), QStringLiteral("QQQQ")),
                  entry(QStringLiteral("ISRC"), QStringLiteral("RRRR"))});
    // Its cover is saved beside the MP3 too, named by its album.
    const QString cover = scratch.file(QStringLiteral("cover.png"));
    png(cover, 16, 16, 0);
    hostile({QStringLiteral("flacpicture"), flac, cover, QStringLiteral("image/png"), QStringLiteral("0")});
    prefs.set(QStringLiteral("saveAlbumArtworkToFile"), true);
    prefs.set(QStringLiteral("albumArtworkFileName"), QStringLiteral("{albumTitle}"));
    // Raw bytes where a tag writer would only write valid text: invalid
    // UTF-8 in one comment, a NUL in another.
    hostile({QStringLiteral("replace"), flac, hex("GROUPING=QQQQ"), hex("GROUPING=\xff\xfe\xc3(")});
    hostile({QStringLiteral("replace"), flac, hex("ISRC=RRRR"), hex(QByteArray("ISRC=R\0/R", 9))});

    const QString wav = tone(QStringLiteral("hostile.wav"));
    Mutagen::tag(wav, QStringLiteral("wave"),
                 {entry(QStringLiteral("TIT2"), QStringLiteral("SSSS")),
                  entry(QStringLiteral("TPE1"), QStringLiteral("/")),
                  entry(QStringLiteral("TPE2"), QStringLiteral(".")),
                  entry(QStringLiteral("TALB"), QStringLiteral("/").repeated(10000))});
    hostile({QStringLiteral("replace"), wav, hex("SSSS"), hex("\xed\xa0\x80S")}); // a UTF-8 surrogate

    const QString scheme = QStringLiteral(
        "{albumArtist}/{albumTitle}/{trackArtist}/{genre} {grouping} {ISRC}/{composer}/{trackTitle}");
    const CliProgram::Result result = convert({QStringLiteral("-n"), scheme});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString() << result.out.toStdString();
    EXPECT_TRUE(result.out.contains(QStringLiteral("2 of 2 files written."))) << result.out.toStdString();
    expectVisibleNamesInside(scratch.path(), out(), 2, fileBytes(cover));

    // The names were made safe; the tags keep every character.
    const QString fromFlac = mp3Titled(out(), QStringLiteral("../../escape"));
    ASSERT_FALSE(fromFlac.isEmpty()) << filesBelow(out()).join(u'\n').toStdString();
    const QJsonObject tags = mutagenTags(fromFlac);
    EXPECT_EQ(id3v2Text(tags, QStringLiteral("TPE1")), QStringLiteral(".hidden"));
    EXPECT_EQ(id3v2Text(tags, QStringLiteral("TPE2")), QStringLiteral(".."));
    EXPECT_EQ(id3v2Text(tags, QStringLiteral("TALB")), QStringLiteral("...And Justice for All"));
    EXPECT_EQ(id3v2Text(tags, QStringLiteral("TCON")), controls);
    EXPECT_EQ(id3v2Text(tags, QStringLiteral("TCOM")), longComposer);
    // TagLib reads a comment up to a NUL, and drops one that is not UTF-8.
    EXPECT_EQ(id3v2Text(tags, QStringLiteral("TSRC")), QStringLiteral("R"));
    EXPECT_EQ(id3v2Text(tags, QStringLiteral("TIT1")), QString());

    const QStringList all = mp3sBelow(out());
    const QString fromWav =
        out(all.first() == QDir(out()).relativeFilePath(fromFlac) ? all.last() : all.first());
    const QJsonObject wavTags = mutagenTags(fromWav);
    EXPECT_EQ(id3v2Text(wavTags, QStringLiteral("TPE1")), QStringLiteral("/"));
    EXPECT_EQ(id3v2Text(wavTags, QStringLiteral("TALB")), QStringLiteral("/").repeated(10000));
    // A title TagLib cannot decode is no title: the file's name stands in.
    EXPECT_EQ(id3v2Text(wavTags, QStringLiteral("TIT2")), QStringLiteral("hostile"));
    EXPECT_TRUE(fromWav.endsWith(QStringLiteral("/hostile.mp3"))) << fromWav.toStdString();
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
        {QStringLiteral("-c"),
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
        runTool(QStringLiteral("ffmpeg"),
                {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-f"), QStringLiteral("lavfi"),
                 QStringLiteral("-i"), QStringLiteral("color=red:s=16x16"), QStringLiteral("-frames:v"),
                 QStringLiteral("1"), QStringLiteral("-f"), QStringLiteral("mjpeg"), path});
    ASSERT_EQ(made.exitCode, 0) << made.standardError.toStdString();
    hostile({QStringLiteral("jpegsize"), path, QString::number(width), QString::number(height)});
}

auto flacWithPicture(const char* mime, int lengthDelta)
{
    return [=](CliHostileTags& t, const QString& image) {
        const QString flac = t.tone(QStringLiteral("cover.flac"));
        Mutagen::tag(flac, QStringLiteral("flac"), {entry(QStringLiteral("TITLE"), QStringLiteral("Cover"))});
        hostile(
            {QStringLiteral("flacpicture"), flac, image, QLatin1String(mime), QString::number(lengthDelta)});
    };
}

auto wavWithAPIC(const char* mime, int sizeDelta)
{
    return [=](CliHostileTags& t, const QString& image) {
        const QString wav = t.tone(QStringLiteral("cover.wav"));
        QJsonObject picture{{QStringLiteral("apic"), image}, {QStringLiteral("mime"), QLatin1String(mime)}};
        Mutagen::tag(
            wav, QStringLiteral("wave"),
            {entry(QStringLiteral("TIT2"), QStringLiteral("Cover")), entry(QStringLiteral("APIC"), picture)});
        if (sizeDelta != 0) {
            hostile({QStringLiteral("apicsize"), wav, QString::number(sizeDelta)});
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
    const QString image = scratch.file(QStringLiteral("image"));
    GetParam().image(image);
    GetParam().make(*this, image);
    const CliProgram::Result result = convert({});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QStringList written = filesBelow(out());
    ASSERT_EQ(written.size(), 1) << written.join(u' ').toStdString();
    const QString mp3 = out(written.first());
    EXPECT_NEAR(probedDuration(mp3), 0.5, 0.06);
    EXPECT_EQ(id3v2Text(mutagenTags(mp3), QStringLiteral("TIT2")), QStringLiteral("Cover"));

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
