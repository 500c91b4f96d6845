#include "TagValue.h"

#include <limits>

QString TagValue::toQString(const TagLib::String& text)
{
    return QString::fromStdString(text.to8Bit(true));
}

TagLib::String TagValue::toTagLib(const QString& text)
{
    return TagLib::String(text.toStdString(), TagLib::String::UTF8);
}

namespace {

// Index of the first character after leading blanks and an optional sign;
// negative receives whether the sign was a minus.
qsizetype skipBlanksAndSign(QStringView text, bool* negative)
{
    qsizetype i = 0;
    while (i < text.size() && text[i].isSpace()) {
        ++i;
    }
    *negative = false;
    if (i < text.size() && (text[i] == u'+' || text[i] == u'-')) {
        *negative = text[i] == u'-';
        ++i;
    }
    return i;
}

} // namespace

int TagValue::integerValue(QStringView text)
{
    bool negative = false;
    qsizetype i = skipBlanksAndSign(text, &negative);
    long long value = 0;
    for (; i < text.size() && text[i] >= u'0' && text[i] <= u'9'; ++i) {
        value = value * 10 + (text[i].unicode() - u'0');
        if (value > std::numeric_limits<int>::max()) {
            return negative ? std::numeric_limits<int>::min() : std::numeric_limits<int>::max();
        }
    }
    return int(negative ? -value : value);
}

bool TagValue::boolValue(QStringView text)
{
    bool negative = false;
    qsizetype i = skipBlanksAndSign(text, &negative);
    while (i < text.size() && text[i] == u'0') {
        ++i;
    }
    if (i >= text.size()) {
        return false;
    }
    const QChar c = text[i];
    return c == u'Y' || c == u'y' || c == u'T' || c == u't' || (c >= u'1' && c <= u'9');
}

TagValue::NumberAndTotal TagValue::splitNumberAndTotal(QStringView text)
{
    const qsizetype slash = text.indexOf(u'/');
    if (slash < 0) {
        return {integerValue(text), std::nullopt};
    }
    return {integerValue(text.left(slash)), integerValue(text.mid(slash + 1))};
}
