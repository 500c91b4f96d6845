// sonabrik-cli when the world changes under a run: sources deleted or made
// unreadable, the output folder removed or made read-only, a full disk, and
// the program killed. The program is stopped (SIGSTOP) at a known point of
// its work, the world is changed, and it goes on. Whatever happens, the run
// ends with its report, the other files convert, no file sits under an
// output's name unless it is whole, and the sources are never changed.

#include "CliProcess.h"
#include "CliProgram.h"
#include "Encoding.h"
#include "Fixtures.h"
#include "Mutagen.h"
#include "TagDump.h"
#include "Tools.h"
#include "Unprivileged.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

using CliProgram::filesBelow;
using CliProgram::probedDuration;
using CliProgram::temporaryFilesIn;

// Three sources converted one at a time: a and c are short, b is long
// enough to be caught while it encodes.
constexpr double kShortSeconds = 0.5;
constexpr double kLongSeconds = 40.0;

class CliFaults : public ::testing::Test
{
protected:
    CliFaults()
    {
        for (const char* folder : {"in", "out", "tmp", "home"}) {
            QDir().mkpath(scratch.file(QLatin1String(folder)));
        }
        makeSource(u"a.wav"_s, kShortSeconds);
        makeSource(u"b.wav"_s, kLongSeconds);
        makeSource(u"c.wav"_s, kShortSeconds);
        for (const QString& name : sourceNames()) {
            original[name] = fileBytes(in(name));
        }
    }

public:
    // For the faults, which act on the folders.
    QString in(const QString& name = {}) const { return scratch.file(u"in/"_s + name); }
    QString out(const QString& name = {}) const { return scratch.file(u"out/"_s + name); }
    QString temporary() const { return scratch.file(u"tmp"_s); }

protected:
    static QStringList sourceNames() { return {"a.wav", "b.wav", "c.wav"}; }

    void makeSource(const QString& name, double seconds)
    {
        const ToolResult made =
            runTool(u"sox"_s, {u"-D"_s, u"-n"_s, u"-r"_s, u"44100"_s, u"-c"_s, u"2"_s, u"-b"_s, u"16"_s,
                               in(name), u"synth"_s, QString::number(seconds), u"pinknoise"_s});
        ASSERT_EQ(made.exitCode, 0) << made.standardError.toStdString();
    }

    // The program's own home, temporary folder and settings, apart from the
    // test's (and the unprivileged user's to write).
    QProcessEnvironment environment() const
    {
        return CliProgram::isolatedEnvironment(scratch.file(u"home"_s), temporary());
    }

    QStringList arguments() const
    {
        return {u"convert"_s, u"-j"_s, u"1"_s,         u"-f"_s,        u"cbr:128"_s,
                u"-o"_s,      out(),   in(u"a.wav"_s), in(u"b.wav"_s), in(u"c.wav"_s)};
    }

    // No MP3 under an output's name is shorter than its source, no hidden
    // copy is left in the output folder, and nothing in the temporary one.
    void expectOnlyWholeOutputs(const char* when) const
    {
        for (const QString& file : filesBelow(out())) {
            const QString name = QFileInfo(file).fileName();
            EXPECT_FALSE(name.startsWith(u'.')) << when << ": a leftover " << file.toStdString();
            ASSERT_TRUE(name.endsWith(u".mp3"_s)) << when << ": " << file.toStdString();
            const double expected = name == u"b.mp3"_s ? kLongSeconds : kShortSeconds;
            EXPECT_NEAR(probedDuration(out(file)), expected, 0.06) << when << ": " << file.toStdString();
        }
    }

    // The sources the test left alone are byte for byte what they were.
    void expectSourcesUnchanged(const QStringList& except = {}) const
    {
        for (const QString& name : sourceNames()) {
            if (!except.contains(name)) {
                EXPECT_EQ(fileBytes(in(name)), original.at(name)) << name.toStdString() << " was changed";
            }
        }
    }

    PreferencesScope prefs;
    ScratchDir scratch;
    std::map<QString, QByteArray> original;
};

struct MidRunFault
{
    const char* name;
    // Done while the program is stopped in b's encode; a is converted, c
    // not yet opened.
    std::function<void(const CliFaults&)> act;
    QStringList written;     // outputs in the folder at the end
    int failed;              // files counted as failed
    const char* errorText;   // in the error log, when failed
    QStringList sourcesGone; // sources the fault removed or made unreadable
    // With --delete-original: the sources that go to the Trash, those whose
    // every output was written.
    QStringList trashed = {};
};

