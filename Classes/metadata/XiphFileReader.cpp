#include "XiphFileReader.h"

#include "ID3TagMapping.h"
#include "TagLibReading.h"
#include "XiphCommentMapping.h"
#include "XiphPictureFields.h"

#include <taglib/flacfile.h>
#include <taglib/id3v1tag.h>
#include <taglib/id3v2tag.h>
#include <taglib/oggflacfile.h>
#include <taglib/opusfile.h>
#include <taglib/speexfile.h>
#include <taglib/vorbisfile.h>

namespace {

using Bitrate = TagLibReading::Bitrate;

AudioMetadataPtr recordOfKind(const char* kind, std::optional<QString> format)
{
    auto record = std::make_shared<AudioMetadata>();
    record->setSourceKind(QString::fromUtf8(kind));
    record->setSourceFormat(std::move(format));
    return record;
}

const QString kFLACFormat = QStringLiteral("Free Lossless Audio Codec");
const QString kVorbisTagFormat = QStringLiteral("Vorbis");

// Offsets of the comment in the second packet of each Ogg codec.
constexpr int kVorbisCommentPrefix = 7; // "\x03vorbis"
constexpr int kOpusCommentPrefix = 8;   // "OpusTags"
constexpr int kSpeexCommentPrefix = 0;

void readOggComment(TagLib::Ogg::File& file, TagLib::Ogg::XiphComment* comment, int prefixLength,
                    AudioMetadata& record)
{
    if (comment == nullptr) {
        return;
    }
    XiphCommentMapping::addInfoFromVorbisTag(*comment, record,
                                             XiphPictureFields::fromOggCommentPacket(file, prefixLength));
    record.setSourceTagFormat(kVorbisTagFormat);
}

} // namespace

AudioMetadataPtr XiphFileReader::metadataFromFLACFile(const QString& path)
{
    AudioMetadataPtr record = recordOfKind("FLAC", kFLACFormat);
    TagLib::FLAC::File file(TagLibReading::fileName(path).constData());
    if (!file.isValid()) {
        return record;
    }
    if (const TagLib::FLAC::Properties* properties = file.audioProperties()) {
        TagLibReading::addProperties(*record, *properties, Bitrate::TimesThousand);
        record->setSourceSampleSize(properties->bitsPerSample());
    }
    QStringList tagFormats;
    if (file.hasXiphComment()) {
        XiphCommentMapping::addInfoFromVorbisTag(*file.xiphComment(), *record,
                                                 XiphPictureFields::fromFLACFile(path));
        tagFormats << kVorbisTagFormat;
    }
    if (file.hasID3v2Tag()) {
        ID3TagMapping::addInfoFromID3v2Tag(file.ID3v2Tag(), *record);
        tagFormats << TagLibReading::id3v2Format(*file.ID3v2Tag());
    }
    if (file.hasID3v1Tag()) {
        ID3TagMapping::addInfoFromID3v1Tag(file.ID3v1Tag(), *record);
        tagFormats << QStringLiteral("ID3v1");
    }
    TagLibReading::setTagFormats(*record, tagFormats);

    // One picture block is the file's cover, whatever the tags said. With
    // several the front cover is looked for but not taken: such files get
    // their artwork from their tags or from a picture file beside them.
    const TagLib::List<TagLib::FLAC::Picture*> pictures = file.pictureList();
    if (pictures.size() == 1) {
        record->setAlbumArtwork(TagLibReading::artworkFromPicture(*pictures.front()));
    }
    return record;
}

AudioMetadataPtr XiphFileReader::metadataFromOggFLACFile(const QString& path)
{
    AudioMetadataPtr record = recordOfKind("OGG FLAC", kFLACFormat);
    TagLib::Ogg::FLAC::File file(TagLibReading::fileName(path).constData());
    if (!file.isValid()) {
        return record;
    }
    if (const TagLib::FLAC::Properties* properties = file.audioProperties()) {
        TagLibReading::addProperties(*record, *properties, Bitrate::AsIs);
        record->setSourceSampleSize(properties->bitsPerSample());
    }
    if (file.hasXiphComment() && file.tag() != nullptr) {
        XiphCommentMapping::addInfoFromVorbisTag(*file.tag(), *record, XiphPictureFields::fromOggFLAC(file));
        record->setSourceTagFormat(kVorbisTagFormat);
    }
    return record;
}

AudioMetadataPtr XiphFileReader::metadataFromOggVorbisFile(const QString& path)
{
    AudioMetadataPtr record = recordOfKind("OGG Vorbis", QStringLiteral("Vorbis"));
    TagLib::Ogg::Vorbis::File file(TagLibReading::fileName(path).constData());
    if (!file.isValid()) {
        return record;
    }
    if (const TagLib::Vorbis::Properties* properties = file.audioProperties()) {
        TagLibReading::addProperties(*record, *properties, Bitrate::TimesThousand);
        const bool constant =
            properties->bitrateMinimum() != 0 && properties->bitrateMinimum() == properties->bitrateMaximum();
        record->setSourceBitrateMode(constant ? QStringLiteral("CBR") : QStringLiteral("VBR"));
    }
    readOggComment(file, file.tag(), kVorbisCommentPrefix, *record);
    return record;
}

AudioMetadataPtr XiphFileReader::metadataFromOggSpeexFile(const QString& path)
{
    // The format names the stream's Speex version, so a file that cannot be
    // read has a kind only.
    AudioMetadataPtr record = recordOfKind("OGG Speex", std::nullopt);
    TagLib::Ogg::Speex::File file(TagLibReading::fileName(path).constData());
    if (!file.isValid()) {
        return record;
    }
    if (const TagLib::Ogg::Speex::Properties* properties = file.audioProperties()) {
        record->setSourceFormat(QStringLiteral("Speex v%1").arg(properties->speexVersion()));
        TagLibReading::addProperties(*record, *properties, Bitrate::AsIs);
    }
    readOggComment(file, file.tag(), kSpeexCommentPrefix, *record);
    return record;
}

AudioMetadataPtr XiphFileReader::metadataFromOpusFile(const QString& path)
{
    AudioMetadataPtr record = recordOfKind("Ogg Opus", QStringLiteral("Opus"));
    TagLib::Ogg::Opus::File file(TagLibReading::fileName(path).constData());
    if (!file.isValid()) {
        return record;
    }
    if (const TagLib::Ogg::Opus::Properties* properties = file.audioProperties()) {
        TagLibReading::addProperties(*record, *properties, Bitrate::None);
    }
    readOggComment(file, file.tag(), kOpusCommentPrefix, *record);
    return record;
}
