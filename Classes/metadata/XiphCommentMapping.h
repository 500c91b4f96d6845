#pragma once
// Between a record and the Xiph comment of FLAC, Ogg FLAC, Ogg Vorbis, Speex
// and Opus streams (TagLib's XiphComment, whose field names are upper case).
//
// Reading sets every field it finds, overwriting what the record held: the
// readers call it before any other tag, so in practice it has the first say.
// Some of its habits are odd and kept on purpose, because records read
// before must keep reading the same way:
//   - a YEAR field makes the year the integer value of the ALBUM text (0,
//     stored, when there is no ALBUM); only without YEAR is DATE parsed as a
//     date;
//   - COMPILATION is read as a yes/no text and stored as 1 or 0;
//   - METADATA_BLOCK_PICTURE is Base64 of a FLAC picture block, and the
//     record gets an artwork even when the block does not parse (then with
//     empty data); a COVERART field is never read.
// Numbers are integer values of the whole text: TRACKNUMBER=3/12 gives track
// 3 and no total.
//
// Both functions are called on whichever thread reads or tags the file;
// they keep no state and never throw.

#include "AudioMetadata.h"

#include <QByteArrayList>
#include <optional>

namespace TagLib::Ogg {
class XiphComment;
}

class XiphCommentMapping
{
public:
    // Fills record from comment. TagLib turns the picture fields of a parsed
    // comment into picture objects and drops those it cannot parse, so the
    // readers hand over the raw METADATA_BLOCK_PICTURE values they found in
    // the stream (see XiphPictureFields); without them, the comment's own
    // METADATA_BLOCK_PICTURE fields are read (a comment built in memory).
    static void addInfoFromVorbisTag(const TagLib::Ogg::XiphComment& comment, AudioMetadata& record,
                                     const std::optional<QByteArrayList>& rawPictureValues = std::nullopt);

    // Replaces every field the record maps with the record's values: all
    // names of a row are removed, then the row's one field is written when
    // the record has a value. The comment comes from the comment argument,
    // ENCODEDBY from encodedBy (each written when not null); the picture
    // only when writeArtwork is true, and any picture the comment held is
    // removed in every case.
    static void fillOutXiphComment(const AudioMetadata& record, TagLib::Ogg::XiphComment& comment,
                                   const std::optional<QString>& encodedBy,
                                   const std::optional<QString>& commentText, bool writeArtwork);
};
