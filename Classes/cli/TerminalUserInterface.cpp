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
    if (m_inputEnded) {
        QTimer::singleShot(0, this, [this] { answerLine({}, true); });
        return;
    }
    if (!m_input) {
        m_input = std::make_unique<QSocketNotifier>(STDIN_FILENO, QSocketNotifier::Read);
        connect(m_input.get(), &QSocketNotifier::activated, this, &TerminalUserInterface::readInput);
    }
    m_input->setEnabled(true);
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
    if (n <= 0) {
        m_inputEnded = true;
        m_input->setEnabled(false);
        answerLine(m_buffer, true);
        m_buffer.clear();
        return;
    }
    m_buffer.append(chunk, n);
    qsizetype newline;
    while ((newline = m_buffer.indexOf('\n')) >= 0 && m_completion) {
        const QByteArray line = m_buffer.left(newline);
        m_buffer.remove(0, newline + 1);
        answerLine(line, false);
    }
    if (!m_completion && m_input) {
        m_input->setEnabled(false);
    }
}

void TerminalUserInterface::answerLine(const QByteArray& rawLine, bool endOfInput)
{
    if (!m_completion) {
        return;
    }
    const QString line = QString::fromLocal8Bit(rawLine).trimmed().toLower();
    if (m_button == 0) {
        if (line.startsWith(u'n')) {
            m_button = AlertFirstButtonReturn;
        } else if (line.startsWith(u'y')) {
            m_button = AlertSecondButtonReturn;
        } else if (line.startsWith(u's') || endOfInput) {
            m_button = AlertThirdButtonReturn;
        } else {
            m_err << "Please answer n, y or s: ";
            m_err.flush();
            return;
        }
        if (endOfInput) {
            m_err << "(no answer: skipped)\n";
        } else {
            m_err << "Apply to all in this batch? [y/N]: ";
        }
        m_err.flush();
        if (!endOfInput) {
            return;
        }
    }
    const bool applyToAll = !endOfInput && line.startsWith(u'y');
    auto completion = std::move(m_completion);
    m_completion = nullptr;
    const int button = m_button;
    completion(button, applyToAll);
}
