#include "TagLibReading.h"

#include "TagValue.h"

#include <QFile>
#include <taglib/apefooter.h>
#include <taglib/apetag.h>
#include <taglib/audioproperties.h>
#include <taglib/flacpicture.h>
#include <taglib/id3v2header.h>
#include <taglib/id3v2tag.h>
#include <taglib/tag.h>

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

void TagLibReading::setTextIfAbsent(AudioMetadata& record, AudioMetadata::Field field,
                                    const TagLib::String& text)
{
    if (!record.hasValue(field) && !text.isEmpty()) {
        record.setValue(field, TagValue::toQString(text));
    }
}

void TagLibReading::setNumberIfAbsent(AudioMetadata& record, AudioMetadata::Field field, unsigned int number)
{
    if (!record.hasValue(field) && number != 0) {
        record.setValue(field, int(number));
    }
}

void TagLibReading::addGenericFields(const TagLib::Tag& tag, AudioMetadata& record)
{
    using Field = AudioMetadata::Field;
    setTextIfAbsent(record, Field::trackTitle, tag.title());
    setTextIfAbsent(record, Field::trackArtist, tag.artist());
    setTextIfAbsent(record, Field::albumTitle, tag.album());
    setTextIfAbsent(record, Field::trackGenre, tag.genre());
    setNumberIfAbsent(record, Field::trackYear, tag.year());
    setNumberIfAbsent(record, Field::trackNumber, tag.track());
}

AlbumArtworkPtr TagLibReading::artworkFromPicture(const TagLib::ByteVector& data, uint32_t type,
                                                  const TagLib::String& description,
                                                  const TagLib::String& mimeType)
{
    auto artwork = std::make_shared<AlbumArtwork>();
    artwork->setData(QByteArray(data.data(), qsizetype(data.size())));
    artwork->setArtworkType(type);
    artwork->setComments(TagValue::toQString(description));
    artwork->setMimeType(TagValue::toQString(mimeType));
    return artwork;
}

AlbumArtworkPtr TagLibReading::artworkFromPicture(const TagLib::FLAC::Picture& picture)
{
    return artworkFromPicture(picture.data(), uint32_t(picture.type()), picture.description(),
                              picture.mimeType());
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
