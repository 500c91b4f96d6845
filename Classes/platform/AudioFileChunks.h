#pragma once
// The user-data chunks of an audio file: every top-level chunk of a RIFF
// (WAVE, RF64, BW64), FORM (AIFF, AIFF-C) or CAF file except the format and
// sound-data chunks, grouped by four-character type in file order. This is
// where loop and production tools keep their extras: "uuid" chunks with
// Apple Loops information, "midi" chunks with a Standard MIDI File, "LIST",
// "bext", "acid" and the like.
//
// A CAF "uuid" chunk keeps its 16 identifier bytes at the start of its data,
// as the file holds it.
//
// Reading never throws and never reads past the file: a damaged chunk size
// ends the walk with what was found before it; chunks larger than 16 MiB are
// left out. Files of other types have no chunks. Callable from any thread.

#include <QByteArrayList>
#include <QList>
#include <QString>
#include <utility>

class AudioFileChunks
{
public:
    using Chunk = std::pair<QString, QByteArray>; // type, data

    // Every chunk but "fmt ", "data" and "SSND", in file order.
    static QList<Chunk> userChunks(const QString& path);

    // The data of the first chunk of that type (one of the user chunks
    // above), or a null QByteArray when the file has none.
    static QByteArray firstChunk(const QString& path, const QByteArray& type);

private:
    // Walks the chunks, handing each user chunk's type to wanted(); the data
    // of those it wants is read and handed to take(), which answers whether
    // to go on.
    template <typename Wanted, typename Take> static void walk(const QString& path, Wanted wanted, Take take);
};
