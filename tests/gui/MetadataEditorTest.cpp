// The metadata editor and the metadata commands of the desktop program, on
// the offscreen platform with the real controller and main window behind
// them: typing into the fields with several rows selected, the numeric
// fields, the cover area and what is dropped on it, previous/next keeping
// the focus, copy and paste through the menus and the system clipboard, and
// a metadata-only run writing what was typed into MP3 files, read back by
// mutagen.

#include "AlbumArtwork.h"
#include "DesktopProgram.h"
#include "Drops.h"
#include "Encoding.h"
#include "FileEncodeOperation.h"
#include "Fixtures.h"
#include "MainWindow.h"
#include "MetadataCommands.h"
#include "MetadataPasteboard.h"
#include "MetadataWindowcontroller.h"
#include "OperationsArrayController.h"
#include "QtPrinters.h"
#include "QueueListModel.h"
#include "QueueListView.h"
#include "ScriptedUserInterface.h"
#include "TagDump.h"
#include "ZTAlbumArtworkDropView.h"
#include "ZTTextField.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QFileInfo>
#include <QItemSelectionModel>
#include <QJsonArray>
#include <QJsonObject>
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

// The desktop's user interface with the beep counted instead of sounded.
class CountingUserInterface : public DesktopUserInterface
{
public:
    void beep() override { ++beeps; }
    int beeps = 0;
};

// One program's worth, with the rows of its queue and its editor at hand.
struct Program : DesktopProgram<CountingUserInterface>
{
    void queue(const QStringList& paths)
    {
        ASSERT_TRUE(openFilesAndWait(controller, paths));
        window.queueModel()->flushPendingRows();
    }

    // The queued row of that source.
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

    // Selects the rows of these sources as a click in the list would.
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

    // Copies of the fixtures, so that nothing another test changes leaks in.
    QString source(const QString& name) { return scratch.copyOf(Fixtures::generated(name), name); }

    // Drops mime data on the cover area as a file manager or a browser
    // would.
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

    // The rows disagree on the album: the field says so and stays empty.
    ZTTextField* album = editor->textField(Field::albumTitle);
    ASSERT_NE(album, nullptr);
    EXPECT_EQ(album->text(), QString());
    EXPECT_EQ(album->placeholderText(), u"Multiple Values"_s);
    // They agree on nothing but the disc: an empty field without the note.
    EXPECT_EQ(editor->textField(Field::discNumber)->placeholderText(), QString());

    album->setFocus();
    QTest::keyClicks(album, u"Salt Marsh"_s);
    for (FileEncodeOperation* row : three) {
        EXPECT_EQ(row->metadata()->albumTitle(), u"Salt Marsh"_s) << row->inFilePath().toStdString();
    }
    // The other fields and the row left out are as they were.
    EXPECT_EQ(program.row(tagged)->metadata()->trackTitle(), u"Lantern Road"_s);
    EXPECT_EQ(program.row(second)->metadata()->trackTitle(), u"Second Song"_s);
    EXPECT_EQ(program.row(vorbis)->metadata()->trackArtist(), u"The Quiet Orchards"_s);
    EXPECT_EQ(program.row(tagged)->metadata()->trackYear(), 1969);
    EXPECT_EQ(program.row(second)->metadata()->trackYear(), std::nullopt);
    EXPECT_EQ(program.row(left)->metadata()->albumTitle(), std::nullopt);
    EXPECT_EQ(editor->textField(Field::trackTitle)->placeholderText(), u"Multiple Values"_s);

    // Emptying the field makes the album absent, not an empty text.
    album->selectAll();
    QTest::keyClick(album, Qt::Key_Backspace);
    EXPECT_EQ(program.row(second)->metadata()->albumTitle(), std::nullopt);

    // The lyrics tab edits all three as well.
    editor->switchToMetadataWindowTab(1);
    ASSERT_EQ(editor->metadataTabView()->tabBar()->tabData(1).toInt(), MetadataWindowcontroller::LyricsTab);
    EXPECT_EQ(editor->lyricsTextView()->placeholderText(), u"Multiple Values"_s);
    editor->lyricsTextView()->setFocus();
    QTest::keyClicks(editor->lyricsTextView(), u"la la"_s);
    for (FileEncodeOperation* row : three) {
        EXPECT_EQ(row->metadata()->lyrics(), u"la la"_s);
    }

