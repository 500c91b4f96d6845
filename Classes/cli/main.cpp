// sonabrik-cli: the command-line front end. It parses the command and hands
// over to the command's class; the conversion itself is the application
// controller's, as in the desktop program.

#include "ConvertCommand.h"
#include "ConvertOptions.h"
#include "DecoderFactory.h"
#include "ErrorLogWindowController.h"
#include "InfoCommand.h"
#include "NamedException.h"
#include "ZTDecoder.h"

#include <QCoreApplication>
#include <QTextStream>

namespace {

const char* const kUsage =
    "usage: sonabrik-cli COMMAND [options] ARGUMENTS\n"
    "Commands:\n"
    "  convert [options] PATH...   convert files and folders to MP3 (see convert --help)\n"
    "  info [--json] PATH...       print the tags and stream facts Sonabrik reads from files\n"
    "  name SCHEME PATH            print the output name a naming scheme gives a file\n"
    "  decoder PATH...             describe the decoder Sonabrik picks for files and its PCM\n"
    "Options: -h, --help; --version\n";

int usageError(QTextStream& err, const QString& message)
{
    err << "sonabrik-cli: " << message << "\n" << kUsage;
    return ConvertCommand::kUsageError;
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

bool wantsHelp(const QStringList& arguments)
{
    return arguments.contains(QStringLiteral("--help")) || arguments.contains(QStringLiteral("-h"));
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
    if (arguments.isEmpty()) {
        return usageError(err, QStringLiteral("no command given"));
    }
    const QString command = arguments.takeFirst();
    if (command == QLatin1String("--help") || command == QLatin1String("-h")) {
        out << kUsage;
        return 0;
    }
    if (command == QLatin1String("--version")) {
        out << "sonabrik-cli " << SONABRIK_VERSION << "\n";
        return 0;
    }
    if (command == QLatin1String("convert")) {
        if (wantsHelp(arguments)) {
            out << ConvertOptions::help();
            return 0;
        }
        ConvertOptions options;
        QString error;
        if (!ConvertOptions::parse(arguments, options, &error)) {
            err << "sonabrik-cli: " << error << "\n" << ConvertOptions::help();
            return ConvertCommand::kUsageError;
        }
        return ConvertCommand(options, out, err).run();
    }
    if (command == QLatin1String("info")) {
        const bool json = arguments.removeAll(QStringLiteral("--json")) > 0;
        if (arguments.isEmpty() || arguments.first().startsWith(u'-')) {
            return usageError(err, QStringLiteral("info needs files"));
        }
        return InfoCommand::info(arguments, json, out, err);
    }
    if (command == QLatin1String("name")) {
        if (arguments.size() != 2) {
            return usageError(err, QStringLiteral("name needs a scheme and a file"));
        }
        return InfoCommand::name(arguments.at(0), arguments.at(1), out, err);
    }
    if (command == QLatin1String("decoder") && !arguments.isEmpty()) {
        return describeDecoders(arguments, out, err);
    }
    return usageError(err, QStringLiteral("unknown command \"%1\"").arg(command));
}

// Read by LeakSanitizer in the sanitizer build only: allocations kept on
// purpose. oggStreamType leaves the stream state of Vorbis, Speex and Opus
// files uncleared; that has always been so and is kept.
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:oggStreamType\n";
}
