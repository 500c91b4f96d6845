// The controller on a scripted user interface: intake, the run with its
// launch, completion and report, the overwrite protocol, cancellation, the
// metadata commands, and when ReplayGain albums are written. Encodes real
// files; checks the outputs with ffprobe and mutagen.

#include "ApplicationController.h"
#include "EncoderSettings.h"
#include "Encoding.h"
#include "ErrorLog.h"
#include "FileEncodeOperation.h"
#include "Fixtures.h"
#include "MetadataCommands.h"
#include "Mutagen.h"
#include "OperationsArrayController.h"
#include "ScriptedUserInterface.h"
#include "Tools.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <gtest/gtest.h>
#include <optional>
#include <thread>

namespace {

QStringList filesBelow(const QString& folder)
{
    QStringList files;
    QDir dir(folder);
    for (const QFileInfo& info :
         dir.entryInfoList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name)) {
        if (info.isDir()) {
            for (const QString& inner : filesBelow(info.filePath())) {
                files << info.fileName() + u'/' + inner;
            }
        } else {
            files << info.fileName();
        }
    }
    return files;
}

double durationOf(const QString& path)
{
    const ToolResult probe =
        runTool(QStringLiteral("ffprobe"),
                {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-show_entries"),
                 QStringLiteral("format=duration"), QStringLiteral("-of"), QStringLiteral("csv=p=0"), path});
    return probe.exitCode == 0 ? probe.standardOutput.trimmed().toDouble() : -1;
}

class ApplicationControllerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        QDir().mkpath(out());
        prefs.set(QStringLiteral("destinationDirectory"), out());
        prefs.set(QStringLiteral("numProcesses"), 2);
        controller.awakeFromNib();
        QObject::connect(&controller, &ApplicationController::runFinished, [this] { ++runsFinished; });
        QObject::connect(&controller, &ApplicationController::parsingFinished, [this] { ++parses; });
        QObject::connect(&controller, &ApplicationController::operationFinished,
                         [this](FileEncodeOperation* operation) {
                             ++finished;
                             maxRunning = std::max(maxRunning, controller.runningOperations() + 1);
                         });
    }

    QString out() const { return scratch.file(QStringLiteral("out")); }

    // A copy of a generated file in the scratch folder.
    QString source(const QString& fixture, const QString& relative)
    {
        const QString path = scratch.file(QStringLiteral("in/") + relative);
        QDir().mkpath(QFileInfo(path).path());
        QFile::remove(path);
        EXPECT_TRUE(QFile::copy(Fixtures::generated(fixture), path));
        return path;
    }

    void queue(const QStringList& paths)
    {
        const int before = parses;
        controller.applicationOpenFiles(paths);
        ASSERT_TRUE(waitUntil([&] { return parses > before; }));
    }

    void run(bool metadataOnly = false)
    {
        const int before = runsFinished;
        if (metadataOnly) {
            controller.updateMetadataMenuItemSelected();
        } else {
            controller.encodeFilesMenuItemSelected();
        }
        ASSERT_TRUE(waitUntil([&] { return runsFinished > before; }, 120));
    }

    OperationsArrayController& rows() { return controller.operationsController(); }

    PreferencesScope prefs;
    ScratchDir scratch;
    ScriptedUserInterface ui;
    ApplicationController controller{&ui};
    int runsFinished = 0;
    int parses = 0;
    int finished = 0;
    qint64 maxRunning = 0;
};

