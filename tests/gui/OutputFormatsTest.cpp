// The output-format list of the main window: the MP3 cell bringing a stored
// record in line with its pop-ups (and the fall-backs it writes back), the
// format pop-up, and the pane's commands as a user reaches them: buttons,
// the context menu, dragging rows by their grip, and the lock during a run.

#include "DesktopProgram.h"
#include "EncoderSettings.h"
#include "Encoding.h"
#include "ErrorLog.h"
#include "Fixtures.h"
#include "MP3ListViewCell.h"
#include "MainWindow.h"
#include "OutputFormatCommands.h"
#include "OutputFormatListModel.h"
#include "OutputFormatTableView.h"
#include "OutputFormatsPane.h"
#include "Preferences.h"
#include "ScriptedUserInterface.h"
#include "Tools.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDropEvent>
#include <QLabel>
#include <QMenu>
#include <QMimeData>
#include <QToolButton>
#include <QUrl>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// Chooses the item tagged tag as a user does: the pop-up's activation.
void choose(QComboBox* popUp, qint64 tag)
{
    const int index = EncoderListViewCell::indexOfTag(popUp, tag);
    ASSERT_GE(index, 0) << "no item tagged " << tag;
    popUp->setCurrentIndex(index);
    Q_EMIT popUp->activated(index);
}

class MP3CellTest : public ::testing::Test
{
protected:
    QVariantMap previousSettings() const
    {
        return Preferences::shared().dictionaryValue(u"previousMP3Settings"_s);
    }

    PreferencesScope prefs;
    EncoderSettings record;
    MP3ListViewCell cell;
};

TEST_F(MP3CellTest, ValuesWithoutAnItemFallBackAndTheQualitySlipIsKept)
{
    record.setEnabled(true);
    record.setExtension(u"mp3"_s);
    record.setSampleRate(12345);
    record.setBitrate(100);
    record.setBitrateMethod(7);
    record.setVbrQuality(0);
    record.setChannelMode(2);
    record.setQuality(42);
    cell.setEncoderSettings(&record);

    EXPECT_EQ(record.sampleRate(), 0);
    EXPECT_EQ(record.bitrate(), 192);
    EXPECT_EQ(record.bitrateMethod(), EncoderSettings::CBR);
    EXPECT_EQ(record.vbrQuality(), 8);
    EXPECT_EQ(record.channelMode(), 2);
    EXPECT_EQ(record.quality(), 8);
    EXPECT_EQ(EncoderListViewCell::selectedTag(cell.sampleRatePopupButton()), 0);
    EXPECT_EQ(EncoderListViewCell::selectedTag(cell.bitratePopupButton()), 192);
    EXPECT_EQ(EncoderListViewCell::selectedTag(cell.vbrQualityPopupButton()), 8);
    // The quality fall-back goes to the channel pop-up, which has no item 8
    // and keeps its own; the quality pop-up keeps no selection.
    EXPECT_EQ(EncoderListViewCell::selectedTag(cell.channelsPopupButton()), 2);
    EXPECT_EQ(cell.qualityPopupButton()->currentIndex(), -1);
    EXPECT_TRUE(cell.enabledCheckBox()->isChecked());
    EXPECT_TRUE(cell.outputFormatPopupButton()->isHidden());
    EXPECT_EQ(cell.formatLabel()->text(), u"MP3"_s);

    // What the cell shows is remembered as the last MP3 settings.
    EXPECT_EQ(EncoderSettings(previousSettings()).description(), record.description());
}

TEST_F(MP3CellTest, TheMethodChoosesBetweenBitRateAndVbrQuality)
{
    record.setBitrate(320);
    record.setQuality(8);
    record.setVbrQuality(10);
    cell.setEncoderSettings(&record);
    cell.show();
    EXPECT_TRUE(cell.bitratePopupButton()->isVisible());
    EXPECT_FALSE(cell.vbrQualityPopupButton()->isVisible());
    EXPECT_EQ(cell.bitrateTextField()->text(), u"Bitrate kbps"_s);

    choose(cell.bitrateModePopupButton(), EncoderSettings::VBR);
    EXPECT_EQ(record.bitrateMethod(), EncoderSettings::VBR);
    EXPECT_FALSE(cell.bitratePopupButton()->isVisible());
    EXPECT_TRUE(cell.vbrQualityPopupButton()->isVisible());
    EXPECT_EQ(cell.bitrateTextField()->text(), u"VBR Quality"_s);

    choose(cell.vbrQualityPopupButton(), 6);
    choose(cell.sampleRatePopupButton(), 44100);
    choose(cell.channelsPopupButton(), 3);
    choose(cell.qualityPopupButton(), 10);
    EXPECT_EQ(record.completeDescription(), u"MP3 - VBR Quality 6"_s);
    EXPECT_EQ(record.sampleRate(), 44100);
    EXPECT_EQ(record.channelMode(), 3);
    EXPECT_EQ(record.quality(), 10);
    EXPECT_EQ(EncoderSettings(previousSettings()).description(), record.description());

    choose(cell.bitrateModePopupButton(), EncoderSettings::ABR);
    choose(cell.bitratePopupButton(), 160);
    EXPECT_EQ(record.completeDescription(), u"MP3 - 160.00 kbps ABR"_s);
    EXPECT_TRUE(cell.bitratePopupButton()->isVisible());

    // Unticking the box switches the format off without touching the rest.
    cell.enabledCheckBox()->setChecked(true);
    cell.enabledCheckBox()->setChecked(false);
    EXPECT_FALSE(record.enabled());
}

