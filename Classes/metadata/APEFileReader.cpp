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

// A file of the APE family: its kind, its stream facts (describe adds the
// format and sample size, which each class names its own way), then its tags.
template <typename File, typename Describe>
AudioMetadataPtr readFile(const QString& path, const char* kind, Describe describe)
{
    auto record = std::make_shared<AudioMetadata>();
    record->setSourceKind(QString::fromUtf8(kind));
    File file(TagLibReading::fileName(path).constData());
    if (!file.isValid()) {
        return record;
    }
    if (const auto* properties = file.audioProperties()) {
        describe(*properties, *record);
        TagLibReading::addProperties(*record, *properties, TagLibReading::Bitrate::TimesThousand);
    }
    readTags(file, *record);
    return record;
}

} // namespace

AudioMetadataPtr APEFileReader::metadataFromMonkeysAudioFile(const QString& path)
{
    return readFile<TagLib::APE::File>(
        path, "Monkey's Audio", [](const auto& properties, AudioMetadata& record) {
            record.setSourceFormat(QStringLiteral("APE v%1").arg(properties.version()));
            record.setSourceSampleSize(properties.bitsPerSample());
        });
}

AudioMetadataPtr APEFileReader::metadataFromWavPackFile(const QString& path)
{
    return readFile<TagLib::WavPack::File>(
        path, "WavPack", [](const auto& properties, AudioMetadata& record) {
            record.setSourceFormat(QStringLiteral("WavPack v%1").arg(properties.version()));
            record.setSourceSampleSize(properties.bitsPerSample());
        });
}

AudioMetadataPtr APEFileReader::metadataFromMusepackFile(const QString& path)
{
    return readFile<TagLib::MPC::File>(path, "Musepack", [](const auto& properties, AudioMetadata& record) {
        record.setSourceFormat(QStringLiteral("MPC v%1").arg(properties.mpcVersion()));
        record.setSourceSampleSize(16);
    });
}
