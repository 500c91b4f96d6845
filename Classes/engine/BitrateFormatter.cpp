#include "BitrateFormatter.h"

std::optional<QString> BitrateFormatter::stringForObjectValue(const QVariant& value) const
{
    if (!isNumber(value)) {
        return std::nullopt;
    }
    return QString::asprintf("%0.2f kbps", doubleOf(value) * 0.001);
}
