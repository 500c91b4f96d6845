#include "EncoderListViewCell.h"

#include "CoreAudioTypes.h"
#include "EncoderSettings.h"
#include "Preferences.h"

#include <QComboBox>
#include <QSignalBlocker>
#include <QStandardItemModel>
#include <array>
#include <optional>

namespace {

using ES = EncoderSettings;

// One item of the output-format pop-up: what choosing it writes into the
// record, and under which key the last settings of that kind are kept.
struct FormatRow
{
    int tag;
    const char* title;
    qint32 encoderType;
    const char* formatID; // nullptr: the type has no platform format
    const char* fileType;
    const char* extension;
    const char* rememberedUnder;
};

constexpr std::array<FormatRow, 18> kFormats{{
    {EncoderListViewCell::AACTag, "AAC", ES::CoreAudio, "aac ", "m4af", "m4a", "previousCoreAudioSettings"},
    {EncoderListViewCell::AIFFTag, "AIFF", ES::CoreAudio, "lpcm", "AIFF", "aif", "previousCoreAudioSettings"},
    {EncoderListViewCell::AIFCTag, "AIFC", ES::CoreAudio, "lpcm", "AIFC", "aif", "previousCoreAudioSettings"},
    {EncoderListViewCell::AppleLosslessTag, "Apple Lossless", ES::CoreAudio, "alac", "m4af", "m4a",
     "previousCoreAudioSettings"},
    {EncoderListViewCell::CAFTag, "Core Audio Format", ES::CoreAudio, "lpcm", "caff", "caf",
     "previousCoreAudioSettings"},
    {EncoderListViewCell::FLACTag, "FLAC", ES::FLAC, nullptr, nullptr, "flac", "previousFLACSettings"},
    {EncoderListViewCell::MP3Tag, "MP3", ES::MP3, nullptr, nullptr, "mp3", "previousMP3Settings"},
    {EncoderListViewCell::WAVTag, "WAV", ES::CoreAudio, "lpcm", "WAVE", "wav", "previousCoreAudioSettings"},
    {EncoderListViewCell::ThreeGPTag, "3GP", ES::CoreAudio, "aac ", "3gpp", "3gp",
     "previousCoreAudioSettings"},
    {EncoderListViewCell::ThreeGP2Tag, "3GP2", ES::CoreAudio, "aac ", "3gp2", "3g2",
     "previousCoreAudioSettings"},
    {EncoderListViewCell::NeXTTag, "NeXT/Sun", ES::CoreAudio, "ulaw", "NeXT", "snd",
     "previousCoreAudioSettings"},
    {EncoderListViewCell::SoundDesignerTag, "Sound Designer II", ES::CoreAudioSD2, "lpcm", "Sd2f", "sd2",
     "previousCoreAudioSettings"},
    {EncoderListViewCell::OggFLACTag, "Ogg FLAC", ES::OggFLAC, nullptr, nullptr, "oga",
     "previousFLACSettings"},
    {EncoderListViewCell::OggVorbisTag, "Ogg Vorbis", ES::OggVorbis, nullptr, nullptr, "ogg",
     "previousVorbisSettings"},
    {EncoderListViewCell::MonkeysAudioTag, "Monkey's Audio", ES::MonkeysAudio, nullptr, nullptr, "ape",
     "previousMonkeysAudioSettings"},
    {EncoderListViewCell::TrueAudioTag, "True Audio", ES::TrueAudio, nullptr, nullptr, "tta",
     "previousTrueAudioSettings"},
    {EncoderListViewCell::SpeexTag, "Ogg Speex", ES::OggSpeex, nullptr, nullptr, "spx",
     "previousSpeexSettings"},
    {EncoderListViewCell::OpusTag, "Opus", ES::Opus, nullptr, nullptr, "opus", "previousOpusSettings"},
}};
static_assert(kFormats.size() == EncoderListViewCell::OpusTag, "one row per format tag");

quint32 packedCode(const char* code)
{
    return quint32(quint8(code[0])) << 24 | quint32(quint8(code[1])) << 16 | quint32(quint8(code[2])) << 8 |
           quint32(quint8(code[3]));
}

const FormatRow* formatWithTag(qint64 tag)
{
    for (const FormatRow& row : kFormats) {
        if (row.tag == tag) {
            return &row;
        }
    }
    return nullptr;
}

// The platform formats are told apart by their file type; an MPEG-4 file
// holds AAC or Apple Lossless.
std::optional<int> tagForPlatformFormat(const EncoderSettings& record)
{
    const quint32 fileType = record.fileType();
    if (fileType == fourCC("m4af") || fileType == fourCC("mp4f")) {
        return record.formatID() == fourCC("alac") ? EncoderListViewCell::AppleLosslessTag
                                                   : EncoderListViewCell::AACTag;
    }
    for (const FormatRow& row : kFormats) {
        if (row.fileType != nullptr && packedCode(row.fileType) == fileType) {
            return row.tag;
        }
    }
    return std::nullopt;
}

std::optional<int> tagForRecord(const EncoderSettings& record)
{
    const qint32 type = record.encoderType();
    if (type == ES::CoreAudio || type == ES::CoreAudioSD2) {
        return tagForPlatformFormat(record);
    }
    for (const FormatRow& row : kFormats) {
        if (row.fileType == nullptr && row.encoderType == type) {
            return row.tag;
        }
    }
    return std::nullopt;
}

} // namespace

