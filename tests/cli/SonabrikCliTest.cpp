// sonabrik-cli from the outside: generated folders converted as a user
// would, outputs checked with ffprobe and mutagen, the overwrite answers
// typed on standard input, Ctrl-C sent as a real SIGINT; ReplayGain figures
// held against ffmpeg's loudness meter.

#include "CliProgram.h"
#include "Encoding.h"
#include "Fixtures.h"
#include "Pcm.h"
#include "TagDump.h"
#include "Tools.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QThread>
#include <cmath>
#include <complex>
#include <csignal>
#include <gtest/gtest.h>

namespace {

struct CliResult
{
    int exitCode = -1;
    QString out;
    QString err;
};

QString cliProgram()
{
    return QStringLiteral(SONABRIK_BINARY_DIR "/Classes/sonabrik-cli");
}

CliResult cli(const QStringList& arguments, const QByteArray& input = {},
              const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment())
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(cliProgram(), arguments);
    EXPECT_TRUE(process.waitForStarted());
    process.write(input);
    process.closeWriteChannel();
    EXPECT_TRUE(process.waitForFinished(180000));
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromUtf8(process.readAllStandardOutput()),
            QString::fromUtf8(process.readAllStandardError())};
}

// Every file below folder, hidden ones included, relative and sorted.
QStringList filesBelow(const QString& folder)
{
    QStringList files;
    QDirIterator walk(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (walk.hasNext()) {
        files << QDir(folder).relativeFilePath(walk.next());
    }
    files.sort();
    return files;
}

QJsonObject probeStream(const QString& path)
{
    const ToolResult probe =
        runTool(QStringLiteral("ffprobe"),
                {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-show_entries"),
                 QStringLiteral("stream=sample_rate,channels,bit_rate:format=duration"),
                 QStringLiteral("-of"), QStringLiteral("json"), path});
    const QJsonObject all = QJsonDocument::fromJson(probe.standardOutput).object();
    QJsonObject stream = all.value(QStringLiteral("streams")).toArray().at(0).toObject();
    stream.insert(QStringLiteral("duration"),
                  all.value(QStringLiteral("format")).toObject().value(QStringLiteral("duration")));
    return stream;
}

double duration(const QString& path)
{
    return probeStream(path).value(QStringLiteral("duration")).toString().toDouble();
}

// True once a file appears in folder (within 60 s).
// Waits for one of the program's own temporary files in folder (a sanitizer's
// runtime may put files of its own there as it starts).
bool waitForFile(const QString& folder)
{
    for (int i = 0; i < 6000; ++i) {
        if (!CliProgram::temporaryFilesIn(folder).isEmpty()) {
            return true;
        }
        QThread::msleep(10);
    }
    return false;
}

QByteArray storedPreferences()
{
    return fileBytes(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
                     QStringLiteral("/Sonabrik/Sonabrik.conf"));
}

class SonabrikCliTest : public ::testing::Test
{
protected:
    QString in(const QString& relative = {}) const { return scratch.file(QStringLiteral("in/") + relative); }
    QString out(const QString& relative = {}) const
    {
        return scratch.file(QStringLiteral("out/") + relative);
    }

    QString source(const QString& fixture, const QString& relative)
    {
        const QString path = in(relative);
        QDir().mkpath(QFileInfo(path).path());
        EXPECT_TRUE(QFile::copy(Fixtures::generated(fixture), path));
        return path;
    }

    PreferencesScope prefs;
    ScratchDir scratch;
};

TEST_F(SonabrikCliTest, ConvertsNestedFoldersIntoTwoFormatsKeepingTheirStructure)
{
    source(QStringLiteral("ctl-tagged.flac"), QStringLiteral("Album/CD1/01.flac"));
    source(QStringLiteral("ctl-tone.ogg"), QStringLiteral("Album/02.ogg"));
    source(QStringLiteral("ctl-short.wav"), QStringLiteral("Album/.hidden.wav"));
    source(QStringLiteral("ctl-short.wav"), QStringLiteral("Album/.cache/inner.wav"));
    QFile(in(QStringLiteral("Album/notes.txt"))).open(QIODevice::WriteOnly);

    const CliResult result =
        cli({QStringLiteral("convert"), QStringLiteral("--keep-structure"), QStringLiteral("-o"), out(),
             QStringLiteral("-f"), QStringLiteral("vbr:2"), QStringLiteral("-f"),
             QStringLiteral("cbr:128,rate=32000,mode=mono"), in(QStringLiteral("Album"))});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(filesBelow(out()),
              (QStringList{"Album/02 2.mp3", "Album/02.mp3", "Album/CD1/01 2.mp3", "Album/CD1/01.mp3"}));
    const QJsonObject cbr = probeStream(out(QStringLiteral("Album/CD1/01 2.mp3")));
    EXPECT_EQ(cbr.value(QStringLiteral("sample_rate")).toString(), QStringLiteral("32000"));
    EXPECT_EQ(cbr.value(QStringLiteral("channels")).toInt(), 1);
    EXPECT_EQ(cbr.value(QStringLiteral("bit_rate")).toString(), QStringLiteral("128000"));
    EXPECT_EQ(probeStream(out(QStringLiteral("Album/02.mp3"))).value(QStringLiteral("channels")).toInt(), 2);
    const QJsonObject tags = mutagenTags(out(QStringLiteral("Album/CD1/01.mp3")));
    EXPECT_EQ(id3v2Text(tags, QStringLiteral("TIT2")), QStringLiteral("Lantern Road"));
    EXPECT_EQ(id3v2Text(tags, QStringLiteral("TPE1")), QStringLiteral("The Quiet Orchards"));
    EXPECT_TRUE(result.out.contains(QStringLiteral("4 of 4 files written.")));
    // The first run says in one line where the files go, not the window's
    // welcome; the options were for this run only.
    EXPECT_TRUE(result.err.contains(QStringLiteral("MP3 files go to ") + QDir::cleanPath(out()) +
                                    QStringLiteral(" (choose another folder with -o FOLDER)\n")))
        << result.err.toStdString();
    EXPECT_FALSE(result.err.contains(QStringLiteral("Welcome")));
    EXPECT_TRUE(storedPreferences().contains("firstRun=false"));
    EXPECT_FALSE(storedPreferences().contains("preserveInputFileDirectoryStructure"));
    EXPECT_FALSE(storedPreferences().contains(out().toUtf8()));
}

TEST_F(SonabrikCliTest, NamingSchemesMakeFoldersAndTheNameCommandPreviewsThem)
{
    const QString flac = source(QStringLiteral("ctl-tagged.flac"), QStringLiteral("x.flac"));
    const QString scheme = QStringLiteral("{trackArtist}/{albumTitle}/{trackNumber - }{trackTitle}");
    const CliResult preview = cli({QStringLiteral("name"), scheme, flac});
    EXPECT_EQ(preview.out, QStringLiteral("The Quiet Orchards/North of Tidewater/01 - Lantern Road.mp3\n"));

    const CliResult result =
        cli({QStringLiteral("convert"), QStringLiteral("-n"), scheme, QStringLiteral("-o"), out(), flac});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(filesBelow(out()), QStringList{preview.out.trimmed()});

    const CliResult info = cli({QStringLiteral("info"), QStringLiteral("--json"), flac});
    const QJsonObject record = QJsonDocument::fromJson(info.out.toUtf8()).object();
    EXPECT_EQ(record.value(QStringLiteral("trackTitle")).toString(), QStringLiteral("Lantern Road"));
    EXPECT_EQ(record.value(QStringLiteral("trackNumber")).toInt(), 1);
    EXPECT_EQ(record.value(QStringLiteral("sourceSampleRate")).toDouble(), 44100.0);
    EXPECT_FALSE(record.contains(QStringLiteral("albumArtist")));
}

// Tags longer than a file name may be still name the output: each folder and
// file name is cut to 255 bytes between characters, the file keeps ".mp3",
// and the tags inside keep their whole text.
TEST_F(SonabrikCliTest, LongNonASCIITagsMakeNamesThatFitTheFileSystem)
{
    QDir().mkpath(in());
    const QString title = QStringLiteral("é").repeated(200);
    const QString album = QStringLiteral("音").repeated(200);
    const QString flac = in(QStringLiteral("long.flac"));
    const ToolResult made =
        runTool(QStringLiteral("sox"),
                {QStringLiteral("-D"), QStringLiteral("-n"), QStringLiteral("-r"), QStringLiteral("44100"),
                 QStringLiteral("-c"), QStringLiteral("1"), QStringLiteral("--comment"),
                 QStringLiteral("TITLE=") + title, QStringLiteral("--add-comment"),
                 QStringLiteral("ALBUM=") + album, flac, QStringLiteral("synth"), QStringLiteral("0.5"),
                 QStringLiteral("sine"), QStringLiteral("440")});
    ASSERT_EQ(made.exitCode, 0);
    const QString scheme = QStringLiteral("{albumTitle}/{trackTitle}");
    // Two sources with the same tags: the second gets a numbered name.
    ASSERT_TRUE(QFile::copy(flac, in(QStringLiteral("long2.flac"))));
    const CliResult result =
        cli({QStringLiteral("convert"), QStringLiteral("-n"), scheme, QStringLiteral("-o"), out(), in()});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QStringList written = filesBelow(out());
    ASSERT_EQ(written.size(), 2) << written.join(u'\n').toStdString();
    for (const QString& file : written) {
        const QStringList components = file.split(u'/');
        ASSERT_EQ(components.size(), 2);
        EXPECT_EQ(components[0], album.left(85)); // 85 × 3 bytes
        EXPECT_LE(components[1].toUtf8().size(), 255);
        EXPECT_TRUE(components[1].startsWith(title.left(120))) << file.toStdString();
        EXPECT_TRUE(components[1].endsWith(QStringLiteral(".mp3")));
        EXPECT_NEAR(duration(out(file)), 0.5, 0.06);
        const QJsonObject tags = mutagenTags(out(file));
        EXPECT_EQ(id3v2Text(tags, QStringLiteral("TIT2")), title);
        EXPECT_EQ(id3v2Text(tags, QStringLiteral("TALB")), album);
    }
    EXPECT_TRUE(written.contains(album.left(85) + u'/' + title.left(125) + QStringLiteral(".mp3")));
    EXPECT_TRUE(written.contains(album.left(85) + u'/' + title.left(124) + QStringLiteral(" 2.mp3")));
}

TEST_F(SonabrikCliTest, OverwriteAnswersComeFromTheTerminalOrTheCommandLine)
{
    const QStringList sources{source(QStringLiteral("ctl-short.wav"), QStringLiteral("a.wav")),
                              source(QStringLiteral("ctl-short.wav"), QStringLiteral("b.wav"))};
    const QStringList base{QStringLiteral("convert"), QStringLiteral("-j"), QStringLiteral("1"),
                           QStringLiteral("-o"), out()};
    for (const char* name : {"a.mp3", "b.mp3"}) {
        QDir().mkpath(out());
        QFile old(out(QString::fromLatin1(name)));
        ASSERT_TRUE(old.open(QIODevice::WriteOnly));
        old.write("old");
    }
    const QStringList ask =
        base + QStringList{QStringLiteral("--overwrite"), QStringLiteral("ask")} + sources;

    // Skip, applied to the whole batch: asked once.
    CliResult result = cli(ask, "s\ny\n");
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(result.err.count(QStringLiteral("already exists.")), 1);
    EXPECT_TRUE(result.err.contains(QStringLiteral("The file \"a.mp3\" already exists.")));
    EXPECT_EQ(fileBytes(out(QStringLiteral("a.mp3"))), QByteArray("old"));
    EXPECT_TRUE(result.out.contains(QStringLiteral("0 of 2 files written, 2 skipped.")))
        << result.out.toStdString();

    // Yes for the first, No (a new name) for the second.
    result = cli(ask, "y\nn\nn\nn\n");
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(result.err.count(QStringLiteral("already exists.")), 2);
    EXPECT_NEAR(duration(out(QStringLiteral("a.mp3"))), 0.5, 0.06);
    EXPECT_EQ(fileBytes(out(QStringLiteral("b.mp3"))), QByteArray("old"));
    EXPECT_NEAR(duration(out(QStringLiteral("b 2.mp3"))), 0.5, 0.06);

    // Without a terminal answer the file is skipped; "replace" never asks.
    result = cli(ask, "");
    EXPECT_EQ(fileBytes(out(QStringLiteral("b.mp3"))), QByteArray("old"));
    result = cli(base + QStringList{QStringLiteral("--overwrite"), QStringLiteral("replace")} + sources);
    EXPECT_FALSE(result.err.contains(QStringLiteral("already exists.")));
    EXPECT_NEAR(duration(out(QStringLiteral("b.mp3"))), 0.5, 0.06);
    EXPECT_EQ(filesBelow(out()), (QStringList{"a.mp3", "b 2.mp3", "b.mp3"}));

    // The answer given once on the command line.
    result = cli(base + QStringList{QStringLiteral("--overwrite"), QStringLiteral("skip")} + sources);
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_FALSE(result.err.contains(QStringLiteral("already exists.")));
    EXPECT_TRUE(result.out.contains(QStringLiteral("0 of 2 files written, 2 skipped.")))
        << result.out.toStdString();
    EXPECT_EQ(filesBelow(out()), (QStringList{"a.mp3", "b 2.mp3", "b.mp3"}));
    result = cli(base + QStringList{QStringLiteral("--overwrite"), QStringLiteral("rename")} + sources);
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_TRUE(result.out.contains(QStringLiteral("2 of 2 files written."))) << result.out.toStdString();
    EXPECT_EQ(filesBelow(out()), (QStringList{"a 2.mp3", "a.mp3", "b 2.mp3", "b 3.mp3", "b.mp3"}));
}

TEST_F(SonabrikCliTest, PipedAnswersApplyInOrderAndTheSummaryCountsWhatWasWritten)
{
    QStringList sources;
    QDir().mkpath(out());
    for (const char* name : {"a", "b", "c", "d"}) {
        sources << source(QStringLiteral("ctl-short.wav"),
                          QString::fromLatin1(name) + QStringLiteral(".wav"));
        QFile old(out(QString::fromLatin1(name) + QStringLiteral(".mp3")));
        ASSERT_TRUE(old.open(QIODevice::WriteOnly));
        old.write("old");
    }
    // All answers arrive in one read: yes, no (a new name), skip, each for
    // this file only; the fourth question finds the input ended.
    CliResult result =
        cli(QStringList{QStringLiteral("convert"), QStringLiteral("--overwrite"), QStringLiteral("ask"),
                        QStringLiteral("-j"), QStringLiteral("1"), QStringLiteral("-o"), out()} +
                sources,
            "y\nn\nn\nn\ns\nn\n");
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(result.err.count(QStringLiteral("already exists.")), 4) << result.err.toStdString();
    EXPECT_EQ(result.err.count(QStringLiteral("(no answer: skipped)")), 1) << result.err.toStdString();
    EXPECT_NEAR(duration(out(QStringLiteral("a.mp3"))), 0.5, 0.06);
    EXPECT_EQ(fileBytes(out(QStringLiteral("b.mp3"))), QByteArray("old"));
    EXPECT_NEAR(duration(out(QStringLiteral("b 2.mp3"))), 0.5, 0.06);
    EXPECT_EQ(fileBytes(out(QStringLiteral("c.mp3"))), QByteArray("old"));
    EXPECT_EQ(fileBytes(out(QStringLiteral("d.mp3"))), QByteArray("old"));
    EXPECT_TRUE(result.out.contains(QStringLiteral("2 of 4 files written, 2 skipped.\n  ") +
                                    out(QStringLiteral("a.mp3")) + QStringLiteral("\n  ") +
                                    out(QStringLiteral("b 2.mp3")) + u'\n'))
        << result.out.toStdString();

    // The same file twice in one command, two at a time: both plan the same
    // name, and the list gives the names they were written under.
    const QString twice = source(QStringLiteral("ctl-short.wav"), QStringLiteral("twice/01.wav"));
    result = cli({QStringLiteral("convert"), QStringLiteral("-j"), QStringLiteral("2"), QStringLiteral("-o"),
                  out(QStringLiteral("twice")), twice, twice});
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(filesBelow(out(QStringLiteral("twice"))), (QStringList{"01 2.mp3", "01.mp3"}));
    QStringList listed;
    for (const QString& line : result.out.split(u'\n')) {
        if (line.startsWith(QStringLiteral("  ")) && !line.startsWith(QStringLiteral("  All files"))) {
            listed << line.trimmed();
        }
    }
    listed.sort();
    EXPECT_EQ(listed,
              (QStringList{out(QStringLiteral("twice/01 2.mp3")), out(QStringLiteral("twice/01.mp3"))}))
        << result.out.toStdString();

    // MP3 sources to MP3: no output format applies, so no encode is counted.
    result = cli({QStringLiteral("convert"), QStringLiteral("-o"), out(QStringLiteral("same")),
                  source(QStringLiteral("ctl-tagged.mp3"), QStringLiteral("same/x.mp3")),
                  source(QStringLiteral("ctl-tagged.mp3"), QStringLiteral("same/y.mp3"))});
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_TRUE(result.out.contains(QStringLiteral("0 of 0 files written, 2 skipped.\n")))
        << result.out.toStdString();
    EXPECT_TRUE(filesBelow(out(QStringLiteral("same"))).isEmpty());
}

TEST_F(SonabrikCliTest, UpdateMetadataRetagsMP3SourcesInPlace)
{
    const QString mp3 = source(QStringLiteral("ctl-tagged.mp3"), QStringLiteral("t.mp3"));
    const QByteArray before = fileBytes(mp3);
    const CliResult result = cli({QStringLiteral("convert"), QStringLiteral("--update-metadata"),
                                  QStringLiteral("--id3v2-version"), QStringLiteral("4"),
                                  QStringLiteral("--ape"), QStringLiteral("-o"), out(), mp3});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_TRUE(filesBelow(out()).isEmpty());
    const QJsonObject tags = mutagenTags(mp3);
    EXPECT_EQ(tags.value(QStringLiteral("id3v2"))
                  .toObject()
                  .value(QStringLiteral("version"))
                  .toArray()
                  .at(1)
                  .toInt(),
              4);
    EXPECT_TRUE(tags.contains(QStringLiteral("ape")));
    // The audio frames are the same ones.
    EXPECT_NEAR(duration(mp3), duration(Fixtures::generated(QStringLiteral("ctl-tagged.mp3"))), 0.001);
    EXPECT_NE(fileBytes(mp3), before);
}

// The length mutagen reads from the LAME information frame, which leaves out
// the encoder's delay and padding.
double mp3Length(const QString& path)
{
    const ToolResult length = runTool(
        systemPython(),
        {QStringLiteral("-c"),
         QStringLiteral("import sys, mutagen.mp3; print(mutagen.mp3.MP3(sys.argv[1]).info.length)"), path});
    EXPECT_EQ(length.exitCode, 0) << length.standardError.toStdString();
    return QString::fromUtf8(length.standardOutput).trimmed().toDouble();
}

// DSD in both containers: the whole length comes through, the tone on each
// side survives MP3 encoding at its level, and the DSF's ID3v2 tag reaches
// the MP3 (a DFF file's tags are not read: its title is its name).
TEST_F(SonabrikCliTest, ConvertsDSFAndDFFWithTheirLengthAndTags)
{
    source(QStringLiteral("dsd-tagged.dsf"), QStringLiteral("dsd/tagged.dsf"));
    source(QStringLiteral("dsd-tone-64-2ch.dff"), QStringLiteral("dsd/tone.dff"));
    const CliResult result =
        cli({QStringLiteral("convert"), QStringLiteral("-o"), out(), in(QStringLiteral("dsd"))});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(filesBelow(out()), (QStringList{"tagged.mp3", "tone.mp3"}));
    for (const char* name : {"tagged.mp3", "tone.mp3"}) {
        const QString mp3 = out(QLatin1String(name));
        EXPECT_NEAR(mp3Length(mp3), 0.5, 0.001) << name;
        const Pcm pcm = decodeWithFFmpeg(mp3);
        ASSERT_EQ(pcm.channels, 2) << name;
        for (int channel = 0; channel < 2; ++channel) {
            EXPECT_NEAR(20 * std::log10(fitTone(pcm, channel, 1000.0 * (channel + 1), 0.05).amplitude / 0.5),
                        0.0, 0.3)
                << name << " channel " << channel;
        }
    }
    const QJsonObject tags = mutagenTags(out(QStringLiteral("tagged.mp3")));
    EXPECT_EQ(id3v2Text(tags, QStringLiteral("TIT2")), QStringLiteral("One Bit River"));
    EXPECT_EQ(id3v2Text(tags, QStringLiteral("TPE1")), QStringLiteral("The Modulators"));
    EXPECT_EQ(id3v2Text(tags, QStringLiteral("TALB")), QStringLiteral("Sixty-Four Times"));
    EXPECT_EQ(id3v2Text(tags, QStringLiteral("TRCK")), QStringLiteral("3"));
    EXPECT_EQ(id3v2Text(mutagenTags(out(QStringLiteral("tone.mp3"))), QStringLiteral("TIT2")),
              QStringLiteral("tone"));
}

TEST_F(SonabrikCliTest, ConvertsTheTagLibDSDFiles)
{
    SONABRIK_REQUIRE_TAGLIB_FIXTURES();
    QDir().mkpath(in());
    for (const char* name : {"empty10ms.dsf", "empty10ms.dff"}) {
        ASSERT_TRUE(QFile::copy(Fixtures::taglib(QLatin1String(name)),
                                in(QStringLiteral("taglib-") + QLatin1String(name).right(3) +
                                   QStringLiteral(".") + QLatin1String(name).right(3))));
    }
    const CliResult result = cli({QStringLiteral("convert"), QStringLiteral("-o"), out(), in()});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(filesBelow(out()), (QStringList{"taglib-dff.mp3", "taglib-dsf.mp3"}));
    for (const char* name : {"taglib-dff.mp3", "taglib-dsf.mp3"}) {
        EXPECT_NEAR(mp3Length(out(QLatin1String(name))), 0.01, 0.0005) << name;
    }
}

TEST_F(SonabrikCliTest, OneBrokenFileFailsAloneAndOnlyConvertedSourcesGoToTheTrash)
{
    const QString good1 = source(QStringLiteral("ctl-tagged.flac"), QStringLiteral("good1.flac"));
    const QString broken = source(QStringLiteral("ctl-corrupt.flac"), QStringLiteral("broken.flac"));
    const QString good2 = source(QStringLiteral("ctl-tone.ogg"), QStringLiteral("good2.ogg"));
    const CliResult result = cli(
        {QStringLiteral("convert"), QStringLiteral("--delete-original"), QStringLiteral("-o"), out(), in()});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains(QStringLiteral("Failed To Encode 1 of 3 Files.")))
        << result.err.toStdString();
    EXPECT_TRUE(result.err.contains(QStringLiteral("broken.flac")));
    EXPECT_EQ(filesBelow(out()), (QStringList{"good1.mp3", "good2.mp3"}));
    EXPECT_FALSE(QFileInfo::exists(good1));
    EXPECT_FALSE(QFileInfo::exists(good2));
    EXPECT_TRUE(QFileInfo::exists(broken));
    const QString trash = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
                          QStringLiteral("/Trash/files");
    const QStringList trashed = filesBelow(trash);
    EXPECT_TRUE(trashed.contains(QStringLiteral("good1.flac")));
    EXPECT_TRUE(trashed.contains(QStringLiteral("good2.ogg")));
    EXPECT_FALSE(trashed.contains(QStringLiteral("broken.flac")));
}

