// The metadata editor and commands on the offscreen platform, with the real controller and window.

#include "AlbumArtwork.h"
#include "DesktopProgram.h"
#include "Drops.h"
#include "Encoding.h"
#include "FileEncodeOperation.h"
#include "Fixtures.h"
#include "MainWindow.h"
#include "MetadataCommands.h"
#include "MetadataWindowcontroller.h"
#include "OperationsArrayController.h"
#include "QtPrinters.h"
#include "QueueListModel.h"
#include "QueueListView.h"
#include "ScriptedUserInterface.h"
#include "ZTAlbumArtworkDropView.h"
#include "ZTTextField.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QFileInfo>
#include <QItemSelectionModel>
#include <QLabel>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTabBar>
#include <QTabWidget>
#include <QTest>
#include <QUrl>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

using Field = AudioMetadata::Field;

class CountingUserInterface : public DesktopUserInterface
{
public:
    void beep() override { ++beeps; }
    int beeps = 0;
};

struct Program : DesktopProgram<CountingUserInterface>
{
    void queue(const QStringList& paths)
    {
        ASSERT_TRUE(openFilesAndWait(controller, paths));
        window.queueModel()->flushPendingRows();
    }

    FileEncodeOperation* row(const QString& path)
    {
        for (FileEncodeOperation* operation : controller.operationsController().arrangedObjects()) {
            if (operation->inFilePath() == path) {
                return operation;
            }
        }
        ADD_FAILURE() << "not queued: " << path.toStdString();
        return nullptr;
    }

    // As a click in the list would.
    void select(const QList<FileEncodeOperation*>& rows)
    {
        QItemSelection selection;
        for (FileEncodeOperation* operation : rows) {
            const int index = int(controller.operationsController().indexOf(operation));
            selection.select(window.queueModel()->index(index), window.queueModel()->index(index));
        }
        window.queueView()->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    }

    MetadataWindowcontroller* openEditor()
    {
        window.action("metadataEditor")->trigger();
        MetadataWindowcontroller* editor = window.metadataWindow();
        QApplication::setActiveWindow(editor);
        EXPECT_TRUE(QTest::qWaitForWindowActive(editor));
        return editor;
    }
};

class MetadataEditorTest : public ::testing::Test, protected RunIntoScratch
{
protected:
    void SetUp() override { QApplication::clipboard()->clear(); }

    void TearDown() override { QApplication::clipboard()->clear(); }

    QString source(const QString& name) { return scratch.copyOf(Fixtures::generated(name), name); }

    static bool drop(QWidget* target, QMimeData& data)
    {
        return sendDrop(target, target->rect().center(), data);
    }

    static bool dropFile(QWidget* target, const QString& path)
    {
        QMimeData data;
        data.setUrls({QUrl::fromLocalFile(path)});
        return drop(target, data);
    }
};

