// The output-format list of the main window: the MP3 cell, the format
// pop-up, and the pane's commands as a user reaches them.

#include "DesktopProgram.h"
#include "EncoderSettings.h"
#include "ErrorLog.h"
#include "MP3ListViewCell.h"
#include "OutputFormatListModel.h"
#include "OutputFormatTableView.h"
#include "OutputFormatsPane.h"
#include "Preferences.h"
#include "ScriptedUserInterface.h"

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

// Chooses the item tagged tag as a user does.
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
    EXPECT_EQ(EncoderListViewCell::selectedTag(cell.bitratePopupButton()), 192);
    // The quality fall-back goes to the channel pop-up, which has no item 8
    // and keeps its own; the quality pop-up keeps no selection.
    EXPECT_EQ(EncoderListViewCell::selectedTag(cell.channelsPopupButton()), 2);
    EXPECT_EQ(cell.qualityPopupButton()->currentIndex(), -1);
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

    choose(cell.bitrateModePopupButton(), EncoderSettings::ABR);
    choose(cell.bitratePopupButton(), 160);
    EXPECT_EQ(record.completeDescription(), u"MP3 - 160.00 kbps ABR"_s);
    EXPECT_TRUE(cell.bitratePopupButton()->isVisible());

    cell.enabledCheckBox()->setChecked(true);
    cell.enabledCheckBox()->setChecked(false);
    EXPECT_FALSE(record.enabled());
}

TEST_F(MP3CellTest, ARecordOfAnotherFormatIsShownAsMP3AndTheGeneralCellKeepsItsTable)
{
    // A FLAC record from older preferences: shown and written as MP3, logged once.
    ErrorLog::shared()->clear();
    record.setEncoderType(EncoderSettings::FLAC);
    record.setExtension(u"flac"_s);
    cell.setEncoderSettings(&record);
    cell.configureMenuItems();
    EXPECT_EQ(record.encoderType(), EncoderSettings::MP3);
    EXPECT_EQ(record.extension(), u"mp3"_s);
    EXPECT_EQ(ErrorLog::shared()->errorLogAsString().count(u"is not one Sonabrik writes"_s), 1);

    EncoderListViewCell general; // switches kinds from their remembered settings
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

    // Platform formats are found by file type: any MPEG-4 file with AAC is the AAC item.
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
    EXPECT_EQ(record.bitrate(), 128) << "the last settings the MP3 cell showed";
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

// Rows move by drag within the table only.
TEST_F(OutputFormatsPaneTest, ButtonsContextMenuAndDragsFollowTheirOwnRules)
{
    ASSERT_EQ(formats().size(), 1);
    ASSERT_NE(cellOfRow(0), nullptr) << "every row has its cell open";
    EXPECT_FALSE(pane().removeButton()->isEnabled()) << "nothing selected";
    QApplication::setActiveWindow(&window);
    cellOfRow(0)->channelsPopupButton()->setFocus();
    QApplication::processEvents();
    EXPECT_EQ(pane().selectedOutputFormatRows(), (QList<int>{0})) << "working in a cell selects its row";
    pane().removeButton()->click();
    EXPECT_EQ(formats().size(), 1) << "the button keeps the last format";

    formats().first()->setBitrateMethod(EncoderSettings::CBR);
    formats().first()->setBitrate(256);
    pane().duplicateButton()->click();
    ASSERT_EQ(formats().size(), 2);
    EXPECT_EQ(pane().selectedOutputFormatRows(), (QList<int>{1})) << "the source stays selected";
    ASSERT_NE(cellOfRow(1), nullptr);
    EXPECT_EQ(EncoderListViewCell::selectedTag(cellOfRow(1)->bitratePopupButton()), 256);

    formats().at(0)->setBitrate(96); // a change made outside a cell reaches it
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

    // Row 0 dragged onto the last row lands above it.
    std::unique_ptr<QMimeData> dragged(pane().model()->mimeData({pane().model()->index(0)}));
    ASSERT_TRUE(dragged->hasFormat(u"OutputFormatTableViewDataType"_s));
    ASSERT_TRUE(pane().model()->dropMimeData(dragged.get(), Qt::MoveAction, -1, 0, pane().model()->index(2)));
    EXPECT_EQ(bitrates(), (QList<qint64>{192, 128, 320}));
    EXPECT_EQ(pane().selectedOutputFormatRows(), (QList<int>{1}));
    QApplication::processEvents();
    EXPECT_EQ(EncoderListViewCell::selectedTag(cellOfRow(1)->bitratePopupButton()), 128)
        << "the cells follow their records";
    // Below the rows is the end; the lower part of a row is the place below it.
    OutputFormatTableView* view = pane().tableView();
    const QRect last = view->visualRect(pane().model()->index(2));
    EXPECT_EQ(view->dropRowAt(QPoint(40, last.bottom() + 30)), 3);
    EXPECT_EQ(view->dropRowAt(QPoint(40, last.top() + 2)), 2);
    EXPECT_EQ(view->dropRowAt(QPoint(40, last.bottom() - 2)), 3);

    QMimeData files; // from a file manager
    files.setUrls({QUrl::fromLocalFile(Fixtures::generated("ctl-short.wav"))});
    const QPoint point = last.center();
    QDragEnterEvent enter(point, Qt::CopyAction | Qt::MoveAction, &files, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(view->viewport(), &enter);
    EXPECT_FALSE(enter.isAccepted());
    QDropEvent dropped(point, Qt::MoveAction, dragged.get(), Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(view->viewport(), &dropped);
    EXPECT_FALSE(dropped.isAccepted()) << "a drop from outside the table";

    menu = pane().contextMenuForRow(-1); // below the rows
    EXPECT_FALSE(menuAction(*menu, u"Remove"_s)->isEnabled());
    for (int left = 3; left > 0; --left) {
        menu = pane().contextMenuForRow(0);
        menuAction(*menu, u"Remove"_s)->trigger();
    }
    EXPECT_TRUE(formats().isEmpty());
    EXPECT_EQ(pane().model()->rowCount(), 0);
}

TEST_F(OutputFormatsPaneTest, TheListIsLockedWhileARunIsActive)
{
    ASSERT_TRUE(openFilesAndWait(controller, {Fixtures::generated("ctl-short.wav")}));
    ASSERT_TRUE(pane().isEnabled());
    bool lockedDuringRun = false;
    QObject::connect(&controller, &ApplicationController::runStarted,
                     [&] { lockedDuringRun = !pane().isEnabled(); });
    controller.encodeFilesMenuItemSelected();
    ASSERT_TRUE(waitUntil([&] { return runsFinished == 1; }));
    EXPECT_TRUE(lockedDuringRun);
    EXPECT_TRUE(pane().isEnabled());
}

} // namespace
