#include "EncoderSettings.h"

#include "ErrorLog.h"

#include "CoreAudioTypes.h"

#include <QLatin1StringView>
#include <QVariant>
#include <array>
#include <cmath>
#include <iterator>

namespace {

// Reads a stored number the way stored formats have always been read: as a
// 32-bit integer, wrapping anything wider. Strings of digits count as
// numbers, since hand-edited or older settings files hold them.
qint32 int32Of(const QVariant& value)
{
    if (!value.isValid()) {
        return 0;
    }
    if (value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Float) {
        const double d = value.toDouble();
        if (!std::isfinite(d) || std::fabs(d) >= 9.2e18) {
            return 0;
        }
        return qint32(quint32(quint64(qint64(d))));
    }
    bool ok = false;
    const qlonglong integer = value.toLongLong(&ok);
    if (ok) {
        return qint32(quint32(quint64(integer)));
    }
    const double d = value.toDouble(&ok);
    if (ok && std::isfinite(d) && std::fabs(d) < 9.2e18) {
        return qint32(quint32(quint64(qint64(d))));
    }
    return 0;
}

// The stored form of one field. Rows are in the order of settingsDictionary's
// keys; kKeyCount keeps the table and the key list in step.
enum SettingsKey
{
    KeyEnabled,
    KeyEncoderType,
    KeyExtension,
    KeyBitrate,
    KeyBitDepth,
    KeyQuality,
    KeySampleRate,
    KeyMethod,
    KeyMode,
    KeyVbrQuality,
    KeyFileType,
    KeyFormatID,
    KeyFormatFlags,
    KeyFramesPerPacket,
    KeyFlacCompressionLevel,
    KeyFlacVerifyEncoding,
    KeyEncoderAction,
    KeyMacCompressionLevel,
    KeySpeexAdaptiveGainControl,
    KeySpeexDenoise,
    KeySpeexVoiceActivityDetection,
    KeySpeexDiscontinuousTransmission,
    kKeyCount
};

struct KeyRow
{
    SettingsKey id;
    QLatin1StringView key;
    QVariant (*store)(const EncoderSettings&);
    void (*load)(EncoderSettings&, const QVariant&);
};

template <auto Getter, auto Setter> constexpr KeyRow integerRow(SettingsKey id, QLatin1StringView key)
{
    return {id, key,
            [](const EncoderSettings& s) {
                // Each field keeps its own width and signedness in the dictionary.
                return QVariant::fromValue((s.*Getter)());
            },
            [](EncoderSettings& s, const QVariant& v) {
                using Field = decltype((s.*Getter)());
                (s.*Setter)(Field(int32Of(v)));
            }};
}

template <auto Getter, auto Setter> constexpr KeyRow booleanRow(SettingsKey id, QLatin1StringView key)
{
    return {id, key, [](const EncoderSettings& s) { return QVariant((s.*Getter)()); },
            [](EncoderSettings& s, const QVariant& v) { (s.*Setter)(v.toBool()); }};
}

using ES = EncoderSettings;
constexpr KeyRow kKeys[] = {
    booleanRow<&ES::enabled, &ES::setEnabled>(KeyEnabled, QLatin1StringView("enabled")),
    integerRow<&ES::encoderType, &ES::setEncoderType>(KeyEncoderType, QLatin1StringView("encoderType")),
    {KeyExtension, QLatin1StringView("extension"), [](const ES& s) { return QVariant(s.extension()); },
     [](ES& s, const QVariant& v) { s.setExtension(v.isValid() ? v.toString() : QString()); }},
    integerRow<&ES::bitrate, &ES::setBitrate>(KeyBitrate, QLatin1StringView("bitrate")),
    integerRow<&ES::bitDepth, &ES::setBitDepth>(KeyBitDepth, QLatin1StringView("bitDepth")),
    integerRow<&ES::quality, &ES::setQuality>(KeyQuality, QLatin1StringView("quality")),
    integerRow<&ES::sampleRate, &ES::setSampleRate>(KeySampleRate, QLatin1StringView("sampleRate")),
    integerRow<&ES::bitrateMethod, &ES::setBitrateMethod>(KeyMethod, QLatin1StringView("method")),
    integerRow<&ES::channelMode, &ES::setChannelMode>(KeyMode, QLatin1StringView("mode")),
    integerRow<&ES::vbrQuality, &ES::setVbrQuality>(KeyVbrQuality, QLatin1StringView("vbrQuality")),
    integerRow<&ES::fileType, &ES::setFileType>(KeyFileType, QLatin1StringView("fileType")),
    integerRow<&ES::formatID, &ES::setFormatID>(KeyFormatID, QLatin1StringView("formatID")),
    integerRow<&ES::formatFlags, &ES::setFormatFlags>(KeyFormatFlags, QLatin1StringView("formatFlags")),
    integerRow<&ES::framesPerPacket, &ES::setFramesPerPacket>(KeyFramesPerPacket,
                                                              QLatin1StringView("framesPerPacket")),
    integerRow<&ES::flacCompressionLevel, &ES::setFlacCompressionLevel>(
        KeyFlacCompressionLevel, QLatin1StringView("flacCompressionLevel")),
    booleanRow<&ES::flacVerifyEncoding, &ES::setFlacVerifyEncoding>(KeyFlacVerifyEncoding,
                                                                    QLatin1StringView("flacVerifyEncoding")),
    integerRow<&ES::encoderAction, &ES::setEncoderAction>(KeyEncoderAction,
                                                          QLatin1StringView("encoderAction")),
    integerRow<&ES::macCompressionLevel, &ES::setMacCompressionLevel>(
        KeyMacCompressionLevel, QLatin1StringView("macCompressionLevel")),
    booleanRow<&ES::speexAdaptiveGainControl, &ES::setSpeexAdaptiveGainControl>(
        KeySpeexAdaptiveGainControl, QLatin1StringView("speexAdaptiveGainControl")),
    booleanRow<&ES::speexDenoise, &ES::setSpeexDenoise>(KeySpeexDenoise, QLatin1StringView("speexDenoise")),
    booleanRow<&ES::speexVoiceActivityDetection, &ES::setSpeexVoiceActivityDetection>(
        KeySpeexVoiceActivityDetection, QLatin1StringView("speexVoiceActivityDetection")),
    booleanRow<&ES::speexDiscontinuousTransmission, &ES::setSpeexDiscontinuousTransmission>(
        KeySpeexDiscontinuousTransmission, QLatin1StringView("speexDiscontinuousTransmission")),
};
static_assert(std::size(kKeys) == kKeyCount, "one row per stored key");
constexpr bool rowsFollowTheKeyEnum()
{
    for (size_t i = 0; i < std::size(kKeys); ++i) {
        if (kKeys[i].id != SettingsKey(i)) {
            return false;
        }
    }
    return true;
}
static_assert(rowsFollowTheKeyEnum(), "rows in the order of SettingsKey");

struct CodeName
{
    uint32_t code;
    const char* name; // UTF-8
};

// Display names of Core Audio file types. 'm4af' and 'mp4f' are named by
// their data format and are handled before this table.
constexpr CodeName kFileTypeNames[] = {
    {fourCC("3gp2"), "3GP2"},     {fourCC("3gpp"), "3GP"},
    {fourCC("AIFC"), "AIFC"},     {fourCC("AIFF"), "AIFF"},
    {fourCC("NeXT"), "NeXt/SUN"}, {fourCC("Sd2f"), "Sound Designer II"},
    {fourCC("WAVE"), "WAV"},      {fourCC("caff"), "Core Audio Format"},
};

// Encoding descriptions of the Core Audio data formats that carry no
// parameters. 'aac ', 'alac' and 'lpcm' are described with their settings.
constexpr CodeName kFixedFormatDescriptions[] = {
    {fourCC("aace"), "MPEG-4 AAC Enhanced Low Delay"},
    {fourCC("aacf"), "MPEG-4 AAC Enhanced Low Delay SBR"},
    {fourCC("aach"), "MPEG-4 High Efficiency AAC"},
    {fourCC("aacl"), "MPEG-4 AAC Low Delay"},
    {fourCC("aacp"), "MPEG-4 High Efficiency AAC Version 2"},
    {fourCC("Qclp"), "Qualcomm PureVoice\u2122"},
    {fourCC("alaw"), "A-Law 2:1"},
    {fourCC("ulaw"), "\u03bc-Law 2:1"},
    {fourCC("ilbc"), "iLBC"},
    {fourCC("samr"), "AMR Narrowband"},
    {fourCC("ima4"), "IMA 4:1"},
};

QString nameOf(uint32_t code, const CodeName* begin, const CodeName* end)
{
    for (const CodeName* row = begin; row != end; ++row) {
        if (row->code == code) {
            return QString::fromUtf8(row->name);
        }
    }
    return QString();
}

// Encoder types whose display name is a constant.
constexpr const char* kEncoderTypeNames[] = {
    "MP3",   nullptr,         "FLAC",       "Ogg FLAC",  "Ogg Vorbis",
    nullptr, "Monkeys Audio", "True Audio", "Ogg Speex", "Opus",
};
static_assert(std::size(kEncoderTypeNames) == EncoderSettings::Opus + 1, "one name per encoder type");

struct MacLevelName
{
    qint32 level;
    const char* name;
};
constexpr MacLevelName kMacLevelNames[] = {
    {1000, "Fast"}, {2000, "Normal"}, {3000, "High"}, {4000, "Extra High"}, {5000, "Insane"},
};

bool isM4AFileType(uint32_t fileType)
{
    return fileType == fourCC("m4af") || fileType == fourCC("mp4f");
}

} // namespace