// A source that breaks once its audio is being encoded fails alone, says
// why, and leaves neither its half-written MP3 nor anything else in the
// temporary folder.
TEST_F(SonabrikCliTest, AFileThatBreaksWhileEncodingLeavesNoTemporaryFiles)
{
    QDir().mkpath(in());
    const QString wav = scratch.file(QStringLiteral("whole.wav"));
    const QString whole = scratch.file(QStringLiteral("whole.tta"));
    ASSERT_EQ(
        runTool(QStringLiteral("sox"),
                {QStringLiteral("-D"), QStringLiteral("-n"), QStringLiteral("-r"), QStringLiteral("44100"),
                 QStringLiteral("-c"), QStringLiteral("2"), QStringLiteral("-b"), QStringLiteral("16"), wav,
                 QStringLiteral("synth"), QStringLiteral("5"), QStringLiteral("pinknoise")})
            .exitCode,
        0);
    ASSERT_EQ(runTool(QStringLiteral("ffmpeg"),
                      {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"), wav,
                       QStringLiteral("-c:a"), QStringLiteral("tta"), whole})
                  .exitCode,
              0);
    // The header promises five seconds and its seek table every frame; the
    // frames stop after two, so the decoder fails in the middle of the
    // encode, with the MP3 already begun.
    const QByteArray bytes = fileBytes(whole);
    QFile cut(in(QStringLiteral("cut.tta")));
    ASSERT_TRUE(cut.open(QIODevice::WriteOnly));
    cut.write(bytes.left(bytes.size() * 2 / 5));
    cut.close();
    source(QStringLiteral("ctl-tone.ogg"), QStringLiteral("good.ogg"));

    const QString temporary = scratch.file(QStringLiteral("tmp"));
    QDir().mkpath(temporary);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("TMPDIR"), temporary);
    const CliResult result =
        cli({QStringLiteral("convert"), QStringLiteral("-o"), out(), in()}, {}, environment);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains(QStringLiteral("Failed To Encode 1 of 2 Files.")))
        << result.err.toStdString();
    EXPECT_TRUE(result.err.contains(QStringLiteral(
        "MP3 Encode Operation Failed To Encode File: cut.tta.  Error:TTA Decoder process_stream Error")))
        << result.err.toStdString();
    EXPECT_TRUE(result.out.contains(QStringLiteral("FAILED: ") + in(QStringLiteral("cut.tta"))))
        << result.out.toStdString();
    EXPECT_EQ(filesBelow(out()), QStringList{QStringLiteral("good.mp3")});
    EXPECT_EQ(filesBelow(temporary), QStringList{});
}

