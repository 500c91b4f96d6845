// sonabrik-cli run as a user would, its outputs checked with ffprobe, mutagen
// and ffmpeg's loudness meter.

#include "CliTestKit.h"
#include "Encoding.h"
#include "Pcm.h"
#include "TagDump.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <complex>
#include <csignal>

using namespace Qt::StringLiterals;

namespace {

using CliProgram::filesBelow;
using namespace CliTestKit;

QJsonObject probeStream(const QString& path)
{
    return ffprobe(path, {u"-show_entries"_s, u"stream=sample_rate,channels,bit_rate"_s})[u"streams"_s][0]
        .toObject();
}

const auto duration = CliProgram::probedDuration;

QByteArray storedPreferences()
{
    return fileBytes(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
                     u"/Sonabrik/Sonabrik.conf"_s);
}

// The runs keep the test's own settings and Trash, with a temporary folder
// of their own.
class SonabrikCliTest : public ::testing::Test
{
protected:
    SonabrikCliTest()
    {
        QDir().mkpath(in());
        QDir().mkpath(temporary());
    }
    QString in(const QString& relative = {}) const { return scratch.file(u"in/"_s + relative); }
    QString out(const QString& relative = {}) const { return scratch.file(u"out/"_s + relative); }
    QString temporary() const { return scratch.file(u"tmp"_s); }

