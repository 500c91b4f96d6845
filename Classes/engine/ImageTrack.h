#pragma once
// One track of an album image, as a queue row converts it: where it lies in
// the image (in samples) and what the cue sheet says of it. The row reads the
// image's own tags and cover, and the sheet's fields then take the place of
// theirs (applyTo()); where the sheet is silent the image's tags stay.
//
// A value type, made by the intake when it reads the sheet; shared by the
// row and its encode operations, read from any thread.

#include "AudioMetadata.h"

#include <QString>
#include <optional>

class CueSheet;

struct ImageTrack
{
    QString sheetPath; // the .cue file, or the image itself for a sheet inside it
    int number = 0;    // the track's position in the sheet, from 1
    int count = 0;     // the sheet's tracks
    qint64 start = 0;  // first sample in the image
    qint64 length = 0; // samples

    // What the sheet says; empty or absent where it is silent.
    QString title;
    QString artist; // the track's PERFORMER, else the sheet's
    QString albumTitle;
    QString albumArtist;
    QString composer;
    QString isrc;
    QString genre;
    QString comment;
    std::optional<int> year;
    std::optional<int> discNumber;
    std::optional<int> discTotal;

    // The track sheet.tracks[index] at start and length.
    static ImageTrack fromSheet(const CueSheet& sheet, int index, const QString& sheetPath, qint64 start,
                                qint64 length);

    // Sets every field the sheet gives, and the track number and total.
    void applyTo(AudioMetadata& record) const;
    // The row's text: "Title — Track 3 of Image.flac" ("Track 3 of Image.flac"
    // without a title).
    QString displayName(const QString& imagePath) const;
    // The output's name where a plain file would use its own: "03 - Title",
    // or "Image - 03" without a title. Not yet made safe for the file system.
    QString fileStem(const QString& imagePath) const;
};
