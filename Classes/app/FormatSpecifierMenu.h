#pragma once
// The token menu of the naming-scheme fields: one item per token, tagged 1
// to 29. The preferences' five token pop-ups act as menus of commands built
// from it: choosing an item inserts its token into the pop-up's field.
//
// Pure data and lookups: any thread, no failure.

#include <QString>
#include <span>

namespace FormatSpecifierMenu {

struct Item
{
    int tag;
    const char* token; // as written into a scheme, braces included
    const char* title; // the menu item's text
};

// The 29 items, in tag order.
std::span<const Item> items();

// The token of the item with this tag; "" for any other tag.
QString tokenForTag(int tag);

} // namespace FormatSpecifierMenu
