#include "ValueFormatter.h"

ValueFormatter::~ValueFormatter() = default;

bool ValueFormatter::getObjectValue(QVariant*, const QString&, QString*) const
{
    return false;
}

bool ValueFormatter::isNumber(const QVariant& value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Float:
    case QMetaType::Double:
        return true;
    default:
        return false;
    }
}

double ValueFormatter::doubleOf(const QVariant& value)
{
    return isNumber(value) ? value.toDouble() : 0.0;
}
