#pragma once
// Desktop notifications through the freedesktop.org notification service
// (org.freedesktop.Notifications on the session bus), which every Linux
// desktop provides. The call is sent without waiting for an answer: a
// session without the service (or without a session bus) just shows
// nothing, and the program never blocks on it.
//
// Main thread.

#include <QDBusConnection>
#include <QString>
#include <memory>

class DesktopNotifier
{
public:
    // bus: the session bus unless given (tests pass a private one).
    explicit DesktopNotifier(QDBusConnection bus = QDBusConnection::sessionBus());

    // Shows summary and body with the program's icon; a second notification
    // replaces the one still shown.
    void notify(const QString& summary, const QString& body);

    // The service's id of the last notification it answered for; 0 before
    // any answer.
    uint shownId() const { return *m_lastId; }

private:
    QDBusConnection m_bus;
    // Shared with the answer of a call still under way.
    std::shared_ptr<uint> m_lastId = std::make_shared<uint>(0);
};
