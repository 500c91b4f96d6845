#pragma once
// The main window: a toolbar (add files, add folder, remove, the
// Encode/Cancel button with its update-metadata menu, the output folder
// selector, the metadata editor and the preferences), the queue list, which
// is also where files are dropped, the output formats under it, menus with
// the usual shortcuts, and a status line.
//
// It only shows things and forwards commands: every decision is the
// controller's (ApplicationController), which talks back through the
// DesktopUserInterface. During a run the window's title shows the run's
// progress; a run that ends while the window is in the background is
// announced by a desktop notification.
//
// Main thread. The controller is not owned and must outlive the window.

#include "RunProgress.h"

#include <QElapsedTimer>
#include <QMainWindow>
#include <QTimer>
#include <functional>
#include <memory>

class ApplicationController;
class ErrorLogWindowController;
class MetadataActions;
class MetadataWindowcontroller;
class OutputFolderPopUp;
class OutputFormatsPane;
class PreferencesWindowController;
class QueueListModel;
class QueueListView;
class QLabel;
class QMenu;
class QToolButton;

class MainWindow : public QMainWindow
{
    Q_OBJECT
public:
    explicit MainWindow(ApplicationController& controller, QWidget* parent = nullptr);
    ~MainWindow() override;

    QueueListView* queueView() const { return m_queueView; }
    QueueListModel* queueModel() const { return m_queueModel; }
    OutputFolderPopUp* outputFolderPopUp() const { return m_outputFolder; }
    ErrorLogWindowController* errorLogWindow();
    PreferencesWindowController* preferencesWindow();
    void showPreferences();
    // Closes the preferences and the metadata editor (a run is starting, or
    // the program ends).
    void closeSecondaryWindows();
    // The metadata editor, made on first use; showMetadataWindow() opens it
    // on the current selection.
    MetadataWindowcontroller* metadataWindow();
    void showMetadataWindow();
    // The selection or its metadata changed: the editor (when open) and the
    // metadata commands' enabling follow.
    void refreshMetadataEditor();
    MetadataActions* metadataActions() const { return m_metadataActions; }
    OutputFormatsPane* outputFormatsPane() const { return m_formatsArea; }

    // The Encode/Cancel button.
    void setEncodeButtonToCancel(bool cancel);
    void setEncodeButtonEnabled(bool enabled);
    QAction* encodeButtonAction() const { return m_encodeButton; }
    QToolButton* encodeToolButton() const { return m_encodeToolButton; }

    // Commands, as the menus and the toolbar give them.
    QAction* action(const char* name) const;

    // Asks the controller whether the program may end (a question during a
    // run) and ends it when so: a running conversion is cancelled first.
    void requestQuit();

    // How a finished run is announced while the window is in the
    // background: summary and body of a desktop notification.
    using Notifier = std::function<void(const QString& summary, const QString& body)>;
    void setNotifier(Notifier notifier) { m_notifier = std::move(notifier); }

    // The help text shown by Help (and by the welcome's "Show Help").
    void showHelp();

Q_SIGNALS:
    // Everything is settled for the program to end.
    void terminateApproved();

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void createActions();
    void createMenus();
    void createToolBar();
    void createCentralArea();
    QAction* addCommand(const char* name, const QString& text, const QString& iconName,
                        const QKeySequence& shortcut, std::function<void()> command);
    void addFolder();
    void showQueueContextMenu(int row, const QPoint& globalPosition);
    void encoderRunningChanged();
    void updateEncodeMenu();
    void updateStatus();
    void runStarted();
    void updateRunProgress();
    void runFinished();
    void updateAppearance();
    bool isDarkAppearance() const;

    ApplicationController& m_controller;
    QueueListModel* m_queueModel = nullptr;
    QueueListView* m_queueView = nullptr;
    OutputFolderPopUp* m_outputFolder = nullptr;
    OutputFormatsPane* m_formatsArea = nullptr;
    std::unique_ptr<ErrorLogWindowController> m_errorLog;
    std::unique_ptr<PreferencesWindowController> m_preferences;
    std::unique_ptr<MetadataWindowcontroller> m_metadataWindow;
    MetadataActions* m_metadataActions = nullptr;
    QAction* m_encodeButton = nullptr;
    QToolButton* m_encodeToolButton = nullptr;
    QMenu* m_encodeMenu = nullptr;
    QLabel* m_status = nullptr;
    bool m_encodeButtonCancels = false;
    QList<QPair<QAction*, QString>> m_themedActions;
    Notifier m_notifier;

    // The run as the title shows it.
    QTimer m_runProgressTimer;
    RunProgress m_runProgress;
    QElapsedTimer m_runClock;
    bool m_quitAfterRun = false;
};
