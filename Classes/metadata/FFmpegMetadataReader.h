#pragma once
// Reader of the files only FFmpeg opens (RealMedia): the container's short
// and long names as kind and format, its duration and bit rate, the first
// audio stream's rate and channels, and the container's metadata entries.
//
// Opening retries a file that is not there yet: up to four attempts, 1 to 4
// seconds apart (the calling thread sleeps). When the file cannot be opened
// it logs "FFMPEG Could Not Open Input For File For Metadata Reading: <path>
// ERROR: <code>" and "<path>: <FFmpeg's text for the code>" and gives an
// empty record. Never throws; the container is closed on every path.

#include "AudioMetadata.h"

class FFmpegMetadataReader
{
public:
    static AudioMetadataPtr metadataFromFFMPEGFile(const QString& path);

    // One metadata entry applied to the record: keys compared
    // case-insensitively, each entry overwriting what an earlier one set.
    // Unknown keys are ignored.
    static void addMetadataEntry(const QString& key, const QString& value, AudioMetadata& record);
};
