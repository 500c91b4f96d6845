#pragma once
// What the output-format commands need of the table that shows the
// controller's output formats: its selection, the row a context menu was
// opened on, and ways to show a change. The desktop window implements it;
// tests implement it with plain fields.
//
// Main thread only.

#include <QList>
#include <optional>

class OutputFormatTable
{
public:
    virtual ~OutputFormatTable() = default;

    virtual QList<int> selectedOutputFormatRows() const = 0;
    // The row under the context menu being shown; none when it was opened
    // below the rows.
    virtual std::optional<int> clickedOutputFormatRow() const = 0;
    // The rows were inserted, removed or moved: show the list again.
    virtual void reloadOutputFormatTable() = 0;
    virtual void selectOutputFormatRows(int first, int count) = 0;
    virtual void scrollToOutputFormatRow(int row) = 0;
};