// The amplitude of a whole-hertz tone over one second of a channel.
double toneAmplitude(const std::vector<double>& channel, size_t start, double rate, double hertz)
{
    const size_t n = size_t(rate);
    std::complex<double> sum;
    for (size_t i = 0; i < n; ++i) {
        sum += channel[start + i] * std::polar(1.0, -2.0 * M_PI * hertz * double(i) / rate);
    }
    return 2.0 * std::abs(sum) / double(n);
}

// MP3 holds two channels: a 5.1 source fails as LAME refuses it, with a line
// that tells how to convert it, unless it is mixed down; the mix carries each
// input tone with its down-mix weight.
TEST_F(SonabrikCliTest, SurroundSourcesNeedTheDownmixAndCarryTheWeightsOfEachChannel)
{
    const QString flac = source(QStringLiteral("mix-51.flac"), QStringLiteral("surround.flac"));
    CliResult result = cli({QStringLiteral("convert"), QStringLiteral("-o"), out(), flac});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains(QStringLiteral("Unable to initialize the LAME encoder.")))
        << result.err.toStdString();
    EXPECT_TRUE(result.err.contains(QStringLiteral("surround.flac has 6 channels")));
    EXPECT_TRUE(result.err.contains(QStringLiteral("--downmix")));
    EXPECT_TRUE(filesBelow(out()).isEmpty());

    result = cli({QStringLiteral("convert"), QStringLiteral("--downmix"), QStringLiteral("-o"), out(), flac});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const Pcm mixed = decodeWithFFmpeg(out(QStringLiteral("surround.mp3")));
    ASSERT_EQ(mixed.channels, 2);
    ASSERT_GE(mixed.frames(), size_t(1.5 * 44100));
    // L R C LFE Ls Rs, each a tone of 10^(-12/20) full scale.
    const double tones[6] = {300, 500, 700, 900, 1100, 1300};
    const double k = 0.70710677;
    const double weights[2][6] = {{1, 0, k, 0, k, 0}, {0, 1, k, 0, 0, k}};
    const double level = std::pow(10.0, -12.0 / 20.0);
    for (int side = 0; side < 2; ++side) {
        const std::vector<double> channel = mixed.channel(side);
        for (int input = 0; input < 6; ++input) {
            EXPECT_NEAR(toneAmplitude(channel, 22050, 44100, tones[input]) / level, weights[side][input],
                        0.03)
                << "output " << side << ", input " << input;
        }
    }
}

