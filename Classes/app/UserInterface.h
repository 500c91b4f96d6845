#pragma once
// The user-interface operations the application controller needs, so that
// its logic runs without a windowing toolkit: the desktop program implements
// them with widgets, sonabrik-cli with a terminal, the tests with a script.
//
// Every function is called on the main thread. Completions may be called
// later from the event loop or before the call returns; the controller
// copes with both.

#include <QString>
#include <QStringList>
#include <functional>

// Return codes of alert buttons: the first, second and third button.
enum AlertButton : int
{
    AlertFirstButtonReturn = 1000,
    AlertSecondButtonReturn = 1001,
    AlertThirdButtonReturn = 1002,
};

struct Alert
{
    enum class Style
    {
        Warning,
        Informational,
        Critical,
    };
    QString messageText;
    QString informativeText;
    QStringList buttons;      // in order; the first is the default
    QString suppressionTitle; // a check box with this title; none when empty
    Style style = Style::Warning;
};

class UserInterface
{
public:
    virtual ~UserInterface() = default;

    // An alert as a sheet on the main window; completion gets the button's
    // return code and whether the suppression box was ticked.
    virtual void beginAlertSheet(const Alert& alert,
                                 std::function<void(int button, bool suppressed)> completion) = 0;
    // An alert shown at once; returns the button's code.
    virtual int runAlert(const Alert& alert) = 0;
    // The welcome of the first launch; outputFolder is where MP3 files go
    // (empty: beside their sources). A window shows the alert; a terminal
    // may say something shorter that fits it.
    virtual int runWelcome(const Alert& alert, const QString& outputFolder)
    {
        Q_UNUSED(outputFolder);
        return runAlert(alert);
    }

    // The progress sheet: value from 0 to 100.
    virtual void beginProgressSheet() = 0;
    virtual void endProgressSheet(int returnCode) = 0;
    virtual void hideProgressSheet() = 0;
    virtual void setProgressText(const QString& text) = 0;
    virtual void setProgressValue(double value) = 0;
    virtual void setProgressIndeterminate(bool indeterminate) = 0;

    // Files and folders, several at once, limited to the extensions;
    // completion gets the chosen paths, or nothing when cancelled.
    virtual void runOpenPanel(const QStringList& allowedExtensions,
                              std::function<void(const QStringList& paths)> completion) = 0;

    virtual void beep() = 0;

    // The queue list and the output-format list.
    virtual void reloadQueueList() = 0;
    virtual void reloadOutputFormatList() = 0;
    virtual QList<int> selectedRows() const = 0;
    virtual void selectRows(const QList<int>& rows) = 0;
    virtual void scrollToRow(int row) = 0;
    virtual void moveSelectionUp() = 0;
    virtual void moveSelectionDown() = 0;

    // The output folder selector shows the folder of the preferences again.
    virtual void refreshOutputDirectoryPopUp() = 0;

    // The Encode button: true shows Cancel. The controller sets the enabled
    // state itself with every change of label, and Cancel disables the
    // button until what it stopped has ended; a user interface need not
    // enable it here.
    virtual void setEncodeButtonToCancel(bool cancel) = 0;
    virtual void setEncodeButtonEnabled(bool enabled) = 0;

    // Other windows and the desktop.
    virtual void showErrorLog() = 0;
    virtual void closeErrorLog() = 0;
    virtual void showPreferences() = 0;
    virtual void closeSecondaryWindows() = 0; // preferences and metadata editor
    virtual void refreshMetadataEditor() = 0;
    virtual void showHelp() = 0;
    virtual void openFolder(const QString& path) = 0;
};