    // The file tab shows the stream facts through the formatters.
    program.select({program.row(tagged)});
    EXPECT_EQ(editor->fileInformationLabel(Field::sourceSampleRate)->text(), u"44.100 kHz"_s);
    EXPECT_EQ(editor->fileInformationLabel(Field::sourceLength)->text(), u"(0:00)"_s);
    EXPECT_TRUE(editor->fileInformationLabel(Field::sourceFileSize)->text().endsWith(QLatin1String(" KB")));
}

class NumericFieldTest : public MetadataEditorTest, public ::testing::WithParamInterface<Field>
{
};

TEST_P(NumericFieldTest, KeepsOnlyTheDigitsTyped)
{
    Program program;
    const QString first = source(u"ctl-tagged.flac"_s);
    const QString second = source(u"ctl-second.flac"_s);
    program.queue({first, second});
    program.select({program.row(first), program.row(second)});
    MetadataWindowcontroller* editor = program.openEditor();

    ZTTextField* field = editor->textField(GetParam());
    ASSERT_NE(field, nullptr);
    field->setFocus();
    field->selectAll();
    QTest::keyClicks(field, u"1a9-8 4x"_s);
    EXPECT_EQ(field->text(), u"1984"_s);
    for (FileEncodeOperation* row : {program.row(first), program.row(second)}) {
        EXPECT_EQ(row->metadata()->value(GetParam()).toInt(), 1984);
    }
    // Pasted text is cleaned the same way.
    field->selectAll();
    QApplication::clipboard()->setText(u"No. 7 of 12"_s);
    field->paste();
    EXPECT_EQ(field->text(), u"712"_s);
    EXPECT_EQ(program.row(second)->metadata()->value(GetParam()).toInt(), 712);
}

INSTANTIATE_TEST_SUITE_P(SixNumericFields, NumericFieldTest,
                         ::testing::Values(Field::trackNumber, Field::totalTracks, Field::discNumber,
                                           Field::discTotal, Field::trackYear, Field::bpm),
                         [](const ::testing::TestParamInfo<Field>& info) {
                             return AudioMetadata::fieldName(info.param).toStdString();
                         });

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

    // A picture file dropped on three rows becomes the one cover of all.
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
    EXPECT_TRUE(editor->albumArtworkDimensionsTextField()->isVisible());

    // Equal bytes in another object still count as the same cover.
    auto copy = std::make_shared<AlbumArtwork>();
    copy->setData(QByteArray(cover->data()->constData(), cover->data()->size()));
    three.at(1)->metadata()->setAlbumArtwork(copy);
    QApplication::processEvents();
    EXPECT_FALSE(editor->albumArtworkDropText()->isVisible());

    // One row with another cover: nothing shown, the count instead. The
    // editor follows a change made behind its back.
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
    EXPECT_EQ(three.at(0)->metadata()->albumArtwork(), cover);
    EXPECT_EQ(three.at(1)->metadata()->albumArtwork(), copy);
    // And so does a file that is not there.
    EXPECT_TRUE(dropFile(area, scratch.file("gone.png")));
    EXPECT_EQ(program.ui.beeps, 2);

    // Picture data, as a browser drags it, is stored as JPEG.
    QMimeData image;
    image.setData(u"image/png"_s, fileBytes(Fixtures::generated("art.png")));
    ASSERT_TRUE(drop(area, image));
    const AlbumArtworkPtr dropped = three.at(2)->metadata()->albumArtwork();
    ASSERT_NE(dropped, nullptr);
    EXPECT_EQ(dropped->mimeType(), u"image/jpeg"_s);
    EXPECT_EQ(dropped->dimensions(), u"37 x 23"_s);
    EXPECT_EQ(three.at(0)->metadata()->albumArtwork(), dropped);
    // Data that is no picture is ignored without a sound.
    QMimeData garbage;
    garbage.setData(u"image/tiff"_s, QByteArray("not a picture"));
    EXPECT_TRUE(drop(area, garbage));
    EXPECT_EQ(three.at(1)->metadata()->albumArtwork(), dropped);
    EXPECT_EQ(program.ui.beeps, 2);

    // Delete in the cover area takes the cover off every selected row.
    area->setFocus();
    QTest::keyClick(area, Qt::Key_Delete);
    for (FileEncodeOperation* row : three) {
        EXPECT_EQ(row->metadata()->albumArtwork(), nullptr);
    }
    EXPECT_EQ(editor->albumArtworkDropText()->text(), u"Drop Artwork For 3 Files"_s);
}

