#pragma once
// "sonabrik-cli info" and "sonabrik-cli name": the record that metadata
// reading gives for a file, and the output name a naming scheme gives it.

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

    static QJsonObject recordAsJson(const AudioMetadata& record);
};
