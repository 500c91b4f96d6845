#include "EncoderSettings.h"
#include "CoreAudioTypes.h"
#include "Fixtures.h"
#include "Preferences.h"
#include "QtPrinters.h"

#include <QMetaProperty>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// A four-character code given as text ("WAVE"), or 0 for none.
quint32 fourCCOf(const char* text)
{
    return text ? quint32(quint8(text[0])) << 24 | quint32(quint8(text[1])) << 16 |
                      quint32(quint8(text[2])) << 8 | quint32(quint8(text[3]))
                : 0u;
}

// Writes every property through the meta-object, a different non-zero value each.
void writeEveryProperty(EncoderSettings& s)
{
    const QMetaObject* meta = s.metaObject();
    for (int i = meta->propertyOffset(); i < meta->propertyCount(); ++i) {
        const QMetaProperty property = meta->property(i);
        const int type = property.typeId();
        ASSERT_TRUE(property.write(&s, type == QMetaType::QString ? QVariant(u"x%1"_s.arg(i))
                                       : type == QMetaType::Bool  ? QVariant(true)
                                                                  : QVariant(i + 1)))
            << property.name();
    }
}

TEST(EncoderSettings, DictionaryAndCopyKeepEveryFieldButEncoderSetting)
{
    const auto original = std::make_unique<EncoderSettings>();
    writeEveryProperty(*original);
    original->setEncoderSetting(99);
    int announced = 0;
    QObject::connect(original.get(), &EncoderSettings::encoderSettingChanged, [&] { ++announced; });
    const auto copy = original->copy();
    EXPECT_EQ(copy->encoderSetting(), 0);
    EXPECT_EQ(copy->description(), original->description());
    copy->setBitrate(1); // the copy is not connected to the original's observers
    EXPECT_EQ(announced, 0);
    const QVariantMap dictionary = original->settingsDictionary();
    EXPECT_EQ(
        dictionary.keys(),
        u"bitDepth bitrate enabled encoderAction encoderType extension fileType flacCompressionLevel "
        "flacVerifyEncoding formatFlags formatID framesPerPacket macCompressionLevel method mode quality "
        "sampleRate speexAdaptiveGainControl speexDenoise speexDiscontinuousTransmission "
        "speexVoiceActivityDetection vbrQuality"_s.split(u' '));
    EXPECT_EQ(dictionary.value("method").toInt(), original->bitrateMethod());
    EXPECT_EQ(dictionary.value("mode").toInt(), original->channelMode());

    // Through a file and a second store, as a default format comes back at the next start.
    ScratchDir dir;
    const QString file = dir.file(u"prefs.conf"_s);
    Preferences(file).setValue(u"defaultEncoderSetting"_s, dictionary);
    const EncoderSettings reloaded(Preferences(file).dictionaryValue(u"defaultEncoderSetting"_s));
    EXPECT_EQ(reloaded.description(), original->description());
    EXPECT_TRUE(reloaded.isDuplicateOf(*original));
    EXPECT_EQ(reloaded.settingsDictionary(), dictionary);
    EXPECT_EQ(reloaded.encoderSetting(), 0);
}

struct DescriptionCase
{
    qint32 encoderType;
    const char* fileType; // four-character code or nullptr
    const char* formatID;
    qint32 method;
    qint64 bitrate;
    qint64 vbrQuality;
    qint64 sampleRate;
    quint32 bitDepth;
    quint32 formatFlags;
    quint32 flacLevel;
    qint32 macLevel;
    const char* expected; // completeDescription, UTF-8
};

class EncoderSettingsDescription : public testing::TestWithParam<DescriptionCase>
{
};

TEST_P(EncoderSettingsDescription, IsFormatDashEncoding)
{
    const DescriptionCase& c = GetParam();
    EncoderSettings s;
    s.setEncoderType(c.encoderType);
    s.setFileType(fourCCOf(c.fileType));
    s.setFormatID(fourCCOf(c.formatID));
    s.setBitrateMethod(c.method);
    s.setBitrate(c.bitrate);
    s.setVbrQuality(c.vbrQuality);
    s.setSampleRate(c.sampleRate);
    s.setBitDepth(c.bitDepth);
    s.setFormatFlags(c.formatFlags);
    s.setFlacCompressionLevel(c.flacLevel);
    s.setMacCompressionLevel(c.macLevel);
    EXPECT_EQ(s.completeDescription(), QString::fromUtf8(c.expected));
}

