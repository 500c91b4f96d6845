#pragma once
// Between the metadata record and ID3 tags, both directions.
//
// Reading fills only fields that are still absent, so that a reader calling
// several tag readers in turn keeps the first value found, with one
// exception: a TRCK or TPOS frame always overwrites the track and disc
// numbers (an ID3v2 track frame wins over numbers read from another tag
// before it).
//
// Writing ID3v2 starts from an empty tag: every frame is removed first, so
// frames the record cannot express (other programs' comments, user-defined
// text, play counters) do not survive. The record's own comment is never
// written; the caller passes the comment text to write, and likewise the
// "encoded by" text.
//
// Ownership: the tags belong to the caller (usually a TagLib file); nothing
// is kept between calls. Threads: writing sets TagLib's process-wide default
// text encoding for new frames, so writers must run on the one tagging
// thread; readers may run anywhere. Never fails: frames of an unexpected
// class under a known identifier are skipped, absent fields give no frame.

#include "AudioMetadata.h"

#include <QString>
#include <optional>
#include <taglib/tstring.h>

namespace TagLib {
namespace ID3v1 {
class Tag;
}
namespace ID3v2 {
class Tag;
}
} // namespace TagLib

class ID3TagMapping
{
public:
    static void addInfoFromID3v2Tag(const TagLib::ID3v2::Tag* tag, AudioMetadata& metadata);
    static void addInfoFromID3v1Tag(const TagLib::ID3v1::Tag* tag, AudioMetadata& metadata);

    // majorVersion: 3 or 4. taglibTextEncoding: TagLib's string type, 0
    // (Latin-1), 1 (UTF-16 with a byte-order mark) or 3 (UTF-8); 2 must not be
    // passed. Texts the encoding cannot represent lose those characters. A
    // cover of any size a tag can hold is written; one beyond 255 MB is left
    // out with a line in the error log.
    static void fillOutID3v2Tag(const AudioMetadata& metadata, TagLib::ID3v2::Tag* tag, int majorVersion,
                                TagLib::String::Type taglibTextEncoding,
                                const std::optional<QString>& encodedBy,
                                const std::optional<QString>& comment);
    // Texts are narrowed by TagLib to ID3v1's 30-character Latin-1 fields; a
    // genre name outside the standard list gives no genre.
    static void fillOutID3v1Tag(const AudioMetadata& metadata, TagLib::ID3v1::Tag* tag,
                                const std::optional<QString>& comment);

    // text encoded in taglibTextEncoding's bytes and read back as a library
    // string of that type.
    static TagLib::String textForTag(const QString& text, TagLib::String::Type taglibTextEncoding);
};
