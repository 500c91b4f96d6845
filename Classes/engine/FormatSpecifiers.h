#pragma once
// The string operations of naming schemes: finding the innermost group
// "{ ... }" that holds a token, and replacing or removing groups by token.
//
// A group is a pair of braces holding a token name and optionally literal
// text ("{trackNumber - }"); groups nest. Token names are found by plain,
// case-sensitive substring search, so "key" is also found inside "Monkey".
//
// Pure functions on the strings they are given: no state, any thread, no
// failure. Unbalanced braces are simply text that never forms a group.

#include <QString>
#include <QStringList>
#include <QStringView>
#include <optional>

namespace FormatSpecifiers {

struct Range
{
    qsizetype location = 0;
    qsizetype length = 0;
    qsizetype end() const { return location + length; }
    bool operator==(const Range&) const = default;
};

// The deepest group, scanning once from left to right: each "{" that
// reaches at least the greatest depth seen so far becomes the candidate
// start; each "}" at the greatest depth, after a candidate start, closes a
// group (start to here, braces included), which becomes the result when
// qualifies(groupText) is true. The last qualifying group wins. A "}" before
// any "{" closes nothing.
//
// So a deeper group without a token hides the shallower groups before it
// that have one; callers that evaluate schemes stop there, leaving the text
// as it is. That is how schemes have always behaved and it is kept.
template <class Qualifies>
std::optional<Range> rangeOfDeepestBracketWhere(QStringView string, Qualifies&& qualifies)
{
    qsizetype depth = 0;
    qsizetype greatest = 0;
    qsizetype start = -1;
    std::optional<Range> result;
    const QChar* chars = string.data();
    for (qsizetype i = 0, n = string.size(); i < n; ++i) {
        const char16_t c = chars[i].unicode();
        if (c == u'{') {
            ++depth;
            if (depth >= greatest) {
                start = i;
                greatest = depth;
            }
        } else if (c == u'}') {
            if (depth == greatest && start >= 0 && i > start) {
                const Range group{start, i - start + 1};
                if (qualifies(string.sliced(group.location, group.length))) {
                    result = group;
                }
            }
            --depth;
        }
    }
    return result;
}

// The deepest group containing any of the token names (see above).
std::optional<Range> rangeOfDeepestBracketContainingAnyFormatSpecifier(QStringView string,
                                                                       const QStringList& specifiers);

// Within range: for each group whose "{" comes before its "}" and whose
// text contains specifier, deletes the two braces and replaces every
// occurrence of specifier in the group's text by value. Groups without the
// specifier are passed over. Ranges beyond the string are cut to it.
void replaceFormatSpecifier(QString& string, QStringView specifier, QStringView value, Range range);
// The same over the whole string.
void replaceFormatSpecifier(QString& string, QStringView specifier, QStringView value);

// Within range: deletes every group, braces included, whose text contains
// specifier.
void removeFormatSpecifier(QString& string, QStringView specifier, Range range);
// The same over the whole string.
void removeFormatSpecifier(QString& string, QStringView specifier);

} // namespace FormatSpecifiers
