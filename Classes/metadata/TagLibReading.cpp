#include "TagLibReading.h"

#include "TagValue.h"

#include <QFile>
#include <taglib/apefooter.h>
#include <taglib/apetag.h>
#include <taglib/audioproperties.h>
#include <taglib/flacpicture.h>
#include <taglib/id3v2header.h>
#include <taglib/id3v2tag.h>

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

QString TagLibReading::id3v2Format(const TagLib::ID3v2::Tag& tag)
{
    return QStringLiteral("ID3v2.%1.%2")
        .arg(tag.header()->majorVersion())
        .arg(tag.header()->revisionNumber());
}

QString TagLibReading::apeFormat(const TagLib::APE::Tag& tag, int decimals)
{
    const unsigned version = tag.footer() != nullptr ? tag.footer()->version() : 0;
    return QStringLiteral("APE Tag v") + QString::number(version / 1000.0, 'f', decimals);
}
