// The controller on a scripted user interface, encoding real files checked with ffprobe and mutagen.

#include "ApplicationController.h"
#include "CliProgram.h"
#include "EncoderSettings.h"
#include "Encoding.h"
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
#include <thread>

using namespace Qt::StringLiterals;

namespace {

using CliProgram::filesBelow;
constexpr auto durationOf = &CliProgram::probedDuration;

class ApplicationControllerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        QDir().mkpath(out());
        prefs.set(u"destinationDirectory"_s, out());
        prefs.set(u"numProcesses"_s, 2);
        controller.awakeFromNib();
        QObject::connect(&controller, &ApplicationController::runFinished, [this] { ++runsFinished; });
        QObject::connect(&controller, &ApplicationController::parsingFinished, [this] { ++parses; });
        QObject::connect(&controller, &ApplicationController::operationFinished,
                         [this](FileEncodeOperation* operation) {
                             ++finished;
                             maxRunning = std::max(maxRunning, controller.runningOperations() + 1);
                         });
    }

    QString out() const { return scratch.file(u"out"_s); }

    static void write(const QString& path, const QByteArray& bytes)
    {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }

    QString source(const QString& fixture, const QString& relative)
    {
        const QString path = scratch.file(u"in/"_s + relative);
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
        metadataOnly ? controller.updateMetadataMenuItemSelected() : controller.encodeFilesMenuItemSelected();
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
    const QString first = source(u"ctl-tagged.flac"_s, u"Album/CD1/01.flac"_s);
    source(u"ctl-tagged.mp3"_s, u"Album/LOUD.MP3"_s);
    source(u"ctl-short.wav"_s, u"Album/.hidden.wav"_s);
    source(u"ctl-short.wav"_s, u"Album/.cache/inside.wav"_s);
    write(scratch.file(u"in/Album/notes.txt"_s), {});
    const QString album = scratch.file(u"in/Album"_s);

    queue({album, first}); // the file comes twice
    EXPECT_EQ(rows().paths(), (QStringList{first, album + u"/LOUD.MP3"_s, first}));
    EXPECT_EQ(rows().at(0)->topLevelPath(), album);
    EXPECT_EQ(rows().at(2)->topLevelPath(), first);
    EXPECT_TRUE(controller.containsMP3Files());
    EXPECT_EQ(ui.selection, QList<int>{0});

    queue({album}); // again later: nothing new
    EXPECT_EQ(rows().count(), 3);

    controller.deleteRows({1});
    ASSERT_TRUE(waitUntil([&] { return !controller.encoderRunning(); }));
    EXPECT_EQ(rows().paths(), (QStringList{first, first}));
    EXPECT_FALSE(controller.containsMP3Files());
}

// The first album's MP3s carry their album gain while the second converts.
TEST_F(ApplicationControllerTest, AnAlbumsReplayGainIsWrittenOnceItsLastRowFinished)
{
    prefs.set(u"numProcesses"_s, 1);
    prefs.set(u"replayGain"_s, 2);
    QStringList paths;
    for (const char* name : {"a1", "a2", "b1"}) {
        paths << scratch.file(u"in/"_s + QLatin1String(name) + u".flac"_s);
    }
    QDir().mkpath(scratch.file(u"in"_s));
    // Made on a thread of their own that only reads: a vfork-style child
    // hides the order of its thread's memory from ThreadSanitizer.
    std::thread([&paths] {
        for (const QString& path : std::as_const(paths)) {
            ASSERT_EQ(runTool(u"sox"_s, {u"-n"_s, u"-r"_s, u"44100"_s, u"-c"_s, u"2"_s, u"-b"_s, u"16"_s,
                                         u"--comment"_s, u"ALBUM="_s + QFileInfo(path).fileName().left(1), path,
                                         u"synth"_s, u"1"_s, u"pinknoise"_s})
                          .exitCode,
                      0);
        }
    }).join();
    queue(paths);
    for (qsizetype i = 0; i < rows().count(); ++i) {
        rows().at(i)->metadata();
    }
    const auto hasAlbumGain = [&](const QString& path) {
        return Mutagen::dump(path).contains(u"TXXX:REPLAYGAIN_ALBUM_GAIN"_s);
    };
    // The outputs as b1's row finishes, read after the run (no process started during it).
    const QString then = scratch.file(u"then"_s);
    QDir().mkpath(then);
    QObject::connect(&controller, &ApplicationController::operationFinished, [&](FileEncodeOperation* row) {
        if (row->inFilePath().endsWith(u"b1.flac"_s)) {
            for (const QString& name : {u"a1.mp3"_s, u"a2.mp3"_s, u"b1.mp3"_s}) {
                QFile::copy(out() + u'/' + name, then + u'/' + name);
            }
        }
    });
    run();
    EXPECT_TRUE(hasAlbumGain(then + u"/a1.mp3"_s));
    EXPECT_TRUE(hasAlbumGain(then + u"/a2.mp3"_s));
    EXPECT_FALSE(hasAlbumGain(then + u"/b1.mp3"_s));
    EXPECT_TRUE(hasAlbumGain(out() + u"/b1.mp3"_s));
}

