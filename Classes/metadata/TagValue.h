#pragma once
// Conversions shared by the tag mappings: TagLib strings to and from Qt
// strings, and the lenient number readings that tag texts get ("3/12" reads
// as 3, " 7" as 7, "abc" as 0).
//
// Stateless; any thread. Nothing here fails: text that holds no number reads
// as 0 (or false).

#include <QString>
#include <optional>
#include <taglib/tstring.h>

class TagValue
{
public:
    // The library's string as UTF-8, into a QString.
    static QString toQString(const TagLib::String& text);
    // The text handed to the library as UTF-8.
    static TagLib::String toTagLib(const QString& text);

    // Leading blanks skipped, an optional sign, then decimal digits; 0 when
    // there are none. Values beyond the int range saturate.
    static int integerValue(QStringView text);
    // Leading blanks skipped, an optional sign and zeros; true when the next
    // character is Y, y, T, t or a digit 1 to 9.
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
