#pragma once
// Readers of the formats whose tags are Xiph comments: native FLAC, Ogg
// FLAC, Ogg Vorbis, Ogg Speex and Ogg Opus.
//
// Each gives a new record with the format's fixed kind and format texts;
// when TagLib can open the file, also its stream facts and tags. They never
// fail: a file that cannot be read gives the fixed texts only. TagLib's
// objects are released on every path. Callable from any thread; no state.

#include "AudioMetadata.h"

class XiphFileReader
{
public:
    // "FLAC" / "Free Lossless Audio Codec". Tags in this order: the Xiph
    // comment ("Vorbis"), ID3v2 ("ID3v2.<major>.<revision>"), ID3v1; then
    // the picture blocks: exactly one replaces the tags' artwork, several
    // give none (only the tags' artwork stays).
    static AudioMetadataPtr metadataFromFLACFile(const QString& path);
    // "OGG FLAC" / "Free Lossless Audio Codec"; bit rate in kilobits.
    static AudioMetadataPtr metadataFromOggFLACFile(const QString& path);
    // "OGG Vorbis" / "Vorbis"; "CBR" when the minimum bit rate is set and
    // equals the maximum, "VBR" otherwise.
    static AudioMetadataPtr metadataFromOggVorbisFile(const QString& path);
    // "OGG Speex" / "Speex v<version>"; bit rate in kilobits.
    static AudioMetadataPtr metadataFromOggSpeexFile(const QString& path);
    // "Ogg Opus" / "Opus"; no bit rate.
    static AudioMetadataPtr metadataFromOpusFile(const QString& path);
};
