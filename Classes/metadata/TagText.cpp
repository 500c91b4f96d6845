#include "TagText.h"

#include <limits>

QString TagText::fromTagLib(const TagLib::String& text)
{
    const std::string utf8 = text.to8Bit(true);
    return QString::fromUtf8(utf8.data(), qsizetype(utf8.size()));
}

TagLib::String TagText::toTagLib(const QString& text)
{
    return TagLib::String(text.toUtf8().toStdString(), TagLib::String::UTF8);
}

namespace {

bool isBlank(QChar c)
{
    return c == QLatin1Char(' ') || c == QLatin1Char('\t') || c == QLatin1Char('\n') ||
           c == QLatin1Char('\r') || c == QLatin1Char('\v') || c == QLatin1Char('\f');
}

qsizetype skipBlanks(QStringView text)
{
    qsizetype i = 0;
    while (i < text.size() && isBlank(text[i])) {
        ++i;
    }
    return i;
}

} // namespace

int TagText::integerValue(QStringView text)
{
    qsizetype i = skipBlanks(text);
    bool negative = false;
    if (i < text.size() && (text[i] == QLatin1Char('+') || text[i] == QLatin1Char('-'))) {
        negative = text[i] == QLatin1Char('-');
        ++i;
    }
    // Accumulated as a wide value and clamped, so that a long run of digits
    // in a damaged tag can neither overflow nor wrap around.
    long long value = 0;
    constexpr long long limit = static_cast<long long>(std::numeric_limits<int>::max()) + 1;
    for (; i < text.size() && text[i] >= QLatin1Char('0') && text[i] <= QLatin1Char('9'); ++i) {
        value = value * 10 + (text[i].unicode() - '0');
        if (value > limit) {
            value = limit;
        }
    }
    if (negative) {
        return int(-value);
    }
    return value >= limit ? std::numeric_limits<int>::max() : int(value);
}

bool TagText::boolValue(QStringView text)
{
    const qsizetype i = skipBlanks(text);
    if (i >= text.size()) {
        return false;
    }
    const QChar c = text[i];
    return c == QLatin1Char('Y') || c == QLatin1Char('y') || c == QLatin1Char('T') || c == QLatin1Char('t') ||
           (c >= QLatin1Char('1') && c <= QLatin1Char('9'));
}

TagText::NumberAndTotal TagText::splitNumberAndTotal(QStringView text)
{
    const qsizetype slash = text.indexOf(QLatin1Char('/'));
    if (slash < 0) {
        return {integerValue(text), std::nullopt};
    }
    return {integerValue(text.left(slash)), integerValue(text.mid(slash + 1))};
}
