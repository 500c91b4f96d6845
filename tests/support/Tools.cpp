#include "Tools.h"

#include "ErrorLog.h"

#include <QJsonDocument>
#include <QProcess>
#include <QRegularExpression>
#include <cmath>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

ToolResult runTool(const QString& program, const QStringList& arguments, int timeoutSeconds)
{
    QProcess process;
    process.start(program, arguments);
    ToolResult result;
    if (!process.waitForStarted()) {
        result.standardError = u"could not start %1"_s.arg(program);
        return result;
    }
    process.closeWriteChannel();
    if (!process.waitForFinished(timeoutSeconds * 1000)) {
        process.kill();
        process.waitForFinished();
        result.standardError = u"%1 timed out"_s.arg(program);
        return result;
    }
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.standardOutput = process.readAllStandardOutput();
    result.standardError = QString::fromUtf8(process.readAllStandardError());
    return result;
}

QJsonObject ffprobe(const QString& path, const QStringList& arguments)
{
    const ToolResult result = runTool(u"ffprobe"_s, QStringList{u"-v"_s, u"error"_s, u"-of"_s, u"json"_s} +
                                                        arguments + QStringList{path});
    EXPECT_EQ(result.exitCode, 0) << path.toStdString() << ": " << result.standardError.toStdString();
    return QJsonDocument::fromJson(result.standardOutput).object();
}

QString systemPython()
{
    return u"/usr/bin/python3"_s;
}

ErrorLogCapture::ErrorLogCapture()
{
    ErrorLog::shared()->clear();
}

QStringList ErrorLogCapture::messages() const
{
    QStringList messages;
    for (const ErrorLogEntry& entry : ErrorLog::shared()->errorLog())
        messages << entry.log;
    return messages;
}

LoudnessReference loudnessByFFmpeg(const QString& path)
{
    const ToolResult run = runTool(u"ffmpeg"_s, {u"-nostats"_s, u"-i"_s, path, u"-af"_s,
                                                 u"ebur128=peak=sample"_s, u"-f"_s, u"null"_s, u"-"_s});
    const QString summary = run.standardError.section(u"Summary:"_s, -1);
    const auto number = [&](const char* pattern) {
        const QRegularExpressionMatch match = QRegularExpression(QLatin1String(pattern)).match(summary);
        EXPECT_TRUE(match.hasMatch()) << pattern << " in " << summary.toStdString();
        return match.captured(1).toDouble();
    };
    return {number(R"(I:\s+(-?[0-9.]+) LUFS)"), std::pow(10.0, number(R"(Peak:\s+(-?[0-9.]+) dBFS)") / 20.0)};
}
