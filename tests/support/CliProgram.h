#pragma once
// Running the real sonabrik-cli from a test, whole (run) or under the test's
// control (CliProcess: paused, resumed, killed), as the test's own user or as
// an unprivileged one, and looking at what it left behind.

#include "QtPrinters.h"

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace CliProgram {

struct Result
{
    int exitCode = -1; // -1: the program did not end normally (a crash, a signal)
    QString out;
    QString err;
};

QString path();

// Runs sonabrik-cli with arguments to its end (at most three minutes).
Result run(const QStringList& arguments, const QProcessEnvironment& environment);

// Every file below folder, hidden ones included, relative and sorted.
QStringList filesBelow(const QString& folder);

// The files sonabrik-cli's temporary files are named like ("Wavecrate-..."),
// found in folder.
QStringList temporaryFilesIn(const QString& folder);

// The duration ffprobe reads from a file's audio; 0 when it reads none.
double probedDuration(const QString& path);

} // namespace CliProgram

// Root ignores file permissions, so a test of an unreadable file or a
// read-only folder runs the program as an ordinary user. When the tests run
// as root, an Unprivileged makes a folder tree that user's and runs programs
// as that user (setpriv from util-linux); otherwise everything stays the
// test's own and programs run as they are.
class Unprivileged
{
public:
    static constexpr uint kUserID = 65534; // nobody
    static bool needed();
    // Gives the folder and everything below it to the user, and opens the
    // path down to it for traversal.
    static void own(const QString& folder);
    // The program and arguments that run program as the user.
    static QStringList command(const QString& program, const QStringList& arguments);
};

// sonabrik-cli started and left running, so that a test can stop it at a
// known point of its work, change the world under it, and let it go on.
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
