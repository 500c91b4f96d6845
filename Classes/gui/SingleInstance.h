#pragma once
// One Sonabrik per user session. The first program to start listens on a
// local socket in the user's runtime folder ($XDG_RUNTIME_DIR); a later
// `sonabrik FILES...` hands its paths to it there and exits, so files
// opened from the file manager join the queue of the open window.
//
// What crosses the socket: the paths, absolute, in UTF-8, one per line; an
// empty hand-over only raises the window.
//
// Main thread. Failures are quiet: when no instance answers, the caller
// becomes the instance; when listening fails, the program still runs, alone.

#include <QObject>
#include <QStringList>

class QLocalServer;

class SingleInstance : public QObject
{
    Q_OBJECT
public:
    // "$XDG_RUNTIME_DIR/sonabrik.socket", or a per-user name in the
    // temporary folder when the runtime folder is not set.
    static QString defaultServerName();

    explicit SingleInstance(const QString& serverName = defaultServerName(), QObject* parent = nullptr);
    ~SingleInstance() override;

    // Hands the paths (made absolute against the current folder) to a
    // running instance; true when one took them.
    bool handToRunningInstance(const QStringList& paths, int timeoutMilliseconds = 2000);

    // Becomes the running instance. A socket left behind by a program that
    // died is replaced.
    bool listen();

Q_SIGNALS:
    // A later launch handed these paths over (possibly none).
    void pathsReceived(const QStringList& paths);

private:
    const QString m_serverName;
    QLocalServer* m_server = nullptr;
};
