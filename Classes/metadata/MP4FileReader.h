#pragma once
// Reader of MP4 audio ("mp4", "m4a", "aac"): the MP4 tag ("MP4 Metadata")
// read by TagLib, then the kind, format and stream facts from the
// platform's audio file services.
//
// Never fails; callable from any thread; no state.

#include "AudioMetadata.h"

class MP4FileReader
{
public:
    static AudioMetadataPtr metadataFromMP4File(const QString& path);
};
