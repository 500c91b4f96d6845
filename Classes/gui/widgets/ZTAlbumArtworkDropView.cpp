#include "ZTAlbumArtworkDropView.h"

#include "ZTAlbumArtworkDropViewDelegate.h"

#include <QDragEnterEvent>
#include <QDropEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QMimeData>
#include <QPainter>
#include <QVBoxLayout>

namespace {

// Picture types of a drop, the one named first preferred.
QString pictureTypeOf(const QMimeData& data)
{
    if (data.hasFormat(QStringLiteral("image/tiff"))) {
        return QStringLiteral("image/tiff");
    }
    for (const QString& format : data.formats()) {
        if (format.startsWith(QLatin1String("image/"))) {
            return format;
        }
    }
    return {};
}

} // namespace

ZTAlbumArtworkDropView::ZTAlbumArtworkDropView(QWidget* parent) : QFrame(parent), m_dropText(new QLabel(this))
{
    setObjectName(QStringLiteral("albumArtworkDropView"));
    setAcceptDrops(true);
    setFocusPolicy(Qt::StrongFocus);
    setFrameShape(QFrame::StyledPanel);
    setFrameShadow(QFrame::Sunken);
    setBackgroundRole(QPalette::Base);
    setAutoFillBackground(true);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);

    m_dropText->setObjectName(QStringLiteral("albumArtworkDropText"));
    m_dropText->setAlignment(Qt::AlignCenter);
    m_dropText->setWordWrap(true);
    m_dropText->setForegroundRole(QPalette::PlaceholderText);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(12, 12, 12, 12);
    layout->addWidget(m_dropText);
}

QSize ZTAlbumArtworkDropView::sizeHint() const
{
    return {200, 200};
}

void ZTAlbumArtworkDropView::setImage(const QPixmap& image)
{
    m_image = image;
    update();
}

void ZTAlbumArtworkDropView::dragEnterEvent(QDragEnterEvent* event)
{
    const QMimeData* data = event->mimeData();
    if (data->hasUrls() || data->hasText() || !pictureTypeOf(*data).isEmpty()) {
        event->acceptProposedAction();
    }
}

void ZTAlbumArtworkDropView::dragMoveEvent(QDragMoveEvent* event)
{
    event->acceptProposedAction();
}

void ZTAlbumArtworkDropView::dropEvent(QDropEvent* event)
{
    const QMimeData* data = event->mimeData();
    event->acceptProposedAction();
    if (m_delegate == nullptr) {
        return;
    }
    const QList<QUrl> urls = data->urls();
    for (const QUrl& url : urls) {
        if (url.isLocalFile()) {
            m_delegate->recievedFile(this, url.toLocalFile());
            return;
        }
    }
    QUrl address = urls.isEmpty() ? QUrl() : urls.first();
    if (!address.isValid() && data->hasText()) {
        address = QUrl(data->text().trimmed(), QUrl::StrictMode);
    }
    if (address.isValid() && !address.scheme().isEmpty()) {
        m_delegate->recievedURL(this, address);
        return;
    }
    const QString pictureType = pictureTypeOf(*data);
    if (!pictureType.isEmpty()) {
        m_delegate->recievedImageData(this, data->data(pictureType));
    }
}

void ZTAlbumArtworkDropView::keyPressEvent(QKeyEvent* event)
{
    if ((event->key() == Qt::Key_Delete || event->key() == Qt::Key_Backspace) && !m_image.isNull()) {
        setImage(QPixmap());
        Q_EMIT imageDeleted();
        return;
    }
    QFrame::keyPressEvent(event);
}

void ZTAlbumArtworkDropView::paintEvent(QPaintEvent* event)
{
    QFrame::paintEvent(event);
    if (m_image.isNull()) {
        return;
    }
    QPainter painter(this);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const QRect area = contentsRect().adjusted(4, 4, -4, -4);
    QSize size = m_image.deviceIndependentSize().toSize();
    size.scale(area.size(), Qt::KeepAspectRatio);
    const QRect target(area.x() + (area.width() - size.width()) / 2,
                       area.y() + (area.height() - size.height()) / 2, size.width(), size.height());
    painter.drawPixmap(target, m_image);
}
