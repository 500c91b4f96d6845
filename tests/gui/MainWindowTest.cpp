// The desktop program's main window on the offscreen platform: files
// dropped as a file manager drops them, a real run started from the toolbar,
// the overwrite question as the window-modal box it is, the error log
// window, quitting during a run, and a second launch of the real program
// handing its files to the first.

#include "MainWindow.h"
#include "DesktopProgram.h"
#include "Drops.h"
#include "Encoding.h"
#include "ErrorLog.h"
#include "ErrorLogModel.h"
#include "ErrorLogWindowController.h"
#include "FileEncodeOperation.h"
#include "Fixtures.h"
#include "OperationsArrayController.h"
#include "OutputFolderPopUp.h"
#include "PreferencesWindowController.h"
#include "QueueListModel.h"
#include "QueueListView.h"
#include "ScriptedUserInterface.h"
#include "SingleInstance.h"
#include "Tools.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QMessageBox>
#include <QMimeData>
#include <QProcess>
#include <QProgressDialog>
#include <QPushButton>
#include <QRegularExpression>
#include <QStatusBar>
#include <QTableView>
#include <QTimer>
#include <QUrl>
#include <gtest/gtest.h>
#include <map>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

double durationOf(const QString& path)
{
    const ToolResult probe =
        runTool("ffprobe", {"-v", "error", "-show_entries", "format=duration", "-of", "csv=p=0", path});
    return probe.exitCode == 0 ? probe.standardOutput.trimmed().toDouble() : -1;
}

// The visible message box whose text starts so, if any.
QMessageBox* visibleBox(const QString& textStart)
{
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        auto* box = qobject_cast<QMessageBox*>(widget);
        if (box != nullptr && box->isVisible() && box->text().startsWith(textStart)) {
            return box;
        }
    }
    return nullptr;
}

QAbstractButton* buttonWithCode(QMessageBox* box, int code)
{
    for (QAbstractButton* button : box->buttons()) {
        if (button->property("returnCode").toInt() == code) {
            return button;
        }
    }
    return nullptr;
}

class MainWindowTest : public ::testing::Test, protected RunIntoScratch, protected DesktopProgram<>
{
protected:
    MainWindowTest() : RunIntoScratch({{u"numProcesses"_s, 2}})
    {
        QObject::connect(&window, &MainWindow::terminateApproved, [this] { ++terminations; });
    }

    void queue(const QStringList& paths) { ASSERT_TRUE(openFilesAndWait(controller, paths)); }

    bool waitForRunEnd(int runs = 1)
    {
        return waitUntil([&] { return runsFinished >= runs; });
    }

    // Sends the drag-and-drop events a file manager's drop produces.
    bool drop(const QList<QUrl>& urls)
    {
        QMimeData data;
        data.setUrls(urls);
        QWidget* target = window.queueView()->viewport();
        return sendDrop(target, target->rect().center(), data);
    }

    int terminations = 0;
};

TEST_F(MainWindowTest, DroppedUriListQueuesOnlyAcceptedLocalFiles)
{
    const QString album = scratch.file("album");
    QDir().mkpath(album + u"/disc 2"_s);
    scratch.copyOf(Fixtures::generated("ctl-short.wav"), "album/01 one.wav");
    scratch.copyOf(Fixtures::generated("ctl-tagged.flac"), u"album/disc 2/02.FLAC"_s);
    scratch.copyOf(Fixtures::generated("ctl-short.wav"), "album/.hidden.wav");
    QFile notes(album + u"/notes.txt"_s);
    ASSERT_TRUE(notes.open(QIODevice::WriteOnly));
    notes.close();

    // A drop of nothing but a web address is refused at once.
    EXPECT_FALSE(drop({QUrl(u"https://example.org/song.mp3"_s)}));
    EXPECT_EQ(window.queueModel()->rowCount(), 0);

    bool parsed = false;
    QObject::connect(&controller, &ApplicationController::parsingFinished, [&parsed] { parsed = true; });
    ASSERT_TRUE(drop({QUrl::fromLocalFile(album), QUrl(u"https://example.org/song.mp3"_s)}));
    ASSERT_TRUE(waitUntil([&] { return parsed; }));

    QStringList queued;
    for (int row = 0; row < window.queueModel()->rowCount(); ++row) {
        queued << window.queueModel()->index(row).data(QueueListModel::PathRole).toString();
    }
    queued.sort();
    EXPECT_EQ(queued, QStringList({album + u"/01 one.wav"_s, album + u"/disc 2/02.FLAC"_s}));
    // The first row is selected once the queue is filled, and the status
    // line counts the files.
    EXPECT_EQ(ui.selectedRows(), QList<int>({0}));
}

