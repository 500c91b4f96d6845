#include "MP4FileReader.h"

#include "MP4TagMapping.h"
#include "PlatformMetadataReader.h"
#include "TagLibReading.h"

#include <taglib/mp4file.h>

AudioMetadataPtr MP4FileReader::metadataFromMP4File(const QString& path)
{
    auto record = std::make_shared<AudioMetadata>();
    {
        TagLib::MP4::File file(TagLibReading::fileName(path).constData());
        if (file.isValid() && file.hasMP4Tag() && file.tag() != nullptr) {
            MP4TagMapping::addInfoFromMP4Tag(*file.tag(), *record);
            record->setSourceTagFormat(QStringLiteral("MP4 Metadata"));
        }
    }
    PlatformMetadataReader::getCoreAudioInfoFromFile(path, *record);
    return record;
}
