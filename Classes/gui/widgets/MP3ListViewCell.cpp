#include "MP3ListViewCell.h"

#include "EncoderSettings.h"
#include "Preferences.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QListView>
#include <QSignalBlocker>
#include <initializer_list>
#include <utility>

namespace {

using Items = std::initializer_list<std::pair<qint64, const char*>>;

// The values LAME accepts, as the pop-ups offer them. The record's quality
// and VBR quality count upwards (10 is best); LAME gets 10 minus them.
constexpr Items kSampleRates{
    {0, "Same as Source"}, {8000, "8 kHz"},   {11025, "11.025 kHz"}, {12000, "12 kHz"},   {16000, "16 kHz"},
    {22050, "22.05 kHz"},  {24000, "24 kHz"}, {32000, "32 kHz"},     {44100, "44.1 kHz"}, {48000, "48 kHz"}};
constexpr Items kBitrates{{32, "32"},   {40, "40"},   {48, "48"},   {56, "56"},   {64, "64"},
                          {80, "80"},   {96, "96"},   {112, "112"}, {128, "128"}, {160, "160"},
                          {192, "192"}, {224, "224"}, {256, "256"}, {320, "320"}};
constexpr Items kBitrateMethods{{EncoderSettings::CBR, "Constant (CBR)"},
                                {EncoderSettings::ABR, "Average (ABR)"},
                                {EncoderSettings::VBR, "Variable (VBR)"}};
constexpr Items kVbrQualities{{10, "V0 (about 245 kbps)"}, {9, "V1 (about 225 kbps)"},
                              {8, "V2 (about 190 kbps)"},  {7, "V3 (about 175 kbps)"},
                              {6, "V4 (about 165 kbps)"},  {5, "V5 (about 130 kbps)"},
                              {4, "V6 (about 115 kbps)"},  {3, "V7 (about 100 kbps)"},
                              {2, "V8 (about 85 kbps)"},   {1, "V9 (about 65 kbps)"}};
constexpr Items kChannelModes{{0, "Automatic"}, {1, "Stereo"}, {2, "Joint Stereo"}, {3, "Mono"}};
constexpr Items kQualities{{10, "Best (slowest)"}, {9, "Very High"}, {8, "High"},   {7, "Good"},
                           {5, "Normal"},          {3, "Fast"},      {1, "Fastest"}};

// The values configureMenuItems() falls back to.
constexpr qint64 kFallbackSampleRate = 0;
constexpr qint64 kFallbackVbrQuality = 8;
constexpr qint64 kFallbackBitrate = 192;
constexpr qint64 kFallbackChannelMode = 0;
constexpr qint64 kFallbackQuality = 8;

QComboBox* popUp(QWidget* parent, const char* accessibleName, Items items)
{
    auto* button = new QComboBox(parent);
    button->setAccessibleName(MP3ListViewCell::tr(accessibleName));
    for (const auto& [tag, title] : items) {
        button->addItem(MP3ListViewCell::tr(title), tag);
    }
    button->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    return button;
}

QLabel* caption(QWidget* parent, const QString& text)
{
    auto* label = new QLabel(text, parent);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 0.85);
    label->setFont(font);
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

// An item that exists and is not hidden from the pop-up's list.
bool itemAvailable(const QComboBox* button, int index)
{
    if (index < 0 || index >= button->count()) {
        return false;
    }
    const auto* list = qobject_cast<const QListView*>(button->view());
    return list == nullptr || !list->isRowHidden(index);
}

} // namespace

