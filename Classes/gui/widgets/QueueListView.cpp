#include "QueueListView.h"

#include "QueueItemDelegate.h"

#include <QContextMenuEvent>
#include <QDragEnterEvent>
#include <QMimeData>
#include <QPainter>
#include <QUrl>

QueueListView::QueueListView(QWidget* parent) : QListView(parent)
{
    setItemDelegate(new QueueItemDelegate(this));
    setUniformItemSizes(true);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setDragDropMode(QAbstractItemView::DropOnly);
    setDragEnabled(false);
    setAcceptDrops(true);
    setDropIndicatorShown(false);
    setSpacing(0);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    setAlternatingRowColors(true);
    setAccessibleName(tr("Queue"));
    m_animation.setInterval(60);
    connect(&m_animation, &QTimer::timeout, viewport(), qOverload<>(&QWidget::update));
}

void QueueListView::setAnimating(bool animating)
{
    if (animating) {
        m_animation.start();
    } else {
        m_animation.stop();
    }
}

QItemSelectionModel::SelectionFlags QueueListView::selectionCommand(const QModelIndex& index,
                                                                    const QEvent* event) const
{
    if (m_selectionLocked) {
        return QItemSelectionModel::NoUpdate;
    }
    return QListView::selectionCommand(index, event);
}

QStringList QueueListView::localPathsOf(const QMimeData* data)
{
    QStringList paths;
    if (data == nullptr || !data->hasUrls()) {
        return paths;
    }
    for (const QUrl& url : data->urls()) {
        if (url.isLocalFile()) {
            paths.append(url.toLocalFile());
        }
    }
    return paths;
}

void QueueListView::dragEnterEvent(QDragEnterEvent* event)
{
    if (localPathsOf(event->mimeData()).isEmpty()) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
}

void QueueListView::dragMoveEvent(QDragMoveEvent* event)
{
    if (localPathsOf(event->mimeData()).isEmpty()) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
}

void QueueListView::dropEvent(QDropEvent* event)
{
    const QStringList paths = localPathsOf(event->mimeData());
    if (paths.isEmpty()) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
    Q_EMIT filesDropped(paths);
}

void QueueListView::contextMenuEvent(QContextMenuEvent* event)
{
    const QModelIndex index = indexAt(event->pos());
    Q_EMIT contextMenuRequestedForRow(index.isValid() ? index.row() : -1, event->globalPos());
}

void QueueListView::paintEvent(QPaintEvent* event)
{
    QListView::paintEvent(event);
    if (model() != nullptr && model()->rowCount() > 0) {
        return;
    }
    // An empty queue says how to fill it.
    QPainter painter(viewport());
    const QRect area = viewport()->rect();
    QColor color = palette().color(QPalette::WindowText);
    color.setAlphaF(0.55);
    painter.setPen(color);
    QFont title = font();
    title.setPointSizeF(title.pointSizeF() * 1.35);
    painter.setFont(title);
    const QFontMetrics titleMetrics(title);
    const int middle = area.center().y();
    painter.drawText(QRect(area.left(), middle - titleMetrics.height(), area.width(), titleMetrics.height()),
                     Qt::AlignCenter, tr("Drop music files or folders here"));
    painter.setFont(font());
    painter.drawText(QRect(area.left(), middle + 4, area.width(), QFontMetrics(font()).height()),
                     Qt::AlignCenter,
                     tr("or add them with Add Files (Ctrl+O) and Add Folder (Ctrl+Shift+O)"));
}
