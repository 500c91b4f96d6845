// The main window on the offscreen platform, and a second launch of the real program.

#include "MainWindow.h"
#include "CliProgram.h"
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

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QMessageBox>
#include <QMimeData>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QStatusBar>
#include <QTableView>
#include <QTimer>
#include <QUrl>
#include <gtest/gtest.h>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

constexpr auto durationOf = &CliProgram::probedDuration;

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

    bool waitForRunEnd()
    {
        return waitUntil([&] { return runsFinished >= 1; });
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
    scratch.copyOf(Fixtures::generated("ctl-short.wav"), "album/01 one.wav");
    const QString flac = scratch.copyOf(Fixtures::generated("ctl-tagged.flac"), "02.FLAC");

    EXPECT_FALSE(drop({QUrl(u"https://example.org/song.mp3"_s)})) << "nothing but a web address";
    bool parsed = false;
    QObject::connect(&controller, &ApplicationController::parsingFinished, [&parsed] { parsed = true; });
    ASSERT_TRUE(
        drop({QUrl::fromLocalFile(album), QUrl(u"https://example.org/song.mp3"_s), QUrl::fromLocalFile(flac)}));
    ASSERT_TRUE(waitUntil([&] { return parsed; }));

    QStringList queued;
    for (int row = 0; row < window.queueModel()->rowCount(); ++row) {
        queued << window.queueModel()->index(row).data(QueueListModel::PathRole).toString();
    }
    queued.sort();
    EXPECT_EQ(queued, QStringList({flac, album + u"/01 one.wav"_s}));
}

// A source cut short is converted, its row kept with the warning mark, and the alert says so.
TEST_F(MainWindowTest, EncodeFromTheToolbarConvertsTheQueueAndEveryRowReachesItsEnd)
{
    queue({Fixtures::generated("ctl-short.wav"), Fixtures::generated("ctl-tagged.flac"),
           Fixtures::generated("ctl-tone.ogg"), Fixtures::generated("dec-16-2ch-truncated.flac")});
    ASSERT_EQ(window.queueModel()->rowCount(), 4);

    QStringList buttonTexts;
    QStringList statusTexts;
    auto* status = window.statusBar()->findChild<QLabel*>();
    ASSERT_NE(status, nullptr);
    QObject::connect(&controller, &ApplicationController::operationFinished, [&] {
        buttonTexts << window.encodeButtonAction()->text();
        statusTexts << status->text();
    });

    window.action("preferences")->trigger(); // the run closes them
    ASSERT_TRUE(window.preferencesWindow()->isVisible());

    window.encodeButtonAction()->trigger();
    EXPECT_EQ(window.encodeButtonAction()->text(), u"Cancel"_s);
    EXPECT_FALSE(window.preferencesWindow()->isVisible());
    ASSERT_TRUE(waitForRunEnd());

    EXPECT_EQ(buttonTexts, QStringList(4, u"Cancel"_s));
    const QRegularExpression progress(u"^Converting: [0-3] of 4 files done, [0-9]+ %"_s);
    for (const QString& text : statusTexts) {
        EXPECT_TRUE(progress.match(text).hasMatch()) << text.toStdString();
    }
    QMessageBox* box = nullptr;
    ASSERT_TRUE(waitUntil([&] { return (box = visibleBox(u"1 of 4 files"_s)) != nullptr; }));
    EXPECT_EQ(box->text(), u"1 of 4 files written from a damaged source."_s);
    buttonWithCode(box, 1000)->click();
    EXPECT_EQ(window.encodeButtonAction()->text(), u"Encode"_s);
    EXPECT_TRUE(window.encodeButtonAction()->isEnabled());
    EXPECT_EQ(window.windowTitle(), u"Sonabrik"_s);
    ASSERT_EQ(window.queueModel()->rowCount(), 1);
    const QModelIndex row = window.queueModel()->index(0);
    EXPECT_TRUE(row.data(QueueListModel::DamagedRole).toBool());
    EXPECT_EQ(row.data(QueueListModel::StatusRole).toString(),
              u"dec-16-2ch-truncated.flac - Converted from a damaged source"_s);
}

