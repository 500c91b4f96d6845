#include "WindowsMediaFileReader.h"

#include "ASFTagMapping.h"
#include "TagLibReading.h"

#include <taglib/asffile.h>

AudioMetadataPtr WindowsMediaFileReader::metadataFromWMAFile(const QString& path)
{
    auto record = std::make_shared<AudioMetadata>();
    record->setSourceKind(QStringLiteral("Windows Media"));
    record->setSourceFormat(QStringLiteral("Windows Media Audio"));
    TagLib::ASF::File file(TagLibReading::fileName(path).constData());
    if (!file.isValid()) {
        return record;
    }
    if (const TagLib::ASF::Properties* properties = file.audioProperties()) {
        TagLibReading::addProperties(*record, *properties, TagLibReading::Bitrate::AsIs);
    }
    if (const TagLib::ASF::Tag* tag = file.tag()) {
        ASFTagMapping::addInfoFromASFTag(*tag, *record);
        record->setSourceTagFormat(QStringLiteral("ASF"));
    }
    return record;
}
