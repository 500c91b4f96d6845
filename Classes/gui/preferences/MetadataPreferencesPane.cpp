#include "MetadataPreferencesPane.h"

#include "FormatSpecifierPopUp.h"
#include "PreferenceBindings.h"
#include "Preferences.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QPlainTextEdit>

namespace {

// One item of a pop-up bound to an integer preference.
struct Choice
{
    int value;
    const char* title;
};

// The values of "WriteMP3ID3v2TagVersion": the tag version and the
// encoding of its texts.
constexpr Choice kID3v2Choices[] = {
    {2, "ID3v2.3, UTF-16"}, {3, "ID3v2.3, Latin-1"}, {1, "ID3v2.4, UTF-8"},
    {4, "ID3v2.4, UTF-16"}, {5, "ID3v2.4, Latin-1"},
};

// The values of "replayGain".
constexpr Choice kReplayGainChoices[] = {
    {0, QT_TRANSLATE_NOOP("MetadataPreferencesPane", "Off")},
    {1, QT_TRANSLATE_NOOP("MetadataPreferencesPane", "Track")},
    {2, QT_TRANSLATE_NOOP("MetadataPreferencesPane", "Track and album")},
};

template <size_t N> QComboBox* choicePopUp(const QString& key, const Choice (&choices)[N], QWidget* parent)
{
    auto* popUp = new QComboBox(parent);
    for (const Choice& choice : choices) {
        popUp->addItem(QCoreApplication::translate("MetadataPreferencesPane", choice.title), choice.value);
    }
    popUp->setCurrentIndex(
        qMax(0, popUp->findData(static_cast<int>(Preferences::shared().integerValue(key)))));
    QObject::connect(popUp, &QComboBox::activated, popUp, [popUp, key](int index) {
        Preferences::shared().setValue(key, popUp->itemData(index));
    });
    return popUp;
}

} // namespace

MetadataPreferencesPane::MetadataPreferencesPane(QWidget* parent) : QWidget(parent)
{
    using PreferenceBindings::checkBox;
    auto* form = new QFormLayout(this);
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);

    form->addRow(tr("Tags:"), checkBox(tr("Copy the metadata of each source into its MP3 files"),
                                       QStringLiteral("writeMetadata"), this));
    form->addRow(QString(), checkBox(tr("Use the file name as title when a source has none"),
                                     QStringLiteral("fallbackOnFilenameWhenTitleIsMissing"), this));

    mp3ID3v2Checkbox = checkBox(tr("ID3v2 tag"), QStringLiteral("writeMP3ID3v2Tag"), this);
    auto* id3v2Row = new QHBoxLayout;
    id3v2Row->addWidget(mp3ID3v2Checkbox);
    id3v2Row->addWidget(choicePopUp(QStringLiteral("WriteMP3ID3v2TagVersion"), kID3v2Choices, this));
    id3v2Row->addStretch();
    mp3ID3v1Checkbox = checkBox(tr("ID3v1 tag"), QStringLiteral("writeMP3ID3v1Tag"), this);
    mp3APECheckbox = checkBox(tr("APE tag"), QStringLiteral("writeMP3ApeTag"), this);
    form->addRow(tr("MP3 files get:"), id3v2Row);
    form->addRow(QString(), mp3ID3v1Checkbox);
    form->addRow(QString(), mp3APECheckbox);
    form->addRow(QString(), checkBox(tr("Name Sonabrik and LAME as the encoder"),
                                     QStringLiteral("writeEncodedByMetadataTag"), this));

    // Album figures take the files of one run with the same album title and
    // album artist as an album.
    replayGainPopUp = choicePopUp(QStringLiteral("replayGain"), kReplayGainChoices, this);
    replayGainPopUp->setToolTip(
        tr("Measures the loudness of each MP3 and writes ReplayGain tags, so that players can "
           "play every track, or every album, equally loud. An album is the files of one run "
           "with the same album title and album artist."));
    auto* replayGainRow = new QHBoxLayout;
    replayGainRow->addWidget(replayGainPopUp);
    replayGainRow->addStretch();
    form->addRow(tr("ReplayGain:"), replayGainRow);

    form->addRow(tr("Comment:"), checkBox(tr("Replace the comment with this text:"),
                                          QStringLiteral("writeFormatStringToComments"), this));
    commentsFormatStringTextField =
        PreferenceBindings::textEdit(QStringLiteral("commentsFormatString"), this);
    commentsFormatStringTextField->setFixedHeight(
        commentsFormatStringTextField->fontMetrics().lineSpacing() * 4 + 12);
    commentsFormatSpecifierPopupButton = new FormatSpecifierPopUp(this);
    auto* commentRow = new QHBoxLayout;
    commentRow->addWidget(commentsFormatStringTextField, 1);
    commentRow->addWidget(commentsFormatSpecifierPopupButton, 0, Qt::AlignTop);
    form->addRow(QString(), commentRow);
}
