#pragma once
// Reader of Windows Media files: "Windows Media" / "Windows Media Audio",
// the stream facts with the bit rate in kilobits per second as TagLib gives
// it, and the ASF tag ("ASF").
//
// Never fails: a file TagLib cannot open gives the fixed texts only.
// Callable from any thread; no state.

#include "AudioMetadata.h"

class WindowsMediaFileReader
{
public:
    static AudioMetadataPtr metadataFromWMAFile(const QString& path);
};