TEST_F(ApplicationControllerTest, IntakeWalksFoldersWithoutHiddenFilesAndRefusesOnlyEarlierDuplicates)
{
    const QString first = source(QStringLiteral("ctl-tagged.flac"), QStringLiteral("Album/CD1/01.flac"));
    source(QStringLiteral("ctl-tagged.mp3"), QStringLiteral("Album/LOUD.MP3"));
    source(QStringLiteral("ctl-short.wav"), QStringLiteral("Album/.hidden.wav"));
    source(QStringLiteral("ctl-short.wav"), QStringLiteral("Album/.cache/inside.wav"));
    QFile notes(scratch.file(QStringLiteral("in/Album/notes.txt")));
    ASSERT_TRUE(notes.open(QIODevice::WriteOnly));
    notes.close();
    const QString album = scratch.file(QStringLiteral("in/Album"));

    // The folder and a file inside it in one drop: the file comes twice.
    queue({album, first});
    EXPECT_EQ(rows().paths(), (QStringList{first, album + QStringLiteral("/LOUD.MP3"), first}));
    EXPECT_EQ(rows().at(0)->topLevelPath(), album);
    EXPECT_EQ(rows().at(2)->topLevelPath(), first);
    EXPECT_TRUE(controller.containsMP3Files());
    EXPECT_EQ(ui.selection, QList<int>{0});

    // Dropped again later: nothing new.
    queue({album});
    EXPECT_EQ(rows().count(), 3);

    // Removing the MP3 row clears the flag.
    controller.deleteRows({1});
    ASSERT_TRUE(waitUntil([&] { return !controller.encoderRunning(); }));
    EXPECT_EQ(rows().paths(), (QStringList{first, first}));
    EXPECT_FALSE(controller.containsMP3Files());
}

TEST_F(ApplicationControllerTest, RunStartsAtMostNumProcessesAndRemovesFinishedRows)
{
    QStringList paths;
    for (int i = 1; i <= 5; ++i) {
        paths << source(QStringLiteral("ctl-short.wav"), QStringLiteral("f%1.wav").arg(i));
    }
    queue(paths);
    run();
    EXPECT_EQ(finished, 5);
    EXPECT_LE(maxRunning, 2);
    EXPECT_EQ(controller.successfulEncodes(), 5);
    EXPECT_EQ(rows().count(), 0);
    EXPECT_FALSE(controller.encoderRunning());
    EXPECT_EQ(filesBelow(out()), (QStringList{"f1.mp3", "f2.mp3", "f3.mp3", "f4.mp3", "f5.mp3"}));
    EXPECT_NEAR(durationOf(out() + QStringLiteral("/f3.mp3")), 0.5, 0.06);
}

// An album's ReplayGain is written as soon as no row still to run belongs
// to it: the first album's MP3s carry theirs while the second converts.
TEST_F(ApplicationControllerTest, AnAlbumsReplayGainIsWrittenOnceItsLastRowFinished)
{
    prefs.set(QStringLiteral("numProcesses"), 1);
    prefs.set(QStringLiteral("replayGain"), 2);
    QStringList paths;
    // Made on a thread of their own: sox and flac start vfork-style, and a
    // child that shares the main thread's memory until exec leaves
    // ThreadSanitizer's record of that thread without the order it has with
    // the run's threads (it then reports the run's settings as a race).
    std::thread([&] {
        for (const QString name : {QStringLiteral("a1"), QStringLiteral("a2"), QStringLiteral("b1")}) {
            const QString wav = scratch.file(name + QStringLiteral(".wav"));
            ASSERT_EQ(runTool(QStringLiteral("sox"),
                              {QStringLiteral("-n"), QStringLiteral("-r"), QStringLiteral("44100"),
                               QStringLiteral("-c"), QStringLiteral("2"), QStringLiteral("-b"),
                               QStringLiteral("16"), wav, QStringLiteral("synth"), QStringLiteral("1"),
                               QStringLiteral("pinknoise")})
                          .exitCode,
                      0);
            paths << scratch.file(QStringLiteral("in/") + name + QStringLiteral(".flac"));
            QDir().mkpath(QFileInfo(paths.last()).path());
            ASSERT_EQ(runTool(QStringLiteral("flac"),
                              {QStringLiteral("-s"), QStringLiteral("--tag=ALBUM=") + name.left(1),
                               QStringLiteral("-o"), paths.last(), wav})
                          .exitCode,
                      0);
        }
    }).join();
    queue(paths);
    // As the queue's list reads them to show them.
    for (qsizetype i = 0; i < rows().count(); ++i) {
        rows().at(i)->metadata();
    }
    const auto hasAlbumGain = [&](const QString& path) {
        return Mutagen::dump(path).contains(QStringLiteral("TXXX:REPLAYGAIN_ALBUM_GAIN"));
    };
    // The outputs as they are when b1's row finishes, read once the run is
    // over: no process is started while the run's threads work.
    const QString then = scratch.file(QStringLiteral("then"));
    QDir().mkpath(then);
    QObject::connect(&controller, &ApplicationController::operationFinished, [&](FileEncodeOperation* row) {
        if (row->inFilePath().endsWith(QStringLiteral("b1.flac"))) {
            for (const QString name :
                 {QStringLiteral("a1.mp3"), QStringLiteral("a2.mp3"), QStringLiteral("b1.mp3")}) {
                QFile::copy(out() + u'/' + name, then + u'/' + name);
            }
        }
    });
    run();
    EXPECT_TRUE(hasAlbumGain(then + QStringLiteral("/a1.mp3")));
    EXPECT_TRUE(hasAlbumGain(then + QStringLiteral("/a2.mp3")));
    EXPECT_FALSE(hasAlbumGain(then + QStringLiteral("/b1.mp3")));
    EXPECT_TRUE(hasAlbumGain(out() + QStringLiteral("/b1.mp3")));
}

