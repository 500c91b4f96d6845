#include "SampleRateFormatter.h"

std::optional<QString> SampleRateFormatter::stringForObjectValue(const QVariant& value) const
{
    if (!isNumber(value)) {
        return std::nullopt;
    }
    return QString::asprintf("%0.3f kHz", doubleOf(value) * 0.001);
}
