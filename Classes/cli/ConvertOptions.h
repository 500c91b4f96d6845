#pragma once
// The options of "sonabrik-cli convert": parsed from the arguments, checked,
// and applied as overrides of the stored preferences for this run only
// (nothing is written to the user's settings file).
//
// Output formats: "vbr:N" (LAME -V N, N 0 to 9), "cbr:KBPS", "abr:KBPS"
// (8 to 320), each optionally followed by ",q=N" (LAME -q N, 0 to 9),
// ",rate=HZ" (one of LAME's output rates) and ",mode=auto|stereo|joint|mono".
// What a format leaves out comes from the stored first output format.

#include <QString>
#include <QStringList>
#include <memory>
#include <optional>

class EncoderSettings;

struct ConvertOptions
{
    QStringList paths;
    QStringList formats; // as given, checked
    std::optional<QString> outputFolder;
    bool sameFolder = false;
    bool keepStructure = false;
    std::optional<QString> namingScheme;
    std::optional<int> jobs;
    // One LAME instance per file, however long it is and however many jobs
    // are idle (the preference "splitLongFiles" off for this run).
    bool noSplit = false;
    std::optional<QString> overwrite; // ask, replace, rename, skip
    bool deleteOriginal = false;
    // Sources of more than two channels are mixed down to stereo.
    bool downmix = false;
    bool updateMetadata = false;
    std::optional<int> id3v2Version; // 0 (none), 3 or 4
    std::optional<bool> id3v1;
    std::optional<bool> ape;
    std::optional<int> replayGain; // the preference's value: 0 off, 1 track, 2 album

    // Fills options from the arguments after "convert". False with *error
    // set on a usage error.
    static bool parse(const QStringList& arguments, ConvertOptions& options, QString* error);

    // Applies format to settings (an MP3 format). False with *error when
    // the text is not a format.
    static bool applyFormat(const QString& format, EncoderSettings& settings, QString* error);

    // Sets the preference overrides for this run.
    void applyOverrides() const;

    static QString help();
};
