#pragma once
// Running the outside programs that check our output (ffmpeg, ffprobe,
// mutagen through python3, ...), and watching the error log.

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

// Runs program with arguments and waits (up to timeoutSeconds).
ToolResult runTool(const QString& program, const QStringList& arguments, int timeoutSeconds = 300);

// ffprobe's JSON about path ("-of json" and the given arguments, such as
// "-show_entries", "stream=sample_rate"); fails the test when ffprobe fails.
QJsonObject ffprobe(const QString& path, const QStringList& arguments);

// What ffmpeg's ebur128 filter (with sample peaks) measures over a file:
// the integrated loudness in LUFS and the largest sample, linear.
struct LoudnessReference
{
    double loudness = 0;
    double peak = 0;
};
LoudnessReference loudnessByFFmpeg(const QString& path);

// The system's python3 with Debian's python3-mutagen (never a private one).
QString systemPython();

// Clears the shared error log when created; messages() gives what was logged
// since.
class ErrorLogCapture
{
public:
    ErrorLogCapture();
    QStringList messages() const;
    bool contains(const QString& message) const { return messages().contains(message); }
};
