#include "PreferencesWindowController.h"

#include "AlbumArtworkPreferencesPane.h"
#include "ApplicationNotifier.h"
#include "DSDPreferencesPane.h"
#include "ErrorLogPreferencesPane.h"
#include "FormatSpecifierMenu.h"
#include "FormatSpecifierPopUp.h"
#include "GeneralPreferencesPane.h"
#include "Icons.h"
#include "MetadataPreferencesPane.h"
#include "MusicLibraryPreferencesPane.h"
#include "NamingSchemePreview.h"
#include "OutputFolderPopUp.h"
#include "Preferences.h"
#include "PreferencesRules.h"
#include "QueuePreferencesPane.h"

#include <QActionGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QShortcut>
#include <QThread>
#include <QToolBar>

namespace {

Preferences& preferences()
{
    return Preferences::shared();
}

struct PaneItem
{
    int tag;
    const char* title;
    const char* iconName;
};
constexpr PaneItem kPaneItems[] = {
    {PreferencesWindowController::GeneralView, QT_TRANSLATE_NOOP("PreferencesWindowController", "General"),
     "preferences-system"},
    {PreferencesWindowController::MusicLibraryView,
     QT_TRANSLATE_NOOP("PreferencesWindowController", "Music Library"), "multimedia-player"},
    {PreferencesWindowController::QueueView, QT_TRANSLATE_NOOP("PreferencesWindowController", "Queue"),
     "format-justify-fill"},
    {PreferencesWindowController::AlbumArtworkView,
     QT_TRANSLATE_NOOP("PreferencesWindowController", "Album Artwork"), "image-x-generic"},
    {PreferencesWindowController::MetadataView, QT_TRANSLATE_NOOP("PreferencesWindowController", "Metadata"),
     "document-properties"},
    {PreferencesWindowController::ErrorLogView, QT_TRANSLATE_NOOP("PreferencesWindowController", "Error Log"),
     "dialog-warning"},
    {PreferencesWindowController::DSDView, QT_TRANSLATE_NOOP("PreferencesWindowController", "DSD"),
     "media-optical"},
};
static_assert(std::size(kPaneItems) == PreferencesWindowController::DSDView + 1, "one toolbar item per pane");

// A token goes over the whole value of a field nobody is typing in, and
// over the selection of the one being edited.
void insertToken(QLineEdit* field, const QString& token)
{
    if (field->hasFocus()) {
        field->insert(token);
    } else {
        field->setText(token);
    }
}

void insertToken(QPlainTextEdit* field, const QString& token)
{
    if (field->hasFocus()) {
        field->textCursor().insertText(token);
    } else {
        field->setPlainText(token);
    }
}

} // namespace

PreferencesWindowController::PreferencesWindowController(QWidget* parent)
    : QMainWindow(parent, Qt::Window), m_general(new GeneralPreferencesPane(this)),
      m_musicLibrary(new MusicLibraryPreferencesPane(this)), m_queue(new QueuePreferencesPane(this)),
      m_albumArtwork(new AlbumArtworkPreferencesPane(this)), m_metadata(new MetadataPreferencesPane(this)),
      m_errorLog(new ErrorLogPreferencesPane(this)), m_dsd(new DSDPreferencesPane(this)),
      m_preview(std::make_unique<NamingSchemePreview>())
{
    setWindowTitle(QStringLiteral("Sonabrik Preferences"));
    setObjectName(QStringLiteral("preferencesWindow"));
    createToolbar();

    // Every pane is as wide as the widest, so that the toolbar stays put
    // and only the height changes from pane to pane.
    for (int tag = GeneralView; tag <= DSDView; ++tag) {
        QWidget* pane = viewForTag(tag);
        pane->setContentsMargins(12, 12, 12, 12);
        pane->hide();
        m_paneWidth = qMax(m_paneWidth, pane->sizeHint().width());
    }
    m_paneWidth = qMax(m_paneWidth, m_toolbar->sizeHint().width());

    PreferencesRules::adoptOlderSameAsSource();
    m_general->outputDirectoryPopUp->refresh();
    connect(ApplicationNotifier::shared(), &ApplicationNotifier::outputDirectoryDidChange, this,
            &PreferencesWindowController::outputDirectoryChanged);
    connect(m_general->preserveDirectoryStructureCheckbox, &QCheckBox::toggled, this,
            &PreferencesWindowController::configureCheckboxes);
    connect(m_general->useCustomOutputNamingSchemeCheckbox, &QCheckBox::toggled, this,
            &PreferencesWindowController::configureCheckboxes);
    configureCheckboxes();

    fillMaxEncodersButton();
    connectTokenPopUps();

    connect(m_general->customFileNameTextField, &QLineEdit::textChanged, this,
            &PreferencesWindowController::namingSchemeChanged);
    connect(m_general->useTwoDigitTrackNumberCheckbox, &QCheckBox::toggled, this,
            &PreferencesWindowController::namingSchemeChanged);
    namingSchemeChanged();

    connect(m_dsd->dsdDecimationPopUpButton, &QComboBox::activated, this,
            &PreferencesWindowController::dsdDecimationDidChange);
    dsdDecimationDidChange();

    auto* close = new QShortcut(QKeySequence::Close, this);
    connect(close, &QShortcut::activated, this, &QWidget::close);
    auto* escape = new QShortcut(QKeySequence(Qt::Key_Escape), this);
    connect(escape, &QShortcut::activated, this, &QWidget::close);

    switchView(GeneralView);
}