TEST_F(MP3CellTest, ARecordOfAnotherFormatIsShownAsMP3AndTheGeneralCellKeepsItsTable)
{
    // A FLAC record from an older preferences file: shown, and written, as
    // MP3, and the log says so once.
    ErrorLog::shared()->clear();
    record.setEncoderType(EncoderSettings::FLAC);
    record.setExtension(u"flac"_s);
    cell.setEncoderSettings(&record);
    cell.configureMenuItems();
    EXPECT_EQ(record.encoderType(), EncoderSettings::MP3);
    EXPECT_EQ(record.extension(), u"mp3"_s);
    EXPECT_EQ(ErrorLog::shared()->errorLogAsString().count(u"is not one Sonabrik writes"_s), 1);

    // The general cell still switches kinds from their remembered settings.
    EncoderListViewCell general;
    general.setEncoderSettings(&record);
    prefs.set(u"previousFLACSettings"_s, QVariantMap{{u"quality"_s, 7}, {u"mode"_s, 1}});
    record.setBitrate(128);
    cell.configureMenuItems();

    choose(general.outputFormatPopupButton(), EncoderListViewCell::FLACTag);
    EXPECT_EQ(record.encoderType(), EncoderSettings::FLAC);
    EXPECT_EQ(record.extension(), u"flac"_s);
    EXPECT_EQ(record.quality(), 7);
    EXPECT_EQ(record.channelMode(), 1);

    choose(general.outputFormatPopupButton(), EncoderListViewCell::AppleLosslessTag);
    EXPECT_EQ(record.encoderType(), EncoderSettings::CoreAudio);
    EXPECT_EQ(record.outputFormatDescription(), u"Apple Lossless"_s);
    EXPECT_EQ(record.extension(), u"m4a"_s);

    // Platform formats are found by their file type: an MPEG-4 file with
    // AAC is the AAC item, whatever type of MPEG-4 file it is.
    record.setFileType(0x6D703466); // 'mp4f'
    record.setFormatID(0x61616320); // 'aac '
    general.configureMenuItems();
    EXPECT_EQ(EncoderListViewCell::selectedTag(general.outputFormatPopupButton()),
              EncoderListViewCell::AACTag);
    record.setFileType(0x3F3F3F3F);
    general.configureMenuItems();
    EXPECT_EQ(general.outputFormatPopupButton()->currentIndex(), -1);

    choose(general.outputFormatPopupButton(), EncoderListViewCell::MP3Tag);
    EXPECT_EQ(record.encoderType(), EncoderSettings::MP3);
    EXPECT_EQ(record.extension(), u"mp3"_s);
    // The MP3 settings come back from the last ones the MP3 cell showed.
    EXPECT_EQ(record.bitrate(), 128);
}

class OutputFormatsPaneTest : public ::testing::Test, protected RunIntoScratch, protected DesktopProgram<>
{
protected:
    void SetUp() override { QApplication::processEvents(); }
    OutputFormatsPane& pane() { return *window.outputFormatsPane(); }
    QList<std::shared_ptr<EncoderSettings>>& formats() { return controller.encoderSettingsList(); }
    MP3ListViewCell* cellOfRow(int row)
    {
        return qobject_cast<MP3ListViewCell*>(pane().tableView()->indexWidget(pane().model()->index(row)));
    }
    QAction* menuAction(QMenu& menu, const QString& text)
    {
        for (QAction* action : menu.actions()) {
            if (action->text() == text) {
                return action;
            }
        }
        return nullptr;
    }
};

