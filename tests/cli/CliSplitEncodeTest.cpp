// One long file over several cores, through sonabrik-cli with -j 3 (a lone
// file has two idle jobs to split over): sox music of plucked notes over
// sweeps, just over the length from which files are split, checked against
// the source and the --no-split output of the same settings.

#include "CliTestKit.h"
#include "Mutagen.h"

#include <QProcess>
#include <cmath>
#include <csignal>
#include <cstring>

using namespace Qt::StringLiterals;

namespace {

using CliProgram::filesBelow;
using CliTestKit::mustRun;

// Just over the length from which a file is split.
constexpr int kSeconds = 32;

// Plucked notes twice a second (transients) over two slow sweeps.
void makeMusic(const QString& path, int seconds, int rate)
{
    const QString notes = QFileInfo(path).path() + u"/notes.wav"_s;
    const QString sweeps = QFileInfo(path).path() + u"/sweeps.wav"_s;
    CliTestKit::synth(
        notes, 0.5,
        {u"pluck"_s, u"220"_s, u"pluck"_s, u"330"_s, u"repeat"_s, QString::number(seconds * 2 - 1)}, rate);
    CliTestKit::synth(sweeps, seconds,
                      {u"sine"_s, u"100-3000"_s, u"sine"_s, u"150-2500"_s, u"tremolo"_s, u"2"_s, u"60"_s},
                      rate);
    mustRun(u"sox"_s, {u"-D"_s, u"-m"_s, u"-v"_s, u"0.7"_s, notes, u"-v"_s, u"0.3"_s, sweeps, path});
    QFile::remove(notes);
    QFile::remove(sweeps);
}

// Interleaved 16-bit samples as ffmpeg decodes them (the Info frame honoured).
std::vector<int16_t> decode(const QString& path)
{
    const ToolResult result = runTool(
        u"ffmpeg"_s, {u"-nostdin"_s, u"-v"_s, u"error"_s, u"-i"_s, path, u"-f"_s, u"s16le"_s, u"-"_s});
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

class SplitEncodeFixture : public CliTestKit::Folders
{
protected:
    void convert(const QString& folder, const QStringList& options, const QStringList& paths)
    {
        const CliProgram::Result result =
            cli(QStringList{u"convert"_s, u"-o"_s, out(folder)} + options + paths);
        ASSERT_EQ(result.exitCode, 0) << result.out.toStdString() << result.err.toStdString();
        EXPECT_EQ(CliProgram::temporaryFilesIn(temporary()), QStringList{});
    }
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

// Exact sample count with the Info frame honoured, no complaint from
// ffmpeg, the same bytes on a second run, SNR within 0.2 dB of one encoder;
// --no-split at -j 3 gives the bytes of -j 1.
TEST_P(SplitEncode, IsExactRepeatableAndAsGoodAsOneEncoder)
{
    const Mode& mode = GetParam();
    const QString source = in(u"music.wav"_s);
    makeMusic(source, kSeconds, mode.sourceRate);
    ASSERT_FALSE(HasFatalFailure());
    const QStringList format{u"-f"_s, QLatin1String(mode.format)};
    const QStringList three{u"-j"_s, u"3"_s};
    const QStringList noSplit{u"--no-split"_s};
    convert(u"split"_s, format + three, {source});
    convert(u"again"_s, format + three, {source});
    convert(u"single"_s, format + three + noSplit, {source});
    convert(u"one-job"_s, format + QStringList{u"-j"_s, u"1"_s}, {source});
    ASSERT_FALSE(HasFatalFailure());

    const auto bytes = [&](const char* folder) {
        return fileBytes(out(QLatin1String(folder)) + u"/music.mp3"_s);
    };
    ASSERT_FALSE(bytes("split").isEmpty());
    EXPECT_EQ(bytes("again"), bytes("split"));
    EXPECT_EQ(bytes("one-job"), bytes("single"));
    // The same bytes would mean nothing was split.
    EXPECT_NE(bytes("split"), bytes("single"));

    // The reference at the output's rate.
    QString reference = source;
    if (mode.outputRate != mode.sourceRate) {
        reference = scratch.file(u"reference.wav"_s);
        mustRun(u"sox"_s, {source, u"-r"_s, QString::number(mode.outputRate), reference, u"rate"_s, u"-v"_s});
    }
    const std::vector<int16_t> expected = decode(reference);
    const std::vector<int16_t> split = decode(out(u"split/music.mp3"_s));
    const std::vector<int16_t> single = decode(out(u"single/music.mp3"_s));
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
    makeMusic(in(u"a.wav"_s), kSeconds, 44100);
    makeMusic(in(u"b.wav"_s), kSeconds, 48000);
    ASSERT_FALSE(HasFatalFailure());
    const QStringList options{u"-f"_s, u"vbr:4"_s, u"-j"_s, u"2"_s};
    const QStringList paths{in(u"a.wav"_s), in(u"b.wav"_s)};
    convert(u"two"_s, options, paths);
    convert(u"single"_s, options + QStringList{u"--no-split"_s}, paths);
    ASSERT_FALSE(HasFatalFailure());
    for (const char* name : {"a.mp3", "b.mp3"}) {
        const QByteArray two = fileBytes(out(u"two/"_s) + QLatin1String(name));
        EXPECT_FALSE(two.isEmpty()) << name;
        EXPECT_EQ(two, fileBytes(out(u"single/"_s) + QLatin1String(name))) << name;
    }
}

TEST_F(SplitEncodeRun, InterruptedMidwayLeavesNoOutputAndNoTemporaryFile)
{
    const QString source = in(u"long.flac"_s);
    makeMusic(source, 240, 44100);
    ASSERT_FALSE(HasFatalFailure());
    const QString temporary = this->temporary();
    QProcess process;
    process.setProcessEnvironment(environment());
    process.start(CliProgram::path(), {u"convert"_s, u"-j"_s, u"3"_s, u"-o"_s, out(u"cut"_s), source});
    ASSERT_TRUE(process.waitForStarted());
    // A little after the output's temporary file is made, its parts encode.
    ASSERT_TRUE(CliTestKit::waitForTemporaryFile(temporary));
    QThread::msleep(500);
    ::kill(pid_t(process.processId()), SIGINT);
    ASSERT_TRUE(process.waitForFinished(60000));
    EXPECT_EQ(process.exitCode(), 130) << process.readAllStandardError().toStdString();
    EXPECT_EQ(filesBelow(temporary), QStringList{});
    EXPECT_EQ(filesBelow(out(u"cut"_s)), QStringList{});
}

TEST_F(SplitEncodeRun, SourceEndingEarlyIsConvertedAsWithoutSplitting)
{
    // A FLAC cut at 60 % announces more than it holds: its parts cannot be
    // joined, and the file is encoded whole, reported damaged.
    makeMusic(in(u"whole.flac"_s), 80, 44100);
    ASSERT_FALSE(HasFatalFailure());
    const QByteArray whole = fileBytes(in(u"whole.flac"_s));
    CliTestKit::writeFile(in(u"cut.flac"_s), whole.left(whole.size() * 6 / 10));
    for (const QStringList& options : {QStringList{}, QStringList{u"--no-split"_s}}) {
        const QString folder = options.isEmpty() ? u"split"_s : u"single"_s;
        const CliProgram::Result result =
            CliProgram::run(QStringList{u"convert"_s, u"-j"_s, u"3"_s, u"-o"_s, out(folder)} + options +
                                QStringList{in(u"cut.flac"_s)},
                            environment());
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_TRUE(result.out.contains(u"1 of 1 files written, 1 from a damaged source."_s))
            << result.out.toStdString();
    }
    EXPECT_FALSE(fileBytes(out(u"split/cut.mp3"_s)).isEmpty());
    EXPECT_EQ(fileBytes(out(u"split/cut.mp3"_s)), fileBytes(out(u"single/cut.mp3"_s)));
    EXPECT_EQ(CliProgram::temporaryFilesIn(temporary()), QStringList{});
}

TEST_F(SplitEncodeRun, LongCueSheetTrackStaysExactWithTheSameReplayGain)
{
    // Track 2 of a 45 s image runs from 10 s to the end: 35 s, split.
    const QString image = in(u"Image.flac"_s);
    makeMusic(image, 45, 44100);
    ASSERT_FALSE(HasFatalFailure());
    CliTestKit::writeFile(in(u"Image.cue"_s),
                          "FILE \"Image.flac\" WAVE\n"
                          "  TRACK 01 AUDIO\n    TITLE \"Short\"\n    INDEX 01 00:00:00\n"
                          "  TRACK 02 AUDIO\n    TITLE \"Long\"\n    INDEX 01 00:10:00\n");
    const QStringList options{u"-f"_s, u"vbr:2"_s, u"--replaygain"_s, u"track"_s, u"-j"_s, u"3"_s};
    convert(u"split"_s, options, {in(u"Image.cue"_s)});
    convert(u"single"_s, options + QStringList{u"--no-split"_s}, {in(u"Image.cue"_s)});
    ASSERT_FALSE(HasFatalFailure());

    const QString split = out(u"split/02 - Long.mp3"_s);
    const QString single = out(u"single/02 - Long.mp3"_s);
    EXPECT_NE(fileBytes(split), fileBytes(single));
    EXPECT_EQ(decode(split).size(), size_t(35 * 44100 * 2));
    const QJsonObject splitTags = Mutagen::dump(split);
    EXPECT_TRUE(splitTags.keys().join(u' ').contains(u"REPLAYGAIN_TRACK_GAIN"_s))
        << splitTags.keys().join(u' ').toStdString();
    EXPECT_EQ(splitTags, Mutagen::dump(single));
}

} // namespace
