#include "FormatSpecifiers.h"

#include <algorithm>

namespace FormatSpecifiers {

namespace {

Range clamped(const QString& string, Range range)
{
    const qsizetype location = std::clamp<qsizetype>(range.location, 0, string.size());
    const qsizetype length = std::clamp<qsizetype>(range.length, 0, string.size() - location);
    return {location, length};
}

// Walks the groups of range one after the other. For each group that holds
// specifier, edit(openBrace, closeBrace) changes the string and returns the
// change in length, so that the walk goes on after the edited group.
template <class Edit> void forEachGroupWith(QString& string, QStringView specifier, Range range, Edit edit)
{
    range = clamped(string, range);
    qsizetype position = range.location;
    qsizetype end = range.end();
    while (position < end) {
        const QStringView window = QStringView(string).sliced(position, end - position);
        const qsizetype open = window.indexOf(u'{');
        const qsizetype close = window.indexOf(u'}');
        if (open < 0 || close < 0) {
            return;
        }
        if (close < open) {
            position += close + 1;
            continue;
        }
        const qsizetype openAt = position + open;
        const qsizetype closeAt = position + close;
        const QStringView inner = QStringView(string).sliced(openAt + 1, closeAt - openAt - 1);
        if (specifier.isEmpty() || !inner.contains(specifier)) {
            position = closeAt + 1;
            continue;
        }
        const qsizetype growth = edit(openAt, closeAt);
        end += growth;
        position = closeAt + 1 + growth;
    }
}

} // namespace

std::optional<Range> rangeOfDeepestBracketContainingAnyFormatSpecifier(QStringView string,
                                                                       const QStringList& specifiers)
{
    return rangeOfDeepestBracketWhere(string, [&](QStringView group) {
        return std::any_of(specifiers.begin(), specifiers.end(), [&](const QString& specifier) {
            return !specifier.isEmpty() && group.contains(specifier);
        });
    });
}

void replaceFormatSpecifier(QString& string, QStringView specifier, QStringView value, Range range)
{
    forEachGroupWith(string, specifier, range, [&](qsizetype open, qsizetype close) {
        QString inner = string.mid(open + 1, close - open - 1);
        inner.replace(specifier.data(), specifier.size(), value.data(), value.size());
        const qsizetype oldLength = close - open + 1;
        string.replace(open, oldLength, inner);
        return inner.size() - oldLength;
    });
}

void replaceFormatSpecifier(QString& string, QStringView specifier, QStringView value)
{
    replaceFormatSpecifier(string, specifier, value, Range{0, string.size()});
}

void removeFormatSpecifier(QString& string, QStringView specifier, Range range)
{
    forEachGroupWith(string, specifier, range, [&](qsizetype open, qsizetype close) {
        const qsizetype length = close - open + 1;
        string.remove(open, length);
        return -length;
    });
}

void removeFormatSpecifier(QString& string, QStringView specifier)
{
    removeFormatSpecifier(string, specifier, Range{0, string.size()});
}

} // namespace FormatSpecifiers
