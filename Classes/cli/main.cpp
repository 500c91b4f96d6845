// sonabrik-cli: the command-line front end.

#include "DecoderFactory.h"
#include "ErrorLogWindowController.h"
#include "NamedException.h"
#include "ZTDecoder.h"

#include <QCoreApplication>
#include <QTextStream>

namespace {

int usage(QTextStream& err)
{
    err << "usage: sonabrik-cli decoder PATH...\n"
           "  decoder   open each file with the decoder Sonabrik picks for it and describe its PCM\n";
    return 2;
}

int describeDecoders(const QStringList& paths, QTextStream& out, QTextStream& err)
{
    int failures = 0;
    for (const QString& path : paths) {
        try {
            std::unique_ptr<ZTDecoder> decoder = ZTDecoder::decoderWithFilename(path);
            if (!decoder) {
                out << path << ": no decoder\n";
                ++failures;
                continue;
            }
            const AudioStreamBasicDescription format = decoder->decodeFormat();
            out << path << ": " << decoder->className() << ", " << format.mSampleRate << " Hz, "
                << format.mChannelsPerFrame << " channels, " << format.mBitsPerChannel << " bits, "
                << decoder->totalFrames() << " frames\n";
        } catch (const NamedException& e) {
            out << path << ": " << e.reason() << "\n";
            ++failures;
        }
    }
    const QString log = ErrorLogWindowController::sharedController()->errorLogAsString();
    if (!log.isEmpty()) {
        err << log;
    }
    return failures == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Sonabrik"));
    QCoreApplication::setApplicationVersion(QStringLiteral(SONABRIK_VERSION));
    QTextStream out(stdout);
    QTextStream err(stderr);

    QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.isEmpty() || arguments.first() == QLatin1String("--help") || arguments.first() == QLatin1String("-h")) {
        return arguments.isEmpty() ? usage(err) : (usage(out), 0);
    }
    if (arguments.first() == QLatin1String("--version")) {
        out << "sonabrik-cli " << SONABRIK_VERSION << "\n";
        return 0;
    }
    const QString command = arguments.takeFirst();
    if (command == QLatin1String("decoder") && !arguments.isEmpty()) {
        return describeDecoders(arguments, out, err);
    }
    return usage(err);
}