TEST_F(ApplicationControllerTest, KeptRowsAreResetUnlessTheOriginalsAreDeleted)
{
    prefs.set(QStringLiteral("keepFilesInQueueAfterEncoding"), true);
    QStringList paths;
    for (int i = 1; i <= 4; ++i) {
        paths << source(QStringLiteral("ctl-short.wav"), QStringLiteral("k%1.wav").arg(i));
    }
    queue(paths);
    run();
    EXPECT_EQ(finished, 4);
    ASSERT_EQ(rows().count(), 4);
    for (FileEncodeOperation* row : rows().arrangedObjects()) {
        EXPECT_FALSE(row->isFinished());
        EXPECT_EQ(row->successfulEncodes(), 0);
    }
    EXPECT_EQ(filesBelow(out()).size(), 4);

    // With the originals deleted nothing stays, and the sources go to the
    // Trash; a source queued twice goes there only after its second row.
    controller.addFileEncodeOperationToQueue(paths.first(), paths.first());
    prefs.set(QStringLiteral("deleteOriginal"), true);
    prefs.set(QStringLiteral("overwriteOutputFiles"), false);
    run();
    EXPECT_EQ(controller.failedEncodes(), 0);
    EXPECT_EQ(controller.successfulEncodes(), 5);
    EXPECT_EQ(filesBelow(out()).size(), 9);
    EXPECT_EQ(rows().count(), 0);
    for (const QString& path : paths) {
        EXPECT_FALSE(QFileInfo::exists(path)) << path.toStdString();
    }
    const QString trash = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
                          QStringLiteral("/Trash/files");
    EXPECT_TRUE(QFileInfo::exists(trash + QStringLiteral("/k1.wav")));
}

