#include "NamedException.h"

NamedException::NamedException(QString name, QString reason)
    : m_name(std::move(name)), m_reason(std::move(reason)), m_what(m_reason.toStdString())
{
}

void NamedException::raise(const QString& name, const QString& reason)
{
    throw NamedException(name, reason);
}

void NamedException::raiseAssertion(const QString& reason, const char* file, int line, const char* function)
{
    NamedException e(kAssertionFailureName, reason);
    e.m_file = file;
    e.m_line = line;
    e.m_function = function;
    throw e;
}

QString parameterAssertionReason(const QString& conditionText)
{
    return QStringLiteral("Invalid parameter not satisfying: %1").arg(conditionText);
}
