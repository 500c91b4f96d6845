#include "ConvertCommand.h"

#include "ApplicationController.h"
#include "EncoderSettings.h"
#include "ErrorLog.h"
#include "FileEncodeOperation.h"
#include "OperationsArrayController.h"
#include "Preferences.h"
#include "ProgressDisplay.h"
#include "TerminalUserInterface.h"

#include <QCoreApplication>
#include <QDir>
#include <QSocketNotifier>
#include <QTextStream>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

// SIGINT reaches the event loop through a pipe.
int gSignalPipe[2] = {-1, -1};

void onInterrupt(int)
{
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = ::write(gSignalPipe[1], &byte, 1);
}

} // namespace

int ConvertCommand::run()
{
    m_options.applyOverrides();
    if (m_options.outputFolder) {
        QDir().mkpath(*m_options.outputFolder);
    }

    const TerminalUserInterface::OverwriteAnswer answer =
        m_options.overwrite == QStringLiteral("skip") ? TerminalUserInterface::OverwriteAnswer::SkipAll
                                                      : TerminalUserInterface::OverwriteAnswer::Ask;
    TerminalUserInterface ui(m_err, answer);
    int status = kSuccess;
    bool interrupted = false;
    bool runEnded = false;
    QString intakeLog; // the run starts with an empty error log
    {
        ApplicationController controller(&ui);
        ApplicationController::initialize();
        controller.awakeFromNib();
        controller.applicationDidFinishLaunching();

        if (!m_options.formats.isEmpty()) {
            QList<std::shared_ptr<EncoderSettings>>& formats = controller.encoderSettingsList();
            const std::shared_ptr<EncoderSettings> stored = formats.first();
            formats.clear();
            for (const QString& format : m_options.formats) {
                std::shared_ptr<EncoderSettings> settings = stored->copy();
                settings->setEnabled(true);
                QString error;
                ConvertOptions::applyFormat(format, *settings, &error);
                formats.append(settings);
            }
        }

        ProgressDisplay progress(controller, ui, m_out, isatty(STDOUT_FILENO) != 0);
        QObject::connect(&controller, &ApplicationController::operationFinished, &progress,
                         &ProgressDisplay::fileFinished);

        // Ctrl-C: stop the parse or the run through the controller's cancel;
        // the run then ends as the operations finish cleaning up.
        if (::pipe2(gSignalPipe, O_CLOEXEC | O_NONBLOCK) != 0) {
            m_err << "sonabrik-cli: cannot watch for Ctrl-C\n";
        }
        QSocketNotifier interruptNotifier(gSignalPipe[0], QSocketNotifier::Read);
        QObject::connect(&interruptNotifier, &QSocketNotifier::activated, [&] {
            char byte;
            while (::read(gSignalPipe[0], &byte, 1) > 0) {
            }
            if (interrupted) {
                return;
            }
            interrupted = true;
            std::signal(SIGINT, SIG_DFL); // a second Ctrl-C ends the program at once
            ui.abandonQuestion();
            m_err << "\nsonabrik-cli: interrupted, stopping...\n";
            m_err.flush();
            controller.cancel();
        });
        struct sigaction action = {};
        action.sa_handler = onInterrupt;
        sigemptyset(&action.sa_mask);
        sigaction(SIGINT, &action, nullptr);
        sigaction(SIGTERM, &action, nullptr);

        QObject::connect(&controller, &ApplicationController::parsingFinished, [&] {
            const qsizetype queued = controller.operationsController().count();
            if (interrupted) {
                QCoreApplication::exit(kInterrupted);
                return;
            }
            // What the intake logged (a broken cue sheet, a track left out)
            // is something given that will not be converted.
            intakeLog = ErrorLog::shared()->errorLogAsString();
            if (queued == 0) {
                if (!intakeLog.isEmpty()) {
                    m_err << "Error log:\n" << intakeLog;
                }
                m_err << "sonabrik-cli: no audio files to convert in the given paths\n";
                QCoreApplication::exit(kSomeFailed);
                return;
            }
            progress.start(queued);
            if (m_options.updateMetadata) {
                controller.updateMetadataMenuItemSelected();
            } else {
                controller.encodeFilesMenuItemSelected();
            }
            // A start check refused the run (its alert is printed already).
            if (!controller.encoderRunning() && !runEnded) {
                progress.stop();
                QCoreApplication::exit(kSomeFailed);
            }
        });
        QObject::connect(&controller, &ApplicationController::runFinished, [&] {
            runEnded = true;
            progress.stop();
            if (interrupted) {
                // Cancelled rows and rows never started alike stay queued.
                const QStringList unfinished = progress.unfinishedFiles();
                for (const QString& path : unfinished) {
                    m_out << "  not converted: " << path << '\n';
                }
                m_out << QStringLiteral("Interrupted: %1 of %2 files not converted.\n")
                             .arg(unfinished.size())
                             .arg(progress.totalFiles());
                m_out.flush();
                QCoreApplication::exit(kInterrupted);
                return;
            }
            const qint64 failed = controller.failedEncodes();
            const qint64 damaged = controller.damagedEncodes();
            const qint64 total = failed + controller.successfulEncodes();
            if (failed > 0 || damaged > 0 || !intakeLog.isEmpty()) {
                m_err << "\nError log:\n" << intakeLog << ErrorLog::shared()->errorLogAsString();
                m_err.flush();
            }
            // An output that existed and was kept counts as a success of the
            // run, but nothing was written for it. A file no output format
            // applied to has no encode to subtract, only a skip to report.
            const qint64 skippedEncodes = progress.skippedEncodes();
            const qint64 skipped = skippedEncodes + progress.filesWithoutOutputs();
            m_out << QStringLiteral("%1 of %2 %3 written")
                         .arg(total - failed - skippedEncodes)
                         .arg(total)
                         .arg(m_options.updateMetadata ? QStringLiteral("tags") : QStringLiteral("files"))
                  << (damaged > 0 ? QStringLiteral(", %1 from a damaged source").arg(damaged) : QString())
                  << (skipped > 0 ? QStringLiteral(", %1 skipped.\n").arg(skipped) : QStringLiteral(".\n"));
            for (const QString& path : controller.writtenOutputPaths()) {
                m_out << "  " << path << '\n';
            }
            m_out.flush();
            // A file written from a damaged source lacks what could not be
            // decoded: that is no clean run either.
            QCoreApplication::exit(failed > 0 || damaged > 0 || !intakeLog.isEmpty() ? kSomeFailed
                                                                                     : kSuccess);
        });

        controller.applicationOpenFiles(m_options.paths);
        status = QCoreApplication::exec();

        std::signal(SIGINT, SIG_DFL);
        std::signal(SIGTERM, SIG_DFL);
    }
    ::close(gSignalPipe[0]);
    ::close(gSignalPipe[1]);
    Preferences::shared().removeAllOverrides();
    return status;
}
