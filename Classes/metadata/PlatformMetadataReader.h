#pragma once
// What the platform's audio file services tell about a file (the reader of
// AudioFileReader.h over libsndfile and libavformat): its type and format
// names, stream facts, channel layout, user-data chunks and info dictionary,
// and the key and tempo that loop and MIDI chunks carry.
//
// Both operations fill an existing record and never fail: a file the
// platform cannot open leaves the record as it was. Files are opened
// read-only and closed before returning. Callable from any thread.

#include "AudioMetadata.h"

class PlatformMetadataReader
{
public:
    // Sets sourceKind to the platform's name of the file type (replacing a
    // kind set before), sourceSampleRate (whole samples), sourceChannels,
    // sourceSampleSize (when the format has one; Apple Lossless by its
    // source-depth flag), sourceFormat when absent, sourceLength (seconds),
    // sourceBitrate (bits per second), sourceChannelMode when absent (from
    // the layout: "Mono", "Stereo", "Quadraphonic", ...), and userData: every
    // user-data chunk type mapped to the list of its chunks' bytes (stored
    // also when empty).
    static void getCoreAudioInfoFromFile(const QString& path, AudioMetadata& record);

    // Fills absent descriptive fields from the info dictionary ("artist",
    // "album", "tempo", "key signature", ...), then from Apple Loops
    // information in "uuid" chunks (key, genre, tempo from the beat count and
    // sourceLength) and from the first track of a MIDI file in a "midi"
    // chunk (tempo, key).
    static void getCoreAudioMetadataFromFile(const QString& path, AudioMetadata& record);

    // The loop-information part of getCoreAudioMetadataFromFile, for the data
    // of one "uuid" chunk (its 16 identifier bytes first). Chunks of another
    // identifier are ignored.
    static void addLoopInformation(const QByteArray& uuidChunk, AudioMetadata& record);
};
