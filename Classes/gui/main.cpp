// sonabrik: the desktop program. It makes sure one instance runs per
// session (a second launch hands its files to the first), builds the
// controller, its user interface and the main window, and queues the files
// it was started with. Everything else happens in those classes.

#include "ApplicationController.h"
#include "DesktopNotifier.h"
#include "DesktopUserInterface.h"
#include "Icons.h"
#include "MainWindow.h"
#include "SingleInstance.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QTimer>
#include <QUrl>

namespace {

QStringList parseArguments(const QApplication& app)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Converts music files to tagged MP3 files. Files and folders given are queued; "
                       "when Sonabrik runs already, they join its queue."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("files"), QStringLiteral("Files and folders to queue."),
                                 QStringLiteral("[FILE-OR-FOLDER...]"));
    parser.process(app);
    QStringList paths;
    for (const QString& argument : parser.positionalArguments()) {
        // Desktop files may pass file URLs.
        const QUrl url(argument);
        const QString path = url.isLocalFile() ? url.toLocalFile() : argument;
        paths.append(QDir::cleanPath(QFileInfo(path).absoluteFilePath()));
    }
    return paths;
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Sonabrik"));
    QApplication::setApplicationDisplayName(QStringLiteral("Sonabrik"));
    QApplication::setApplicationVersion(QStringLiteral(SONABRIK_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("org.sonabrik.Sonabrik"));
    QApplication::setQuitOnLastWindowClosed(false); // the main window decides
    const QStringList paths = parseArguments(app);

    SingleInstance instance;
    if (instance.handToRunningInstance(paths)) {
        return 0;
    }
    instance.listen();
    Icons::setUpTheme();
    QApplication::setWindowIcon(Icons::themed(QStringLiteral("org.sonabrik.Sonabrik")));

    DesktopUserInterface ui;
    ApplicationController controller(&ui);
    MainWindow window(controller);
    ui.attach(&window, &controller);
    DesktopNotifier notifier;
    window.setNotifier(
        [&notifier](const QString& summary, const QString& body) { notifier.notify(summary, body); });
    QObject::connect(&window, &MainWindow::terminateApproved, &app, &QApplication::quit,
                     Qt::QueuedConnection);
    QObject::connect(&instance, &SingleInstance::pathsReceived, &window, [&](const QStringList& handed) {
        window.show();
        window.raise();
        window.activateWindow();
        if (!handed.isEmpty()) {
            controller.applicationOpenFiles(handed);
        }
    });

    controller.awakeFromNib();
    window.show();
    QTimer::singleShot(0, &window, [&] {
        controller.applicationDidFinishLaunching();
        if (!paths.isEmpty()) {
            controller.applicationOpenFiles(paths);
        }
    });
    const int status = app.exec();
    window.hide();
    return status;
}
