#pragma once
// One cover image carried with a track's metadata: the encoded image bytes
// exactly as they were found in a tag or a picture file, never decoded and
// re-encoded on their way to an output, with what tags need (picture type,
// MIME type, description) and what the user sees (pixel size, byte size,
// checksum).
//
// Ownership: artwork is shared. Records, the copy-and-paste dictionary and
// the editor hold it by std::shared_ptr<AlbumArtwork> (AlbumArtworkPtr); one
// cover dropped on several rows is one object. Nothing copies it.
//
// Threads: every accessor may be called from any thread. Each single read or
// write is atomic (an internal lock); there is no lock over several calls, so
// a reader that needs the data and its MIME type together may see an edit
// land in between.
//
// Absent values: text fields and the data are std::optional; an empty text
// or empty data is present. A new artwork has artworkType 3 (front cover) and
// nothing else.
//
// Failures: nothing here throws or logs. Loading gives a null pointer or an
// artwork without data (see albumArtworkFromFile), writing returns false.

#include <QByteArray>
#include <QMetaType>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

class QMimeData;

class AlbumArtwork
{
public:
    // Picture types of ID3v2 APIC frames and FLAC picture blocks; the field
    // holds any number, these are only the common ones.
    static constexpr uint32_t kOtherPicture = 0;
    static constexpr uint32_t kFrontCoverPicture = 3;

    // Bitmap file types saveAsType() writes.
    enum class ImageFileType
    {
        TIFF,
        BMP,
        JPEG,
        PNG,
    };

    // The private clipboard type: a keyed archive of the artwork.
    static const QString kPasteboardType;     // "application/x-org.sonabrik.albumartwork"
    static const QString kTIFFPasteboardType; // "image/tiff"

    AlbumArtwork();
    AlbumArtwork(const AlbumArtwork&) = delete;
    AlbumArtwork& operator=(const AlbumArtwork&) = delete;

    // Reads the file's bytes. A file that cannot be read gives a new artwork
    // without data; bytes that are no image Qt can open give null; otherwise
    // an artwork with the bytes as data and the file name (no folder) as
    // originalFilename.
    static std::shared_ptr<AlbumArtwork> albumArtworkFromFile(const QString& path);
    // The same for a URL; only local file URLs can be read (any other URL is
    // a file that cannot be read). originalFilename is the last component of
    // the URL's path.
    static std::shared_ptr<AlbumArtwork> albumArtworkFromURL(const QUrl& url);

    uint32_t artworkType() const;
    void setArtworkType(uint32_t type);

    // The encoded image, implicitly shared with whoever handed it in.
    std::optional<QByteArray> data() const;
    // Setting the very same byte array that is held already (a copy sharing
    // its bytes) does nothing. Any other data is stored and width, height,
    // dataSize, mimeType and md5 are derived from it: the size from the
    // image's first frame (0 x 0 when it is no image), the MIME type from the
    // first byte ("image/gif", "image/tiff", "image/png", "image/jpeg" or
    // "unknown"). Absent data clears all five.
    void setData(std::optional<QByteArray> data);

    qsizetype dataSize() const;
    int64_t width() const;
    int64_t height() const;
    // Derived when the data is set; tag readers overwrite it afterwards with
    // the tag's own MIME type, which is then kept even when it contradicts
    // the bytes.
    std::optional<QString> mimeType() const;
    void setMimeType(std::optional<QString> mimeType);
    // 32 lower-case hexadecimal digits; absent without data.
    std::optional<QString> md5() const;
    // The picture's description.
    std::optional<QString> comments() const;
    void setComments(std::optional<QString> comments);
    // The file name (no folder) the image was loaded from.
    std::optional<QString> originalFilename() const;
    void setOriginalFilename(std::optional<QString> filename);

    // The MIME type ("" when absent).
    QString description() const;
    // The MD5 text ("" when absent).
    QString stringValue() const;
    // "<width> x <height>".
    QString dimensions() const;

    // Writes the data to path atomically (a temporary file renamed over it).
    // False without data or when the file cannot be written.
    bool writeToFile(const QString& path) const;
    // Re-encodes the image as the given type with the writer's default
    // settings and writes it to path, but only when nothing exists at path:
    // an existing file is never touched. False when the file existed, the
    // data is no image or writing failed; nothing is logged.
    bool saveAsType(ImageFileType type, const QString& path) const;

    // Keyed archive: "artworkType", "data", "originalFilename" and "comments"
    // in a QDataStream. Unarchiving sets them through the setters, so the
    // size, MIME type and checksum are derived again from the data (an
    // archived tag MIME type is not kept). fromArchive gives null for bytes
    // that are not such an archive.
    QByteArray archive() const;
    static std::shared_ptr<AlbumArtwork> fromArchive(const QByteArray& archive);

    // Clipboard. Writable types, in order: kPasteboardType, kTIFFPasteboardType;
    // readable: kPasteboardType only. pasteboardData gives the archive for the
    // private type, the image as TIFF for the TIFF type (empty when the data
    // is no image), and empty bytes for any other type.
    static QStringList writableTypes();
    static QStringList readableTypes();
    QByteArray pasteboardData(const QString& type) const;
    // Every writable type that has bytes, in order. The caller owns the result
    // (QClipboard::setMimeData takes it over).
    std::unique_ptr<QMimeData> mimeData() const;
    // The artwork of the private type, or null when mimeData holds none.
    static std::shared_ptr<AlbumArtwork> fromMimeData(const QMimeData& mimeData);

private:
    mutable std::mutex m_lock;
    uint32_t m_artworkType = kFrontCoverPicture;
    std::optional<QByteArray> m_data;
    int64_t m_width = 0;
    int64_t m_height = 0;
    std::optional<QString> m_mimeType;
    std::optional<QString> m_md5;
    std::optional<QString> m_comments;
    std::optional<QString> m_originalFilename;
};

using AlbumArtworkPtr = std::shared_ptr<AlbumArtwork>;
Q_DECLARE_METATYPE(AlbumArtworkPtr)
