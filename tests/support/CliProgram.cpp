#include "CliProgram.h"

#include "Tools.h"

#include <QDir>
#include <QDirIterator>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

static constexpr int kMinute = 60000;

QString CliProgram::path()
{
    return QStringLiteral(SONABRIK_BINARY_DIR "/Classes/sonabrik-cli");
}

CliProgram::Result CliProgram::run(const QStringList& arguments, const QProcessEnvironment& environment,
                                   const QByteArray& input)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(path(), arguments);
    EXPECT_TRUE(process.waitForStarted());
    process.write(input);
    process.closeWriteChannel();
    EXPECT_TRUE(process.waitForFinished(3 * kMinute));
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromUtf8(process.readAllStandardOutput()),
            QString::fromUtf8(process.readAllStandardError())};
}

QStringList CliProgram::filesBelow(const QString& folder)
{
    QStringList files;
    QDirIterator walk(folder, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (walk.hasNext())
        files << QDir(folder).relativeFilePath(walk.next());
    files.sort();
    return files;
}

QStringList CliProgram::temporaryFilesIn(const QString& folder)
{
    return QDir(folder).entryList({u"Wavecrate-*"_s}, QDir::Files | QDir::Hidden);
}

double CliProgram::probedDuration(const QString& path)
{
    const ToolResult probe = runTool(u"ffprobe"_s, {u"-v"_s, u"error"_s, u"-show_entries"_s,
                                                    u"format=duration"_s, u"-of"_s, u"json"_s, path});
    return QJsonDocument::fromJson(probe.standardOutput)
        .object()
        .value(u"format"_s)
        .toObject()
        .value(u"duration"_s)
        .toString()
        .toDouble();
}

QProcessEnvironment CliProgram::isolatedEnvironment(const QString& home, const QString& temporary)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"HOME"_s, home);
    environment.insert(u"XDG_CONFIG_HOME"_s, home + u"/.config"_s);
    environment.insert(u"XDG_DATA_HOME"_s, home + u"/.local/share"_s);
    environment.insert(u"XDG_CACHE_HOME"_s, home + u"/.cache"_s);
    environment.remove(u"XDG_RUNTIME_DIR"_s);
    environment.insert(u"TMPDIR"_s, temporary);
    return environment;
}