TEST_F(ApplicationControllerTest, FailuresAreCountedAndReported)
{
    const QString cut = source(QStringLiteral("dec-16-2ch-truncated.flac"), QStringLiteral("cut.flac"));
    queue({source(QStringLiteral("ctl-tagged.flac"), QStringLiteral("a.flac")),
           source(QStringLiteral("ctl-corrupt.flac"), QStringLiteral("broken.flac")), cut,
           source(QStringLiteral("ctl-tone.ogg"), QStringLiteral("c.ogg"))});
    // Two formats per file: the counts are the rows' own sums. A source cut
    // short is written, counted among the damaged, kept on disk even with
    // the originals deleted, and its row stays in the queue, marked.
    controller.encoderSettingsList().append(mp3Format(EncoderSettings::CBR, 64));
    prefs.set(QStringLiteral("deleteOriginal"), true);
    ui.answers = {{AlertSecondButtonReturn, false}};
    run();
    EXPECT_EQ(controller.failedEncodes(), 2);
    EXPECT_EQ(controller.successfulEncodes(), 6);
    EXPECT_EQ(controller.damagedEncodes(), 2);
    ASSERT_EQ(ui.alertMessages(), QStringList{QStringLiteral("Failed To Encode 2 of 8 Files.")});
    EXPECT_EQ(ui.alerts.first().informativeText,
              QStringLiteral("2 of 8 files written from a damaged source."));
    EXPECT_EQ(ui.alerts.first().buttons, (QStringList{QStringLiteral("OK"), QStringLiteral("Show Report")}));
    ASSERT_TRUE(waitUntil([&] { return ui.calls.contains(QStringLiteral("showErrorLog")); }));
    EXPECT_EQ(filesBelow(out()),
              (QStringList{"a 2.mp3", "a.mp3", "c 2.mp3", "c.mp3", "cut 2.mp3", "cut.mp3"}));
    EXPECT_TRUE(QFileInfo::exists(cut));
    EXPECT_FALSE(QFileInfo::exists(scratch.file(QStringLiteral("in/a.flac"))));
    ASSERT_EQ(rows().count(), 1);
    FileEncodeOperation* row = rows().at(0);
    EXPECT_EQ(row->inFilePath(), cut);
    EXPECT_TRUE(row->sourceDamaged());
    EXPECT_EQ(row->currentStatus(), QStringLiteral("cut.flac - Converted from a damaged source"));
    // A second run converts it again, unmarked until it is found damaged.
    prefs.set(QStringLiteral("overwriteOutputFiles"), true);
    ui.answers = {{AlertFirstButtonReturn, false}};
    run();
    EXPECT_EQ(controller.damagedEncodes(), 2);
    EXPECT_EQ(ui.alertMessages().last(), QStringLiteral("2 of 2 files written from a damaged source."));
}

TEST_F(ApplicationControllerTest, StartChecksRefuseBeforeAnythingRuns)
{
    controller.encode();
    EXPECT_EQ(ui.calls, QStringList{QStringLiteral("beep")});

    const QString mp3 = source(QStringLiteral("ctl-tagged.mp3"), QStringLiteral("t.mp3"));
    queue({mp3});
    controller.encoderSettingsList().first()->setEnabled(false);
    controller.encodeFilesMenuItemSelected();
    EXPECT_EQ(ui.alertMessages().last(), QStringLiteral("No Output Formats Enabled."));

    prefs.set(QStringLiteral("destinationDirectory"), QDir::homePath() + QStringLiteral("/Music/iTunes/Out"));
    QDir().mkpath(QDir::homePath() + QStringLiteral("/Music/iTunes/Out"));
    controller.encodeFilesMenuItemSelected();
    EXPECT_EQ(ui.alertMessages().last(), QStringLiteral("No Output Formats Enabled."));
    // A metadata-only run needs no enabled format, but still a usable folder.
    controller.updateMetadataMenuItemSelected();
    EXPECT_EQ(ui.alertMessages().last(), QStringLiteral("Invalid Output Folder."));
    prefs.set(QStringLiteral("destinationDirectory"), scratch.file(QStringLiteral("missing")));
    controller.updateMetadataMenuItemSelected();
    EXPECT_EQ(ui.alertMessages().last(), QStringLiteral("Output Folder Not Found"));
    EXPECT_EQ(ui.calls.count(QStringLiteral("showPreferences")), 2);
    EXPECT_EQ(rows().count(), 1);
    EXPECT_FALSE(controller.encoderRunning());

    prefs.set(QStringLiteral("destinationDirectory"), out());
    run(true);
    EXPECT_EQ(controller.successfulEncodes(), 1);
    EXPECT_TRUE(filesBelow(out()).isEmpty());

    // A file where the folder should be is no missing folder: the run starts
    // and the output fails to make its folder, with that failure logged.
    const QString inTheWay = scratch.file(QStringLiteral("in-the-way"));
    QFile blocker(inTheWay);
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.write("mine");
    blocker.close();
    prefs.set(QStringLiteral("destinationDirectory"), inTheWay);
    controller.encoderSettingsList().first()->setEnabled(true);
    queue({source(QStringLiteral("ctl-short.wav"), QStringLiteral("w.wav"))});
    ui.alerts.clear();
    run();
    EXPECT_EQ(ui.alertMessages(), QStringList{QStringLiteral("Failed To Encode 1 of 1 Files.")});
    EXPECT_TRUE(ErrorLog::shared()->errorLogAsString().contains(
        QStringLiteral("Could Not Move Encoded File To Folder")))
        << ErrorLog::shared()->errorLogAsString().toStdString();
    EXPECT_EQ(fileBytes(inTheWay), QByteArray("mine"));
}

