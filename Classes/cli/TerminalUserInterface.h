#pragma once
// The controller's user interface on a terminal: alerts are printed on
// standard error and answered with their default button, except the
// overwrite question, which is asked on the terminal (or answered by a
// batch-wide choice given on the command line). There is no list to show,
// so the list operations only keep the selection.
//
// The overwrite question reads its answers from standard input without
// blocking the event loop, one line per answer and in order: lines read
// together (a pipe delivers them at once) answer the following questions
// without another read. When standard input has ended and no answer is
// left, the file is skipped at once. Main thread only.

#include "UserInterface.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <functional>
#include <memory>

class QSocketNotifier;
class QTextStream;

class TerminalUserInterface : public QObject, public UserInterface
{
    Q_OBJECT
public:
    enum class OverwriteAnswer
    {
        Ask,
        SkipAll,
    };

    TerminalUserInterface(QTextStream& err, OverwriteAnswer overwriteAnswer, QObject* parent = nullptr);
    ~TerminalUserInterface() override;

    // True while a question waits for its answer (the progress display
    // stays quiet then).
    bool isAsking() const { return m_completion != nullptr; }
    // Drops an open question without answering it (the run is cancelled).
    void abandonQuestion();

    void beginAlertSheet(const Alert& alert,
                         std::function<void(int button, bool suppressed)> completion) override;
    int runAlert(const Alert& alert) override;
    // One line on standard error: where the MP3 files go and how to change
    // it. The window's welcome speaks of buttons a terminal does not have.
    int runWelcome(const Alert& alert, const QString& outputFolder) override;

    void beginProgressSheet() override {}
    void endProgressSheet(int) override {}
    void hideProgressSheet() override {}
    void setProgressText(const QString&) override {}
    void setProgressValue(double) override {}
    void setProgressIndeterminate(bool) override {}

    void runOpenPanel(const QStringList&, std::function<void(const QStringList& paths)> completion) override
    {
        completion({});
    }
    void beep() override;

    void reloadQueueList() override {}
    void reloadOutputFormatList() override {}
    QList<int> selectedRows() const override { return m_selection; }
    void selectRows(const QList<int>& rows) override { m_selection = rows; }
    void scrollToRow(int) override {}
    void moveSelectionUp() override {}
    void moveSelectionDown() override {}

    void refreshOutputDirectoryPopUp() override {}
    void setEncodeButtonToCancel(bool) override {}
    void setEncodeButtonEnabled(bool) override {}

    void showErrorLog() override {}
    void closeErrorLog() override {}
    void showPreferences() override {}
    void closeSecondaryWindows() override {}
    void refreshMetadataEditor() override {}
    void showHelp() override {}
    void openFolder(const QString&) override {}

private:
    void readInput();
    // Answers the open question from the buffered lines, reading more only
    // when they do not suffice.
    void takeAnswers();
    void answerLine(const QByteArray& line);
    void answerAtEndOfInput();
    void finishQuestion(bool applyToAll);
    void printAlert(const Alert& alert);

    QTextStream& m_err;
    OverwriteAnswer m_overwriteAnswer;
    QList<int> m_selection;
    std::unique_ptr<QSocketNotifier> m_input;
    QByteArray m_buffer;
    bool m_inputEnded = false;
    // The open question: its completion, and the button chosen so far
    // (0 until the first answer).
    std::function<void(int, bool)> m_completion;
    int m_button = 0;
};
