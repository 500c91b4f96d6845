// Names made from hostile tags: every token of the naming scheme, given
// values a tag may hold (separators, dots, control characters, what invalid
// UTF-8 decodes to, ten thousand characters), and made into the output path
// exactly as an encode does, must name a visible file inside the output
// folder that the file system can create, with no control character that
// would split the lines of a listing.

#include "AudioMetadata.h"
#include "EncoderSettings.h"
#include "FileNameLimit.h"
#include "NamingScheme.h"
#include "Preferences.h"
#include "QtPrinters.h"
#include "SafeFilename.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QString kBase = u"/out/base"_s;

QStringList hostileValues()
{
    return {
        u"/"_s,
        u"../../etc/passwd"_s,
        u".."_s,
        u"."_s,
        u"..."_s,
        u".hidden"_s,
        u"..hidden"_s,
        u"...And Justice for All"_s,
        u"a/../../b"_s,
        u"/absolute"_s,
        u"line\nbreak"_s,
        u"\ttab"_s,
        u"\x01start"_s,
        u"del\x7f"_s,
        u"nul"_s + QChar(0) + u"../after"_s,
        QString(QChar(0)),
        // What invalid UTF-8 decodes to, and a lone surrogate.
        QString::fromUtf8("\xff\xfe\xc3(\xed\xa0\x80"),
        QString(QChar(0xD800)) + u"x"_s,
        u"{trackTitle}/{albumTitle}"_s,
        u"x"_s.repeated(10000),
        u"é"_s.repeated(10000),
        u"../"_s.repeated(3334),
        u"."_s.repeated(10000),
        // One grapheme far longer than a file name.
        u"a"_s + QString(10000, QChar(0x0301)),
    };
}

// Sets every text field of a record to value.
void fillTexts(AudioMetadata& metadata, const QString& value)
{
    for (int f = 0; f < AudioMetadata::kFieldCount; ++f) {
        const auto field = AudioMetadata::Field(f);
        if (AudioMetadata::kindOf(field) == AudioMetadata::Kind::Text) {
            metadata.setValue(field, value);
        }
    }
}

// The source's file name carries the value too, where a file name can.
QString sourceNamed(const QString& value)
{
    QString name = value;
    name.replace(u'/', u'_').replace(QChar(0), u'_');
    return u"/in/"_s + FileNameLimit::fit(name, u".flac"_s);
}

void expectVisibleAndInside(const QString& relative, const std::string& context)
{
    // As the encode makes its output path.
    const QString path = FileNameLimit::fitPath(NamingScheme::pathBelow(kBase, relative) + u".mp3"_s);
    ASSERT_TRUE(path.startsWith(kBase + u'/')) << context << " -> " << path.toStdString();
    EXPECT_FALSE(path.contains(QChar(0))) << context;
    const QStringList components = path.mid(kBase.size() + 1).split(u'/');
    for (const QString& component : components) {
        EXPECT_FALSE(component.isEmpty()) << context << " -> " << path.toStdString();
        EXPECT_FALSE(component.startsWith(u'.')) << context << " -> " << path.left(400).toStdString();
        EXPECT_TRUE(std::none_of(component.begin(), component.end(), &SafeFilename::isControlCharacter))
            << context << " -> " << path.left(400).toStdString();
        EXPECT_LE(component.toUtf8().size(), FileNameLimit::kMaxComponentBytes) << context;
    }
    EXPECT_TRUE(components.last().endsWith(u".mp3"_s)) << context;
    EXPECT_GT(components.last().size(), 4) << context;
}

class HostileNaming : public ::testing::TestWithParam<QString>
{
protected:
    void SetUp() override { Preferences::shared().removeAllValues(); }
    void TearDown() override { Preferences::shared().removeAllValues(); }
};

TEST_P(HostileNaming, EveryValueNamesAVisibleFileInsideTheOutputFolder)
{
    const QString token = GetParam();
    const QStringList schemes{u'{' + token + u'}', u'{' + token + u"}/{"_s + token + u'}',
                              u"{albumArtist}/{"_s + token + u" - }{trackTitle}"_s,
                              u"x/{"_s + token + u"}/"_s};
    EncoderSettings settings;
    const struct
    {
        bool windowsSafe;
        const char* replacement;
    } options[] = {{false, "_"}, {true, "_"}, {true, ""}, {true, "."}, {false, "\t"}};
    for (const auto& option : options) {
        Preferences::shared().setValue(u"createWindowsSafeFilenames"_s, option.windowsSafe);
        Preferences::shared().setValue(u"replaceInvalidCharactersWith"_s,
                                       QString::fromLatin1(option.replacement));
        for (const QString& value : hostileValues()) {
            AudioMetadata metadata;
            fillTexts(metadata, value);
            for (const QString& scheme : schemes) {
                const std::string context = scheme.toStdString() + " with \"" + value.left(30).toStdString() +
                                            "\" (" + std::to_string(value.size()) + " characters), windows " +
                                            (option.windowsSafe ? "on" : "off") + ", replacement \"" +
                                            option.replacement + "\"";
                expectVisibleAndInside(
                    NamingScheme::evaluate(scheme, &metadata, &settings, sourceNamed(value), true), context);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Tokens, HostileNaming, ::testing::ValuesIn(NamingScheme::tokenNames()),
                         [](const auto& info) { return info.param.toStdString(); });

} // namespace
