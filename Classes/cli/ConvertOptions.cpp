#include "ConvertOptions.h"

#include "EncoderSettings.h"
#include "Preferences.h"

#include <QDir>
#include <QFileInfo>
#include <algorithm>
#include <array>

namespace {

struct ModeRow
{
    const char* name;
    qint32 channelMode;
};
constexpr std::array<ModeRow, 4> kModes{{{"auto", 0}, {"stereo", 1}, {"joint", 2}, {"mono", 3}}};

struct MethodRow
{
    const char* name;
    qint32 bitrateMethod;
};
constexpr std::array<MethodRow, 3> kMethods{
    {{"cbr", EncoderSettings::CBR}, {"abr", EncoderSettings::ABR}, {"vbr", EncoderSettings::VBR}}};

constexpr std::array<int, 9> kSampleRates{8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000};

// "--id3v2-version": 3 and 4 are the tag versions, written in the encodings
// the preference's values 2 (ID3v2.3, UTF-16) and 1 (ID3v2.4, UTF-8) stand for.
struct ID3v2Row
{
    int version;
    int preferenceValue;
};
constexpr std::array<ID3v2Row, 2> kID3v2Versions{{{3, 2}, {4, 1}}};

// "--replaygain": the names of the preference "replayGain"'s values.
struct ReplayGainRow
{
    const char* name;
    int preferenceValue;
};
constexpr std::array<ReplayGainRow, 3> kReplayGainModes{{{"off", 0}, {"track", 1}, {"album", 2}}};

bool toInt(const QString& text, int low, int high, int* value)
{
    bool ok = false;
    const int v = text.toInt(&ok);
    if (!ok || v < low || v > high) {
        return false;
    }
    *value = v;
    return true;
}

void override(const char* key, const QVariant& value)
{
    Preferences::shared().setOverride(QString::fromLatin1(key), value);
}

} // namespace

bool ConvertOptions::applyFormat(const QString& format, EncoderSettings& settings, QString* error)
{
    const QStringList parts = format.split(u',');
    const QString head = parts.first().trimmed().toLower();
    const qsizetype colon = head.indexOf(u':');
    const QString method = colon < 0 ? head : head.left(colon);
    const QString amount = colon < 0 ? QString() : head.mid(colon + 1);

    const MethodRow* methodRow = nullptr;
    for (const MethodRow& row : kMethods) {
        if (method == QLatin1String(row.name)) {
            methodRow = &row;
        }
    }
    int value = 0;
    if (!methodRow) {
        *error = QStringLiteral("unknown format \"%1\": use vbr:N, cbr:KBPS or abr:KBPS").arg(format);
        return false;
    }
    if (methodRow->bitrateMethod == EncoderSettings::VBR) {
        if (!toInt(amount, 0, 9, &value)) {
            *error = QStringLiteral("format \"%1\": the VBR quality is 0 (best) to 9").arg(format);
            return false;
        }
        settings.setVbrQuality(10 - value);
    } else {
        if (!toInt(amount, 8, 320, &value)) {
            *error = QStringLiteral("format \"%1\": the bit rate is 8 to 320 kbps").arg(format);
            return false;
        }
        settings.setBitrate(value);
    }
    settings.setBitrateMethod(methodRow->bitrateMethod);

    for (qsizetype i = 1; i < parts.size(); ++i) {
        const QString option = parts.at(i).trimmed().toLower();
        const QString name = option.section(u'=', 0, 0);
        const QString text = option.section(u'=', 1);
        if (name == QLatin1String("q") && toInt(text, 0, 9, &value)) {
            settings.setQuality(10 - value);
        } else if (name == QLatin1String("rate") && toInt(text, 8000, 48000, &value) &&
                   std::find(kSampleRates.begin(), kSampleRates.end(), value) != kSampleRates.end()) {
            settings.setSampleRate(value);
        } else if (name == QLatin1String("mode") && !text.isEmpty()) {
            const ModeRow* mode = nullptr;
            for (const ModeRow& row : kModes) {
                if (text == QLatin1String(row.name)) {
                    mode = &row;
                }
            }
            if (!mode) {
                *error = QStringLiteral("format \"%1\": mode is auto, stereo, joint or mono").arg(format);
                return false;
            }
            settings.setChannelMode(mode->channelMode);
        } else {
            *error = QStringLiteral("format \"%1\": \"%2\" is not q=0..9, rate=HZ (8000 to 48000, one of "
                                    "LAME's rates) or mode=auto|stereo|joint|mono")
                         .arg(format, option);
            return false;
        }
    }
    return true;
}

