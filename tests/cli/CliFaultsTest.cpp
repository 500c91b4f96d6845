// sonabrik-cli when the world changes under a run (the program stopped with
// SIGSTOP at a known point, the world changed, the program resumed), on a
// full disk, and killed: the run ends with its report, the other files
// convert, only whole files sit under an output's name, sources never change.

#include "CliProcess.h"
#include "CliTestKit.h"
#include "Encoding.h"
#include "Mutagen.h"
#include "TagDump.h"
#include "Unprivileged.h"

#include <QDateTime>
#include <functional>
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
constexpr double kLongSeconds = 20.0;

class CliFaults : public ::testing::Test, public CliTestKit::Folders
{
protected:
    CliFaults()
    {
        for (const QString& name : sourceNames()) {
            CliTestKit::synth(in(name), name == u"b.wav"_s ? kLongSeconds : kShortSeconds, {u"pinknoise"_s});
            original[name] = fileBytes(in(name));
        }
    }

    static QStringList sourceNames() { return {"a.wav", "b.wav", "c.wav"}; }

    QStringList arguments() const
    {
        return {u"convert"_s, u"-j"_s, u"1"_s,         u"-f"_s,        u"cbr:128"_s,
                u"-o"_s,      out(),   in(u"a.wav"_s), in(u"b.wav"_s), in(u"c.wav"_s)};
    }

    // No MP3 under an output's name is shorter than its source, no hidden copy.
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

    void expectSourcesUnchanged(const QStringList& except = {}) const
    {
        for (const QString& name : sourceNames()) {
            if (!except.contains(name)) {
                EXPECT_EQ(fileBytes(in(name)), original.at(name)) << name.toStdString() << " was changed";
            }
        }
    }

    PreferencesScope prefs;
    std::map<QString, QByteArray> original;
};

struct MidRunFault
{
    const char* name;
    std::function<void(const CliFaults&)> act; // while stopped in b's encode, after a's
    QStringList written;
    int failed;
    const char* errorText;
    QStringList sourcesGone;
    QStringList trashed = {}; // with --delete-original: sources whose output was written
};

void chmodOrFail(const QString& path, mode_t mode)
{
    ASSERT_EQ(::chmod(QFile::encodeName(path).constData(), mode), 0) << path.toStdString();
}

class CliMidRunFault : public CliFaults, public ::testing::WithParamInterface<MidRunFault>
{
};

// The file being encoded keeps its descriptor and converts whole, the one
// not yet opened fails alone; a removed output folder is made again, a
// read-only one fails the files still to come.
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

// A small tmpfs for one test (mounting needs root, which a container may refuse).
struct SmallDisk
{
    SmallDisk(const QString& folder, const char* size)
        : folder(folder),
          mount(runTool(u"mount"_s, {u"-t"_s, u"tmpfs"_s, u"-o"_s, u"size="_s + QLatin1String(size),
                                     u"sonabrik-test"_s, folder}))
    {
    }
    ~SmallDisk()
    {
        if (mounted()) {
            runTool(u"umount"_s, {folder});
        }
    }
    bool mounted() const { return mount.exitCode == 0; }
    std::string error() const { return mount.standardError.trimmed().toStdString(); }

    QString folder;
    ToolResult mount;
};

