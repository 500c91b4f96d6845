// The QtGui half of GuiServices: everything the core needs from QtGui, built
// as a module of its own so that only runs that meet a picture load QtGui.

#include "GuiServicesTable.h"

#include <QBuffer>
#include <QDesktopServices>
#include <QImage>
#include <QImageReader>
#include <QImageWriter>

namespace {

bool imageSize(const QByteArray& data, QSize* size)
{
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