PreferencesWindowController::~PreferencesWindowController() = default;

void PreferencesWindowController::createToolbar()
{
    m_toolbar = addToolBar(tr("Panes"));
    m_toolbar->setObjectName(QStringLiteral("preferencesToolbar"));
    m_toolbar->setMovable(false);
    m_toolbar->setFloatable(false);
    m_toolbar->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    m_toolbar->setIconSize(QSize(24, 24));
    m_toolbar->toggleViewAction()->setVisible(false);
    setContextMenuPolicy(Qt::NoContextMenu);
    m_paneActions = new QActionGroup(this);
    m_paneActions->setExclusive(true);
    for (const PaneItem& item : kPaneItems) {
        QAction* action =
            m_toolbar->addAction(Icons::themed(QString::fromLatin1(item.iconName)), tr(item.title));
        action->setCheckable(true);
        action->setData(item.tag);
        // Ctrl+1 ... Ctrl+7 reach the panes from the keyboard.
        action->setShortcut(QKeySequence(Qt::CTRL | Qt::Key(Qt::Key_1 + item.tag)));
        m_paneActions->addAction(action);
        connect(action, &QAction::triggered, this, [this, tag = item.tag] { switchView(tag); });
    }
}

QWidget* PreferencesWindowController::viewForTag(int tag) const
{
    switch (tag) {
    case MusicLibraryView:
        return m_musicLibrary;
    case QueueView:
        return m_queue;
    case AlbumArtworkView:
        return m_albumArtwork;
    case MetadataView:
        return m_metadata;
    case ErrorLogView:
        return m_errorLog;
    case DSDView:
        return m_dsd;
    default:
        return m_general;
    }
}

void PreferencesWindowController::switchView(int tag)
{
    QWidget* pane = viewForTag(tag);
    m_currentViewTag = pane == m_general ? GeneralView : tag;
    for (QAction* action : m_paneActions->actions()) {
        action->setChecked(action->data().toInt() == m_currentViewTag);
    }
    if (centralWidget() != pane) {
        // Taking the central widget also takes it from the window's
        // children: give it back, so that the window still owns every pane.
        if (QWidget* shown = takeCentralWidget()) {
            shown->hide();
            shown->setParent(this);
        }
        setCentralWidget(pane);
        pane->show();
    }
    resizeToPane(pane);
}

void PreferencesWindowController::resizeToPane(QWidget* pane)
{
    // A top-level window grows and shrinks from its top-left corner, so the
    // toolbar stays where the user looks while the pane below changes.
    layout()->invalidate();
    const int height = m_toolbar->sizeHint().height() + pane->sizeHint().height();
    setFixedSize(m_paneWidth, height);
}

void PreferencesWindowController::fillMaxEncodersButton()
{
    QComboBox* button = m_general->maxEncodersButton;
    const int processors = qMax(1, QThread::idealThreadCount());
    for (int n = 1; n <= processors; ++n) {
        button->addItem(QString::asprintf("%d", n));
    }
    const PreferencesRules::MaxEncodersChoice choice = PreferencesRules::maxEncodersChoice(
        preferences().integerValue(QStringLiteral("numProcesses")), processors);
    button->setCurrentIndex(choice.selectedIndex);
    if (choice.correctedValue) {
        preferences().setValue(QStringLiteral("numProcesses"), *choice.correctedValue);
    }
    // One encode at a time leaves no core idle for a long file's parts.
    m_general->splitLongFilesCheckbox->setEnabled(maxEncoders() > 1);
    connect(button, &QComboBox::activated, this, [this](int index) { setMaxEncoders(index + 1); });
}

