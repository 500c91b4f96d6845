#include "CliProgram.h"

#include "Tools.h"

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonDocument>
#include <QThread>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

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

bool Unprivileged::needed()
{
    return ::geteuid() == 0;
}

void Unprivileged::own(const QString& folder)
{
    if (!needed()) {
        return;
    }
    // The folders above (a 0700 scratch folder among them) must let the
    // user through.
    for (QString above = QFileInfo(folder).absolutePath(); above != QStringLiteral("/");
         above = QFileInfo(above).path()) {
        struct stat info = {};
        if (::stat(QFile::encodeName(above).constData(), &info) == 0) {
            ::chmod(QFile::encodeName(above).constData(), (info.st_mode & 07777) | 0111);
        }
    }
    QStringList paths{folder};
    QDirIterator walk(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                      QDirIterator::Subdirectories);
    while (walk.hasNext()) {
        paths << walk.next();
    }
    for (const QString& path : paths) {
        EXPECT_EQ(::lchown(QFile::encodeName(path).constData(), kUserID, kUserID), 0) << path.toStdString();
    }
}

QStringList Unprivileged::command(const QString& program, const QStringList& arguments)
{
    if (!needed()) {
        return QStringList{program} + arguments;
    }
    return QStringList{QStringLiteral("setpriv"), QStringLiteral("--reuid=%1").arg(kUserID),
                       QStringLiteral("--regid=%1").arg(kUserID), QStringLiteral("--clear-groups"), program} +
           arguments;
}

CliProcess::CliProcess(const QStringList& arguments, const QProcessEnvironment& environment,
                       bool unprivileged)
{
    const QStringList command = unprivileged ? Unprivileged::command(CliProgram::path(), arguments)
                                             : QStringList{CliProgram::path()} + arguments;
    m_process.setProcessEnvironment(environment);
    m_process.start(command.first(), command.mid(1));
    EXPECT_TRUE(m_process.waitForStarted());
    m_process.closeWriteChannel();
}

CliProcess::~CliProcess()
{
    if (m_process.state() != QProcess::NotRunning) {
        ::kill(pid_t(m_process.processId()), SIGCONT);
        m_process.kill();
        m_process.waitForFinished(kMinute);
    }
}

bool CliProcess::stopWhileSecondFileEncodes(const QString& temporaryFolder)
{
    QElapsedTimer clock;
    clock.start();
    // The first file's line is printed once it has finished, its temporary
    // file removed; any temporary file from then on is the second file's.
    while (!m_out.contains("[1/")) {
        if (clock.elapsed() > kMinute || !m_process.waitForReadyRead(kMinute)) {
            ADD_FAILURE() << "no file finished: " << m_out.toStdString();
            return false;
        }
        m_out += m_process.readAllStandardOutput();
    }
    QStringList temporary;
    while ((temporary = CliProgram::temporaryFilesIn(temporaryFolder)).isEmpty()) {
        if (clock.elapsed() > kMinute || m_process.state() == QProcess::NotRunning) {
            ADD_FAILURE() << "the second file's encode never began";
            return false;
        }
        QThread::usleep(200);
    }
    ::kill(pid_t(m_process.processId()), SIGSTOP);
    const bool underWay = QFileInfo::exists(temporaryFolder + u'/' + temporary.first());
    EXPECT_TRUE(underWay) << "the second file was finished before the program could be stopped: "
                             "it must be longer";
    return underWay;
}

void CliProcess::resume()
{
    ::kill(pid_t(m_process.processId()), SIGCONT);
}

void CliProcess::kill()
{
    ::kill(pid_t(m_process.processId()), SIGKILL);
    ::kill(pid_t(m_process.processId()), SIGCONT);
}

CliProgram::Result CliProcess::finish()
{
    EXPECT_TRUE(m_process.waitForFinished(3 * kMinute));
    m_out += m_process.readAllStandardOutput();
    return {m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1,
            QString::fromUtf8(m_out), QString::fromUtf8(m_process.readAllStandardError())};
}