// A module libmodplug cannot load fails alone: the modules after it, which
// wait for the same library lock, still convert.
TEST_F(SonabrikCliTest, ABrokenModuleLeavesTheModulesAfterItConverting)
{
    const QStringList sources{source(QStringLiteral("codec-broken.mod"), QStringLiteral("1-broken.mod")),
                              source(QStringLiteral("codec-loop.mod"), QStringLiteral("2-loop.mod")),
                              source(QStringLiteral("codec-loop.mod"), QStringLiteral("3-loop.mod"))};
    const CliResult result = cli(QStringList{QStringLiteral("convert"), QStringLiteral("-j"),
                                             QStringLiteral("1"), QStringLiteral("-o"), out()} +
                                 sources);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(
        result.err.contains(QStringLiteral("ModDecoder ModPlug_Load Failed!  File: ") + sources.first()))
        << result.err.toStdString();
    EXPECT_EQ(filesBelow(out()), (QStringList{"2-loop.mp3", "3-loop.mp3"}));
    // One pass of 15.36 s, and what the last render adds.
    EXPECT_NEAR(duration(out(QStringLiteral("2-loop.mp3"))), 15.6, 0.3);
}

// FFmpeg's console messages about a damaged stream appear only with
// --verbose; either way the file converts.
TEST_F(SonabrikCliTest, LibraryConsoleMessagesOnlyWithVerbose)
{
    const QString damaged = source(QStringLiteral("plat-corrupt-aac.m4a"), QStringLiteral("damaged.m4a"));
    const QRegularExpression ffmpegLine(QStringLiteral("^\\[\\w+ @ 0x[0-9a-f]+\\]"),
                                        QRegularExpression::MultilineOption);
    // Written from a damaged source: reported, and the status says so.
    CliResult result = cli({QStringLiteral("convert"), QStringLiteral("-o"), out(), damaged});
    EXPECT_EQ(result.exitCode, 1) << result.err.toStdString();
    EXPECT_FALSE(result.err.contains(ffmpegLine)) << result.err.toStdString();
    EXPECT_FALSE(result.out.contains(ffmpegLine)) << result.out.toStdString();

    result = cli({QStringLiteral("--verbose"), QStringLiteral("convert"), QStringLiteral("--overwrite"),
                  QStringLiteral("replace"), QStringLiteral("-o"), out(), damaged});
    EXPECT_EQ(result.exitCode, 1) << result.err.toStdString();
    EXPECT_TRUE(result.err.contains(ffmpegLine)) << result.err.toStdString();
}

