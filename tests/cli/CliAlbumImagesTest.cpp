// Album images split by their cue sheets, through sonabrik-cli: the sheet
// beside the image (in UTF-8, Windows-1252 and UTF-16), inside the FLAC file
// as a CUESHEET block and as a comment. The track MP3s, decoded with their
// LAME Info frames honoured, join to exactly the image's samples, and carry
// their tracks' tags. Several files, pregaps, a hidden track and every kind
// of broken sheet beside good ones.

#include "CliTestKit.h"
#include "Mutagen.h"

#include <QJsonDocument>
#include <QStringConverter>

using namespace Qt::StringLiterals;

namespace {

using CliProgram::filesBelow;

void makeTone(const QString& path, double seconds, int rate = 44100)
{
    CliTestKit::synth(path, seconds, {u"sine"_s, u"300-900"_s}, rate);
}

// Frames of an MP3 as ffmpeg decodes it, the Info frame's delay and padding dropped.
qint64 decodedFrames(const QString& path)
{
    const ToolResult result =
        runTool(u"ffmpeg"_s, {u"-v"_s, u"error"_s, u"-i"_s, path, u"-f"_s, u"s16le"_s, u"-"_s});
    EXPECT_EQ(result.exitCode, 0) << result.standardError.toStdString();
    return result.standardOutput.size() / 4;
}

using CliTestKit::writeFile;

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
    // Writes the image and sheet into folder; gives what to convert.
    QString (*make)(const QString& folder);
    bool titled; // whether the sheet's texts reach the tracks
};

QString besideInUtf8(const QString& folder)
{
    makeTone(folder + u"/Image.flac"_s, 20.37);
    writeFile(folder + u"/Image.cue"_s, kSheet.toUtf8());
    return folder + u"/Image.cue"_s;
}

QString besideInWindows1252(const QString& folder)
{
    makeTone(folder + u"/Image.flac"_s, 20.37);
    writeFile(folder + u"/Other name.cue"_s, encoded(kSheet, QStringConverter::Latin1));
    return folder; // the folder: the sheet is found, the image queued once
}

QString besideInUtf16(const QString& folder)
{
    makeTone(folder + u"/Image.wav"_s, 20.37);
    writeFile(folder + u"/Image.cue"_s, encoded(kSheet, QStringConverter::Utf16LE));
    return folder + u"/Image.wav"_s; // the image: its sheet is beside it
}

QString insideAsBlock(const QString& folder)
{
    makeTone(folder + u"/Image.wav"_s, 20.37);
    writeFile(folder + u"/sheet.txt"_s, kSheet.toUtf8());
    CliTestKit::mustRun(u"flac"_s, {u"-s"_s, u"--cuesheet"_s, folder + u"/sheet.txt"_s, u"-o"_s,
                                    folder + u"/Image.flac"_s, folder + u"/Image.wav"_s});
    QFile::remove(folder + u"/Image.wav"_s);
    return folder + u"/Image.flac"_s;
}

QString insideAsComment(const QString& folder)
{
    makeTone(folder + u"/Image.flac"_s, 20.37);
    Mutagen::tag(folder + u"/Image.flac"_s, u"flac"_s, {Mutagen::entry(u"CUESHEET"_s, kSheet)});
    return folder + u"/Image.flac"_s;
}

class AlbumImages : public testing::TestWithParam<Placement>, public CliTestKit::Folders
{
protected:
    CliProgram::Result convert(const QStringList& paths)
    {
        return cli(QStringList{u"convert"_s, u"-f"_s, u"cbr:128"_s, u"-o"_s, out()} + paths);
    }
};

