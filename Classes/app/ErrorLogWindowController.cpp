#include "ErrorLogWindowController.h"

#include "GuiServices.h"

#include <QCoreApplication>
#include <QSaveFile>
#include <QUrl>

const QString ErrorLogWindowController::kSupportAddress = QStringLiteral("support@sonabrik.org");

ErrorLogWindowController* ErrorLogWindowController::sharedController()
{
    // A function-local static is created once, under the compiler's own lock.
    // It is deliberately leaked: workers may still log while the program
    // exits, and must never find it destroyed.
    static ErrorLogWindowController* shared = new ErrorLogWindowController();
    return shared;
}

void ErrorLogWindowController::logMessage(const QString& message)
{
    ErrorLogWindowController* log = sharedController();
    qsizetype index;
    {
        QMutexLocker locker(&log->m_lock);
        index = log->m_errorLog.size();
        log->insertObjectInErrorLogAtIndex(ErrorLogEntry{QDateTime::currentDateTime(), message}, index);
    }
    Q_EMIT log->entryInserted(index);
}

void ErrorLogWindowController::insertObjectInErrorLogAtIndex(const ErrorLogEntry& entry, qsizetype index)
{
    m_errorLog.insert(index, entry);
}

QList<ErrorLogEntry> ErrorLogWindowController::errorLog() const
{
    QMutexLocker locker(&m_lock);
    return m_errorLog;
}

qsizetype ErrorLogWindowController::count() const
{
    QMutexLocker locker(&m_lock);
    return m_errorLog.size();
}

QString ErrorLogWindowController::textOfDate(const QDateTime& date)
{
    return date.toUTC().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")) + QStringLiteral(" +0000");
}

QString ErrorLogWindowController::errorLogAsString() const
{
    QString text;
    for (const ErrorLogEntry& entry : errorLog()) {
        text += QStringLiteral("%1\t%2\n").arg(textOfDate(entry.date), entry.log);
    }
    return text;
}

void ErrorLogWindowController::clear()
{
    QMutexLocker locker(&m_lock);
    // Announced under the lock so that no message from another thread can
    // slip in between the announcement and the removal.
    Q_EMIT errorLogWillChange();
    m_errorLog.clear();
    Q_EMIT errorLogDidChange();
}

void ErrorLogWindowController::saveToFile(const QString& path) const
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        return;
    }
    file.write(errorLogAsString().toUtf8());
    file.commit();
}

QString ErrorLogWindowController::emailReportURL() const
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

void ErrorLogWindowController::emailReportToDeveloper() const
{
    GuiServices::openUrl(QUrl(emailReportURL()));
}
