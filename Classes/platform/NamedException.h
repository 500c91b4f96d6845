#pragma once
// Exceptions of the engine. Every failure that is not logged-and-null travels
// as a NamedException: a name that says what kind of failure it is
// ("IllegalInputException", "IOException", "TTAException", or
// kAssertionFailureName for a broken precondition) and a reason, the message
// the user finally reads in the error log. The encode operation catches them
// once, at the top of its main; nothing else is expected to.

#include <QString>
#include <exception>
#include <string>

class NamedException : public std::exception
{
public:
    NamedException(QString name, QString reason);

    const QString& name() const noexcept { return m_name; }
    const QString& reason() const noexcept { return m_reason; }
    // UTF-8 copy of reason(), for what().
    const char* what() const noexcept override { return m_what.c_str(); }

    // Where an assertion failed; empty / 0 for other exceptions.
    const char* file() const noexcept { return m_file; }
    int line() const noexcept { return m_line; }
    const char* function() const noexcept { return m_function; }

    [[noreturn]] static void raise(const QString& name, const QString& reason);
    [[noreturn]] static void raiseAssertion(const QString& reason, const char* file, int line,
                                            const char* function);

private:
    QString m_name;
    QString m_reason;
    std::string m_what;
    const char* m_file = "";
    int m_line = 0;
    const char* m_function = "";
};

inline const QString kAssertionFailureName = QStringLiteral("InternalInconsistencyException");
inline const QString kIllegalInputException = QStringLiteral("IllegalInputException");
inline const QString kIOException = QStringLiteral("IOException");
inline const QString kTTAException = QStringLiteral("TTAException");

// The reason of a failed parameter check: "Invalid parameter not satisfying: <condition>".
QString parameterAssertionReason(const QString& conditionText);

// ZT_REQUIRE(cond, "text"): a parameter check. When cond is false, raises an
// assertion failure whose reason is "Invalid parameter not satisfying: text".
// The text is given literally because it is part of the message users see
// and does not always read like the C++ condition ("NULL != buf").
#define ZT_REQUIRE(cond, conditionText)                                                                     \
    do {                                                                                                    \
        if (!(cond))                                                                                        \
            NamedException::raiseAssertion(parameterAssertionReason(QStringLiteral(conditionText)), __FILE__, \
                                           __LINE__, static_cast<const char*>(__func__));                    \
    } while (0)

// ZT_ASSERT(cond, reason): raises an assertion failure with the given reason
// (a QString, usually a formatted message) when cond is false.
#define ZT_ASSERT(cond, reason)                                                                             \
    do {                                                                                                    \
        if (!(cond))                                                                                        \
            NamedException::raiseAssertion((reason), __FILE__, __LINE__, static_cast<const char*>(__func__)); \
    } while (0)

// Unconditional assertion failure.
#define ZT_FAIL(reason) NamedException::raiseAssertion((reason), __FILE__, __LINE__, static_cast<const char*>(__func__))