bool ConvertOptions::parse(const QStringList& arguments, ConvertOptions& options, QString* error)
{
    auto takeValue = [&](qsizetype& i, const QString& option, QString* value) {
        const QString argument = arguments.at(i);
        const qsizetype equals = argument.indexOf(u'=');
        if (argument.startsWith(QLatin1String("--")) && equals > 0) {
            *value = argument.mid(equals + 1);
            return true;
        }
        if (i + 1 >= arguments.size()) {
            *error = QStringLiteral("option %1 needs a value").arg(option);
            return false;
        }
        *value = arguments.at(++i);
        return true;
    };
    bool onlyPaths = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString argument = arguments.at(i);
        const QString name =
            argument.startsWith(QLatin1String("--")) ? argument.section(u'=', 0, 0) : argument;
        QString value;
        if (onlyPaths || !argument.startsWith(u'-') || argument == QLatin1String("-")) {
            // Absolute, so that the queue, the kept folder structure and the
            // report name the files the same way whatever the working folder.
            options.paths.append(QDir::cleanPath(QFileInfo(argument).absoluteFilePath()));
        } else if (argument == QLatin1String("--")) {
            onlyPaths = true;
        } else if (name == QLatin1String("-o") || name == QLatin1String("--output")) {
            if (!takeValue(i, name, &value)) {
                return false;
            }
            options.outputFolder = QDir::cleanPath(QFileInfo(value).absoluteFilePath());
        } else if (name == QLatin1String("--same-folder")) {
            options.sameFolder = true;
        } else if (name == QLatin1String("--keep-structure")) {
            options.keepStructure = true;
        } else if (name == QLatin1String("-n") || name == QLatin1String("--naming")) {
            if (!takeValue(i, name, &value)) {
                return false;
            }
            options.namingScheme = value;
        } else if (name == QLatin1String("-f") || name == QLatin1String("--format")) {
            if (!takeValue(i, name, &value)) {
                return false;
            }
            EncoderSettings probe;
            if (!applyFormat(value, probe, error)) {
                return false;
            }
            options.formats.append(value);
        } else if (name == QLatin1String("-j") || name == QLatin1String("--jobs")) {
            int jobs = 0;
            if (!takeValue(i, name, &value)) {
                return false;
            }
            if (!toInt(value, 1, 64, &jobs)) {
                *error = QStringLiteral("--jobs takes a number from 1 to 64");
                return false;
            }
            options.jobs = jobs;
        } else if (name == QLatin1String("--overwrite")) {
            if (!takeValue(i, name, &value)) {
                return false;
            }
            if (!QStringList{QStringLiteral("ask"), QStringLiteral("replace"), QStringLiteral("rename"),
                             QStringLiteral("skip")}
                     .contains(value)) {
                *error = QStringLiteral("--overwrite takes ask, replace, rename or skip");
                return false;
            }
            options.overwrite = value;
        } else if (name == QLatin1String("--delete-original")) {
            options.deleteOriginal = true;
        } else if (name == QLatin1String("--downmix")) {
            options.downmix = true;
        } else if (name == QLatin1String("--no-split")) {
            options.noSplit = true;
        } else if (name == QLatin1String("--update-metadata")) {
            options.updateMetadata = true;
        } else if (name == QLatin1String("--id3v2-version")) {
            int version = 0;
            if (!takeValue(i, name, &value)) {
                return false;
            }
            if (!toInt(value, 0, 4, &version) || version == 1 || version == 2) {
                *error = QStringLiteral("--id3v2-version takes 3, 4, or 0 for no ID3v2 tag");
                return false;
            }
            options.id3v2Version = version;
        } else if (name == QLatin1String("--replaygain")) {
            if (!takeValue(i, name, &value)) {
                return false;
            }
            const auto row =
                std::find_if(kReplayGainModes.begin(), kReplayGainModes.end(),
                             [&](const ReplayGainRow& mode) { return value == QLatin1String(mode.name); });
            if (row == kReplayGainModes.end()) {
                *error = QStringLiteral("--replaygain takes off, track or album");
                return false;
            }
            options.replayGain = row->preferenceValue;
        } else if (name == QLatin1String("--id3v1") || name == QLatin1String("--no-id3v1")) {
            options.id3v1 = name == QLatin1String("--id3v1");
        } else if (name == QLatin1String("--ape") || name == QLatin1String("--no-ape")) {
            options.ape = name == QLatin1String("--ape");
        } else {
            *error = QStringLiteral("unknown option %1").arg(argument);
            return false;
        }
    }
    if (options.sameFolder && options.outputFolder) {
        *error = QStringLiteral("--same-folder and --output exclude each other");
        return false;
    }
    if (options.paths.isEmpty()) {
        *error = QStringLiteral("convert needs at least one file or folder");
        return false;
    }
    return true;
}

