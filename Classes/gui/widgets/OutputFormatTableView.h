#pragma once
// The table of output formats: one 67 px row per format, each row's cell
// open for editing all the time, and a grip at the row's left edge from
// which the row is dragged to another place in the same table (drops from
// anywhere else are refused). A right click asks for the row's context menu.
//
// Main thread.

#include <QListView>

class OutputFormatTableView : public QListView
{
    Q_OBJECT
public:
    // Width of the grip at the left of every row.
    static constexpr int kGripWidth = 22;

    explicit OutputFormatTableView(QWidget* parent = nullptr);

    // Opens the cells of every row (after a reset, which closes them).
    void openCells();

    // The row a drop at position (in viewport coordinates) goes above; the
    // row count for the space below the last row.
    int dropRowAt(const QPoint& position) const;

Q_SIGNALS:
    // row is -1 below the rows.
    void contextMenuRequestedForRow(int row, const QPoint& globalPosition);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
};
