#pragma once
// Mapping tables are arrays of rows, one row per enumerator, each row naming
// its own enumerator. followEnum() lets a table check that at compile time:
//
//   static_assert(TableRows::followEnum(kRows, &Row::field), "...");
//
// Rows that name a tag key several ways (read in order, unused names null)
// look them up with firstFound().

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

// What find gives for the first of names that it finds something for (a
// value that tests true); nothing once a null name ends the list.
template <std::size_t N, class Find>
auto firstFound(const std::array<const char*, N>& names, Find find) -> decltype(find(names[0]))
{
    for (const char* name : names) {
        if (name == nullptr) {
            break;
        }
        if (auto found = find(name)) {
            return found;
        }
    }
    return {};
}

} // namespace TableRows
