#pragma once
// The metadata editor ("Metadata Window"): the tags of the queue rows the
// controller has selected, in fields that edit every selected row at once.
// A field whose rows disagree shows "Multiple Values" and leaves them as
// they are until something is typed into it.
//
// Tabs, by identifier: 0 the tags and the cover, 1 the file's stream facts
// (length, size, bit rate and sample rate through the value formatters),
// 2 the lyrics. The six numeric fields (tags 6 track, 9 tracks in all,
// 10 disc, 11 discs in all, 12 year, 13 tempo) drop every character that is
// not a digit as it is typed. The cover area shows the rows' common cover
// (compared by the MD5 of its bytes) with its size, type and dimensions, or
// a drop text; files, addresses and picture data dropped on it become the
// cover of every selected row, and a file that is no picture beeps.
// Previous and Next move the queue's selection and give the focus back to
// the field that had it.
//
// The window follows the selection (refreshDisplay, which the controller
// has called on every change) and, on its own, every change of the shown
// records' fields (the metadata commands, a revert).
//
// Main thread. The controller is not owned and must outlive the window.

#include "AudioMetadata.h"
#include "ZTAlbumArtworkDropViewDelegate.h"

#include <QList>
#include <QPointer>
#include <QWidget>

class ApplicationController;
class FileEncodeOperation;
class QCheckBox;
class QFormLayout;
class QLabel;
class QPlainTextEdit;
class QPushButton;
class QTabWidget;
class ZTAlbumArtworkDropView;
class ZTTextField;

class MetadataWindowcontroller : public QWidget, public ZTAlbumArtworkDropViewDelegate
{
    Q_OBJECT
public:
    // Tab identifiers.
    enum TabIdentifier
    {
        TagsTab = 0,
        FileTab = 1,
        LyricsTab = 2,
    };
    static const char* const kMultipleValuesPlaceholder;

    explicit MetadataWindowcontroller(ApplicationController& controller, QWidget* parent = nullptr);
    ~MetadataWindowcontroller() override;

    // Shows the selected rows again.
    void refreshDisplay();

    void clearSelectedAlbumArtwork();
    void albumArtworkImageViewDidChange();
    // Selects the tab at index.
    void switchToMetadataWindowTab(int index);
    void nextButtonPressed();
    void previousButtonPressed();
    void controlDidBecomeFirstResponder(QWidget* control);

    // ZTAlbumArtworkDropViewDelegate.
    void recievedFile(ZTAlbumArtworkDropView* view, const QString& path) override;
    void recievedURL(ZTAlbumArtworkDropView* view, const QUrl& url) override;
    void recievedImageData(ZTAlbumArtworkDropView* view, const QByteArray& data) override;

    // Parts, for the tests and the menus.
    QTabWidget* metadataTabView() const { return m_metadataTabView; }
    QPlainTextEdit* lyricsTextView() const { return m_lyricsTextView; }
    ZTAlbumArtworkDropView* albumArtworkImageView() const { return m_albumArtworkImageView; }
    QLabel* albumArtworkDropText() const { return m_albumArtworkDropText; }
    QLabel* albumArtworkDimensionsTextField() const { return m_albumArtworkDimensionsTextField; }
    QLabel* albumArtworkDataSizeTextField() const { return m_albumArtworkDataSizeTextField; }
    QLabel* albumArtworkDataTypeTextField() const { return m_albumArtworkDataTypeTextField; }
    QWidget* lastSelectedControl() const { return m_lastSelectedControl; }
    // The field of a metadata field, or null when the window has none.
    ZTTextField* textField(AudioMetadata::Field field) const;
    // The text of a stream fact on the file tab.
    QLabel* fileInformationLabel(AudioMetadata::Field field) const;

Q_SIGNALS:
    // After every refresh, so that commands can be enabled anew.
    void displayRefreshed();

private:
    QWidget* createTagsTab();
    QWidget* createFileTab();
    QWidget* createCoverArea();
    ZTTextField* addTextField(AudioMetadata::Field field, int tag = 0);
    void controlTextDidChange(ZTTextField* field);
    void compilationClicked();
    void lyricsChanged();
    void refreshFields();
    void refreshCover();
    void refreshFileInformation();
    void observeSelection();
    void scheduleRefresh();
    void setCoverOfSelection(const AlbumArtworkPtr& artwork);
    void restoreFocus();
    QList<FileEncodeOperation*> selection() const;

    ApplicationController& m_controller;
    QTabWidget* m_metadataTabView = nullptr;
    QPlainTextEdit* m_lyricsTextView = nullptr;
    ZTAlbumArtworkDropView* m_albumArtworkImageView = nullptr;
    QLabel* m_albumArtworkDropText = nullptr;
    QLabel* m_albumArtworkDimensionsTextField = nullptr;
    QLabel* m_albumArtworkDataSizeTextField = nullptr;
    QLabel* m_albumArtworkDataTypeTextField = nullptr;
    QFormLayout* m_albumArtworkInfo = nullptr;
    QPointer<QWidget> m_lastSelectedControl;
    QCheckBox* m_compilationCheckbox = nullptr;
    QPushButton* m_previousButton = nullptr;
    QPushButton* m_nextButton = nullptr;
    QList<ZTTextField*> m_textFields;
    QList<QPair<AudioMetadata::Field, QLabel*>> m_fileLabels;
    QList<QMetaObject::Connection> m_observed;
    QString m_shownCoverMD5;
    bool m_refreshing = false;
    bool m_refreshPending = false;
};