    CliProgram::Result cli(const QStringList& arguments, const QByteArray& input = {},
                           QProcessEnvironment environment = QProcessEnvironment::systemEnvironment()) const
    {
        environment.insert(u"TMPDIR"_s, temporary());
        return CliProgram::run(arguments, environment, input);
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
    source(u"ctl-tagged.flac"_s, u"Album/CD1/01.flac"_s);
    source(u"ctl-tone.ogg"_s, u"Album/02.ogg"_s);
    source(u"ctl-short.wav"_s, u"Album/.hidden.wav"_s);
    source(u"ctl-short.wav"_s, u"Album/.cache/inner.wav"_s);
    QFile(in(u"Album/notes.txt"_s)).open(QIODevice::WriteOnly);

    const CliProgram::Result result =
        cli({u"convert"_s, u"--keep-structure"_s, u"-o"_s, out(), u"-f"_s, u"vbr:2"_s, u"-f"_s,
             u"cbr:128,rate=32000,mode=mono"_s, in(u"Album"_s)});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(filesBelow(out()),
              (QStringList{"Album/02 2.mp3", "Album/02.mp3", "Album/CD1/01 2.mp3", "Album/CD1/01.mp3"}));
    const QJsonObject cbr = probeStream(out(u"Album/CD1/01 2.mp3"_s));
    EXPECT_EQ(cbr.value(u"sample_rate"_s).toString(), u"32000"_s);
    EXPECT_EQ(cbr.value(u"channels"_s).toInt(), 1);
    EXPECT_EQ(cbr.value(u"bit_rate"_s).toString(), u"128000"_s);
    EXPECT_EQ(probeStream(out(u"Album/02.mp3"_s)).value(u"channels"_s).toInt(), 2);
    const QJsonObject tags = mutagenTags(out(u"Album/CD1/01.mp3"_s));
    EXPECT_EQ(id3v2Text(tags, u"TIT2"_s), u"Lantern Road"_s);
    EXPECT_EQ(id3v2Text(tags, u"TPE1"_s), u"The Quiet Orchards"_s);
    EXPECT_TRUE(result.out.contains(u"4 of 4 files written."_s));
    // The first run says in one line where the files go, not the window's
    // welcome; the options were for this run only.
    EXPECT_TRUE(result.err.contains(u"MP3 files go to "_s + QDir::cleanPath(out()) +
                                    u" (choose another folder with -o FOLDER)\n"_s))
        << result.err.toStdString();
    EXPECT_FALSE(result.err.contains(u"Welcome"_s));
    EXPECT_TRUE(storedPreferences().contains("firstRun=false"));
    EXPECT_FALSE(storedPreferences().contains("preserveInputFileDirectoryStructure"));
    EXPECT_FALSE(storedPreferences().contains(out().toUtf8()));

    const QString flac = in(u"Album/CD1/01.flac"_s);
    EXPECT_EQ(cli({u"name"_s, u"{trackArtist}/{albumTitle}/{trackNumber - }{trackTitle}"_s, flac}).out,
              u"The Quiet Orchards/North of Tidewater/01 - Lantern Road.mp3\n"_s);
    const QJsonObject record =
        QJsonDocument::fromJson(cli({u"info"_s, u"--json"_s, flac}).out.toUtf8()).object();
    EXPECT_EQ(record.value(u"trackTitle"_s).toString(), u"Lantern Road"_s);
    EXPECT_EQ(record.value(u"trackNumber"_s).toInt(), 1);
    EXPECT_EQ(record.value(u"sourceSampleRate"_s).toDouble(), 44100.0);
    EXPECT_FALSE(record.contains(u"albumArtist"_s));
}

TEST_F(SonabrikCliTest, OverwriteAnswersComeFromTheTerminalOrTheCommandLine)
{
    QStringList sources;
    QDir().mkpath(out());
    for (const char* name : {"a", "b", "c", "d"}) {
        sources << source(u"ctl-short.wav"_s, QString::fromLatin1(name) + u".wav"_s);
        writeFile(out(QString::fromLatin1(name) + u".mp3"_s), "old");
    }
    const QStringList base{u"convert"_s, u"-j"_s, u"1"_s, u"-o"_s, out()};
    const auto run = [&](const char* overwrite, const QByteArray& answers = {}) {
        const CliProgram::Result result =
            cli(base + QStringList{u"--overwrite"_s, QLatin1String(overwrite)} + sources, answers);
        EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
        return result;
    };
    // All answers arrive in one read: yes, no (a new name), skip, each for
    // this file only; the fourth question finds the input ended.
    CliProgram::Result result = run("ask", "y\nn\nn\nn\ns\nn\n");
    EXPECT_EQ(result.err.count(u"already exists."_s), 4) << result.err.toStdString();
    EXPECT_TRUE(result.err.contains(u"The file \"a.mp3\" already exists."_s));
    EXPECT_EQ(result.err.count(u"(no answer: skipped)"_s), 1) << result.err.toStdString();
    EXPECT_NEAR(duration(out(u"a.mp3"_s)), 0.5, 0.06);
    EXPECT_EQ(fileBytes(out(u"b.mp3"_s)), QByteArray("old"));
    EXPECT_NEAR(duration(out(u"b 2.mp3"_s)), 0.5, 0.06);
    EXPECT_EQ(fileBytes(out(u"c.mp3"_s)), QByteArray("old"));
    EXPECT_EQ(fileBytes(out(u"d.mp3"_s)), QByteArray("old"));
    EXPECT_TRUE(result.out.contains(u"2 of 4 files written, 2 skipped.\n  "_s + out(u"a.mp3"_s) + u"\n  "_s +
                                    out(u"b 2.mp3"_s) + u'\n'))
        << result.out.toStdString();

    // Skip, applied to the whole batch: asked once.
    result = run("ask", "s\ny\n");
    EXPECT_EQ(result.err.count(u"already exists."_s), 1);
    EXPECT_TRUE(result.out.contains(u"0 of 4 files written, 4 skipped."_s)) << result.out.toStdString();
    // The answer given once on the command line: never asked.
    result = run("skip");
    EXPECT_FALSE(result.err.contains(u"already exists."_s));
    EXPECT_TRUE(result.out.contains(u"0 of 4 files written, 4 skipped."_s)) << result.out.toStdString();
    result = run("replace");
    EXPECT_FALSE(result.err.contains(u"already exists."_s));
    EXPECT_NEAR(duration(out(u"c.mp3"_s)), 0.5, 0.06);
    EXPECT_EQ(filesBelow(out()), (QStringList{"a.mp3", "b 2.mp3", "b.mp3", "c.mp3", "d.mp3"}));
    result = run("rename");
    EXPECT_TRUE(result.out.contains(u"4 of 4 files written."_s)) << result.out.toStdString();
    EXPECT_EQ(filesBelow(out()), (QStringList{"a 2.mp3", "a.mp3", "b 2.mp3", "b 3.mp3", "b.mp3", "c 2.mp3",
                                              "c.mp3", "d 2.mp3", "d.mp3"}));
}

TEST_F(SonabrikCliTest, TheSameFileTwiceGetsTwoNamesAndMP3SourcesAreNotEncoded)
{
    // Two at a time, both plan the same name; the list gives the names they
    // were written under.
    const QString twice = source(u"ctl-short.wav"_s, u"twice/01.wav"_s);
    CliProgram::Result result = cli({u"convert"_s, u"-j"_s, u"2"_s, u"-o"_s, out(u"twice"_s), twice, twice});
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(filesBelow(out(u"twice"_s)), (QStringList{"01 2.mp3", "01.mp3"}));
    QStringList listed;
    for (const QString& line : result.out.split(u'\n')) {
        if (line.startsWith(u"  "_s) && !line.startsWith(u"  All files"_s)) {
            listed << line.trimmed();
        }
    }
    listed.sort();
    EXPECT_EQ(listed, (QStringList{out(u"twice/01 2.mp3"_s), out(u"twice/01.mp3"_s)}))
        << result.out.toStdString();

    // MP3 sources to MP3: no output format applies, so no encode is counted.
    result = cli({u"convert"_s, u"-o"_s, out(u"same"_s), source(u"ctl-tagged.mp3"_s, u"same/x.mp3"_s),
                  source(u"ctl-tagged.mp3"_s, u"same/y.mp3"_s)});
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_TRUE(result.out.contains(u"0 of 0 files written, 2 skipped.\n"_s)) << result.out.toStdString();
    EXPECT_TRUE(filesBelow(out(u"same"_s)).isEmpty());
}

TEST_F(SonabrikCliTest, UpdateMetadataRetagsMP3SourcesInPlace)
{
    const QString mp3 = source(u"ctl-tagged.mp3"_s, u"t.mp3"_s);
    const QByteArray before = fileBytes(mp3);
    const CliProgram::Result result = cli({u"convert"_s, u"--update-metadata"_s, u"--id3v2-version"_s, u"4"_s,
                                           u"--ape"_s, u"-o"_s, out(), mp3});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_TRUE(filesBelow(out()).isEmpty());
    const QJsonObject tags = mutagenTags(mp3);
    EXPECT_EQ(tags.value(u"id3v2"_s).toObject().value(u"version"_s).toArray().at(1).toInt(), 4);
    EXPECT_TRUE(tags.contains(u"ape"_s));
    // The audio frames are the same ones.
    EXPECT_NEAR(duration(mp3), duration(Fixtures::generated(u"ctl-tagged.mp3"_s)), 0.001);
    EXPECT_NE(fileBytes(mp3), before);
}

// The length mutagen reads from the LAME information frame, which leaves out
// the encoder's delay and padding.
double mp3Length(const QString& path)
{
    const ToolResult length = runTool(
        systemPython(),
        {u"-c"_s, u"import sys, mutagen.mp3; print(mutagen.mp3.MP3(sys.argv[1]).info.length)"_s, path});
    EXPECT_EQ(length.exitCode, 0) << length.standardError.toStdString();
    return QString::fromUtf8(length.standardOutput).trimmed().toDouble();
}

// DSD in both containers, with TagLib's 10 ms files: the whole length comes
// through, the tone on each side at its level, and the DSF's ID3v2 tag (a
// DFF file's tags are not read: its title is its name).
TEST_F(SonabrikCliTest, ConvertsDSFAndDFFWithTheirLengthAndTags)
{
    SONABRIK_REQUIRE_TAGLIB_FIXTURES();
    source(u"dsd-tagged.dsf"_s, u"dsd/tagged.dsf"_s);
    source(u"dsd-tone-64-2ch.dff"_s, u"dsd/tone.dff"_s);
    for (const QString& suffix : {u"dsf"_s, u"dff"_s}) {
        ASSERT_TRUE(
            QFile::copy(Fixtures::taglib(u"empty10ms."_s + suffix), in(u"dsd/taglib-%1.%1"_s.arg(suffix))));
    }
    const CliProgram::Result result = cli({u"convert"_s, u"-o"_s, out(), in(u"dsd"_s)});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(filesBelow(out()), (QStringList{"tagged.mp3", "taglib-dff.mp3", "taglib-dsf.mp3", "tone.mp3"}));
    for (const char* name : {"taglib-dff.mp3", "taglib-dsf.mp3"}) {
        EXPECT_NEAR(mp3Length(out(QLatin1String(name))), 0.01, 0.0005) << name;
    }
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
    const QJsonObject tags = mutagenTags(out(u"tagged.mp3"_s));
    EXPECT_EQ(id3v2Text(tags, u"TIT2"_s), u"One Bit River"_s);
    EXPECT_EQ(id3v2Text(tags, u"TPE1"_s), u"The Modulators"_s);
    EXPECT_EQ(id3v2Text(tags, u"TALB"_s), u"Sixty-Four Times"_s);
    EXPECT_EQ(id3v2Text(tags, u"TRCK"_s), u"3"_s);
    EXPECT_EQ(id3v2Text(mutagenTags(out(u"tone.mp3"_s)), u"TIT2"_s), u"tone"_s);
}

// Files that fail, each alone: a corrupt FLAC; a TTA whose decoder breaks
// in the middle of its encode (its header promises five seconds, its frames
// stop after two), leaving neither its half-written MP3 nor anything in the
// temporary folder; a module libmodplug cannot load, after which the modules
// waiting for the same library lock still convert. Only the sources
// converted go to the Trash.
TEST_F(SonabrikCliTest, BrokenFilesFailAloneAndOnlyConvertedSourcesGoToTheTrash)
{
    const QString wav = scratch.file(u"whole.wav"_s);
    const QString whole = scratch.file(u"whole.tta"_s);
    synth(wav, 5, {u"pinknoise"_s});
    mustRun(u"ffmpeg"_s, {u"-v"_s, u"error"_s, u"-i"_s, wav, u"-c:a"_s, u"tta"_s, whole});
    const QByteArray bytes = fileBytes(whole);
    writeFile(in(u"cut.tta"_s), bytes.left(bytes.size() * 2 / 5));
    const QString broken = source(u"ctl-corrupt.flac"_s, u"broken.flac"_s);
    const QString brokenModule = source(u"codec-broken.mod"_s, u"1-broken.mod"_s);
    const QStringList good{
        source(u"codec-loop.mod"_s, u"2-loop.mod"_s), source(u"codec-loop.mod"_s, u"3-loop.mod"_s),
        source(u"ctl-tagged.flac"_s, u"good1.flac"_s), source(u"ctl-tone.ogg"_s, u"good2.ogg"_s)};

    const CliProgram::Result result =
        cli({u"convert"_s, u"-j"_s, u"1"_s, u"--delete-original"_s, u"-o"_s, out(), in()});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains(u"Failed To Encode 3 of 7 Files."_s)) << result.err.toStdString();
    EXPECT_TRUE(result.err.contains(u"broken.flac"_s));
    EXPECT_TRUE(result.err.contains(QStringLiteral(
        "MP3 Encode Operation Failed To Encode File: cut.tta.  Error:TTA Decoder process_stream Error")))
        << result.err.toStdString();
    EXPECT_TRUE(result.err.contains(u"ModDecoder ModPlug_Load Failed!  File: "_s + brokenModule))
        << result.err.toStdString();
    EXPECT_TRUE(result.out.contains(u"FAILED: "_s + in(u"cut.tta"_s))) << result.out.toStdString();
    EXPECT_EQ(filesBelow(out()), (QStringList{"2-loop.mp3", "3-loop.mp3", "good1.mp3", "good2.mp3"}));
    EXPECT_EQ(filesBelow(temporary()), QStringList{});
    // One pass of 15.36 s, and what the last render adds.
    EXPECT_NEAR(duration(out(u"3-loop.mp3"_s)), 15.6, 0.3);
    EXPECT_EQ(filesBelow(in()), (QStringList{"1-broken.mod", "broken.flac", "cut.tta"}));
    const QStringList trashed =
        filesBelow(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u"/Trash/files"_s);
    for (const QString& name : good) {
        EXPECT_TRUE(trashed.contains(QFileInfo(name).fileName())) << name.toStdString();
    }
    EXPECT_FALSE(trashed.contains(u"broken.flac"_s));
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

// A 5.1 source fails as LAME refuses it, with a line that tells how to
// convert it, unless mixed down; the mix carries each tone with its weight.
TEST_F(SonabrikCliTest, SurroundSourcesNeedTheDownmixAndCarryTheWeightsOfEachChannel)
{
    const QString flac = source(u"mix-51.flac"_s, u"surround.flac"_s);
    CliProgram::Result result = cli({u"convert"_s, u"-o"_s, out(), flac});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains(u"Unable to initialize the LAME encoder."_s)) << result.err.toStdString();
    EXPECT_TRUE(result.err.contains(u"surround.flac has 6 channels"_s));
    EXPECT_TRUE(result.err.contains(u"--downmix"_s));
    EXPECT_TRUE(filesBelow(out()).isEmpty());

