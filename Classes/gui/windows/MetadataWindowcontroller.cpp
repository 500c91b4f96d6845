#include "MetadataWindowcontroller.h"

#include "AlbumArtwork.h"
#include "ApplicationController.h"
#include "BitrateFormatter.h"
#include "FileEncodeOperation.h"
#include "FileSizeFormatter.h"
#include "GuiServices.h"
#include "Icons.h"
#include "MetadataCommands.h"
#include "MetadataSelection.h"
#include "SampleRateFormatter.h"
#include "SecondsFormatter.h"
#include "UserInterface.h"
#include "ZTAlbumArtworkDropView.h"
#include "ZTTextField.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QShortcut>
#include <QShowEvent>
#include <QTabBar>
#include <QTabWidget>
#include <QTimer>
#include <QVBoxLayout>

using Field = AudioMetadata::Field;

const char* const MetadataWindowcontroller::kMultipleValuesPlaceholder =
    QT_TRANSLATE_NOOP("MetadataWindowcontroller", "Multiple Values");

namespace {

// The numeric fields and their tags; what is typed into them keeps only its
// digits.
struct NumericField
{
    Field field;
    int tag;
};
constexpr NumericField kNumericFields[] = {
    {Field::trackNumber, 6}, {Field::totalTracks, 9}, {Field::discNumber, 10},
    {Field::discTotal, 11},  {Field::trackYear, 12},  {Field::bpm, 13},
};
static_assert(std::size(kNumericFields) == 6, "six numeric fields, tags 6 and 9 to 13");

constexpr int tagOf(Field field)
{
    for (const NumericField& numeric : kNumericFields) {
        if (numeric.field == field) {
            return numeric.tag;
        }
    }
    return 0;
}

bool isNumericTag(int tag)
{
    return tag == 6 || (tag >= 9 && tag <= 13);
}

// Enough for every number these fields hold, and never more than an int.
constexpr int kNumericFieldLength = 9;

const SecondsFormatter kSecondsFormatter;
const FileSizeFormatter kFileSizeFormatter;
const BitrateFormatter kBitrateFormatter;
const SampleRateFormatter kSampleRateFormatter;

// The stream facts of the file tab, in the order shown.
struct FileFactRow
{
    Field field;
    const char* title;
    const ValueFormatter* formatter; // null: the value as text
};
const FileFactRow kFileFacts[] = {
    {Field::sourceKind, QT_TRANSLATE_NOOP("MetadataWindowcontroller", "Kind:"), nullptr},
    {Field::sourceFormat, QT_TRANSLATE_NOOP("MetadataWindowcontroller", "Format:"), nullptr},
    {Field::sourceLength, QT_TRANSLATE_NOOP("MetadataWindowcontroller", "Length:"), &kSecondsFormatter},
    {Field::sourceFileSize, QT_TRANSLATE_NOOP("MetadataWindowcontroller", "Size:"), &kFileSizeFormatter},
    {Field::sourceBitrate, QT_TRANSLATE_NOOP("MetadataWindowcontroller", "Bit rate:"), &kBitrateFormatter},
    {Field::sourceBitrateMode, QT_TRANSLATE_NOOP("MetadataWindowcontroller", "Bit rate mode:"), nullptr},
    {Field::sourceSampleRate, QT_TRANSLATE_NOOP("MetadataWindowcontroller", "Sample rate:"),
     &kSampleRateFormatter},
    {Field::sourceSampleSize, QT_TRANSLATE_NOOP("MetadataWindowcontroller", "Bits per sample:"), nullptr},
    {Field::sourceChannels, QT_TRANSLATE_NOOP("MetadataWindowcontroller", "Channels:"), nullptr},
    {Field::sourceChannelMode, QT_TRANSLATE_NOOP("MetadataWindowcontroller", "Channel mode:"), nullptr},
    {Field::sourceTagFormat, QT_TRANSLATE_NOOP("MetadataWindowcontroller", "Tags:"), nullptr},
    {Field::sourceEncodedWith, QT_TRANSLATE_NOOP("MetadataWindowcontroller", "Encoded with:"), nullptr},
    {Field::sourceLocation, QT_TRANSLATE_NOOP("MetadataWindowcontroller", "Location:"), nullptr},
};

QString factText(const FileFactRow& fact, const QVariant& value)
{
    if (!value.isValid()) {
        return {};
    }
    if (fact.formatter != nullptr) {
        return fact.formatter->stringForObjectValue(value).value_or(QString());
    }
    return value.toString();
}

// Removes what is no digit, keeping the cursor after the same digits. (No
// maximum length on the field: it would cut a pasted "No. 7 of 12" before
// its last digits.)
void keepDigits(QLineEdit* field)
{
    const QString text = field->text();
    QString digits;
    int cursor = field->cursorPosition();
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text.at(i).isDigit() && text.at(i).unicode() < 128) {
            digits.append(text.at(i));
        } else if (i < field->cursorPosition()) {
            --cursor;
        }
    }
    digits.truncate(kNumericFieldLength);
    if (digits != text) {
        field->setText(digits);
        field->setCursorPosition(std::min<int>(cursor, int(digits.size())));
    }
}

} // namespace