int PreferencesWindowController::maxEncoders() const
{
    return m_general->maxEncodersButton->currentText().toInt();
}

void PreferencesWindowController::setMaxEncoders(int count)
{
    QComboBox* button = m_general->maxEncodersButton;
    if (count < 1 || count > button->count()) {
        return;
    }
    button->setCurrentIndex(count - 1);
    preferences().setValue(QStringLiteral("numProcesses"), count);
    m_general->splitLongFilesCheckbox->setEnabled(count > 1);
}

OutputFolderPopUp* PreferencesWindowController::outputDirectoryPopUp() const
{
    return m_general->outputDirectoryPopUp;
}

void PreferencesWindowController::connectTokenPopUps()
{
    for (FormatSpecifierPopUp* popUp :
         {m_general->fileNameFormatSpecifierPopUpButton, m_musicLibrary->playlistFormatSpecifierPopUpButton,
          m_albumArtwork->albumArtworkFileNameFormatSpecifierPopupButton,
          m_albumArtwork->albumArtworkReadNameFormatSpecifierPopupButton,
          m_metadata->commentsFormatSpecifierPopupButton}) {
        connect(popUp, &FormatSpecifierPopUp::formatSpecifierChosen, this,
                [this, popUp](int tag) { insertFormatSpecifier(popUp, tag); });
    }
}

void PreferencesWindowController::insertFormatSpecifier(FormatSpecifierPopUp* sender, int tag)
{
    const QString token = FormatSpecifierMenu::tokenForTag(tag);
    if (sender == m_general->fileNameFormatSpecifierPopUpButton) {
        insertToken(m_general->customFileNameTextField, token);
    } else if (sender == m_musicLibrary->playlistFormatSpecifierPopUpButton) {
        insertToken(m_musicLibrary->playlistTextField, token);
    } else if (sender == m_albumArtwork->albumArtworkFileNameFormatSpecifierPopupButton) {
        insertToken(m_albumArtwork->albumArtworkFileNameTextField, token);
    } else if (sender == m_albumArtwork->albumArtworkReadNameFormatSpecifierPopupButton) {
        insertToken(m_albumArtwork->albumArtworkReadNameTextField, token);
    } else if (sender == m_metadata->commentsFormatSpecifierPopupButton) {
        insertToken(m_metadata->commentsFormatStringTextField, token);
    } else {
        return;
    }
    namingSchemeChanged();
}

void PreferencesWindowController::namingSchemeChanged()
{
    const QString sample = m_preview->sampleFor(m_general->customFileNameTextField->text());
    m_general->namingSchemeSample->setText(sample);
    m_general->namingSchemeSample->setToolTip(sample);
}

void PreferencesWindowController::configureCheckboxes()
{
    const bool sameAsSource =
        outputDirectoryPopUp()->currentData().toInt() == OutputFolderPopUp::SameAsSourceItem;
    const PreferencesRules::NamingControls enabled = PreferencesRules::configureCheckboxes(
        sameAsSource, preferences().boolValue(QStringLiteral("preserveInputFileDirectoryStructure")),
        preferences().boolValue(QStringLiteral("useCustomNamingScheme")));
    m_general->preserveDirectoryStructureCheckbox->setEnabled(enabled.preserveStructure);
    m_general->openOutputDirectoryCheckbox->setEnabled(enabled.preserveStructure);
    m_general->useCustomOutputNamingSchemeCheckbox->setEnabled(enabled.useCustomNaming);
    for (QWidget* control : std::initializer_list<QWidget*>{
             m_general->fileNameFormatSpecifierPopUpButton, m_general->customFileNameTextField,
             m_general->useTwoDigitTrackNumberCheckbox,
             m_general->renameFilesWhenUpdatingMetadataOnlyCheckbox, m_general->namingSchemeSample}) {
        control->setEnabled(enabled.namingScheme);
    }
}

void PreferencesWindowController::outputDirectoryChanged()
{
    outputDirectoryPopUp()->refresh();
    configureCheckboxes();
}

void PreferencesWindowController::dsdDecimationDidChange()
{
    const int decimation = m_dsd->dsdDecimationPopUpButton->currentData().toInt();
    m_dsd->dsd64SampleRateTextField->setText(PreferencesRules::dsd64SampleRateNote(decimation));
    m_dsd->dsd128SampleRateTextField->setText(PreferencesRules::dsd128SampleRateNote(decimation));
}
