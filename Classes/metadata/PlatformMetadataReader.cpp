#include "PlatformMetadataReader.h"

#include "AudioFileChunks.h"
#include "AudioFileInfoDictionary.h"
#include "AudioFileReader.h"
#include "TagValue.h"
#include "ZTMIDIParser.h"

#include <QFileInfo>
#include <array>

namespace {

using Field = AudioMetadata::Field;

struct LayoutName
{
    uint32_t tag;
    const char* name;
};

constexpr std::array kLayoutNames{
    LayoutName{kAudioChannelLayoutTag_Mono, "Mono"},
    LayoutName{kAudioChannelLayoutTag_Stereo, "Stereo"},
    LayoutName{kAudioChannelLayoutTag_StereoHeadphones, "Stereo Headphones"},
    LayoutName{kAudioChannelLayoutTag_MatrixStereo, "Matrix Stereo"},
    LayoutName{kAudioChannelLayoutTag_MidSide, "Mid-Side"},
    LayoutName{kAudioChannelLayoutTag_XY, "XY"},
    LayoutName{kAudioChannelLayoutTag_Binaural, "Binaural"},
    LayoutName{kAudioChannelLayoutTag_Ambisonic_B_Format, "Ambisonic B"},
    LayoutName{kAudioChannelLayoutTag_Quadraphonic, "Quadraphonic"},
    LayoutName{kAudioChannelLayoutTag_Pentagonal, "Pentagonal"},
    LayoutName{kAudioChannelLayoutTag_Hexagonal, "Hexagonal"},
    LayoutName{kAudioChannelLayoutTag_Octagonal, "Octagonal"},
    LayoutName{kAudioChannelLayoutTag_Cube, "Cube"},
};

// Info-dictionary keys and the fields they fill.
enum class InfoKind
{
    Text,
    Integer,
};

struct InfoRow
{
    const char* key;
    Field field;
    InfoKind kind;
};

constexpr std::array kInfoRows{
    InfoRow{"artist", Field::trackArtist, InfoKind::Text},
    InfoRow{"album", Field::albumTitle, InfoKind::Text},
    InfoRow{"tempo", Field::bpm, InfoKind::Integer},
    InfoRow{"key signature", Field::key, InfoKind::Text},
    InfoRow{"track number", Field::trackNumber, InfoKind::Integer},
    InfoRow{"year", Field::trackYear, InfoKind::Integer},
    InfoRow{"composer", Field::trackComposer, InfoKind::Text},
    InfoRow{"genre", Field::trackGenre, InfoKind::Text},
    InfoRow{"title", Field::trackTitle, InfoKind::Text},
    InfoRow{"comments", Field::trackComment, InfoKind::Text},
    InfoRow{"copyright", Field::trackCopyright, InfoKind::Text},
    InfoRow{"encoding application", Field::sourceEncodedWith, InfoKind::Text},
    InfoRow{"ISRC", Field::ISRC, InfoKind::Text},
};

// The identifier of Apple Loops information in a "uuid" chunk.
const QByteArray kLoopInformationID = QByteArray::fromHex("29819273B5BF4AEFB78D62D1EF90BB2C");

// A layout described by a bitmap or by channel descriptions names mono and
// stereo only by its channel count, as the platform's decoder reads it.
uint32_t layoutTag(const AudioChannelLayout& layout, uint32_t channels)
{
    const uint32_t tag = layout.mChannelLayoutTag;
    if (tag == kAudioChannelLayoutTag_UseChannelBitmap ||
        tag == kAudioChannelLayoutTag_UseChannelDescriptions) {
        if (channels == 1) {
            return kAudioChannelLayoutTag_Mono;
        }
        if (channels == 2) {
            return kAudioChannelLayoutTag_Stereo;
        }
    }
    return tag;
}

std::optional<int> appleLosslessSampleSize(uint32_t flags)
{
    switch (flags) {
    case kAppleLosslessFormatFlag_16BitSourceData:
        return 16;
    case kAppleLosslessFormatFlag_20BitSourceData:
        return 20;
    case kAppleLosslessFormatFlag_24BitSourceData:
        return 24;
    case kAppleLosslessFormatFlag_32BitSourceData:
        return 32;
    default:
        return std::nullopt;
    }
}

// "minor" gives "Minor", "major key" gives "Major Key".
QString capitalized(const QString& text)
{
    QString result = text.toLower();
    bool wordStart = true;
    for (QChar& c : result) {
        if (wordStart && c.isLetter()) {
            c = c.toUpper();
        }
        wordStart = c.isSpace();
    }
    return result;
}

} // namespace

