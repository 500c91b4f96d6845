#pragma once
// A cue sheet: the table of contents of an album image, naming the audio
// file(s) and where each track starts in them. Read with libcue, after the
// text is made UTF-8 (textOf()); the album-level REM comments libcue does
// not know (GENRE, COMMENT, DISCNUMBER, TOTALDISCS, DATE) are read from the
// lines before the first TRACK.
//
// Positions are CD frames, 75 a second, from the start of the track's own
// FILE. A track runs from its INDEX 01 to the next track's INDEX 01 in the
// same file, or to the end of its file: an INDEX 00 pregap therefore plays
// at the end of the track before it. The first track of a later FILE starts
// at its file's start, gap included. Audio before track 1's INDEX 01 (a
// hidden track) belongs to no track; span() reports its length so that the
// caller can say so.
//
// A value type; parse() may be called from any thread (libcue's parser is
// not reentrant, so calls are serialised inside). Nothing throws; nothing
// is allocated by a size the sheet states.

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

struct CueTrack
{
    int number = 0;   // position in the sheet, from 1
    QString file;     // its FILE line, as written
    qint64 start = 0; // INDEX 01, in CD frames
    QString title;
    QString performer;
    QString songwriter;
    QString isrc;
};

class CueSheet
{
public:
    static constexpr int kFramesPerSecond = 75;

    // The sheet in bytes as found on disk or in a tag. Empty tracks and an
    // error ("Not a cue sheet") when libcue refuses it or it has no track.
    static CueSheet parse(const QByteArray& bytes, QString* error = nullptr);
    // The sheet inside a FLAC file: its CUESHEET metadata block (audio
    // tracks, INDEX 01 of each), else a "CUESHEET" Vorbis comment. Every
    // track then belongs to that file, whatever FILE lines the comment has.
    // Nothing when the file has neither, or is no FLAC file.
    static std::optional<CueSheet> embeddedIn(const QString& flacPath);
    // The text of a sheet: UTF-8 (with or without a byte-order mark), UTF-16
    // with a byte-order mark, and anything else read as Windows-1252.
    static QString textOf(const QByteArray& bytes);

    // Where a track lies in its file, in samples.
    struct Span
    {
        qint64 start = 0;
        qint64 length = 0;
        qint64 leftOut = 0; // samples before track 1, when this is it
    };
    // The span of tracks[index] at sampleRate, in a file of fileSamples.
    // Empty, with the problem in words, when the indexes run backwards or
    // past the file's end, or the track would be empty.
    std::optional<Span> span(int index, int sampleRate, qint64 fileSamples, QString* problem) const;
    static qint64 samplesOf(qint64 frames, int sampleRate) { return frames * sampleRate / kFramesPerSecond; }

    // The FILE names, each once, in the order they appear.
    QStringList files() const;

    QString title;
    QString performer;
    QString date;
    QString genre;
    QString comment;
    std::optional<int> discNumber;
    std::optional<int> totalDiscs;
    QList<CueTrack> tracks;
};
