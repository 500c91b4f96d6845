// The rules of the preferences that are more than a stored key: the
// correction of the simultaneous-encodes count, the exclusion between a
// preserved folder structure and a naming scheme, the DSD notes, the
// preview's example, and the token menu against the naming function.

#include "PreferencesRules.h"
#include "Encoding.h"
#include "FormatSpecifierMenu.h"
#include "NamingScheme.h"
#include "NamingSchemePreview.h"
#include "Preferences.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

TEST(PreferencesRulesTest, StoredEncoderCountsWithoutAnItemBecomeTheProcessorCount)
{
    struct Case
    {
        qint64 stored;
        int selectedIndex;
        std::optional<int> corrected;
    };
    for (const Case& c : {Case{3, 2, std::nullopt}, Case{8, 7, std::nullopt}, Case{1, 0, std::nullopt},
                          Case{12, 7, 8}, Case{9, 7, 8}, Case{0, 7, 8}, Case{-5, 7, 8}}) {
        const PreferencesRules::MaxEncodersChoice choice = PreferencesRules::maxEncodersChoice(c.stored, 8);
        EXPECT_EQ(choice.selectedIndex, c.selectedIndex) << "stored " << c.stored;
        EXPECT_EQ(choice.correctedValue, c.corrected) << "stored " << c.stored;
    }
}

TEST(PreferencesRulesTest, PreservedStructureAndNamingSchemeExcludeEachOtherUnlessBesideTheSources)
{
    // S: same folder as source, P: preserve structure, U: use a scheme.
    struct Case
    {
        bool S, P, U;
        bool preserve, useCustom, scheme;
    };
    const Case cases[] = {
        {false, false, false, true, true, false}, {false, false, true, true, true, true},
        {false, true, false, true, false, false}, {false, true, true, true, false, false},
        {true, false, false, false, true, false}, {true, false, true, false, true, true},
        {true, true, false, false, true, false},  {true, true, true, false, true, true},
    };
    for (const Case& c : cases) {
        const PreferencesRules::NamingControls controls =
            PreferencesRules::configureCheckboxes(c.S, c.P, c.U);
        EXPECT_EQ(controls.preserveStructure, c.preserve) << c.S << c.P << c.U;
        EXPECT_EQ(controls.useCustomNaming, c.useCustom) << c.S << c.P << c.U;
        EXPECT_EQ(controls.namingScheme, c.scheme) << c.S << c.P << c.U;
    }
}

TEST(PreferencesRulesTest, DSDNotesFollowTheDecimationWithIntegerDivision)
{
    EXPECT_EQ(PreferencesRules::dsd64SampleRateNote(32),
              "Output sample rate for 2.8224MHz DSD files will be 88.2kHz");
    EXPECT_EQ(PreferencesRules::dsd128SampleRateNote(32),
              "Output sample rate for 5.6448MHz DSD files will be 176.4kHz");
    EXPECT_EQ(PreferencesRules::dsd64SampleRateNote(64),
              "Output sample rate for 2.8224MHz DSD files will be 44.1kHz");
    EXPECT_EQ(PreferencesRules::dsd128SampleRateNote(64),
              "Output sample rate for 5.6448MHz DSD files will be 88.2kHz");
    EXPECT_EQ(PreferencesRules::dsd64SampleRateNote(8),
              "Output sample rate for 2.8224MHz DSD files will be 352.8kHz");
    EXPECT_TRUE(PreferencesRules::dsd64SampleRateNote(0).isEmpty());
}

TEST(PreferencesRulesTest, AnOlderSameAsSourceFolderMeansOutputsBesideTheirSources)
{
    for (const QString& folder : {u"Same As Source"_s, QString()}) {
        PreferencesScope prefs({{u"destinationDirectory"_s, folder}, {u"outputSameAsSource"_s, false}});
        PreferencesRules::adoptOlderSameAsSource();
        EXPECT_TRUE(Preferences::shared().boolValue(u"outputSameAsSource"_s)) << folder.toStdString();
    }
    PreferencesScope prefs({{u"destinationDirectory"_s, u"/tmp/music"_s}, {u"outputSameAsSource"_s, false}});
    PreferencesRules::adoptOlderSameAsSource();
    EXPECT_FALSE(Preferences::shared().boolValue(u"outputSameAsSource"_s));
}

TEST(PreferencesRulesTest, PreviewNamesTheExampleTrackAndFollowsTheTwoDigitPreference)
{
    PreferencesScope prefs({{u"useTwoDigitNumbers"_s, true}});
    const NamingSchemePreview preview;
    const QString scheme = u"{albumArtist}/{albumTitle}/{trackNumber - }{trackTitle}"_s;
    EXPECT_EQ(preview.sampleFor(scheme), "The Quiet Orchards/North of Tidewater/01 - Lantern Road.mp3");
    prefs.set(u"useTwoDigitNumbers"_s, false);
    EXPECT_EQ(preview.sampleFor(scheme), "The Quiet Orchards/North of Tidewater/1 - Lantern Road.mp3");
    EXPECT_EQ(preview.sampleFor(QString()), "01 Lantern Road.mp3");
    EXPECT_EQ(preview.sampleFor(u"{year} {sourceKind} {outputBitrate} {key}"_s),
              "1969 FLAC 192.00 kbps D Minor.mp3");
}

TEST(PreferencesRulesTest, EveryMenuTokenIsOneTheNamingFunctionKnows)
{
    const QStringList names = NamingScheme::tokenNames();
    ASSERT_EQ(FormatSpecifierMenu::items().size(), 29u);
    for (const FormatSpecifierMenu::Item& item : FormatSpecifierMenu::items()) {
        const QString token = FormatSpecifierMenu::tokenForTag(item.tag);
        ASSERT_TRUE(token.startsWith('{') && token.endsWith('}')) << item.token;
        EXPECT_TRUE(names.contains(token.mid(1, token.size() - 2))) << item.token;
    }
    EXPECT_TRUE(FormatSpecifierMenu::tokenForTag(30).isEmpty());
}

} // namespace
