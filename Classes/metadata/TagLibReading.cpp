#include "TagLibReading.h"

#include "TagValue.h"

#include <QFile>
#include <taglib/audioproperties.h>
#include <taglib/flacpicture.h>

QByteArray TagLibReading::fileName(const QString& path)
{
    return QFile::encodeName(path);
}

void TagLibReading::addProperties(AudioMetadata& record, const TagLib::AudioProperties& properties,
                                  Bitrate bitrate)
{
    record.setSourceLength(properties.lengthInSeconds());
    switch (bitrate) {
    case Bitrate::TimesThousand:
        record.setSourceBitrate(properties.bitrate() * 1000);
        break;
    case Bitrate::AsIs:
        record.setSourceBitrate(properties.bitrate());
        break;
    case Bitrate::None:
        break;
    }
    record.setSourceSampleRate(properties.sampleRate());
    record.setSourceChannels(properties.channels());
}

AlbumArtworkPtr TagLibReading::artworkFromPicture(const TagLib::FLAC::Picture& picture)
{
    auto artwork = std::make_shared<AlbumArtwork>();
    const TagLib::ByteVector data = picture.data();
    artwork->setData(QByteArray(data.data(), qsizetype(data.size())));
    artwork->setArtworkType(uint32_t(picture.type()));
    artwork->setComments(TagValue::toQString(picture.description()));
    artwork->setMimeType(TagValue::toQString(picture.mimeType()));
    return artwork;
}

void TagLibReading::setTagFormats(AudioMetadata& record, const QStringList& formats)
{
    if (!formats.isEmpty()) {
        record.setSourceTagFormat(formats.join(QStringLiteral(", ")));
    }
}
