#pragma once
// Byte counts in binary units with three decimals: 1536 gives "1.500 KB".
// Below 1024 the unit character is the zero character (U+0000), so 512
// bytes give "512.000 ", a zero character and "B"; that has always been so
// and is kept. The largest unit is Y: 1024^9 bytes give "1024.000 YB".
// Refuses every text.

#include "ValueFormatter.h"

class FileSizeFormatter : public ValueFormatter
{
public:
    // No text for anything that is not a number.
    std::optional<QString> stringForObjectValue(const QVariant& value) const override;
};