void chmodOrFail(const QString& path, mode_t mode)
{
    ASSERT_EQ(::chmod(QFile::encodeName(path).constData(), mode), 0) << path.toStdString();
}

class CliMidRunFault : public CliFaults, public ::testing::WithParamInterface<MidRunFault>
{
};

// The file being encoded keeps its open descriptor and converts whole; the
// one not yet opened fails alone, saying which; an output folder that is
// gone is made again; one that may not be written fails the files still to
// come, each with its line.
const MidRunFault kMidRunFaults[] = {
    {"SourcesDeleted",
     [](const CliFaults& t) {
         ASSERT_TRUE(QFile::remove(t.in(u"b.wav"_s)));
         ASSERT_TRUE(QFile::remove(t.in(u"c.wav"_s)));
     },
     {"a.mp3", "b.mp3"},
     1,
     "Could Not Initialize Any Decoder For File: ",
     {"b.wav", "c.wav"}},
    {"SourcesMadeUnreadable",
     [](const CliFaults& t) {
         chmodOrFail(t.in(u"b.wav"_s), 0);
         chmodOrFail(t.in(u"c.wav"_s), 0);
     },
     {"a.mp3", "b.mp3"},
     1,
     "Could Not Initialize Any Decoder For File: ",
     {}},
    {"OutputFolderRemoved",
     [](const CliFaults& t) { ASSERT_TRUE(QDir(t.out()).removeRecursively()); },
     {"b.mp3", "c.mp3"},
     0,
     "",
     {},
     {"a.wav", "b.wav", "c.wav"}},
    {"OutputFolderMadeReadOnly",
     [](const CliFaults& t) { chmodOrFail(t.out(), 0555); },
     {"a.mp3"},
     2,
     "Could Not Move Encoded File To Folder out.  Error:",
     {},
     {"a.wav"}},
};

TEST_P(CliMidRunFault, TheRunEndsWithItsReportAndOnlyWholeOutputs)
{
    const MidRunFault& fault = GetParam();
    Unprivileged::own(scratch.path());
    QStringList arguments = this->arguments();
    if (!fault.trashed.isEmpty()) {
        arguments.insert(1, u"--delete-original"_s);
    }
    CliProcess run(arguments, environment(), Unprivileged::needed());
    ASSERT_TRUE(run.stopWhileSecondFileEncodes(temporary()));
    expectOnlyWholeOutputs("stopped");
    fault.act(*this);
    run.resume();
    const CliProgram::Result result = run.finish();
    chmodOrFail(out(), 0755);

    EXPECT_EQ(result.exitCode, fault.failed > 0 ? 1 : 0) << result.err.toStdString();
    EXPECT_EQ(filesBelow(out()), fault.written);
    expectOnlyWholeOutputs("at the end");
    EXPECT_EQ(temporaryFilesIn(temporary()), QStringList{});
    if (fault.failed > 0) {
        EXPECT_TRUE(result.err.contains(u"Failed To Encode %1 of 3 Files."_s.arg(fault.failed)))
            << result.err.toStdString();
        EXPECT_TRUE(result.err.contains(QLatin1String(fault.errorText))) << result.err.toStdString();
        EXPECT_EQ(result.out.count(u"FAILED: "_s), fault.failed) << result.out.toStdString();
    }
    // The report names what the run wrote (a.mp3 of the removed folder too).
    const qsizetype wrote = 3 - fault.failed;
    EXPECT_TRUE(result.out.contains(u"%1 of 3 files written."_s.arg(wrote))) << result.out.toStdString();
    for (const QString& name : fault.written) {
        EXPECT_TRUE(result.out.contains(u"  "_s + out(name) + u'\n')) << result.out.toStdString();
    }
    for (const QString& name : sourceNames()) {
        if (QFileInfo::exists(in(name))) {
            chmodOrFail(in(name), 0644);
        }
    }
    // Only sources converted whole go to the Trash, and they go unchanged.
    const QString trash = scratch.file(u"home/.local/share/Trash/files/"_s);
    for (const QString& name : fault.trashed) {
        EXPECT_FALSE(QFileInfo::exists(in(name))) << name.toStdString();
        EXPECT_EQ(fileBytes(trash + name), original.at(name)) << name.toStdString();
    }
    expectSourcesUnchanged(fault.sourcesGone + fault.trashed);
}

