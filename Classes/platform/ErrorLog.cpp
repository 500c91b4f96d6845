#include "ErrorLog.h"

#include "GuiServices.h"

#include <QCoreApplication>
#include <QSaveFile>
#include <QUrl>

const QString ErrorLog::kSupportAddress = QStringLiteral("support@sonabrik.org");

ErrorLog* ErrorLog::shared()
{
    // A function-local static is created once, under the compiler's own lock.
    // It is deliberately leaked: workers may still log while the program
    // exits, and must never find it destroyed.
    static ErrorLog* instance = new ErrorLog();
    return instance;
}

void ErrorLog::logMessage(const QString& message)
{
    ErrorLog* log = shared();
    qsizetype index;
    {
        std::lock_guard locker(log->m_lock);
        index = log->m_errorLog.size();
        // UTC: local time would have every worker that logs read the time
        // zone through the C library's global state, and the log's text is
        // in UTC anyway.
        log->insertObjectInErrorLogAtIndex(ErrorLogEntry{QDateTime::currentDateTimeUtc(), message}, index);
    }
    Q_EMIT log->entryInserted(index);
}

void ErrorLog::insertObjectInErrorLogAtIndex(const ErrorLogEntry& entry, qsizetype index)
{
    m_errorLog.insert(index, entry);
}

QList<ErrorLogEntry> ErrorLog::errorLog() const
{
    std::lock_guard locker(m_lock);
    return m_errorLog;
}

qsizetype ErrorLog::count() const
{
    std::lock_guard locker(m_lock);
    return m_errorLog.size();
}

QString ErrorLog::textOfDate(const QDateTime& date)
{
    return date.toUTC().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")) + QStringLiteral(" +0000");
}

QString ErrorLog::errorLogAsString() const
{
    QString text;
    for (const ErrorLogEntry& entry : errorLog()) {
        text += QStringLiteral("%1\t%2\n").arg(textOfDate(entry.date), entry.log);
    }
    return text;
}

void ErrorLog::clear()
{
    std::lock_guard locker(m_lock);
    // Announced under the lock so that no message from another thread can
    // slip in between the announcement and the removal.
    Q_EMIT errorLogWillChange();
    m_errorLog.clear();
    Q_EMIT errorLogDidChange();
}

void ErrorLog::saveToFile(const QString& path) const
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        return;
    }
    file.write(errorLogAsString().toUtf8());
    file.commit();
}

QString ErrorLog::emailReportURL() const
{
    const QString version = QCoreApplication::applicationVersion().isEmpty()
                                ? QStringLiteral(SONABRIK_VERSION)
                                : QCoreApplication::applicationVersion();
    const QString subject = QStringLiteral("Sonabrik %1 - Error Report").arg(version);
    const QString body = errorLogAsString();
    // Percent-escape the subject and body as UTF-8; the address and the
    // separators stay as they are.
    return QStringLiteral("mailto:%1?subject=%2&body=%3")
        .arg(kSupportAddress, QString::fromUtf8(QUrl::toPercentEncoding(subject)),
             QString::fromUtf8(QUrl::toPercentEncoding(body)));
}

void ErrorLog::emailReportToDeveloper() const
{
    GuiServices::openUrl(QUrl(emailReportURL()));
}
