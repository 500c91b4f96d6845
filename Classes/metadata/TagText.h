#pragma once
// Conversions every tag mapping shares: the text of a tag library string, a
// number read from a tag's text, and the "number/total" split of track and
// disc texts.
//
// Pure functions of their arguments: callable from any thread, never throw.

#include <QString>
#include <optional>
#include <taglib/tstring.h>

class TagText
{
public:
    // UTF-8 in both directions, so that every character survives.
    static QString fromTagLib(const TagLib::String& text);
    static TagLib::String toTagLib(const QString& text);

    // The integer a text starts with: leading blanks skipped, an optional
    // sign, decimal digits; 0 when there are none ("  12abc" is 12, "x" is
    // 0). Values beyond the int range saturate.
    static int integerValue(QStringView text);
    // True when the text begins, after blanks, with Y, y, T, t or a digit 1
    // to 9 ("yes", "True", "1"); false otherwise ("0", "no", "").
    static bool boolValue(QStringView text);

    // A track or disc text split at the first "/": "7/12" gives 7 and 12
    // (both present, also when zero), "7" gives 7 and no total, "/12" gives 0
    // and 12.
    struct NumberAndTotal
    {
        int number = 0;
        std::optional<int> total;
    };
    static NumberAndTotal splitNumberAndTotal(QStringView text);
};
