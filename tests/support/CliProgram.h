#pragma once
// Running the real sonabrik-cli to its end, and looking at what it left behind.

#include "QtPrinters.h"

#include <QByteArray>
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

// Runs to the end (at most three minutes) with input as all of standard input.
Result run(const QStringList& arguments, const QProcessEnvironment& environment,
           const QByteArray& input = {});

// Every file below folder, hidden ones included, relative and sorted.
QStringList filesBelow(const QString& folder);

// The system environment with home (so settings) and temporary folder moved apart from the test's.
QProcessEnvironment isolatedEnvironment(const QString& home, const QString& temporary);

// The program's temporary files ("Wavecrate-...") in folder.
QStringList temporaryFilesIn(const QString& folder);

// The duration ffprobe reads from a file's audio; 0 when it reads none.
double probedDuration(const QString& path);

} // namespace CliProgram
