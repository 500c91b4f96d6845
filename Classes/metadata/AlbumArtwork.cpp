#include "AlbumArtwork.h"

#include "GuiServices.h"
#include "Locked.h"
#include "TableRows.h"

#include <QCryptographicHash>
#include <QDataStream>
#include <QFile>
#include <QFileInfo>
#include <QMimeData>
#include <QSaveFile>
#include <QSize>
#include <QVariantMap>
#include <array>

namespace {

struct ImageFileTypeRow
{
    AlbumArtwork::ImageFileType type;
    const char* qtFormat; // Qt's name of the format
};

constexpr std::array kImageFileTypes{
    ImageFileTypeRow{AlbumArtwork::ImageFileType::TIFF, "tiff"},
    ImageFileTypeRow{AlbumArtwork::ImageFileType::BMP, "bmp"},
    ImageFileTypeRow{AlbumArtwork::ImageFileType::JPEG, "jpeg"},
    ImageFileTypeRow{AlbumArtwork::ImageFileType::PNG, "png"},
};
static_assert(kImageFileTypes.size() == size_t(AlbumArtwork::ImageFileType::PNG) + 1,
              "one row per image file type");
static_assert(TableRows::followEnum(kImageFileTypes, &ImageFileTypeRow::type),
              "rows in the order of the enum");

// First byte of the data -> MIME type. TIFF starts "II" or "MM" by byte order.
struct MimeTypeRow
{
    unsigned char firstByte;
    const char* mimeType;
};

constexpr std::array kMimeTypesByFirstByte{
    MimeTypeRow{71, "image/gif"},   // "G" of GIF8
    MimeTypeRow{73, "image/tiff"},  // "I" of II*
    MimeTypeRow{77, "image/tiff"},  // "M" of MM*
    MimeTypeRow{137, "image/png"},  // 89 50 4E 47
    MimeTypeRow{255, "image/jpeg"}, // FF D8
};

QString sniffedMimeType(const QByteArray& data)
{
    if (!data.isEmpty()) {
        // Compared unsigned: char is signed here, and 255 must match.
        const auto first = static_cast<unsigned char>(data.front());
        for (const MimeTypeRow& row : kMimeTypesByFirstByte) {
            if (row.firstByte == first) {
                return QString::fromLatin1(row.mimeType);
            }
        }
    }
    return QStringLiteral("unknown");
}

// The setter's own copy: a QString built with fromRawData keeps pointing at
// its caller's buffer, so sharing it would let the caller change our text.
std::optional<QString> ownedCopy(const std::optional<QString>& text)
{
    if (!text) {
        return std::nullopt;
    }
    return QString(text->constData(), text->size());
}

std::optional<QByteArray> readFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || QFileInfo(path).isDir()) {
        return std::nullopt;
    }
    QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError) {
        return std::nullopt;
    }
    return bytes;
}

std::shared_ptr<AlbumArtwork> artworkFromBytes(const std::optional<QByteArray>& bytes,
                                               const QString& filename)
{
    auto artwork = std::make_shared<AlbumArtwork>();
    if (!bytes) {
        return artwork;
    }
    if (!GuiServices::imageSize(*bytes)) {
        return nullptr;
    }
    artwork->setData(*bytes);
    artwork->setOriginalFilename(filename);
    return artwork;
}

const QByteArray kArchiveMagic = QByteArrayLiteral("org.sonabrik.albumartwork");
constexpr quint32 kArchiveVersion = 1;
const QString kArtworkTypeKey = QStringLiteral("artworkType");
const QString kDataKey = QStringLiteral("data");
const QString kOriginalFilenameKey = QStringLiteral("originalFilename");
const QString kCommentsKey = QStringLiteral("comments");

} // namespace

const QString AlbumArtwork::kPasteboardType = QStringLiteral("application/x-org.sonabrik.albumartwork");
const QString AlbumArtwork::kTIFFPasteboardType = QStringLiteral("image/tiff");

AlbumArtwork::AlbumArtwork() = default;

std::shared_ptr<AlbumArtwork> AlbumArtwork::albumArtworkFromFile(const QString& path)
{
    return artworkFromBytes(readFile(path), QFileInfo(path).fileName());
}

std::shared_ptr<AlbumArtwork> AlbumArtwork::albumArtworkFromURL(const QUrl& url)
{
    const std::optional<QByteArray> bytes = url.isLocalFile() ? readFile(url.toLocalFile()) : std::nullopt;
    return artworkFromBytes(bytes, QFileInfo(url.path()).fileName());
}

uint32_t AlbumArtwork::artworkType() const
{
    return Locked::read(m_lock, m_artworkType);
}

void AlbumArtwork::setArtworkType(uint32_t type)
{
    Locked::write(m_lock, m_artworkType, type);
}

std::optional<QByteArray> AlbumArtwork::data() const
{
    return Locked::read(m_lock, m_data);
}

void AlbumArtwork::setData(std::optional<QByteArray> data)
{
    {
        std::lock_guard lock(m_lock);
        if (m_data && data && m_data->isSharedWith(*data)) {
            return;
        }
    }
    // Derived outside the lock: probing a large image takes a while, and
    // readers of other fields need not wait for it.
    QSize size(0, 0);
    std::optional<QString> mimeType;
    std::optional<QString> md5;
    if (data) {
        size = GuiServices::imageSize(*data).value_or(QSize(0, 0));
        mimeType = sniffedMimeType(*data);
        md5 = QString::fromLatin1(QCryptographicHash::hash(*data, QCryptographicHash::Md5).toHex());
    }
    std::lock_guard lock(m_lock);
    m_data = std::move(data);
    m_width = size.width();
    m_height = size.height();
    m_mimeType = std::move(mimeType);
    m_md5 = std::move(md5);
}