void PlatformMetadataReader::getCoreAudioInfoFromFile(const QString& path, AudioMetadata& record)
{
    OSStatus status = noErr;
    const std::unique_ptr<AudioFileReader> reader = AudioFileReader::open(path, status);
    if (!reader) {
        return;
    }
    record.setSourceKind(reader->fileTypeName());

    AudioStreamBasicDescription format;
    if (reader->getFileDataFormat(format) == noErr) {
        record.setSourceSampleRate(double(int64_t(format.mSampleRate)));
        record.setSourceChannels(int(format.mChannelsPerFrame));
        if (format.mBitsPerChannel != 0) {
            record.setSourceSampleSize(int(format.mBitsPerChannel));
        }
        if (!record.sourceFormat()) {
            record.setSourceFormat(reader->dataFormatName());
        }
        if (format.mFormatID == kAudioFormatAppleLossless) {
            if (const std::optional<int> size = appleLosslessSampleSize(format.mFormatFlags)) {
                record.setSourceSampleSize(*size);
            }
        }
    }

    int64_t frames = -1;
    double seconds = 0;
    if (reader->getFileLengthFrames(frames) == noErr && frames >= 0 && format.mSampleRate > 0) {
        seconds = double(frames) / format.mSampleRate;
        record.setSourceLength(seconds);
    }
    // libsndfile states no bit rate: linear PCM has the one its format
    // implies, anything else the average over the file.
    int64_t bitRate = reader->bitRate();
    if (bitRate == 0 && format.mFormatID == kAudioFormatLinearPCM) {
        bitRate = int64_t(format.mSampleRate) * format.mChannelsPerFrame * format.mBitsPerChannel;
    } else if (bitRate == 0 && seconds > 0) {
        bitRate = int64_t(double(QFileInfo(path).size()) * 8 / seconds);
    }
    if (bitRate > 0) {
        record.setSourceBitrate(int(std::min<int64_t>(bitRate, std::numeric_limits<int>::max())));
    }

    if (!record.sourceChannelMode()) {
        AudioChannelLayout layout;
        if (reader->getFileChannelLayout(layout) == noErr) {
            const uint32_t tag = layoutTag(layout, format.mChannelsPerFrame);
            for (const LayoutName& row : kLayoutNames) {
                if (row.tag == tag) {
                    record.setSourceChannelMode(QString::fromLatin1(row.name));
                    break;
                }
            }
        }
    }

    QVariantMap userData;
    for (const AudioFileChunks::Chunk& chunk : AudioFileChunks::userChunks(path)) {
        QVariantList items = userData.value(chunk.first).toList();
        items.append(chunk.second);
        userData.insert(chunk.first, items);
    }
    record.setUserData(userData);
}

void PlatformMetadataReader::getCoreAudioMetadataFromFile(const QString& path, AudioMetadata& record)
{
    const QVariantMap info = AudioFileInfoDictionary::read(path);
    for (const InfoRow& row : kInfoRows) {
        const auto it = info.constFind(QString::fromLatin1(row.key));
        if (it == info.constEnd() || record.hasValue(row.field)) {
            continue;
        }
        if (row.kind == InfoKind::Integer) {
            record.setValue(row.field, TagValue::integerValue(it->toString()));
        } else {
            record.setValue(row.field, it->toString());
        }
    }

    const QList<AudioFileChunks::Chunk> chunks = AudioFileChunks::userChunks(path);
    for (const AudioFileChunks::Chunk& chunk : chunks) {
        if (chunk.first == QLatin1String("uuid")) {
            addLoopInformation(chunk.second, record);
        }
    }
    for (const AudioFileChunks::Chunk& chunk : chunks) {
        if (chunk.first != QLatin1String("midi")) {
            continue;
        }
        const std::unique_ptr<ZTMIDIParser> parser = ZTMIDIParser::initWithData(chunk.second);
        if (!parser || parser->tracks().empty()) {
            continue;
        }
        const ZTMIDITrack& track = *parser->tracks().front();
        if (!record.bpm() && track.bpm() != 0) {
            record.setBpm(track.bpm());
        }
        if (!record.key()) {
            record.setKey(track.key());
        }
    }
}

void PlatformMetadataReader::addLoopInformation(const QByteArray& uuidChunk, AudioMetadata& record)
{
    if (!uuidChunk.startsWith(kLoopInformationID) || uuidChunk.size() < 20) {
        return;
    }
    // Pairs of NUL-terminated texts from byte 20 on; the count at byte 16 is
    // only a hint and the texts decide.
    QVariantMap loop;
    qsizetype pos = 20;
    while (pos < uuidChunk.size()) {
        const qsizetype nameEnd = uuidChunk.indexOf('\0', pos);
        if (nameEnd < 0) {
            break;
        }
        qsizetype valueEnd = uuidChunk.indexOf('\0', nameEnd + 1);
        if (valueEnd < 0) {
            valueEnd = uuidChunk.size();
        }
        loop.insert(QString::fromUtf8(uuidChunk.mid(pos, nameEnd - pos)),
                    QString::fromUtf8(uuidChunk.mid(nameEnd + 1, valueEnd - nameEnd - 1)));
        pos = valueEnd + 1;
    }

    if (!record.key() && loop.contains(QStringLiteral("key signature"))) {
        QString key = loop.value(QStringLiteral("key signature")).toString();
        // Loops name B as "Bc"; kept as B, and always has been.
        if (key == QLatin1String("Bc")) {
            key = QStringLiteral("B");
        }
        const QString keyType = loop.value(QStringLiteral("key type")).toString();
        if (loop.contains(QStringLiteral("key type")) && keyType != QLatin1String("both") &&
            keyType != QLatin1String("neither") && keyType != QLatin1String("any")) {
            key = QStringLiteral("%1 %2").arg(key, capitalized(keyType));
        }
        record.setKey(key);
    }
    if (!record.trackGenre() && loop.contains(QStringLiteral("genre"))) {
        record.setTrackGenre(loop.value(QStringLiteral("genre")).toString());
    }
    const double beats = loop.value(QStringLiteral("beat count")).toString().toDouble();
    const double length = record.sourceLength().value_or(0);
    if (!record.bpm() && beats != 0 && length > 0) {
        record.setBpm(int(beats * 60 / length));
    }
}
