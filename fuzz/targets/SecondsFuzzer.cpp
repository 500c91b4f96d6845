// The reader of durations typed as "h:m:s", "m:s" or seconds, and its
// agreement with the writer: whatever text it accepts gives a count of
// seconds that the writer shows and the reader takes back unchanged.

#include "SecondsFormatter.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const SecondsFormatter formatter;
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
    QVariant seconds;
    QString error;
    if (!formatter.getObjectValue(&seconds, text, &error)) {
        if (error.isEmpty()) {
            __builtin_trap(); // a refusal always says why
        }
        return 0;
    }
    const std::optional<QString> shown = formatter.stringForObjectValue(seconds);
    if (!shown) {
        // Only the count that means "unknown length" has no text.
        if (seconds.toUInt() != SecondsFormatter::kUnknownSeconds) {
            __builtin_trap();
        }
        return 0;
    }
    // The writer puts the duration in parentheses; the reader takes the
    // text inside them.
    QVariant again;
    if (!formatter.getObjectValue(&again, shown->mid(1, shown->size() - 2), &error) ||
        again.toUInt() != seconds.toUInt()) {
        __builtin_trap();
    }
    return 0;
}