EncoderSettings::EncoderSettings() = default;

EncoderSettings::EncoderSettings(const QVariantMap& dictionary)
{
    for (const KeyRow& row : kKeys) {
        row.load(*this, dictionary.value(row.key));
    }
    m_encoderSetting = 0;
}

EncoderSettings::~EncoderSettings() = default;

std::unique_ptr<EncoderSettings> EncoderSettings::copy() const
{
    auto copy = std::make_unique<EncoderSettings>();
    copy->setEnabled(m_enabled);
    copy->setEncoderType(m_encoderType);
    copy->setExtension(m_extension);
    copy->setBitrate(m_bitrate);
    copy->setQuality(m_quality);
    copy->setSampleRate(m_sampleRate);
    copy->setBitrateMethod(m_bitrateMethod);
    copy->setChannelMode(m_channelMode);
    copy->setBitDepth(m_bitDepth);
    copy->setVbrQuality(m_vbrQuality);
    copy->setFramesPerPacket(m_framesPerPacket);
    copy->setEncoderAction(m_encoderAction);
    copy->setFileType(m_fileType);
    copy->setFormatID(m_formatID);
    copy->setFormatFlags(m_formatFlags);
    copy->setFlacCompressionLevel(m_flacCompressionLevel);
    copy->setFlacVerifyEncoding(m_flacVerifyEncoding);
    copy->setMacCompressionLevel(m_macCompressionLevel);
    copy->setSpeexDenoise(m_speexDenoise);
    copy->setSpeexAdaptiveGainControl(m_speexAdaptiveGainControl);
    copy->setSpeexVoiceActivityDetection(m_speexVoiceActivityDetection);
    copy->setSpeexDiscontinuousTransmission(m_speexDiscontinuousTransmission);
    return copy;
}

