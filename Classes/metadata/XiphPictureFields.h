#pragma once
// The raw METADATA_BLOCK_PICTURE values of a stream's Xiph comment, as they
// stand in the file. TagLib turns these fields into picture objects while it
// parses a comment and silently drops those it cannot parse, but a broken
// picture field must still give the record an (empty) artwork, so the
// readers find the values themselves and hand them to XiphCommentMapping.
//
// Every function reads only inside the bytes it is given or the file's
// length, never throws, and gives an empty list when the comment cannot be
// found or is damaged. Callable from any thread.

#include <QByteArrayList>
#include <QString>

namespace TagLib::Ogg {
class File;
}

class XiphPictureFields
{
public:
    // From the bytes of a Vorbis comment (vendor string, count, fields),
    // starting at its vendor length.
    static QByteArrayList fromCommentData(const QByteArray& comment);
    // From the comment packet (the second packet) of an Ogg Vorbis, Opus or
    // Speex stream, after its codec's prefix ("\x03vorbis" is 7 bytes,
    // "OpusTags" 8, Speex has none).
    static QByteArrayList fromOggCommentPacket(TagLib::Ogg::File& file, int prefixLength);
    // From the VORBIS_COMMENT block among the metadata packets of an Ogg
    // FLAC stream.
    static QByteArrayList fromOggFLAC(TagLib::Ogg::File& file);
    // From the VORBIS_COMMENT metadata block of a native FLAC file (an ID3v2
    // tag in front of the stream is skipped).
    static QByteArrayList fromFLACFile(const QString& path);
};