TEST_F(ApplicationControllerTest, OverwriteAnswersApplyToTheBatchOnlyWhenTicked)
{
    prefs.set(QStringLiteral("overwriteOutputFiles"), true);
    prefs.set(QStringLiteral("promptBeforeOverwriting"), true);
    prefs.set(QStringLiteral("numProcesses"), 1);
    QStringList paths;
    for (const char* name : {"o1", "o2", "o3"}) {
        paths << source(QStringLiteral("ctl-short.wav"), QString::fromLatin1(name) + QStringLiteral(".wav"));
        QFile existing(out() + u'/' + QString::fromLatin1(name) + QStringLiteral(".mp3"));
        ASSERT_TRUE(existing.open(QIODevice::WriteOnly));
        existing.write("old");
    }
    prefs.set(QStringLiteral("keepFilesInQueueAfterEncoding"), true);
    queue(paths);

    // "Skip" with the box ticked: one question for the whole batch.
    ui.answers = {{AlertThirdButtonReturn, true}};
    run();
    ASSERT_EQ(ui.alerts.size(), 1);
    EXPECT_EQ(ui.alerts.first().messageText, QStringLiteral("The file \"o1.mp3\" already exists."));
    EXPECT_EQ(ui.alerts.first().buttons,
              (QStringList{QStringLiteral("No"), QStringLiteral("Yes"), QStringLiteral("Skip")}));
    EXPECT_EQ(ui.alerts.first().suppressionTitle, QStringLiteral("Apply to all in this batch"));
    EXPECT_EQ(fileBytes(out() + QStringLiteral("/o3.mp3")), QByteArray("old"));

    // A new run asks again: "Yes" overwrites, "No" writes beside, "Skip" keeps.
    ui.alerts.clear();
    ui.answers = {
        {AlertSecondButtonReturn, false}, {AlertFirstButtonReturn, false}, {AlertThirdButtonReturn, false}};
    run();
    EXPECT_EQ(ui.alerts.size(), 3);
    EXPECT_NEAR(durationOf(out() + QStringLiteral("/o1.mp3")), 0.5, 0.06);
    EXPECT_EQ(fileBytes(out() + QStringLiteral("/o2.mp3")), QByteArray("old"));
    EXPECT_NEAR(durationOf(out() + QStringLiteral("/o2 2.mp3")), 0.5, 0.06);
    EXPECT_EQ(fileBytes(out() + QStringLiteral("/o3.mp3")), QByteArray("old"));
    EXPECT_EQ(controller.successfulEncodes(), 3);

    // Two at a time, only o1 asked: o2 and o3 finish (and are reset, being
    // kept) while the question is open. The batch-wide answer starts what
    // waits, but no row twice in one run.
    for (const char* name : {"o2.mp3", "o2 2.mp3", "o3.mp3"}) {
        ASSERT_TRUE(QFile::remove(out() + u'/' + QString::fromLatin1(name)));
    }
    prefs.set(QStringLiteral("numProcesses"), 2);
    ui.alerts.clear();
    ui.holdSheets = true;
    const int finishedBefore = finished;
    const int runsBefore = runsFinished;
    controller.encodeFilesMenuItemSelected();
    ASSERT_TRUE(waitUntil([&] { return finished == finishedBefore + 2 && ui.heldSheets.size() == 1; }));
    ui.heldSheets.takeFirst()(AlertSecondButtonReturn, true);
    ASSERT_TRUE(waitUntil([&] { return runsFinished > runsBefore; }));
    EXPECT_EQ(finished, finishedBefore + 3);
    EXPECT_EQ(controller.successfulEncodes(), 3);
    EXPECT_EQ(filesBelow(out()), (QStringList{"o1.mp3", "o2.mp3", "o3.mp3"}));
}

