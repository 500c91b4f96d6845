#pragma once
// Readers of the formats whose tags are ID3: MP3, AIFF, WAVE and True
// Audio. MP3, AIFF and WAVE take their kind and stream facts from the
// platform's audio file services (MP3 its format, channel mode and bit-rate
// mode from its first frame header first); True Audio has fixed texts and
// TagLib's stream facts.
//
// Tags are read in a fixed order of preference, each adding its entry to
// sourceTagFormat. Never fail: a file TagLib cannot open keeps the fixed
// texts and whatever the platform tells. Callable from any thread; no state.

#include "AudioMetadata.h"

class ID3FileReader
{
public:
    // ID3v2, ID3v1, APE ("APE Tag v2.00"). sourceFormat "MPEG Version 1 Audio
    // Layer 3" and the like, sourceChannelMode "Stereo", "Joint Stereo",
    // "Dual Mono" or "Mono", and sourceBitrateMode "VBR" for a Xing header,
    // "CBR" for an Info header, none without either.
    static AudioMetadataPtr metadataFromMP3File(const QString& path);
    // The ID3v2 chunk.
    static AudioMetadataPtr metadataFromAIFFFile(const QString& path);
    // The ID3v2 chunk; the kind "WAVE" gives way to the platform's name.
    static AudioMetadataPtr metadataFromWAVEFile(const QString& path);
    // "True Audio" / "TTA v<version>"; ID3v2, ID3v1.
    static AudioMetadataPtr metadataFromTrueAudioFile(const QString& path);
};
