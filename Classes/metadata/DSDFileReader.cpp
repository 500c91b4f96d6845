#include "DSDFileReader.h"

#include "DSFFile.h"

#include <QFileInfo>

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
    record->setSourceBitrate(file.bitrate() * 1000);
    record->setSourceSampleRate(file.sampleRate());
    record->setSourceChannels(file.channels());
    record->setSourceSampleSize(file.bitsPerSample());
    return record;
}
