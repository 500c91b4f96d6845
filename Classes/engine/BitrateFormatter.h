#pragma once
// Bit rates in bits per second as kilobits with two decimals: 128000 gives
// "128.00 kbps". Refuses every text.

#include "ValueFormatter.h"

class BitrateFormatter : public ValueFormatter
{
public:
    // No text for anything that is not a number.
    std::optional<QString> stringForObjectValue(const QVariant& value) const override;
};
