#include "GeneralPreferencesPane.h"

#include "FormatSpecifierPopUp.h"
#include "OutputFolderPopUp.h"
#include "PreferenceBindings.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>

using PreferenceBindings::checkBox;

namespace {

// Check boxes stacked in one row of a form, under one label.
QWidget* column(std::initializer_list<QWidget*> widgets)
{
    auto* box = new QWidget;
    auto* layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    for (QWidget* widget : widgets) {
        layout->addWidget(widget);
    }
    return box;
}

} // namespace

GeneralPreferencesPane::GeneralPreferencesPane(QWidget* parent) : QWidget(parent)
{
    auto* form = new QFormLayout(this);
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);

    maxEncodersButton = new QComboBox(this);
    maxEncodersButton->setToolTip(tr("How many files are converted at the same time"));
    splitLongFilesCheckbox =
        checkBox(tr("Use every idle core for one long file"), QStringLiteral("splitLongFiles"), this);
    splitLongFilesCheckbox->setToolTip(
        tr("A file of half a minute or more that starts while fewer files are converting is cut into parts, "
           "encoded at the same time and joined into one MP3"));
    auto* encodersRow = new QHBoxLayout;
    encodersRow->addWidget(maxEncodersButton);
    encodersRow->addWidget(splitLongFilesCheckbox);
    encodersRow->addStretch(1);
    form->addRow(tr("Simultaneous encodes:"), encodersRow);

    outputDirectoryPopUp = new OutputFolderPopUp(this);
    preserveDirectoryStructureCheckbox =
        checkBox(tr("Repeat the sub-folders of dropped folders"),
                 QStringLiteral("preserveInputFileDirectoryStructure"), this);
    openOutputDirectoryCheckbox = checkBox(tr("Open the output folder when finished"),
                                           QStringLiteral("openOutputDirectoryWhenFinished"), this);
    form->addRow(tr("Output folder:"), outputDirectoryPopUp);
    form->addRow(QString(), column({preserveDirectoryStructureCheckbox, openOutputDirectoryCheckbox}));

    useCustomOutputNamingSchemeCheckbox =
        checkBox(tr("Name files with a naming scheme:"), QStringLiteral("useCustomNamingScheme"), this);
    customFileNameTextField = PreferenceBindings::lineEdit(QStringLiteral("customNamingScheme"), this);
    customFileNameTextField->setPlaceholderText(QStringLiteral("{sourceFilename}"));
    customFileNameTextField->setMinimumWidth(320);
    fileNameFormatSpecifierPopUpButton = new FormatSpecifierPopUp(this);
    auto* schemeRow = new QHBoxLayout;
    schemeRow->addWidget(customFileNameTextField, 1);
    schemeRow->addWidget(fileNameFormatSpecifierPopUpButton);
    useTwoDigitTrackNumberCheckbox =
        checkBox(tr("Two-digit track and disc numbers"), QStringLiteral("useTwoDigitNumbers"), this);
    namingSchemeSample = new QLabel(this);
    namingSchemeSample->setTextInteractionFlags(Qt::TextSelectableByMouse);
    // A long name is cut at the window's edge rather than widening it; the
    // tooltip holds all of it.
    namingSchemeSample->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    namingSchemeSample->setMinimumWidth(1);
    namingSchemeSample->setAccessibleName(tr("Example of a file name"));
    QFont sampleFont = namingSchemeSample->font();
    sampleFont.setItalic(true);
    namingSchemeSample->setFont(sampleFont);
    renameFilesWhenUpdatingMetadataOnlyCheckbox =
        checkBox(tr("Rename MP3 files when updating their metadata"),
                 QStringLiteral("renameAfterUpdatingMetadata"), this);
    form->addRow(tr("File names:"), useCustomOutputNamingSchemeCheckbox);
    form->addRow(QString(), schemeRow);
    form->addRow(tr("Example:"), namingSchemeSample);
    form->addRow(QString(),
                 column({useTwoDigitTrackNumberCheckbox, renameFilesWhenUpdatingMetadataOnlyCheckbox}));

    form->addRow(tr("Existing files:"), column({checkBox(tr("Overwrite existing files"),
                                                         QStringLiteral("overwriteOutputFiles"), this),
                                                checkBox(tr("Ask before overwriting a file"),
                                                         QStringLiteral("promptBeforeOverwriting"), this)}));

    auto* replacement = PreferenceBindings::lineEdit(QStringLiteral("replaceInvalidCharactersWith"), this);
    replacement->setMaxLength(4);
    replacement->setMaximumWidth(60);
    auto* replacementRow = new QHBoxLayout;
    replacementRow->addWidget(new QLabel(tr("Replace characters that are not allowed with:"), this));
    replacementRow->addWidget(replacement);
    replacementRow->addStretch();
    form->addRow(tr("Safe names:"), column({checkBox(tr("Names Windows accepts"),
                                                     QStringLiteral("createWindowsSafeFilenames"), this),
                                            checkBox(tr("Names network shares (SMB) accept"),
                                                     QStringLiteral("createSMBSafeFilenames"), this)}));
    form->addRow(QString(), replacementRow);

    skipFilesOfSameTypeCheckbox = checkBox(QStringLiteral("Skip Encoding MP3 Source Files"),
                                           QStringLiteral("skipFilesOfSameType"), this);
    skipFilesOfSameTypeDescription = new QLabel(
        QStringLiteral("When checked, Sonabrik will not re-encode MP3 files added to the queue."), this);
    skipFilesOfSameTypeDescription->setForegroundRole(QPalette::PlaceholderText);
    form->addRow(tr("MP3 sources:"), column({skipFilesOfSameTypeCheckbox, skipFilesOfSameTypeDescription}));
    // MP3 holds at most two channels: without this, surround sources fail.
    form->addRow(tr("Surround sources:"),
                 checkBox(tr("Mix them down to stereo"), QStringLiteral("downmixToStereo"), this));
}
