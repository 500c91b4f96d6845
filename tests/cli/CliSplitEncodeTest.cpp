// One long file over several cores, through sonabrik-cli with -j 3 (so that
// a lone file has two idle jobs to split over, whatever the machine): sox
// music of plucked notes over sweeps, just over the length from which files
// are split. Every output is checked against the source and against the
// --no-split output of the same settings: exact sample count as ffmpeg
// decodes it with the Info frame honoured, no complaint from ffmpeg, the same
// bytes on a second run, SNR within 0.2 dB. --no-split at -j 3 gives the
// bytes of -j 1; rows that hold every job are never split. An interrupt in
// the middle leaves nothing behind; a source that ends early converts as it
// would unsplit; a long cue-sheet track stays exact and gets the ReplayGain
// figures of its unsplit conversion.

#include "CliProgram.h"
#include "Encoding.h"
#include "Fixtures.h"
#include "Mutagen.h"
#include "Tools.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QThread>
#include <cmath>
#include <csignal>
#include <cstring>
#include <gtest/gtest.h>

namespace {

using CliProgram::filesBelow;

// Just over the length from which a file is split.
constexpr int kSeconds = 32;

void run(const QString& program, const QStringList& arguments)
{
    const ToolResult result = runTool(program, arguments);
    ASSERT_EQ(result.exitCode, 0) << program.toStdString() << ": " << result.standardError.toStdString();
}

// Stereo 16-bit music of seconds at rate, as WAV or (by the name) FLAC:
// plucked notes twice a second (transients) over two slow sweeps.
void makeMusic(const QString& path, int seconds, int rate)
{
    const QString folder = QFileInfo(path).path();
    const QString notes = folder + QStringLiteral("/notes.wav");
    const QString sweeps = folder + QStringLiteral("/sweeps.wav");
    const QStringList format{QStringLiteral("-r"), QString::number(rate), QStringLiteral("-c"),
                             QStringLiteral("2"),  QStringLiteral("-b"),  QStringLiteral("16")};
    run(QStringLiteral("sox"),
        QStringList{QStringLiteral("-D"), QStringLiteral("-n")} + format +
            QStringList{notes, QStringLiteral("synth"), QStringLiteral("0.5"), QStringLiteral("pluck"),
                        QStringLiteral("220"), QStringLiteral("pluck"), QStringLiteral("330"),
                        QStringLiteral("repeat"), QString::number(seconds * 2 - 1)});
    run(QStringLiteral("sox"),
        QStringList{QStringLiteral("-D"), QStringLiteral("-n")} + format +
            QStringList{sweeps, QStringLiteral("synth"), QString::number(seconds), QStringLiteral("sine"),
                        QStringLiteral("100-3000"), QStringLiteral("sine"), QStringLiteral("150-2500"),
                        QStringLiteral("tremolo"), QStringLiteral("2"), QStringLiteral("60")});
    run(QStringLiteral("sox"),
        {QStringLiteral("-D"), QStringLiteral("-m"), QStringLiteral("-v"), QStringLiteral("0.7"), notes,
         QStringLiteral("-v"), QStringLiteral("0.3"), sweeps, path});
    QFile::remove(notes);
    QFile::remove(sweeps);
}

// The file decoded by ffmpeg to interleaved 16-bit samples (an MP3 with its
// Info frame's delay and padding dropped); ffmpeg must not complain.
std::vector<int16_t> decode(const QString& path)
{
    const ToolResult result = runTool(QStringLiteral("ffmpeg"),
                                      {QStringLiteral("-nostdin"), QStringLiteral("-v"),
                                       QStringLiteral("error"), QStringLiteral("-i"), path,
                                       QStringLiteral("-f"), QStringLiteral("s16le"), QStringLiteral("-")});
    EXPECT_EQ(result.exitCode, 0) << path.toStdString();
    EXPECT_EQ(result.standardError, QString()) << path.toStdString();
    std::vector<int16_t> samples(size_t(result.standardOutput.size()) / 2);
    std::memcpy(samples.data(), result.standardOutput.constData(), samples.size() * 2);
    return samples;
}

// Signal to noise of decoded against reference, in dB, sample by sample.
double snr(const std::vector<int16_t>& reference, const std::vector<int16_t>& decoded)
{
    double signal = 0;
    double noise = 0;
    for (size_t i = 0; i < std::min(reference.size(), decoded.size()); ++i) {
        signal += double(reference[i]) * reference[i];
        noise += (double(reference[i]) - decoded[i]) * (double(reference[i]) - decoded[i]);
    }
    return 10.0 * std::log10(signal / std::max(noise, 1.0));
}

class SplitEncodeFixture
{
protected:
    SplitEncodeFixture()
    {
        for (const char* folder : {"home", "tmp", "in"}) {
            QDir().mkpath(scratch.file(QLatin1String(folder)));
        }
    }
    QProcessEnvironment environment() const
    {
        return CliProgram::isolatedEnvironment(scratch.file(QStringLiteral("home")),
                                               scratch.file(QStringLiteral("tmp")));
    }
    // Converts paths into out/<folder> with the options; fails on a failed run.
    void convert(const QString& folder, const QStringList& options, const QStringList& paths)
    {
        const CliProgram::Result result = CliProgram::run(
            QStringList{QStringLiteral("convert"), QStringLiteral("-o"), out(folder)} + options + paths,
            environment());
        ASSERT_EQ(result.exitCode, 0) << result.out.toStdString() << result.err.toStdString();
        EXPECT_EQ(CliProgram::temporaryFilesIn(scratch.file(QStringLiteral("tmp"))), QStringList{});
    }
    QString out(const QString& folder) const { return scratch.file(QStringLiteral("out/") + folder); }
    QString in(const QString& name) const { return scratch.file(QStringLiteral("in/") + name); }