MetadataWindowcontroller::MetadataWindowcontroller(ApplicationController& controller, QWidget* parent)
    : QWidget(parent, Qt::Window), m_controller(controller)
{
    setObjectName(QStringLiteral("metadataWindow"));
    setWindowTitle(tr("Metadata Editor"));
    setWindowIcon(Icons::themed(QStringLiteral("document-properties")));

    m_metadataTabView = new QTabWidget(this);
    m_metadataTabView->setObjectName(QStringLiteral("metadataTabView"));
    m_metadataTabView->setDocumentMode(true);
    m_metadataTabView->addTab(createTagsTab(), tr("Tags"));
    m_metadataTabView->tabBar()->setTabData(0, int(TagsTab));

    m_lyricsTextView = new QPlainTextEdit(this);
    m_lyricsTextView->setObjectName(QStringLiteral("lyricsTextView"));
    m_lyricsTextView->setTabChangesFocus(true);
    auto* lyricsPage = new QWidget(this);
    auto* lyricsLayout = new QVBoxLayout(lyricsPage);
    lyricsLayout->setContentsMargins(12, 12, 12, 12);
    lyricsLayout->addWidget(m_lyricsTextView);
    m_metadataTabView->addTab(lyricsPage, tr("Lyrics"));
    m_metadataTabView->tabBar()->setTabData(1, int(LyricsTab));
    connect(m_lyricsTextView, &QPlainTextEdit::textChanged, this, &MetadataWindowcontroller::lyricsChanged);

    m_metadataTabView->addTab(createFileTab(), tr("File"));
    m_metadataTabView->tabBar()->setTabData(2, int(FileTab));

    m_previousButton = new QPushButton(Icons::themed(QStringLiteral("go-previous")), tr("Previous"), this);
    m_previousButton->setObjectName(QStringLiteral("previousButton"));
    m_previousButton->setToolTip(tr("Edit the row above (Alt+Up)"));
    m_nextButton = new QPushButton(Icons::themed(QStringLiteral("go-next")), tr("Next"), this);
    m_nextButton->setObjectName(QStringLiteral("nextButton"));
    m_nextButton->setToolTip(tr("Edit the row below (Alt+Down)"));
    // A click must not take the focus from the field being edited.
    m_previousButton->setFocusPolicy(Qt::TabFocus);
    m_nextButton->setFocusPolicy(Qt::TabFocus);
    connect(m_previousButton, &QPushButton::clicked, this, &MetadataWindowcontroller::previousButtonPressed);
    connect(m_nextButton, &QPushButton::clicked, this, &MetadataWindowcontroller::nextButtonPressed);
    auto* buttons = new QHBoxLayout;
    buttons->setContentsMargins(12, 0, 12, 12);
    buttons->addWidget(m_previousButton);
    buttons->addWidget(m_nextButton);
    buttons->addStretch();

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 6, 0, 0);
    layout->addWidget(m_metadataTabView);
    layout->addLayout(buttons);

    auto* previous = new QShortcut(QKeySequence(Qt::ALT | Qt::Key_Up), this);
    connect(previous, &QShortcut::activated, this, &MetadataWindowcontroller::previousButtonPressed);
    auto* next = new QShortcut(QKeySequence(Qt::ALT | Qt::Key_Down), this);
    connect(next, &QShortcut::activated, this, &MetadataWindowcontroller::nextButtonPressed);
    for (int index = 0; index < m_metadataTabView->count(); ++index) {
        auto* tab = new QShortcut(QKeySequence(Qt::CTRL | (Qt::Key_1 + index)), this);
        connect(tab, &QShortcut::activated, this, [this, index] { switchToMetadataWindowTab(index); });
    }
    auto* close = new QShortcut(QKeySequence::Cancel, this);
    connect(close, &QShortcut::activated, this, &QWidget::close);

    refreshDisplay();
}