TEST_F(MainWindowTest, TheOutputFolderPopUpShowsTheFolderTheFirstLaunchSetsUp)
{
    prefs.set(u"firstRun"_s, true);
    QTimer answer; // the welcome box is modal: answered from its own event loop
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

// "No" ticked for the batch writes both beside the existing files without asking again.
TEST_F(MainWindowTest, OverwriteQuestionIsAWindowModalBoxAndNoForTheBatchWritesBeside)
{
    prefs.set(u"overwriteOutputFiles"_s, true);
    prefs.set(u"promptBeforeOverwriting"_s, true);
    prefs.set(u"numProcesses"_s, 1);
    const QByteArray existing("an older file that is not audio");
    const QStringList bases{u"ctl-short"_s, u"ctl-second"_s};
    for (const QString& base : bases) {
        QFile file(out() + u'/' + base + u".mp3"_s);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(existing);
    }
    queue({Fixtures::generated("ctl-short.wav"), Fixtures::generated("ctl-second.flac")});
    window.action("encode")->trigger();
    QMessageBox* box = nullptr;
    ASSERT_TRUE(waitUntil([&] { return (box = visibleBox(u"The file"_s)) != nullptr; }));
    EXPECT_EQ(box->text(), u"The file \"ctl-short.mp3\" already exists."_s);
    EXPECT_EQ(box->windowModality(), Qt::WindowModal);
    EXPECT_EQ(box->parentWidget(), &window);
    EXPECT_EQ(box->informativeText(), u"Do you want to overwrite the existing file?"_s);
    ASSERT_NE(box->checkBox(), nullptr);
    EXPECT_EQ(box->checkBox()->text(), u"Apply to all in this batch"_s);
    EXPECT_EQ(buttonWithCode(box, 1001)->text(), u"Yes"_s);
    EXPECT_EQ(buttonWithCode(box, 1002)->text(), u"Skip"_s);
    EXPECT_EQ(static_cast<QAbstractButton*>(box->defaultButton()), buttonWithCode(box, 1000));
    EXPECT_EQ(buttonWithCode(box, 1000)->text(), u"No"_s);
    box->checkBox()->setChecked(true);
    buttonWithCode(box, 1000)->click();
    ASSERT_TRUE(waitForRunEnd());
    for (const QString& base : bases) {
        EXPECT_EQ(fileBytes(out() + u'/' + base + u".mp3"_s), existing);
        EXPECT_NEAR(durationOf(out() + u'/' + base + u" 2.mp3"_s), 0.5, 0.1);
    }
}

TEST_F(MainWindowTest, QuittingDuringARunAsksAndContinueKeepsItRunning)
{
    // An existing output holds the run at the overwrite question.
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

    // Closing the window quits too; "Quit Anyway" cancels the waiting file.
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

    EXPECT_EQ(log->model()->columnCount(), 2);
    EXPECT_EQ(log->model()->headerData(1, Qt::Horizontal).toString(), u"Message"_s);
    EXPECT_EQ(log->model()->index(1, 1).data().toString(), u"A message\nof three\nlines"_s);
    EXPECT_FALSE(log->model()->index(0, 0).data().toString().isEmpty());
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

    // The real program, in a session whose runtime folder holds the socket.
    QProcess second;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"XDG_RUNTIME_DIR"_s, scratch.path());
    environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
    second.setProcessEnvironment(environment);
    second.setWorkingDirectory(scratch.path());
    second.start(QStringLiteral(SONABRIK_BINARY_DIR "/Classes/sonabrik"),
                 {u"song one.flac"_s, u"/music/album"_s});
    ASSERT_TRUE(second.waitForStarted());
    ASSERT_TRUE(waitUntil([&] { return second.state() == QProcess::NotRunning; }, 60))
        << second.readAllStandardError().toStdString();
    EXPECT_EQ(second.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(second.exitCode(), 0);
    EXPECT_EQ(handOvers, 1);
    EXPECT_EQ(received, QStringList({scratch.file("song one.flac"), u"/music/album"_s}));
}

} // namespace
