// The rules of the preferences that are more than a stored key.

#include "PreferencesRules.h"
#include "Encoding.h"
#include "FormatSpecifierMenu.h"
#include "NamingScheme.h"
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
                          Case{9, 7, 8}, Case{0, 7, 8}, Case{-5, 7, 8}}) {
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