    result = cli({u"convert"_s, u"--downmix"_s, u"-o"_s, out(), flac});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const Pcm mixed = decodeWithFFmpeg(out(u"surround.mp3"_s));
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

// FFmpeg's console messages about a damaged stream appear only with --verbose.
TEST_F(SonabrikCliTest, LibraryConsoleMessagesOnlyWithVerbose)
{
    const QString damaged = source(u"plat-corrupt-aac.m4a"_s, u"damaged.m4a"_s);
    const QRegularExpression ffmpegLine(u"^\\[\\w+ @ 0x[0-9a-f]+\\]"_s, QRegularExpression::MultilineOption);
    CliProgram::Result result = cli({u"convert"_s, u"-o"_s, out(), damaged});
    EXPECT_EQ(result.exitCode, 1) << result.err.toStdString();
    EXPECT_FALSE(result.err.contains(ffmpegLine)) << result.err.toStdString();
    EXPECT_FALSE(result.out.contains(ffmpegLine)) << result.out.toStdString();

    result = cli({u"--verbose"_s, u"convert"_s, u"--overwrite"_s, u"replace"_s, u"-o"_s, out(), damaged});
    EXPECT_EQ(result.exitCode, 1) << result.err.toStdString();
    EXPECT_TRUE(result.err.contains(ffmpegLine)) << result.err.toStdString();
}

// QtGui and FFmpeg (some 160 libraries) are loaded when a file first needs
// them, never at start; the loader trace (LD_DEBUG=files) tells.
TEST_F(SonabrikCliTest, QtGuiAndFFmpegAreLoadedOnlyForFilesThatNeedThem)
{
    const auto convertTraced = [this](const char* fixture, const QString& name) {
        source(QLatin1String(fixture), name + QLatin1Char('/') + name + QLatin1Char('.') +
                                           QFileInfo(QLatin1String(fixture)).suffix());
        QProcessEnvironment traced = QProcessEnvironment::systemEnvironment();
        traced.insert(u"LD_DEBUG"_s, u"files"_s);
        const CliProgram::Result result = cli({u"convert"_s, u"-o"_s, out(name), in(name)}, {}, traced);
        EXPECT_EQ(result.exitCode, 0) << fixture;
        return result.err;
    };
    const auto loads = [](const QString& trace, const char* library) {
        const QRegularExpression opened(u"file=(\\S*/)?"_s +
                                        QRegularExpression::escape(QLatin1String(library)));
        return trace.contains(opened);
    };

    const QString plain = convertTraced("ctl-short.wav", u"plain"_s);
    ASSERT_TRUE(loads(plain, "libQt6Core.so")) << "no loader trace";
    EXPECT_FALSE(loads(plain, "libQt6Gui.so"));
    EXPECT_FALSE(loads(plain, "libavformat.so"));

    // A cover is sized through QtGui, and still reaches the MP3.
    const QString pictured = convertTraced("reading-one-picture.flac", u"cover"_s);
    EXPECT_TRUE(loads(pictured, "libsonabrik-guiservices.so"));
    EXPECT_TRUE(loads(pictured, "libQt6Gui.so"));
    const QJsonObject frames = mutagenTags(out(u"cover/cover.mp3"_s))[u"id3v2"_s][u"frames"_s].toObject();
    EXPECT_EQ(frames["APIC"][0]["mime"].toString(), u"image/png"_s);

    // M4A goes through FFmpeg.
    const QString aac = convertTraced("plat-aac.m4a", u"aac"_s);
    EXPECT_TRUE(loads(aac, "libavformat.so"));
}

TEST_F(SonabrikCliTest, InterruptStopsTheRunWithoutPartialOrTemporaryFiles)
{
    for (const char* name : {"m1.wav", "m2.wav", "m3.wav"}) {
        synth(in(QString::fromLatin1(name)), 20, {u"pinknoise"_s});
    }
    const QString temporary = this->temporary();
    QDir().mkpath(temporary);
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"TMPDIR"_s, temporary);
    process.setProcessEnvironment(environment);
    process.start(CliProgram::path(), {u"convert"_s, u"-j"_s, u"1"_s, u"-o"_s, out(), in()});
    ASSERT_TRUE(process.waitForStarted());
    // Interrupt once the first file is being encoded.
    ASSERT_TRUE(waitForTemporaryFile(temporary));
    ::kill(pid_t(process.processId()), SIGINT);
    ASSERT_TRUE(process.waitForFinished(60000));
    EXPECT_EQ(process.exitCode(), 130) << process.readAllStandardError().toStdString();
    EXPECT_EQ(filesBelow(temporary), QStringList{});
    for (const QString& file : filesBelow(out())) {
        EXPECT_NEAR(duration(out(file)), 20.0, 0.1) << "not whole: " << file.toStdString();
    }
    const qsizetype written = filesBelow(out()).size();
    EXPECT_LT(written, 3);
    // The report names the cancelled file and those never started alike.
    const QString report = QString::fromUtf8(process.readAllStandardOutput());
    EXPECT_TRUE(report.contains(u"Interrupted: %1 of 3 files not converted."_s.arg(3 - written)))
        << report.toStdString();
    EXPECT_EQ(report.count(u"not converted: "_s), 3 - written) << report.toStdString();
    EXPECT_TRUE(report.contains(u"not converted: "_s + in(u"m3.wav"_s))) << report.toStdString();
}

TEST_F(SonabrikCliTest, UsageErrorsExitWithTwoAndARefusedRunWithOne)
{
    const CliProgram::Result refused = cli({u"convert"_s, u"-o"_s, QDir::homePath() + u"/Music/iTunes/Out"_s,
                                            source(u"ctl-short.wav"_s, u"r.wav"_s)});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(refused.err.contains(u"Invalid Output Folder."_s)) << refused.err.toStdString();

    EXPECT_EQ(cli({}).exitCode, 2);
    EXPECT_EQ(cli({u"convert"_s}).exitCode, 2);
    const CliProgram::Result badFormat = cli({u"convert"_s, u"-f"_s, u"vbr:12"_s, in()});
    EXPECT_EQ(badFormat.exitCode, 2);
    EXPECT_TRUE(badFormat.err.contains(u"VBR quality"_s));
    EXPECT_EQ(cli({u"convert"_s, u"--overwrite"_s, u"always"_s, in()}).exitCode, 2);
    EXPECT_EQ(cli({u"convert"_s, u"--replaygain"_s, u"loud"_s, in()}).exitCode, 2);
    const CliProgram::Result help = cli({u"convert"_s, u"--help"_s});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(help.out.contains(u"--keep-structure"_s));
    // Every command answers --help and --version, whatever else is given.
    for (const char* command : {"info", "name", "decoder"}) {
        const CliProgram::Result commandHelp = cli({QString::fromLatin1(command), u"--help"_s});
        EXPECT_EQ(commandHelp.exitCode, 0) << command;
        EXPECT_TRUE(commandHelp.out.startsWith(u"usage: sonabrik-cli "_s + QString::fromLatin1(command)))
            << commandHelp.out.toStdString();
        const CliProgram::Result version = cli({QString::fromLatin1(command), u"--version"_s});
        EXPECT_EQ(version.exitCode, 0) << command;
        EXPECT_TRUE(version.out.startsWith(u"sonabrik-cli "_s)) << command;
    }
}

// The ReplayGain items of an MP3's ID3v2 (TXXX) and APE tags as mutagen
// reads them, keyed "id3:REPLAYGAIN_TRACK_GAIN", "ape:...": a key written
// twice has its texts joined by "|".
QMap<QString, QString> replayGainItems(const QString& mp3)
{
    const ToolResult read =
        runTool(systemPython(),
                {u"-c"_s,
                 QStringLiteral("import sys, json, mutagen.id3, mutagen.apev2\n"
                                "def read(items):\n"
                                "    try:\n"
                                "        return items()\n"
                                "    except (mutagen.id3.ID3NoHeaderError, mutagen.apev2.APENoHeaderError):\n"
                                "        return []\n"
                                "items = [('id3:' + f.desc, str(f)) for f in read(lambda: "
                                "mutagen.id3.ID3(sys.argv[1]).getall('TXXX'))]\n"
                                "items += [('ape:' + k.upper(), str(v)) for k, v in read(lambda: "
                                "mutagen.apev2.APEv2(sys.argv[1]).items())]\n"
                                "print(json.dumps([i for i in items if 'REPLAYGAIN' in i[0].upper()]))\n"),
                 mp3});
    EXPECT_EQ(read.exitCode, 0) << read.standardError.toStdString();
    QMap<QString, QString> items;
    for (const QJsonValue item : QJsonDocument::fromJson(read.standardOutput).array()) {
        QString& text = items[item[0].toString()];
        text += (text.isEmpty() ? QString() : u"|"_s) + item[1].toString();
    }
    return items;
}

// Holds the items written under prefix against an independent measurement:
// gains as "-6.48 dB" within 0.1 dB of -18 LUFS minus the loudness, peaks as
// "0.912345" within 0.01.
void expectFigures(const QMap<QString, QString>& items, const QString& prefix,
                   const LoudnessReference& reference, const QString& mp3)
{
    SCOPED_TRACE((mp3 + u' ' + prefix).toStdString());
    const QString gain = items.value(prefix + u"_GAIN"_s);
    const QString peak = items.value(prefix + u"_PEAK"_s);
    EXPECT_TRUE(QRegularExpression(u"^-?[0-9]+\\.[0-9]{2} dB$"_s).match(gain).hasMatch())
        << gain.toStdString();
    EXPECT_TRUE(QRegularExpression(u"^[0-9]\\.[0-9]{6}$"_s).match(peak).hasMatch()) << peak.toStdString();
    EXPECT_NEAR(gain.section(u' ', 0, 0).toDouble(), -18.0 - reference.loudness, 0.1);
    EXPECT_NEAR(peak.toDouble(), reference.peak, 0.01);
}

// Pink noise at gain dB, made by sox.
QString pinkNoise(const QString& path, const QString& gain, int channels = 2, int seconds = 5)
{
    synth(path, seconds, {u"pinknoise"_s, u"gain"_s, gain}, 44100, channels);
    return path;
}

// The loudness of files played one after the other, as one.
LoudnessReference loudnessTogether(const QStringList& files, const QString& scratchFile)
{
    QStringList wavs;
    for (const QString& file : files) {
        wavs << scratchFile + QString::number(wavs.size()) + u".wav"_s;
        mustRun(u"ffmpeg"_s, {u"-v"_s, u"error"_s, u"-i"_s, file, u"-c:a"_s, u"pcm_s16le"_s, wavs.last()});
    }
    mustRun(u"sox"_s, wavs + QStringList{scratchFile + u".wav"_s});
    return loudnessByFFmpeg(scratchFile + u".wav"_s);
}

const QStringList kNoiseGains{u"-3"_s, u"-12"_s, u"-24"_s};

// An album of pink noise at three levels beside a file of it that fails
// (six channels without the down-mix), whose FLAC sources carry ReplayGain
// tags no MP3 may keep; and the same noise as an album image whose sheet
// names no album: its tracks are an album too.
TEST_F(SonabrikCliTest, ReplayGainMatchesAnIndependentMeterAndTheAlbumLeavesOutTheFailedFile)
{
    QStringList pcm;
    for (const QString& gain : kNoiseGains + QStringList{u"six"_s}) {
        const bool six = gain == u"six"_s;
        pcm << pinkNoise(scratch.file(u"pcm/noise%1.wav"_s.arg(gain)), six ? u"-6"_s : gain, six ? 6 : 2);
        mustRun(u"flac"_s, {u"-s"_s, u"--tag=ALBUM=Pink"_s, u"--tag=ARTIST=Noise"_s,
                            u"--tag=REPLAYGAIN_TRACK_GAIN=+9.99 dB"_s, u"--tag=REPLAYGAIN_ALBUM_PEAK=0.5"_s,
                            u"-o"_s, in(u"noise%1.flac"_s.arg(gain)), pcm.last()});
    }
    pcm.removeLast();
    const QString whole = scratch.file(u"pcm/whole.wav"_s);
    mustRun(u"sox"_s, pcm + QStringList{whole});
    writeFile(in(u"image/image.cue"_s),
              "FILE \"image.flac\" WAVE\n TRACK 01 AUDIO\n  INDEX 01 00:00:00\n"
              " TRACK 02 AUDIO\n  INDEX 01 00:05:00\n TRACK 03 AUDIO\n  INDEX 01 00:10:00\n");
    mustRun(u"flac"_s, {u"-s"_s, u"-o"_s, in(u"image/image.flac"_s), whole});

    const CliProgram::Result result =
        cli({u"convert"_s, u"--replaygain"_s, u"album"_s, u"--ape"_s, u"-o"_s, out(), in()});
    EXPECT_EQ(result.exitCode, 1) << result.err.toStdString();
    const QStringList mp3s{"image - 01.mp3", "image - 02.mp3", "image - 03.mp3",
                           "noise-3.mp3",    "noise-12.mp3",   "noise-24.mp3"};
    EXPECT_EQ(filesBelow(out()), (QStringList{mp3s[0], mp3s[1], mp3s[2], mp3s[4], mp3s[5], mp3s[3]}));
    EXPECT_TRUE(
        result.err.contains(u"The Album Gain Of \"Pink by Noise\" Leaves Out "_s + in(u"noisesix.flac"_s)))
        << result.err.toStdString();

    // The album's peak is its loudest track's, in both albums.
    LoudnessReference album = loudnessByFFmpeg(whole);
    for (qsizetype i = 0; i < mp3s.size(); ++i) {
        const QMap<QString, QString> items = replayGainItems(out(mp3s[i]));
        EXPECT_EQ(items.size(), 8) << mp3s[i].toStdString() << ": "
                                   << QStringList(items.keys()).join(u' ').toStdString();
        for (const QString& tag : {u"id3:"_s, u"ape:"_s}) {
            expectFigures(items, tag + u"REPLAYGAIN_TRACK"_s, loudnessByFFmpeg(pcm[i % 3]), mp3s[i]);
            expectFigures(items, tag + u"REPLAYGAIN_ALBUM"_s, album, mp3s[i]);
        }
    }
}

// MP3s made by lame, measured in an Update Metadata run; a second run that
// asks for track figures only takes the album's away.
TEST_F(SonabrikCliTest, ReplayGainOfMP3SourcesIsWrittenInPlace)
{
    QStringList mp3s;
    for (const QString& gain : kNoiseGains) {
        mp3s << in(u"noise%1.mp3"_s.arg(gain));
        mustRun(u"lame"_s,
                {u"--quiet"_s, u"-V2"_s, u"--tt"_s, gain, u"--ta"_s, u"Noise"_s, u"--tl"_s, u"Pink"_s,
                 u"--add-id3v2"_s, pinkNoise(scratch.file(u"pcm/noise%1.wav"_s.arg(gain)), gain, 2, 10),
                 mp3s.last()});
    }
    const auto update = [&](const char* mode) {
        const CliProgram::Result result =
            cli({u"convert"_s, u"--update-metadata"_s, u"--replaygain"_s, QLatin1String(mode), in()});
        EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    };

    update("album");
    const LoudnessReference album = loudnessTogether(mp3s, scratch.file(u"album"_s));
    double albumPeak = 0;
    for (const QString& mp3 : mp3s) {
        albumPeak = std::max(albumPeak, loudnessByFFmpeg(mp3).peak);
    }
    for (const QString& mp3 : mp3s) {
        const QMap<QString, QString> items = replayGainItems(mp3);
        EXPECT_EQ(items.size(), 4) << QStringList(items.keys()).join(u' ').toStdString();
        expectFigures(items, u"id3:REPLAYGAIN_TRACK"_s, loudnessByFFmpeg(mp3), mp3);
        expectFigures(items, u"id3:REPLAYGAIN_ALBUM"_s, {album.loudness, albumPeak}, mp3);
        EXPECT_EQ(id3v2Text(mutagenTags(mp3), u"TALB"_s), u"Pink"_s);
    }

    update("track");
    for (const QString& mp3 : mp3s) {
        EXPECT_EQ(QStringList(replayGainItems(mp3).keys()),
                  (QStringList{"id3:REPLAYGAIN_TRACK_GAIN", "id3:REPLAYGAIN_TRACK_PEAK"}));
    }
}

} // namespace