TEST_P(AlbumImages, SplitIntoTaggedTracksThatJoinToTheImage)
{
    const Placement& placement = GetParam();
    const QString given = placement.make(in());
    ASSERT_FALSE(HasFatalFailure());

    const CliProgram::Result result = convert({given});
    ASSERT_EQ(result.exitCode, 0) << result.out.toStdString() << result.err.toStdString();
    EXPECT_TRUE(result.out.contains(u"3 of 3 files written."_s));
    QStringList outputs = filesBelow(out());
    outputs.sort();
    const QStringList expected = placement.titled
                                     ? QStringList{"01 - Un.mp3", "02 - Deux_Zwei.mp3", "03 - Trois.mp3"}
                                     : QStringList{"Image - 01.mp3", "Image - 02.mp3", "Image - 03.mp3"};
    ASSERT_EQ(outputs, expected);

    qint64 joined = 0;
    for (const QString& name : outputs) {
        joined += decodedFrames(out(name));
    }
    EXPECT_EQ(joined, kImageFrames);
    EXPECT_EQ(decodedFrames(out(outputs[0])), kSecondTrackStart);

    const QJsonObject second = Mutagen::dump(out(outputs[1]));
    EXPECT_EQ(second.value("TRCK").toArray().first().toString(), u"2/3"_s);
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
        const QJsonObject first = Mutagen::dump(out(outputs[0]));
        EXPECT_EQ(first.value("TPE1").toArray().first().toString(), u"L\u00E9a & Co"_s);
    }

    // info --json: one object per track, with its span in samples.
    const QString infoPath = QFileInfo(given).isDir() ? given + u"/Other name.cue"_s : given;
    const CliProgram::Result info = cli({u"info"_s, u"--json"_s, infoPath});
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
    const QString in = this->in().chopped(1);
    makeTone(in + u"/a.flac"_s, 6.5);
    makeTone(in + u"/b.wav"_s, 3.1, 48000);
    writeFile(in + u"/two.cue"_s, "FILE \"a.wav\" WAVE\n" // found as a.flac
                                  " TRACK 01 AUDIO\n  INDEX 01 00:01:00\n"
                                  " TRACK 02 AUDIO\n  INDEX 00 00:03:00\n  INDEX 01 00:04:00\n"
                                  "FILE \"b.wav\" WAVE\n"
                                  " TRACK 03 AUDIO\n  INDEX 00 00:00:00\n  INDEX 01 00:01:00\n");
    makeTone(in + u"/c.wav"_s, 4);
    writeFile(in + u"/c.cue"_s, "FILE \"c.wav\" WAVE\n"
                                " TRACK 01 AUDIO\n  INDEX 01 00:00:00\n"
                                " TRACK 02 AUDIO\n  INDEX 01 00:03:00\n"
                                " TRACK 03 AUDIO\n  INDEX 01 00:02:00\n"
                                " TRACK 04 AUDIO\n  INDEX 01 00:02:37\n"
                                " TRACK 05 AUDIO\n  INDEX 01 00:09:00\n");
    makeTone(in + u"/d.wav"_s, 1);
    writeFile(in + u"/d.cue"_s, "FILE \"d.wav\" WAVE\n"
                                " TRACK 01 AUDIO\n  INDEX 01 00:00:00\n"
                                " TRACK 02 AUDIO\n  INDEX 01 00:00:00\n");
    writeFile(in + u"/missing.cue"_s, "FILE \"gone.flac\" WAVE\n TRACK 01 AUDIO\n  INDEX 01 00:00:00\n");
    writeFile(in + u"/notes.cue"_s, "Just some notes about the album.\n");

    const CliProgram::Result result = convert({in});
    const std::string output = (result.out + result.err).toStdString();
    QStringList outputs = filesBelow(out());
    outputs.sort();
    // two.cue: 3 tracks; c.cue: tracks 1 and 3 (track 3 starts before 2,
    // 4 and 5 run past the end); d.cue: track 2 (track 1 is empty).
    ASSERT_EQ(outputs, (QStringList{"a - 01.mp3", "a - 02.mp3", "b - 03.mp3", "c - 01.mp3", "c - 03.mp3",
                                    "d - 02.mp3"}))
        << output;
    // Track 1 from 1 s to track 2's INDEX 01 at 4 s; track 2 to the end.
    EXPECT_EQ(decodedFrames(out(u"a - 01.mp3"_s)), 132300);
    EXPECT_EQ(decodedFrames(out(u"a - 02.mp3"_s)), 286650 - 176400);
    // Track 3 is all of b.wav, its gap included.
    EXPECT_EQ(decodedFrames(out(u"b - 03.mp3"_s)), 148800);

    const QString log = result.err;
    const auto logged = [&](const QString& sheet, const QString& words) {
        return log.contains(u"Cue Sheet: %1/%2.  Error: %3"_s.arg(in, sheet, words));
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
