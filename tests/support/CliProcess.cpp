#include "CliProcess.h"

#include "Unprivileged.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QThread>
#include <csignal>
#include <gtest/gtest.h>

static constexpr int kMinute = 60000;

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
    // The first file's line comes after its temporary file is gone: any one from then on is the second's.
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
