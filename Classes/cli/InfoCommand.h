#pragma once
// "sonabrik-cli info", "name" and "decoder": the record that metadata
// reading gives for a file, the output name a naming scheme gives it, and the
// decoder the factory picks for it.

#include <QJsonObject>
#include <QString>
#include <QStringList>

class AudioMetadata;
class QTextStream;

class InfoCommand
{
public:
    // Every present field of each file's record, "name: value" per line, or
    // with json one JSON object per line (numbers as numbers, the cover as
    // its MIME type, size, dimensions and MD5). 0, or 1 when a path is no
    // file.
    static int info(const QStringList& paths, bool json, QTextStream& out, QTextStream& err);
    // The naming function's result for path with the first output format of
    // the preferences, plus ".mp3".
    static int name(const QString& scheme, const QString& path, QTextStream& out, QTextStream& err);

    // The decoder class picked for each file and the PCM it delivers; the
    // error log follows on err. 0, or 1 when a file has no decoder.
    static int decoders(const QStringList& paths, QTextStream& out, QTextStream& err);

    static QJsonObject recordAsJson(const AudioMetadata& record);
};
