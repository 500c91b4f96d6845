#pragma once
// The controller tests' user interface: alerts answered from a script (then the first button), calls
// recorded, sheet answers delivered from the event loop as a real sheet's are.

#include "UserInterface.h"

class ApplicationController;

#include <QList>
#include <QStringList>

class ScriptedUserInterface : public UserInterface
{
public:
    struct Answer
    {
        int button = AlertFirstButtonReturn;
        bool applyToAll = false;
    };

    QList<Answer> answers; // consumed in order by sheets and alerts
    // When set, sheets stay open with completions in heldSheets, as if the user walked away.
    bool holdSheets = false;
    QList<std::function<void(int button, bool suppressed)>> heldSheets;
    QList<Alert> alerts; // every alert shown, in order
    QStringList calls;   // "beep", "beginProgressSheet", "showErrorLog", ...
    QList<int> selection;
    int outputFormatListReloads = 0;
    QStringList openPanelAnswer;

    bool progressSheetShown() const { return calls.contains(QStringLiteral("beginProgressSheet")); }
    QStringList alertMessages() const;

    void beginAlertSheet(const Alert& alert,
                         std::function<void(int button, bool suppressed)> completion) override;
    int runAlert(const Alert& alert) override;

    void beginProgressSheet() override { calls << QStringLiteral("beginProgressSheet"); }
    void endProgressSheet(int code) override { calls << QStringLiteral("endProgressSheet %1").arg(code); }
    void hideProgressSheet() override {}
    void setProgressText(const QString& text) override { progressTexts << text; }
    void setProgressValue(double) override {}
    void setProgressIndeterminate(bool) override {}
    QStringList progressTexts;

    void runOpenPanel(const QStringList&, std::function<void(const QStringList& paths)> completion) override
    {
        completion(openPanelAnswer);
    }
    void beep() override { calls << QStringLiteral("beep"); }

    void reloadQueueList() override {}
    void reloadOutputFormatList() override { ++outputFormatListReloads; }
    QList<int> selectedRows() const override { return selection; }
    void selectRows(const QList<int>& rows) override { selection = rows; }
    void scrollToRow(int) override {}
    void moveSelectionUp() override {}
    void moveSelectionDown() override {}

    void refreshOutputDirectoryPopUp() override {}
    // The Encode button as the calls left it.
    void setEncodeButtonToCancel(bool cancel) override { encodeButtonCancels = cancel; }
    void setEncodeButtonEnabled(bool enabled) override { encodeButtonEnabled = enabled; }
    bool encodeButtonCancels = false;
    bool encodeButtonEnabled = true;

    void showErrorLog() override { calls << QStringLiteral("showErrorLog"); }
    void closeErrorLog() override {}
    void showPreferences() override { calls << QStringLiteral("showPreferences"); }
    void closeSecondaryWindows() override {}
    void refreshMetadataEditor() override {}
    void showHelp() override {}
    void openFolder(const QString& path) override { calls << QStringLiteral("openFolder ") + path; }

private:
    Answer nextAnswer();
};

// Turns the event loop until done() holds; false after timeoutSeconds.
bool waitUntil(const std::function<bool()>& done, int timeoutSeconds = 60);

// Hands paths to the controller's intake as a drop does and waits for it; false on a timeout.
bool openFilesAndWait(ApplicationController& controller, const QStringList& paths);
