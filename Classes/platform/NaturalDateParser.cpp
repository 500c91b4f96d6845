#include "NaturalDateParser.h"

#include <QLocale>
#include <QRegularExpression>
#include <QStringList>

namespace {

// 1 to 12 for a month name or its three-letter abbreviation, in English or
// in the current locale; 0 for anything else.
int monthNamed(const QString& word)
{
    static const char* const kEnglish[12] = {"january",   "february", "march",    "april",
                                             "may",       "june",     "july",     "august",
                                             "september", "october",  "november", "december"};
    const QString lower = word.toLower().remove(QLatin1Char('.'));
    if (lower.size() < 3) {
        return 0;
    }
    const QLocale locale = QLocale::system();
    for (int m = 1; m <= 12; ++m) {
        const QString english = QString::fromLatin1(kEnglish[m - 1]);
        if (lower == english || lower == english.left(3) || (m == 9 && lower == QLatin1String("sept"))) {
            return m;
        }
        if (lower == locale.monthName(m, QLocale::LongFormat).toLower() ||
            lower == locale.monthName(m, QLocale::ShortFormat).toLower().remove(QLatin1Char('.'))) {
            return m;
        }
    }
    return 0;
}

std::optional<QDate> make(int year, int month, int day)
{
    const QDate date(year, month, day);
    if (!date.isValid()) {
        return std::nullopt;
    }
    return date;
}

// Numeric forms, tried in order; the first that matches the whole text (a
// time may follow an ISO date) decides.
std::optional<QDate> parseNumeric(const QString& text)
{
    static const QRegularExpression iso(
        QStringLiteral("^(\\d{4})(?:[-/.](\\d{1,2})(?:[-/.](\\d{1,2}))?)?(?:[T ]\\d{1,2}:\\d{2}.*)?$"));
    static const QRegularExpression dayFirst(QStringLiteral("^(\\d{1,2})[.-](\\d{1,2})[.-](\\d{4})$"));
    static const QRegularExpression monthFirst(QStringLiteral("^(\\d{1,2})/(\\d{1,2})/(\\d{4})$"));

    QRegularExpressionMatch match = iso.match(text);
    if (match.hasMatch()) {
        const int month = match.captured(2).isEmpty() ? 1 : match.captured(2).toInt();
        const int day = match.captured(3).isEmpty() ? 1 : match.captured(3).toInt();
        return make(match.captured(1).toInt(), month, day);
    }
    match = dayFirst.match(text);
    if (match.hasMatch()) {
        return make(match.captured(3).toInt(), match.captured(2).toInt(), match.captured(1).toInt());
    }
    match = monthFirst.match(text);
    if (match.hasMatch()) {
        return make(match.captured(3).toInt(), match.captured(1).toInt(), match.captured(2).toInt());
    }
    return std::nullopt;
}

// Forms with a month name: the words are read one by one; a month name, a
// four-digit year and a day of one or two digits (with an ordinal suffix)
// may come in any order, weekday names and commas are ignored.
std::optional<QDate> parseWords(const QString& text)
{
    static const QRegularExpression separators(QStringLiteral("[\\s,]+"));
    static const QRegularExpression dayWord(QStringLiteral("^(\\d{1,2})(?:st|nd|rd|th|\\.)?$"),
                                            QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression yearWord(QStringLiteral("^\\d{4}$"));
    int year = 0;
    int month = 0;
    int day = 0;
    const QStringList words = text.split(separators, Qt::SkipEmptyParts);
    for (const QString& word : words) {
        if (yearWord.match(word).hasMatch() && year == 0) {
            year = word.toInt();
            continue;
        }
        const QRegularExpressionMatch dayMatch = dayWord.match(word);
        if (dayMatch.hasMatch() && day == 0) {
            day = dayMatch.captured(1).toInt();
            continue;
        }
        if (const int m = monthNamed(word); m != 0 && month == 0) {
            month = m;
            continue;
        }
        if (word.at(0).isLetter()) {
            continue; // a weekday name or a word like "of"
        }
        return std::nullopt;
    }
    if (year == 0 || month == 0) {
        return std::nullopt;
    }
    return make(year, month, day == 0 ? 1 : day);
}

} // namespace

std::optional<QDate> NaturalDateParser::parse(QStringView text)
{
    const QString trimmed = text.trimmed().toString();
    if (trimmed.isEmpty()) {
        return std::nullopt;
    }
    if (std::optional<QDate> date = parseNumeric(trimmed)) {
        return date;
    }
    return parseWords(trimmed);
}

std::optional<int> NaturalDateParser::year(QStringView text)
{
    if (const std::optional<QDate> date = parse(text)) {
        return date->year();
    }
    return std::nullopt;
}
