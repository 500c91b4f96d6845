// The preferences window as a user meets it.

#include "DSDPreferencesPane.h"
#include "Encoding.h"
#include "ErrorLogPreferencesPane.h"
#include "FormatSpecifierPopUp.h"
#include "GeneralPreferencesPane.h"
#include "MetadataPreferencesPane.h"
#include "OutputFolderPopUp.h"
#include "Preferences.h"
#include "PreferencesWindowController.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTest>
#include <QToolBar>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

Preferences& preferences()
{
    return Preferences::shared();
}

void choose(QComboBox* popUp, const QVariant& data)
{
    const int index = popUp->findData(data);
    ASSERT_GE(index, 0);
    popUp->setCurrentIndex(index);
    Q_EMIT popUp->activated(index);
}

class PreferencesWindowTest : public ::testing::Test
{
protected:
    // Gives field the keyboard focus of the shown window, as a click does.
    void startEditing(QWidget* field)
    {
        window().show();
        QApplication::setActiveWindow(&window());
        ASSERT_TRUE(QTest::qWaitForWindowActive(&window()));
        field->setFocus(Qt::MouseFocusReason);
        ASSERT_TRUE(field->hasFocus());
    }

    PreferencesWindowController& window()
    {
        if (!m_window) {
            m_window = std::make_unique<PreferencesWindowController>();
        }
        return *m_window;
    }
    GeneralPreferencesPane& general() { return *window().generalPreferenceView(); }

    PreferencesScope prefs;
    std::unique_ptr<PreferencesWindowController> m_window;
};

TEST_F(PreferencesWindowTest, TokenReplacesTheWholeFieldOrOnlyTheSelectionBeingEdited)
{
    prefs.set(u"useCustomNamingScheme"_s, true);
    prefs.set(u"customNamingScheme"_s, u"{albumTitle}/{trackNumber} x"_s);
    QLineEdit* field = general().customFileNameTextField;
    FormatSpecifierPopUp* tokens = general().fileNameFormatSpecifierPopUpButton;

    tokens->choose(1);
    EXPECT_EQ(field->text(), "{trackTitle}");
    EXPECT_EQ(preferences().stringValue(u"customNamingScheme"_s), "{trackTitle}");
    EXPECT_EQ(general().namingSchemeSample->text(), "Lantern Road.mp3");

    field->setText(u"{trackNumber} x"_s);
    startEditing(field);
    field->setSelection(14, 1); // the "x"
    tokens->choose(1);
    EXPECT_EQ(field->text(), "{trackNumber} {trackTitle}");
    EXPECT_EQ(general().namingSchemeSample->text(), "01 Lantern Road.mp3");

    // The comment field takes tokens the same way; Return starts a new line.
    QPlainTextEdit* comment = window().metadataPreferenceView()->commentsFormatStringTextField;
    window().metadataPreferenceView()->commentsFormatSpecifierPopupButton->choose(5);
    EXPECT_EQ(comment->toPlainText(), "{albumTitle}");
    window().switchView(PreferencesWindowController::MetadataView);
    startEditing(comment);
    comment->moveCursor(QTextCursor::End);
    QTest::keyClick(comment, Qt::Key_Return);
    window().metadataPreferenceView()->commentsFormatSpecifierPopupButton->choose(7);
    EXPECT_EQ(preferences().stringValue(u"commentsFormatString"_s), "{albumTitle}\n{year}");
}

TEST_F(PreferencesWindowTest, PreviewFollowsTypingAndTheTwoDigitBox)
{
    prefs.set(u"useCustomNamingScheme"_s, true);
    prefs.set(u"useTwoDigitNumbers"_s, true);
    prefs.set(u"customNamingScheme"_s, QString());
    QLineEdit* field = general().customFileNameTextField;
    startEditing(field);
    QTest::keyClicks(field, u"{discNumber}-{trackNumber} {trackTitle"_s);
    EXPECT_EQ(general().namingSchemeSample->text(), "01-01 {trackTitle.mp3");
    QTest::keyClicks(field, u"}"_s);
    EXPECT_EQ(general().namingSchemeSample->text(), "01-01 Lantern Road.mp3");
    EXPECT_EQ(preferences().stringValue(u"customNamingScheme"_s), "{discNumber}-{trackNumber} {trackTitle}");
    general().useTwoDigitTrackNumberCheckbox->click();
    EXPECT_FALSE(preferences().boolValue(u"useTwoDigitNumbers"_s));
    EXPECT_EQ(general().namingSchemeSample->text(), "1-1 Lantern Road.mp3");
}

