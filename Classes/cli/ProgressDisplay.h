#pragma once
// What "sonabrik-cli convert" shows while it runs. On a terminal: a bar for
// each file being converted and one for the whole run, with the files done,
// the speed and the time left (RunProgress), redrawn in place five times a
// second. Otherwise: one plain line per finished file ("done", "skipped",
// "DAMAGED" when written from a damaged source, "FAILED", "cancelled").
// Main thread.

#include "RunProgress.h"

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QTextStream>
#include <QTimer>

class ApplicationController;
class FileEncodeOperation;
class TerminalUserInterface;

class ProgressDisplay : public QObject
{
    Q_OBJECT
public:
    ProgressDisplay(ApplicationController& controller, TerminalUserInterface& ui, QTextStream& out,
                    bool interactive);

    // The run starts with this many files.
    void start(qsizetype total);
    void fileFinished(FileEncodeOperation* operation);
    void stop();
    qsizetype totalFiles() const { return m_total; }
    // Outputs that existed and were kept: counted among the run's successful
    // encodes, but nothing was written for them.
    qint64 skippedEncodes() const { return m_skippedEncodes; }
    // Files for which no output format applied: no encode at all.
    qsizetype filesWithoutOutputs() const { return m_filesWithoutOutputs; }
    // Queued files of this run that did not finish: cancelled, or never
    // started.
    QStringList unfinishedFiles() const;

private:
    void redraw();
    void erase();
    static QString bar(double fraction, int width);

    ApplicationController& m_controller;
    TerminalUserInterface& m_ui;
    QTextStream& m_out;
    bool m_interactive;
    QTimer m_timer;
    qsizetype m_total = 0;
    qsizetype m_finished = 0;
    qint64 m_skippedEncodes = 0;
    qsizetype m_filesWithoutOutputs = 0;
    // Rows that finished in this run without being cancelled. Never
    // dereferenced: removed rows are destroyed meanwhile.
    QSet<const FileEncodeOperation*> m_completed;
    int m_linesDrawn = 0;
    RunProgress m_runProgress;
    QElapsedTimer m_runClock;
};
