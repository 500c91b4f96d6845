// A run that ends while the window is in the background is announced as a
// desktop notification: here a real D-Bus daemon of the test's own carries
// the call to a notification service the test registers on it.

#include "DesktopNotifier.h"
#include "ApplicationController.h"
#include "DesktopUserInterface.h"
#include "Encoding.h"
#include "Fixtures.h"
#include "MainWindow.h"
#include "ScriptedUserInterface.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDir>
#include <QProcess>
#include <QWidget>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// The notification service's side of the calls: records them and answers
// with ids counting up from 41.
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
    ScratchDir scratch;
    PreferencesScope prefs;
    const QString out = scratch.file("out");
    QDir().mkpath(out);
    prefs.set(u"firstRun"_s, false);
    prefs.set(u"destinationDirectory"_s, out);

    DesktopUserInterface ui;
    ApplicationController controller(&ui);
    MainWindow window(controller);
    controller.awakeFromNib();
    ui.attach(&window, &controller);
    DesktopNotifier notifier(client());
    window.setNotifier(
        [&notifier](const QString& summary, const QString& body) { notifier.notify(summary, body); });
    // Another window in front, as when the user went on working elsewhere.
    window.show();
    QWidget elsewhere;
    elsewhere.show();
    QApplication::processEvents();
    QApplication::setActiveWindow(&elsewhere);
    ASSERT_FALSE(window.isActiveWindow());

    bool parsed = false;
    int runs = 0;
    QObject::connect(&controller, &ApplicationController::parsingFinished, [&parsed] { parsed = true; });
    QObject::connect(&controller, &ApplicationController::runFinished, [&runs] { ++runs; });
    controller.applicationOpenFiles({scratch.copyOf(Fixtures::generated("ctl-short.wav"), "one.wav"),
                                     scratch.copyOf(Fixtures::generated("ctl-short.wav"), "two.wav")});
    ASSERT_TRUE(waitUntil([&] { return parsed; }));
    controller.encodeFilesMenuItemSelected();
    ASSERT_TRUE(waitUntil([&] { return runs == 1; }));
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

TEST_F(DesktopNotifierTest, NoServiceOnTheBusLosesOnlyTheNote)
{
    QDBusConnection::disconnectFromBus(u"service"_s);
    DesktopNotifier notifier(client());
    notifier.notify(u"Nobody listens"_s, QString());
    // The call is answered with an error by the bus; nothing waits for it.
    QApplication::processEvents();
    EXPECT_TRUE(server.calls.isEmpty());
    DesktopNotifier unconnected(QDBusConnection(u"never-connected"_s));
    unconnected.notify(u"Nowhere"_s, QString());
}

} // namespace

#include "DesktopNotifierTest.moc"

