// Cue sheet encodings the CLI's album image tests (which check every field and span) leave out.

#include "CueSheet.h"
#include "QtPrinters.h"

#include <QStringEncoder>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QString kSheet =
    QStringLiteral("REM COMMENT \"ExactAudioCopy v1.6\"\r\nTITLE \"\u00C7a ira \u201Cbien\u201D\"\r\n"
                   "FILE \"Disc 2.flac\" WAVE\r\n  TRACK 01 AUDIO\r\n    INDEX 01 00:00:32\r\n");

QByteArray encoded(QStringConverter::Encoding encoding)
{
    return QStringEncoder(encoding, QStringConverter::Flag::WriteBom).encode(kSheet);
}

// Latin-1, but for the curly quotes, which Windows-1252 puts at 0x93 and 0x94.
QByteArray windows1252()
{
    QByteArray result;
    for (QChar c : kSheet) {
        result += c == QChar(0x201C) ? '\x93' : c == QChar(0x201D) ? '\x94' : char(c.unicode());
    }
    return result;
}

class CueSheetEncodings : public ::testing::TestWithParam<std::pair<const char*, QByteArray>>
{
};

TEST_P(CueSheetEncodings, EveryFieldReadsTheSame)
{
    QString error;
    const CueSheet sheet = CueSheet::parse(GetParam().second, &error);
    ASSERT_EQ(sheet.tracks.size(), 1) << error.toStdString();
    EXPECT_EQ((QStringList{sheet.title, sheet.comment}),
              (QStringList{u"\u00C7a ira \u201Cbien\u201D"_s, "ExactAudioCopy v1.6"}));
    EXPECT_EQ(sheet.files(), QStringList{"Disc 2.flac"});
    EXPECT_EQ(sheet.tracks[0].start, 32);
}

INSTANTIATE_TEST_SUITE_P(Texts, CueSheetEncodings,
                         ::testing::Values(std::pair{"Utf8WithBom", encoded(QStringConverter::Utf8)},
                                           std::pair{"Utf16BE", encoded(QStringConverter::Utf16BE)},
                                           std::pair{"Windows1252", windows1252()}),
                         [](const auto& info) { return std::string(info.param.first); });

} // namespace
