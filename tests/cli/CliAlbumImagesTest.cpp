// Album images split by their cue sheets, through sonabrik-cli: sox tones
// whose lengths are not whole seconds, with the sheet beside the image (in
// UTF-8, Windows-1252 and UTF-16), inside the FLAC file as a CUESHEET block
// and as a comment. The track MP3s, decoded with their LAME Info frames
// honoured, join to exactly the image's samples, and mutagen reads each
// track's tags. Sheets with several files, pregaps and a hidden track, and
// every kind of broken sheet, are converted beside good ones.

#include "CliProgram.h"
#include "Fixtures.h"
#include "Mutagen.h"
#include "Tools.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QStringConverter>
#include <gtest/gtest.h>

namespace {

using CliProgram::filesBelow;

void run(const QString& program, const QStringList& arguments)
{
    const ToolResult result = runTool(program, arguments);
    ASSERT_EQ(result.exitCode, 0) << program.toStdString() << ": " << result.standardError.toStdString();
}

// A stereo tone of seconds at rate, as WAV or (by the name) FLAC.
void makeTone(const QString& path, const char* seconds, int rate = 44100)
{
    run(QStringLiteral("sox"),
        {QStringLiteral("-D"), QStringLiteral("-n"), QStringLiteral("-r"), QString::number(rate),
         QStringLiteral("-c"), QStringLiteral("2"), QStringLiteral("-b"), QStringLiteral("16"), path,
         QStringLiteral("synth"), QLatin1String(seconds), QStringLiteral("sine"), QStringLiteral("300-900")});
}

// Frames of an MP3 decoded by ffmpeg, which drops the encoder delay and
// padding its Info frame states.
qint64 decodedFrames(const QString& path)
{
    const ToolResult result = runTool(
        QStringLiteral("ffmpeg"), {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"), path,
                                   QStringLiteral("-f"), QStringLiteral("s16le"), QStringLiteral("-")});
    EXPECT_EQ(result.exitCode, 0) << result.standardError.toStdString();
    return result.standardOutput.size() / 4;
}

void write(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

QByteArray encoded(const QString& text, QStringConverter::Encoding encoding)
{
    QStringEncoder encoder(encoding, QStringConverter::Flag::WriteBom);
    return encoder.encode(text);
}

// Three tracks of an image of 20.37 s; track 2 has a pregap, which plays at
// the end of track 1.
const QString kSheet =
    QStringLiteral("REM GENRE \"Musique concr\u00E8te\"\n"
                   "REM DATE 1999-03-02\n"
                   "REM DISCNUMBER 2\n"
                   "REM TOTALDISCS 3\n"
                   "PERFORMER \"L\u00E9a & Co\"\n"
                   "TITLE \"Caf\u00E9 \u00C9t\u00E9\"\n"
                   "FILE \"Image.wav\" WAVE\n"
                   "  TRACK 01 AUDIO\n    TITLE \"Un\"\n    INDEX 01 00:00:00\n"
                   "  TRACK 02 AUDIO\n    TITLE \"Deux/Zwei\"\n    PERFORMER \"Invit\u00E9e\"\n"
                   "    SONGWRITER \"Auteur\"\n    ISRC FRZ039900212\n"
                   "    INDEX 00 00:05:00\n    INDEX 01 00:07:10\n"
                   "  TRACK 03 AUDIO\n    TITLE \"Trois\"\n    INDEX 01 00:12:40\n");
constexpr qint64 kImageFrames = 898317; // 20.37 s at 44.1 kHz
constexpr qint64 kSecondTrackStart = (7 * 75 + 10) * 588;

struct Placement
{
    const char* name;
    // Writes the image (and its sheet) into folder; gives what to convert.
    QString (*make)(const QString& folder);
    bool titled; // whether the sheet's texts reach the tracks
};

QString besideInUtf8(const QString& folder)
{
    makeTone(folder + QStringLiteral("/Image.flac"), "20.37");
    write(folder + QStringLiteral("/Image.cue"), kSheet.toUtf8());
    return folder + QStringLiteral("/Image.cue");
}

QString besideInWindows1252(const QString& folder)
{
    makeTone(folder + QStringLiteral("/Image.flac"), "20.37");
    write(folder + QStringLiteral("/Other name.cue"), encoded(kSheet, QStringConverter::Latin1));
    return folder; // the folder: the sheet is found, the image queued once
}

QString besideInUtf16(const QString& folder)
{
    makeTone(folder + QStringLiteral("/Image.wav"), "20.37");
    write(folder + QStringLiteral("/Image.cue"), encoded(kSheet, QStringConverter::Utf16LE));
    return folder + QStringLiteral("/Image.wav"); // the image: its sheet is beside it
}

QString insideAsBlock(const QString& folder)
{
    makeTone(folder + QStringLiteral("/Image.wav"), "20.37");
    write(folder + QStringLiteral("/sheet.txt"), kSheet.toUtf8());
    run(QStringLiteral("flac"),
        {QStringLiteral("-s"), QStringLiteral("--cuesheet"), folder + QStringLiteral("/sheet.txt"),
         QStringLiteral("-o"), folder + QStringLiteral("/Image.flac"),
         folder + QStringLiteral("/Image.wav")});
    QFile::remove(folder + QStringLiteral("/Image.wav"));
    return folder + QStringLiteral("/Image.flac");
}

QString insideAsComment(const QString& folder)
{
    makeTone(folder + QStringLiteral("/Image.flac"), "20.37");
    Mutagen::tag(folder + QStringLiteral("/Image.flac"), QStringLiteral("flac"),
                 {Mutagen::entry(QStringLiteral("CUESHEET"), kSheet)});
    return folder + QStringLiteral("/Image.flac");
}

class AlbumImages : public testing::TestWithParam<Placement>
{
protected:
    CliProgram::Result convert(const QStringList& paths)
    {
        QDir().mkpath(scratch.file(QStringLiteral("home")));
        QDir().mkpath(scratch.file(QStringLiteral("tmp")));
        return CliProgram::run(QStringList{QStringLiteral("convert"), QStringLiteral("-f"),
                                           QStringLiteral("cbr:128"), QStringLiteral("-o"),
                                           scratch.file(QStringLiteral("out"))} +
                                   paths,
                               environment());
    }
    QProcessEnvironment environment() const
    {
        return CliProgram::isolatedEnvironment(scratch.file(QStringLiteral("home")),
                                               scratch.file(QStringLiteral("tmp")));
    }
    ScratchDir scratch;
};

TEST_P(AlbumImages, SplitIntoTaggedTracksThatJoinToTheImage)
{
    const Placement& placement = GetParam();
    QDir().mkpath(scratch.file(QStringLiteral("in")));
    const QString given = placement.make(scratch.file(QStringLiteral("in")));
    ASSERT_FALSE(HasFatalFailure());

    const CliProgram::Result result = convert({given});
    ASSERT_EQ(result.exitCode, 0) << result.out.toStdString() << result.err.toStdString();
    EXPECT_TRUE(result.out.contains(QStringLiteral("3 of 3 files written.")));
    QStringList outputs = filesBelow(scratch.file(QStringLiteral("out")));
    outputs.sort();
    const QStringList expected = placement.titled
                                     ? QStringList{"01 - Un.mp3", "02 - Deux_Zwei.mp3", "03 - Trois.mp3"}
                                     : QStringList{"Image - 01.mp3", "Image - 02.mp3", "Image - 03.mp3"};
    ASSERT_EQ(outputs, expected);

    qint64 joined = 0;
    for (const QString& name : outputs) {
        joined += decodedFrames(scratch.file(QStringLiteral("out/") + name));
    }
    EXPECT_EQ(joined, kImageFrames);
    EXPECT_EQ(decodedFrames(scratch.file(QStringLiteral("out/") + outputs[0])), kSecondTrackStart);

    const QJsonObject second = Mutagen::dump(scratch.file(QStringLiteral("out/") + outputs[1]));
    EXPECT_EQ(second.value("TRCK").toArray().first().toString(), QStringLiteral("2/3"));
    if (placement.titled) {
        const std::map<const char*, QString> tags{{"TIT2", "Deux/Zwei"},
                                                  {"TPE1", "Invit\u00E9e"},
                                                  {"TPE2", "L\u00E9a & Co"},
                                                  {"TALB", "Caf\u00E9 \u00C9t\u00E9"},
                                                  {"TCOM", "Auteur"},
                                                  {"TSRC", "FRZ039900212"},
                                                  {"TCON", "Musique concr\u00E8te"},
                                                  {"TPOS", "2/3"},
                                                  {"TDRC", "1999"}};
        for (const auto& [key, value] : tags) {
            EXPECT_EQ(second.value(QLatin1String(key)).toArray().first().toString(), value) << key;
        }
        const QJsonObject first = Mutagen::dump(scratch.file(QStringLiteral("out/") + outputs[0]));
        EXPECT_EQ(first.value("TPE1").toArray().first().toString(), QStringLiteral("L\u00E9a & Co"));
    }

    // info --json: one object per track, with its span in samples.
    const QString infoPath = QFileInfo(given).isDir() ? given + QStringLiteral("/Other name.cue") : given;
    const CliProgram::Result info =
        CliProgram::run({QStringLiteral("info"), QStringLiteral("--json"), infoPath}, environment());
    const QStringList lines = info.out.trimmed().split(u'\n');
    ASSERT_EQ(lines.size(), 3) << info.out.toStdString();
    const QJsonObject described = QJsonDocument::fromJson(lines[1].toUtf8()).object();
    EXPECT_EQ(described.value("start").toInteger(), kSecondTrackStart);
    EXPECT_EQ(described.value("length").toInteger(), (12 * 75 + 40) * 588 - kSecondTrackStart);
    EXPECT_EQ(described.value("trackNumber").toInt(), 2);
}

INSTANTIATE_TEST_SUITE_P(Sheets, AlbumImages,
                         testing::Values(Placement{"BesideInUtf8", besideInUtf8, true},
                                         Placement{"BesideInWindows1252", besideInWindows1252, true},
                                         Placement{"BesideInUtf16", besideInUtf16, true},
                                         Placement{"InsideAsBlock", insideAsBlock, false},
                                         Placement{"InsideAsComment", insideAsComment, true}),
                         [](const auto& info) { return std::string(info.param.name); });

// Two FILEs, a hidden track before track 1, a pregap in each file, and next
// to them sheets that are broken in every way: the good tracks convert, each
// fault gets one error-log line naming its sheet.
TEST_F(AlbumImages, SeveralFilesGapsAndBrokenSheets)
{
    const QString in = scratch.file(QStringLiteral("in"));
    QDir().mkpath(in);
    makeTone(in + QStringLiteral("/a.flac"), "6.5");
    makeTone(in + QStringLiteral("/b.wav"), "3.1", 48000);
    write(in + QStringLiteral("/two.cue"), "FILE \"a.wav\" WAVE\n" // found as a.flac
                                           " TRACK 01 AUDIO\n  INDEX 01 00:01:00\n"
                                           " TRACK 02 AUDIO\n  INDEX 00 00:03:00\n  INDEX 01 00:04:00\n"
                                           "FILE \"b.wav\" WAVE\n"
                                           " TRACK 03 AUDIO\n  INDEX 00 00:00:00\n  INDEX 01 00:01:00\n");
    makeTone(in + QStringLiteral("/c.wav"), "4");
    write(in + QStringLiteral("/c.cue"), "FILE \"c.wav\" WAVE\n"
                                         " TRACK 01 AUDIO\n  INDEX 01 00:00:00\n"
                                         " TRACK 02 AUDIO\n  INDEX 01 00:03:00\n"
                                         " TRACK 03 AUDIO\n  INDEX 01 00:02:00\n"
                                         " TRACK 04 AUDIO\n  INDEX 01 00:02:37\n"
                                         " TRACK 05 AUDIO\n  INDEX 01 00:09:00\n");
    makeTone(in + QStringLiteral("/d.wav"), "1");
    write(in + QStringLiteral("/d.cue"), "FILE \"d.wav\" WAVE\n"
                                         " TRACK 01 AUDIO\n  INDEX 01 00:00:00\n"
                                         " TRACK 02 AUDIO\n  INDEX 01 00:00:00\n");
    write(in + QStringLiteral("/missing.cue"),
          "FILE \"gone.flac\" WAVE\n TRACK 01 AUDIO\n  INDEX 01 00:00:00\n");
    write(in + QStringLiteral("/notes.cue"), "Just some notes about the album.\n");

    const CliProgram::Result result = convert({in});
    const std::string output = (result.out + result.err).toStdString();
    QStringList outputs = filesBelow(scratch.file(QStringLiteral("out")));
    outputs.sort();
    // two.cue: 3 tracks; c.cue: tracks 1 and 3 (track 3 starts before 2,
    // 4 and 5 run past the end); d.cue: track 2 (track 1 is empty).
    ASSERT_EQ(outputs, (QStringList{"a - 01.mp3", "a - 02.mp3", "b - 03.mp3", "c - 01.mp3", "c - 03.mp3",
                                    "d - 02.mp3"}))
        << output;
    // Track 1 from 1 s to track 2's INDEX 01 at 4 s; track 2 to the end.
    EXPECT_EQ(decodedFrames(scratch.file(QStringLiteral("out/a - 01.mp3"))), 132300);
    EXPECT_EQ(decodedFrames(scratch.file(QStringLiteral("out/a - 02.mp3"))), 286650 - 176400);
    // Track 3 is all of b.wav, its gap included.
    EXPECT_EQ(decodedFrames(scratch.file(QStringLiteral("out/b - 03.mp3"))), 148800);

    const QString log = result.err;
    const auto logged = [&](const QString& sheet, const QString& words) {
        return log.contains(QStringLiteral("Cue Sheet: %1/%2.  Error: %3").arg(in, sheet, words));
    };
    EXPECT_TRUE(logged("two.cue", "the 0:01.0 before track 1 (a hidden track) are left out")) << output;
    EXPECT_TRUE(logged("c.cue", "the index of track 3 runs backwards")) << output;
    EXPECT_TRUE(logged("c.cue", "track 4 runs past the end of c.wav")) << output;
    EXPECT_TRUE(logged("c.cue", "track 5 runs past the end of c.wav")) << output;
    EXPECT_TRUE(logged("d.cue", "track 1 has no length")) << output;
    EXPECT_TRUE(logged("missing.cue", "the file it names is missing: " + in + "/gone.flac")) << output;
    EXPECT_TRUE(logged("notes.cue", "Not a cue sheet")) << output;
}

} // namespace