INSTANTIATE_TEST_SUITE_P(Faults, CliMidRunFault, ::testing::ValuesIn(kMidRunFaults),
                         [](const auto& info) { return std::string(info.param.name); });

// A small file system mounted for one test, unmounted at its end. Mounting
// needs root and the right to mount (a container may refuse it).
class SmallDisk
{
public:
    SmallDisk(const QString& folder, const char* size) : m_folder(folder)
    {
        const ToolResult mounted =
            runTool(u"mount"_s, {u"-t"_s, u"tmpfs"_s, u"-o"_s, u"size="_s + QLatin1String(size),
                                 u"sonabrik-test"_s, folder});
        m_mounted = mounted.exitCode == 0;
        m_error = mounted.standardError.trimmed();
    }
    ~SmallDisk()
    {
        if (m_mounted) {
            runTool(u"umount"_s, {m_folder});
        }
    }
    bool mounted() const { return m_mounted; }
    const QString& error() const { return m_error; }

private:
    QString m_folder;
    bool m_mounted = false;
    QString m_error;
};

struct FullDisk
{
    const char* name;
    const char* folder;    // the folder on the small disk
    const char* errorText; // the failed file's line
};

class CliFullDisk : public CliFaults, public ::testing::WithParamInterface<FullDisk>
{
};

// The long file's MP3 does not fit on the disk, the short ones do: the long
// one fails with its line and leaves nothing behind, the others convert.
TEST_P(CliFullDisk, TheFileThatDoesNotFitFailsAlone)
{
    if (!Unprivileged::needed()) {
        GTEST_SKIP() << "skipped: mounting a small disk needs root";
    }
    const SmallDisk disk(scratch.file(QLatin1String(GetParam().folder)), "256k");
    if (!disk.mounted()) {
        GTEST_SKIP() << "skipped: a small tmpfs could not be mounted: " << disk.error().toStdString();
    }
    const CliProgram::Result result = CliProgram::run(arguments(), environment());
    EXPECT_EQ(result.exitCode, 1) << result.err.toStdString();
    EXPECT_TRUE(result.err.contains(u"Failed To Encode 1 of 3 Files."_s)) << result.err.toStdString();
    EXPECT_TRUE(result.err.contains(QLatin1String(GetParam().errorText))) << result.err.toStdString();
    EXPECT_TRUE(result.out.contains(u"FAILED: "_s + in(u"b.wav"_s))) << result.out.toStdString();
    EXPECT_EQ(filesBelow(out()), (QStringList{"a.mp3", "c.mp3"}));
    expectOnlyWholeOutputs("full disk");
    EXPECT_EQ(temporaryFilesIn(temporary()), QStringList{});
    expectSourcesUnchanged();
}

const FullDisk kFullDisks[] = {
    {"OutputFolder", "out", "Could Not Move Encoded File To Folder out.  Error:No space left on device"},
    {"TemporaryFolder", "tmp", "MP3 Encode Operation Failed To Encode File: b.wav.  Error:"},
};

INSTANTIATE_TEST_SUITE_P(Faults, CliFullDisk, ::testing::ValuesIn(kFullDisks),
                         [](const auto& info) { return std::string(info.param.name); });

