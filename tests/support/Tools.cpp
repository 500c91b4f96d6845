#include "Tools.h"

#include "ErrorLog.h"

#include <QJsonDocument>
#include <QProcess>
#include <QRegularExpression>
#include <cmath>
#include <gtest/gtest.h>

ToolResult runTool(const QString& program, const QStringList& arguments, int timeoutSeconds)
{
    QProcess process;
    process.start(program, arguments);
    ToolResult result;
    if (!process.waitForStarted()) {
        result.standardError = QStringLiteral("could not start %1").arg(program);
        return result;
    }
    process.closeWriteChannel();
    if (!process.waitForFinished(timeoutSeconds * 1000)) {
        process.kill();
        process.waitForFinished();
        result.standardError = QStringLiteral("%1 timed out").arg(program);
        return result;
    }
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.standardOutput = process.readAllStandardOutput();
    result.standardError = QString::fromUtf8(process.readAllStandardError());
    return result;
}

QJsonObject ffprobe(const QString& path, const QStringList& arguments)
{
    const ToolResult result =
        runTool(QStringLiteral("ffprobe"), QStringList{QStringLiteral("-v"), QStringLiteral("error"),
                                                       QStringLiteral("-of"), QStringLiteral("json")} +
                                               arguments + QStringList{path});
    EXPECT_EQ(result.exitCode, 0) << path.toStdString() << ": " << result.standardError.toStdString();
    return QJsonDocument::fromJson(result.standardOutput).object();
}

QString systemPython()
{
    return QStringLiteral("/usr/bin/python3");
}

ErrorLogCapture::ErrorLogCapture()
{
    ErrorLog::shared()->clear();
}

QStringList ErrorLogCapture::messages() const
{
    QStringList messages;
    for (const ErrorLogEntry& entry : ErrorLog::shared()->errorLog()) {
        messages << entry.log;
    }
    return messages;
}

LoudnessReference loudnessByFFmpeg(const QString& path)
{
    const ToolResult run = runTool(QStringLiteral("ffmpeg"),
                                   {QStringLiteral("-nostats"), QStringLiteral("-i"), path,
                                    QStringLiteral("-af"), QStringLiteral("ebur128=peak=sample"),
                                    QStringLiteral("-f"), QStringLiteral("null"), QStringLiteral("-")});
    // The summary: "I: -23.1 LUFS" and "Peak: -6.2 dBFS".
    const QString summary = run.standardError.section(QStringLiteral("Summary:"), -1);
    const auto number = [&](const char* pattern) {
        const QRegularExpressionMatch match = QRegularExpression(QLatin1String(pattern)).match(summary);
        EXPECT_TRUE(match.hasMatch()) << pattern << " in " << summary.toStdString();
        return match.captured(1).toDouble();
    };
    return {number(R"(I:\s+(-?[0-9.]+) LUFS)"), std::pow(10.0, number(R"(Peak:\s+(-?[0-9.]+) dBFS)") / 20.0)};
}