// What does not fit on a full disk fails alone and leaves nothing behind: the
// long file's MP3 in the output or the temporary folder, and tags that no
// longer fit once the audio is written (TagLib says nothing then, and the
// audio's end would be lost).
TEST_F(CliFaults, WhatDoesNotFitOnAFullDiskFailsAlone)
{
    if (!Unprivileged::needed()) {
        GTEST_SKIP() << "skipped: mounting a small disk needs root";
    }
    const QString cover = scratch.file(u"cover.png"_s);
    const QString covered = in(u"covered.flac"_s);
    const QString script = QStringLiteral(SONABRIK_SOURCE_DIR "/tests/support/hostile_files.py");
    CliTestKit::synth(covered, kShortSeconds, {u"pinknoise"_s});
    CliTestKit::mustRun(systemPython(), {script, u"png"_s, cover, u"16"_s, u"16"_s, u"300000"_s});
    CliTestKit::mustRun(systemPython(), {script, u"flacpicture"_s, covered, cover, u"image/png"_s, u"0"_s});
    for (const QString& folder : {u"out"_s, u"tmp"_s}) {
        SCOPED_TRACE(folder.toStdString());
        const bool temporaryDisk = folder == u"tmp"_s;
        const SmallDisk disk(scratch.file(folder), "256k");
        if (!disk.mounted()) {
            GTEST_SKIP() << "skipped: a small tmpfs could not be mounted: " << disk.error();
        }
        QStringList arguments = this->arguments();
        if (temporaryDisk) {
            arguments.insert(arguments.size() - 1, covered);
        }
        const CliProgram::Result result = cli(arguments);
        EXPECT_EQ(result.exitCode, 1) << result.err.toStdString();
        EXPECT_TRUE(result.err.contains(temporaryDisk ? u"Failed To Encode 2 of 4 Files."_s
                                                      : u"Failed To Encode 1 of 3 Files."_s))
            << result.err.toStdString();
        EXPECT_TRUE(result.err.contains(
            temporaryDisk ? u"MP3 Encode Operation Failed To Encode File: b.wav.  Error:"_s
                          : u"Could Not Move Encoded File To Folder out.  Error:No space left on device"_s))
            << result.err.toStdString();
        EXPECT_EQ(result.err.contains(u"MP3 Encode Operation Failed To Encode File: covered.flac.  "
                                      u"Error:Unable to write the tags to the output file."_s),
                  temporaryDisk)
            << result.err.toStdString();
        EXPECT_TRUE(result.out.contains(u"FAILED: "_s + in(u"b.wav"_s))) << result.out.toStdString();
        EXPECT_EQ(filesBelow(out()), (QStringList{"a.mp3", "c.mp3"}));
        expectOnlyWholeOutputs("full disk");
        EXPECT_EQ(temporaryFilesIn(temporary()), QStringList{});
    }
    expectSourcesUnchanged();
}

// Retagging the user's MP3s on a full disk: a tag that fits its old room is
// written there; one that does not needs a copy that cannot be made, and the
// file is left as it was. With room again, the copy takes the file's place
// keeping its permissions and modification time.
TEST_F(CliFaults, UpdatingTagsNeverCutsTheUsersMP3)
{
    if (!Unprivileged::needed()) {
        GTEST_SKIP() << "skipped: mounting a small disk needs root";
    }
    const QString cover = scratch.file(u"cover.png"_s);
    CliTestKit::mustRun(systemPython(),
                        {QStringLiteral(SONABRIK_SOURCE_DIR "/tests/support/hostile_files.py"), u"png"_s,
                         cover, u"16"_s, u"16"_s, u"100000"_s});
    const QString disk = scratch.file(u"mp3s"_s);
    QDir().mkpath(disk);
    const SmallDisk small(disk, "256k");
    if (!small.mounted()) {
        GTEST_SKIP() << "skipped: a small tmpfs could not be mounted: " << small.error();
    }
    // Tags in ID3v2.3 with UTF-16 text: longer than the UTF-8 ones found.
    const QString settings = scratch.file(u"home/.config/Sonabrik"_s);
    QDir().mkpath(settings);
    CliTestKit::writeFile(settings + u"/Sonabrik.conf"_s, "[General]\nWriteMP3ID3v2TagVersion=2\n");

    const QString roomy = disk + u"/roomy.mp3"_s;
    const QString tight = disk + u"/tight.mp3"_s;
    for (const QString& mp3 : {roomy, tight}) {
        CliTestKit::mustRun(u"lame"_s, {u"--silent"_s, u"-b"_s, u"128"_s, in(u"a.wav"_s), mp3});
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
    CliTestKit::writeFile(filler, QByteArray(free - tightBefore.size() / 2, 'x'));

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
    // The next run removes the killed encode's temporary file, not those of
    // a process that still runs (this test's) nor another program's.
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