TEST_F(ApplicationControllerTest, CancelKeepsRowsReadyAndLeavesNoPartialFiles)
{
    prefs.set(QStringLiteral("numProcesses"), 1);
    const QString temporary = scratch.file(QStringLiteral("tmp"));
    QDir().mkpath(temporary);
    qputenv("TMPDIR", QFile::encodeName(temporary));
    queue({source(QStringLiteral("ctl-long.wav"), QStringLiteral("l1.wav")),
           source(QStringLiteral("ctl-long.wav"), QStringLiteral("l2.wav"))});
    controller.encodeFilesMenuItemSelected();
    ASSERT_TRUE(waitUntil([&] { return rows().at(0)->percentComplete() > 0; }));

    // While it runs, a drop beeps and adds nothing, the window stays, and
    // quitting asks first; the default answer keeps the run going.
    controller.applicationOpenFiles({source(QStringLiteral("ctl-short.wav"), QStringLiteral("late.wav"))});
    ASSERT_TRUE(waitUntil([&] { return ui.calls.contains(QStringLiteral("beep")); }));
    EXPECT_EQ(rows().count(), 2);
    EXPECT_FALSE(controller.windowShouldClose());
    std::optional<bool> terminate;
    controller.applicationShouldTerminate([&](bool answer) { terminate = answer; });
    ASSERT_TRUE(waitUntil([&] { return terminate.has_value(); }));
    EXPECT_FALSE(*terminate);
    EXPECT_EQ(ui.alertMessages().last(), QStringLiteral("There Are Still Operations In Progress."));
    EXPECT_TRUE(controller.encoderRunning());

    controller.cancel();
    ASSERT_TRUE(waitUntil([&] { return runsFinished == 1; }));
    qunsetenv("TMPDIR");
    EXPECT_EQ(rows().count(), 2);
    EXPECT_FALSE(rows().at(0)->isFinished());
    EXPECT_FALSE(rows().at(0)->isCancelled());
    EXPECT_TRUE(filesBelow(out()).isEmpty());
    EXPECT_TRUE(filesBelow(temporary).isEmpty()) << filesBelow(temporary).join(u' ').toStdString();

    // Ready for another run.
    run();
    EXPECT_EQ(filesBelow(out()), (QStringList{"l1.mp3", "l2.mp3"}));
}

