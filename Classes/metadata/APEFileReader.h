#pragma once
// Readers of the formats whose tags are APEv2: Monkey's Audio, WavPack and
// Musepack. Each has fixed kind and format texts, TagLib's stream facts (bit
// rate in bits per second) and reads its APE tag ("APE Tag v2.0") before
// its ID3v1 tag.
//
// Never fail: a file TagLib cannot open keeps its kind only (the format
// names a version the file would have told). Callable from any thread.

#include "AudioMetadata.h"

class APEFileReader
{
public:
    // "Monkey's Audio" / "APE v<version>".
    static AudioMetadataPtr metadataFromMonkeysAudioFile(const QString& path);
    // "WavPack" / "WavPack v<version>".
    static AudioMetadataPtr metadataFromWavPackFile(const QString& path);
    // "Musepack" / "MPC v<stream version>"; the sample size is always 16.
    static AudioMetadataPtr metadataFromMusepackFile(const QString& path);
};
