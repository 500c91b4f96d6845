#pragma once
// Reader of DSD files: kind "DSD", format "DSF" for the "dsf" extension and
// "DFF" for any other. Both extensions are read as DSF files, so a DFF file
// keeps its fixed texts only. A DSF file gives its stream facts (bit rate
// in bits per second) and its ID3v2 tag.
//
// Never fails; callable from any thread; no state.

#include "AudioMetadata.h"

class DSDFileReader
{
public:
    static AudioMetadataPtr metadataFromDSDFile(const QString& path);
};
