#pragma once
// Tags written and read by mutagen (Debian's python3-mutagen), so that the
// metadata tests meet files tagged by a program no one here wrote, and check
// what our writers produce with it. See mutagen_tag.py and mutagen_dump.py
// beside this file for the request and answer formats.

#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <initializer_list>

namespace Mutagen {

// Writes tags into path (in place); format is "flac", "ogg", "mp4", "asf",
// "id3", "ape", "dsf", "aiff" or "wave". Fails the current test when
// mutagen fails.
void tag(const QString& path, const QString& format, const QJsonArray& tags,
         const QJsonObject& extra = QJsonObject());

// The same for a braced list of entries ({entry(...), entry(...)}); a list of
// one entry would otherwise be taken for the entry itself.
void tag(const QString& path, const QString& format, std::initializer_list<QJsonArray> entries,
         const QJsonObject& extra = QJsonObject());

// The tags mutagen finds in path, keyed as mutagen keys them.
QJsonObject dump(const QString& path);

// A tag entry: [key, value].
QJsonArray entry(const QString& key, const QJsonValue& value);

} // namespace Mutagen
