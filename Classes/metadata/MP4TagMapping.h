#pragma once
// Between a record and the item list of an MP4/M4A file (TagLib's MP4 tag:
// four-character atom names, "\xA9nam" and the like, and free-form names
// "----:com.apple.iTunes:KEY").
//
// Reading follows the rule shared by all tag readers: a field is set only
// when the record does not have it yet, so tags read earlier win; an item
// counts only when TagLib reports it valid. Covers always read as front
// covers, "image/jpeg" for a JPEG cover and "image/png" for any other (a
// GIF or BMP cover too), as they always have.
//
// Called on whichever thread reads the file; no state, never throws.

#include "AudioMetadata.h"

namespace TagLib::MP4 {
class Tag;
}

class MP4TagMapping
{
public:
    static void addInfoFromMP4Tag(const TagLib::MP4::Tag& tag, AudioMetadata& record);

    // Replaces every item the record maps: the item is removed, then written
    // from the record when the record has the field. "\xA9cmt" comes from
    // commentText and "\xA9too" from encodedBy. The cover is written as one
    // image (PNG, GIF or JPEG by the artwork's MIME type) after removing
    // "covr" and "APIC".
    static void fillOutMP4Tag(const AudioMetadata& record, TagLib::MP4::Tag& tag,
                              const std::optional<QString>& encodedBy,
                              const std::optional<QString>& commentText);
};
