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

namespace {

const QString kBase = QStringLiteral("/out/base");

QStringList hostileValues()
{
    return {
        QStringLiteral("/"),
        QStringLiteral("../../etc/passwd"),
        QStringLiteral(".."),
        QStringLiteral("."),
        QStringLiteral("..."),
        QStringLiteral(".hidden"),
        QStringLiteral("..hidden"),
        QStringLiteral("...And Justice for All"),
        QStringLiteral("a/../../b"),
        QStringLiteral("/absolute"),
        QStringLiteral("line\nbreak"),
        QStringLiteral("\ttab"),
        QStringLiteral("\x01start"),
        QStringLiteral("del\x7f"),
        QStringLiteral("nul") + QChar(0) + QStringLiteral("../after"),
        QString(QChar(0)),
        // What invalid UTF-8 decodes to, and a lone surrogate.
        QString::fromUtf8("\xff\xfe\xc3(\xed\xa0\x80"),
        QString(QChar(0xD800)) + QStringLiteral("x"),
        QStringLiteral("{trackTitle}/{albumTitle}"),
        QStringLiteral("x").repeated(10000),
        QStringLiteral("é").repeated(10000),
        QStringLiteral("../").repeated(3334),
        QStringLiteral(".").repeated(10000),
        // One grapheme far longer than a file name.
        QStringLiteral("a") + QString(10000, QChar(0x0301)),
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
    return QStringLiteral("/in/") + FileNameLimit::fit(name, QStringLiteral(".flac"));
}

void expectVisibleAndInside(const QString& relative, const std::string& context)
{
    // As the encode makes its output path.
    const QString path =
        FileNameLimit::fitPath(NamingScheme::pathBelow(kBase, relative) + QStringLiteral(".mp3"));
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
    EXPECT_TRUE(components.last().endsWith(QStringLiteral(".mp3"))) << context;
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
    const QStringList schemes{u'{' + token + u'}', u'{' + token + QStringLiteral("}/{") + token + u'}',
                              QStringLiteral("{albumArtist}/{") + token + QStringLiteral(" - }{trackTitle}"),
                              QStringLiteral("x/{") + token + QStringLiteral("}/")};
    EncoderSettings settings;
    const struct
    {
        bool windowsSafe;
        const char* replacement;
    } options[] = {{false, "_"}, {true, "_"}, {true, ""}, {true, "."}, {false, "\t"}};
    for (const auto& option : options) {
        Preferences::shared().setValue(QStringLiteral("createWindowsSafeFilenames"), option.windowsSafe);
        Preferences::shared().setValue(QStringLiteral("replaceInvalidCharactersWith"),
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
