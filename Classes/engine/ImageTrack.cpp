#include "ImageTrack.h"

#include "CueSheet.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QRegularExpression>
#include <algorithm>
#include <array>

namespace {

// The sheet's texts and the record's fields they fill.
struct TextRow
{
    QString ImageTrack::*member;
    AudioMetadata::Field field;
};

constexpr std::array<TextRow, 8> kTextRows{{
    {&ImageTrack::title, AudioMetadata::Field::trackTitle},
    {&ImageTrack::artist, AudioMetadata::Field::trackArtist},
    {&ImageTrack::albumTitle, AudioMetadata::Field::albumTitle},
    {&ImageTrack::albumArtist, AudioMetadata::Field::albumArtist},
    {&ImageTrack::composer, AudioMetadata::Field::trackComposer},
    {&ImageTrack::isrc, AudioMetadata::Field::ISRC},
    {&ImageTrack::genre, AudioMetadata::Field::trackGenre},
    {&ImageTrack::comment, AudioMetadata::Field::trackComment},
}};

struct NumberRow
{
    std::optional<int> ImageTrack::*member;
    AudioMetadata::Field field;
};

constexpr std::array<NumberRow, 3> kNumberRows{{
    {&ImageTrack::year, AudioMetadata::Field::trackYear},
    {&ImageTrack::discNumber, AudioMetadata::Field::discNumber},
    {&ImageTrack::discTotal, AudioMetadata::Field::discTotal},
}};

// REM DATE is a year or a whole date ("1969", "1969-09-26"): its year.
std::optional<int> yearOf(const QString& date)
{
    static const QRegularExpression year(QStringLiteral("^\\s*(\\d{4})"));
    const QRegularExpressionMatch match = year.match(date);
    return match.hasMatch() ? std::optional<int>(match.captured(1).toInt()) : std::nullopt;
}

} // namespace

ImageTrack ImageTrack::fromSheet(const CueSheet& sheet, int index, const QString& sheetPath, qint64 start,
                                 qint64 length)
{
    const CueTrack& track = sheet.tracks.at(index);
    ImageTrack result;
    result.sheetPath = sheetPath;
    result.number = track.number;
    result.count = int(sheet.tracks.size());
    result.start = start;
    result.length = length;
    result.title = track.title;
    result.artist = track.performer.isEmpty() ? sheet.performer : track.performer;
    result.albumTitle = sheet.title;
    result.albumArtist = sheet.performer;
    result.composer = track.songwriter;
    result.isrc = track.isrc;
    result.genre = sheet.genre;
    result.comment = sheet.comment;
    result.year = yearOf(sheet.date);
    result.discNumber = sheet.discNumber;
    result.discTotal = sheet.totalDiscs;
    return result;
}

void ImageTrack::applyTo(AudioMetadata& record) const
{
    for (const TextRow& row : kTextRows) {
        if (!(this->*row.member).isEmpty()) {
            record.setValue(row.field, this->*row.member);
        }
    }
    for (const NumberRow& row : kNumberRows) {
        if (this->*row.member) {
            record.setValue(row.field, *(this->*row.member));
        }
    }
    record.setTrackNumber(number);
    record.setTotalTracks(count);
    record.setSourceLength(double(length) / std::max(1.0, record.sourceSampleRate().value_or(44100.0)));
}

QString ImageTrack::displayName(const QString& imagePath) const
{
    const QString where = QCoreApplication::translate("ImageTrack", "Track %1 of %2")
                              .arg(number)
                              .arg(QFileInfo(imagePath).fileName());
    return title.isEmpty() ? where : QStringLiteral("%1 \u2014 %2").arg(title, where);
}

QString ImageTrack::fileStem(const QString& imagePath) const
{
    const QString position = QStringLiteral("%1").arg(number, 2, 10, QLatin1Char('0'));
    return title.isEmpty() ? QStringLiteral("%1 - %2").arg(QFileInfo(imagePath).completeBaseName(), position)
                           : QStringLiteral("%1 - %2").arg(position, title);
}
