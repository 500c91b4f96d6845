#pragma once
// sonabrik-cli left running, so a test can stop it at a known point and change the world under it.

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

    // SIGSTOPs the program once the first file is done and the second's temporary file exists;
    // true when that file is still there (so the third file is surely not opened yet).
    bool stopWhileSecondFileEncodes(const QString& temporaryFolder);
    void resume();
    void kill();
    CliProgram::Result finish(); // waits for the end

private:
    QProcess m_process;
    QByteArray m_out;
};
