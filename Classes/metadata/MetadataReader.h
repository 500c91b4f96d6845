#pragma once
// Builds the record of a source file: chooses the reader by the file's
// extension (for Ogg files by the codec of the first stream), then adds the
// file's location, size and modification date and applies the fallbacks:
//   - without a cover, when the preference "readAlbumArtworkFromFile" is on,
//     the picture file named by "readAlbumArtworkFileName" (a naming scheme
//     whose result is a wildcard, "cover.*" by default) in the file's folder;
//   - without a title, when "fallbackOnFilenameWhenTitleIsMissing" is on,
//     the file name without its extension.
// AudioMetadata::metadataFromFile is this class's entry point.
//
// Reading never fails from the caller's side: a file that cannot be read
// gives a record with whatever its reader could set (at least the location,
// size and date when the file exists). A NamedException raised on the way
// is logged as "Could Not Initialize Audio Metadata for: <path> Error:
// <reason>" and an empty record is returned; any other exception is
// swallowed silently the same way.
//
// Called on worker threads (intake, tagging thread) and on the main thread
// (revert); the readers share nothing but the preferences and the error log.

#include "AudioMetadata.h"

#include <QStringList>

class MetadataReader
{
public:
    static AudioMetadataPtr metadataFromFile(const QString& path);

    // Lists the folder of pathPattern and takes the first entry (in name
    // order) whose name matches the file-name part of pathPattern as a
    // wildcard pattern ("*" and "?", case- and accent-insensitive); when
    // there is one, it is loaded as the record's artwork. A folder that
    // cannot be listed, no match or a file that is no image leaves the
    // record as it was.
    static void readAlbumArtworkFromFilename(const QString& pathPattern, AudioMetadata& record);

    // Shorten files are read by the platform's row; this reader exists for
    // callers that know the format and only names it ("Shorten").
    static AudioMetadataPtr metadataFromShortenFile(const QString& path);
};