TEST_F(ApplicationControllerTest, EncodeButtonIsEnabledAgainAfterEveryKindOfCancel)
{
    // Cancel pressed once, as soon as the queue has changed.
    QMetaObject::Connection pressOnce;
    const auto cancelOn = [&](auto queueChange) {
        pressOnce = QObject::connect(&rows(), queueChange, &controller, [&] {
            QObject::disconnect(pressOnce);
            controller.cancel();
        });
    };
    const auto buttonIsEncodeAndEnabled = [&] { return !ui.encodeButtonCancels && ui.encodeButtonEnabled; };
    QStringList paths;
    for (const char* name : {"c1.wav", "c2.wav", "c3.wav"}) {
        paths << source(QStringLiteral("ctl-short.wav"), QString::fromLatin1(name));
    }

    // A parse stopped after its first row.
    cancelOn(&OperationsArrayController::operationInserted);
    queue({scratch.file(QStringLiteral("in"))});
    EXPECT_EQ(rows().paths(), QStringList{paths.first()});
    EXPECT_TRUE(buttonIsEncodeAndEnabled());

    // A removal stopped after its first row (removal goes from the last).
    queue({scratch.file(QStringLiteral("in"))});
    ASSERT_EQ(rows().count(), 3);
    cancelOn(&OperationsArrayController::operationRemoved);
    controller.clear();
    ASSERT_TRUE(waitUntil([&] { return !controller.encoderRunning(); }));
    EXPECT_EQ(rows().paths(), (QStringList{paths.at(0), paths.at(1)}));
    EXPECT_TRUE(buttonIsEncodeAndEnabled());

    // A run whose only running row waits for the overwrite answer: the
    // cancel ends the run before it returns.
    prefs.set(QStringLiteral("overwriteOutputFiles"), true);
    prefs.set(QStringLiteral("promptBeforeOverwriting"), true);
    prefs.set(QStringLiteral("numProcesses"), 1);
    QFile existing(out() + QStringLiteral("/c1.mp3"));
    ASSERT_TRUE(existing.open(QIODevice::WriteOnly));
    existing.write("old");
    existing.close();
    ui.holdSheets = true;
    controller.encodeFilesMenuItemSelected();
    ASSERT_TRUE(waitUntil([&] { return ui.heldSheets.size() == 1; }));
    EXPECT_TRUE(ui.encodeButtonCancels);
    controller.cancel();
    ASSERT_TRUE(waitUntil([&] { return runsFinished == 1; }));
    EXPECT_FALSE(controller.encoderRunning());
    EXPECT_TRUE(buttonIsEncodeAndEnabled());
    EXPECT_EQ(rows().count(), 2);
    EXPECT_EQ(filesBelow(out()), QStringList{QStringLiteral("c1.mp3")});
    EXPECT_EQ(fileBytes(out() + QStringLiteral("/c1.mp3")), QByteArray("old"));
}

TEST_F(ApplicationControllerTest, MetadataOnlyRenamesNeverTakeAnotherFilesPlace)
{
    // Beside their sources, named by their title: both copies are called
    // "Old Title" by their tags.
    prefs.set(QStringLiteral("outputSameAsSource"), true);
    prefs.set(QStringLiteral("useCustomNamingScheme"), true);
    prefs.set(QStringLiteral("customNamingScheme"), QStringLiteral("{trackTitle}"));
    prefs.set(QStringLiteral("renameAfterUpdatingMetadata"), true);
    prefs.set(QStringLiteral("overwriteOutputFiles"), false);
    const QString trash = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
                          QStringLiteral("/Trash/files");
    const QStringList trashedBefore = filesBelow(trash);
    const QString in = scratch.file(QStringLiteral("in"));
    queue({source(QStringLiteral("ctl-tagged.mp3"), QStringLiteral("a.mp3")),
           source(QStringLiteral("ctl-tagged.mp3"), QStringLiteral("b.mp3"))});
    run(true);
    EXPECT_EQ(controller.successfulEncodes(), 2);
    EXPECT_EQ(filesBelow(in), (QStringList{"Old Title 2.mp3", "Old Title.mp3"}));
    for (const QString& name : filesBelow(in)) {
        EXPECT_NEAR(durationOf(in + u'/' + name), 0.5, 0.06) << name.toStdString();
    }
    // The rows follow their files.
    QStringList rowPaths = rows().paths();
    rowPaths.sort();
    EXPECT_EQ(rowPaths,
              (QStringList{in + QStringLiteral("/Old Title 2.mp3"), in + QStringLiteral("/Old Title.mp3")}));
    EXPECT_EQ(filesBelow(trash), trashedBefore);

    // Asked about the name that is taken, the user skips: the row keeps its
    // own file, so a later run tags that file and no other.
    controller.clear();
    ASSERT_TRUE(waitUntil([&] { return !controller.encoderRunning() && rows().count() == 0; }));
    prefs.set(QStringLiteral("overwriteOutputFiles"), true);
    prefs.set(QStringLiteral("promptBeforeOverwriting"), true);
    const QString c = source(QStringLiteral("ctl-tagged.mp3"), QStringLiteral("c.mp3"));
    queue({c});
    ui.answers = {{AlertThirdButtonReturn, false}};
    run(true);
    ASSERT_EQ(ui.alertMessages(), QStringList{QStringLiteral("The file \"Old Title.mp3\" already exists.")});
    ASSERT_EQ(rows().count(), 1);
    EXPECT_EQ(rows().at(0)->inFilePath(), c);
    EXPECT_EQ(filesBelow(in), (QStringList{"Old Title 2.mp3", "Old Title.mp3", "c.mp3"}));
}