INSTANTIATE_TEST_SUITE_P(
    EveryEncoderType, EncoderSettingsDescription,
    testing::Values(
        DescriptionCase{0, nullptr, nullptr, 0, 192, 0, 0, 0, 0, 0, 0, "MP3 - 192.00 kbps CBR"},
        DescriptionCase{0, nullptr, nullptr, 2, 192, 8, 0, 0, 0, 0, 0, "MP3 - VBR Quality 8"},
        DescriptionCase{0, nullptr, nullptr, 1, 160, 0, 0, 0, 0, 0, 0, "MP3 - 160.00 kbps ABR"},
        DescriptionCase{4, nullptr, nullptr, 1, 96400, 0, 0, 0, 0, 0, 0, "Ogg Vorbis - 96 kbps ABR"},
        DescriptionCase{8, nullptr, nullptr, 2, 0, 5, 0, 0, 0, 0, 0, "Ogg Speex - VBR Quality 5"},
        DescriptionCase{8, nullptr, nullptr, 3, 0, 5, 0, 0, 0, 0, 0, "Ogg Speex - *Unknown Settings*"},
        DescriptionCase{9, nullptr, nullptr, 3, 64000, 0, 0, 0, 0, 0, 0, "Opus - 64 kbps VBR Constrained"},
        DescriptionCase{9, nullptr, nullptr, 1, 64000, 0, 0, 0, 0, 0, 0, "Opus - *Unknown Settings*"},
        DescriptionCase{2, nullptr, nullptr, 0, 0, 0, 0, 0, 0, 8, 0, "FLAC - Compression Level 8"},
        DescriptionCase{3, nullptr, nullptr, 0, 0, 0, 0, 0, 0, 9, 0, "Ogg FLAC - Uncompressed"},
        DescriptionCase{6, nullptr, nullptr, 0, 0, 0, 0, 0, 0, 0, 4000,
                        "Monkeys Audio - Compression Level Extra High"},
        DescriptionCase{6, nullptr, nullptr, 0, 0, 0, 0, 0, 0, 0, 1500,
                        "Monkeys Audio - Compression Level ?"},
        DescriptionCase{7, nullptr, nullptr, 0, 0, 0, 0, 0, 0, 0, 0, "True Audio - TTA"},
        DescriptionCase{1, "m4af", "aac ", 0, 256000, 0, 0, 0, 0, 0, 0, "AAC - 256.00 kbps"},
        DescriptionCase{1, "caff", "aac ", 0, 256000, 0, 0, 0, 0, 0, 0,
                        "Core Audio Format - AAC 256.00 kbps"},
        DescriptionCase{1, "mp4f", "alac", 0, 0, 0, 0, 0, 0, 0, 0, "Apple Lossless - m4a"},
        DescriptionCase{1, "caff", "alac", 0, 0, 0, 0, 0, 0, 0, 0, "Core Audio Format - Apple Lossless"},
        DescriptionCase{1, "AIFC", "Qclp", 0, 0, 0, 0, 0, 0, 0, 0, "AIFC - Qualcomm PureVoice™"},
        DescriptionCase{1, "WAVE", "lpcm", 0, 0, 0, 44100, 0, 0, 0, 0, "WAV - LPCM - 44.1kHz"},
        DescriptionCase{1, "AIFF", "lpcm", 0, 0, 0, 0, 16, 2, 0, 0, "AIFF - LPCM - 16 bit BE"},
        DescriptionCase{1, "WAVE", "lpcm", 0, 0, 0, 96000, 24, 0, 0, 0, "WAV - LPCM - 96.0kHz 24 bit LE"},
        DescriptionCase{1, "WAVE", "zzzz", 0, 0, 0, 0, 0, 0, 0, 0, "WAV - "},
        DescriptionCase{1, "zzzz", "lpcm", 0, 0, 0, 0, 0, 0, 0, 0, " - LPCM"},
        // Type 5 alone knows the old numeric Sound Designer II code.
        DescriptionCase{5, "\x00\x16\x00\x00", "lpcm", 0, 0, 0, 0, 0, 0, 0, 0, "Sound Designer II - LPCM"},
        DescriptionCase{1, "\x00\x16\x00\x00", "lpcm", 0, 0, 0, 0, 0, 0, 0, 0, " - LPCM"},
        // Unknown types describe as nothing.
        DescriptionCase{12, nullptr, nullptr, 0, 0, 0, 0, 0, 0, 0, 0, " - "}));

