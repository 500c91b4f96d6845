#include "MetadataPasteboard.h"

#include "AlbumArtwork.h"
#include "AudioMetadata.h"

#include <QDataStream>
#include <QIODevice>
#include <QMimeData>

namespace {

// Changes whenever the layout of the archive does.
constexpr quint32 kArchiveFormat = 0x534d4401; // "SMD" 1

// Bounds the work a damaged archive can ask for.
constexpr quint32 kMaxEntries = 64;

} // namespace

const QString MetadataPasteboard::kPasteboardType = QStringLiteral("application/x-org.sonabrik.metadata");

QByteArray MetadataPasteboard::archive(const QVariantMap& exchangeDictionary)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setVersion(QDataStream::Qt_6_4);
    out << kArchiveFormat << quint32(exchangeDictionary.size());
    for (auto entry = exchangeDictionary.cbegin(); entry != exchangeDictionary.cend(); ++entry) {
        out << entry.key();
        const std::optional<AudioMetadata::Field> field = AudioMetadata::fieldNamed(entry.key());
        if (field && AudioMetadata::kindOf(*field) == AudioMetadata::Kind::Artwork) {
            const AlbumArtworkPtr artwork = entry.value().value<AlbumArtworkPtr>();
            out << (artwork ? artwork->archive() : QByteArray());
        } else {
            out << entry.value();
        }
    }
    return bytes;
}

std::optional<QVariantMap> MetadataPasteboard::fromArchive(const QByteArray& archive)
{
    QDataStream in(archive);
    in.setVersion(QDataStream::Qt_6_4);
    quint32 format = 0;
    quint32 count = 0;
    in >> format >> count;
    if (in.status() != QDataStream::Ok || format != kArchiveFormat || count > kMaxEntries) {
        return std::nullopt;
    }
    QVariantMap dictionary;
    for (quint32 i = 0; i < count; ++i) {
        QString name;
        in >> name;
        const std::optional<AudioMetadata::Field> field = AudioMetadata::fieldNamed(name);
        if (in.status() != QDataStream::Ok || !field || *field >= AudioMetadata::Field::sourceKind) {
            return std::nullopt;
        }
        switch (AudioMetadata::kindOf(*field)) {
        case AudioMetadata::Kind::Artwork: {
            QByteArray bytes;
            in >> bytes;
            AlbumArtworkPtr artwork = AlbumArtwork::fromArchive(bytes);
            if (!artwork) {
                return std::nullopt;
            }
            dictionary.insert(name, QVariant::fromValue(artwork));
            break;
        }
        case AudioMetadata::Kind::Integer:
        case AudioMetadata::Kind::Text: {
            QVariant value;
            in >> value;
            const bool isText = AudioMetadata::kindOf(*field) == AudioMetadata::Kind::Text;
            if (value.typeId() != (isText ? QMetaType::QString : QMetaType::Int)) {
                return std::nullopt;
            }
            dictionary.insert(name, value);
            break;
        }
        default:
            return std::nullopt;
        }
    }
    if (in.status() != QDataStream::Ok) {
        return std::nullopt;
    }
    return dictionary;
}

std::unique_ptr<QMimeData> MetadataPasteboard::mimeData(const QVariantMap& exchangeDictionary)
{
    const AlbumArtworkPtr artwork =
        exchangeDictionary.value(AudioMetadata::fieldName(AudioMetadata::Field::albumArtwork))
            .value<AlbumArtworkPtr>();
    std::unique_ptr<QMimeData> mimeData = artwork ? artwork->mimeData() : std::make_unique<QMimeData>();
    mimeData->setData(kPasteboardType, archive(exchangeDictionary));
    if (artwork) {
        // The bytes as they are, under their own type, for programs that
        // take no TIFF.
        const QString type = artwork->mimeType().value_or(QString());
        if (type.startsWith(QLatin1String("image/")) && type != AlbumArtwork::kTIFFPasteboardType) {
            mimeData->setData(type, artwork->data().value_or(QByteArray()));
        }
    }
    return mimeData;
}

std::optional<QVariantMap> MetadataPasteboard::fromMimeData(const QMimeData& mimeData)
{
    if (!mimeData.hasFormat(kPasteboardType)) {
        return std::nullopt;
    }
    return fromArchive(mimeData.data(kPasteboardType));
}