    ScratchDir scratch;
};

struct Mode
{
    const char* name;
    int sourceRate;
    const char* format;
    int outputRate;
};

class SplitEncode : public SplitEncodeFixture, public testing::TestWithParam<Mode>
{
};

TEST_P(SplitEncode, IsExactRepeatableAndAsGoodAsOneEncoder)
{
    const Mode& mode = GetParam();
    const QString source = in(QStringLiteral("music.wav"));
    makeMusic(source, kSeconds, mode.sourceRate);
    ASSERT_FALSE(HasFatalFailure());
    const QStringList format{QStringLiteral("-f"), QLatin1String(mode.format)};
    const QStringList three{QStringLiteral("-j"), QStringLiteral("3")};
    const QStringList noSplit{QStringLiteral("--no-split")};
    convert(QStringLiteral("split"), format + three, {source});
    convert(QStringLiteral("again"), format + three, {source});
    convert(QStringLiteral("single"), format + three + noSplit, {source});
    convert(QStringLiteral("one-job"), format + QStringList{QStringLiteral("-j"), QStringLiteral("1")},
            {source});
    ASSERT_FALSE(HasFatalFailure());

    const auto bytes = [&](const char* folder) {
        return fileBytes(out(QLatin1String(folder)) + QStringLiteral("/music.mp3"));
    };
    ASSERT_FALSE(bytes("split").isEmpty());
    EXPECT_EQ(bytes("again"), bytes("split"));
    EXPECT_EQ(bytes("one-job"), bytes("single"));
    // Parts that join seamlessly still differ from one encoder's frames
    // somewhere: the same bytes would mean nothing was split.
    EXPECT_NE(bytes("split"), bytes("single"));

    // The reference at the output's rate.
    QString reference = source;
    if (mode.outputRate != mode.sourceRate) {
        reference = scratch.file(QStringLiteral("reference.wav"));
        run(QStringLiteral("sox"), {source, QStringLiteral("-r"), QString::number(mode.outputRate), reference,
                                    QStringLiteral("rate"), QStringLiteral("-v")});
    }
    const std::vector<int16_t> expected = decode(reference);
    const std::vector<int16_t> split = decode(out(QStringLiteral("split/music.mp3")));
    const std::vector<int16_t> single = decode(out(QStringLiteral("single/music.mp3")));
    EXPECT_EQ(split.size(), single.size());
    if (mode.outputRate == mode.sourceRate) {
        EXPECT_EQ(split.size(), expected.size());
    }
    const double splitSNR = snr(expected, split);
    const double singleSNR = snr(expected, single);
    EXPECT_NEAR(splitSNR, singleSNR, 0.2);
    EXPECT_GT(singleSNR, 10.0); // lined up, not shifted
}

INSTANTIATE_TEST_SUITE_P(Modes, SplitEncode,
                         testing::Values(Mode{"CBR44", 44100, "cbr:192", 44100},
                                         Mode{"ABR48", 48000, "abr:160", 48000},
                                         Mode{"VBR44", 44100, "vbr:4", 44100},
                                         Mode{"CBR48To44", 48000, "cbr:128,rate=44100", 44100},
                                         Mode{"ABR44To48", 44100, "abr:128,rate=48000", 48000},
                                         Mode{"VBR48To44", 48000, "vbr:2,rate=44100", 44100}),
                         [](const testing::TestParamInfo<Mode>& info) {
                             return std::string(info.param.name);
                         });

class SplitEncodeRun : public SplitEncodeFixture, public testing::Test
{
};

TEST_F(SplitEncodeRun, RowsHoldingEveryJobLeaveNoneToSplitOver)
{
    // Two long files at -j 2: each holds one of the two jobs from the start,
    // so neither is split, and both are the bytes of --no-split.
    makeMusic(in(QStringLiteral("a.wav")), kSeconds, 44100);
    makeMusic(in(QStringLiteral("b.wav")), kSeconds, 48000);
    ASSERT_FALSE(HasFatalFailure());
    const QStringList options{QStringLiteral("-f"), QStringLiteral("vbr:4"), QStringLiteral("-j"),
                              QStringLiteral("2")};
    const QStringList paths{in(QStringLiteral("a.wav")), in(QStringLiteral("b.wav"))};
    convert(QStringLiteral("two"), options, paths);
    convert(QStringLiteral("single"), options + QStringList{QStringLiteral("--no-split")}, paths);
    ASSERT_FALSE(HasFatalFailure());
    for (const char* name : {"a.mp3", "b.mp3"}) {
        const QByteArray two = fileBytes(out(QStringLiteral("two/")) + QLatin1String(name));
        EXPECT_FALSE(two.isEmpty()) << name;
        EXPECT_EQ(two, fileBytes(out(QStringLiteral("single/")) + QLatin1String(name))) << name;
    }
}

TEST_F(SplitEncodeRun, InterruptedMidwayLeavesNoOutputAndNoTemporaryFile)
{
    const QString source = in(QStringLiteral("long.flac"));
    makeMusic(source, 240, 44100);
    ASSERT_FALSE(HasFatalFailure());
    const QString temporary = scratch.file(QStringLiteral("tmp"));
    QProcess process;
    process.setProcessEnvironment(environment());
    process.start(CliProgram::path(), {QStringLiteral("convert"), QStringLiteral("-j"), QStringLiteral("3"),
                                       QStringLiteral("-o"), out(QStringLiteral("cut")), source});
    ASSERT_TRUE(process.waitForStarted());
    // The output's temporary file is made as the encode starts; a little
    // later its parts are being encoded.
    bool started = false;
    for (int i = 0; i < 6000 && !started; ++i) {
        started = !CliProgram::temporaryFilesIn(temporary).isEmpty();
        QThread::msleep(10);
    }
    ASSERT_TRUE(started);
    QThread::msleep(500);
    ::kill(pid_t(process.processId()), SIGINT);
    ASSERT_TRUE(process.waitForFinished(60000));
    EXPECT_EQ(process.exitCode(), 130) << process.readAllStandardError().toStdString();
    EXPECT_EQ(filesBelow(temporary), QStringList{});
    EXPECT_EQ(filesBelow(out(QStringLiteral("cut"))), QStringList{});
}

TEST_F(SplitEncodeRun, SourceEndingEarlyIsConvertedAsWithoutSplitting)
{
    // A FLAC cut at 60 % announces more than it holds: its parts cannot be
    // joined, and the file is encoded whole, reported damaged.
    makeMusic(in(QStringLiteral("whole.flac")), 80, 44100);
    ASSERT_FALSE(HasFatalFailure());
    const QByteArray whole = fileBytes(in(QStringLiteral("whole.flac")));
    QFile cut(in(QStringLiteral("cut.flac")));
    ASSERT_TRUE(cut.open(QIODevice::WriteOnly));
    cut.write(whole.left(whole.size() * 6 / 10));
    cut.close();
    for (const QStringList& options : {QStringList{}, QStringList{QStringLiteral("--no-split")}}) {
        const QString folder = options.isEmpty() ? QStringLiteral("split") : QStringLiteral("single");
        const CliProgram::Result result =
            CliProgram::run(QStringList{QStringLiteral("convert"), QStringLiteral("-j"), QStringLiteral("3"),
                                        QStringLiteral("-o"), out(folder)} +
                                options + QStringList{cut.fileName()},
                            environment());
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_TRUE(result.out.contains(QStringLiteral("1 of 1 files written, 1 from a damaged source.")))
            << result.out.toStdString();
    }
    EXPECT_FALSE(fileBytes(out(QStringLiteral("split/cut.mp3"))).isEmpty());
    EXPECT_EQ(fileBytes(out(QStringLiteral("split/cut.mp3"))),
              fileBytes(out(QStringLiteral("single/cut.mp3"))));
    EXPECT_EQ(CliProgram::temporaryFilesIn(scratch.file(QStringLiteral("tmp"))), QStringList{});
}

TEST_F(SplitEncodeRun, LongCueSheetTrackStaysExactWithTheSameReplayGain)
{
    // Track 2 of a 45 s image runs from 10 s to the end: 35 s, split.
    const QString image = in(QStringLiteral("Image.flac"));
    makeMusic(image, 45, 44100);
    ASSERT_FALSE(HasFatalFailure());
    QFile sheet(in(QStringLiteral("Image.cue")));
    ASSERT_TRUE(sheet.open(QIODevice::WriteOnly));
    sheet.write("FILE \"Image.flac\" WAVE\n"
                "  TRACK 01 AUDIO\n    TITLE \"Short\"\n    INDEX 01 00:00:00\n"
                "  TRACK 02 AUDIO\n    TITLE \"Long\"\n    INDEX 01 00:10:00\n");
    sheet.close();
    const QStringList options{QStringLiteral("-f"),           QStringLiteral("vbr:2"),
                              QStringLiteral("--replaygain"), QStringLiteral("track"),
                              QStringLiteral("-j"),           QStringLiteral("3")};
    convert(QStringLiteral("split"), options, {sheet.fileName()});
    convert(QStringLiteral("single"), options + QStringList{QStringLiteral("--no-split")},
            {sheet.fileName()});
    ASSERT_FALSE(HasFatalFailure());

    const QString split = out(QStringLiteral("split/02 - Long.mp3"));
    const QString single = out(QStringLiteral("single/02 - Long.mp3"));
    EXPECT_NE(fileBytes(split), fileBytes(single));
    EXPECT_EQ(decode(split).size(), size_t(35 * 44100 * 2));
    const QJsonObject splitTags = Mutagen::dump(split);
    EXPECT_TRUE(splitTags.keys().join(u' ').contains(QStringLiteral("REPLAYGAIN_TRACK_GAIN")))
        << splitTags.keys().join(u' ').toStdString();
    EXPECT_EQ(splitTags, Mutagen::dump(single));
}

} // namespace