// QtGui and FFmpeg are loaded when a file first needs them, never at start:
// between them they bring some 160 libraries, whose loading cost every run
// more than LAME needs for ten seconds of audio. The run's loader trace
// (LD_DEBUG=files) tells which were loaded.
TEST_F(SonabrikCliTest, QtGuiAndFFmpegAreLoadedOnlyForFilesThatNeedThem)
{
    // Converts one fixture alone, with the loader traced; the trace.
    const auto convertTraced = [this](const char* fixture, const QString& name) {
        source(QLatin1String(fixture), name + QLatin1Char('/') + name + QLatin1Char('.') +
                                           QFileInfo(QLatin1String(fixture)).suffix());
        QProcessEnvironment traced = QProcessEnvironment::systemEnvironment();
        traced.insert(QStringLiteral("LD_DEBUG"), QStringLiteral("files"));
        const CliResult result =
            cli({QStringLiteral("convert"), QStringLiteral("-o"), out(name), in(name)}, {}, traced);
        EXPECT_EQ(result.exitCode, 0) << fixture;
        return result.err;
    };
    const auto loads = [](const QString& trace, const char* library) {
        // "file=NAME" or, for what is opened by path, "file=/…/NAME".
        const QRegularExpression opened(QStringLiteral("file=(\\S*/)?") +
                                        QRegularExpression::escape(QLatin1String(library)));
        return trace.contains(opened);
    };

    const QString plain = convertTraced("ctl-short.wav", QStringLiteral("plain"));
    ASSERT_TRUE(loads(plain, "libQt6Core.so")) << "no loader trace";
    EXPECT_FALSE(loads(plain, "libQt6Gui.so"));
    EXPECT_FALSE(loads(plain, "libavformat.so"));

    // A cover is sized through QtGui, and still reaches the MP3.
    const QString pictured = convertTraced("reading-one-picture.flac", QStringLiteral("cover"));
    EXPECT_TRUE(loads(pictured, "libsonabrik-guiservices.so"));
    EXPECT_TRUE(loads(pictured, "libQt6Gui.so"));
    const QJsonObject frames =
        mutagenTags(out(QStringLiteral("cover/cover.mp3")))[QStringLiteral("id3v2")][QStringLiteral("frames")]
            .toObject();
    EXPECT_EQ(frames["APIC"][0]["mime"].toString(), QStringLiteral("image/png"));

    // M4A goes through FFmpeg.
    const QString aac = convertTraced("plat-aac.m4a", QStringLiteral("aac"));
    EXPECT_TRUE(loads(aac, "libavformat.so"));
}

