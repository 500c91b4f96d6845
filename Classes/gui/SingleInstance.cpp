#include "SingleInstance.h"

#include <QDir>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
#include <unistd.h>

QString SingleInstance::defaultServerName()
{
    const QByteArray runtime = qgetenv("XDG_RUNTIME_DIR");
    if (!runtime.isEmpty() && QFileInfo(QFile::decodeName(runtime)).isDir()) {
        return QFile::decodeName(runtime) + QStringLiteral("/sonabrik.socket");
    }
    return QDir::tempPath() + QStringLiteral("/sonabrik-%1.socket").arg(getuid());
}

SingleInstance::SingleInstance(const QString& serverName, QObject* parent)
    : QObject(parent), m_serverName(serverName)
{
}

SingleInstance::~SingleInstance() = default;

bool SingleInstance::handToRunningInstance(const QStringList& paths, int timeoutMilliseconds)
{
    QLocalSocket socket;
    socket.connectToServer(m_serverName);
    if (!socket.waitForConnected(timeoutMilliseconds)) {
        return false;
    }
    QByteArray message;
    for (const QString& path : paths) {
        message += QFileInfo(path).absoluteFilePath().toUtf8() + '\n';
    }
    message += '\n'; // the end of the hand-over
    socket.write(message);
    if (!socket.waitForBytesWritten(timeoutMilliseconds)) {
        return false;
    }
    // The instance closes its end once it has read everything.
    socket.waitForDisconnected(timeoutMilliseconds);
    return true;
}

bool SingleInstance::listen()
{
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server->listen(m_serverName)) {
        // Nobody answered on it (handToRunningInstance failed), so the
        // socket is a leftover of a program that is gone.
        QLocalServer::removeServer(m_serverName);
        if (!m_server->listen(m_serverName)) {
            return false;
        }
    }
    connect(m_server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* socket = m_server->nextPendingConnection()) {
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QLocalSocket::readyRead, socket, [this, socket] {
                const QByteArray buffered = socket->peek(socket->bytesAvailable());
                if (!buffered.endsWith("\n\n") && buffered != "\n") {
                    return; // more to come
                }
                const QByteArray message = socket->readAll();
                QStringList paths;
                for (const QByteArray& line : message.split('\n')) {
                    if (!line.isEmpty()) {
                        paths.append(QString::fromUtf8(line));
                    }
                }
                socket->disconnectFromServer();
                Q_EMIT pathsReceived(paths);
            });
        }
    });
    return true;
}
