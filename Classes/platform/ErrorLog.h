#pragma once
// The process-wide error log: the one sink for failure messages of every part
// of the program. This is the log itself, without widgets; the desktop
// program shows it in a window of its own and the command-line program prints
// errorLogAsString().
//
// Threads: logMessage() and clear() may be called from any thread; the list
// is only changed under the instance's lock. Signals are emitted on the
// calling thread, after the lock is released, so observers on other threads
// should connect with a queued connection.

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>
#include <mutex>

struct ErrorLogEntry
{
    QDateTime date; // when the message was logged, in UTC
    QString log;    // the message
};

class ErrorLog : public QObject
{
    Q_OBJECT
public:
    // The shared instance, created on first use (thread-safe) and never
    // destroyed.
    static ErrorLog* shared();

    // Appends a message to the shared instance's log. Callable from any thread.
    static void logMessage(const QString& message);

    // A copy of the entries, in logging order.
    QList<ErrorLogEntry> errorLog() const;
    qsizetype count() const;

    // Every entry as "<date>\t<message>\n"; the empty string for an empty log.
    QString errorLogAsString() const;

    // Empties the log; observers hear errorLogWillChange / errorLogDidChange
    // even when it was empty already.
    void clear();

    // Writes errorLogAsString() to path in UTF-8, atomically. Failures are
    // not reported (the caller has nothing to tell the user that would help).
    void saveToFile(const QString& path) const;

    // Opens a new e-mail to the developers with the log as its body.
    void emailReportToDeveloper() const;
    // The mailto: URL that emailReportToDeveloper() opens.
    QString emailReportURL() const;

    // The text form of a date in the log, UTC: "2026-11-21 12:04:00 +0000".
    static QString textOfDate(const QDateTime& date);

    static const QString kSupportAddress;

Q_SIGNALS:
    void entryInserted(qsizetype index);
    void errorLogWillChange();
    void errorLogDidChange();

private:
    ErrorLog() = default;
    void insertObjectInErrorLogAtIndex(const ErrorLogEntry& entry, qsizetype index);

    // Recursive, so that an observer of clear() on the same thread may read
    // the log from its slot. A standard mutex, so that thread checkers see
    // what it orders.
    mutable std::recursive_mutex m_lock;
    QList<ErrorLogEntry> m_errorLog;
};
