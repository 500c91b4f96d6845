#pragma once
// The controller's user interface on the desktop: alerts as message boxes
// that are window-modal over the main window (sheets) or application-modal
// (alerts answered at once), the progress sheet as a window-modal progress
// dialog with Cancel, open dialogs, the system beep, and the main window's
// lists, button and selector.
//
// Alert buttons keep their order and return codes (1000, 1001, 1002): the
// first is the default and sits where the desktop puts the confirming
// button, the second beside it, the third apart on the other side.
//
// Main thread. Create it before the controller, attach the window and the
// controller once both exist; until then the list calls do nothing.

#include "UserInterface.h"

#include <QObject>
#include <QPointer>

class ApplicationController;
class MainWindow;
class QMessageBox;
class QProgressDialog;

class DesktopUserInterface : public QObject, public UserInterface
{
    Q_OBJECT
public:
    DesktopUserInterface();
    ~DesktopUserInterface() override;

    void attach(MainWindow* window, ApplicationController* controller);

    // The message box of an alert, not yet shown (tests look at it).
    static QMessageBox* messageBoxFor(const Alert& alert, QWidget* parent);

    void beginAlertSheet(const Alert& alert,
                         std::function<void(int button, bool suppressed)> completion) override;
    int runAlert(const Alert& alert) override;

    void beginProgressSheet() override;
    void endProgressSheet(int returnCode) override;
    void hideProgressSheet() override;
    void setProgressText(const QString& text) override;
    void setProgressValue(double value) override;
    void setProgressIndeterminate(bool indeterminate) override;

    void runOpenPanel(const QStringList& allowedExtensions,
                      std::function<void(const QStringList& paths)> completion) override;
    void beep() override;

    void reloadQueueList() override;
    void reloadOutputFormatList() override;
    QList<int> selectedRows() const override;
    void selectRows(const QList<int>& rows) override;
    void scrollToRow(int row) override;
    void moveSelectionUp() override;
    void moveSelectionDown() override;

    void refreshOutputDirectoryPopUp() override;
    void setEncodeButtonToCancel(bool cancel) override;
    void setEncodeButtonEnabled(bool enabled) override;

    void showErrorLog() override;
    void closeErrorLog() override;
    void showPreferences() override;
    void closeSecondaryWindows() override;
    void refreshMetadataEditor() override;
    void showHelp() override;
    void openFolder(const QString& path) override;

private:
    QProgressDialog* progressDialog();
    void moveSelection(int step);

    QPointer<MainWindow> m_window;
    ApplicationController* m_controller = nullptr;
    QPointer<QProgressDialog> m_progress;
    bool m_settingSelection = false;
};