TEST_F(MetadataEditorTest, TypingIntoAFieldChangesEverySelectedRowAndNothingElse)
{
    Program program;
    const QString tagged = source(u"ctl-tagged.flac"_s);
    const QString second = source(u"ctl-second.flac"_s);
    const QString vorbis = source(u"ctl-tone.ogg"_s);
    const QString left = source(u"ctl-tagged.mp3"_s);
    program.queue({tagged, second, vorbis, left});
    const QList<FileEncodeOperation*> three = {program.row(tagged), program.row(second), program.row(vorbis)};
    program.select(three);
    MetadataWindowcontroller* editor = program.openEditor();

    // The rows disagree on the album, and agree only on having no disc.
    ZTTextField* album = editor->textField(Field::albumTitle);
    ASSERT_NE(album, nullptr);
    EXPECT_EQ(album->text(), QString());
    EXPECT_EQ(album->placeholderText(), u"Multiple Values"_s);
    EXPECT_EQ(editor->textField(Field::discNumber)->placeholderText(), QString());

    album->setFocus();
    QTest::keyClicks(album, u"Salt Marsh"_s);
    for (FileEncodeOperation* row : three) {
        EXPECT_EQ(row->metadata()->albumTitle(), u"Salt Marsh"_s) << row->inFilePath().toStdString();
    }
    EXPECT_EQ(program.row(tagged)->metadata()->trackTitle(), u"Lantern Road"_s);
    EXPECT_EQ(program.row(second)->metadata()->trackYear(), std::nullopt);
    EXPECT_EQ(program.row(left)->metadata()->albumTitle(), std::nullopt) << "a row left out";
    EXPECT_EQ(editor->textField(Field::trackTitle)->placeholderText(), u"Multiple Values"_s);

    album->selectAll(); // absent, not an empty text
    QTest::keyClick(album, Qt::Key_Backspace);
    EXPECT_EQ(program.row(second)->metadata()->albumTitle(), std::nullopt);

    editor->switchToMetadataWindowTab(1);
    ASSERT_EQ(editor->metadataTabView()->tabBar()->tabData(1).toInt(), MetadataWindowcontroller::LyricsTab);
    EXPECT_EQ(editor->lyricsTextView()->placeholderText(), u"Multiple Values"_s);
    editor->lyricsTextView()->setFocus();
    QTest::keyClicks(editor->lyricsTextView(), u"la la"_s);
    for (FileEncodeOperation* row : three) {
        EXPECT_EQ(row->metadata()->lyrics(), u"la la"_s);
    }

    // The numeric fields keep only the digits typed.
    const QList<FileEncodeOperation*> two = {program.row(tagged), program.row(second)};
    program.select(two);
    for (Field numeric : {Field::trackNumber, Field::totalTracks, Field::discNumber, Field::discTotal,
                          Field::trackYear, Field::bpm}) {
        ZTTextField* field = editor->textField(numeric);
        field->setFocus();
        field->selectAll();
        QTest::keyClicks(field, u"1a9-8 4x"_s);
        EXPECT_EQ(field->text(), u"1984"_s);
        for (FileEncodeOperation* row : two) {
            EXPECT_EQ(row->metadata()->value(numeric).toInt(), 1984);
        }
    }

    program.select({program.row(tagged)});
    EXPECT_EQ(editor->fileInformationLabel(Field::sourceSampleRate)->text(), u"44.100 kHz"_s);
    EXPECT_EQ(editor->fileInformationLabel(Field::sourceLength)->text(), u"(0:00)"_s);
    EXPECT_TRUE(editor->fileInformationLabel(Field::sourceFileSize)->text().endsWith(QLatin1String(" KB")));

    // Previous and next keep the focus in the same field.
    editor->switchToMetadataWindowTab(0);
    ZTTextField* artist = editor->textField(Field::trackArtist);
    QTest::mouseClick(artist, Qt::LeftButton);
    ASSERT_EQ(editor->lastSelectedControl(), artist);
    QTest::mouseClick(editor->findChild<QPushButton*>(u"nextButton"_s), Qt::LeftButton);
    EXPECT_EQ(program.controller.selectedOperations(), QList<FileEncodeOperation*>({program.row(second)}));
    EXPECT_EQ(QApplication::focusWidget(), artist);
    EXPECT_EQ(artist->text(), u"Someone Else"_s);
    QTest::keyClicks(artist, u"!"_s);
    EXPECT_EQ(program.row(second)->metadata()->trackArtist(), u"Someone Else!"_s);
    QTest::mouseClick(editor->findChild<QPushButton*>(u"previousButton"_s), Qt::LeftButton);
    EXPECT_EQ(program.controller.selectedOperations(), QList<FileEncodeOperation*>({program.row(tagged)}));
    EXPECT_EQ(QApplication::focusWidget(), artist);
    EXPECT_EQ(artist->text(), u"The Quiet Orchards"_s);
}

TEST_F(MetadataEditorTest, CoverAreaComparesTheRowsCoversAndTakesDrops)
{
    Program program;
    const QString a = source(u"ctl-tagged.flac"_s);
    const QString b = source(u"ctl-second.flac"_s);
    const QString c = source(u"ctl-tone.ogg"_s);
    program.queue({a, b, c});
    const QList<FileEncodeOperation*> three = {program.row(a), program.row(b), program.row(c)};
    MetadataWindowcontroller* editor = program.openEditor();
    ZTAlbumArtworkDropView* area = editor->albumArtworkImageView();

    program.select({});
    EXPECT_EQ(editor->albumArtworkDropText()->text(), u"Nothing Selected"_s);
    EXPECT_TRUE(editor->albumArtworkDropText()->isVisible());
    program.select({three.at(0)});
    EXPECT_EQ(editor->albumArtworkDropText()->text(), u"Drop Artwork For 1 File"_s);
    EXPECT_FALSE(editor->albumArtworkDimensionsTextField()->isVisible());

    program.select(three);
    EXPECT_EQ(editor->albumArtworkDropText()->text(), u"Drop Artwork For 3 Files"_s);
    ASSERT_TRUE(dropFile(area, Fixtures::generated("art.png")));
    const AlbumArtworkPtr cover = three.at(0)->metadata()->albumArtwork();
    ASSERT_NE(cover, nullptr);
    for (FileEncodeOperation* row : three) {
        EXPECT_EQ(row->metadata()->albumArtwork(), cover);
    }
    EXPECT_FALSE(editor->albumArtworkDropText()->isVisible());
    EXPECT_FALSE(area->image().isNull());
    EXPECT_EQ(editor->albumArtworkDimensionsTextField()->text(), u"37 x 23"_s);
    EXPECT_EQ(editor->albumArtworkDataTypeTextField()->text(), u"image/png"_s);
    EXPECT_EQ(editor->albumArtworkDataSizeTextField()->text(),
              QString::number(QFileInfo(Fixtures::generated("art.png")).size()));

    // One row with another cover, set behind the editor's back: the count instead.
    three.at(2)->metadata()->setAlbumArtwork(
        AlbumArtwork::albumArtworkFromFile(Fixtures::generated("art.jpg")));
    QApplication::processEvents();
    EXPECT_EQ(editor->albumArtworkDropText()->text(), u"Drop Artwork For 3 Files"_s);
    EXPECT_TRUE(editor->albumArtworkDropText()->isVisible());
    EXPECT_TRUE(area->image().isNull());
    EXPECT_FALSE(editor->albumArtworkDataTypeTextField()->isVisible());

    // A file that is no picture beeps and changes nothing.
    EXPECT_TRUE(dropFile(area, Fixtures::generated("art-garbage.png")));
    EXPECT_EQ(program.ui.beeps, 1);
    EXPECT_EQ(three.at(1)->metadata()->albumArtwork(), cover);

    // Picture data, as a browser drags it, is stored as JPEG.
    QMimeData image;
    image.setData(u"image/png"_s, fileBytes(Fixtures::generated("art.png")));
    ASSERT_TRUE(drop(area, image));
    const AlbumArtworkPtr dropped = three.at(2)->metadata()->albumArtwork();
    ASSERT_NE(dropped, nullptr);
    EXPECT_EQ(dropped->mimeType(), u"image/jpeg"_s);
    EXPECT_EQ(dropped->dimensions(), u"37 x 23"_s);
    EXPECT_EQ(three.at(0)->metadata()->albumArtwork(), dropped);
    QMimeData garbage; // ignored without a sound
    garbage.setData(u"image/tiff"_s, QByteArray("not a picture"));
    EXPECT_TRUE(drop(area, garbage));
    EXPECT_EQ(three.at(1)->metadata()->albumArtwork(), dropped);
    EXPECT_EQ(program.ui.beeps, 1);

    area->setFocus();
    QTest::keyClick(area, Qt::Key_Delete);
    for (FileEncodeOperation* row : three) {
        EXPECT_EQ(row->metadata()->albumArtwork(), nullptr);
    }
    EXPECT_EQ(editor->albumArtworkDropText()->text(), u"Drop Artwork For 3 Files"_s);
}

