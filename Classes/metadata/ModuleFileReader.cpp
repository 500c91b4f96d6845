#include "ModuleFileReader.h"

#include "TagLibReading.h"

#include <QFileInfo>
#include <taglib/itfile.h>
#include <taglib/modfile.h>
#include <taglib/s3mfile.h>
#include <taglib/xmfile.h>

namespace {

// The record's descriptive fields from the module's tag, each only when the
// record lacks it.
void addInfoFromModuleTag(const TagLib::Mod::Tag& tag, AudioMetadata& record)
{
    record.setSourceTagFormat(QStringLiteral("Module Tag"));
    TagLibReading::addGenericFields(tag, record);
    TagLibReading::setTextIfAbsent(record, AudioMetadata::Field::trackComment, tag.comment());
    TagLibReading::setTextIfAbsent(record, AudioMetadata::Field::grouping, tag.trackerName());
}

// Reads a tracker-specific module: format "<name> v<version>" and the
// initial tempo's low byte as bpm.
template <typename ModuleFile>
void readTrackerFile(const QString& path, const char* trackerName, AudioMetadata& record)
{
    ModuleFile file(TagLibReading::fileName(path).constData());
    if (!file.isValid()) {
        return;
    }
    if (const auto* properties = file.audioProperties()) {
        unsigned version = 0;
        if constexpr (std::is_same_v<ModuleFile, TagLib::S3M::File>) {
            version = properties->trackerVersion();
        } else {
            version = properties->version();
        }
        record.setSourceFormat(
            QStringLiteral("%1 v%2").arg(QLatin1String(trackerName)).arg(uint16_t(version)));
        record.setSourceLength(properties->lengthInSeconds());
        record.setSourceChannels(properties->channels());
        record.setSourceSampleSize(16);
        record.setBpm(int(properties->tempo() & 0xFF));
    }
    if (const TagLib::Mod::Tag* tag = file.tag()) {
        addInfoFromModuleTag(*tag, record);
    }
}

void readGenericModule(const QString& path, AudioMetadata& record)
{
    record.setSourceFormat(QStringLiteral("Module File"));
    TagLib::Mod::File file(TagLibReading::fileName(path).constData());
    if (!file.isValid()) {
        return;
    }
    if (const TagLib::Mod::Properties* properties = file.audioProperties()) {
        record.setSourceLength(properties->lengthInSeconds());
        record.setSourceChannels(properties->channels());
        record.setSourceSampleSize(16);
    }
    if (const TagLib::Mod::Tag* tag = file.tag()) {
        addInfoFromModuleTag(*tag, record);
    }
}

} // namespace

AudioMetadataPtr ModuleFileReader::metadataFromModFile(const QString& path)
{
    auto record = std::make_shared<AudioMetadata>();
    record->setSourceKind(QStringLiteral("Module File"));
    const QString extension = QFileInfo(path).suffix().toLower();
    if (extension == QLatin1String("xm")) {
        readTrackerFile<TagLib::XM::File>(path, "Fast Tracker 2", *record);
    } else if (extension == QLatin1String("it")) {
        readTrackerFile<TagLib::IT::File>(path, "Impulse Tracker", *record);
    } else if (extension == QLatin1String("s3m")) {
        readTrackerFile<TagLib::S3M::File>(path, "Scream Tracker 3", *record);
    } else {
        readGenericModule(path, *record);
    }
    return record;
}
