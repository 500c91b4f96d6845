#include "TagDump.h"

#include "Tools.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const char* const kDumpScript = R"PY(
import sys, json
from mutagen.id3 import ID3, ID3NoHeaderError, ParseID3v1
from mutagen.apev2 import APEv2, APENoHeaderError, BINARY

path = sys.argv[1]
out = {}
try:
    tag = ID3(path, load_v1=False, translate=False)
    frames = {}
    for frame in tag.values():
        entry = {}
        if hasattr(frame, "encoding"):
            entry["encoding"] = int(frame.encoding)
        if frame.FrameID == "APIC":
            entry.update(mime=frame.mime, type=int(frame.type), desc=frame.desc, data=frame.data.hex())
        elif frame.FrameID in ("COMM", "USLT"):
            text = frame.text if isinstance(frame.text, str) else "\u0000".join(frame.text)
            entry.update(lang=frame.lang, desc=frame.desc, text=[text])
        elif hasattr(frame, "text"):
            entry["text"] = [str(t) for t in frame.text]
        frames.setdefault(frame.FrameID, []).append(entry)
    out["id3v2"] = {"version": list(tag.version), "frames": frames}
except Exception:  # no tag, or one mutagen refuses
    pass
with open(path, "rb") as f:
    f.seek(0, 2)
    size = f.tell()
    f.seek(max(0, size - 128))
    tail = f.read()
v1 = ParseID3v1(tail) if tail[:3] == b"TAG" else None
if v1:
    out["id3v1"] = {k: str(v) for k, v in v1.items()}
try:
    ape = APEv2(path)
    out["ape"] = {key: {"binary": bytes(value).hex()} if value.kind == BINARY else str(value)
                  for key, value in ape.items()}
except Exception:
    pass
print(json.dumps(out))
)PY";

} // namespace

QJsonObject mutagenTags(const QString& path)
{
    const ToolResult result = runTool(systemPython(), {u"-c"_s, QString::fromUtf8(kDumpScript), path});
    EXPECT_EQ(result.exitCode, 0) << result.standardError.toStdString();
    return QJsonDocument::fromJson(result.standardOutput).object();
}

void runMutagen(const QString& code, const QString& path)
{
    const ToolResult result = runTool(systemPython(), {u"-c"_s, code, path});
    ASSERT_EQ(result.exitCode, 0) << result.standardError.toStdString();
}

QString id3v2Text(const QJsonObject& tags, const QString& frameId)
{
    const QJsonArray frames = tags[u"id3v2"_s][u"frames"_s][frameId].toArray();
    if (frames.isEmpty())
        return QString();
    QStringList texts;
    for (const QJsonValue& text : frames[0][u"text"_s].toArray())
        texts << text.toString();
    return texts.join(u'/');
}