TEST_F(SonabrikCliTest, InterruptStopsTheRunWithoutPartialOrTemporaryFiles)
{
    // A minute each: long enough to be caught in the middle.
    QDir().mkpath(in());
    for (const char* name : {"m1.wav", "m2.wav", "m3.wav"}) {
        const ToolResult made =
            runTool(QStringLiteral("sox"),
                    {QStringLiteral("-D"), QStringLiteral("-n"), QStringLiteral("-r"),
                     QStringLiteral("44100"), QStringLiteral("-c"), QStringLiteral("2"), QStringLiteral("-b"),
                     QStringLiteral("16"), in(QString::fromLatin1(name)), QStringLiteral("synth"),
                     QStringLiteral("60"), QStringLiteral("pinknoise")});
        ASSERT_EQ(made.exitCode, 0);
    }
    const QString temporary = scratch.file(QStringLiteral("tmp"));
    QDir().mkpath(temporary);
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("TMPDIR"), temporary);
    process.setProcessEnvironment(environment);
    process.start(cliProgram(), {QStringLiteral("convert"), QStringLiteral("-j"), QStringLiteral("1"),
                                 QStringLiteral("-o"), out(), in()});
    ASSERT_TRUE(process.waitForStarted());
    // Interrupt once the first file is being encoded.
    ASSERT_TRUE(waitForFile(temporary));
    ::kill(pid_t(process.processId()), SIGINT);
    ASSERT_TRUE(process.waitForFinished(60000));
    EXPECT_EQ(process.exitCode(), 130) << process.readAllStandardError().toStdString();
    EXPECT_EQ(filesBelow(temporary), QStringList{});
    for (const QString& file : filesBelow(out())) {
        // Whatever was finished before the interrupt is whole.
        EXPECT_NEAR(duration(out(file)), 60.0, 0.1) << file.toStdString();
    }
    const qsizetype written = filesBelow(out()).size();
    EXPECT_LT(written, 3);
    // The report names every file left over, the cancelled one and those
    // never started alike.
    const QString report = QString::fromUtf8(process.readAllStandardOutput());
    EXPECT_TRUE(report.contains(QStringLiteral("Interrupted: %1 of 3 files not converted.").arg(3 - written)))
        << report.toStdString();
    EXPECT_EQ(report.count(QStringLiteral("not converted: ")), 3 - written) << report.toStdString();
    EXPECT_TRUE(report.contains(QStringLiteral("not converted: ") + in(QStringLiteral("m3.wav"))))
        << report.toStdString();
}

TEST_F(SonabrikCliTest, UsageErrorsExitWithTwoAndARefusedRunWithOne)
{
    const CliResult refused = cli({QStringLiteral("convert"), QStringLiteral("-o"),
                                   QDir::homePath() + QStringLiteral("/Music/iTunes/Out"),
                                   source(QStringLiteral("ctl-short.wav"), QStringLiteral("r.wav"))});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(refused.err.contains(QStringLiteral("Invalid Output Folder."))) << refused.err.toStdString();

    EXPECT_EQ(cli({}).exitCode, 2);
    EXPECT_EQ(cli({QStringLiteral("convert")}).exitCode, 2);
    const CliResult badFormat =
        cli({QStringLiteral("convert"), QStringLiteral("-f"), QStringLiteral("vbr:12"), in()});
    EXPECT_EQ(badFormat.exitCode, 2);
    EXPECT_TRUE(badFormat.err.contains(QStringLiteral("VBR quality")));
    EXPECT_EQ(cli({QStringLiteral("convert"), QStringLiteral("--overwrite"), QStringLiteral("always"), in()})
                  .exitCode,
              2);
    EXPECT_EQ(cli({QStringLiteral("convert"), QStringLiteral("--replaygain"), QStringLiteral("loud"), in()})
                  .exitCode,
              2);
    const CliResult help = cli({QStringLiteral("convert"), QStringLiteral("--help")});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(help.out.contains(QStringLiteral("--keep-structure")));
    // Every command answers --help and --version, whatever else is given.
    for (const char* command : {"info", "name", "decoder"}) {
        const CliResult commandHelp = cli({QString::fromLatin1(command), QStringLiteral("--help")});
        EXPECT_EQ(commandHelp.exitCode, 0) << command;
        EXPECT_TRUE(
            commandHelp.out.startsWith(QStringLiteral("usage: sonabrik-cli ") + QString::fromLatin1(command)))
            << commandHelp.out.toStdString();
        const CliResult version = cli({QString::fromLatin1(command), QStringLiteral("--version")});
        EXPECT_EQ(version.exitCode, 0) << command;
        EXPECT_TRUE(version.out.startsWith(QStringLiteral("sonabrik-cli "))) << command;
    }
}