void ConvertOptions::applyOverrides() const
{
    // A terminal run ends when the queue is done: nothing stays queued and
    // nothing opens on the desktop.
    override("keepFilesInQueueAfterEncoding", false);
    override("keepFilesInQueueAfterWritingMetadata", false);
    override("openOutputDirectoryWhenFinished", false);
    override("showLogOnError", false);

    if (outputFolder) {
        override("destinationDirectory", *outputFolder);
        override("outputSameAsSource", false);
    }
    if (sameFolder) {
        override("outputSameAsSource", true);
    }
    if (keepStructure) {
        override("preserveInputFileDirectoryStructure", true);
    }
    if (namingScheme) {
        override("useCustomNamingScheme", true);
        override("customNamingScheme", *namingScheme);
        // The scheme wins over a stored folder structure.
        if (!keepStructure) {
            override("preserveInputFileDirectoryStructure", false);
        }
    }
    if (jobs) {
        override("numProcesses", *jobs);
    }
    if (noSplit) {
        override("splitLongFiles", false);
    }
    if (overwrite) {
        const bool rename = *overwrite == QLatin1String("rename");
        override("overwriteOutputFiles", !rename);
        override("promptBeforeOverwriting",
                 *overwrite == QLatin1String("ask") || *overwrite == QLatin1String("skip"));
    }
    if (deleteOriginal) {
        override("deleteOriginal", true);
    }
    if (downmix) {
        override("downmixToStereo", true);
    }
    if (id3v2Version) {
        override("writeMP3ID3v2Tag", *id3v2Version != 0);
        for (const ID3v2Row& row : kID3v2Versions) {
            if (row.version == *id3v2Version) {
                override("WriteMP3ID3v2TagVersion", row.preferenceValue);
            }
        }
    }
    if (id3v1) {
        override("writeMP3ID3v1Tag", *id3v1);
    }
    if (ape) {
        override("writeMP3ApeTag", *ape);
    }
    if (replayGain) {
        override("replayGain", *replayGain);
    }
}

QString ConvertOptions::help()
{
    return QStringLiteral(
        "usage: sonabrik-cli convert [options] PATH...\n"
        "Converts audio files, and the audio files in folders (hidden ones left out), to MP3.\n"
        "Options override the stored preferences for this run only.\n"
        "  -o, --output DIR          write into DIR (created when missing)\n"
        "      --same-folder         write each MP3 beside its source\n"
        "      --keep-structure      repeat the sub-folders of a given folder below the output folder\n"
        "  -n, --naming SCHEME       name outputs by a scheme, e.g. "
        "\"{albumArtist}/{albumTitle}/{trackNumber - }{trackTitle}\"\n"
        "  -f, --format SPEC         an output format, repeatable: vbr:N (LAME -V N), cbr:KBPS, abr:KBPS,\n"
        "                            optionally with ,q=N (LAME -q N) ,rate=HZ ,mode=auto|stereo|joint|mono\n"
        "  -j, --jobs N              files converted at once; a long file (half a minute or more) whose\n"
        "                            encode starts while jobs are idle is cut into parts encoded at once\n"
        "      --no-split            never cut a long file into parts: one encoder per file\n"
        "      --overwrite WHAT      when an output exists: ask, replace, rename or skip\n"
        "      --delete-original     move each source to the Trash after it converted\n"
        "                            (never one found damaged)\n"
        "      --downmix             mix sources of more than two channels down to stereo\n"
        "      --update-metadata     only rewrite the tags of MP3 sources, in place\n"
        "      --id3v2-version N     3 or 4; 0 writes no ID3v2 tag\n"
        "      --id3v1, --no-id3v1   write an ID3v1 tag, or not\n"
        "      --ape, --no-ape       write an APE tag, or not\n"
        "      --replaygain MODE     off, track, or album: measure the loudness and write ReplayGain\n"
        "                            tags of each track, or of each track and its album (the files\n"
        "                            of one run with the same album title and album artist)\n"
        "Exit status: 0 when every file converted, 1 when some failed or came from a damaged\n"
        "source (cut short, holes, checksums that do not match), 2 for a usage error,\n"
        "130 when interrupted.\n");
}