// The tags go in after the audio, moving it behind them; when the disk
// fills then, TagLib says nothing and the audio's end is lost. Such a file
// fails, and is never put in place.
TEST_F(CliFaults, TagsThatDoNotFitOnTheTemporaryDiskFailTheirFile)
{
    if (!Unprivileged::needed()) {
        GTEST_SKIP() << "skipped: mounting a small disk needs root";
    }
    const QString cover = scratch.file(u"cover.png"_s);
    const QString covered = in(u"covered.flac"_s);
    const QString script = QStringLiteral(SONABRIK_SOURCE_DIR "/tests/support/hostile_files.py");
    makeSource(u"covered.flac"_s, kShortSeconds);
    for (const QStringList& step : {QStringList{u"png"_s, cover, u"16"_s, u"16"_s, u"300000"_s},
                                    QStringList{u"flacpicture"_s, covered, cover, u"image/png"_s, u"0"_s}}) {
        const ToolResult made = runTool(systemPython(), QStringList{script} + step);
        ASSERT_EQ(made.exitCode, 0) << made.standardError.toStdString();
    }
    const SmallDisk disk(temporary(), "256k");
    if (!disk.mounted()) {
        GTEST_SKIP() << "skipped: a small tmpfs could not be mounted: " << disk.error().toStdString();
    }
    const CliProgram::Result result = CliProgram::run(
        {u"convert"_s, u"-j"_s, u"1"_s, u"-o"_s, out(), in(u"a.wav"_s), covered, in(u"c.wav"_s)},
        environment());
    EXPECT_EQ(result.exitCode, 1) << result.err.toStdString();
    EXPECT_TRUE(result.err.contains(u"Failed To Encode 1 of 3 Files."_s)) << result.err.toStdString();
    EXPECT_TRUE(
        result.err.contains(QStringLiteral("MP3 Encode Operation Failed To Encode File: covered.flac.  "
                                           "Error:Unable to write the tags to the output file.")))
        << result.err.toStdString();
    EXPECT_EQ(filesBelow(out()), (QStringList{"a.mp3", "c.mp3"}));
    expectOnlyWholeOutputs("tags on a full disk");
    EXPECT_EQ(temporaryFilesIn(temporary()), QStringList{});
    expectSourcesUnchanged();
}

// Rewriting the tags of the user's own MP3s on a disk with no room left:
// a tag that fits its old room is written there; one that does not is
// written to a copy that cannot be made, and the file is left as it was,
// with the reason in the log. With room again, the copy takes the file's
// place keeping its permissions and modification time.
TEST_F(CliFaults, UpdatingTagsNeverCutsTheUsersMP3)
{
    if (!Unprivileged::needed()) {
        GTEST_SKIP() << "skipped: mounting a small disk needs root";
    }
    const QString cover = scratch.file(u"cover.png"_s);
    const ToolResult drawn =
        runTool(systemPython(), {QStringLiteral(SONABRIK_SOURCE_DIR "/tests/support/hostile_files.py"),
                                 u"png"_s, cover, u"16"_s, u"16"_s, u"100000"_s});
    ASSERT_EQ(drawn.exitCode, 0) << drawn.standardError.toStdString();
    const QString disk = scratch.file(u"mp3s"_s);
    QDir().mkpath(disk);
    const SmallDisk small(disk, "256k");
    if (!small.mounted()) {
        GTEST_SKIP() << "skipped: a small tmpfs could not be mounted: " << small.error().toStdString();
    }
    // Tags in ID3v2.3 with UTF-16 text: longer than the UTF-8 ones found.
    const QString settings = scratch.file(u"home/.config/Sonabrik"_s);
    QDir().mkpath(settings);
    const auto writeFile = [](const QString& path, const QByteArray& bytes) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_EQ(file.write(bytes), bytes.size());
    };
    writeFile(settings + u"/Sonabrik.conf"_s, "[General]\nWriteMP3ID3v2TagVersion=2\n");

    const QString roomy = disk + u"/roomy.mp3"_s;
    const QString tight = disk + u"/tight.mp3"_s;
    for (const QString& mp3 : {roomy, tight}) {
        const ToolResult encoded =
            runTool(u"lame"_s, {u"--silent"_s, u"-b"_s, u"128"_s, in(u"a.wav"_s), mp3});
        ASSERT_EQ(encoded.exitCode, 0) << encoded.standardError.toStdString();
    }
    const QJsonArray title = Mutagen::entry(u"TIT2"_s, u"Lantern Road"_s);
    Mutagen::tag(roomy, u"id3"_s, {title}, {{u"padding"_s, 1000}});
    Mutagen::tag(
        tight, u"id3"_s,
        {title, Mutagen::entry(u"APIC"_s, QJsonObject{{u"apic"_s, cover}, {u"mime"_s, u"image/png"_s}})},
        {{u"padding"_s, 0}});
    ASSERT_EQ(::chmod(QFile::encodeName(tight).constData(), 0640), 0);
    const QByteArray tightBefore = fileBytes(tight);
    const QDateTime tightTime = QFileInfo(tight).lastModified();
    const auto status = [](const QString& path) {
        struct stat status = {};
        ::stat(QFile::encodeName(path).constData(), &status);
        return status;
    };
    const auto inode = [&](const QString& path) { return status(path).st_ino; };
    // The version the tag was written in: 3 once Sonabrik has written it.
    const auto tagVersion = [](const QString& path) {
        return mutagenTags(path)[u"id3v2"_s][u"version"_s][1].toInt();
    };
    const ino_t roomyInode = inode(roomy);
    const ino_t tightInode = inode(tight);

    // Fill the disk so that a copy of tight.mp3 cannot be made.
    struct statvfs space = {};
    ASSERT_EQ(::statvfs(QFile::encodeName(disk).constData(), &space), 0);
    const qint64 free = qint64(space.f_bavail) * qint64(space.f_frsize);
    const QString filler = disk + u"/filler"_s;
    writeFile(filler, QByteArray(free - tightBefore.size() / 2, 'x'));

    const QStringList update{u"convert"_s, u"--update-metadata"_s, roomy, tight};
    CliProgram::Result result = CliProgram::run(update, environment());
    EXPECT_EQ(result.exitCode, 1) << result.err.toStdString();
    EXPECT_TRUE(result.err.contains(u"Could Not Write Metadata To: "_s + tight +
                                    u".  Error:No space left on device"_s))
        << result.err.toStdString();
    EXPECT_EQ(fileBytes(tight), tightBefore);
    EXPECT_EQ(inode(roomy), roomyInode);
    EXPECT_EQ(tagVersion(roomy), 3);
    EXPECT_EQ(id3v2Text(mutagenTags(roomy), u"TIT2"_s), u"Lantern Road"_s);
    EXPECT_NEAR(probedDuration(roomy), kShortSeconds, 0.06);
    EXPECT_EQ(QDir(disk).entryList(QDir::Files | QDir::Hidden).size(), 3) << "a copy was left behind";

    QFile::remove(filler);
    result = CliProgram::run(update, environment());
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_NE(inode(tight), tightInode);
    EXPECT_EQ(status(tight).st_mode & 07777, 0640u);
    EXPECT_EQ(QFileInfo(tight).lastModified(), tightTime);
    EXPECT_EQ(tagVersion(tight), 3);
    EXPECT_EQ(id3v2Text(mutagenTags(tight), u"TIT2"_s), u"Lantern Road"_s);
    EXPECT_NEAR(probedDuration(tight), kShortSeconds, 0.06);
}