// The ReplayGain items of an MP3's ID3v2 (TXXX) and APE tags as mutagen
// reads them, keyed "id3:REPLAYGAIN_TRACK_GAIN", "ape:...": a key written
// twice has its texts joined by "|".
QMap<QString, QString> replayGainItems(const QString& mp3)
{
    const ToolResult read = runTool(
        systemPython(),
        {QStringLiteral("-c"),
         QStringLiteral(
             "import sys, json, mutagen.id3, mutagen.apev2\n"
             "items = []\n"
             "try:\n"
             "    items += [('id3:' + f.desc, str(f)) for f in mutagen.id3.ID3(sys.argv[1]).getall('TXXX')]\n"
             "except mutagen.id3.ID3NoHeaderError:\n"
             "    pass\n"
             "try:\n"
             "    items += [('ape:' + k.upper(), str(v)) for k, v in "
             "mutagen.apev2.APEv2(sys.argv[1]).items()]\n"
             "except mutagen.apev2.APENoHeaderError:\n"
             "    pass\n"
             "print(json.dumps([i for i in items if 'REPLAYGAIN' in i[0].upper()]))\n"),
         mp3});
    EXPECT_EQ(read.exitCode, 0) << read.standardError.toStdString();
    QMap<QString, QString> items;
    for (const QJsonValue item : QJsonDocument::fromJson(read.standardOutput).array()) {
        QString& text = items[item[0].toString()];
        text += (text.isEmpty() ? QString() : QStringLiteral("|")) + item[1].toString();
    }
    return items;
}

// Holds the items written under prefix against an independent measurement:
// gains as "-6.48 dB" within 0.1 dB of -18 LUFS minus the loudness, peaks as
// "0.912345" within 0.01.
void expectFigures(const QMap<QString, QString>& items, const QString& prefix,
                   const LoudnessReference& reference, const QString& mp3)
{
    const QString gain = items.value(prefix + QStringLiteral("_GAIN"));
    const QString peak = items.value(prefix + QStringLiteral("_PEAK"));
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^-?[0-9]+\\.[0-9]{2} dB$")).match(gain).hasMatch())
        << mp3.toStdString() << " " << prefix.toStdString() << ": " << gain.toStdString();
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^[0-9]\\.[0-9]{6}$")).match(peak).hasMatch())
        << mp3.toStdString() << " " << prefix.toStdString() << ": " << peak.toStdString();
    EXPECT_NEAR(gain.section(u' ', 0, 0).toDouble(), -18.0 - reference.loudness, 0.1)
        << mp3.toStdString() << " " << prefix.toStdString();
    EXPECT_NEAR(peak.toDouble(), reference.peak, 0.01) << mp3.toStdString() << " " << prefix.toStdString();
}

// Ten seconds of pink noise at gain dB, 16-bit, made by sox.
QString pinkNoise(const QString& path, const char* gain, int channels = 2)
{
    QDir().mkpath(QFileInfo(path).path());
    const ToolResult made = runTool(
        QStringLiteral("sox"),
        {QStringLiteral("-R"), QStringLiteral("-D"), QStringLiteral("-n"), QStringLiteral("-r"),
         QStringLiteral("44100"), QStringLiteral("-c"), QString::number(channels), QStringLiteral("-b"),
         QStringLiteral("16"), path, QStringLiteral("synth"), QStringLiteral("10"),
         QStringLiteral("pinknoise"), QStringLiteral("gain"), QLatin1String(gain)});
    EXPECT_EQ(made.exitCode, 0) << made.standardError.toStdString();
    return path;
}

// The loudness of files played one after the other, as one.
LoudnessReference loudnessTogether(const QStringList& files, const QString& scratchFile)
{
    QStringList wavs;
    for (const QString& file : files) {
        wavs << scratchFile + QString::number(wavs.size()) + QStringLiteral(".wav");
        EXPECT_EQ(runTool(QStringLiteral("ffmpeg"),
                          {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"), file,
                           QStringLiteral("-c:a"), QStringLiteral("pcm_s16le"), wavs.last()})
                      .exitCode,
                  0);
    }
    EXPECT_EQ(
        runTool(QStringLiteral("sox"), wavs + QStringList{scratchFile + QStringLiteral(".wav")}).exitCode, 0);
    return loudnessByFFmpeg(scratchFile + QStringLiteral(".wav"));
}

const QStringList kNoiseGains{QStringLiteral("-3"), QStringLiteral("-12"), QStringLiteral("-24")};

class CliReplayGain : public SonabrikCliTest, public ::testing::WithParamInterface<const char*>
{
};