MetadataWindowcontroller::~MetadataWindowcontroller() = default;

ZTTextField* MetadataWindowcontroller::addTextField(Field field, int tag)
{
    auto* textField = new ZTTextField(field, tag, this);
    if (isNumericTag(tag)) {
        textField->setFixedWidth(textField->fontMetrics().horizontalAdvance(QStringLiteral("00000")) + 16);
        textField->setAlignment(Qt::AlignRight);
        textField->setInputMethodHints(Qt::ImhDigitsOnly);
    }
    connect(textField, &QLineEdit::textEdited, this, [this, textField] { controlTextDidChange(textField); });
    connect(textField, &QLineEdit::editingFinished, this, [textField] {
        if (isNumericTag(textField->tag())) {
            keepDigits(textField);
        }
    });
    connect(textField, &ZTTextField::controlDidBecomeFirstResponder, this,
            &MetadataWindowcontroller::controlDidBecomeFirstResponder);
    m_textFields.append(textField);
    return textField;
}

QWidget* MetadataWindowcontroller::createTagsTab()
{
    auto* page = new QWidget(this);
    auto* form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    form->setLabelAlignment(Qt::AlignRight | Qt::AlignVCenter);
    form->addRow(tr("Title:"), addTextField(Field::trackTitle));
    form->addRow(tr("Artist:"), addTextField(Field::trackArtist));
    form->addRow(tr("Album:"), addTextField(Field::albumTitle));
    form->addRow(tr("Album artist:"), addTextField(Field::albumArtist));
    form->addRow(tr("Composer:"), addTextField(Field::trackComposer));
    form->addRow(tr("Grouping:"), addTextField(Field::grouping));
    form->addRow(tr("Genre:"), addTextField(Field::trackGenre));

    // Two numbers and their totals side by side, as "Track 3 of 12".
    auto numberPair = [this](const QString& ofText, Field number, Field total, QWidget* parent) {
        auto* row = new QHBoxLayout;
        row->setSpacing(6);
        row->addWidget(addTextField(number, tagOf(number)));
        auto* of = new QLabel(ofText, parent);
        row->addWidget(of);
        row->addWidget(addTextField(total, tagOf(total)));
        return row;
    };
    auto* numbers = new QHBoxLayout;
    numbers->addLayout(numberPair(tr("of"), Field::trackNumber, Field::totalTracks, page));
    numbers->addSpacing(18);
    auto* discLabel = new QLabel(tr("Disc:"), page);
    numbers->addWidget(discLabel);
    numbers->addLayout(numberPair(tr("of"), Field::discNumber, Field::discTotal, page));
    numbers->addStretch();
    form->addRow(tr("Track:"), numbers);

    auto* yearRow = new QHBoxLayout;
    yearRow->addWidget(addTextField(Field::trackYear, tagOf(Field::trackYear)));
    yearRow->addSpacing(18);
    yearRow->addWidget(new QLabel(tr("BPM:"), page));
    yearRow->addWidget(addTextField(Field::bpm, tagOf(Field::bpm)));
    yearRow->addSpacing(18);
    yearRow->addWidget(new QLabel(tr("Key:"), page));
    ZTTextField* key = addTextField(Field::key);
    key->setFixedWidth(key->fontMetrics().horizontalAdvance(QStringLiteral("Abm/G#m")) + 16);
    yearRow->addWidget(key);
    yearRow->addStretch();
    form->addRow(tr("Year:"), yearRow);

    m_compilationCheckbox = new QCheckBox(tr("Part of a compilation"), page);
    m_compilationCheckbox->setObjectName(QStringLiteral("partOfACompilation"));
    connect(m_compilationCheckbox, &QCheckBox::clicked, this, &MetadataWindowcontroller::compilationClicked);
    form->addRow(QString(), m_compilationCheckbox);
    form->addRow(tr("Comment:"), addTextField(Field::trackComment));
    form->addRow(tr("Copyright:"), addTextField(Field::trackCopyright));
    form->addRow(tr("ISRC:"), addTextField(Field::ISRC));

    auto* layout = new QHBoxLayout(page);
    layout->setContentsMargins(12, 12, 12, 12);
    layout->setSpacing(18);
    layout->addLayout(form, 1);
    layout->addWidget(createCoverArea(), 0, Qt::AlignTop);
    return page;
}

