#include "DSDFileReader.h"

#include "DSFFile.h"
#include "ID3TagMapping.h"
#include "TagLibReading.h"

#include <QFileInfo>
#include <algorithm>
#include <climits>
#include <taglib/id3v2tag.h>

AudioMetadataPtr DSDFileReader::metadataFromDSDFile(const QString& path)
{
    auto record = std::make_shared<AudioMetadata>();
    record->setSourceKind(QStringLiteral("DSD"));
    const bool dsf = QFileInfo(path).suffix().toLower() == QLatin1String("dsf");
    record->setSourceFormat(dsf ? QStringLiteral("DSF") : QStringLiteral("DFF"));
    const DSFFile file(path);
    if (!file.isValid()) {
        return record;
    }
    record->setSourceLength(file.lengthInSeconds());
    record->setSourceBitrate(int(std::min<qint64>(qint64(file.bitrate()) * 1000, INT_MAX)));
    record->setSourceSampleRate(file.sampleRate());
    record->setSourceChannels(file.channels());
    record->setSourceSampleSize(file.bitsPerSample());
    if (TagLib::ID3v2::Tag* tag = file.ID3v2Tag()) {
        ID3TagMapping::addInfoFromID3v2Tag(tag, *record);
        record->setSourceTagFormat(TagLibReading::id3v2Format(*tag));
    }
    return record;
}