// At most numProcesses at once; kept rows are reset unless the originals are deleted.
TEST_F(ApplicationControllerTest, RunStartsAtMostNumProcessesAndKeptRowsAreResetUnlessTheOriginalsAreDeleted)
{
    prefs.set(u"keepFilesInQueueAfterEncoding"_s, true);
    QStringList paths;
    for (int i = 1; i <= 4; ++i) {
        paths << source(u"ctl-short.wav"_s, u"k%1.wav"_s.arg(i));
    }
    queue(paths);
    run();
    EXPECT_EQ(finished, 4);
    EXPECT_LE(maxRunning, 2);
    EXPECT_EQ(controller.successfulEncodes(), 4);
    ASSERT_EQ(rows().count(), 4);
    for (FileEncodeOperation* row : rows().arrangedObjects()) {
        EXPECT_FALSE(row->isFinished());
        EXPECT_EQ(row->successfulEncodes(), 0);
    }
    EXPECT_EQ(filesBelow(out()), (QStringList{"k1.mp3", "k2.mp3", "k3.mp3", "k4.mp3"}));
    EXPECT_NEAR(durationOf(out() + u"/k3.mp3"_s), 0.5, 0.06);

    // The sources go to the Trash, one queued twice only after its second row.
    controller.addFileEncodeOperationToQueue(paths.first(), paths.first());
    prefs.set(u"deleteOriginal"_s, true);
    prefs.set(u"overwriteOutputFiles"_s, false);
    run();
    EXPECT_EQ(controller.successfulEncodes(), 5);
    EXPECT_EQ(filesBelow(out()).size(), 9);
    EXPECT_EQ(rows().count(), 0);
    for (const QString& path : paths) {
        EXPECT_FALSE(QFileInfo::exists(path)) << path.toStdString();
    }
    const QString trash =
        QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u"/Trash/files"_s;
    EXPECT_TRUE(QFileInfo::exists(trash + u"/k1.wav"_s));
}

TEST_F(ApplicationControllerTest, FailuresAreCountedAndReported)
{
    const QString cut = source(u"dec-16-2ch-truncated.flac"_s, u"cut.flac"_s);
    queue({source(u"ctl-tagged.flac"_s, u"a.flac"_s), source(u"ctl-corrupt.flac"_s, u"broken.flac"_s), cut,
           source(u"ctl-tone.ogg"_s, u"c.ogg"_s)});
    // Two formats per file. A source cut short is written, counted as damaged,
    // kept on disk despite deleteOriginal, and its row stays, marked.
    controller.encoderSettingsList().append(mp3Format(EncoderSettings::CBR, 64));
    prefs.set(u"deleteOriginal"_s, true);
    ui.answers = {{AlertSecondButtonReturn, false}};
    run();
    EXPECT_EQ(controller.failedEncodes(), 2);
    EXPECT_EQ(controller.successfulEncodes(), 6);
    EXPECT_EQ(controller.damagedEncodes(), 2);
    ASSERT_EQ(ui.alertMessages(), QStringList{u"Failed To Encode 2 of 8 Files."_s});
    EXPECT_EQ(ui.alerts.first().informativeText, u"2 of 8 files written from a damaged source."_s);
    EXPECT_EQ(ui.alerts.first().buttons, (QStringList{u"OK"_s, u"Show Report"_s}));
    ASSERT_TRUE(waitUntil([&] { return ui.calls.contains(u"showErrorLog"_s); }));
    EXPECT_EQ(filesBelow(out()),
              (QStringList{"a 2.mp3", "a.mp3", "c 2.mp3", "c.mp3", "cut 2.mp3", "cut.mp3"}));
    EXPECT_TRUE(QFileInfo::exists(cut));
    EXPECT_FALSE(QFileInfo::exists(scratch.file(u"in/a.flac"_s)));
    ASSERT_EQ(rows().count(), 1);
    FileEncodeOperation* row = rows().at(0);
    EXPECT_EQ(row->inFilePath(), cut);
    EXPECT_TRUE(row->sourceDamaged());
    EXPECT_EQ(row->currentStatus(), u"cut.flac - Converted from a damaged source"_s);
    // A second run converts it again, unmarked until it is found damaged.
    prefs.set(u"overwriteOutputFiles"_s, true);
    ui.answers = {{AlertFirstButtonReturn, false}};
    run();
    EXPECT_EQ(controller.damagedEncodes(), 2);
    EXPECT_EQ(ui.alertMessages().last(), u"2 of 2 files written from a damaged source."_s);
}

