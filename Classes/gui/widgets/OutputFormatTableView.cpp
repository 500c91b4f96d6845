#include "OutputFormatTableView.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QDropEvent>

OutputFormatTableView::OutputFormatTableView(QWidget* parent) : QListView(parent)
{
    setUniformItemSizes(true);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setDragEnabled(true);
    setAcceptDrops(true);
    setDropIndicatorShown(true);
    setDragDropMode(QAbstractItemView::DragDrop);
    setDefaultDropAction(Qt::MoveAction);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    setFrameShape(QFrame::NoFrame);
    setAlternatingRowColors(true);

    // Working in a row's cell selects the row, as clicking its grip does, so
    // that the pane's buttons act on the format being edited.
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget*, QWidget* now) {
        if (now == nullptr || model() == nullptr || !viewport()->isAncestorOf(now)) {
            return;
        }
        for (int row = 0; row < model()->rowCount(); ++row) {
            const QModelIndex index = model()->index(row, 0);
            QWidget* cell = indexWidget(index);
            if (cell != nullptr && (cell == now || cell->isAncestorOf(now))) {
                selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
                return;
            }
        }
    });
}

void OutputFormatTableView::openCells()
{
    if (model() == nullptr) {
        return;
    }
    for (int row = 0; row < model()->rowCount(); ++row) {
        const QModelIndex index = model()->index(row, 0);
        if (!isPersistentEditorOpen(index)) {
            openPersistentEditor(index);
        }
    }
}

int OutputFormatTableView::dropRowAt(const QPoint& position) const
{
    const QModelIndex index = indexAt(position);
    if (!index.isValid()) {
        return model() != nullptr ? model()->rowCount() : 0;
    }
    // The lower half of a row is the place above the next one; a drop onto
    // the row itself goes above it.
    const QRect rect = visualRect(index);
    return position.y() >= rect.center().y() + rect.height() / 4 ? index.row() + 1 : index.row();
}

void OutputFormatTableView::dragEnterEvent(QDragEnterEvent* event)
{
    if (event->source() != this) {
        event->ignore();
        return;
    }
    QListView::dragEnterEvent(event);
}

void OutputFormatTableView::dragMoveEvent(QDragMoveEvent* event)
{
    if (event->source() != this) {
        event->ignore();
        return;
    }
    QListView::dragMoveEvent(event);
    event->setDropAction(Qt::MoveAction);
    event->accept();
}

void OutputFormatTableView::dropEvent(QDropEvent* event)
{
    if (event->source() != this || model() == nullptr) {
        event->ignore();
        return;
    }
    const int row = dropRowAt(event->position().toPoint());
    if (model()->dropMimeData(event->mimeData(), Qt::MoveAction, row, 0, QModelIndex())) {
        event->setDropAction(Qt::MoveAction);
        event->accept();
    } else {
        event->ignore();
    }
    setState(NoState);
    viewport()->update();
}

void OutputFormatTableView::contextMenuEvent(QContextMenuEvent* event)
{
    const QModelIndex index = indexAt(event->pos());
    Q_EMIT contextMenuRequestedForRow(index.isValid() ? index.row() : -1, event->globalPos());
}
