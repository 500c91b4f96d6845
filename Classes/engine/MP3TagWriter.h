#pragma once
// Puts a source's tags into an MP3 file, as the tag preferences ask: strips
// every tag the file has, then writes ID3v2 (in the chosen version and text
// encoding), ID3v1 and APE tags, each saved on its own in that order so that
// each save leaves the tags already written in place.
//
// Preferences read at each call: "writeEncodedByMetadataTag",
// "writeFormatStringToComments", "commentsFormatString", "writeMP3ID3v2Tag",
// "writeMP3ID3v1Tag", "writeMP3ApeTag", "WriteMP3ID3v2TagVersion".
//
// Threads: the tagging thread only (TagLib and its default text encoding are
// process-wide). Failures are silent, as they always were: a missing or
// invalid file stays untagged and save results are not examined.

#include <QString>
#include <optional>
#include <taglib/tstring.h>

class AudioMetadata;
class EncoderSettings;

class MP3TagWriter
{
public:
    struct ID3v2Choice
    {
        int majorVersion;
        TagLib::String::Type encoding;
    };
    // The row of "WriteMP3ID3v2TagVersion": 1 → 2.4 UTF-8, 2 → 2.3 UTF-16,
    // 3 → 2.3 Latin-1, 4 → 2.4 UTF-16, 5 → 2.4 Latin-1, anything else 2.4 UTF-8.
    static ID3v2Choice id3v2Choice(qint64 preferenceValue);

    // "LAME <short version> via Sonabrik <application version>".
    static QString encodedByText();

    // The bytes of path that are not tags (ID3v2, APE, ID3v1): its audio.
    // -1 when TagLib cannot open it as MPEG. TagLib does not report a write
    // that fails (a full disk), and a tag that does not fit is written by
    // moving the audio behind it, so a file whose audio shrank while it was
    // tagged has lost the end of it: compare this before and after.
    static qint64 audioBytes(const QString& path);

    // Tags the MP3 at path with metadata. sourcePath and settings feed the
    // comment's naming scheme and the skip rule: nothing is done for an "mp3"
    // source under the skip action.
    static void writeMetadata(const QString& path, const AudioMetadata& metadata,
                              const EncoderSettings* settings, const QString& sourcePath);
};