TEST_F(MetadataEditorTest, PreviousAndNextKeepTheFocusInTheSameField)
{
    Program program;
    const QString a = source(u"ctl-tagged.flac"_s);
    const QString b = source(u"ctl-second.flac"_s);
    const QString c = source(u"ctl-tone.ogg"_s);
    program.queue({a, b, c});
    program.select({program.row(a)});
    MetadataWindowcontroller* editor = program.openEditor();

    ZTTextField* artist = editor->textField(Field::trackArtist);
    QTest::mouseClick(artist, Qt::LeftButton);
    ASSERT_EQ(editor->lastSelectedControl(), artist);
    auto* next = editor->findChild<QPushButton*>(u"nextButton"_s);
    QTest::mouseClick(next, Qt::LeftButton);
    EXPECT_EQ(program.controller.selectedOperations(), QList<FileEncodeOperation*>({program.row(b)}));
    EXPECT_EQ(QApplication::focusWidget(), artist);
    EXPECT_EQ(artist->text(), u"Someone Else"_s);
    // Typing goes on into the next row's field.
    QTest::keyClicks(artist, u"!"_s);
    EXPECT_EQ(program.row(b)->metadata()->trackArtist(), u"Someone Else!"_s);

    auto* previous = editor->findChild<QPushButton*>(u"previousButton"_s);
    QTest::mouseClick(previous, Qt::LeftButton);
    EXPECT_EQ(program.controller.selectedOperations(), QList<FileEncodeOperation*>({program.row(a)}));
    EXPECT_EQ(QApplication::focusWidget(), artist);
    EXPECT_EQ(artist->text(), u"The Quiet Orchards"_s);

    // On the lyrics tab the lyrics keep it.
    editor->switchToMetadataWindowTab(1);
    QTest::keyClick(editor, Qt::Key_Down, Qt::AltModifier);
    EXPECT_EQ(program.controller.selectedOperations(), QList<FileEncodeOperation*>({program.row(b)}));
    EXPECT_EQ(QApplication::focusWidget(), editor->lyricsTextView());
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
    ASSERT_NE(copy, nullptr);
    ASSERT_NE(paste, nullptr);

    program.select({});
    EXPECT_FALSE(copy->isEnabled());
    program.select({from});
    EXPECT_TRUE(copy->isEnabled());
    EXPECT_FALSE(paste->isEnabled()) << "nothing copied yet";
    EXPECT_FALSE(clearLyrics->isEnabled()) << "the row has no lyrics";
    EXPECT_EQ(copy->shortcut(), QKeySequence(u"Ctrl+Shift+C"_s));

    MetadataWindowcontroller* editor = program.openEditor();
    // The shortcut works in the editor, also while a text field has focus.
    editor->textField(Field::trackTitle)->setFocus();
    QTest::keyClick(editor->textField(Field::trackTitle), Qt::Key_C, Qt::ControlModifier | Qt::ShiftModifier);
    ASSERT_TRUE(program.controller.metadataCommands().copiedMetadata().has_value());
    const QMimeData* clipboard = QApplication::clipboard()->mimeData();
    ASSERT_NE(clipboard, nullptr);
    EXPECT_TRUE(clipboard->hasFormat(u"application/x-org.sonabrik.metadata"_s));
    EXPECT_TRUE(clipboard->hasFormat(u"application/x-org.sonabrik.albumartwork"_s));
    EXPECT_TRUE(clipboard->hasFormat(u"image/png"_s));

    // Pasting onto a row with lyrics empties them: a paste replaces.
    program.select({to});
    EXPECT_TRUE(paste->isEnabled());
    EXPECT_TRUE(clearLyrics->isEnabled());
    editor->switchToMetadataWindowTab(1);
    EXPECT_EQ(editor->lyricsTextView()->toPlainText(), u"first line"_s);
    paste->trigger();
    EXPECT_EQ(to->metadata()->lyrics(), std::nullopt);
    EXPECT_EQ(to->metadata()->trackTitle(), u"Second Song"_s);
    EXPECT_EQ(to->metadata()->albumTitle(), std::nullopt);
    ASSERT_NE(to->metadata()->albumArtwork(), nullptr);
    EXPECT_EQ(to->metadata()->albumArtwork()->md5(), from->metadata()->albumArtwork()->md5());
    EXPECT_EQ(editor->lyricsTextView()->toPlainText(), QString());
    EXPECT_EQ(editor->textField(Field::trackTitle)->text(), u"Second Song"_s);
    EXPECT_FALSE(clearLyrics->isEnabled());

    // Another program (here: another controller with its own window) pastes
    // what the first put on the clipboard.
    Program other;
    const QString elsewhere = scratch.copyOf(Fixtures::generated("ctl-tone.ogg"), "elsewhere.ogg");
    other.queue({elsewhere});
    other.select({other.row(elsewhere)});
    EXPECT_TRUE(other.window.action("pasteAllMetadata")->isEnabled()) << "the clipboard holds a tag set";
    other.window.action("pasteAllMetadata")->trigger();
    const AudioMetadataPtr pasted = other.row(elsewhere)->metadata();
    EXPECT_EQ(pasted->trackTitle(), u"Second Song"_s);
    EXPECT_EQ(pasted->trackArtist(), u"Someone Else"_s);
    EXPECT_EQ(pasted->trackNumber(), 2);
    ASSERT_NE(pasted->albumArtwork(), nullptr);
    EXPECT_EQ(pasted->albumArtwork()->md5(), from->metadata()->albumArtwork()->md5());
    EXPECT_EQ(pasted->albumArtwork()->dimensions(), u"37 x 23"_s);

    // Damaged clipboard bytes of the private type are refused, not pasted.
    auto damaged = std::make_unique<QMimeData>();
    damaged->setData(MetadataPasteboard::kPasteboardType,
                     MetadataPasteboard::archive(from->metadata()->exchangeDictionary()).left(40));
    QApplication::clipboard()->setMimeData(damaged.release());
    EXPECT_FALSE(MetadataPasteboard::fromMimeData(*QApplication::clipboard()->mimeData()).has_value());
    pasted->setTrackTitle(u"Kept"_s);
    other.window.action("pasteAllMetadata")->trigger();
    EXPECT_EQ(pasted->trackTitle(), u"Second Song"_s) << "the set copied before is pasted";
}

