#pragma once
// Sample rates in Hz as kilohertz with three decimals: 44100 gives
// "44.100 kHz". Refuses every text.

#include "ValueFormatter.h"

class SampleRateFormatter : public ValueFormatter
{
public:
    // No text for anything that is not a number.
    std::optional<QString> stringForObjectValue(const QVariant& value) const override;
};