MP3ListViewCell::MP3ListViewCell(QWidget* parent) : EncoderListViewCell(parent)
{
    setAutoFillBackground(false);
    m_enabledCheckBox = new QCheckBox(tr("Encode"), this);
    m_enabledCheckBox->setToolTip(tr("Write files in this format"));

    m_sampleRatePopupButton = popUp(this, "Sample Rate", kSampleRates);
    m_bitratePopupButton = popUp(this, "Bitrate", kBitrates);
    m_bitrateModePopupButton = popUp(this, "Bitrate Mode", kBitrateMethods);
    m_vbrQualityPopupButton = popUp(this, "VBR Quality", kVbrQualities);
    m_channelsPopupButton = popUp(this, "Channels", kChannelModes);
    m_qualityPopupButton = popUp(this, "Quality", kQualities);
    m_bitrateTextField = caption(this, tr("Bitrate kbps"));
    m_bitrateModeTextField = caption(this, tr("Bitrate Mode"));

    m_formatLabel = new QLabel(tr("MP3"), this);
    QFont bold = m_formatLabel->font();
    bold.setBold(true);
    m_formatLabel->setFont(bold);
    m_formatLabel->setToolTip(tr("Sonabrik writes MP3 files"));
    m_outputFormatPopupButton->hide();

    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(6, 5, 8, 5);
    grid->setHorizontalSpacing(10);
    grid->setVerticalSpacing(1);
    grid->addWidget(m_enabledCheckBox, 0, 0);
    grid->addWidget(m_formatLabel, 1, 0);
    grid->setColumnMinimumWidth(0, 70);
    grid->addWidget(caption(this, tr("Sample Rate")), 0, 1);
    grid->addWidget(m_sampleRatePopupButton, 1, 1);
    grid->addWidget(m_bitrateModeTextField, 0, 2);
    grid->addWidget(m_bitrateModePopupButton, 1, 2);
    grid->addWidget(m_bitrateTextField, 0, 3);
    grid->addWidget(m_bitratePopupButton, 1, 3);
    grid->addWidget(m_vbrQualityPopupButton, 1, 3);
    grid->addWidget(caption(this, tr("Channels")), 0, 4);
    grid->addWidget(m_channelsPopupButton, 1, 4);
    grid->addWidget(caption(this, tr("Quality")), 0, 5);
    grid->addWidget(m_qualityPopupButton, 1, 5);
    grid->setColumnStretch(6, 1);

    connect(m_enabledCheckBox, &QCheckBox::toggled, this, [this](bool on) {
        if (m_encoderSettings) {
            m_encoderSettings->setEnabled(on);
        }
    });
    connect(m_sampleRatePopupButton, &QComboBox::activated, this, &MP3ListViewCell::sampleRateChanged);
    connect(m_bitratePopupButton, &QComboBox::activated, this, &MP3ListViewCell::bitrateChanged);
    connect(m_bitrateModePopupButton, &QComboBox::activated, this, &MP3ListViewCell::bitrateModeChanged);
    connect(m_vbrQualityPopupButton, &QComboBox::activated, this, &MP3ListViewCell::vbrQualityChanged);
    connect(m_channelsPopupButton, &QComboBox::activated, this, &MP3ListViewCell::channelsChanged);
    connect(m_qualityPopupButton, &QComboBox::activated, this, &MP3ListViewCell::qualityChanged);
}

