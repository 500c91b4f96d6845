// Encodes one file with one output format, the way the program does it, for
// timing beside the lame command-line tool (benchmarks/encode-vs-lame.sh).
//
//   sonabrik-encode-driver vbr QUALITY INPUT OUTPUT_FOLDER   (QUALITY 0..10, 8 = V2)
//   sonabrik-encode-driver cbr KBPS INPUT OUTPUT_FOLDER
//   sonabrik-encode-driver idle                              (start up and stop: the idle size)
//
// Preferences are kept in a private folder, so the user's are never touched;
// the defaults apply (tags are written, the file is moved into place).

#include "BasicEncodeDelegate.h"
#include "ErrorLog.h"
#include "MP3EncodeOperation.h"
#include "Preferences.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>
#include <cstdio>

int main(int argc, char** argv)
{
    QTemporaryDir config;
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(config.path()));
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() == 2 && args[1] == QLatin1String("idle")) {
        Preferences::shared();
        BasicEncodeDelegate delegate;
        return 0;
    }
    if (args.size() != 5 || (args[1] != QLatin1String("vbr") && args[1] != QLatin1String("cbr"))) {
        std::fprintf(stderr, "usage: sonabrik-encode-driver vbr|cbr VALUE INPUT OUTPUT_FOLDER\n");
        return 2;
    }
    Preferences::shared().setValue(QStringLiteral("destinationDirectory"), args[4]);

    auto format = std::make_shared<EncoderSettings>();
    format->setEnabled(true);
    format->setExtension(QStringLiteral("mp3"));
    format->setQuality(8);
    if (args[1] == QLatin1String("vbr")) {
        format->setBitrateMethod(EncoderSettings::VBR);
        format->setVbrQuality(args[2].toInt());
    } else {
        format->setBitrateMethod(EncoderSettings::CBR);
        format->setBitrate(args[2].toInt());
    }

    BasicEncodeDelegate delegate;
    MP3EncodeOperation operation(args[3], args[3]);
    operation.setDelegate(&delegate);
    operation.setSettings(format);
    QObject::connect(&operation, &EncodeOperation::isFinishedChanged, &app, &QCoreApplication::quit,
                     Qt::QueuedConnection);
    QTimer::singleShot(0, &operation, [&] { operation.start(); });
    app.exec();

    if (!operation.success()) {
        std::fprintf(stderr, "%s", qPrintable(ErrorLog::shared()->errorLogAsString()));
        return 1;
    }
    std::printf("%s\n", qPrintable(operation.outFilePath()));
    return 0;
}