TEST_F(MainWindowTest, ThirtyOneNewlySelectedRowsAreReadBehindTheProgressSheet)
{
    QStringList paths;
    // The first row is selected once they are queued: 31 more make the sheet.
    for (int n = 1; n <= 32; ++n) {
        paths << scratch.copyOf(Fixtures::generated("ctl-tagged.flac"),
                                u"many/%1.flac"_s.arg(n, 2, 10, QLatin1Char('0')));
    }
    int resets = 0;
    int insertions = 0;
    QObject::connect(window.queueModel(), &QAbstractItemModel::modelReset, [&resets] { ++resets; });
    QObject::connect(window.queueModel(), &QAbstractItemModel::rowsInserted, [&insertions] { ++insertions; });
    queue(paths);
    window.queueModel()->flushPendingRows();
    ASSERT_EQ(window.queueModel()->rowCount(), 32);
    EXPECT_EQ(resets, 0) << "rows join the list as insertions";
    EXPECT_GE(insertions, 1);

    // Selecting them all reads their metadata on a thread of its own, with
    // the window-modal progress sheet up meanwhile.
    ASSERT_EQ(ui.selectedRows(), QList<int>({0}));
    window.action("selectAll")->trigger();
    QProgressDialog* sheet = nullptr;
    ASSERT_TRUE(waitUntil([&] { return (sheet = window.findChild<QProgressDialog*>()) != nullptr; }, 10))
        << "no progress sheet for 31 rows";
    EXPECT_EQ(sheet->windowModality(), Qt::WindowModal);
    ASSERT_TRUE(
        waitUntil([&] { return controller.selectedOperations().size() == 32 && !sheet->isVisible(); }));
    EXPECT_EQ(ui.selectedRows().size(), 32);
}

TEST_F(MainWindowTest, EncodeFromTheToolbarConvertsTheQueueAndEveryRowReachesItsEnd)
{
    queue({Fixtures::generated("ctl-short.wav"), Fixtures::generated("ctl-tagged.flac"),
           Fixtures::generated("ctl-tone.ogg")});
    ASSERT_EQ(window.queueModel()->rowCount(), 3);

    std::map<QString, float> highest;
    for (FileEncodeOperation* operation : controller.operationsController().arrangedObjects()) {
        QObject::connect(operation, &FileEncodeOperation::percentCompleteChanged, [&highest, operation] {
            float& value = highest[operation->inFilePath()];
            value = std::max(value, operation->percentComplete());
        });
    }
    QStringList buttonTexts;
    QStringList statusTexts;
    auto* status = window.statusBar()->findChild<QLabel*>();
    ASSERT_NE(status, nullptr);
    QObject::connect(&controller, &ApplicationController::operationFinished, [&] {
        buttonTexts << window.encodeButtonAction()->text();
        statusTexts << status->text();
    });

    // The preferences are open when the run starts; the run closes them.
    window.action("preferences")->trigger();
    ASSERT_TRUE(window.preferencesWindow()->isVisible());
    EXPECT_EQ(window.preferencesWindow()->windowTitle(), u"Sonabrik Preferences"_s);

    window.encodeButtonAction()->trigger();
    EXPECT_EQ(window.encodeButtonAction()->text(), u"Cancel"_s);
    EXPECT_FALSE(window.preferencesWindow()->isVisible());
    ASSERT_TRUE(waitForRunEnd());

    ASSERT_EQ(highest.size(), 3u);
    for (const auto& [path, percent] : highest) {
        EXPECT_FLOAT_EQ(percent, 1.0f) << path.toStdString();
    }
    EXPECT_EQ(buttonTexts, QStringList(3, u"Cancel"_s));
    // The status bar tells the run's progress while it lasts.
    const QRegularExpression progress(u"^Converting: [0-2] of 3 files done, [0-9]+ %"_s);
    for (const QString& text : statusTexts) {
        EXPECT_TRUE(progress.match(text).hasMatch()) << text.toStdString();
    }
    EXPECT_EQ(window.encodeButtonAction()->text(), u"Encode"_s);
    EXPECT_TRUE(window.encodeButtonAction()->isEnabled());
    EXPECT_EQ(window.queueModel()->rowCount(), 0);
    EXPECT_EQ(window.windowTitle(), u"Sonabrik"_s);
    EXPECT_NEAR(durationOf(out() + u"/ctl-short.mp3"_s), 0.5, 0.1);
    EXPECT_NEAR(durationOf(out() + u"/ctl-tagged.mp3"_s), 0.5, 0.1);
    EXPECT_NEAR(durationOf(out() + u"/ctl-tone.mp3"_s), 0.5, 0.1);
}