QWidget* MetadataWindowcontroller::createCoverArea()
{
    auto* area = new QWidget(this);
    auto* layout = new QVBoxLayout(area);
    layout->setContentsMargins(0, 0, 0, 0);
    m_albumArtworkImageView = new ZTAlbumArtworkDropView(area);
    m_albumArtworkImageView->setDelegate(this);
    m_albumArtworkImageView->setToolTip(tr("Drop a picture here to make it the cover of the selected files"));
    m_albumArtworkDropText = m_albumArtworkImageView->dropTextLabel();
    connect(m_albumArtworkImageView, &ZTAlbumArtworkDropView::imageDeleted, this,
            &MetadataWindowcontroller::albumArtworkImageViewDidChange);
    layout->addWidget(m_albumArtworkImageView);

    auto* info = new QFormLayout;
    m_albumArtworkInfo = info;
    info->setLabelAlignment(Qt::AlignRight | Qt::AlignVCenter);
    auto infoLabel = [area](const char* name) {
        auto* label = new QLabel(area);
        label->setObjectName(QLatin1String(name));
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
        return label;
    };
    m_albumArtworkDimensionsTextField = infoLabel("albumArtworkDimensionsTextField");
    m_albumArtworkDataSizeTextField = infoLabel("albumArtworkDataSizeTextField");
    m_albumArtworkDataTypeTextField = infoLabel("albumArtworkDataTypeTextField");
    info->addRow(tr("Dimensions:"), m_albumArtworkDimensionsTextField);
    info->addRow(tr("Size:"), m_albumArtworkDataSizeTextField);
    info->addRow(tr("Type:"), m_albumArtworkDataTypeTextField);
    layout->addLayout(info);
    layout->addStretch();
    return area;
}

QWidget* MetadataWindowcontroller::createFileTab()
{
    auto* page = new QWidget(this);
    auto* form = new QFormLayout(page);
    form->setContentsMargins(12, 12, 12, 12);
    form->setLabelAlignment(Qt::AlignRight | Qt::AlignVCenter);
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    for (const FileFactRow& fact : kFileFacts) {
        auto* label = new QLabel(page);
        label->setObjectName(AudioMetadata::fieldName(fact.field));
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
        label->setWordWrap(fact.field == Field::sourceLocation);
        form->addRow(tr(fact.title), label);
        m_fileLabels.append({fact.field, label});
    }
    return page;
}

ZTTextField* MetadataWindowcontroller::textField(Field field) const
{
    for (ZTTextField* textField : m_textFields) {
        if (textField->field() == field) {
            return textField;
        }
    }
    return nullptr;
}

QLabel* MetadataWindowcontroller::fileInformationLabel(Field field) const
{
    for (const auto& [labelField, label] : m_fileLabels) {
        if (labelField == field) {
            return label;
        }
    }
    return nullptr;
}

QList<FileEncodeOperation*> MetadataWindowcontroller::selection() const
{
    // The rows whose tags the controller has read; a long selection joins
    // when its reading is done.
    return m_controller.selectedOperations();
}

void MetadataWindowcontroller::refreshDisplay()
{
    m_refreshPending = false;
    observeSelection();
    refreshFields();
    refreshCover();
    refreshFileInformation();
    Q_EMIT displayRefreshed();
}

void MetadataWindowcontroller::scheduleRefresh()
{
    // Commands change many fields of many rows at once: one refresh for all.
    if (!m_refreshPending) {
        m_refreshPending = true;
        QTimer::singleShot(0, this, [this] {
            if (m_refreshPending) {
                refreshDisplay();
            }
        });
    }
}

void MetadataWindowcontroller::observeSelection()
{
    for (const QMetaObject::Connection& connection : std::as_const(m_observed)) {
        disconnect(connection);
    }
    m_observed.clear();
    for (FileEncodeOperation* row : selection()) {
        m_observed.append(connect(row->metadata().get(), &AudioMetadata::fieldDidChange, this,
                                  &MetadataWindowcontroller::scheduleRefresh));
        m_observed.append(connect(row, &FileEncodeOperation::metadataChanged, this,
                                  &MetadataWindowcontroller::scheduleRefresh));
    }
}

