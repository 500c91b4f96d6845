#include "FileSizeFormatter.h"

#include <iterator>

namespace {

// Index 0 is the zero character: sizes below 1 KB have always been written
// with it in place of a unit letter.
constexpr char kUnits[] = {'\0', 'K', 'M', 'G', 'T', 'P', 'E', 'Z', 'Y'};
constexpr int kLargestUnit = int(std::size(kUnits)) - 1;

} // namespace

std::optional<QString> FileSizeFormatter::stringForObjectValue(const QVariant& value) const
{
    if (!isNumber(value)) {
        return std::nullopt;
    }
    double size = doubleOf(value);
    int unit = 0;
    if (size >= 1024.0) {
        do {
            size *= 1.0 / 1024.0;
            ++unit;
        } while (size >= 1024.0 && unit < kLargestUnit);
    }
    QString text = QString::asprintf("%0.3f ", size);
    text += QChar(char16_t(kUnits[unit]));
    text += QLatin1Char('B');
    return text;
}
