#include "NaturalLanguageDate.h"

#include <QDateTime>
#include <QRegularExpression>
#include <array>

namespace {

constexpr std::array<const char*, 12> kMonthPrefixes{"jan", "feb", "mar", "apr", "may", "jun",
                                                     "jul", "aug", "sep", "oct", "nov", "dec"};

// 1 to 12 for an English month name or its abbreviation, 0 otherwise.
int monthNamed(const QString& word)
{
    const QString lower = word.toLower();
    if (lower.size() < 3) {
        return 0;
    }
    for (size_t i = 0; i < kMonthPrefixes.size(); ++i) {
        if (lower.startsWith(QLatin1String(kMonthPrefixes[i]))) {
            return int(i) + 1;
        }
    }
    return 0;
}

std::optional<QDate> validDate(int year, int month, int day)
{
    const QDate date(year, month, day);
    if (date.isValid()) {
        return date;
    }
    return std::nullopt;
}

} // namespace

std::optional<QDate> NaturalLanguageDate::parse(const QString& text)
{
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty()) {
        return std::nullopt;
    }

    // ISO forms, with or without a time.
    static const QRegularExpression iso(
        QStringLiteral("^(\\d{4})(?:-(\\d{1,2})(?:-(\\d{1,2}))?)?(?:[T ].*)?$"));
    if (const QRegularExpressionMatch m = iso.match(trimmed); m.hasMatch()) {
        const int month = m.captured(2).isEmpty() ? 1 : m.captured(2).toInt();
        const int day = m.captured(3).isEmpty() ? 1 : m.captured(3).toInt();
        return validDate(m.captured(1).toInt(), month, day);
    }

    // Numeric day, month, year: day first, as most of the world writes it,
    // unless the first number cannot be a month day pairing that way.
    static const QRegularExpression numeric(QStringLiteral("^(\\d{1,2})[./](\\d{1,2})[./](\\d{4})$"));
    if (const QRegularExpressionMatch m = numeric.match(trimmed); m.hasMatch()) {
        const int first = m.captured(1).toInt();
        const int second = m.captured(2).toInt();
        const int year = m.captured(3).toInt();
        if (std::optional<QDate> date = validDate(year, second, first)) {
            return date;
        }
        return validDate(year, first, second);
    }

    // Words: an optional weekday, then "6 May 2004", "May 6, 2004" or "May 2004".
    static const QRegularExpression dayMonthYear(
        QStringLiteral("^(?:[A-Za-z]+,?\\s+)?(\\d{1,2})(?:st|nd|rd|th)?\\s+([A-Za-z]+)\\.?,?\\s+(\\d{4})$"));
    if (const QRegularExpressionMatch m = dayMonthYear.match(trimmed); m.hasMatch()) {
        if (const int month = monthNamed(m.captured(2))) {
            return validDate(m.captured(3).toInt(), month, m.captured(1).toInt());
        }
    }
    static const QRegularExpression monthDayYear(
        QStringLiteral("^(?:[A-Za-z]+,?\\s+)?([A-Za-z]+)\\.?\\s+(\\d{1,2})(?:st|nd|rd|th)?,?\\s+(\\d{4})$"));
    if (const QRegularExpressionMatch m = monthDayYear.match(trimmed); m.hasMatch()) {
        if (const int month = monthNamed(m.captured(1))) {
            return validDate(m.captured(3).toInt(), month, m.captured(2).toInt());
        }
    }
    static const QRegularExpression monthYear(QStringLiteral("^([A-Za-z]+)\\.?,?\\s+(\\d{4})$"));
    if (const QRegularExpressionMatch m = monthYear.match(trimmed); m.hasMatch()) {
        if (const int month = monthNamed(m.captured(1))) {
            return validDate(m.captured(2).toInt(), month, 1);
        }
    }
    return std::nullopt;
}

std::optional<int> NaturalLanguageDate::yearOf(const QString& text)
{
    if (const std::optional<QDate> date = parse(text)) {
        return date->year();
    }
    return std::nullopt;
}
