// Damaged sources through sonabrik-cli, per format: clean files (and the
// format's unusual but valid variants) beside copies cut at 60 %, with 4 KB
// overwritten and, for FLAC, a bit flipped in a frame's audio and a wrong
// MD5. Clean files convert silently and go to the Trash; a damaged one is
// converted with one log line saying what was found (its source kept), or
// fails; the run ends with status 1 and the count of damaged sources.

#include "CliTestKit.h"

#include <QRandomGenerator>
#include <QRegularExpression>
#include <map>

using namespace Qt::StringLiterals;

namespace {

using CliProgram::probedDuration;
using CliTestKit::mustRun;

struct Expected
{
    const char* damage; // the file's name before the extension
    const char* phrase; // in its log line; nullptr: the file fails
};

struct FormatCase
{
    const char* name;
    const char* extension;
    // Writes in/clean.<ext> and any clean variants; gives their names.
    QStringList (*make)(const QString& folder);
    std::vector<Expected> damaged;
};

void ffmpeg(const QStringList& arguments)
{
    mustRun(u"ffmpeg"_s, QStringList{u"-nostdin"_s, u"-v"_s, u"error"_s, u"-y"_s} + arguments);
}

QString at(const QString& folder, const char* name)
{
    return folder + u'/' + QLatin1String(name);
}

QStringList makeFLAC(const QString& folder)
{
    // Verbatim subframes: a flipped bit changes one sample, only the CRC tells.
    mustRun(u"flac"_s, {u"-s"_s, u"-f"_s, u"--disable-fixed-subframes"_s, u"--max-lpc-order=0"_s, u"-o"_s,
                        at(folder, "in/clean.flac"), at(folder, "src.wav")});
    // No signature: STREAMINFO's MD5 all zeros.
    CliTestKit::writeFile(at(folder, "in/clean-without-md5.flac"),
                          fileBytes(at(folder, "in/clean.flac")).replace(26, 16, QByteArray(16, '\0')));
    // Variable block size, from a file without a seek table (whose offsets
    // would no longer hold).
    mustRun(u"flac"_s, {u"-s"_s, u"-f"_s, u"--no-seektable"_s, u"-o"_s, at(folder, "fixed.flac"),
                        at(folder, "src.wav")});
    mustRun(systemPython(), {QStringLiteral(SONABRIK_SOURCE_DIR "/tests/support/flac_variable_blocks.py"),
                             at(folder, "fixed.flac"), at(folder, "in/clean-variable-blocks.flac")});
    return {"clean.flac", "clean-without-md5.flac", "clean-variable-blocks.flac"};
}

QStringList makeOggFLAC(const QString& folder)
{
    mustRun(u"flac"_s,
            {u"-s"_s, u"-f"_s, u"--ogg"_s, u"-o"_s, at(folder, "in/clean.oga"), at(folder, "src.wav")});
    return {"clean.oga"};
}

QStringList makeVorbis(const QString& folder)
{
    mustRun(u"oggenc"_s, {u"-Q"_s, u"-s"_s, u"1"_s, u"-o"_s, at(folder, "a.ogg"), at(folder, "src.wav")});
    mustRun(u"oggenc"_s, {u"-Q"_s, u"-s"_s, u"2"_s, u"-o"_s, at(folder, "b.ogg"), at(folder, "short.wav")});
    QFile::copy(at(folder, "a.ogg"), at(folder, "in/clean.ogg"));
    // Two links one after the other, and two logical streams interleaved.
    CliTestKit::writeFile(at(folder, "in/clean-chained.ogg"),
                          fileBytes(at(folder, "a.ogg")) + fileBytes(at(folder, "b.ogg")));
    ffmpeg({u"-i"_s, at(folder, "src.wav"), u"-i"_s, at(folder, "short.wav"), u"-map"_s, u"0"_s, u"-map"_s,
            u"1"_s, u"-c:a"_s, u"libvorbis"_s, at(folder, "in/clean-multiplexed.ogg")});
    return {"clean.ogg", "clean-chained.ogg", "clean-multiplexed.ogg"};
}

QStringList makeOpus(const QString& folder)
{
    mustRun(u"opusenc"_s,
            {u"--quiet"_s, u"--serial"_s, u"1"_s, at(folder, "src.wav"), at(folder, "in/clean.opus")});
    return {"clean.opus"};
}

QStringList makeSpeex(const QString& folder)
{
    mustRun(u"sox"_s, {u"-D"_s, at(folder, "src.wav"), u"-r"_s, u"16000"_s, u"-c"_s, u"1"_s,
                       at(folder, "src-16k.wav")});
    mustRun(u"speexenc"_s, {u"--quiet"_s, u"-w"_s, at(folder, "src-16k.wav"), at(folder, "in/clean.spx")});
    return {"clean.spx"};
}

QStringList makeWavPack(const QString& folder)
{
    // With its MD5 signature (-m).
    mustRun(u"wavpack"_s,
            {u"-q"_s, u"-y"_s, u"-m"_s, at(folder, "src.wav"), u"-o"_s, at(folder, "in/clean.wv")});
    return {"clean.wv"};
}

QStringList makeMusepack(const QString& folder)
{
    mustRun(u"mpcenc"_s,
            {u"--silent"_s, u"--overwrite"_s, at(folder, "src.wav"), at(folder, "in/clean.mpc")});
    return {"clean.mpc"};
}

QStringList makeWith(const QString& folder, const char* name, const QStringList& codec)
{
    ffmpeg(QStringList{u"-i"_s, at(folder, "src.wav")} + codec +
           QStringList{folder + u"/in/"_s + QLatin1String(name)});
    return {QLatin1String(name)};
}

QStringList makeWAV(const QString& folder)
{
    QFile::copy(at(folder, "src.wav"), at(folder, "in/clean.wav"));
    return {"clean.wav"};
}

QStringList makeDSD(const QString& folder)
{
    QFile::copy(Fixtures::generated(u"dsd-tone-64-2ch.dsf"_s), at(folder, "in/clean.dsf"));
    return {"clean.dsf"};
}

// A copy of in/clean.<ext> with the damage, for in/<damage>.<ext>.
QByteArray withDamage(const std::string& damage, QByteArray bytes)
{
    if (damage == "cut") {
        bytes.truncate(bytes.size() * 6 / 10);
    } else if (damage == "overwritten") {
        QRandomGenerator random(7);
        QByteArray noise(4096, '\0');
        random.fillRange(reinterpret_cast<quint32*>(noise.data()), noise.size() / 4);
        bytes.replace(bytes.size() / 2, noise.size(), noise);
    } else if (damage == "bit-flipped") { // 200 bytes into the first frame after the middle
        const qsizetype sync = bytes.indexOf(QByteArray("\xff\xf8", 2), bytes.size() / 2);
        EXPECT_GT(sync, 0);
        bytes[sync + 200] = char(bytes[sync + 200] ^ 0x10);
    } else { // wrong-md5: STREAMINFO's MD5 at offset 26
        EXPECT_EQ(damage, "wrong-md5");
        bytes[26] = char(bytes[26] ^ 0x01);
    }
    return bytes;
}

class DamagedSources : public testing::TestWithParam<FormatCase>, public CliTestKit::Folders
{
protected:
    void SetUp() override
    {
        for (const auto& [name, seconds] : {std::pair{"src.wav", 10}, {"short.wav", 3}}) {
            CliTestKit::synth(scratch.file(QLatin1String(name)), seconds,
                              {u"sine"_s, u"440"_s, u"sine"_s, u"660"_s, u"gain"_s, u"-6"_s});
        }
    }
};

TEST_P(DamagedSources, AreReportedAndKeptAndCleanOnesAreNot)
{
    const FormatCase& format = GetParam();
    const QStringList clean = format.make(scratch.path());
    ASSERT_FALSE(HasFatalFailure());
    const QString extension = QLatin1String(format.extension);
    const QByteArray original = fileBytes(in(u"clean."_s + extension));
    ASSERT_GT(original.size(), 8192);
    for (const Expected& expected : format.damaged) {
        CliTestKit::writeFile(in(u"%1.%2"_s.arg(QLatin1String(expected.damage), extension)),
                              withDamage(expected.damage, original));
    }

    const CliProgram::Result result = cli(
        {u"convert"_s, u"-j"_s, u"1"_s, u"-f"_s, u"cbr:128"_s, u"--delete-original"_s, u"-o"_s, out(), in()});
    const std::string output = (result.out + result.err).toStdString();

    // "[2/5] DAMAGED: /…/in/cut.flac" for each file.
    std::map<QString, QString> outcome;
    const QRegularExpression line(u"^\\[\\d+/\\d+\\] (\\w+): .*/in/([^/\\n]+)$"_s,
                                  QRegularExpression::MultilineOption);
    for (auto match = line.globalMatch(result.out); match.hasNext();) {
        const QRegularExpressionMatch m = match.next();
        outcome[m.captured(2)] = m.captured(1);
    }
    const QString log = result.err.section(u"\nError log:\n"_s, 1);

    for (const QString& name : clean) {
        EXPECT_EQ(outcome[name], u"done"_s) << name.toStdString() << '\n' << output;
        EXPECT_FALSE(log.contains(name)) << name.toStdString() << '\n' << output;
        EXPECT_FALSE(QFile::exists(in(name))) << "not trashed: " << name.toStdString();
        EXPECT_GT(probedDuration(out(QFileInfo(name).completeBaseName() + u".mp3"_s)), 0.5)
            << name.toStdString();
    }
    qsizetype damaged = 0;
    qsizetype failed = 0;
    for (const Expected& expected : format.damaged) {
        const QString name = u"%1.%2"_s.arg(QLatin1String(expected.damage), extension);
        SCOPED_TRACE(name.toStdString());
        EXPECT_TRUE(QFile::exists(in(name))) << "a damaged source was trashed";
        if (!expected.phrase) {
            EXPECT_EQ(outcome[name], u"FAILED"_s) << output;
            ++failed;
            continue;
        }
        ++damaged;
        EXPECT_EQ(outcome[name], u"DAMAGED"_s) << output;
        const QString prefix = u"Damaged Source: %1: "_s.arg(in(name));
        const QStringList lines = log.split(u'\n').filter(prefix);
        ASSERT_EQ(lines.size(), 1) << output;
        EXPECT_TRUE(lines.first().contains(QLatin1String(expected.phrase))) << lines.first().toStdString();
        EXPECT_TRUE(lines.first().endsWith(u". The MP3 holds what could be decoded."_s));
        EXPECT_GT(probedDuration(out(u"%1.mp3"_s.arg(QLatin1String(expected.damage)))), 0.0);
    }
    const qsizetype total = clean.size() + qsizetype(format.damaged.size());
    const QString report = damaged > 0
                               ? u"%1 of %2 files written, %3 from a damaged source.\n"_s.arg(total - failed)
                                     .arg(total)
                                     .arg(damaged)
                               : u"%1 of %2 files written.\n"_s.arg(total - failed).arg(total);
    EXPECT_TRUE(result.out.contains(report)) << output;
    EXPECT_EQ(result.exitCode, 1);
}

// "stream ends at 0:06.0 of 0:10.0": only the minute is sure (overheads differ).
constexpr const char* kEndsEarly = "stream ends at 0:0";
constexpr const char* kNoEndPage = "without its end-of-stream page";

INSTANTIATE_TEST_SUITE_P(
    Formats, DamagedSources,
    testing::Values(
        FormatCase{"FLAC",
                   "flac",
                   makeFLAC,
                   {{"cut", kEndsEarly},
                    {"overwritten", "failed its CRC"},
                    {"bit-flipped", "1 frame failed its CRC at 0:0"},
                    {"wrong-md5", "MD5 signature does not match the decoded audio"}}},
        FormatCase{"OggFLAC", "oga", makeOggFLAC, {{"cut", kEndsEarly}, {"overwritten", "MD5 signature"}}},
        FormatCase{"Vorbis",
                   "ogg",
                   makeVorbis,
                   {{"cut", kNoEndPage}, {"overwritten", "a hole in the stream at 0:0"}}},
        FormatCase{"Opus", "opus", makeOpus, {{"cut", kNoEndPage}, {"overwritten", "pages are missing"}}},
        FormatCase{"Speex", "spx", makeSpeex, {{"cut", kEndsEarly}, {"overwritten", "pages are missing"}}},
        FormatCase{"WavPack", "wv", makeWavPack, {{"cut", kEndsEarly}, {"overwritten", "failed its CRC"}}},
        FormatCase{
            "Musepack", "mpc", makeMusepack, {{"cut", kEndsEarly}, {"overwritten", "failed to decode"}}},
        // Its decoder refuses a damaged frame: the file fails.
        FormatCase{"TrueAudio",
                   "tta",
                   [](const QString& folder) {
                       return makeWith(folder, "clean.tta", {u"-c:a"_s, u"tta"_s});
                   },
                   {{"cut", nullptr}, {"overwritten", nullptr}}},
        FormatCase{
            "AAC",
            "m4a",
            [](const QString& folder) {
                return makeWith(folder, "clean.m4a", {u"-c:a"_s, u"aac"_s, u"-movflags"_s, u"+faststart"_s});
            },
            {{"cut", kEndsEarly}, {"overwritten", "packet"}}},
        FormatCase{"WindowsMedia",
                   "wma",
                   [](const QString& folder) {
                       return makeWith(folder, "clean.wma", {u"-c:a"_s, u"wmav2"_s});
                   },
                   {{"cut", "1 packet failed to decode at 0:05"}, {"overwritten", kEndsEarly}}},
        // Raw samples carry no checksum: only their length can tell.
        FormatCase{"WAV", "wav", makeWAV, {{"cut", kEndsEarly}}},
        FormatCase{"DSD", "dsf", makeDSD, {{"cut", "stream ends at 0:00.3 of 0:00.5"}}}),
    [](const testing::TestParamInfo<FormatCase>& info) { return std::string(info.param.name); });

} // namespace
