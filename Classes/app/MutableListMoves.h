#pragma once
// Moving rows of an ordered list as the output-format table's drag does it.
//
// moveObjectsFromIndexes() keeps two counters: rows taken from above the
// target and rows inserted at or below it. For each index i of the set, in
// ascending order: if i lies above the target, i is first lowered by the
// rows already taken from above, then the object at i is inserted at the
// target and removed at i; otherwise it is inserted at target + (rows
// already inserted below) and removed at i + 1. The next index is the first
// of the set greater than i as it now stands. The result is exact for one
// moved row, the case the table produces; for several rows above the target
// it follows those steps (a row may then stay where it was), which is why
// the selection after a drop is computed with rowsAboveRow() on the
// original indexes.
//
// Indexes outside the list and a target beyond its end are ignored rather
// than trusted: the indexes come from a drag's payload.

#include <QList>
#include <algorithm>

namespace MutableListMoves {

// How many of the indexes lie above row (are smaller than it).
inline qsizetype rowsAboveRow(qsizetype row, const QList<int>& indexes)
{
    return std::count_if(indexes.begin(), indexes.end(), [row](int index) { return index < row; });
}

template <class T> void moveObjectsFromIndexes(QList<T>& list, QList<int> indexes, qsizetype target)
{
    std::sort(indexes.begin(), indexes.end());
    indexes.erase(std::unique(indexes.begin(), indexes.end()), indexes.end());
    if (target < 0 || target > list.size()) {
        return;
    }
    qsizetype takenFromAbove = 0;
    qsizetype insertedBelow = 0;
    auto next = indexes.begin();
    while (next != indexes.end()) {
        qsizetype i = *next;
        if (i < 0 || i >= list.size()) {
            break;
        }
        if (i < target) {
            i -= takenFromAbove;
            ++takenFromAbove;
            if (i < 0) {
                // Several rows above the target can lower an index below the
                // list's start: the steps are exact for one row only.
                break;
            }
            list.insert(target, list.at(i));
            list.removeAt(i);
        } else {
            list.insert(target + insertedBelow, list.at(i));
            list.removeAt(i + 1);
            ++insertedBelow;
        }
        next = std::upper_bound(indexes.begin(), indexes.end(), int(i));
    }
}

} // namespace MutableListMoves
