// The QtGui half of GuiServices: everything the core needs from QtGui, built
// as a module of its own so that only runs that meet a picture load QtGui.

#include "GuiServicesTable.h"

#include <QBuffer>
#include <QDesktopServices>
#include <QImage>
#include <QImageReader>
#include <QImageWriter>

namespace {

// Whether every chunk of a PNG up to its first image data fits in the bytes
// at hand. libpng reserves a chunk's declared length before it reads the
// chunk, so a 200-byte cover whose text chunk claims 1.8 GB had it reserve
// 1.8 GB just to learn the picture's size; such a file is damaged anyway
// and refused here before libpng sees it.
//
// Layout: 8-byte signature, then chunks of a 4-byte big-endian length, a
// 4-byte type, the data and a 4-byte CRC.
bool pngHeaderChunksFit(const QByteArray& data)
{
    static const QByteArray kSignature = QByteArrayLiteral("\x89PNG\r\n\x1a\n");
    if (!data.startsWith(kSignature)) {
        return true; // not a PNG: nothing to check
    }
    qsizetype position = kSignature.size();
    while (position + 8 <= data.size()) {
        const auto* bytes = reinterpret_cast<const uchar*>(data.constData() + position);
        const quint64 length =
            quint64(bytes[0]) << 24 | quint64(bytes[1]) << 16 | quint64(bytes[2]) << 8 | bytes[3];
        const QByteArray type = data.mid(position + 4, 4);
        if (type == "IDAT" || type == "IEND") {
            return true;
        }
        if (length + 12 > quint64(data.size() - position)) {
            return false;
        }
        position += qsizetype(length) + 12;
    }
    return false;
}

bool imageSize(const QByteArray& data, QSize* size)
{
    if (!pngHeaderChunksFit(data)) {
        return false;
    }
    QByteArray bytes = data; // QBuffer wants a non-const array; this shares the bytes
    QBuffer buffer(&bytes);
    if (!buffer.open(QIODevice::ReadOnly)) {
        return false;
    }
    QImageReader reader(&buffer);
    if (!reader.canRead()) {
        return false;
    }
    *size = reader.size();
    if (!size->isValid()) {
        // Formats whose header does not tell the size are decoded.
        const QImage image = reader.read();
        if (image.isNull()) {
            return false;
        }
        *size = image.size();
    }
    return true;
}

bool convertImage(const QByteArray& data, const char* format, int quality, QByteArray* converted)
{
    const QImage image = QImage::fromData(data);
    if (image.isNull()) {
        return false;
    }
    converted->clear();
    QBuffer buffer(converted);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, format);
    writer.setQuality(quality);
    return writer.write(image);
}

bool openUrl(const QUrl& url)
{
    return QDesktopServices::openUrl(url);
}

constexpr GuiServicesTable kTable{kGuiServicesVersion, &imageSize, &convertImage, &openUrl};

} // namespace

extern "C" Q_DECL_EXPORT const GuiServicesTable* sonabrikGuiServices()
{
    return &kTable;
}
