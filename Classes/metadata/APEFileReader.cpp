#include "APEFileReader.h"

#include "APETagMapping.h"
#include "ID3TagMapping.h"
#include "TagLibReading.h"

#include <taglib/apefile.h>
#include <taglib/apetag.h>
#include <taglib/id3v1tag.h>
#include <taglib/mpcfile.h>
#include <taglib/wavpackfile.h>

namespace {

// Reads the APE tag, then the ID3v1 tag, of any TagLib file class that has
// both.
template <typename File> void readTags(File& file, AudioMetadata& record)
{
    QStringList formats;
    if (file.hasAPETag()) {
        APETagMapping::addInfoFromAPETag(file.APETag(), record);
        formats << TagLibReading::apeFormat(*file.APETag(), 1);
    }
    if (file.hasID3v1Tag()) {
        ID3TagMapping::addInfoFromID3v1Tag(file.ID3v1Tag(), record);
        formats << QStringLiteral("ID3v1");
    }
    TagLibReading::setTagFormats(record, formats);
}

AudioMetadataPtr recordOfKind(const char* kind)
{
    auto record = std::make_shared<AudioMetadata>();
    record->setSourceKind(QString::fromUtf8(kind));
    return record;
}

} // namespace

AudioMetadataPtr APEFileReader::metadataFromMonkeysAudioFile(const QString& path)
{
    AudioMetadataPtr record = recordOfKind("Monkey's Audio");
    TagLib::APE::File file(TagLibReading::fileName(path).constData());
    if (!file.isValid()) {
        return record;
    }
    if (const TagLib::APE::Properties* properties = file.audioProperties()) {
        record->setSourceFormat(QStringLiteral("APE v%1").arg(properties->version()));
        TagLibReading::addProperties(*record, *properties, TagLibReading::Bitrate::TimesThousand);
        record->setSourceSampleSize(properties->bitsPerSample());
    }
    readTags(file, *record);
    return record;
}

AudioMetadataPtr APEFileReader::metadataFromWavPackFile(const QString& path)
{
    AudioMetadataPtr record = recordOfKind("WavPack");
    TagLib::WavPack::File file(TagLibReading::fileName(path).constData());
    if (!file.isValid()) {
        return record;
    }
    if (const TagLib::WavPack::Properties* properties = file.audioProperties()) {
        record->setSourceFormat(QStringLiteral("WavPack v%1").arg(properties->version()));
        TagLibReading::addProperties(*record, *properties, TagLibReading::Bitrate::TimesThousand);
        record->setSourceSampleSize(properties->bitsPerSample());
    }
    readTags(file, *record);
    return record;
}

AudioMetadataPtr APEFileReader::metadataFromMusepackFile(const QString& path)
{
    AudioMetadataPtr record = recordOfKind("Musepack");
    TagLib::MPC::File file(TagLibReading::fileName(path).constData());
    if (!file.isValid()) {
        return record;
    }
    if (const TagLib::MPC::Properties* properties = file.audioProperties()) {
        record->setSourceFormat(QStringLiteral("MPC v%1").arg(properties->mpcVersion()));
        TagLibReading::addProperties(*record, *properties, TagLibReading::Bitrate::TimesThousand);
        record->setSourceSampleSize(16);
    }
    readTags(file, *record);
    return record;
}