TEST_F(MainWindowTest, TheOutputFolderPopUpShowsTheFolderTheFirstLaunchSetsUp)
{
    prefs.set(u"firstRun"_s, true);
    // The welcome box is modal: answer it from the event loop it runs.
    QTimer answer;
    QObject::connect(&answer, &QTimer::timeout, [&] {
        if (QMessageBox* box = visibleBox(u"Welcome"_s)) {
            for (QAbstractButton* button : box->buttons()) {
                if (button->text() == u"OK!"_s) {
                    button->click();
                }
            }
        }
    });
    answer.start(20);
    controller.applicationDidFinishLaunching();

    const QString folder = ApplicationController::defaultOutputFolder();
    EXPECT_TRUE(QFileInfo(folder).isDir());
    EXPECT_EQ(window.outputFolderPopUp()->currentText(), u"Sonabrik"_s);
    EXPECT_EQ(window.outputFolderPopUp()->currentData(Qt::ToolTipRole).toString(), folder);
}

// A source cut short: converted, its row kept in the queue with the warning
// mark, and the end-of-run alert says so.
TEST_F(MainWindowTest, ADamagedSourceIsMarkedInTheQueueAndAlerted)
{
    queue({Fixtures::generated("dec-16-2ch-truncated.flac")});
    window.action("encode")->trigger();
    ASSERT_TRUE(waitForRunEnd());
    QMessageBox* box = nullptr;
    ASSERT_TRUE(waitUntil([&] { return (box = visibleBox(u"1 of 1 files"_s)) != nullptr; }));
    EXPECT_EQ(box->text(), u"1 of 1 files written from a damaged source."_s);
    buttonWithCode(box, 1000)->click();

    ASSERT_EQ(window.queueModel()->rowCount(), 1);
    const QModelIndex row = window.queueModel()->index(0);
    EXPECT_TRUE(row.data(QueueListModel::DamagedRole).toBool());
    EXPECT_EQ(row.data(QueueListModel::StatusRole).toString(),
              u"dec-16-2ch-truncated.flac - Converted from a damaged source"_s);
    EXPECT_GT(durationOf(out() + u"/dec-16-2ch-truncated.mp3"_s), 0.1);
}

struct OverwriteCase
{
    const char* name;
    int button;
    bool applyToAll;
};

class OverwriteQuestionTest : public MainWindowTest, public ::testing::WithParamInterface<OverwriteCase>
{
};