QVariantMap EncoderSettings::settingsDictionary() const
{
    QVariantMap dictionary;
    for (const KeyRow& row : kKeys) {
        dictionary.insert(row.key, row.store(*this));
    }
    return dictionary;
}

QString EncoderSettings::outputFormatDescription() const
{
    if (m_encoderType == CoreAudio || m_encoderType == CoreAudioSD2) {
        // Type 5 also recognises this number as Sound Designer II; old
        // settings stored it that way.
        if (m_encoderType == CoreAudioSD2 && m_fileType == 0x160000) {
            return QStringLiteral("Sound Designer II");
        }
        if (isM4AFileType(m_fileType)) {
            return m_formatID == kAudioFormatAppleLossless ? QStringLiteral("Apple Lossless")
                                                           : QStringLiteral("AAC");
        }
        return nameOf(m_fileType, std::begin(kFileTypeNames), std::end(kFileTypeNames));
    }
    if (m_encoderType >= 0 && m_encoderType < qint32(std::size(kEncoderTypeNames)) &&
        kEncoderTypeNames[m_encoderType]) {
        return QString::fromLatin1(kEncoderTypeNames[m_encoderType]);
    }
    return QString();
}

QString EncoderSettings::encodingDescription() const
{
    const double kbps = double(m_bitrate) * 0.001;
    switch (m_encoderType) {
    case MP3:
        if (m_bitrateMethod == ABR) {
            return QString::asprintf("%0.2f kbps ABR", double(m_bitrate));
        }
        if (m_bitrateMethod == VBR) {
            return QString::asprintf("VBR Quality %lld", qlonglong(m_vbrQuality));
        }
        return QString::asprintf("%0.2f kbps CBR", double(m_bitrate));
    case OggVorbis:
    case OggSpeex:
        switch (m_bitrateMethod) {
        case CBR:
            return QString::asprintf("%0.0f kbps CBR", kbps);
        case ABR:
            return QString::asprintf("%0.0f kbps ABR", kbps);
        case VBR:
            return QString::asprintf("VBR Quality %lld", qlonglong(m_vbrQuality));
        default:
            return QStringLiteral("*Unknown Settings*");
        }
    case Opus:
        switch (m_bitrateMethod) {
        case CBR:
            return QString::asprintf("%0.0f kbps CBR", kbps);
        case VBR:
            return QString::asprintf("%0.0f kbps VBR", kbps);
        case VBRConstrained:
            return QString::asprintf("%0.0f kbps VBR Constrained", kbps);
        default:
            return QStringLiteral("*Unknown Settings*");
        }
    case FLAC:
    case OggFLAC:
        if (m_flacCompressionLevel <= 8) {
            return QString::asprintf("Compression Level %u", m_flacCompressionLevel);
        }
        return QStringLiteral("Uncompressed");
    case MonkeysAudio: {
        const char* name = "?";
        for (const MacLevelName& row : kMacLevelNames) {
            if (row.level == m_macCompressionLevel) {
                name = row.name;
            }
        }
        return QStringLiteral("Compression Level ") + QLatin1StringView(name);
    }
    case TrueAudio:
        return QStringLiteral("TTA");
    case CoreAudio:
    case CoreAudioSD2:
        break;
    default:
        return QString();
    }

    if (m_formatID == kAudioFormatMPEG4AAC) {
        return QString::asprintf(isM4AFileType(m_fileType) ? "%0.2f kbps" : "AAC %0.2f kbps", kbps);
    }
    if (m_formatID == kAudioFormatAppleLossless) {
        // Outside a CAF file Apple Lossless has always been described as
        // "m4a"; the output-format list shows it that way.
        return m_fileType == fourCC("caff") ? QStringLiteral("Apple Lossless") : QStringLiteral("m4a");
    }
    if (m_formatID == kAudioFormatLinearPCM) {
        const QString endian =
            (m_formatFlags & kAudioFormatFlagIsBigEndian) ? QStringLiteral("BE") : QStringLiteral("LE");
        const double kHz = double(m_sampleRate) / 1000.0;
        if (m_sampleRate != 0 && m_bitDepth != 0) {
            return QString::asprintf("LPCM - %.1fkHz %u bit ", kHz, m_bitDepth) + endian;
        }
        if (m_sampleRate != 0) {
            return QString::asprintf("LPCM - %.1fkHz", kHz);
        }
        if (m_bitDepth != 0) {
            return QString::asprintf("LPCM - %u bit ", m_bitDepth) + endian;
        }
        return QStringLiteral("LPCM");
    }
    return nameOf(m_formatID, std::begin(kFixedFormatDescriptions), std::end(kFixedFormatDescriptions));
}

