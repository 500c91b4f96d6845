// sonabrik-cli: the command-line front end. It parses the command and hands
// over to the command's class; the conversion itself is the application
// controller's, as in the desktop program.

#include "ConvertCommand.h"
#include "ConvertOptions.h"
#include "FFmpegLibrary.h"
#include "InfoCommand.h"

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
    "Options: -h, --help (also after a command); --version;\n"
    "  --verbose (with any command) also shows the libraries' own console messages\n";

const char* const kInfoHelp =
    "usage: sonabrik-cli info [--json] PATH...\n"
    "Prints every field Sonabrik reads from each file (tags, cover, stream facts),\n"
    "one \"name: value\" per line, or with --json one JSON object per file. A cue\n"
    "sheet (or an image with one) gives one per track, with its start and length\n"
    "in samples.\n";
const char* const kNameHelp =
    "usage: sonabrik-cli name SCHEME PATH\n"
    "Prints the output name the naming scheme gives PATH with the first output\n"
    "format of the preferences, for example:\n"
    "  sonabrik-cli name \"{albumArtist}/{albumTitle}/{trackNumber - }{trackTitle}\" song.flac\n";
const char* const kDecoderHelp = "usage: sonabrik-cli decoder PATH...\n"
                                 "Prints the decoder Sonabrik opens for each file and the PCM it delivers.\n";

int usageError(QTextStream& err, const QString& message)
{
    err << "sonabrik-cli: " << message << "\n" << kUsage;
    return ConvertCommand::kUsageError;
}

void printVersion(QTextStream& out)
{
    out << "sonabrik-cli " << SONABRIK_VERSION << "\n";
}

bool wantsHelp(const QStringList& arguments)
{
    return arguments.contains(QStringLiteral("--help")) || arguments.contains(QStringLiteral("-h"));
}

int convert(const QStringList& arguments, QTextStream& out, QTextStream& err)
{
    ConvertOptions options;
    QString error;
    if (!ConvertOptions::parse(arguments, options, &error)) {
        err << "sonabrik-cli: " << error << "\n" << ConvertOptions::help();
        return ConvertCommand::kUsageError;
    }
    return ConvertCommand(options, out, err).run();
}

int info(QStringList arguments, QTextStream& out, QTextStream& err)
{
    const bool json = arguments.removeAll(QStringLiteral("--json")) > 0;
    if (arguments.isEmpty() || arguments.first().startsWith(u'-')) {
        return usageError(err, QStringLiteral("info needs files"));
    }
    return InfoCommand::info(arguments, json, out, err);
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
    // FFmpeg's own messages ("[aac @ 0x...] ...") only on request: what
    // failed is in the error log's lines.
    FFmpegLibrary::setConsoleMessages(arguments.removeAll(QStringLiteral("--verbose")) > 0);
    if (arguments.isEmpty()) {
        return usageError(err, QStringLiteral("no command given"));
    }
    const QString command = arguments.takeFirst();
    const struct
    {
        const char* name;
        QString help;
    } commands[] = {{"convert", ConvertOptions::help()},
                    {"info", QLatin1String(kInfoHelp)},
                    {"name", QLatin1String(kNameHelp)},
                    {"decoder", QLatin1String(kDecoderHelp)}};
    for (const auto& known : commands) {
        if (command != QLatin1String(known.name)) {
            continue;
        }
        if (wantsHelp(arguments)) {
            out << known.help;
            return 0;
        }
        if (arguments.contains(QStringLiteral("--version"))) {
            printVersion(out);
            return 0;
        }
    }
    if (command == QLatin1String("--help") || command == QLatin1String("-h")) {
        out << kUsage;
        return 0;
    }
    if (command == QLatin1String("--version")) {
        printVersion(out);
        return 0;
    }
    if (command == QLatin1String("convert")) {
        return convert(arguments, out, err);
    }
    if (command == QLatin1String("info")) {
        return info(arguments, out, err);
    }
    if (command == QLatin1String("name")) {
        if (arguments.size() != 2) {
            return usageError(err, QStringLiteral("name needs a scheme and a file"));
        }
        return InfoCommand::name(arguments.at(0), arguments.at(1), out, err);
    }
    if (command == QLatin1String("decoder") && !arguments.isEmpty()) {
        return InfoCommand::decoders(arguments, out, err);
    }
    return usageError(err, QStringLiteral("unknown command \"%1\"").arg(command));
}
