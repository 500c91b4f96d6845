#pragma once
// The queue list: rows drawn by QueueItemDelegate, several rows selectable,
// no reordering, and the main window's drop area. It takes drops of file
// URLs ("text/uri-list", what file managers and music players send) and
// hands their local paths on in their order; a drop without a single local
// file is refused. While the selection is locked (a run or a parse), clicks
// and keys leave the selection as it is. An empty queue shows how to fill
// it.
//
// Main thread.

#include <QListView>
#include <QTimer>

class QueueListView : public QListView
{
    Q_OBJECT
public:
    explicit QueueListView(QWidget* parent = nullptr);

    void setSelectionLocked(bool locked) { m_selectionLocked = locked; }
    bool selectionLocked() const { return m_selectionLocked; }

    // Repaints the rows about 16 times a second while on (running rows
    // animate their busy bars).
    void setAnimating(bool animating);

    // The local paths of the file URLs in a drop, in order.
    static QStringList localPathsOf(const QMimeData* data);

Q_SIGNALS:
    void filesDropped(const QStringList& paths);
    // The user asked for the context menu over row (-1: below the rows).
    void contextMenuRequestedForRow(int row, const QPoint& globalPosition);

protected:
    QItemSelectionModel::SelectionFlags selectionCommand(const QModelIndex& index,
                                                         const QEvent* event = nullptr) const override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    bool m_selectionLocked = false;
    QTimer m_animation;
};
