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
        daemon.start(QStringLiteral("dbus-daemon"), {QStringLiteral("--session"), QStringLiteral("--nofork"),
                                                     QStringLiteral("--print-address=1")});
        if (!daemon.waitForStarted(5000) || !daemon.waitForReadyRead(5000)) {
            GTEST_SKIP() << "skipped: dbus-daemon could not be started";
        }
        address = QString::fromUtf8(daemon.readLine()).trimmed();
        QDBusConnection service = QDBusConnection::connectToBus(address, QStringLiteral("service"));
        ASSERT_TRUE(service.isConnected());
        ASSERT_TRUE(service.registerObject(QStringLiteral("/org/freedesktop/Notifications"), &server,
                                           QDBusConnection::ExportAllSlots));
        ASSERT_TRUE(service.registerService(QStringLiteral("org.freedesktop.Notifications")));
    }

    void TearDown() override
    {
        QDBusConnection::disconnectFromBus(QStringLiteral("service"));
        QDBusConnection::disconnectFromBus(QStringLiteral("client"));
        daemon.kill();
        daemon.waitForFinished();
    }

    QDBusConnection client() { return QDBusConnection::connectToBus(address, QStringLiteral("client")); }

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
    prefs.set(QStringLiteral("firstRun"), false);
    prefs.set(QStringLiteral("destinationDirectory"), out);

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
    EXPECT_EQ(call.application, QStringLiteral("Sonabrik"));
    EXPECT_EQ(call.icon, QStringLiteral("org.sonabrik.Sonabrik"));
    EXPECT_EQ(call.summary, QStringLiteral("Conversion finished"));
    EXPECT_EQ(call.body, QStringLiteral("2 files written."));
    EXPECT_EQ(call.replaces, 0u);
    EXPECT_EQ(call.hints.value(QStringLiteral("desktop-entry")).toString(),
              QStringLiteral("org.sonabrik.Sonabrik"));

    // A later one replaces the first if it is still shown.
    ASSERT_TRUE(waitUntil([&] { return notifier.shownId() == 42; }, 10));
    notifier.notify(QStringLiteral("Again"), QString());
    ASSERT_TRUE(waitUntil([&] { return server.calls.size() == 2; }, 10));
    EXPECT_EQ(server.calls.last().replaces, 42u);
}

TEST_F(DesktopNotifierTest, NoServiceOnTheBusLosesOnlyTheNote)
{
    QDBusConnection::disconnectFromBus(QStringLiteral("service"));
    DesktopNotifier notifier(client());
    notifier.notify(QStringLiteral("Nobody listens"), QString());
    // The call is answered with an error by the bus; nothing waits for it.
    QApplication::processEvents();
    EXPECT_TRUE(server.calls.isEmpty());
    DesktopNotifier unconnected(QDBusConnection(QStringLiteral("never-connected")));
    unconnected.notify(QStringLiteral("Nowhere"), QString());
}

} // namespace

#include "DesktopNotifierTest.moc"
