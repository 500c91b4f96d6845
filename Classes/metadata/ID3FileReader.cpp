#include "ID3FileReader.h"

#include "APETagMapping.h"
#include "ID3TagMapping.h"
#include "PlatformMetadataReader.h"
#include "TagLibReading.h"

#include <array>
#include <taglib/aifffile.h>
#include <taglib/apetag.h>
#include <taglib/id3v1tag.h>
#include <taglib/id3v2tag.h>
#include <taglib/mpegfile.h>
#include <taglib/mpegheader.h>
#include <taglib/trueaudiofile.h>
#include <taglib/wavfile.h>

namespace {

constexpr std::array<const char*, 3> kMPEGVersions{"1", "2", "2.5"};
// Indexed by the header's channel mode.
constexpr std::array<const char*, 4> kChannelModes{"Stereo", "Joint Stereo", "Dual Mono", "Mono"};

// Where the Xing or Info header starts after the frame header: behind the
// side information, whose size depends on the version and on mono.
long xingHeaderOffset(TagLib::MPEG::Header::Version version, TagLib::MPEG::Header::ChannelMode mode)
{
    const bool mono = mode == TagLib::MPEG::Header::SingleChannel;
    if (version == TagLib::MPEG::Header::Version1) {
        return mono ? 4 + 17 : 4 + 32;
    }
    return mono ? 4 + 9 : 4 + 17;
}

void readFirstFrame(TagLib::MPEG::File& file, AudioMetadata& record)
{
    const long offset = file.firstFrameOffset();
    if (offset <= 0) {
        return;
    }
    const TagLib::MPEG::Header header(&file, offset, false);
    if (!header.isValid()) {
        return;
    }
    record.setSourceFormat(QStringLiteral("MPEG Version %1 Audio Layer %2")
                               .arg(QLatin1String(kMPEGVersions[size_t(header.version())]))
                               .arg(header.layer()));
    record.setSourceChannelMode(QString::fromLatin1(kChannelModes[size_t(header.channelMode())]));
    file.seek(offset + xingHeaderOffset(header.version(), header.channelMode()));
    const TagLib::ByteVector vbrHeader = file.readBlock(16);
    if (vbrHeader.startsWith("Xing")) {
        record.setSourceBitrateMode(QStringLiteral("VBR"));
    } else if (vbrHeader.startsWith("Info")) {
        record.setSourceBitrateMode(QStringLiteral("CBR"));
    }
}

void readID3v2(TagLib::ID3v2::Tag* tag, AudioMetadata& record, QStringList& formats)
{
    if (tag != nullptr) {
        ID3TagMapping::addInfoFromID3v2Tag(tag, record);
        formats << TagLibReading::id3v2Format(*tag);
    }
}

void readID3v1(TagLib::ID3v1::Tag* tag, AudioMetadata& record, QStringList& formats)
{
    if (tag != nullptr) {
        ID3TagMapping::addInfoFromID3v1Tag(tag, record);
        formats << QStringLiteral("ID3v1");
    }
}

// The ID3v2 chunk of an AIFF or WAVE file (tagOf gives it: the classes
// name it differently). The file is closed when this returns.
template <typename File, typename TagOf>
void readID3v2Chunk(const QString& path, AudioMetadata& record, TagOf tagOf)
{
    File file(TagLibReading::fileName(path).constData());
    if (file.isValid() && file.hasID3v2Tag()) {
        QStringList formats;
        readID3v2(tagOf(file), record, formats);
        TagLibReading::setTagFormats(record, formats);
    }
}

} // namespace

AudioMetadataPtr ID3FileReader::metadataFromMP3File(const QString& path)
{
    auto record = std::make_shared<AudioMetadata>();
    {
        TagLib::MPEG::File file(TagLibReading::fileName(path).constData());
        if (file.isValid()) {
            QStringList formats;
            readID3v2(file.hasID3v2Tag() ? file.ID3v2Tag() : nullptr, *record, formats);
            readID3v1(file.hasID3v1Tag() ? file.ID3v1Tag() : nullptr, *record, formats);
            if (file.hasAPETag()) {
                APETagMapping::addInfoFromAPETag(file.APETag(), *record);
                formats << TagLibReading::apeFormat(*file.APETag(), 2);
            }
            TagLibReading::setTagFormats(*record, formats);
            readFirstFrame(file, *record);
        }
    }
    PlatformMetadataReader::getCoreAudioInfoFromFile(path, *record);
    return record;
}

AudioMetadataPtr ID3FileReader::metadataFromAIFFFile(const QString& path)
{
    auto record = std::make_shared<AudioMetadata>();
    readID3v2Chunk<TagLib::RIFF::AIFF::File>(path, *record, [](auto& file) { return file.tag(); });
    PlatformMetadataReader::getCoreAudioInfoFromFile(path, *record);
    return record;
}

AudioMetadataPtr ID3FileReader::metadataFromWAVEFile(const QString& path)
{
    auto record = std::make_shared<AudioMetadata>();
    record->setSourceKind(QStringLiteral("WAVE"));
    readID3v2Chunk<TagLib::RIFF::WAV::File>(path, *record, [](auto& file) { return file.ID3v2Tag(); });
    PlatformMetadataReader::getCoreAudioInfoFromFile(path, *record);
    return record;
}

AudioMetadataPtr ID3FileReader::metadataFromTrueAudioFile(const QString& path)
{
    auto record = std::make_shared<AudioMetadata>();
    record->setSourceKind(QStringLiteral("True Audio"));
    TagLib::TrueAudio::File file(TagLibReading::fileName(path).constData());
    if (!file.isValid()) {
        return record;
    }
    if (const TagLib::TrueAudio::Properties* properties = file.audioProperties()) {
        record->setSourceFormat(QStringLiteral("TTA v%1").arg(properties->ttaVersion()));
        TagLibReading::addProperties(*record, *properties, TagLibReading::Bitrate::TimesThousand);
        record->setSourceSampleSize(properties->bitsPerSample());
    }
    QStringList formats;
    readID3v2(file.hasID3v2Tag() ? file.ID3v2Tag() : nullptr, *record, formats);
    readID3v1(file.hasID3v1Tag() ? file.ID3v1Tag() : nullptr, *record, formats);
    TagLibReading::setTagFormats(*record, formats);
    return record;
}
