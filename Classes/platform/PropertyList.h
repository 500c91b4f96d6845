#pragma once
// Reading XML property lists (the "plist" DOCTYPE, version 1.0) into Qt
// values: <dict> becomes a QVariantMap, <array> a QVariantList, <string> a
// QString, <integer> a qlonglong, <real> a double, <true/> and <false/>
// bools, <data> a QByteArray (base64 decoded) and <date> a QDateTime (UTC).
//
// Used for the defaults compiled into the program; stateless and safe to
// call from any thread. Malformed input never throws: the result is then
// invalid and errorString (when given) says what was wrong and where.

#include <QByteArray>
#include <QString>
#include <QVariant>

namespace PropertyList {

// The root object of an XML property list, or an invalid QVariant.
QVariant fromXml(const QByteArray& xml, QString* errorString = nullptr);

// The same for a file (a Qt resource path such as ":/x.plist" works too).
QVariant fromFile(const QString& path, QString* errorString = nullptr);

} // namespace PropertyList