void MP3ListViewCell::configureMenuItems()
{
    if (m_encoderSettings) {
        // Quietly: the list that shows this cell would rebuild it under us.
        const QSignalBlocker quiet(m_encoderSettings.data());
        m_encoderSettings->makeMP3();
    }
    EncoderListViewCell::configureMenuItems();
    if (!m_encoderSettings) {
        return;
    }
    EncoderSettings& record = *m_encoderSettings;
    const QSignalBlocker blockers[] = {
        QSignalBlocker(m_sampleRatePopupButton),  QSignalBlocker(m_bitratePopupButton),
        QSignalBlocker(m_bitrateModePopupButton), QSignalBlocker(m_vbrQualityPopupButton),
        QSignalBlocker(m_channelsPopupButton),    QSignalBlocker(m_qualityPopupButton),
        QSignalBlocker(m_enabledCheckBox)};
    m_enabledCheckBox->setChecked(record.enabled());

    if (!selectItemWithTag(m_sampleRatePopupButton, record.sampleRate())) {
        record.setSampleRate(kFallbackSampleRate);
        m_sampleRatePopupButton->setCurrentIndex(0);
    }

    m_bitrateTextField->setText(tr("Bitrate kbps"));
    const qint32 method = record.bitrateMethod();
    const int methodIndex = indexOfTag(m_bitrateModePopupButton, method);
    if ((method == EncoderSettings::VBR || method == EncoderSettings::ABR) &&
        itemAvailable(m_bitrateModePopupButton, methodIndex)) {
        m_bitrateModePopupButton->setCurrentIndex(methodIndex);
        if (method == EncoderSettings::VBR) {
            m_bitrateTextField->setText(tr("VBR Quality"));
        }
    } else {
        if (method != EncoderSettings::CBR) {
            record.setBitrateMethod(EncoderSettings::CBR);
        }
        m_bitrateModePopupButton->setCurrentIndex(0);
    }
    const bool vbr = record.bitrateMethod() == EncoderSettings::VBR;
    m_bitratePopupButton->setVisible(!vbr);
    m_vbrQualityPopupButton->setVisible(vbr);

    if (!selectItemWithTag(m_vbrQualityPopupButton, record.vbrQuality())) {
        record.setVbrQuality(kFallbackVbrQuality);
        selectItemWithTag(m_vbrQualityPopupButton, kFallbackVbrQuality);
    }
    if (!selectItemWithTag(m_bitratePopupButton, record.bitrate())) {
        record.setBitrate(kFallbackBitrate);
        selectItemWithTag(m_bitratePopupButton, kFallbackBitrate);
    }
    if (!selectItemWithTag(m_channelsPopupButton, record.channelMode())) {
        record.setChannelMode(qint32(kFallbackChannelMode));
        selectItemWithTag(m_channelsPopupButton, kFallbackChannelMode);
    }
    if (!selectItemWithTag(m_qualityPopupButton, record.quality())) {
        // The fall-back is selected in the channel pop-up, not in the
        // quality pop-up, which keeps no selection: see the header.
        record.setQuality(kFallbackQuality);
        selectItemWithTag(m_channelsPopupButton, kFallbackQuality);
        m_qualityPopupButton->setCurrentIndex(-1);
    }

    storePreviousSettings();
}

void MP3ListViewCell::storePreviousSettings()
{
    Preferences::shared().setValue(QStringLiteral("previousMP3Settings"),
                                   m_encoderSettings->settingsDictionary());
}

template <class Value>
void MP3ListViewCell::applySelectedTag(QComboBox* popUp, void (EncoderSettings::*setter)(Value))
{
    if (m_encoderSettings) {
        (m_encoderSettings.data()->*setter)(Value(selectedTag(popUp)));
        storePreviousSettings();
    }
}

void MP3ListViewCell::sampleRateChanged()
{
    applySelectedTag(m_sampleRatePopupButton, &EncoderSettings::setSampleRate);
}

void MP3ListViewCell::bitrateChanged()
{
    applySelectedTag(m_bitratePopupButton, &EncoderSettings::setBitrate);
}

void MP3ListViewCell::bitrateModeChanged()
{
    applySelectedTag(m_bitrateModePopupButton, &EncoderSettings::setBitrateMethod);
    // The method shows the bit rate or the VBR quality.
    configureMenuItems();
}

void MP3ListViewCell::vbrQualityChanged()
{
    applySelectedTag(m_vbrQualityPopupButton, &EncoderSettings::setVbrQuality);
}

void MP3ListViewCell::channelsChanged()
{
    applySelectedTag(m_channelsPopupButton, &EncoderSettings::setChannelMode);
}

void MP3ListViewCell::qualityChanged()
{
    applySelectedTag(m_qualityPopupButton, &EncoderSettings::setQuality);
}
