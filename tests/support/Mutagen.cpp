#include "Mutagen.h"

#include "Tools.h"

#include <QJsonDocument>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace Mutagen {

namespace {

QString script(const char* name)
{
    return QStringLiteral(SONABRIK_SOURCE_DIR "/tests/support/") + QLatin1String(name);
}

} // namespace

void tag(const QString& path, const QString& format, const QJsonArray& tags, const QJsonObject& extra)
{
    QJsonObject request = extra;
    request[u"path"_s] = path;
    request[u"format"_s] = format;
    request[u"tags"_s] = tags;
    const ToolResult result =
        runTool(systemPython(), {script("mutagen_tag.py"),
                                 QString::fromUtf8(QJsonDocument(request).toJson(QJsonDocument::Compact))});
    ASSERT_EQ(result.exitCode, 0) << result.standardError.toStdString();
}

void tag(const QString& path, const QString& format, std::initializer_list<QJsonArray> entries,
         const QJsonObject& extra)
{
    QJsonArray tags;
    for (const QJsonArray& e : entries)
        tags.append(e);
    tag(path, format, tags, extra);
}

QJsonObject dump(const QString& path)
{
    const ToolResult result = runTool(systemPython(), {script("mutagen_dump.py"), path});
    EXPECT_EQ(result.exitCode, 0) << result.standardError.toStdString();
    return QJsonDocument::fromJson(result.standardOutput).object();
}

QJsonArray entry(const QString& key, const QJsonValue& value)
{
    return QJsonArray{key, value};
}

} // namespace Mutagen