EncoderListViewCell::EncoderListViewCell(QWidget* parent) : QWidget(parent)
{
    m_outputFormatPopupButton = new QComboBox(this);
    m_outputFormatPopupButton->setAccessibleName(tr("Output Format"));
    m_outputFormatPopupButton->setToolTip(tr("Sonabrik writes MP3 files. The other formats are kept only "
                                             "so that settings stored by other programs survive."));
    // MP3 first: the one format that is encoded.
    m_outputFormatPopupButton->addItem(tr("MP3"), int(MP3Tag));
    m_outputFormatPopupButton->insertSeparator(1);
    for (const FormatRow& row : kFormats) {
        if (row.tag != MP3Tag) {
            m_outputFormatPopupButton->addItem(tr(row.title), row.tag);
        }
    }
    connect(m_outputFormatPopupButton, &QComboBox::activated, this,
            &EncoderListViewCell::outputFormatChanged);
}

EncoderListViewCell::~EncoderListViewCell() = default;

void EncoderListViewCell::setEncoderSettings(EncoderSettings* record)
{
    m_encoderSettings = record;
    configureMenuItems();
}

void EncoderListViewCell::configureMenuItems()
{
    if (!m_encoderSettings) {
        return;
    }
    const QSignalBlocker blocker(m_outputFormatPopupButton);
    const std::optional<int> tag = tagForRecord(*m_encoderSettings);
    m_outputFormatPopupButton->setCurrentIndex(tag ? indexOfTag(m_outputFormatPopupButton, *tag) : -1);
}

void EncoderListViewCell::outputFormatChanged()
{
    const FormatRow* row = formatWithTag(selectedTag(m_outputFormatPopupButton));
    if (!m_encoderSettings || row == nullptr) {
        return;
    }
    EncoderSettings& record = *m_encoderSettings;
    record.setEncoderType(row->encoderType);
    if (row->formatID != nullptr) {
        record.setFormatID(packedCode(row->formatID));
        record.setFileType(packedCode(row->fileType));
    }
    record.setExtension(QString::fromLatin1(row->extension));
    const QVariantMap remembered =
        Preferences::shared().dictionaryValue(QString::fromLatin1(row->rememberedUnder));
    record.setQuality(remembered.value(QStringLiteral("quality")).toInt());
    record.setBitrate(remembered.value(QStringLiteral("bitrate")).toInt());
    record.setBitrateMethod(remembered.value(QStringLiteral("method")).toInt());
    record.setChannelMode(remembered.value(QStringLiteral("mode")).toInt());
    configureMenuItems();
}

int EncoderListViewCell::indexOfTag(const QComboBox* popUp, qint64 tag)
{
    for (int index = 0; index < popUp->count(); ++index) {
        const QVariant data = popUp->itemData(index);
        if (data.isValid() && data.toLongLong() == tag) {
            return index;
        }
    }
    return -1;
}

bool EncoderListViewCell::selectItemWithTag(QComboBox* popUp, qint64 tag)
{
    const int index = indexOfTag(popUp, tag);
    if (index < 0) {
        return false;
    }
    popUp->setCurrentIndex(index);
    return true;
}

qint64 EncoderListViewCell::selectedTag(const QComboBox* popUp)
{
    const QVariant data = popUp->currentData();
    return data.isValid() ? data.toLongLong() : -1;
}
