#pragma once
// "sonabrik-cli convert": queues the given files and folders through the
// controller's intake, runs the encode flow (or the metadata-only run),
// shows the progress, prints the report and, when files failed or were
// written from damaged sources, the error log; either ends with status 1. Ctrl-C (SIGINT) cancels the run
// through the controller's cancel, waits for the operations to clean up and ends with status 130.

#include "ConvertOptions.h"

class QTextStream;

class ConvertCommand
{
public:
    // Exit statuses.
    static constexpr int kSuccess = 0;
    static constexpr int kSomeFailed = 1;
    static constexpr int kUsageError = 2;
    static constexpr int kInterrupted = 130;

    ConvertCommand(const ConvertOptions& options, QTextStream& out, QTextStream& err)
        : m_options(options), m_out(out), m_err(err)
    {
    }

    // Runs the event loop until the run has ended; gives the exit status.
    int run();

private:
    const ConvertOptions& m_options;
    QTextStream& m_out;
    QTextStream& m_err;
};