TEST_F(MetadataEditorTest, CopyAndPasteGoThroughTheMenusAndTheClipboard)
{
    Program program;
    const QString withoutLyrics = source(u"ctl-second.flac"_s);
    const QString withLyrics = source(u"ctl-tagged.flac"_s);
    program.queue({withoutLyrics, withLyrics});
    FileEncodeOperation* from = program.row(withoutLyrics);
    FileEncodeOperation* to = program.row(withLyrics);
    from->metadata()->setAlbumArtwork(AlbumArtwork::albumArtworkFromFile(Fixtures::generated("art.png")));
    QAction* copy = program.window.action("copyAllMetadata");
    QAction* paste = program.window.action("pasteAllMetadata");
    QAction* clearLyrics = program.window.action("clearLyrics");
    program.select({});
    EXPECT_FALSE(copy->isEnabled());
    program.select({from});
    EXPECT_TRUE(copy->isEnabled());
    EXPECT_FALSE(paste->isEnabled()) << "nothing copied yet";
    EXPECT_FALSE(clearLyrics->isEnabled()) << "the row has no lyrics";

    MetadataWindowcontroller* editor = program.openEditor();
    // The shortcut works in the editor while a text field has focus.
    editor->textField(Field::trackTitle)->setFocus();
    QTest::keyClick(editor->textField(Field::trackTitle), Qt::Key_C, Qt::ControlModifier | Qt::ShiftModifier);
    ASSERT_TRUE(program.controller.metadataCommands().copiedMetadata().has_value());
    const QMimeData* clipboard = QApplication::clipboard()->mimeData();
    ASSERT_NE(clipboard, nullptr);
    EXPECT_TRUE(clipboard->hasFormat(u"application/x-org.sonabrik.metadata"_s));

    // A paste replaces: the row's lyrics go.
    program.select({to});
    EXPECT_TRUE(paste->isEnabled());
    EXPECT_TRUE(clearLyrics->isEnabled());
    editor->switchToMetadataWindowTab(1);
    EXPECT_EQ(editor->lyricsTextView()->toPlainText(), u"first line"_s);
    paste->trigger();
    EXPECT_EQ(to->metadata()->lyrics(), std::nullopt);
    EXPECT_EQ(to->metadata()->trackTitle(), u"Second Song"_s);
    EXPECT_EQ(editor->lyricsTextView()->toPlainText(), QString());
    EXPECT_EQ(editor->textField(Field::trackTitle)->text(), u"Second Song"_s);
    EXPECT_FALSE(clearLyrics->isEnabled());

    // Another program (controller and window) pastes from the clipboard.
    Program other;
    const QString elsewhere = scratch.copyOf(Fixtures::generated("ctl-tone.ogg"), "elsewhere.ogg");
    other.queue({elsewhere});
    other.select({other.row(elsewhere)});
    EXPECT_TRUE(other.window.action("pasteAllMetadata")->isEnabled());
    other.window.action("pasteAllMetadata")->trigger();
    const AudioMetadataPtr pasted = other.row(elsewhere)->metadata();
    EXPECT_EQ(pasted->trackArtist(), u"Someone Else"_s);
    ASSERT_NE(pasted->albumArtwork(), nullptr);
    EXPECT_EQ(pasted->albumArtwork()->md5(), from->metadata()->albumArtwork()->md5());
}

} // namespace
