#include "CliProgram.h"

#include "Tools.h"

#include <QDir>
#include <QDirIterator>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <gtest/gtest.h>

namespace {

constexpr int kMinute = 60000;

} // namespace

QString CliProgram::path()
{
    return QStringLiteral(SONABRIK_BINARY_DIR "/Classes/sonabrik-cli");
}

CliProgram::Result CliProgram::run(const QStringList& arguments, const QProcessEnvironment& environment)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(path(), arguments);
    EXPECT_TRUE(process.waitForStarted());
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
    while (walk.hasNext()) {
        files << QDir(folder).relativeFilePath(walk.next());
    }
    files.sort();
    return files;
}

QStringList CliProgram::temporaryFilesIn(const QString& folder)
{
    return QDir(folder).entryList({QStringLiteral("Wavecrate-*")}, QDir::Files | QDir::Hidden);
}

double CliProgram::probedDuration(const QString& path)
{
    const ToolResult probe =
        runTool(QStringLiteral("ffprobe"),
                {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-show_entries"),
                 QStringLiteral("format=duration"), QStringLiteral("-of"), QStringLiteral("json"), path});
    return QJsonDocument::fromJson(probe.standardOutput)
        .object()
        .value(QStringLiteral("format"))
        .toObject()
        .value(QStringLiteral("duration"))
        .toString()
        .toDouble();
}

QProcessEnvironment CliProgram::isolatedEnvironment(const QString& home, const QString& temporary)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), home);
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home + QStringLiteral("/.config"));
    environment.insert(QStringLiteral("XDG_DATA_HOME"), home + QStringLiteral("/.local/share"));
    environment.insert(QStringLiteral("XDG_CACHE_HOME"), home + QStringLiteral("/.cache"));
    environment.remove(QStringLiteral("XDG_RUNTIME_DIR"));
    environment.insert(QStringLiteral("TMPDIR"), temporary);
    return environment;
}
