#pragma once
// Dates as people and tagging programs write them in DATE fields: ISO dates
// and times ("2004-05-06", "2004-05-06T12:00:00"), year and month
// ("2004-05"), a bare year ("2004"), numeric day/month/year with slashes or
// dots ("06/05/2004", "6.5.2004"), and the English day and month-name forms
// ("6 May 2004", "May 6, 2004", "Thursday, May 6, 2004", "May 2004").
//
// Stateless; any thread. A text that is none of these gives nothing.

#include <QDate>
#include <QString>
#include <optional>

class NaturalLanguageDate
{
public:
    static std::optional<QDate> parse(const QString& text);
    // The year of parse(text), or nothing.
    static std::optional<int> yearOf(const QString& text);
};