TEST_F(ApplicationControllerTest, StartChecksRefuseBeforeAnythingRuns)
{
    controller.encode();
    EXPECT_EQ(ui.calls, QStringList{u"beep"_s});

    const QString mp3 = source(u"ctl-tagged.mp3"_s, u"t.mp3"_s);
    queue({mp3});
    controller.encoderSettingsList().first()->setEnabled(false);
    controller.encodeFilesMenuItemSelected();
    EXPECT_EQ(ui.alertMessages().last(), u"No Output Formats Enabled."_s);

    prefs.set(u"destinationDirectory"_s, QDir::homePath() + u"/Music/iTunes/Out"_s);
    QDir().mkpath(QDir::homePath() + u"/Music/iTunes/Out"_s);
    // A metadata-only run needs no enabled format, but a usable folder.
    controller.updateMetadataMenuItemSelected();
    EXPECT_EQ(ui.alertMessages().last(), u"Invalid Output Folder."_s);
    prefs.set(u"destinationDirectory"_s, scratch.file(u"missing"_s));
    controller.updateMetadataMenuItemSelected();
    EXPECT_EQ(ui.alertMessages().last(), u"Output Folder Not Found"_s);
    EXPECT_EQ(ui.calls.count(u"showPreferences"_s), 2);
    EXPECT_EQ(rows().count(), 1);
    EXPECT_FALSE(controller.encoderRunning());

    prefs.set(u"destinationDirectory"_s, out());
    run(true);
    EXPECT_EQ(controller.successfulEncodes(), 1);
    EXPECT_TRUE(filesBelow(out()).isEmpty());
}

// o2 and o3 finish (kept, so reset) while o1's question is open: "Yes" for all must not start them again.
TEST_F(ApplicationControllerTest, ABatchWideOverwriteAnswerStartsWhatWaitsButNoRowTwice)
{
    prefs.set(u"overwriteOutputFiles"_s, true);
    prefs.set(u"promptBeforeOverwriting"_s, true);
    prefs.set(u"keepFilesInQueueAfterEncoding"_s, true);
    write(out() + u"/o1.mp3"_s, "old");
    queue({source(u"ctl-short.wav"_s, u"o1.wav"_s), source(u"ctl-short.wav"_s, u"o2.wav"_s),
           source(u"ctl-short.wav"_s, u"o3.wav"_s)});
    ui.holdSheets = true;
    controller.encodeFilesMenuItemSelected();
    ASSERT_TRUE(waitUntil([&] { return finished == 2 && ui.heldSheets.size() == 1; }));
    ui.heldSheets.takeFirst()(AlertSecondButtonReturn, true);
    ASSERT_TRUE(waitUntil([&] { return runsFinished == 1; }));
    EXPECT_EQ(finished, 3);
    EXPECT_EQ(controller.successfulEncodes(), 3);
    EXPECT_EQ(filesBelow(out()), (QStringList{"o1.mp3", "o2.mp3", "o3.mp3"}));
    EXPECT_NEAR(durationOf(out() + u"/o1.mp3"_s), 0.5, 0.06);
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
        paths << source(u"ctl-short.wav"_s, QString::fromLatin1(name));
    }

    // A parse stopped after its first row.
    cancelOn(&OperationsArrayController::operationInserted);
    queue({scratch.file(u"in"_s)});
    EXPECT_EQ(rows().paths(), QStringList{paths.first()});
    EXPECT_TRUE(buttonIsEncodeAndEnabled());

    // A removal stopped after its first row (removal goes from the last).
    queue({scratch.file(u"in"_s)});
    ASSERT_EQ(rows().count(), 3);
    cancelOn(&OperationsArrayController::operationRemoved);
    controller.clear();
    ASSERT_TRUE(waitUntil([&] { return !controller.encoderRunning(); }));
    EXPECT_EQ(rows().paths(), (QStringList{paths.at(0), paths.at(1)}));
    EXPECT_TRUE(buttonIsEncodeAndEnabled());

    // A run whose only running row waits for the overwrite answer.
    prefs.set(u"overwriteOutputFiles"_s, true);
    prefs.set(u"promptBeforeOverwriting"_s, true);
    prefs.set(u"numProcesses"_s, 1);
    write(out() + u"/c1.mp3"_s, "old");
    ui.holdSheets = true;
    controller.encodeFilesMenuItemSelected();
    ASSERT_TRUE(waitUntil([&] { return ui.heldSheets.size() == 1; }));
    EXPECT_TRUE(ui.encodeButtonCancels);
    const qsizetype beeps = ui.calls.count(u"beep"_s); // a drop while it runs beeps, the window stays
    controller.applicationOpenFiles({source(u"ctl-short.wav"_s, u"late.wav"_s)});
    ASSERT_TRUE(waitUntil([&] { return ui.calls.count(u"beep"_s) > beeps; }));
    EXPECT_FALSE(controller.windowShouldClose());
    controller.cancel();
    ASSERT_TRUE(waitUntil([&] { return runsFinished == 1; }));
    EXPECT_FALSE(controller.encoderRunning());
    EXPECT_TRUE(buttonIsEncodeAndEnabled());
    EXPECT_EQ(rows().count(), 2);
    EXPECT_EQ(filesBelow(out()), QStringList{u"c1.mp3"_s});
    EXPECT_EQ(fileBytes(out() + u"/c1.mp3"_s), QByteArray("old"));
}

