#pragma once
// Album images in the intake: a cue sheet, or an audio file with a sheet
// inside it or beside it, becomes one queue row per track instead of one row
// for the whole image.
//
// A sheet beside an image is a .cue file in the same folder with the image's
// base name ("Album.cue", "Album.flac.cue"), or any .cue file there whose
// FILE line names the image. A FILE that names a missing "Album.wav" also
// finds "Album.flac" beside the sheet, since rippers write the sheet before
// the image is compressed.
//
// Every image a sheet names is opened once, for its sample rate and length:
// the tracks' spans are checked against them. A sheet that is none, a FILE
// that is missing, indexes that run backwards or past the image's end and
// tracks of no length each get one error-log line naming the sheet; the
// sheet's other tracks are still queued.
//
// Runs on the intake's background thread. One object per intake pass: it
// remembers the sheets it has read and the images they covered, so that a
// folder holding both an image and its sheet queues each track once and the
// image never whole.

#include "ImageTrack.h"

#include <QHash>
#include <QList>
#include <QSet>
#include <QString>
#include <optional>

class AlbumImages
{
public:
    struct Row
    {
        QString path; // the image, or any other file
        std::optional<ImageTrack> track;
    };

    static bool isSheet(const QString& path);

    // The rows for path: its tracks when it is a sheet (none when the sheet
    // is broken) or an image with a sheet; nothing for an image a sheet
    // already covered; else one plain row.
    QList<Row> rowsFor(const QString& path);

    // The tracks of a sheet file, each with its image. Errors logged.
    QList<Row> tracksOfSheet(const QString& sheetPath);

private:
    QList<Row> tracksOfImage(const QString& imagePath);
    // The .cue files beside path that have not been read yet.
    QStringList sheetsBeside(const QString& imagePath);

    QHash<QString, QStringList> m_sheetsInFolder;
    QSet<QString> m_sheetsRead;
    QSet<QString> m_imagesCovered;
};