TEST_F(MetadataEditorTest, UpdateMetadataWritesTheEditedTagsIntoTheMP3Files)
{
    Program program;
    const QString one = scratch.copyOf(Fixtures::generated("ctl-tagged.mp3"), "one.mp3");
    const QString two = scratch.copyOf(Fixtures::generated("ctl-tagged.mp3"), "two.mp3");
    program.queue({one, two});
    program.select({program.row(one), program.row(two)});
    MetadataWindowcontroller* editor = program.openEditor();

    editor->textField(Field::albumTitle)->setFocus();
    QTest::keyClicks(editor->textField(Field::albumTitle), u"Harbour Lights"_s);
    QTest::keyClicks(editor->textField(Field::trackYear), u"2001"_s);
    ASSERT_TRUE(dropFile(editor->albumArtworkImageView(), Fixtures::generated("art.jpg")));
    program.select({program.row(two)});
    editor->textField(Field::trackTitle)->selectAll();
    QTest::keyClicks(editor->textField(Field::trackTitle), u"Second Take"_s);
    editor->switchToMetadataWindowTab(1);
    QTest::keyClicks(editor->lyricsTextView(), u"line one"_s);

    // A run closes the editor.
    program.window.action("updateMetadata")->trigger();
    EXPECT_FALSE(editor->isVisible());
    ASSERT_TRUE(waitUntil([&] { return program.runsFinished > 0; }, 120));

    const QJsonObject first = mutagenTags(one);
    EXPECT_EQ(id3v2Text(first, u"TALB"_s), u"Harbour Lights"_s);
    EXPECT_EQ(id3v2Text(first, u"TIT2"_s), u"Old Title"_s);
    EXPECT_TRUE(id3v2Text(first, u"TDRC"_s).startsWith(QLatin1String("2001")) ||
                id3v2Text(first, u"TYER"_s) == QLatin1String("2001"));
    const QJsonObject second = mutagenTags(two);
    EXPECT_EQ(id3v2Text(second, u"TALB"_s), u"Harbour Lights"_s);
    EXPECT_EQ(id3v2Text(second, u"TIT2"_s), u"Second Take"_s);
    EXPECT_EQ(id3v2Text(second, u"TPE1"_s), u"Old Artist"_s);
    EXPECT_EQ(id3v2Text(second, "USLT"), u"line one"_s);
    EXPECT_EQ(second["id3v2"]["frames"]["APIC"][0]["data"].toString(),
              QString::fromLatin1(fileBytes(Fixtures::generated("art.jpg")).toHex()));
}

} // namespace
