#include "TerminalUserInterface.h"

#include <QSocketNotifier>
#include <QTextStream>
#include <QTimer>
#include <cerrno>
#include <unistd.h>

TerminalUserInterface::TerminalUserInterface(QTextStream& err, OverwriteAnswer overwriteAnswer,
                                             QObject* parent)
    : QObject(parent), m_err(err), m_overwriteAnswer(overwriteAnswer)
{
}

TerminalUserInterface::~TerminalUserInterface() = default;

void TerminalUserInterface::beep()
{
    if (isatty(STDERR_FILENO)) {
        m_err << '\a';
        m_err.flush();
    }
}

void TerminalUserInterface::printAlert(const Alert& alert)
{
    m_err << alert.messageText << '\n';
    if (!alert.informativeText.isEmpty()) {
        m_err << alert.informativeText << '\n';
    }
    m_err.flush();
}

int TerminalUserInterface::runAlert(const Alert& alert)
{
    printAlert(alert);
    return AlertFirstButtonReturn;
}

int TerminalUserInterface::runWelcome(const Alert&, const QString& outputFolder)
{
    if (outputFolder.isEmpty()) {
        m_err << "MP3 files go beside their sources (choose a folder with -o FOLDER)\n";
    } else {
        m_err << "MP3 files go to " << outputFolder << " (choose another folder with -o FOLDER)\n";
    }
    m_err.flush();
    return AlertFirstButtonReturn;
}

void TerminalUserInterface::beginAlertSheet(const Alert& alert,
                                            std::function<void(int button, bool suppressed)> completion)
{
    // Only the overwrite question has a box to tick; every other sheet is a
    // notice that its default button dismisses.
    if (alert.suppressionTitle.isEmpty() || m_overwriteAnswer == OverwriteAnswer::SkipAll) {
        if (alert.suppressionTitle.isEmpty()) {
            printAlert(alert);
        }
        const int button = alert.suppressionTitle.isEmpty() ? AlertFirstButtonReturn : AlertThirdButtonReturn;
        const bool applyToAll = !alert.suppressionTitle.isEmpty();
        QTimer::singleShot(0, this, [completion, button, applyToAll] { completion(button, applyToAll); });
        return;
    }

    m_completion = std::move(completion);
    m_button = 0;
    m_err << '\n'
          << alert.messageText << '\n'
          << alert.informativeText << '\n'
          << "[n]o: write under a new name, [y]es: overwrite, [s]kip: ";
    m_err.flush();
    // Answers read along with earlier ones are waiting in the buffer; the
    // question is answered from the event loop, as a sheet would be.
    QTimer::singleShot(0, this, &TerminalUserInterface::takeAnswers);
}

void TerminalUserInterface::abandonQuestion()
{
    if (m_completion) {
        m_err << "\n";
        m_err.flush();
    }
    m_completion = nullptr;
    if (m_input) {
        m_input->setEnabled(false);
    }
}

void TerminalUserInterface::readInput()
{
    char chunk[256];
    const ssize_t n = ::read(STDIN_FILENO, chunk, sizeof chunk);
    if (n < 0 && (errno == EINTR || errno == EAGAIN)) {
        return;
    }
    if (n > 0) {
        m_buffer.append(chunk, n);
    } else {
        m_inputEnded = true;
    }
    takeAnswers();
}

void TerminalUserInterface::takeAnswers()
{
    qsizetype newline;
    while (m_completion && (newline = m_buffer.indexOf('\n')) >= 0) {
        const QByteArray line = m_buffer.left(newline);
        m_buffer.remove(0, newline + 1);
        answerLine(line);
    }
    if (m_completion && m_inputEnded) {
        // A last answer without its newline is still an answer.
        if (!m_buffer.isEmpty()) {
            const QByteArray line = m_buffer;
            m_buffer.clear();
            answerLine(line);
        }
        if (m_completion) {
            answerAtEndOfInput();
        }
    }
    // Read on only while a question waits for more than the buffer holds.
    const bool wantInput = m_completion && !m_inputEnded;
    if (wantInput && !m_input) {
        m_input = std::make_unique<QSocketNotifier>(STDIN_FILENO, QSocketNotifier::Read);
        connect(m_input.get(), &QSocketNotifier::activated, this, &TerminalUserInterface::readInput);
    }
    if (m_input) {
        m_input->setEnabled(wantInput);
    }
}

void TerminalUserInterface::answerLine(const QByteArray& rawLine)
{
    const QString line = QString::fromLocal8Bit(rawLine).trimmed().toLower();
    if (!isatty(STDIN_FILENO)) {
        // Piped answers are not echoed by a terminal: show what was read.
        m_err << line << '\n';
    }
    if (m_button == 0) {
        if (line.startsWith(u'n')) {
            m_button = AlertFirstButtonReturn;
        } else if (line.startsWith(u'y')) {
            m_button = AlertSecondButtonReturn;
        } else if (line.startsWith(u's')) {
            m_button = AlertThirdButtonReturn;
        } else {
            m_err << "Please answer n, y or s: ";
            m_err.flush();
            return;
        }
        m_err << "Apply to all in this batch? [y/N]: ";
        m_err.flush();
        return;
    }
    finishQuestion(line.startsWith(u'y'));
}

void TerminalUserInterface::answerAtEndOfInput()
{
    if (m_button == 0) {
        m_button = AlertThirdButtonReturn;
        m_err << "(no answer: skipped)\n";
    } else {
        // The button was chosen; only the batch-wide box stays unticked.
        m_err << "(no answer: this file only)\n";
    }
    m_err.flush();
    finishQuestion(false);
}

void TerminalUserInterface::finishQuestion(bool applyToAll)
{
    auto completion = std::move(m_completion);
    m_completion = nullptr;
    completion(m_button, applyToAll);
}
