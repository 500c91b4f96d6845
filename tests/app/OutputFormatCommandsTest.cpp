// The output-format commands on the controller's real list.

#include "OutputFormatCommands.h"
#include "ApplicationController.h"
#include "EncoderSettings.h"
#include "Encoding.h"
#include "ErrorLog.h"
#include "MutableListMoves.h"
#include "OutputFormatTable.h"
#include "Preferences.h"
#include "ScriptedUserInterface.h"

#include <QStringList>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// The table as the commands see it, recording what was asked of it.
struct RecordedTable : OutputFormatTable
{
    QList<int> selected;
    std::optional<int> clicked;
    int reloads = 0;
    std::optional<std::pair<int, int>> selectedRange;
    std::optional<int> scrolledTo;

    QList<int> selectedOutputFormatRows() const override { return selected; }
    std::optional<int> clickedOutputFormatRow() const override { return clicked; }
    void reloadOutputFormatTable() override { ++reloads; }
    void selectOutputFormatRows(int first, int count) override { selectedRange = {first, count}; }
    void scrollToOutputFormatRow(int row) override { scrolledTo = row; }
};

class OutputFormatCommandsTest : public ::testing::Test
{
protected:
    void SetUp() override { controller.awakeFromNib(); }

    QList<std::shared_ptr<EncoderSettings>>& formats() { return controller.encoderSettingsList(); }

    // Three formats told apart by their bit rates 128, 192, 256.
    void makeThreeFormats()
    {
        formats().first()->setBitrate(128);
        for (qint64 bitrate : {192, 256}) {
            auto settings = std::shared_ptr<EncoderSettings>(formats().first()->copy());
            settings->setBitrate(bitrate);
            controller.observeEncoderSettings(settings);
            formats().append(settings);
        }
    }

    QList<qint64> bitrates()
    {
        QList<qint64> result;
        for (const auto& settings : formats()) {
            result << settings->bitrate();
        }
        return result;
    }

    int reloadsOfList() const { return ui.outputFormatListReloads; }
    qsizetype beeps() const { return ui.calls.count(u"beep"_s); }

    PreferencesScope prefs;
    ScriptedUserInterface ui;
    ApplicationController controller{&ui};
    RecordedTable table;
    OutputFormatCommands commands{controller, table};
};

TEST_F(OutputFormatCommandsTest, TheButtonKeepsTheLastFormatButTheContextMenuMayRemoveIt)
{
    makeThreeFormats();
    const std::shared_ptr<EncoderSettings> gone = formats().at(2);
    table.selected = {0, 2};
    commands.removeOutputFormat(OutputFormatCommands::Sender::Button);
    EXPECT_EQ(bitrates(), (QList<qint64>{192}));
    const auto reloads = reloadsOfList();
    gone->setBitrate(320);
    EXPECT_EQ(reloadsOfList(), reloads) << "a removed format still observed";

    table.selected = {0};
    const auto beepsBefore = beeps();
    commands.removeOutputFormat(OutputFormatCommands::Sender::Button);
    EXPECT_EQ(beeps(), beepsBefore + 1);
    EXPECT_EQ(formats().size(), 1);

    // A menu opened below the rows does nothing, not even a beep.
    table.clicked.reset();
    commands.removeOutputFormat(OutputFormatCommands::Sender::MenuItem);
    EXPECT_EQ(formats().size(), 1);
    EXPECT_EQ(beeps(), beepsBefore + 1);

    const std::weak_ptr<EncoderSettings> removed = formats().first();
    table.clicked = 0;
    commands.removeOutputFormat(OutputFormatCommands::Sender::MenuItem);
    EXPECT_TRUE(formats().isEmpty());
    EXPECT_TRUE(removed.expired());
}

