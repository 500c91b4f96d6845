// Times the main window's intake of a big drop: ten thousand small files in
// one folder are queued through the same road as a drop, with the real
// window, model and view on screen. Prints the time until the queue is
// complete and the longest stall of the event loop while it fills (the
// longest gap between ticks of a 1 ms timer), so that a window that stops
// answering shows up even when the total time looks fine.
//
//   sonabrik-queue-benchmark [FILE-COUNT]
//
// It runs in a private home folder: the user's preferences are not read.

#include "ApplicationController.h"
#include "DesktopUserInterface.h"
#include "MainWindow.h"
#include "OperationsArrayController.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>
#include <cstdio>

namespace {

// A WAVE file of 0.01 s of silence: 44 bytes of header and 1764 of data.
QByteArray smallWave()
{
    const quint32 dataSize = 441 * 4;
    QByteArray bytes("RIFF");
    auto le32 = [&bytes](quint32 value) {
        for (int i = 0; i < 4; ++i) {
            bytes.append(char((value >> (8 * i)) & 0xff));
        }
    };
    auto le16 = [&bytes](quint16 value) {
        bytes.append(char(value & 0xff));
        bytes.append(char(value >> 8));
    };
    le32(36 + dataSize);
    bytes.append("WAVEfmt ");
    le32(16);
    le16(1);
    le16(2);
    le32(44100);
    le32(44100 * 4);
    le16(4);
    le16(16);
    bytes.append("data");
    le32(dataSize);
    bytes.append(QByteArray(int(dataSize), '\0'));
    return bytes;
}

} // namespace

int main(int argc, char** argv)
{
    QTemporaryDir home(QDir::tempPath() + QStringLiteral("/sonabrik-benchmark-XXXXXX"));
    const QByteArray homePath = QFile::encodeName(home.path());
    qputenv("HOME", homePath);
    qputenv("XDG_CONFIG_HOME", homePath + "/.config");
    qputenv("XDG_DATA_HOME", homePath + "/.local/share");
    QApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Sonabrik"));
    const int count = argc > 1 ? std::max(1, atoi(argv[1])) : 10000;

    const QString folder = home.path() + QStringLiteral("/drop");
    QDir().mkpath(folder);
    const QByteArray wave = smallWave();
    for (int i = 0; i < count; ++i) {
        QFile file(folder + QStringLiteral("/track %1.wav").arg(i, 5, 10, QLatin1Char('0')));
        if (!file.open(QIODevice::WriteOnly) || file.write(wave) != wave.size()) {
            std::fprintf(stderr, "cannot write the files in %s\n", qPrintable(folder));
            return 1;
        }
    }

    DesktopUserInterface ui;
    ApplicationController controller(&ui);
    MainWindow window(controller);
    ui.attach(&window, &controller);
    controller.awakeFromNib();
    window.show();
    QApplication::processEvents();

    qint64 longestStall = 0;
    QElapsedTimer sinceTick;
    QTimer ticker;
    ticker.setInterval(1);
    QObject::connect(&ticker, &QTimer::timeout,
                     [&] { longestStall = std::max(longestStall, sinceTick.restart()); });

    bool parsed = false;
    QObject::connect(&controller, &ApplicationController::parsingFinished, [&parsed] { parsed = true; });
    QElapsedTimer total;
    total.start();
    sinceTick.start();
    ticker.start();
    controller.applicationOpenFiles({folder});
    while (!parsed) {
        QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    // Until the view has laid out and painted the full list.
    QApplication::processEvents();
    const qint64 elapsed = total.elapsed();
    ticker.stop();

    const qsizetype queued = controller.operationsController().count();
    std::printf("queued %lld of %d files in %.3f s; longest event-loop stall %lld ms\n", qint64(queued),
                count, elapsed / 1000.0, longestStall);
    return queued == count ? 0 : 1;
}
