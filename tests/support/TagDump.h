#pragma once
// The tags of a file as mutagen (Debian's python3-mutagen) reads them, for
// checking what Sonabrik wrote with a reader no one here wrote.
//
// The JSON object has, when present:
//   "id3v2": {"version": [2, 4, 0], "frames": {"TIT2": [frame, ...], ...}}
//       a frame: {"encoding": n, "text": [...]} for text frames;
//       COMM/USLT add "lang" and "desc"; APIC has "mime", "type", "desc",
//       "data" (hex) and "encoding";
//   "id3v1": {"TIT2": "...", ...} from the last 128 bytes;
//   "ape": {"KEY": "text"} or {"KEY": {"binary": "hex"}}.

#include <QJsonObject>
#include <QString>

QJsonObject mutagenTags(const QString& path);

// Runs python3 code with mutagen available, with the path as sys.argv[1];
// fails the test when python3 fails.
void runMutagen(const QString& code, const QString& path);

// The text of the first frame with that id ("" when there is none).
QString id3v2Text(const QJsonObject& tags, const QString& frameId);
