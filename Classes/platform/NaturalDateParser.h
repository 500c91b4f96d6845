#pragma once
// Reads the dates people and tagging programs write into DATE fields and
// container metadata: ISO dates ("2004-05-06", also with a time after them),
// year and month ("2004-05"), a bare year ("2004"), numeric day/month/year
// forms ("06.05.2004", "5/6/2004"; with slashes month first, as in the
// United States), and day or month names in English or in the current
// locale ("6 May 2004", "May 6, 2004", "Thursday, May 6th 2004", "May 2004").
//
// A missing day or month is taken as the first. Pure function: callable from
// any thread, never throws.

#include <QDate>
#include <QString>
#include <optional>

class NaturalDateParser
{
public:
    // The date the text names, or nothing when it names none.
    static std::optional<QDate> parse(QStringView text);
    // The year of parse(text), or nothing.
    static std::optional<int> year(QStringView text);
};
