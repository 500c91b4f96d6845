#pragma once
// Outside programs that check our output, and the error log.

#include "QtPrinters.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

struct ToolResult
{
    int exitCode = -1;
    QByteArray standardOutput;
    QString standardError;
};

ToolResult runTool(const QString& program, const QStringList& arguments, int timeoutSeconds = 300);

// ffprobe's JSON about path; fails the test when ffprobe fails.
QJsonObject ffprobe(const QString& path, const QStringList& arguments);

// ffmpeg ebur128's integrated loudness (LUFS) and linear sample peak.
struct LoudnessReference
{
    double loudness = 0;
    double peak = 0;
};
LoudnessReference loudnessByFFmpeg(const QString& path);

// The system's python3 with Debian's python3-mutagen (never a private one).
QString systemPython();

// Clears the shared error log when created; messages() gives what was logged since.
class ErrorLogCapture
{
public:
    ErrorLogCapture();
    QStringList messages() const;
    bool contains(const QString& message) const { return messages().contains(message); }
};
