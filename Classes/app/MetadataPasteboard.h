#pragma once
// The copied tag set on the system clipboard, so that metadata copied in one
// Sonabrik window can be pasted into another: the exchange dictionary of
// AudioMetadata as a keyed archive under kPasteboardType, the cover (when
// the set has one) under AlbumArtwork's own types, and the cover's bytes
// under their own image MIME type, which other programs paste as a picture.
//
// The archive is a QDataStream of a format tag, the number of entries and,
// for each, the field's name and its value: texts and integers as
// themselves, the cover as AlbumArtwork's archive. Unknown names, values of
// the wrong kind and truncated bytes are refused as a whole.
//
// Threads: any; nothing here touches the clipboard itself (the desktop
// program hands the QMimeData to QClipboard on the main thread).

#include <QByteArray>
#include <QString>
#include <QVariantMap>
#include <memory>
#include <optional>

class QMimeData;

class MetadataPasteboard
{
public:
    static const QString kPasteboardType; // "application/x-org.sonabrik.metadata"

    static QByteArray archive(const QVariantMap& exchangeDictionary);
    // Nothing for bytes that are not such an archive.
    static std::optional<QVariantMap> fromArchive(const QByteArray& archive);

    // Everything a copy puts on the clipboard. The caller owns the result.
    static std::unique_ptr<QMimeData> mimeData(const QVariantMap& exchangeDictionary);
    // The tag set a clipboard holds, or nothing.
    static std::optional<QVariantMap> fromMimeData(const QMimeData& mimeData);
};