// A killed program leaves no output under its name that is not whole, and a
// second run converts what the first did not.
TEST_F(CliFaults, KilledMidRunAndRunAgain)
{
    {
        CliProcess run(arguments(), environment(), false);
        ASSERT_TRUE(run.stopWhileSecondFileEncodes(temporary()));
        run.kill();
        EXPECT_EQ(run.finish().exitCode, -1);
    }
    EXPECT_EQ(filesBelow(out()), QStringList{"a.mp3"});
    expectOnlyWholeOutputs("after the kill");
    expectSourcesUnchanged();
    // The killed encode's temporary file is left behind; the next run
    // removes it, but not the files of a process that still runs (this
    // test's) nor another program's.
    EXPECT_FALSE(temporaryFilesIn(temporary()).isEmpty());
    const QString running = u"Wavecrate-00000000-%1-abcdEFGH"_s.arg(::getpid());
    for (const QString& name : {running, u"other-program.tmp"_s}) {
        QFile(temporary() + u'/' + name).open(QIODevice::WriteOnly);
    }
    QStringList arguments = this->arguments();
    arguments.insert(1, u"--overwrite"_s);
    arguments.insert(2, u"skip"_s);
    const CliProgram::Result result = CliProgram::run(arguments, environment());
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_TRUE(result.out.contains(u"2 of 3 files written, 1 skipped."_s)) << result.out.toStdString();
    EXPECT_EQ(filesBelow(out()), (QStringList{"a.mp3", "b.mp3", "c.mp3"}));
    expectOnlyWholeOutputs("after the second run");
    expectSourcesUnchanged();
    QStringList left = QDir(temporary()).entryList(QDir::Files | QDir::Hidden);
    left.sort();
    EXPECT_EQ(left, (QStringList{running, u"other-program.tmp"_s}));
}

} // namespace
