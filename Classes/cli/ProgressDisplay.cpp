#include "ProgressDisplay.h"

#include "ApplicationController.h"
#include "FileEncodeOperation.h"
#include "OperationsArrayController.h"
#include "TerminalUserInterface.h"

#include <QFileInfo>

namespace {

constexpr int kBarWidth = 30;
constexpr int kNameWidth = 40;

QString shortened(const QString& text, int width)
{
    return text.size() <= width ? text.leftJustified(width) : QStringLiteral("...") + text.right(width - 3);
}

// The source's path; for a track of an album image, with its number.
QString pathOf(const FileEncodeOperation& operation)
{
    const std::optional<ImageTrack>& track = operation.track();
    return track ? QStringLiteral("%1 (track %2)").arg(operation.inFilePath()).arg(track->number)
                 : operation.inFilePath();
}

} // namespace

ProgressDisplay::ProgressDisplay(ApplicationController& controller, TerminalUserInterface& ui,
                                 QTextStream& out, bool interactive)
    : m_controller(controller), m_ui(ui), m_out(out), m_interactive(interactive)
{
    m_timer.setInterval(200);
    connect(&m_timer, &QTimer::timeout, this, &ProgressDisplay::redraw);
}

QString ProgressDisplay::bar(double fraction, int width)
{
    const int filled = int(std::clamp(fraction, 0.0, 1.0) * width + 0.5);
    return QStringLiteral("[") + QString(filled, u'#') + QString(width - filled, u'-') + QStringLiteral("]");
}

void ProgressDisplay::start(qsizetype total)
{
    m_total = total;
    m_finished = 0;
    m_skippedEncodes = 0;
    m_filesWithoutOutputs = 0;
    m_completed.clear();
    m_runProgress.start(m_controller.operationsController().arrangedObjects());
    m_runClock.start();
    if (m_interactive) {
        m_timer.start();
    }
}

void ProgressDisplay::erase()
{
    for (; m_linesDrawn > 0; --m_linesDrawn) {
        m_out << "\x1b[1A\x1b[2K";
    }
    m_out << '\r';
}

void ProgressDisplay::fileFinished(FileEncodeOperation* operation)
{
    ++m_finished;
    m_runProgress.finish(operation);
    const char* result = "done";
    if (operation->isCancelled()) {
        result = "cancelled";
    } else {
        m_completed.insert(operation);
        m_skippedEncodes += operation->skippedEncodes();
        const bool withoutOutputs = operation->successfulEncodes() + operation->failedEncodes() == 0;
        if (withoutOutputs) {
            ++m_filesWithoutOutputs;
        }
        if (!operation->success()) {
            result = "FAILED";
        } else if (operation->damagedEncodes() > 0) {
            result = "DAMAGED";
        } else if (withoutOutputs || operation->skippedEncodes() == operation->successfulEncodes()) {
            result = "skipped";
        }
    }
    if (m_interactive && !m_ui.isAsking()) {
        erase();
    }
    m_out << QStringLiteral("[%1/%2] %3: %4\n")
                 .arg(m_finished)
                 .arg(m_total)
                 .arg(QLatin1String(result), pathOf(*operation));
    m_out.flush();
}

void ProgressDisplay::redraw()
{
    if (m_ui.isAsking()) {
        // The question has the terminal: draw again once it is answered.
        m_linesDrawn = 0;
        return;
    }
    erase();
    int lines = 0;
    for (FileEncodeOperation* operation : m_controller.operationsController().arrangedObjects()) {
        if (!operation->isExecuting()) {
            continue;
        }
        const double fraction = operation->progressUnknown() ? 0.0 : double(operation->percentComplete());
        m_out << "  " << shortened(operation->displayName(), kNameWidth) << ' ' << bar(fraction, kBarWidth)
              << QStringLiteral(" %1%\n").arg(int(fraction * 100), 3);
        ++lines;
    }
    m_runProgress.follow(m_controller.operationsController().arrangedObjects());
    m_runProgress.setElapsed(double(m_runClock.elapsed()) / 1000.0);
    m_out << "  " << QStringLiteral("All files").leftJustified(kNameWidth) << ' '
          << bar(m_runProgress.fraction(), kBarWidth) << ' ' << m_runProgress.describe() << '\n';
    m_linesDrawn = lines + 1;
    m_out.flush();
}

void ProgressDisplay::stop()
{
    m_timer.stop();
    if (m_interactive && !m_ui.isAsking()) {
        erase();
        m_out.flush();
    }
}

QStringList ProgressDisplay::unfinishedFiles() const
{
    QStringList files;
    for (const FileEncodeOperation* operation : m_controller.operationsController().arrangedObjects()) {
        if (!m_completed.contains(operation)) {
            files << pathOf(*operation);
        }
    }
    return files;
}