void MetadataWindowcontroller::refreshFields()
{
    const QList<FileEncodeOperation*> rows = selection();
    const QString multiple = tr(kMultipleValuesPlaceholder);
    m_refreshing = true;
    for (ZTTextField* textField : std::as_const(m_textFields)) {
        const MetadataSelection::Shown shown = MetadataSelection::shown(rows, textField->field());
        // The field being typed in already shows what it set: leave its
        // cursor alone.
        if (textField->text() != shown.text) {
            textField->setText(shown.text);
        }
        // The numeric fields are too narrow for the words: an ellipsis, with
        // the words as its tip.
        const bool narrow = isNumericTag(textField->tag());
        textField->setPlaceholderText(shown.multiple ? (narrow ? QStringLiteral("…") : multiple) : QString());
        textField->setToolTip(shown.multiple && narrow ? multiple : QString());
        textField->setEnabled(!rows.isEmpty());
    }

    const MetadataSelection::Shown lyrics = MetadataSelection::shown(rows, Field::lyrics);
    if (m_lyricsTextView->toPlainText() != lyrics.text) {
        m_lyricsTextView->setPlainText(lyrics.text);
    }
    m_lyricsTextView->setPlaceholderText(lyrics.multiple ? multiple : QString());
    m_lyricsTextView->setEnabled(!rows.isEmpty());

    const MetadataSelection::Shown compilation = MetadataSelection::shown(rows, Field::partOfACompilation);
    m_compilationCheckbox->setTristate(compilation.multiple);
    m_compilationCheckbox->setCheckState(compilation.multiple                 ? Qt::PartiallyChecked
                                         : compilation.text.toLongLong() != 0 ? Qt::Checked
                                                                              : Qt::Unchecked);
    m_compilationCheckbox->setEnabled(!rows.isEmpty());

    m_previousButton->setEnabled(!rows.isEmpty());
    m_nextButton->setEnabled(!rows.isEmpty());
    m_refreshing = false;
}

void MetadataWindowcontroller::refreshCover()
{
    const QList<FileEncodeOperation*> rows = selection();
    AlbumArtworkPtr shown;
    QString dropText;
    if (rows.isEmpty()) {
        dropText = tr("Nothing Selected");
    } else {
        const AlbumArtworkPtr first = rows.first()->metadata()->albumArtwork();
        const std::optional<QString> md5 = first ? first->md5() : std::nullopt;
        bool allEqual = md5.has_value();
        for (qsizetype i = 1; allEqual && i < rows.size(); ++i) {
            const AlbumArtworkPtr other = rows.at(i)->metadata()->albumArtwork();
            allEqual = other && other->md5() == md5;
        }
        if (allEqual) {
            shown = first;
        } else if (rows.size() == 1) {
            dropText = tr("Drop Artwork For 1 File");
        } else {
            dropText = tr("Drop Artwork For %1 Files").arg(rows.size());
        }
    }

    if (!shown) {
        m_shownCoverMD5.clear();
        m_albumArtworkImageView->setImage(QPixmap());
    } else if (shown->md5().value_or(QString()) != m_shownCoverMD5) {
        // Decoding is the costly part: only when another picture is shown.
        QPixmap image;
        image.loadFromData(shown->data().value_or(QByteArray()));
        m_albumArtworkImageView->setImage(image);
        m_shownCoverMD5 = shown->md5().value_or(QString());
    }
    m_albumArtworkDropText->setText(dropText);
    m_albumArtworkDropText->setVisible(!shown);
    if (shown) {
        m_albumArtworkDimensionsTextField->setText(shown->dimensions());
        m_albumArtworkDataSizeTextField->setText(QString::number(shown->dataSize()));
        m_albumArtworkDataTypeTextField->setText(shown->mimeType().value_or(QString()));
    }
    for (int row = 0; row < m_albumArtworkInfo->rowCount(); ++row) {
        m_albumArtworkInfo->setRowVisible(row, bool(shown));
    }
}

void MetadataWindowcontroller::refreshFileInformation()
{
    const QList<FileEncodeOperation*> rows = selection();
    for (const FileFactRow& fact : kFileFacts) {
        QLabel* label = fileInformationLabel(fact.field);
        QString text;
        for (qsizetype i = 0; i < rows.size(); ++i) {
            const QString rowText = factText(fact, rows.at(i)->metadata()->value(fact.field));
            if (i == 0) {
                text = rowText;
            } else if (rowText != text) {
                text = tr(kMultipleValuesPlaceholder);
                break;
            }
        }
        label->setText(text);
    }
}

