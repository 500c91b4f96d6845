#pragma once
// Readable Qt values in GoogleTest messages.

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <ostream>
#include <string>

inline void PrintTo(const QString& value, std::ostream* os)
{
    *os << '"' << value.toStdString() << '"';
}

inline void PrintTo(const QStringList& value, std::ostream* os)
{
    *os << '[';
    for (qsizetype i = 0; i < value.size(); ++i)
        *os << (i ? ", \"" : "\"") << value[i].toStdString() << '"';
    *os << ']';
}

inline void PrintTo(const QByteArray& value, std::ostream* os)
{
    *os << "QByteArray(" << value.size() << " bytes: " << value.left(64).toHex(' ').toStdString()
        << (value.size() > 64 ? " ...)" : ")");
}

// A GoogleTest parameter name: ASCII letters and digits kept, the rest underscores.
inline std::string testNameOf(const QString& text)
{
    std::string name;
    for (QChar c : text)
        name += (c.isLetterOrNumber() && c.unicode() < 128) ? char(c.unicode()) : '_';
    return name;
}