TEST_F(OutputFormatsPaneTest, ButtonsAndContextMenuFollowTheirOwnRules)
{
    ASSERT_EQ(formats().size(), 1);
    ASSERT_NE(cellOfRow(0), nullptr) << "every row has its cell open";
    EXPECT_FALSE(pane().removeButton()->isEnabled()) << "nothing selected";

    // Working in a cell selects its row.
    QApplication::setActiveWindow(&window);
    cellOfRow(0)->channelsPopupButton()->setFocus();
    QApplication::processEvents();
    EXPECT_EQ(pane().selectedOutputFormatRows(), (QList<int>{0}));
    pane().removeButton()->click();
    EXPECT_EQ(formats().size(), 1) << "the button keeps the last format";

    formats().first()->setBitrateMethod(EncoderSettings::CBR);
    formats().first()->setBitrate(256);
    pane().duplicateButton()->click();
    ASSERT_EQ(formats().size(), 2);
    EXPECT_EQ(pane().selectedOutputFormatRows(), (QList<int>{1})) << "the source stays selected";
    ASSERT_NE(cellOfRow(1), nullptr);
    EXPECT_EQ(EncoderListViewCell::selectedTag(cellOfRow(1)->bitratePopupButton()), 256);

    // A change made outside a cell reaches it once the event loop turns.
    formats().at(0)->setBitrate(96);
    QApplication::processEvents();
    EXPECT_EQ(EncoderListViewCell::selectedTag(cellOfRow(0)->bitratePopupButton()), 96);

    std::unique_ptr<QMenu> menu = pane().contextMenuForRow(1);
    menuAction(*menu, u"Use as Default"_s)->trigger();
    EXPECT_EQ(EncoderSettings(Preferences::shared().dictionaryValue(u"defaultEncoderSetting"_s)).bitrate(),
              256);
    pane().addButton()->click();
    ASSERT_EQ(formats().size(), 3);
    EXPECT_EQ(formats().last()->bitrate(), 256);
    EXPECT_EQ(pane().selectedOutputFormatRows(), (QList<int>{2}));

    // Below the rows the menu's commands have no row to act on.
    menu = pane().contextMenuForRow(-1);
    EXPECT_FALSE(menuAction(*menu, u"Remove"_s)->isEnabled());
    // From the context menu even the last format goes.
    for (int left = 3; left > 0; --left) {
        menu = pane().contextMenuForRow(0);
        menuAction(*menu, u"Remove"_s)->trigger();
    }
    EXPECT_TRUE(formats().isEmpty());
    EXPECT_EQ(pane().model()->rowCount(), 0);
}

TEST_F(OutputFormatsPaneTest, RowsMoveByDragWithinTheTableOnly)
{
    pane().addButton()->click();
    pane().addButton()->click();
    formats().at(0)->setBitrate(128);
    formats().at(1)->setBitrate(192);
    formats().at(2)->setBitrate(320);
    const auto bitrates = [this] {
        QList<qint64> result;
        for (const auto& settings : formats()) {
            result << settings->bitrate();
        }
        return result;
    };

    // What dragging row 0 writes, dropped onto the last row: above it.
    std::unique_ptr<QMimeData> dragged(pane().model()->mimeData({pane().model()->index(0)}));
    ASSERT_TRUE(dragged->hasFormat(u"OutputFormatTableViewDataType"_s));
    ASSERT_TRUE(pane().model()->dropMimeData(dragged.get(), Qt::MoveAction, -1, 0, pane().model()->index(2)));
    EXPECT_EQ(bitrates(), (QList<qint64>{192, 128, 320}));
    EXPECT_EQ(pane().selectedOutputFormatRows(), (QList<int>{1}));
    QApplication::processEvents();
    EXPECT_EQ(EncoderListViewCell::selectedTag(cellOfRow(1)->bitratePopupButton()), 128)
        << "the cells follow their records";

    // The space below the rows is the end; the lower part of a row is the
    // place below it.
    OutputFormatTableView* view = pane().tableView();
    const QRect last = view->visualRect(pane().model()->index(2));
    EXPECT_EQ(view->dropRowAt(QPoint(40, last.bottom() + 30)), 3);
    EXPECT_EQ(view->dropRowAt(QPoint(40, last.top() + 2)), 2);
    EXPECT_EQ(view->dropRowAt(QPoint(40, last.bottom() - 2)), 3);

    // Files dragged from a file manager are not output formats.
    QMimeData files;
    files.setUrls({QUrl::fromLocalFile(Fixtures::generated("ctl-short.wav"))});
    const QPoint point = last.center();
    QDragEnterEvent enter(point, Qt::CopyAction | Qt::MoveAction, &files, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(view->viewport(), &enter);
    EXPECT_FALSE(enter.isAccepted());
    QDropEvent dropped(point, Qt::MoveAction, dragged.get(), Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(view->viewport(), &dropped);
    EXPECT_FALSE(dropped.isAccepted()) << "a drop from outside the table";
    EXPECT_EQ(bitrates(), (QList<qint64>{192, 128, 320}));
}

TEST_F(OutputFormatsPaneTest, TheListIsLockedWhileARunIsActive)
{
    const QString source = scratch.copyOf(Fixtures::generated("ctl-short.wav"), "one.wav");
    bool parsed = false;
    QObject::connect(&controller, &ApplicationController::parsingFinished, [&parsed] { parsed = true; });
    controller.applicationOpenFiles({source});
    ASSERT_TRUE(waitUntil([&] { return parsed; }));
    ASSERT_TRUE(pane().isEnabled());

    bool lockedDuringRun = false;
    bool finished = false;
    QObject::connect(&controller, &ApplicationController::runStarted,
                     [&] { lockedDuringRun = !pane().isEnabled(); });
    QObject::connect(&controller, &ApplicationController::runFinished, [&finished] { finished = true; });
    controller.encodeFilesMenuItemSelected();
    ASSERT_TRUE(waitUntil([&] { return finished; }));
    EXPECT_TRUE(lockedDuringRun);
    EXPECT_TRUE(pane().isEnabled());
}

} // namespace
