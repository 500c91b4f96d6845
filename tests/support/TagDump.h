#pragma once
// A file's tags as mutagen reads them: {"id3v2": {"version", "frames": {id: [frame...]}}, "id3v1",
// "ape"}; the frame layout is mutagen_dump.py's.

#include <QJsonObject>
#include <QString>

QJsonObject mutagenTags(const QString& path);

// Runs python3 code with the path as sys.argv[1]; fails the test when python3 fails.
void runMutagen(const QString& code, const QString& path);

// The text of the first frame with that id ("" when there is none).
QString id3v2Text(const QJsonObject& tags, const QString& frameId);
