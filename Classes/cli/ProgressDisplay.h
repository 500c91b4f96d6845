#pragma once
// What "sonabrik-cli convert" shows while it runs. On a terminal: a bar for
// each file being converted and one for the whole run, redrawn in place five
// times a second. Otherwise: one plain line per finished file. Main thread.

#include <QHash>
#include <QObject>
#include <QString>
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
    // Files that finished without writing anything: every output existed and
    // was to be kept, or there was no output format for them.
    qsizetype skippedFiles() const { return m_skipped; }

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
    qsizetype m_skipped = 0;
    int m_linesDrawn = 0;
};