TEST_F(ApplicationControllerTest, MetadataOnlyRenamesNeverTakeAnotherFilesPlace)
{
    // Beside their sources, named by their title: both are "Old Title".
    prefs.set(u"outputSameAsSource"_s, true);
    prefs.set(u"useCustomNamingScheme"_s, true);
    prefs.set(u"customNamingScheme"_s, u"{trackTitle}"_s);
    prefs.set(u"renameAfterUpdatingMetadata"_s, true);
    prefs.set(u"overwriteOutputFiles"_s, false);
    const QString trash =
        QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u"/Trash/files"_s;
    const QStringList trashedBefore = filesBelow(trash);
    const QString in = scratch.file(u"in"_s);
    queue({source(u"ctl-tagged.mp3"_s, u"a.mp3"_s), source(u"ctl-tagged.mp3"_s, u"b.mp3"_s)});
    run(true);
    EXPECT_EQ(controller.successfulEncodes(), 2);
    EXPECT_EQ(filesBelow(in), (QStringList{"Old Title 2.mp3", "Old Title.mp3"}));
    QStringList rowPaths = rows().paths();
    rowPaths.sort();
    EXPECT_EQ(rowPaths, (QStringList{in + u"/Old Title 2.mp3"_s, in + u"/Old Title.mp3"_s}));
    EXPECT_EQ(filesBelow(trash), trashedBefore);

    // Asked about the taken name, the user skips: the row keeps its own file.
    controller.clear();
    ASSERT_TRUE(waitUntil([&] { return !controller.encoderRunning() && rows().count() == 0; }));
    prefs.set(u"overwriteOutputFiles"_s, true);
    prefs.set(u"promptBeforeOverwriting"_s, true);
    const QString c = source(u"ctl-tagged.mp3"_s, u"c.mp3"_s);
    queue({c});
    ui.answers = {{AlertThirdButtonReturn, false}};
    run(true);
    ASSERT_EQ(ui.alertMessages(), QStringList{u"The file \"Old Title.mp3\" already exists."_s});
    ASSERT_EQ(rows().count(), 1);
    EXPECT_EQ(rows().at(0)->inFilePath(), c);
    EXPECT_EQ(filesBelow(in), (QStringList{"Old Title 2.mp3", "Old Title.mp3", "c.mp3"}));
}

TEST_F(ApplicationControllerTest, RevertReadsTheSourceAgainAndLongLoopsShowTheSheet)
{
    const QString tagged = source(u"ctl-tagged.flac"_s, u"tagged.flac"_s);
    queue({source(u"ctl-second.flac"_s, u"plain.flac"_s), tagged});
    MetadataCommands& commands = controller.metadataCommands();
    commands.pasteAllMetadata(); // nothing copied: nothing happens
    EXPECT_EQ(rows().at(1)->metadata()->lyrics(), u"first line"_s);

    rows().at(1)->metadata()->setTrackTitle(u"Changed"_s);
    ui.selection = {1};
    controller.listViewSelectionDidChange();
    commands.revertMetadata();
    ASSERT_TRUE(waitUntil([&] { return rows().at(1)->metadata()->trackTitle() == u"Lantern Road"_s; }));
    EXPECT_EQ(ui.alertMessages().last(), u"Revert Metadata"_s);
    EXPECT_FALSE(ui.progressSheetShown());

    // 30 rows are cleared at once; 31 go behind the progress sheet.
    QList<int> thirty;
    for (int i = 1; i <= 30; ++i) {
        thirty << i;
        if (i < 30) {
            controller.addFileEncodeOperationToQueue(tagged, tagged);
        }
    }
    ui.selection = thirty;
    controller.listViewSelectionDidChange();
    EXPECT_FALSE(ui.progressSheetShown());
    commands.clearAllMetadata();
    ASSERT_TRUE(waitUntil([&] { return rows().at(30)->metadata()->trackTitle() == std::nullopt; }));
    EXPECT_EQ(ui.alerts.last().informativeText,
              u"Are you sure you want to clear all the metadata from 30 selected files?"_s);
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
    EXPECT_TRUE(ui.progressTexts.contains(u"Clearing Metadata"_s));
}

} // namespace
