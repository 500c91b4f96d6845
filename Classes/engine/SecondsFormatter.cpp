#include "SecondsFormatter.h"

#include <algorithm>
#include <climits>
#include <cmath>

namespace {

// The seconds a number stands for, wrapped to 32 bits the way a count of
// seconds has always been read (-1 becomes the unknown length).
std::optional<uint32_t> secondsOf(const QVariant& value)
{
    if (value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Float) {
        const double d = value.toDouble();
        if (!std::isfinite(d) || std::fabs(d) >= 9.2e18) {
            return std::nullopt;
        }
        return uint32_t(uint64_t(int64_t(d)));
    }
    if (value.typeId() == QMetaType::ULongLong || value.typeId() == QMetaType::ULong) {
        return uint32_t(value.toULongLong());
    }
    return uint32_t(uint64_t(value.toLongLong()));
}

bool isBlank(QChar c)
{
    return c == QLatin1Char(' ') || c == QLatin1Char('\t') || c == QLatin1Char('\n') ||
           c == QLatin1Char('\r') || c.isSpace();
}

// A scanner over the text that skips blanks before each item, as the
// seconds text has always been read.
class Scanner
{
public:
    explicit Scanner(const QString& text) : m_text(text) {}

    bool isAtEnd()
    {
        skipBlanks();
        return m_position >= m_text.size();
    }

    // An optionally signed decimal integer, clamped to the 32-bit range.
    // Consumes nothing when there is no integer here.
    bool scanInt(int64_t* result)
    {
        skipBlanks();
        qsizetype position = m_position;
        bool negative = false;
        if (position < m_text.size() &&
            (m_text[position] == QLatin1Char('-') || m_text[position] == QLatin1Char('+'))) {
            negative = m_text[position] == QLatin1Char('-');
            ++position;
        }
        const qsizetype firstDigit = position;
        int64_t magnitude = 0;
        while (position < m_text.size() && m_text[position] >= QLatin1Char('0') &&
               m_text[position] <= QLatin1Char('9')) {
            if (magnitude <= int64_t(INT_MAX) + 1) {
                magnitude = magnitude * 10 + (m_text[position].unicode() - '0');
            }
            ++position;
        }
        if (position == firstDigit) {
            return false;
        }
        m_position = position;
        const int64_t signedValue = negative ? -magnitude : magnitude;
        *result = std::clamp<int64_t>(signedValue, INT_MIN, INT_MAX);
        return true;
    }

    bool scanColon()
    {
        skipBlanks();
        if (m_position < m_text.size() && m_text[m_position] == QLatin1Char(':')) {
            ++m_position;
            return true;
        }
        return false;
    }

    qsizetype position() const { return m_position; }

private:
    void skipBlanks()
    {
        while (m_position < m_text.size() && isBlank(m_text[m_position])) {
            ++m_position;
        }
    }

    const QString& m_text;
    qsizetype m_position = 0;
};

} // namespace

std::optional<QString> SecondsFormatter::stringForObjectValue(const QVariant& value) const
{
    if (!isNumber(value)) {
        return std::nullopt;
    }
    const std::optional<uint32_t> seconds = secondsOf(value);
    if (!seconds || *seconds == kUnknownSeconds) {
        return std::nullopt;
    }
    const uint32_t minutes = *seconds / 60;
    const uint32_t rest = *seconds % 60;
    if (*seconds < 3600) {
        return QString::asprintf("(%u:%.2u)", minutes, rest);
    }
    // The minutes stay unpadded past the hour: "(1:2:05)".
    return QString::asprintf("(%u:%u:%.2u)", minutes / 60, minutes % 60, rest);
}

bool SecondsFormatter::getObjectValue(QVariant* object, const QString& string,
                                      QString* errorDescription) const
{
    Scanner scanner(string);
    uint64_t total = 0; // wraps instead of overflowing on absurdly long texts
    bool readAny = false;
    while (!scanner.isAtEnd()) {
        const qsizetype before = scanner.position();
        int64_t part = 0;
        if (scanner.scanInt(&part)) {
            total = total * 60 + uint64_t(part);
            readAny = true;
        }
        scanner.scanColon();
        if (scanner.position() == before) {
            // A character that is neither blank, digit, sign nor colon: the
            // scan cannot pass it, so the text is not a duration.
            readAny = false;
            break;
        }
    }
    if (!readAny) {
        if (errorDescription) {
            *errorDescription = QStringLiteral("Couldn't convert to seconds");
        }
        return false;
    }
    if (object) {
        *object = QVariant::fromValue(quint32(total));
    }
    return true;
}