qsizetype AlbumArtwork::dataSize() const
{
    std::lock_guard lock(m_lock);
    return m_data ? m_data->size() : 0;
}

int64_t AlbumArtwork::width() const
{
    return Locked::read(m_lock, m_width);
}

int64_t AlbumArtwork::height() const
{
    return Locked::read(m_lock, m_height);
}

std::optional<QString> AlbumArtwork::mimeType() const
{
    return Locked::read(m_lock, m_mimeType);
}

void AlbumArtwork::setMimeType(std::optional<QString> mimeType)
{
    Locked::write(m_lock, m_mimeType, ownedCopy(mimeType));
}

std::optional<QString> AlbumArtwork::md5() const
{
    return Locked::read(m_lock, m_md5);
}

std::optional<QString> AlbumArtwork::comments() const
{
    return Locked::read(m_lock, m_comments);
}

void AlbumArtwork::setComments(std::optional<QString> comments)
{
    Locked::write(m_lock, m_comments, ownedCopy(comments));
}

std::optional<QString> AlbumArtwork::originalFilename() const
{
    return Locked::read(m_lock, m_originalFilename);
}

void AlbumArtwork::setOriginalFilename(std::optional<QString> filename)
{
    Locked::write(m_lock, m_originalFilename, ownedCopy(filename));
}

QString AlbumArtwork::description() const
{
    return mimeType().value_or(QString());
}

QString AlbumArtwork::stringValue() const
{
    return md5().value_or(QString());
}

QString AlbumArtwork::dimensions() const
{
    std::lock_guard lock(m_lock);
    return QStringLiteral("%1 x %2").arg(m_width).arg(m_height);
}

bool AlbumArtwork::writeToFile(const QString& path) const
{
    const std::optional<QByteArray> bytes = data();
    if (!bytes) {
        return false;
    }
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(*bytes) == bytes->size() && file.commit();
}

bool AlbumArtwork::saveAsType(ImageFileType type, const QString& path) const
{
    const std::optional<QByteArray> converted =
        GuiServices::convertImage(data().value_or(QByteArray()), kImageFileTypes[size_t(type)].qtFormat);
    if (!converted) {
        return false;
    }
    // NewOnly makes "never overwrite" hold even against a file that appears
    // between a check and the write.
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly)) {
        return false;
    }
    if (file.write(*converted) != converted->size() || !file.flush()) {
        file.remove(); // ours, created just now: no half-written picture stays
        return false;
    }
    return true;
}

QByteArray AlbumArtwork::archive() const
{
    QVariantMap map;
    map.insert(kArtworkTypeKey, artworkType());
    if (const auto bytes = data()) {
        map.insert(kDataKey, *bytes);
    }
    if (const auto filename = originalFilename()) {
        map.insert(kOriginalFilenameKey, *filename);
    }
    if (const auto text = comments()) {
        map.insert(kCommentsKey, *text);
    }
    QByteArray archive;
    QDataStream out(&archive, QIODevice::WriteOnly);
    out.setVersion(QDataStream::Qt_6_4);
    out << kArchiveMagic << kArchiveVersion << map;
    return archive;
}

std::shared_ptr<AlbumArtwork> AlbumArtwork::fromArchive(const QByteArray& archive)
{
    QDataStream in(archive);
    in.setVersion(QDataStream::Qt_6_4);
    QByteArray magic;
    quint32 version = 0;
    in >> magic >> version;
    if (in.status() != QDataStream::Ok || magic != kArchiveMagic || version != kArchiveVersion) {
        return nullptr;
    }
    QVariantMap map;
    in >> map;
    if (in.status() != QDataStream::Ok) {
        return nullptr;
    }

    auto artwork = std::make_shared<AlbumArtwork>();
    bool typeIsNumber = false;
    const uint type = map.value(kArtworkTypeKey).toUInt(&typeIsNumber);
    if (!typeIsNumber) {
        return nullptr;
    }
    artwork->setArtworkType(type);
    if (map.contains(kDataKey)) {
        artwork->setData(map.value(kDataKey).toByteArray());
    }
    if (map.contains(kOriginalFilenameKey)) {
        artwork->setOriginalFilename(map.value(kOriginalFilenameKey).toString());
    }
    if (map.contains(kCommentsKey)) {
        artwork->setComments(map.value(kCommentsKey).toString());
    }
    return artwork;
}

QStringList AlbumArtwork::writableTypes()
{
    return {kPasteboardType, kTIFFPasteboardType};
}

QStringList AlbumArtwork::readableTypes()
{
    return {kPasteboardType};
}

QByteArray AlbumArtwork::pasteboardData(const QString& type) const
{
    if (type == kPasteboardType) {
        return archive();
    }
    if (type == kTIFFPasteboardType) {
        return GuiServices::convertImage(data().value_or(QByteArray()), "tiff").value_or(QByteArray());
    }
    return {};
}

std::unique_ptr<QMimeData> AlbumArtwork::mimeData() const
{
    auto mimeData = std::make_unique<QMimeData>();
    for (const QString& type : writableTypes()) {
        const QByteArray bytes = pasteboardData(type);
        if (!bytes.isEmpty()) {
            mimeData->setData(type, bytes);
        }
    }
    return mimeData;
}

std::shared_ptr<AlbumArtwork> AlbumArtwork::fromMimeData(const QMimeData& mimeData)
{
    if (!mimeData.hasFormat(kPasteboardType)) {
        return nullptr;
    }
    return fromArchive(mimeData.data(kPasteboardType));
}