QString EncoderSettings::completeDescription() const
{
    return outputFormatDescription() + QStringLiteral(" - ") + encodingDescription();
}

QString EncoderSettings::description() const
{
    // The same dump as ever, including "(null)" for a missing extension and
    // the unsigned codes printed as signed numbers.
    const QString extension = m_extension.isNull() ? QStringLiteral("(null)") : m_extension;
    return QString::asprintf("\nEnabled: %d\nEncoder Type: %d\nExtension: ", int(m_enabled),
                             int(m_encoderType)) +
           extension +
           QString::asprintf(
               "\nBitrate: %lld\nQuality: %lld\nSample Rate: %lld\nBitrate Method: %d\nChannel Mode: %d\nBit "
               "Depth: "
               "%d\nVBR Quality: %lld\nFrames Per Packet: %d\nEncoder Action: %d\nFile Type: %d\nFormat ID: "
               "%d\nFormat Flags: %d\nFLAC Compress Level: %d\nFLAC Verify: %d\nMAC Compression Level: "
               "%d\nSpeex "
               "Denoise: %d\nSpeex Adaptive Gain Control: %d\nSpeex Voice Activity Detection: %d\nSpeex "
               "Discontinuous Transmission: %d\n",
               qlonglong(m_bitrate), qlonglong(m_quality), qlonglong(m_sampleRate), int(m_bitrateMethod),
               int(m_channelMode), int(qint32(m_bitDepth)), qlonglong(m_vbrQuality),
               int(qint32(m_framesPerPacket)), int(m_encoderAction), int(qint32(m_fileType)),
               int(qint32(m_formatID)), int(qint32(m_formatFlags)), int(qint32(m_flacCompressionLevel)),
               int(m_flacVerifyEncoding), int(m_macCompressionLevel), int(m_speexDenoise),
               int(m_speexAdaptiveGainControl), int(m_speexVoiceActivityDetection),
               int(m_speexDiscontinuousTransmission));
}

