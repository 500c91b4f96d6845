#pragma once
// Durations in seconds as "(m:ss)" or, from an hour on, "(h:m:ss)" with the
// minutes deliberately unpadded: 75 gives "(1:15)", 3725 gives "(1:2:05)".
// Parses "h:m:s", "m:s" or plain seconds back, each part multiplying what
// came before by 60.

#include "ValueFormatter.h"

#include <cstdint>

class SecondsFormatter : public ValueFormatter
{
public:
    // The value is taken as an unsigned 32-bit count of seconds. No text for
    // anything that is not a number, and for 4294967295 (all bits set),
    // which stands for an unknown length.
    std::optional<QString> stringForObjectValue(const QVariant& value) const override;

    // On success *object holds the seconds as a quint32. A text with no
    // number in it, or with a character other than blanks, digits, signs and
    // colons, fails with "Couldn't convert to seconds".
    bool getObjectValue(QVariant* object, const QString& string, QString* errorDescription) const override;

    static constexpr uint32_t kUnknownSeconds = 0xFFFFFFFFu;
};
