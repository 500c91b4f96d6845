#pragma once
// What the per-format readers share when they read a file with TagLib: the
// file name TagLib wants, the stream facts every audio-properties object
// has, and the list of tag formats found.
//
// Pure helpers: callable from any thread, never throw.

#include "AudioMetadata.h"

#include <QByteArray>
#include <QStringList>

namespace TagLib {
class AudioProperties;
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

    // An artwork holding the picture's data, type, MIME type and description.
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
