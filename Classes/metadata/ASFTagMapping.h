#pragma once
// Between a record and the ASF tag of Windows Media files (TagLib's ASF tag:
// the content-description fields plus extended attributes such as
// "WM/AlbumArtist").
//
// Reading sets a field only when the record does not have it yet, with one
// exception: a "WM/PartOfSet" without a slash always sets the disc number.
// Numeric attributes are read by type: a text attribute by the integer
// value of its text, any other by its unsigned value. Pictures are read
// ("WM/Picture") but never written.
//
// Called on whichever thread reads the file; no state, never throws.

#include "AudioMetadata.h"

namespace TagLib::ASF {
class Tag;
}

class ASFTagMapping
{
public:
    static void addInfoFromASFTag(const TagLib::ASF::Tag& tag, AudioMetadata& record);

    // Sets the content-description fields (the comment from commentText),
    // then for every attribute the record maps removes it and, when the
    // record has the value, writes it anew: texts as UTF-16 text attributes,
    // numbers as 32-bit unsigned attributes. "WM/EncodedBy" comes from
    // encodedBy; "WM/BPM" is only removed; "WM/Picture" is left as it is.
    static void fillOutASFTag(const AudioMetadata& record, TagLib::ASF::Tag& tag,
                              const std::optional<QString>& encodedBy,
                              const std::optional<QString>& commentText);
};
