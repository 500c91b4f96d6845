#pragma once
// Reader of tracker modules. Fast Tracker 2 ("xm"), Impulse Tracker ("it")
// and Scream Tracker 3 ("s3m") files are read by their own TagLib classes,
// with the tracker version in the format text and the initial tempo as bpm;
// every other module extension by TagLib's generic module class ("Module
// File"), which reads Protracker-style files and finds nothing in the rest.
//
// The kind is "Module File" in every case, also for a file that cannot be
// read. Never fails. Callable from any thread; no state.

#include "AudioMetadata.h"

class ModuleFileReader
{
public:
    static AudioMetadataPtr metadataFromModFile(const QString& path);
};