void MetadataWindowcontroller::controlTextDidChange(ZTTextField* field)
{
    if (m_refreshing) {
        return;
    }
    if (isNumericTag(field->tag())) {
        keepDigits(field);
    }
    MetadataSelection::setText(selection(), field->field(), field->text());
    field->setPlaceholderText(QString());
    field->setToolTip(QString());
}

void MetadataWindowcontroller::compilationClicked()
{
    // A click settles a mixed selection: on or off for every row.
    const bool on = m_compilationCheckbox->checkState() != Qt::Unchecked;
    m_compilationCheckbox->setTristate(false);
    m_compilationCheckbox->setCheckState(on ? Qt::Checked : Qt::Unchecked);
    for (FileEncodeOperation* row : selection()) {
        row->metadata()->setPartOfACompilation(on ? std::optional<int>(1) : std::nullopt);
    }
}

void MetadataWindowcontroller::lyricsChanged()
{
    if (m_refreshing) {
        return;
    }
    MetadataSelection::setText(selection(), Field::lyrics, m_lyricsTextView->toPlainText());
    m_lyricsTextView->setPlaceholderText(QString());
}

void MetadataWindowcontroller::setCoverOfSelection(const AlbumArtworkPtr& artwork)
{
    for (FileEncodeOperation* row : selection()) {
        row->metadata()->setAlbumArtwork(artwork);
    }
    refreshDisplay();
}

void MetadataWindowcontroller::clearSelectedAlbumArtwork()
{
    m_controller.metadataCommands().clearAlbumArtwork();
    refreshDisplay();
}

void MetadataWindowcontroller::albumArtworkImageViewDidChange()
{
    if (m_albumArtworkImageView->image().isNull()) {
        clearSelectedAlbumArtwork();
    }
}

void MetadataWindowcontroller::recievedFile(ZTAlbumArtworkDropView*, const QString& path)
{
    if (selection().isEmpty()) {
        return;
    }
    const AlbumArtworkPtr artwork = AlbumArtwork::albumArtworkFromFile(path);
    // A file that could not be read gives a cover without a picture: as
    // useless as one that is no picture.
    if (!artwork || !artwork->data()) {
        m_controller.ui().beep();
        return;
    }
    setCoverOfSelection(artwork);
}

void MetadataWindowcontroller::recievedURL(ZTAlbumArtworkDropView*, const QUrl& url)
{
    if (selection().isEmpty()) {
        return;
    }
    const AlbumArtworkPtr artwork = AlbumArtwork::albumArtworkFromURL(url);
    if (!artwork || !artwork->data()) {
        m_controller.ui().beep();
        return;
    }
    setCoverOfSelection(artwork);
}

void MetadataWindowcontroller::recievedImageData(ZTAlbumArtworkDropView*, const QByteArray& data)
{
    if (selection().isEmpty()) {
        return;
    }
    // Pictures dragged out of other programs come as bitmaps: stored as
    // JPEG they take a tenth of the room.
    const std::optional<QByteArray> jpeg = GuiServices::convertImage(data, "jpeg", 80);
    if (!jpeg) {
        return;
    }
    auto artwork = std::make_shared<AlbumArtwork>();
    artwork->setData(*jpeg);
    setCoverOfSelection(artwork);
}

void MetadataWindowcontroller::switchToMetadataWindowTab(int index)
{
    if (index >= 0 && index < m_metadataTabView->count()) {
        m_metadataTabView->setCurrentIndex(index);
    }
}

void MetadataWindowcontroller::controlDidBecomeFirstResponder(QWidget* control)
{
    m_lastSelectedControl = control;
}

void MetadataWindowcontroller::restoreFocus()
{
    // The same field on the other row, so that a column of tags can be
    // typed row after row.
    if (m_metadataTabView->tabBar()->tabData(m_metadataTabView->currentIndex()).toInt() == LyricsTab) {
        m_lyricsTextView->setFocus();
    } else if (m_lastSelectedControl) {
        m_lastSelectedControl->setFocus();
    }
}

void MetadataWindowcontroller::previousButtonPressed()
{
    m_controller.selectPreviousItem();
    restoreFocus();
}

void MetadataWindowcontroller::nextButtonPressed()
{
    m_controller.selectNextItem();
    restoreFocus();
}
