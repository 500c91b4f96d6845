// What the command-line tests share: running the tools that make their
// sources, and the scratch folders a run reads and writes.
#pragma once

#include "CliProgram.h"
#include "Encoding.h"
#include "Fixtures.h"
#include "Tools.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThread>
#include <gtest/gtest.h>

namespace CliTestKit {

using namespace Qt::StringLiterals;

inline void mustRun(const QString& program, const QStringList& arguments)
{
    const ToolResult result = runTool(program, arguments);
    ASSERT_EQ(result.exitCode, 0) << program.toStdString() << ": " << result.standardError.toStdString();
}

// Stereo (or channels) 16-bit audio by sox: "synth <seconds> <synth...>".
inline void synth(const QString& path, double seconds, const QStringList& synth, int rate = 44100,
                  int channels = 2)
{
    QDir().mkpath(QFileInfo(path).path());
    mustRun(u"sox"_s, QStringList{u"-R"_s, u"-D"_s, u"-n"_s, u"-r"_s, QString::number(rate), u"-c"_s,
                                  QString::number(channels), u"-b"_s, u"16"_s, path, u"synth"_s,
                                  QString::number(seconds)} +
                          synth);
}

// Waits for one of the program's own temporary files in folder.
inline bool waitForTemporaryFile(const QString& folder)
{
    for (int i = 0; i < 6000; ++i) {
        if (!CliProgram::temporaryFilesIn(folder).isEmpty()) {
            return true;
        }
        QThread::msleep(10);
    }
    return false;
}

inline void writeFile(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ASSERT_EQ(file.write(bytes), bytes.size());
}

// in/, out/, tmp/ and home/ in a scratch folder; the program's runs get the
// last two as their temporary folder and home.
class Folders
{
public:
    Folders()
    {
        for (const char* folder : {"in", "out", "tmp", "home"}) {
            QDir().mkpath(scratch.file(QLatin1String(folder)));
        }
    }
    QString in(const QString& name = {}) const { return scratch.file(u"in/"_s + name); }
    QString out(const QString& name = {}) const { return scratch.file(u"out/"_s + name); }
    QString temporary() const { return scratch.file(u"tmp"_s); }
    QProcessEnvironment environment() const
    {
        return CliProgram::isolatedEnvironment(scratch.file(u"home"_s), temporary());
    }
    CliProgram::Result cli(const QStringList& arguments, const QByteArray& input = {}) const
    {
        return CliProgram::run(arguments, environment(), input);
    }

    ScratchDir scratch;
};

} // namespace CliTestKit
