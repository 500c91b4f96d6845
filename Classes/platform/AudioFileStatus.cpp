#include "AudioFileStatus.h"

QString statusText(OSStatus status)
{
    const uint32_t code = uint32_t(status);
    QString text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const char c = char((code >> shift) & 0xFF);
        if (c < 0x20 || c > 0x7E) {
            // Small negative numbers would come out as unreadable bytes.
            return QString::number(status);
        }
        text += QLatin1Char(c);
    }
    return text;
}
