#pragma once
// The menu commands on the metadata of the selected queue rows: clear all,
// clear the cover, clear the lyrics, copy, paste and revert. The commands
// themselves are the controller's (MetadataCommands); this adds what the
// desktop brings: the actions with their shortcuts, their enabling (only
// when they can act, and never during a run), and the system clipboard, so
// that a tag set copied in one Sonabrik window pastes in another.
//
// Copy and paste use Ctrl+Shift+C and Ctrl+Shift+V: Ctrl+C and Ctrl+V belong
// to the text fields of the metadata editor, where these commands work too.
//
// The actions are children of the owner widget given (the main window,
// whose action(name) finds them by name); add them to any other window that
// should answer their shortcuts. Main thread. The controller is not owned
// and must outlive this.

#include <QList>
#include <QObject>

class ApplicationController;
class QAction;
class QWidget;

class MetadataActions : public QObject
{
    Q_OBJECT
public:
    MetadataActions(ApplicationController& controller, QWidget* owner);

    // In menu order: clear all, clear cover, clear lyrics, copy, paste,
    // revert.
    const QList<QAction*>& actions() const { return m_actions; }

    // Enables each command by what the selection holds, the run and the
    // clipboard.
    void updateEnabled();

    void copyAllMetadata();
    // The clipboard's tag set when it holds one (another window's copy),
    // else the one copied here.
    void pasteAllMetadata();

private:
    QAction* addCommand(const char* name, const QString& text, const QString& iconName,
                        const QKeySequence& shortcut, void (MetadataActions::*command)());
    bool clipboardHasMetadata() const;

    ApplicationController& m_controller;
    QWidget* m_owner;
    QList<QAction*> m_actions;
    QAction* m_clearAll = nullptr;
    QAction* m_clearCover = nullptr;
    QAction* m_clearLyrics = nullptr;
    QAction* m_copy = nullptr;
    QAction* m_paste = nullptr;
    QAction* m_revert = nullptr;
};