bool EncoderSettings::sameRateOrQualityAs(const EncoderSettings& other) const
{
    return m_bitrateMethod == VBR ? m_vbrQuality == other.m_vbrQuality : m_bitrate == other.m_bitrate;
}

bool EncoderSettings::makeMP3()
{
    if (m_encoderType == MP3 && m_extension == QLatin1String("mp3")) {
        return false;
    }
    if (m_encoderType == MP3 && m_extension.isEmpty()) {
        // A record stored without its extension: nothing to report.
        setExtension(QStringLiteral("mp3"));
        return true;
    }
    ErrorLog::logMessage(tr("The output format \u201c%1\u201d is not one Sonabrik writes: it is used as MP3, "
                            "with the extension \u201cmp3\u201d.")
                             .arg(completeDescription()));
    setEncoderType(MP3);
    setExtension(QStringLiteral("mp3"));
    return true;
}

bool EncoderSettings::isDuplicateOf(const EncoderSettings& other) const
{
    if (m_encoderType != other.m_encoderType) {
        return false;
    }
    switch (m_encoderType) {
    case MP3:
        // Extension and enabled state do not make a different output.
        return m_sampleRate == other.m_sampleRate && m_bitrateMethod == other.m_bitrateMethod &&
               m_channelMode == other.m_channelMode && m_quality == other.m_quality &&
               sameRateOrQualityAs(other);
    case FLAC:
    case OggFLAC:
        return m_flacCompressionLevel == other.m_flacCompressionLevel && m_extension == other.m_extension &&
               m_sampleRate == other.m_sampleRate && m_bitDepth == other.m_bitDepth &&
               m_channelMode == other.m_channelMode;
    case OggVorbis:
        return m_bitrateMethod == other.m_bitrateMethod && sameRateOrQualityAs(other) &&
               m_extension == other.m_extension;
    case MonkeysAudio:
        return m_macCompressionLevel == other.m_macCompressionLevel && m_sampleRate == other.m_sampleRate &&
               m_bitDepth == other.m_bitDepth;
    case TrueAudio:
        return m_sampleRate == other.m_sampleRate && m_bitDepth == other.m_bitDepth;
    case OggSpeex:
        return m_bitrateMethod == other.m_bitrateMethod && sameRateOrQualityAs(other) &&
               m_sampleRate == other.m_sampleRate && m_quality == other.m_quality &&
               m_framesPerPacket == other.m_framesPerPacket && m_speexDenoise == other.m_speexDenoise &&
               m_speexAdaptiveGainControl == other.m_speexAdaptiveGainControl &&
               m_speexVoiceActivityDetection == other.m_speexVoiceActivityDetection &&
               m_speexDiscontinuousTransmission == other.m_speexDiscontinuousTransmission;
    case Opus:
        // Opus formats go on through the Core Audio comparison as well.
        if (m_bitrateMethod != other.m_bitrateMethod || m_bitrate != other.m_bitrate ||
            m_sampleRate != other.m_sampleRate || m_quality != other.m_quality ||
            m_channelMode != other.m_channelMode) {
            return false;
        }
        return coreAudioIsDuplicateOf(other);
    case CoreAudio:
    case CoreAudioSD2:
        return coreAudioIsDuplicateOf(other);
    default:
        return true;
    }
}