// An album of pink noise at three levels beside a file of it that fails
// (six channels without the down-mix). The FLAC sources carry ReplayGain
// tags of their own, which no MP3 may keep.
TEST_P(CliReplayGain, FiguresMatchAnIndependentMeterAndTheAlbumLeavesOutTheFailedFile)
{
    const QString mode = QLatin1String(GetParam());
    QDir().mkpath(in());
    QStringList pcm;
    for (const QString& gain : kNoiseGains + QStringList{QStringLiteral("six")}) {
        const bool six = gain == QLatin1String("six");
        pcm << pinkNoise(scratch.file(QStringLiteral("pcm/noise%1.wav").arg(gain)),
                         six ? "-6" : gain.toLatin1().constData(), six ? 6 : 2);
        const ToolResult made = runTool(
            QStringLiteral("flac"),
            {QStringLiteral("-s"), QStringLiteral("--tag=ALBUM=Pink"), QStringLiteral("--tag=ARTIST=Noise"),
             QStringLiteral("--tag=REPLAYGAIN_TRACK_GAIN=+9.99 dB"),
             QStringLiteral("--tag=REPLAYGAIN_ALBUM_PEAK=0.5"), QStringLiteral("-o"),
             in(QStringLiteral("noise%1.flac").arg(gain)), pcm.last()});
        ASSERT_EQ(made.exitCode, 0) << made.standardError.toStdString();
    }
    pcm.removeLast();

    const CliResult result = cli({QStringLiteral("convert"), QStringLiteral("--replaygain"), mode,
                                  QStringLiteral("--ape"), QStringLiteral("-o"), out(), in()});
    EXPECT_EQ(result.exitCode, 1) << result.err.toStdString();
    EXPECT_EQ(filesBelow(out()), (QStringList{"noise-12.mp3", "noise-24.mp3", "noise-3.mp3"}));
    EXPECT_EQ(result.err.contains(QStringLiteral("The Album Gain Of \"Pink by Noise\" Leaves Out ") +
                                  in(QStringLiteral("noisesix.flac"))),
              mode == QLatin1String("album"))
        << result.err.toStdString();

    // The album's peak is its loudest track's.
    LoudnessReference album = loudnessTogether(pcm, scratch.file(QStringLiteral("album")));
    album.peak = 0;
    for (const QString& file : pcm) {
        album.peak = std::max(album.peak, loudnessByFFmpeg(file).peak);
    }
    for (qsizetype i = 0; i < pcm.size(); ++i) {
        const QString mp3 = out(QStringLiteral("noise%1.mp3").arg(kNoiseGains[i]));
        const QMap<QString, QString> items = replayGainItems(mp3);
        const qsizetype expected =
            QMap<QString, qsizetype>{{"off", 0}, {"track", 4}, {"album", 8}}.value(mode);
        EXPECT_EQ(items.size(), expected)
            << mp3.toStdString() << ": " << QStringList(items.keys()).join(u' ').toStdString();
        if (mode == QLatin1String("off")) {
            continue;
        }
        const LoudnessReference track = loudnessByFFmpeg(pcm[i]);
        for (const QString& tag : {QStringLiteral("id3:"), QStringLiteral("ape:")}) {
            expectFigures(items, tag + QStringLiteral("REPLAYGAIN_TRACK"), track, mp3);
            if (mode == QLatin1String("album")) {
                expectFigures(items, tag + QStringLiteral("REPLAYGAIN_ALBUM"), album, mp3);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Modes, CliReplayGain, ::testing::Values("off", "track", "album"));

// MP3s made by lame, measured in an Update Metadata run; a second run that
// asks for track figures only takes the album's away.
TEST_F(SonabrikCliTest, ReplayGainOfMP3SourcesIsWrittenInPlace)
{
    QDir().mkpath(in());
    QStringList mp3s;
    for (const QString& gain : kNoiseGains) {
        mp3s << in(QStringLiteral("noise%1.mp3").arg(gain));
        const ToolResult made =
            runTool(QStringLiteral("lame"),
                    {QStringLiteral("--quiet"), QStringLiteral("-V2"), QStringLiteral("--tt"), gain,
                     QStringLiteral("--ta"), QStringLiteral("Noise"), QStringLiteral("--tl"),
                     QStringLiteral("Pink"), QStringLiteral("--add-id3v2"),
                     pinkNoise(scratch.file(QStringLiteral("pcm/noise%1.wav").arg(gain)),
                               gain.toLatin1().constData()),
                     mp3s.last()});
        ASSERT_EQ(made.exitCode, 0) << made.standardError.toStdString();
    }
    const auto update = [&](const char* mode) {
        const CliResult result = cli({QStringLiteral("convert"), QStringLiteral("--update-metadata"),
                                      QStringLiteral("--replaygain"), QLatin1String(mode), in()});
        EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    };

    update("album");
    const LoudnessReference album = loudnessTogether(mp3s, scratch.file(QStringLiteral("album")));
    double albumPeak = 0;
    for (const QString& mp3 : mp3s) {
        albumPeak = std::max(albumPeak, loudnessByFFmpeg(mp3).peak);
    }
    for (const QString& mp3 : mp3s) {
        const QMap<QString, QString> items = replayGainItems(mp3);
        EXPECT_EQ(items.size(), 4) << QStringList(items.keys()).join(u' ').toStdString();
        expectFigures(items, QStringLiteral("id3:REPLAYGAIN_TRACK"), loudnessByFFmpeg(mp3), mp3);
        expectFigures(items, QStringLiteral("id3:REPLAYGAIN_ALBUM"), {album.loudness, albumPeak}, mp3);
        EXPECT_EQ(id3v2Text(mutagenTags(mp3), QStringLiteral("TALB")), QStringLiteral("Pink"));
    }

    update("track");
    for (const QString& mp3 : mp3s) {
        EXPECT_EQ(QStringList(replayGainItems(mp3).keys()),
                  (QStringList{"id3:REPLAYGAIN_TRACK_GAIN", "id3:REPLAYGAIN_TRACK_PEAK"}));
    }
}

// The tracks of an album image are an album, also when its sheet names none:
// pink noise at three levels in one FLAC, split by a sheet beside it.
TEST_F(SonabrikCliTest, TheTracksOfAnAlbumImageAreOneAlbum)
{
    QDir().mkpath(in());
    QStringList pcm;
    for (const QString& gain : kNoiseGains) {
        pcm << pinkNoise(scratch.file(QStringLiteral("pcm/noise%1.wav").arg(gain)),
                         gain.toLatin1().constData());
    }
    const QString whole = scratch.file(QStringLiteral("pcm/whole.wav"));
    ASSERT_EQ(runTool(QStringLiteral("sox"), pcm + QStringList{whole}).exitCode, 0);
    ASSERT_EQ(runTool(QStringLiteral("flac"),
                      {QStringLiteral("-s"), QStringLiteral("-o"), in(QStringLiteral("image.flac")), whole})
                  .exitCode,
              0);
    QFile sheet(in(QStringLiteral("image.cue")));
    ASSERT_TRUE(sheet.open(QIODevice::WriteOnly));
    sheet.write("FILE \"image.flac\" WAVE\n TRACK 01 AUDIO\n  INDEX 01 00:00:00\n"
                " TRACK 02 AUDIO\n  INDEX 01 00:10:00\n TRACK 03 AUDIO\n  INDEX 01 00:20:00\n");
    sheet.close();

    const CliResult result = cli({QStringLiteral("convert"), QStringLiteral("--replaygain"),
                                  QStringLiteral("album"), QStringLiteral("-o"), out(), in()});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QStringList mp3s = filesBelow(out());
    ASSERT_EQ(mp3s, (QStringList{"image - 01.mp3", "image - 02.mp3", "image - 03.mp3"}));
    const LoudnessReference album = loudnessByFFmpeg(whole);
    for (qsizetype i = 0; i < mp3s.size(); ++i) {
        const QMap<QString, QString> items = replayGainItems(out(mp3s[i]));
        expectFigures(items, QStringLiteral("id3:REPLAYGAIN_TRACK"), loudnessByFFmpeg(pcm[i]), mp3s[i]);
        expectFigures(items, QStringLiteral("id3:REPLAYGAIN_ALBUM"), album, mp3s[i]);
    }
}

} // namespace
