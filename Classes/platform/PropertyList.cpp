#include "PropertyList.h"

#include <QDateTime>
#include <QFile>
#include <QXmlStreamReader>

namespace {

class Reader
{
public:
    explicit Reader(const QByteArray& xml) : m_xml(xml) {}

    QVariant readDocument()
    {
        if (!nextElement() || m_xml.name() != QLatin1StringView("plist")) {
            fail(QStringLiteral("no <plist> element"));
            return {};
        }
        if (!nextElement()) {
            fail(QStringLiteral("empty <plist>"));
            return {};
        }
        QVariant root = readValue();
        if (!m_failed && nextElement()) {
            fail(QStringLiteral("more than one root object"));
        }
        return m_failed ? QVariant() : root;
    }

    QString errorString() const { return m_error; }

private:
    // Moves to the next start element inside the current one; false at its
    // end element or at the end of the document.
    bool nextElement()
    {
        while (!m_xml.atEnd()) {
            switch (m_xml.readNext()) {
            case QXmlStreamReader::StartElement:
                return true;
            case QXmlStreamReader::EndElement:
                return false;
            case QXmlStreamReader::Characters:
                if (!m_xml.isWhitespace()) {
                    fail(QStringLiteral("text outside a value"));
                    return false;
                }
                break;
            default:
                break;
            }
        }
        if (m_xml.hasError()) {
            fail(m_xml.errorString());
        }
        return false;
    }

    // Reads the value whose start element is current, up to its end element.
    QVariant readValue()
    {
        if (m_failed) {
            return {};
        }
        const QStringView name = m_xml.name();
        if (name == QLatin1StringView("dict")) {
            return readDictionary();
        }
        if (name == QLatin1StringView("array")) {
            return readArray();
        }
        if (name == QLatin1StringView("true") || name == QLatin1StringView("false")) {
            const bool value = name == QLatin1StringView("true");
            m_xml.skipCurrentElement();
            return value;
        }
        const QString elementName = name.toString();
        const QString text = m_xml.readElementText(QXmlStreamReader::ErrorOnUnexpectedElement);
        if (m_xml.hasError()) {
            fail(m_xml.errorString());
            return {};
        }
        if (elementName == QLatin1StringView("string")) {
            return text;
        }
        if (elementName == QLatin1StringView("integer")) {
            bool ok = false;
            const qlonglong value = text.trimmed().toLongLong(&ok);
            if (!ok) {
                fail(QStringLiteral("bad <integer> \"%1\"").arg(text));
            }
            return value;
        }
        if (elementName == QLatin1StringView("real")) {
            bool ok = false;
            const double value = text.trimmed().toDouble(&ok);
            if (!ok) {
                fail(QStringLiteral("bad <real> \"%1\"").arg(text));
            }
            return value;
        }
        if (elementName == QLatin1StringView("data")) {
            // Writers wrap base64 in lines and indent it.
            QByteArray base64 = text.toLatin1();
            base64.removeIf([](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; });
            const auto decoded =
                QByteArray::fromBase64Encoding(base64, QByteArray::AbortOnBase64DecodingErrors);
            if (!decoded) {
                fail(QStringLiteral("bad <data>"));
            }
            return *decoded;
        }
        if (elementName == QLatin1StringView("date")) {
            QDateTime date = QDateTime::fromString(text.trimmed(), Qt::ISODate);
            if (!date.isValid()) {
                fail(QStringLiteral("bad <date> \"%1\"").arg(text));
            }
            return date.toUTC();
        }
        fail(QStringLiteral("unknown element <%1>").arg(elementName));
        return {};
    }

    QVariant readDictionary()
    {
        QVariantMap dictionary;
        while (!m_failed && nextElement()) {
            if (m_xml.name() != QLatin1StringView("key")) {
                fail(QStringLiteral("<%1> where a <key> belongs").arg(m_xml.name()));
                break;
            }
            const QString key = m_xml.readElementText(QXmlStreamReader::ErrorOnUnexpectedElement);
            if (m_xml.hasError()) {
                fail(m_xml.errorString());
                break;
            }
            if (!nextElement()) {
                fail(QStringLiteral("<key>%1</key> without a value").arg(key));
                break;
            }
            dictionary.insert(key, readValue());
        }
        return dictionary;
    }

    QVariant readArray()
    {
        QVariantList array;
        while (!m_failed && nextElement()) {
            array.append(readValue());
        }
        return array;
    }

    void fail(const QString& reason)
    {
        if (!m_failed) {
            m_failed = true;
            m_error = QStringLiteral("line %1: %2").arg(m_xml.lineNumber()).arg(reason);
        }
    }

    QXmlStreamReader m_xml;
    bool m_failed = false;
    QString m_error;
};

} // namespace

namespace PropertyList {

QVariant fromXml(const QByteArray& xml, QString* errorString)
{
    Reader reader(xml);
    QVariant root = reader.readDocument();
    if (errorString) {
        *errorString = reader.errorString();
    }
    return root;
}

QVariant fromFile(const QString& path, QString* errorString)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (errorString) {
            *errorString = file.errorString();
        }
        return {};
    }
    return fromXml(file.readAll(), errorString);
}

} // namespace PropertyList