TEST_F(ApplicationControllerTest, PasteReplacesTheExchangedFieldsAndLongLoopsShowTheSheet)
{
    const QString tagged = source(QStringLiteral("ctl-tagged.flac"), QStringLiteral("tagged.flac"));
    const QString plain = source(QStringLiteral("ctl-second.flac"), QStringLiteral("plain.flac"));
    queue({plain, tagged});
    MetadataCommands& commands = controller.metadataCommands();

    commands.pasteAllMetadata(); // nothing copied: nothing happens
    EXPECT_EQ(rows().at(1)->metadata()->lyrics(), QStringLiteral("first line"));

    ui.selection = {0};
    controller.listViewSelectionDidChange();
    commands.copyAllMetadata();
    ui.selection = {1};
    controller.listViewSelectionDidChange();
    commands.pasteAllMetadata();
    const AudioMetadataPtr pasted = rows().at(1)->metadata();
    EXPECT_EQ(pasted->trackTitle(), QStringLiteral("Second Song"));
    EXPECT_EQ(pasted->lyrics(), std::nullopt);
    EXPECT_EQ(pasted->albumTitle(), std::nullopt);

    // Revert reads the source again.
    commands.revertMetadata();
    ASSERT_TRUE(
        waitUntil([&] { return rows().at(1)->metadata()->trackTitle() == QStringLiteral("Lantern Road"); }));
    EXPECT_EQ(ui.alertMessages().last(), QStringLiteral("Revert Metadata"));
    EXPECT_FALSE(ui.progressSheetShown());

    // 30 rows are cleared at once; 31 go behind the progress sheet.
    QStringList many;
    for (int i = 0; i < 29; ++i) {
        many << tagged;
    }
    for (const QString& path : many) {
        controller.addFileEncodeOperationToQueue(path, path);
    }
    QList<int> thirty;
    for (int i = 1; i <= 30; ++i) {
        thirty << i;
    }
    ui.selection = thirty;
    controller.listViewSelectionDidChange();
    EXPECT_FALSE(ui.progressSheetShown());
    commands.clearAllMetadata();
    ASSERT_TRUE(waitUntil([&] { return rows().at(30)->metadata()->trackTitle() == std::nullopt; }));
    EXPECT_EQ(ui.alerts.last().informativeText,
              QStringLiteral("Are you sure you want to clear all the metadata from 30 selected files?"));
    EXPECT_FALSE(ui.progressSheetShown());
    EXPECT_TRUE(rows().at(0)->metadata()->trackTitle().has_value());

    ui.selection = {0};
    controller.listViewSelectionDidChange();
    thirty.prepend(0);
    ui.selection = thirty;
    controller.listViewSelectionDidChange(); // 30 more rows than before: read at once
    EXPECT_FALSE(ui.progressSheetShown());
    commands.clearAllMetadata();
    ASSERT_TRUE(waitUntil([&] { return !rows().at(0)->metadata()->trackTitle().has_value(); }));
    EXPECT_TRUE(ui.progressSheetShown());
    EXPECT_TRUE(ui.progressTexts.contains(QStringLiteral("Clearing Metadata")));
}

} // namespace
