// Cue sheets in every text encoding read the same (the spans of their tracks, and wrong sheets, are
// checked through the CLI's album image tests).

#include "CueSheet.h"
#include "QtPrinters.h"

#include <QStringEncoder>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// "Ça" and curly quotes: bytes that differ in every encoding tried here.
const QString kSheet = QStringLiteral("REM GENRE \"Chanson\"\r\n"
                                      "REM DATE 1999\r\n"
                                      "REM COMMENT \"ExactAudioCopy v1.6\"\r\n"
                                      "REM DISCNUMBER 2\r\n"
                                      "REM TOTALDISCS 3\r\n"
                                      "PERFORMER \"Les Vergers\"\r\n"
                                      "TITLE \"\u00C7a ira \u201Cbien\u201D\"\r\n"
                                      "FILE \"Disc 2.flac\" WAVE\r\n"
                                      "  TRACK 01 AUDIO\r\n"
                                      "    TITLE \"Ouverture\"\r\n"
                                      "    INDEX 01 00:00:32\r\n"
                                      "  TRACK 02 AUDIO\r\n"
                                      "    TITLE \"Deux\"\r\n"
                                      "    PERFORMER \"Invit\u00E9e\"\r\n"
                                      "    SONGWRITER \"Auteur\"\r\n"
                                      "    ISRC FRZ039900212\r\n"
                                      "    INDEX 00 00:10:00\r\n"
                                      "    INDEX 01 00:12:37\r\n"
                                      "FILE \"Bonus.wav\" WAVE\r\n"
                                      "  TRACK 03 AUDIO\r\n"
                                      "    INDEX 01 00:00:00\r\n");

QByteArray encoded(QStringConverter::Encoding encoding, bool bom)
{
    QStringEncoder encoder(encoding,
                           bom ? QStringConverter::Flag::WriteBom : QStringConverter::Flag::Default);
    return encoder.encode(kSheet);
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
    ASSERT_EQ(sheet.tracks.size(), 3) << error.toStdString();
    EXPECT_EQ((QStringList{sheet.title, sheet.performer, sheet.genre, sheet.date, sheet.comment}),
              (QStringList{u"\u00C7a ira \u201Cbien\u201D"_s, "Les Vergers", "Chanson", "1999",
                           "ExactAudioCopy v1.6"}));
    EXPECT_EQ(std::tuple(sheet.discNumber, sheet.totalDiscs), std::tuple(2, 3));
    EXPECT_EQ(sheet.files(), (QStringList{"Disc 2.flac", "Bonus.wav"}));

    const CueTrack& second = sheet.tracks[1];
    EXPECT_EQ(std::tuple(second.number, second.start), std::tuple(2, 12 * 75 + 37));
    EXPECT_EQ((QStringList{second.title, second.performer, second.songwriter, second.isrc}),
              (QStringList{"Deux", u"Invit\u00E9e"_s, "Auteur", "FRZ039900212"}));
    EXPECT_TRUE(sheet.tracks[0].performer.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Texts, CueSheetEncodings,
                         ::testing::Values(std::pair{"Utf8", encoded(QStringConverter::Utf8, false)},
                                           std::pair{"Utf8WithBom", encoded(QStringConverter::Utf8, true)},
                                           std::pair{"Utf16LE", encoded(QStringConverter::Utf16LE, true)},
                                           std::pair{"Utf16BE", encoded(QStringConverter::Utf16BE, true)},
                                           std::pair{"Windows1252", windows1252()}),
                         [](const auto& info) { return std::string(info.param.first); });

} // namespace
