#pragma once
// Draws one row of the queue, 42 pixels high: the file's icon, its current
// status on the first line and its progress bar under it. A row whose
// progress is unknown shows a busy bar whose sliding block moves with the
// clock, so a view that repaints often (see QueueListView) animates it.
//
// Main thread; stateless.

#include <QStyledItemDelegate>

class QueueItemDelegate : public QStyledItemDelegate
{
    Q_OBJECT
public:
    static constexpr int kRowHeight = 42;

    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

private:
    // The bar: filled to percent (0 to 100), or busy.
    static void paintProgressBar(QPainter* painter, const QRect& rect, const QPalette& palette,
                                 double percent, bool busy, bool selected);
};
