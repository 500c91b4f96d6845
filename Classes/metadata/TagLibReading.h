#pragma once
// What the per-format readers share when they read a file with TagLib: the
// file name TagLib wants, the stream facts every audio-properties object
// has, and the list of tag formats found.
//
// Pure helpers: callable from any thread, never throw.

#include "AudioMetadata.h"

#include <QByteArray>
#include <QStringList>
#include <taglib/tbytevector.h>
#include <taglib/tstring.h>

namespace TagLib {
class AudioProperties;
class Tag;
namespace FLAC {
class Picture;
}
namespace ID3v2 {
class Tag;
}
namespace APE {
class Tag;
}
} // namespace TagLib

class TagLibReading
{
public:
    // The path in the file system's encoding, as TagLib opens it.
    static QByteArray fileName(const QString& path);

    // How a reader stores TagLib's bit rate (kilobits per second): most
    // multiply it by 1000 into bits per second, a few keep the kilobits as
    // they are, Opus stores none.
    enum class Bitrate
    {
        TimesThousand,
        AsIs,
        None,
    };
    // sourceLength (whole seconds), sourceBitrate, sourceSampleRate and
    // sourceChannels from the properties.
    static void addProperties(AudioMetadata& record, const TagLib::AudioProperties& properties,
                              Bitrate bitrate);

    // The tag systems' fields are read into a record only where it has
    // none: a tag read earlier wins. An empty text, a zero year or a zero
    // track number counts as nothing.
    static void setTextIfAbsent(AudioMetadata& record, AudioMetadata::Field field,
                                const TagLib::String& text);
    static void setNumberIfAbsent(AudioMetadata& record, AudioMetadata::Field field, unsigned int number);
    // Title, artist, album, genre, year and track number of TagLib's generic
    // tag interface, each where the record has none. Not the comment: ID3v2
    // takes only comments without a description.
    static void addGenericFields(const TagLib::Tag& tag, AudioMetadata& record);

    // An artwork holding a picture's data, type, description and MIME type
    // (the tag's type, which wins over the one sniffed from the bytes).
    static AlbumArtworkPtr artworkFromPicture(const TagLib::ByteVector& data, uint32_t type,
                                              const TagLib::String& description,
                                              const TagLib::String& mimeType);
    static AlbumArtworkPtr artworkFromPicture(const TagLib::FLAC::Picture& picture);

    // "ID3v2.<major>.<revision>", such as "ID3v2.4.0".
    static QString id3v2Format(const TagLib::ID3v2::Tag& tag);
    // "APE Tag v" and the tag's version divided by 1000 with the given
    // number of decimals: MP3 files say "APE Tag v2.00", the others "APE Tag
    // v2.0", as they always have.
    static QString apeFormat(const TagLib::APE::Tag& tag, int decimals);

    // Sets sourceTagFormat to the entries joined by ", "; nothing when no tag
    // was found.
    static void setTagFormats(AudioMetadata& record, const QStringList& formats);
};
