#include "DesktopNotifier.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QVariantMap>

namespace {
const char* const kService = "org.freedesktop.Notifications";
const char* const kPath = "/org/freedesktop/Notifications";
// Shown until the desktop's own timeout ends it.
constexpr int kDefaultTimeout = -1;
} // namespace

DesktopNotifier::DesktopNotifier(QDBusConnection bus) : m_bus(std::move(bus)) {}

void DesktopNotifier::notify(const QString& summary, const QString& body)
{
    if (!m_bus.isConnected()) {
        return;
    }
    QDBusMessage call =
        QDBusMessage::createMethodCall(QString::fromLatin1(kService), QString::fromLatin1(kPath),
                                       QString::fromLatin1(kService), QStringLiteral("Notify"));
    const QVariantMap hints{{QStringLiteral("desktop-entry"), QStringLiteral("org.sonabrik.Sonabrik")},
                            {QStringLiteral("category"), QStringLiteral("transfer.complete")}};
    call << QStringLiteral("Sonabrik") << *m_lastId << QStringLiteral("org.sonabrik.Sonabrik") << summary
         << body << QStringList() << hints << kDefaultTimeout;
    // Asking the bus to start a service that is not there would make it wait
    // for a time-out on some systems; a missing service only loses the note.
    call.setAutoStartService(false);
    auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [lastId = m_lastId, watcher] {
        const QDBusPendingReply<uint> reply = *watcher;
        if (reply.isValid()) {
            *lastId = reply.value();
        }
        watcher->deleteLater();
    });
}
