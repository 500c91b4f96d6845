#pragma once
// The albums of one run, for their ReplayGain album figures. An album is the
// set of rows sharing album title and album artist (the track artist when
// there is no album artist); the tracks of one album image without an album
// title are an album of their own; other rows without one belong to none.
// Each output format makes an album of its own, as its MP3s hold their own
// rendering of the audio.
//
// As rows finish, their measured outputs join their album; an output that
// failed, was cancelled, was skipped or was not measured is left out of the
// album's figure, with one line in the error log naming the album and the
// file. Once no row still to run can belong to an album, its loudness is
// taken over all its tracks' audio together and its peak is the largest of
// their peaks, and both are written into each of its MP3s in a tag-only
// pass (MP3TagWriter::writeAlbumGain); nothing is encoded again.
//
// Does nothing unless the preference "replayGain" asks for album figures,
// nor for outputs written without tags ("writeMetadata" off).
//
// Threads: main thread only; the tags are written on the tagging thread
// given, which this waits for. Ownership: keeps the finished outputs'
// meters (a histogram each, a few kilobytes) until their album is written;
// holds no pointer to a row or an operation. Failures to write are logged.

#include "AudioMetadata.h"
#include "ImageTrack.h"

#include <QList>
#include <QMap>
#include <QSet>
#include <QString>
#include <memory>
#include <optional>

class FileEncodeOperation;
class LoudnessMeter;
class TaggingThread;

class AlbumLoudness
{
public:
    // "Album Title" and its artist, as one key (for a track of an image
    // without an album title, its sheet); empty for no album.
    static QString albumOf(const AudioMetadata* metadata, const std::optional<ImageTrack>& track);

    void clear() { m_albums.clear(); }
    // No album waits to be written (always so with album figures off).
    bool isEmpty() const { return m_albums.isEmpty(); }

    // A row of the run finished (cancelled rows included): call before it
    // is reset or released.
    void rowFinished(const FileEncodeOperation& row);

    // Writes every album not among pending, the albums of the rows still to
    // run; std::nullopt (a row to run whose tags are not read yet, so whose
    // album is unknown) writes none.
    void finishAlbums(const std::optional<QSet<QString>>& pending, TaggingThread* taggingThread);
    // The run ended: every album is written.
    void finishAll(TaggingThread* taggingThread) { finishAlbums(QSet<QString>(), taggingThread); }

private:
    struct Output
    {
        QString path;
        std::shared_ptr<const LoudnessMeter> meter;
    };
    struct Album
    {
        QString name; // for the error log
        // By output format (never dereferenced).
        QMap<const void*, QList<Output>> outputs;
        QSet<QString> leftOut; // sources already named in the log
    };

    void write(const Album& album, TaggingThread* taggingThread) const;

    QMap<QString, Album> m_albums;
};