// A record of the given type, file type, format and method; a change to its copy; whether the
// record then still counts as a duplicate of the copy.
struct DuplicateCase
{
    const char* name;
    qint32 encoderType;
    const char* fileType;
    const char* formatID;
    qint32 method;
    void (*change)(EncoderSettings&);
    bool duplicate;
};

class EncoderSettingsDuplicate : public testing::TestWithParam<DuplicateCase>
{
};

TEST_P(EncoderSettingsDuplicate, FollowsTheRulesOfTheEncoderType)
{
    const DuplicateCase& c = GetParam();
    EncoderSettings base;
    base.setEncoderType(c.encoderType);
    base.setFileType(fourCCOf(c.fileType));
    base.setFormatID(fourCCOf(c.formatID));
    base.setBitrateMethod(c.method);
    base.setBitrate(192);
    base.setVbrQuality(4);
    base.setExtension(u"mp3"_s);
    const auto other = base.copy();
    ASSERT_TRUE(base.isDuplicateOf(*other));
    c.change(*other);
    EXPECT_EQ(base.isDuplicateOf(*other), c.duplicate);
}

using S = EncoderSettings;
INSTANTIATE_TEST_SUITE_P(
    Rules, EncoderSettingsDuplicate,
    testing::Values(
        DuplicateCase{"Mp3IgnoresExtensionAndEnabled", 0, nullptr, nullptr, 0,
                      [](S& s) { s.setExtension(u"MP3"_s), s.setEnabled(true); }, true},
        DuplicateCase{"Mp3CbrComparesBitrate", 0, nullptr, nullptr, 0, [](S& s) { s.setBitrate(128); },
                      false},
        DuplicateCase{"Mp3VbrIgnoresBitrate", 0, nullptr, nullptr, 2, [](S& s) { s.setBitrate(128); }, true},
        DuplicateCase{"Mp3VbrComparesVbrQuality", 0, nullptr, nullptr, 2, [](S& s) { s.setVbrQuality(0); },
                      false},
        DuplicateCase{"TypesMustMatch", 0, nullptr, nullptr, 0, [](S& s) { s.setEncoderType(2); }, false},
        DuplicateCase{"FlacComparesExtension", 2, nullptr, nullptr, 0, [](S& s) { s.setExtension(u"oga"_s); },
                      false},
        DuplicateCase{"SpeexComparesEachFlag", 8, nullptr, nullptr, 0,
                      [](S& s) { s.setSpeexDiscontinuousTransmission(true); }, false},
        DuplicateCase{"OpusComparesBitrateEvenWhenVbr", 9, nullptr, nullptr, 2, [](S& s) { s.setBitrate(1); },
                      false},
        DuplicateCase{"OpusGoesOnToFileType", 9, nullptr, nullptr, 0, [](S& s) { s.setFileType(1); }, false},
        DuplicateCase{"LpcmComparesFlags", 5, "WAVE", "lpcm", 0, [](S& s) { s.setFormatFlags(2); }, false},
        DuplicateCase{"IlbcEndsBeforeChannelMode", 1, "caff", "ilbc", 0, [](S& s) { s.setChannelMode(3); },
                      true},
        DuplicateCase{"SamrEndsBeforeExtension", 1, "3gpp", "samr", 0, [](S& s) { s.setExtension(u"x"_s); },
                      true},
        // 'Qclp' compares vbrQuality or bitrate by this record's method alone, not the methods.
        DuplicateCase{"QclpVbrIgnoresTheOthersMethod", 1, "caff", "Qclp", 2,
                      [](S& s) { s.setBitrateMethod(0), s.setBitrate(8000); }, true},
        DuplicateCase{"QclpCbrComparesBitrate", 1, "caff", "Qclp", 0,
                      [](S& s) { s.setBitrateMethod(2), s.setBitrate(13000); }, false},
        DuplicateCase{"FormatWithoutRulesIsDuplicate", 1, "m4af", "aace", 0,
                      [](S& s) { s.setBitrate(1), s.setChannelMode(2); }, true},
        DuplicateCase{"UnknownTypeIsDuplicate", 12, nullptr, nullptr, 0,
                      [](S& s) { s.setBitrate(1), s.setExtension(u"z"_s); }, true}),
    [](const testing::TestParamInfo<DuplicateCase>& info) { return std::string(info.param.name); });

} // namespace
