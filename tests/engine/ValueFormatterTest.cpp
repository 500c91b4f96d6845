#include "BitrateFormatter.h"
#include "FileSizeFormatter.h"
#include "QtPrinters.h"
#include "SampleRateFormatter.h"
#include "SecondsFormatter.h"

#include <QDateTime>
#include <cmath>
#include <gtest/gtest.h>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

const SecondsFormatter seconds;
const FileSizeFormatter fileSize;
const BitrateFormatter bitrate;
const SampleRateFormatter sampleRate;

struct TextCase
{
    const char* name;
    const ValueFormatter* formatter;
    QVariant value;
    std::optional<QString> expected;
};

class ValueToText : public testing::TestWithParam<TextCase>
{
};

TEST_P(ValueToText, WritesTheExactText)
{
    const std::optional<QString> text = GetParam().formatter->stringForObjectValue(GetParam().value);
    ASSERT_EQ(text.has_value(), GetParam().expected.has_value()) << (text ? text->toStdString() : "no text");
    if (text) {
        EXPECT_EQ(*text, *GetParam().expected);
    }
    if (GetParam().formatter != &seconds) { // only seconds parse; the others refuse every text silently
        QVariant value(7);
        QString error(u"unchanged"_s);
        EXPECT_FALSE(GetParam().formatter->getObjectValue(&value, u"128"_s, &error));
        EXPECT_EQ(value, QVariant(7));
        EXPECT_EQ(error, u"unchanged"_s);
    }
}

QString withZeroUnit(const char* number)
{
    return QString::fromLatin1(number) + u" "_s + QChar(u'\0') + u"B"_s;
}

INSTANTIATE_TEST_SUITE_P(
    AllFour, ValueToText,
    testing::Values(TextCase{"Seconds75", &seconds, 75, u"(1:15)"_s},
                    TextCase{"SecondsHourHasUnpaddedMinutes", &seconds, 3600, u"(1:0:00)"_s},
                    TextCase{"SecondsMinusOneIsUnknown", &seconds, -1, std::nullopt},
                    TextCase{"SecondsWrapTo32Bits", &seconds, qint64(4294967296) + 61, u"(1:01)"_s},
                    TextCase{"SecondsFractionTruncated", &seconds, 75.9, u"(1:15)"_s},
                    TextCase{"SecondsOfText", &seconds, u"75"_s, std::nullopt},
                    TextCase{"SecondsOfNaN", &seconds, std::nan(""), std::nullopt},
                    TextCase{"SizeBelow1KHasTheZeroUnit", &fileSize, 512, withZeroUnit("512.000")},
                    TextCase{"SizeExactly1K", &fileSize, 1024, u"1.000 KB"_s},
                    TextCase{"SizeStopsAtY", &fileSize, std::pow(1024.0, 9), u"1024.000 YB"_s},
                    TextCase{"SizeOfDate", &fileSize, QDateTime::fromSecsSinceEpoch(0), std::nullopt},
                    TextCase{"Bitrate128000", &bitrate, 128000, u"128.00 kbps"_s},
                    TextCase{"BitrateRoundsToTwoPlaces", &bitrate, 1411199.0, u"1411.20 kbps"_s},
                    TextCase{"BitrateOfText", &bitrate, u"128000"_s, std::nullopt},
                    TextCase{"SampleRate44100", &sampleRate, 44100, u"44.100 kHz"_s},
                    TextCase{"SampleRateOfNothing", &sampleRate, QVariant(), std::nullopt}),
    [](const testing::TestParamInfo<TextCase>& info) { return std::string(info.param.name); });

struct ParseCase
{
    const char* name;
    const char* text;
    std::optional<quint32> expected;
};

class SecondsFromText : public testing::TestWithParam<ParseCase>
{
};

TEST_P(SecondsFromText, MultipliesEachPartBySixty)
{
    QVariant value(u"untouched"_s);
    QString error;
    const bool ok = seconds.getObjectValue(&value, QString::fromUtf8(GetParam().text), &error);
    if (GetParam().expected) {
        ASSERT_TRUE(ok) << error.toStdString();
        EXPECT_EQ(value.typeId(), QMetaType::UInt);
        EXPECT_EQ(value.toUInt(), *GetParam().expected);
        EXPECT_TRUE(error.isEmpty());
    } else {
        EXPECT_FALSE(ok);
        EXPECT_EQ(error, u"Couldn't convert to seconds"_s);
        EXPECT_EQ(value, QVariant(u"untouched"_s));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Texts, SecondsFromText,
    testing::Values(ParseCase{"HoursMinutesSeconds", "1:02:03", 3723u}, ParseCase{"PlainSeconds", "90", 90u},
                    ParseCase{"DoubleColonSkipsAPart", "1::2", 62u}, ParseCase{"TrailingColon", "2:", 2u},
                    ParseCase{"NegativeWrapsTo32Bits", "-1", 4294967295u},
                    ParseCase{"ManyPartsWrapInsteadOfOverflowing", "59:59:59:59:59:59:59:59:59:59:59:59:59",
                              1006632959u},
                    ParseCase{"Letters", "abc", std::nullopt}, ParseCase{"Empty", "", std::nullopt},
                    ParseCase{"StopsOnAForeignCharacter", "1:30x", std::nullopt},
                    ParseCase{"ParenthesesOfItsOwnText", "(1:15)", std::nullopt}),
    [](const testing::TestParamInfo<ParseCase>& info) { return std::string(info.param.name); });

} // namespace
