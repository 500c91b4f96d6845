// The duration reader ("h:m:s", "m:s", seconds) must take back unchanged what the writer shows.

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
        if (seconds.toUInt() != SecondsFormatter::kUnknownSeconds)
            __builtin_trap();
        return 0;
    }
    // The writer adds parentheses; the reader takes what is inside.
    QVariant again;
    if (!formatter.getObjectValue(&again, shown->mid(1, shown->size() - 2), &error) ||
        again.toUInt() != seconds.toUInt()) {
        __builtin_trap();
    }
    return 0;
}
