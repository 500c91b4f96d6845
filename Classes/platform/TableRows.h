#pragma once
// Mapping tables are arrays of rows, one row per enumerator, each row naming
// its own enumerator. followEnum() lets a table check that at compile time:
//
//   static_assert(TableRows::followEnum(kRows, &Row::field), "...");

#include <array>
#include <cstddef>

namespace TableRows {

// True when row i names enumerator i, for every row.
template <class Row, std::size_t N, class Enum>
constexpr bool followEnum(const std::array<Row, N>& rows, Enum Row::*key)
{
    for (std::size_t i = 0; i < N; ++i) {
        if (rows[i].*key != Enum(i)) {
            return false;
        }
    }
    return true;
}

} // namespace TableRows