TEST_P(OverwriteQuestionTest, IsAWindowModalBoxAndEachAnswerDoesWhatItSays)
{
    const OverwriteCase answer = GetParam();
    prefs.set(u"overwriteOutputFiles"_s, true);
    prefs.set(u"promptBeforeOverwriting"_s, true);
    prefs.set(u"numProcesses"_s, 1);
    const QByteArray existing("an older file that is not audio");
    for (const char* name : {"ctl-short.mp3", "ctl-second.mp3"}) {
        QFile file(out() + u'/' + QLatin1String(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(existing);
    }
    queue({Fixtures::generated("ctl-short.wav"), Fixtures::generated("ctl-second.flac")});
    window.action("encode")->trigger();

    int questions = 0;
    while (runsFinished == 0) {
        QMessageBox* box = nullptr;
        ASSERT_TRUE(waitUntil([&] {
            box = visibleBox(u"The file"_s);
            return box != nullptr || runsFinished > 0;
        }));
        if (box == nullptr) {
            break;
        }
        ++questions;
        EXPECT_EQ(box->windowModality(), Qt::WindowModal);
        EXPECT_EQ(box->parentWidget(), &window);
        EXPECT_EQ(box->informativeText(), u"Do you want to overwrite the existing file?"_s);
        ASSERT_NE(box->checkBox(), nullptr);
        EXPECT_EQ(box->checkBox()->text(), u"Apply to all in this batch"_s);
        EXPECT_EQ(box->buttons().size(), 3);
        EXPECT_EQ(buttonWithCode(box, 1000)->text(), u"No"_s);
        EXPECT_EQ(buttonWithCode(box, 1001)->text(), u"Yes"_s);
        EXPECT_EQ(buttonWithCode(box, 1002)->text(), u"Skip"_s);
        EXPECT_EQ(static_cast<QAbstractButton*>(box->defaultButton()), buttonWithCode(box, 1000));
        box->checkBox()->setChecked(answer.applyToAll);
        buttonWithCode(box, answer.button)->click();
        ASSERT_LE(questions, 2);
    }
    ASSERT_TRUE(waitForRunEnd());
    EXPECT_EQ(questions, answer.applyToAll ? 1 : 2);

    for (const char* base : {"ctl-short", "ctl-second"}) {
        const QString path = out() + u'/' + QLatin1String(base) + u".mp3"_s;
        const QString renamed = out() + u'/' + QLatin1String(base) + u" 2.mp3"_s;
        switch (answer.button) {
        case 1000: // No: both kept, the new one beside it
            EXPECT_EQ(fileBytes(path), existing);
            EXPECT_NEAR(durationOf(renamed), 0.5, 0.1);
            break;
        case 1001: // Yes: replaced
            EXPECT_NEAR(durationOf(path), 0.5, 0.1);
            EXPECT_FALSE(QFile::exists(renamed));
            break;
        default: // Skip: untouched, nothing new
            EXPECT_EQ(fileBytes(path), existing);
            EXPECT_FALSE(QFile::exists(renamed));
            break;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Answers, OverwriteQuestionTest,
                         ::testing::Values(OverwriteCase{"No", 1000, false},
                                           OverwriteCase{"Yes", 1001, false},
                                           OverwriteCase{"Skip", 1002, false},
                                           OverwriteCase{"SkipAll", 1002, true},
                                           OverwriteCase{"NoToAll", 1000, true}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(MainWindowTest, QuittingDuringARunAsksAndContinueKeepsItRunning)
{
    // An output that exists holds its file at the overwrite question, so
    // the run is still going when the user quits.
    prefs.set(u"overwriteOutputFiles"_s, true);
    prefs.set(u"promptBeforeOverwriting"_s, true);
    QFile file(out() + u"/ctl-short.mp3"_s);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.close();
    queue({Fixtures::generated("ctl-short.wav")});
    window.action("encode")->trigger();
    ASSERT_TRUE(waitUntil([] { return visibleBox(u"The file"_s) != nullptr; }));

    window.action("quit")->trigger();
    QMessageBox* question = nullptr;
    ASSERT_TRUE(waitUntil([&] { return (question = visibleBox(u"There Are Still"_s)) != nullptr; }));
    EXPECT_EQ(question->text(), u"There Are Still Operations In Progress."_s);
    EXPECT_EQ(buttonWithCode(question, 1001)->text(), u"Quit Anyway"_s);
    buttonWithCode(question, 1000)->click();
    QApplication::processEvents();
    EXPECT_EQ(terminations, 0);
    EXPECT_EQ(controller.runningOperations(), 1);
    EXPECT_TRUE(window.isVisible());

    // Closing the window is quitting too; this time the answer is to quit:
    // the waiting file is cancelled, and the program ends with the run.
    window.close();
    ASSERT_TRUE(waitUntil([&] { return (question = visibleBox(u"There Are Still"_s)) != nullptr; }));
    buttonWithCode(question, 1001)->click();
    ASSERT_TRUE(waitUntil([&] { return terminations == 1; }));
    EXPECT_EQ(controller.runningOperations(), 0);
    EXPECT_TRUE(fileBytes(out() + u"/ctl-short.mp3"_s).isEmpty());
}

TEST_F(MainWindowTest, ErrorLogWindowShowsDateAndMessageAndSavesTheLog)
{
    ErrorLog::shared()->clear();
    ErrorLog::logMessage(u"Failed to open one.flac"_s);
    ErrorLog::logMessage(u"A message\nof three\nlines"_s);
    ErrorLogWindowController* log = window.errorLogWindow();
    log->show();
    ASSERT_TRUE(waitUntil([&] { return log->model()->rowCount() == 2; }));
    QApplication::processEvents();

    EXPECT_EQ(log->windowTitle(), u"Error Log"_s);
    EXPECT_EQ(log->model()->columnCount(), 2);
    EXPECT_EQ(log->model()->headerData(1, Qt::Horizontal).toString(), u"Message"_s);
    EXPECT_EQ(log->model()->index(1, 1).data().toString(), u"A message\nof three\nlines"_s);
    EXPECT_FALSE(log->model()->index(0, 0).data().toString().isEmpty());
    // Rows are as tall as their text.
    EXPECT_GT(log->tableView()->rowHeight(1), 2 * log->tableView()->rowHeight(0));

    const QString saved = scratch.file("errors.log");
    log->setSaveChooser([&](QWidget*, std::function<void(const QString&)> done) { done(saved); });
    log->save();
    EXPECT_EQ(QString::fromUtf8(fileBytes(saved)), ErrorLog::shared()->errorLogAsString());
    EXPECT_TRUE(fileBytes(saved).contains("\tA message\nof three\nlines\n"));

    // A message from another thread reaches the table, and Clear empties it.
    std::thread([] { ErrorLog::logMessage(u"from a worker"_s); }).join();
    ASSERT_TRUE(waitUntil([&] { return log->model()->rowCount() == 3; }));
    log->clear();
    ASSERT_TRUE(waitUntil([&] { return log->model()->rowCount() == 0; }));
}

TEST(SingleInstanceTest, ASecondLaunchHandsItsPathsToTheFirstAndExits)
{
    ScratchDir scratch;
    SingleInstance first(scratch.file("sonabrik.socket"));
    ASSERT_TRUE(first.listen());
    QStringList received;
    int handOvers = 0;
    QObject::connect(&first, &SingleInstance::pathsReceived, [&](const QStringList& paths) {
        received = paths;
        ++handOvers;
    });

    // The real program, started as a file manager starts it, in a session
    // whose runtime folder holds the first instance's socket.
    QProcess second;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"XDG_RUNTIME_DIR"_s, scratch.path());
    environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
    second.setProcessEnvironment(environment);
    second.setWorkingDirectory(scratch.path());
    second.start(QStringLiteral(SONABRIK_BINARY_DIR "/Classes/sonabrik"),
                 {u"song one.flac"_s, u"/music/album"_s});
    ASSERT_TRUE(second.waitForStarted());
    // The first instance answers from its event loop, which must turn.
    ASSERT_TRUE(waitUntil([&] { return second.state() == QProcess::NotRunning; }, 60))
        << second.readAllStandardError().toStdString();
    EXPECT_EQ(second.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(second.exitCode(), 0);
    EXPECT_EQ(handOvers, 1);
    EXPECT_EQ(received, QStringList({scratch.file("song one.flac"), u"/music/album"_s}));
}

} // namespace
