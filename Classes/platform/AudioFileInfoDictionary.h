#pragma once
// The platform's info dictionary of an audio file: the descriptive texts
// the audio libraries find in it, under the keys desktop audio services use
// ("artist", "album", "title", "comments", "copyright", "genre", "year",
// "track number", "composer", "tempo", "key signature", "encoding
// application", "ISRC").
//
// libsndfile's strings for the files it opens (WAVE LIST/INFO, AIFF
// annotations, CAF info, ...), otherwise the container metadata FFmpeg
// reads. Never throws; a file neither library opens gives an empty map.
// The library handles are closed before returning. Callable from any
// thread.

#include <QString>
#include <QVariantMap>

class AudioFileInfoDictionary
{
public:
    static QVariantMap read(const QString& path);
};