TEST_F(PreferencesWindowTest, PreservedStructureLocksTheNamingControlsUntilOutputsGoBesideTheirSources)
{
    prefs.set(u"destinationDirectory"_s, QDir::tempPath());
    prefs.set(u"outputSameAsSource"_s, false);
    prefs.set(u"preserveInputFileDirectoryStructure"_s, true);
    prefs.set(u"useCustomNamingScheme"_s, true);
    EXPECT_FALSE(general().useCustomOutputNamingSchemeCheckbox->isEnabled());

    general().outputDirectoryPopUp->choose(OutputFolderPopUp::SameAsSourceItem);
    QCoreApplication::processEvents();
    EXPECT_TRUE(preferences().boolValue(u"outputSameAsSource"_s));
    EXPECT_FALSE(general().preserveDirectoryStructureCheckbox->isEnabled());
    EXPECT_FALSE(general().openOutputDirectoryCheckbox->isEnabled());
    EXPECT_TRUE(general().renameFilesWhenUpdatingMetadataOnlyCheckbox->isEnabled());
    // Back to a folder: unticking the structure frees the scheme, unticking it locks the field.
    general().outputDirectoryPopUp->setFolderChooser(
        [](QWidget*, const QString&, std::function<void(const QString&)> done) { done(QDir::tempPath()); });
    general().outputDirectoryPopUp->choose(OutputFolderPopUp::ChooseItem);
    QCoreApplication::processEvents();
    EXPECT_FALSE(preferences().boolValue(u"outputSameAsSource"_s));
    EXPECT_FALSE(general().customFileNameTextField->isEnabled());
    general().preserveDirectoryStructureCheckbox->click();
    EXPECT_TRUE(general().customFileNameTextField->isEnabled());
    general().useCustomOutputNamingSchemeCheckbox->click();
    EXPECT_FALSE(general().customFileNameTextField->isEnabled());
    EXPECT_FALSE(general().useTwoDigitTrackNumberCheckbox->isEnabled());
}

TEST_F(PreferencesWindowTest, DecimationNotesAndReplayGainAreShownAndStored)
{
    prefs.set(u"dsd_decimation"_s, 64);
    DSDPreferencesPane& dsd = *window().dsdPreferenceView();
    EXPECT_EQ(dsd.dsd64SampleRateTextField->text(),
              "Output sample rate for 2.8224MHz DSD files will be 44.1kHz");
    choose(dsd.dsdDecimationPopUpButton, 32);
    EXPECT_EQ(preferences().integerValue(u"dsd_decimation"_s), 32);
    EXPECT_EQ(dsd.dsd64SampleRateTextField->text(),
              "Output sample rate for 2.8224MHz DSD files will be 88.2kHz");

    QComboBox* replayGain = window().metadataPreferenceView()->replayGainPopUp;
    EXPECT_EQ(replayGain->currentText(), u"Off"_s);
    choose(replayGain, 2);
    EXPECT_EQ(preferences().integerValue(u"replayGain"_s), 2);
    EXPECT_EQ(replayGain->currentText(), u"Track and album"_s);
}

TEST_F(PreferencesWindowTest, PanesResizeTheWindowFromItsTopEdge)
{
    window().show();
    window().move(100, 120);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window()));
    EXPECT_EQ(window().currentViewTag(), PreferencesWindowController::GeneralView);
    const int generalHeight = window().height();
    const int top = window().geometry().top();

    QAction* errorLog =
        window().preferencesToolbar()->actions().at(PreferencesWindowController::ErrorLogView);
    errorLog->trigger();
    EXPECT_EQ(window().currentViewTag(), PreferencesWindowController::ErrorLogView);
    EXPECT_TRUE(errorLog->isChecked());
    EXPECT_LT(window().height(), generalHeight);
    EXPECT_EQ(window().geometry().top(), top);
    EXPECT_TRUE(window().errorLogPreferenceView()->isVisible());
    EXPECT_EQ(window().generalPreferenceView()->parent(), &window()) << "a pane taken out stays the window's";

    window().switchView(42); // an unknown tag shows the general pane
    EXPECT_EQ(window().currentViewTag(), PreferencesWindowController::GeneralView);
    EXPECT_EQ(window().height(), generalHeight);
    EXPECT_EQ(window().geometry().top(), top);
}

} // namespace
