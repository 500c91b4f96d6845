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
// process-wide). The path form of writeMetadata() is for files Sonabrik
// made: its failures are silent, a missing or invalid file stays untagged
// and save results are not examined (the caller compares audioBytes()).
// A user's own MP3 is tagged with writeMetadataInPlace() when the new tag
// fits the old one's room, else through the in-memory form and
// FileRewrite, so that no failure can cut it short.
//
// ReplayGain figures given to a writer go into the ID3v2 and APE tags it
// writes, as REPLAYGAIN_* items (see ReplayGain); a source's own never do,
// as the tags are written afresh from the metadata record.

#include "ReplayGain.h"

#include <QByteArray>
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
                              const EncoderSettings* settings, const QString& sourcePath,
                              const ReplayGain& replayGain = {});
    // The same on the bytes of an MP3 held in memory. Returns an empty
    // string, or why the bytes are not an MP3 it can tag.
    static QString writeMetadata(QByteArray& mp3, const AudioMetadata& metadata,
                                 const EncoderSettings* settings, const QString& sourcePath,
                                 const ReplayGain& replayGain = {});
    // The same, but only when it can be done without moving the audio: the
    // file starts with an ID3v2 tag whose room holds the new one, no APE tag
    // is there or wanted, and the disk has room reserved for an ID3v1 tag
    // wanted where there is none.
    // Returns false, with the file untouched, when it cannot.
    static bool writeMetadataInPlace(const QString& path, const AudioMetadata& metadata,
                                     const EncoderSettings* settings, const QString& sourcePath,
                                     const ReplayGain& replayGain = {});

    // Puts an album's figures into the ID3v2 and APE tags the MP3 at path
    // already has (none into a file with neither), leaving every other frame
    // as it is. The file is edited in memory and replaces the
    // old one only whole (FileRewrite), its audio checked unchanged: safe on
    // a user's own files. Returns an empty string, or why it failed.
    static QString writeAlbumGain(const QString& path, const ReplayGain& replayGain);

    // Empty when both MP3s hold the same audio bytes, else the reason: the
    // check a rewritten file passes before it replaces the user's.
    static QString compareAudio(const QByteArray& original, const QByteArray& tagged);
};