bool EncoderSettings::coreAudioIsDuplicateOf(const EncoderSettings& other) const
{
    if (m_fileType != other.m_fileType || m_formatID != other.m_formatID) {
        return false;
    }
    const uint32_t format = m_formatID;
    bool same;
    if (format == fourCC("aac ") || format == fourCC("aach") || format == fourCC("aacl") ||
        format == fourCC("aacp")) {
        same = m_sampleRate == other.m_sampleRate && m_bitrateMethod == other.m_bitrateMethod &&
               m_channelMode == other.m_channelMode && m_quality == other.m_quality &&
               sameRateOrQualityAs(other);
    } else if (format == fourCC("Qclp")) {
        same = sameRateOrQualityAs(other);
    } else if (format == fourCC("alac") || format == fourCC("alaw") || format == fourCC("ulaw")) {
        same = m_sampleRate == other.m_sampleRate && m_bitDepth == other.m_bitDepth;
    } else if (format == fourCC("ilbc")) {
        return m_sampleRate == other.m_sampleRate && m_bitrate == other.m_bitrate &&
               m_quality == other.m_quality && m_extension == other.m_extension;
    } else if (format == fourCC("ima4")) {
        same = m_sampleRate == other.m_sampleRate;
    } else if (format == fourCC("lpcm")) {
        same = m_sampleRate == other.m_sampleRate && m_bitDepth == other.m_bitDepth &&
               m_formatFlags == other.m_formatFlags;
    } else if (format == fourCC("samr")) {
        return m_sampleRate == other.m_sampleRate && m_framesPerPacket == other.m_framesPerPacket &&
               sameRateOrQualityAs(other);
    } else {
        // Formats without rules of their own compare equal once file type
        // and format match.
        return true;
    }
    return same && m_channelMode == other.m_channelMode && m_quality == other.m_quality &&
           m_extension == other.m_extension;
}

template <class T, class U> void EncoderSettings::announce(T& field, const U& value)
{
    Q_EMIT encoderSettingWillChange();
    field = value;
    Q_EMIT encoderSettingChanged();
}

void EncoderSettings::setEncoderType(qint32 value)
{
    announce(m_encoderType, value);
}
void EncoderSettings::setExtension(const QString& value)
{
    announce(m_extension, value);
}
void EncoderSettings::setBitrate(qint64 value)
{
    announce(m_bitrate, value);
}
void EncoderSettings::setQuality(qint64 value)
{
    announce(m_quality, value);
}
void EncoderSettings::setSampleRate(qint64 value)
{
    announce(m_sampleRate, value);
}
void EncoderSettings::setBitrateMethod(qint32 value)
{
    announce(m_bitrateMethod, value);
}
void EncoderSettings::setChannelMode(qint32 value)
{
    announce(m_channelMode, value);
}
void EncoderSettings::setBitDepth(quint32 value)
{
    announce(m_bitDepth, value);
}
void EncoderSettings::setVbrQuality(qint64 value)
{
    announce(m_vbrQuality, value);
}
void EncoderSettings::setFileType(quint32 value)
{
    announce(m_fileType, value);
}
void EncoderSettings::setFormatID(quint32 value)
{
    announce(m_formatID, value);
}
void EncoderSettings::setFormatFlags(quint32 value)
{
    announce(m_formatFlags, value);
}
void EncoderSettings::setFramesPerPacket(quint32 value)
{
    announce(m_framesPerPacket, value);
}
void EncoderSettings::setFlacCompressionLevel(quint32 value)
{
    announce(m_flacCompressionLevel, value);
}
void EncoderSettings::setFlacVerifyEncoding(bool value)
{
    announce(m_flacVerifyEncoding, value);
}
void EncoderSettings::setMacCompressionLevel(qint32 value)
{
    announce(m_macCompressionLevel, value);
}
