#pragma once
// sonabrik-cli started and left running, so that a test can stop it at a
// known point of its work, change the world under it, and let it go on.

#include "CliProgram.h"

#include <QByteArray>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>

class CliProcess
{
public:
    CliProcess(const QStringList& arguments, const QProcessEnvironment& environment, bool unprivileged);
    ~CliProcess();

    // With one file at a time: waits (up to a minute) until the program
    // reports its first file finished and then until a temporary file
    // appears in temporaryFolder, which is the second file's encode under
    // way, and stops the program there (SIGSTOP). True when it stopped with
    // that temporary file still present: the second file was not finished,
    // so the third one has surely not been opened.
    bool stopWhileSecondFileEncodes(const QString& temporaryFolder);
    void resume();
    void kill();
    // Waits for the end.
    CliProgram::Result finish();

private:
    QProcess m_process;
    QByteArray m_out;
};
