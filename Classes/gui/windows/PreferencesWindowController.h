#pragma once
// The preferences window, "Sonabrik Preferences": a toolbar of panes
// (general, music library, queue, album artwork, metadata, error log, DSD)
// over the pane shown, the window taking each pane's size with its top edge
// kept in place.
//
// The panes' controls store their keys as they change. The window adds
// what is more than a binding: the simultaneous-encodes pop-up with its
// correction of stored values without an item and the "use every idle core
// for one long file" box beside it, enabled from two encodes on, the output
// folder selector
// (the same as the main window's, refreshed on "the output folder
// changed"), the enabling rules of the naming controls, the token pop-ups
// that insert into their fields, the live preview of the naming scheme, and
// the DSD sample-rate notes.
//
// Main thread. Made once and kept; the program closes it when a run starts.

#include <QMainWindow>
#include <memory>

class AlbumArtworkPreferencesPane;
class DSDPreferencesPane;
class ErrorLogPreferencesPane;
class FormatSpecifierPopUp;
class GeneralPreferencesPane;
class MetadataPreferencesPane;
class MusicLibraryPreferencesPane;
class NamingSchemePreview;
class OutputFolderPopUp;
class QActionGroup;
class QToolBar;
class QueuePreferencesPane;

class PreferencesWindowController : public QMainWindow
{
    Q_OBJECT
public:
    // Pane tags; any other tag means the general pane.
    enum ViewTag
    {
        GeneralView = 0,
        MusicLibraryView = 1,
        QueueView = 2,
        AlbumArtworkView = 3,
        MetadataView = 4,
        ErrorLogView = 5,
        DSDView = 6,
    };

    explicit PreferencesWindowController(QWidget* parent = nullptr);
    ~PreferencesWindowController() override;

    void switchView(int tag);
    QWidget* viewForTag(int tag) const;
    int currentViewTag() const { return m_currentViewTag; }

    // The number in the selected simultaneous-encodes item; setting n
    // selects item n - 1 (and stores n, as a user's choice does).
    int maxEncoders() const;
    void setMaxEncoders(int count);

    OutputFolderPopUp* outputDirectoryPopUp() const;

    // Inserts the token tagged tag into the field of the sending pop-up:
    // the whole field when it is not being edited, else its selection.
    void insertFormatSpecifier(FormatSpecifierPopUp* sender, int tag);

    void namingSchemeChanged();
    void configureCheckboxes();
    void dsdDecimationDidChange();

    GeneralPreferencesPane* generalPreferenceView() const { return m_general; }
    MusicLibraryPreferencesPane* iTunesPreferenceView() const { return m_musicLibrary; }
    QueuePreferencesPane* queuePreferenceView() const { return m_queue; }
    AlbumArtworkPreferencesPane* albumArtworkPreferenceView() const { return m_albumArtwork; }
    MetadataPreferencesPane* metadataPreferenceView() const { return m_metadata; }
    ErrorLogPreferencesPane* errorLogPreferenceView() const { return m_errorLog; }
    DSDPreferencesPane* dsdPreferenceView() const { return m_dsd; }
    QToolBar* preferencesToolbar() const { return m_toolbar; }

private:
    void createToolbar();
    void fillMaxEncodersButton();
    void connectTokenPopUps();
    void outputDirectoryChanged();
    void resizeToPane(QWidget* pane);

    QToolBar* m_toolbar = nullptr;
    QActionGroup* m_paneActions = nullptr;
    GeneralPreferencesPane* m_general = nullptr;
    MusicLibraryPreferencesPane* m_musicLibrary = nullptr;
    QueuePreferencesPane* m_queue = nullptr;
    AlbumArtworkPreferencesPane* m_albumArtwork = nullptr;
    MetadataPreferencesPane* m_metadata = nullptr;
    ErrorLogPreferencesPane* m_errorLog = nullptr;
    DSDPreferencesPane* m_dsd = nullptr;
    int m_currentViewTag = GeneralView;
    int m_paneWidth = 0;
    std::unique_ptr<NamingSchemePreview> m_preview;
};
