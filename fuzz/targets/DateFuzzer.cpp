// The reader of DATE fields in the forms people and tagging programs write.

#include "NaturalLanguageDate.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
    const std::optional<QDate> date = NaturalLanguageDate::parse(text);
    const std::optional<int> year = NaturalLanguageDate::yearOf(text);
    if (date.has_value() != year.has_value() || (date && (!date->isValid() || date->year() != *year)))
        __builtin_trap();
    return 0;
}