TEST_F(OutputFormatCommandsTest, DuplicatePutsTheCopyAboveAndSelectsTheSource)
{
    makeThreeFormats();
    const std::shared_ptr<EncoderSettings> source = formats().first();
    table.selected = {0};
    commands.duplicateOutputFormat(OutputFormatCommands::Sender::Button);
    EXPECT_EQ(bitrates(), (QList<qint64>{128, 128, 192, 256}));
    EXPECT_EQ(formats().at(1), source);
    EXPECT_NE(formats().at(0), source);
    EXPECT_EQ(table.selectedRange, (std::pair<int, int>{1, 1}));
    EXPECT_EQ(table.scrolledTo, 1);

    const auto reloads = reloadsOfList();
    formats().first()->setBitrate(64);
    EXPECT_EQ(reloadsOfList(), reloads + 1) << "the copy is observed";

    table.clicked = 3; // from the context menu the clicked row counts, not the selection
    commands.duplicateOutputFormat(OutputFormatCommands::Sender::MenuItem);
    EXPECT_EQ(bitrates(), (QList<qint64>{64, 128, 192, 256, 256}));

    table.selected.clear();
    const auto beepsBefore = beeps();
    commands.duplicateOutputFormat(OutputFormatCommands::Sender::Button);
    commands.useSelectedFormatAsDefault(OutputFormatCommands::Sender::Button);
    EXPECT_EQ(beeps(), beepsBefore + 2);
}

TEST_F(OutputFormatCommandsTest, AddedFormatsStartFromTheStoredDefault)
{
    // A stored default of a format not written (older preferences) is added as MP3, logged once.
    EncoderSettings flac(formats().first()->settingsDictionary());
    flac.setEncoderType(EncoderSettings::FLAC);
    flac.setExtension(u"flac"_s);
    Preferences::shared().setValue(u"defaultEncoderSetting"_s, flac.settingsDictionary());
    ErrorLog::shared()->clear();
    commands.addOutputFormat();
    commands.addOutputFormat();
    ASSERT_EQ(formats().size(), 3);
    EXPECT_EQ(table.selectedRange, (std::pair<int, int>{2, 1}));
    for (const auto& added : {formats().at(1), formats().at(2)}) {
        EXPECT_EQ(added->encoderType(), EncoderSettings::MP3);
        EXPECT_EQ(added->extension(), u"mp3"_s);
    }
    EXPECT_EQ(ErrorLog::shared()->errorLogAsString().count(u"is not one Sonabrik writes"_s), 1);
}

TEST_F(OutputFormatCommandsTest, DroppedRowsMoveAboveTheRowDroppedOn)
{
    makeThreeFormats();
    auto data = OutputFormatCommands::writeRows({2}); // the last row dropped onto the first
    ASSERT_TRUE(commands.acceptDrop(*data, 0));
    EXPECT_EQ(bitrates(), (QList<qint64>{256, 128, 192}));
    EXPECT_EQ(table.selectedRange, (std::pair<int, int>{0, 1}));
    // Data that holds no rows, or rows for another place, changes nothing.
    QMimeData foreign;
    foreign.setText(u"1"_s);
    EXPECT_FALSE(commands.acceptDrop(foreign, 0));
    data = OutputFormatCommands::writeRows({1});
    EXPECT_FALSE(commands.acceptDrop(*data, 7));
    EXPECT_EQ(bitrates(), (QList<qint64>{256, 128, 192}));
}

TEST(MutableListMovesTest, SeveralRowsFollowTheStepwiseMoves)
{
    QStringList list{"a", "b", "c", "d", "e"};
    MutableListMoves::moveObjectsFromIndexes(list, {3, 4}, 1);
    EXPECT_EQ(list, (QStringList{"a", "d", "e", "b", "c"}));

    // Rows above the target: each is lowered by those already taken.
    list = {"a", "b", "c", "d", "e"};
    MutableListMoves::moveObjectsFromIndexes(list, {0, 1}, 4);
    EXPECT_EQ(list, (QStringList{"c", "d", "a", "b", "e"}));

    // Three rows above: the third index is lowered below the start, that row stays.
    list = {"a", "b", "c", "d", "e", "f"};
    MutableListMoves::moveObjectsFromIndexes(list, {0, 1, 2}, 5);
    EXPECT_EQ(list, (QStringList{"c", "d", "e", "a", "b", "f"}));

    list = {"a", "b"}; // indexes beyond the list stop the move
    MutableListMoves::moveObjectsFromIndexes(list, {1, 9}, 0);
    EXPECT_EQ(list, (QStringList{"b", "a"}));
}

} // namespace
