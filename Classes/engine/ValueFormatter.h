#pragma once
// The common shape of the formatters that turn numbers of the metadata and
// stream information into the short texts of the metadata editor, the file
// information views and the naming scheme: value to text, and (for those
// that can) text back to value.
//
// Formatters hold no state: one instance may be shared by any number of
// threads.

#include <QString>
#include <QVariant>
#include <optional>

class ValueFormatter
{
public:
    virtual ~ValueFormatter();

    // The text for value, or no text when the value cannot be shown.
    virtual std::optional<QString> stringForObjectValue(const QVariant& value) const = 0;

    // Parses string into *object. Answers false and leaves *object untouched
    // when the text is refused; errorDescription (when given) then receives
    // the reason, if the formatter has one. This default refuses every text
    // without a reason.
    virtual bool getObjectValue(QVariant* object, const QString& string, QString* errorDescription) const;

    // True for numbers of any width, booleans included (they are numbers in
    // the stored records), false for texts, dates and the rest.
    static bool isNumber(const QVariant& value);
    // value as a double; 0 for anything that is not a number.
    static double doubleOf(const QVariant& value);
};
