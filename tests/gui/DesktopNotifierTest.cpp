// Desktop notifications, carried by the test's own D-Bus daemon to a service the test registers.

#include "DesktopNotifier.h"
#include "DesktopProgram.h"
#include "ScriptedUserInterface.h"

#include <QApplication>
#include <QDBusConnection>
#include <QProcess>
#include <QWidget>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// Records the calls and answers with ids counting up from 42.
class NotificationService : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
public:
    struct Call
    {
        QString application;
        uint replaces = 0;
        QString icon;
        QString summary;
        QString body;
        QVariantMap hints;
    };
    QList<Call> calls;

public Q_SLOTS:
    uint Notify(const QString& application, uint replaces, const QString& icon, const QString& summary,
                const QString& body, const QStringList&, const QVariantMap& hints, int)
    {
        calls.append({application, replaces, icon, summary, body, hints});
        return 41 + uint(calls.size());
    }
};

class DesktopNotifierTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        daemon.start(u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address=1"_s});
        if (!daemon.waitForStarted(5000) || !daemon.waitForReadyRead(5000)) {
            GTEST_SKIP() << "skipped: dbus-daemon could not be started";
        }
        address = QString::fromUtf8(daemon.readLine()).trimmed();
        QDBusConnection service = QDBusConnection::connectToBus(address, u"service"_s);
        ASSERT_TRUE(service.isConnected());
        ASSERT_TRUE(service.registerObject(u"/org/freedesktop/Notifications"_s, &server,
                                           QDBusConnection::ExportAllSlots));
        ASSERT_TRUE(service.registerService(u"org.freedesktop.Notifications"_s));
    }

    void TearDown() override
    {
        QDBusConnection::disconnectFromBus(u"service"_s);
        QDBusConnection::disconnectFromBus(u"client"_s);
        daemon.kill();
        daemon.waitForFinished();
    }

    QDBusConnection client() { return QDBusConnection::connectToBus(address, u"client"_s); }

    QProcess daemon;
    QString address;
    NotificationService server;
};

TEST_F(DesktopNotifierTest, ARunEndingInTheBackgroundIsAnnounced)
{
    struct Program : RunIntoScratch, DesktopProgram<>
    {
    } program;
    DesktopNotifier notifier(client());
    program.window.setNotifier(
        [&notifier](const QString& summary, const QString& body) { notifier.notify(summary, body); });
    QWidget elsewhere; // in front, as when the user went on working elsewhere
    elsewhere.show();
    QApplication::processEvents();
    QApplication::setActiveWindow(&elsewhere);
    ASSERT_FALSE(program.window.isActiveWindow());

    const QString wav = Fixtures::generated("ctl-short.wav");
    ASSERT_TRUE(openFilesAndWait(program.controller, {program.scratch.copyOf(wav, "one.wav"),
                                                      program.scratch.copyOf(wav, "two.wav")}));
    program.controller.encodeFilesMenuItemSelected();
    ASSERT_TRUE(waitUntil([&] { return program.runsFinished == 1; }));
    ASSERT_TRUE(waitUntil([&] { return server.calls.size() == 1; }, 10));
    const NotificationService::Call& call = server.calls.first();
    EXPECT_EQ(call.application, u"Sonabrik"_s);
    EXPECT_EQ(call.icon, u"org.sonabrik.Sonabrik"_s);
    EXPECT_EQ(call.summary, u"Conversion finished"_s);
    EXPECT_EQ(call.body, u"2 files written."_s);
    EXPECT_EQ(call.replaces, 0u);
    EXPECT_EQ(call.hints.value(u"desktop-entry"_s).toString(), u"org.sonabrik.Sonabrik"_s);

    // A later one replaces the first if it is still shown.
    ASSERT_TRUE(waitUntil([&] { return notifier.shownId() == 42; }, 10));
    notifier.notify(u"Again"_s, QString());
    ASSERT_TRUE(waitUntil([&] { return server.calls.size() == 2; }, 10));
    EXPECT_EQ(server.calls.last().replaces, 42u);
}

} // namespace

#include "DesktopNotifierTest.moc"
