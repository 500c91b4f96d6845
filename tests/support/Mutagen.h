#pragma once
// Tags written and read by mutagen, a tagger no one here wrote (see mutagen_tag.py, mutagen_dump.py).

#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <initializer_list>

namespace Mutagen {

// Writes tags into path in place (format "flac", "ogg", "mp4", "asf", "id3", "ape", "dsf", "aiff" or
// "wave"); fails the test when mutagen fails.
void tag(const QString& path, const QString& format, const QJsonArray& tags,
         const QJsonObject& extra = QJsonObject());

// For a braced list of entries: a list of one entry would otherwise be taken for the entry itself.
void tag(const QString& path, const QString& format, std::initializer_list<QJsonArray> entries,
         const QJsonObject& extra = QJsonObject());

// The tags mutagen finds in path, keyed as mutagen keys them.
QJsonObject dump(const QString& path);

// A tag entry: [key, value].
QJsonArray entry(const QString& key, const QJsonValue& value);

} // namespace Mutagen
