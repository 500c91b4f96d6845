// The output-format list of the main window: the MP3 cell, the format pop-up, the pane.

#include "DesktopProgram.h"
#include "EncoderSettings.h"
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
    PreferencesScope prefs;
    EncoderSettings record;
    MP3ListViewCell cell;
};

TEST_F(MP3CellTest, TheMethodChoosesBetweenBitRateAndVbrQuality)
{
    record.setBitrate(320);
    record.setQuality(8);
    record.setVbrQuality(10);
    cell.setEncoderSettings(&record);
    cell.show();
    EXPECT_TRUE(cell.bitratePopupButton()->isVisible());
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
    // A FLAC record from older preferences: shown and written as MP3.
    record.setEncoderType(EncoderSettings::FLAC);
    record.setExtension(u"flac"_s);
    cell.setEncoderSettings(&record);
    cell.configureMenuItems();
    EXPECT_EQ(record.encoderType(), EncoderSettings::MP3);
    EXPECT_EQ(record.extension(), u"mp3"_s);

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
    ASSERT_NE(cellOfRow(0), nullptr) << "every row has its cell open";
    EXPECT_FALSE(pane().removeButton()->isEnabled()) << "nothing selected";
    QApplication::setActiveWindow(&window);
    cellOfRow(0)->channelsPopupButton()->setFocus();
    QApplication::processEvents();
    EXPECT_EQ(pane().selectedOutputFormatRows(), (QList<int>{0})) << "working in a cell selects its row";
    formats().first()->setBitrateMethod(EncoderSettings::CBR);
    pane().duplicateButton()->click();
    pane().addButton()->click();
    ASSERT_EQ(formats().size(), 3);
    formats().at(0)->setBitrate(128); // changes made outside a cell reach it
    formats().at(1)->setBitrate(192);
    formats().at(2)->setBitrate(320);

    // Row 0 dragged onto the last row lands above it.
    std::unique_ptr<QMimeData> dragged(pane().model()->mimeData({pane().model()->index(0)}));
    ASSERT_TRUE(dragged->hasFormat(u"OutputFormatTableViewDataType"_s));
    ASSERT_TRUE(pane().model()->dropMimeData(dragged.get(), Qt::MoveAction, -1, 0, pane().model()->index(2)));
    EXPECT_EQ(formats().at(1)->bitrate(), 128);
    EXPECT_EQ(pane().selectedOutputFormatRows(), (QList<int>{1}));
    QApplication::processEvents();
    EXPECT_EQ(EncoderListViewCell::selectedTag(cellOfRow(0)->bitratePopupButton()), 192);
    EXPECT_EQ(EncoderListViewCell::selectedTag(cellOfRow(1)->bitratePopupButton()), 128);
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

    std::unique_ptr<QMenu> menu = pane().contextMenuForRow(-1); // below the rows
    EXPECT_FALSE(menuAction(*menu, u"Remove"_s)->isEnabled());
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
