#pragma once
// One output format: which encoder, which extension, bit rate and method,
// qualities, sample rate, channel mode and the rest, whether it is enabled
// and what the encoder does with a source (encode, rewrite metadata, skip).
//
// The record carries the fields of ten encoder types. Only MP3 (type 0) is
// ever encoded; the other types' fields are kept so that stored formats
// survive storing and reloading unchanged and so that the descriptions and
// the duplicate test stay whole.
//
// Stored form: a dictionary (QVariantMap) under the keys of
// settingsDictionary(). Two keys differ from their fields: "method" holds
// bitrateMethod and "mode" holds channelMode. Every integer is read back as
// a 32-bit integer, so 64-bit fields survive a round trip only within that
// range.
//
// Observation: the setters of the sixteen encoding parameters (encoderType,
// extension, bitrate, quality, sampleRate, bitrateMethod, channelMode,
// bitDepth, vbrQuality, fileType, formatID, formatFlags, framesPerPacket,
// flacCompressionLevel, flacVerifyEncoding, macCompressionLevel) announce
// every assignment as encoderSettingWillChange() before and
// encoderSettingChanged() after it, so that one connection to the
// "encoderSetting" key sees every parameter change. The setters of enabled,
// encoderAction, encoderSetting and the four Speex flags assign silently.
//
// Ownership and threads: a QObject without parent, owned by whoever holds
// it (the output-format list; an encode operation keeps its own copy or a
// shared reference). Created and changed on the main thread; encode
// operations only read it from their worker threads, and the user interface
// does not change a format while it is being encoded. Nothing here fails:
// missing keys read as zero and unknown codes describe as "", "?" or
// "*Unknown Settings*".

#include <QObject>
#include <QString>
#include <QVariantMap>
#include <cstdint>
#include <memory>

class EncoderSettings : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool enabled READ enabled WRITE setEnabled)
    Q_PROPERTY(qint64 encoderSetting READ encoderSetting WRITE setEncoderSetting NOTIFY encoderSettingChanged)
    Q_PROPERTY(qint32 encoderType READ encoderType WRITE setEncoderType NOTIFY encoderSettingChanged)
    Q_PROPERTY(QString extension READ extension WRITE setExtension NOTIFY encoderSettingChanged)
    Q_PROPERTY(qint64 bitrate READ bitrate WRITE setBitrate NOTIFY encoderSettingChanged)
    Q_PROPERTY(qint64 quality READ quality WRITE setQuality NOTIFY encoderSettingChanged)
    Q_PROPERTY(qint64 sampleRate READ sampleRate WRITE setSampleRate NOTIFY encoderSettingChanged)
    Q_PROPERTY(qint32 bitrateMethod READ bitrateMethod WRITE setBitrateMethod NOTIFY encoderSettingChanged)
    Q_PROPERTY(qint32 channelMode READ channelMode WRITE setChannelMode NOTIFY encoderSettingChanged)
    Q_PROPERTY(quint32 bitDepth READ bitDepth WRITE setBitDepth NOTIFY encoderSettingChanged)
    Q_PROPERTY(qint64 vbrQuality READ vbrQuality WRITE setVbrQuality NOTIFY encoderSettingChanged)
    Q_PROPERTY(
        quint32 framesPerPacket READ framesPerPacket WRITE setFramesPerPacket NOTIFY encoderSettingChanged)
    Q_PROPERTY(qint32 encoderAction READ encoderAction WRITE setEncoderAction)
    Q_PROPERTY(quint32 fileType READ fileType WRITE setFileType NOTIFY encoderSettingChanged)
    Q_PROPERTY(quint32 formatID READ formatID WRITE setFormatID NOTIFY encoderSettingChanged)
    Q_PROPERTY(quint32 formatFlags READ formatFlags WRITE setFormatFlags NOTIFY encoderSettingChanged)
    Q_PROPERTY(quint32 flacCompressionLevel READ flacCompressionLevel WRITE setFlacCompressionLevel NOTIFY
                   encoderSettingChanged)
    Q_PROPERTY(bool flacVerifyEncoding READ flacVerifyEncoding WRITE setFlacVerifyEncoding NOTIFY
                   encoderSettingChanged)
    Q_PROPERTY(qint32 macCompressionLevel READ macCompressionLevel WRITE setMacCompressionLevel NOTIFY
                   encoderSettingChanged)
    Q_PROPERTY(bool speexDenoise READ speexDenoise WRITE setSpeexDenoise)
    Q_PROPERTY(bool speexAdaptiveGainControl READ speexAdaptiveGainControl WRITE setSpeexAdaptiveGainControl)
    Q_PROPERTY(bool speexVoiceActivityDetection READ speexVoiceActivityDetection WRITE
                   setSpeexVoiceActivityDetection)
    Q_PROPERTY(bool speexDiscontinuousTransmission READ speexDiscontinuousTransmission WRITE
                   setSpeexDiscontinuousTransmission)

public:
    // encoderType values.
    enum EncoderType : qint32
    {
        MP3 = 0,
        CoreAudio = 1,
        FLAC = 2,
        OggFLAC = 3,
        OggVorbis = 4,
        CoreAudioSD2 = 5,
        MonkeysAudio = 6,
        TrueAudio = 7,
        OggSpeex = 8,
        Opus = 9,
    };
    // bitrateMethod values.
    enum BitrateMethod : qint32
    {
        CBR = 0,
        ABR = 1,
        VBR = 2,
        VBRConstrained = 3
    };
    // encoderAction values.
    enum EncoderAction : qint32
    {
        EncodeAction = 0,
        UpdateMetadataOnlyAction = 1,
        SkipAction = 2
    };

    // Every field 0 / false / null extension.
    EncoderSettings();
    // Reads every key of settingsDictionary() as a 32-bit integer (booleans
    // as booleans); a missing key reads as 0 / false / no extension.
    // encoderSetting is 0.
    explicit EncoderSettings(const QVariantMap& dictionary);
    ~EncoderSettings() override;

    // A new record with every field copied except encoderSetting (0). The
    // copy has no parent and no connections.
    std::unique_ptr<EncoderSettings> copy() const;

    // Every field under its key: integers as numbers, booleans as booleans,
    // the extension as the string itself.
    QVariantMap settingsDictionary() const;

    // The output format's display name ("MP3", "FLAC", "AIFF", ...).
    QString outputFormatDescription() const;
    // The parameter summary ("192.00 kbps CBR", "VBR Quality 8", ...).
    QString encodingDescription() const;
    // "<outputFormatDescription> - <encodingDescription>".
    QString completeDescription() const;
    // A multi-line dump of every field, for debugging and the log.
    QString description() const;

    // Whether other describes the same output as this record, for refusing
    // to add a format twice. Which of bitrate and vbrQuality is compared
    // depends on this record's bitrateMethod only, so the test is not
    // symmetric.
    bool isDuplicateOf(const EncoderSettings& other) const;

    // Turns a record of another format (from an older preferences file or a
    // hand edit) into MP3 with the extension "mp3", since MP3 is all that is
    // written, and says so in the error log. The format's other fields are
    // kept. Returns whether the record changed; an MP3 record is left alone,
    // so the message appears once per record.
    bool makeMP3();

    bool enabled() const { return m_enabled; }
    qint64 encoderSetting() const { return m_encoderSetting; }
    qint32 encoderType() const { return m_encoderType; }
    QString extension() const { return m_extension; }
    qint64 bitrate() const { return m_bitrate; }
    qint64 quality() const { return m_quality; }
    qint64 sampleRate() const { return m_sampleRate; }
    qint32 bitrateMethod() const { return m_bitrateMethod; }
    qint32 channelMode() const { return m_channelMode; }
    quint32 bitDepth() const { return m_bitDepth; }
    qint64 vbrQuality() const { return m_vbrQuality; }
    quint32 framesPerPacket() const { return m_framesPerPacket; }
    qint32 encoderAction() const { return m_encoderAction; }
    quint32 fileType() const { return m_fileType; }
    quint32 formatID() const { return m_formatID; }
    quint32 formatFlags() const { return m_formatFlags; }
    quint32 flacCompressionLevel() const { return m_flacCompressionLevel; }
    bool flacVerifyEncoding() const { return m_flacVerifyEncoding; }
    qint32 macCompressionLevel() const { return m_macCompressionLevel; }
    bool speexDenoise() const { return m_speexDenoise; }
    bool speexAdaptiveGainControl() const { return m_speexAdaptiveGainControl; }
    bool speexVoiceActivityDetection() const { return m_speexVoiceActivityDetection; }
    bool speexDiscontinuousTransmission() const { return m_speexDiscontinuousTransmission; }

    // Silent.
    void setEnabled(bool value) { m_enabled = value; }
    void setEncoderSetting(qint64 value) { m_encoderSetting = value; }
    void setEncoderAction(qint32 value) { m_encoderAction = value; }
    void setSpeexDenoise(bool value) { m_speexDenoise = value; }
    void setSpeexAdaptiveGainControl(bool value) { m_speexAdaptiveGainControl = value; }
    void setSpeexVoiceActivityDetection(bool value) { m_speexVoiceActivityDetection = value; }
    void setSpeexDiscontinuousTransmission(bool value) { m_speexDiscontinuousTransmission = value; }

    // Announced under "encoderSetting".
    void setEncoderType(qint32 value);
    void setExtension(const QString& value);
    void setBitrate(qint64 value);
    void setQuality(qint64 value);
    void setSampleRate(qint64 value);
    void setBitrateMethod(qint32 value);
    void setChannelMode(qint32 value);
    void setBitDepth(quint32 value);
    void setVbrQuality(qint64 value);
    void setFileType(quint32 value);
    void setFormatID(quint32 value);
    void setFormatFlags(quint32 value);
    void setFramesPerPacket(quint32 value);
    void setFlacCompressionLevel(quint32 value);
    void setFlacVerifyEncoding(bool value);
    void setMacCompressionLevel(qint32 value);

Q_SIGNALS:
    // Emitted on the thread of the setter, around each announced assignment,
    // even when the value does not change.
    void encoderSettingWillChange();
    void encoderSettingChanged();

private:
    template <class T, class U> void announce(T& field, const U& value);

    bool coreAudioIsDuplicateOf(const EncoderSettings& other) const;
    // Equal vbrQuality when this record's method is VBR, else equal bitrate.
    bool sameRateOrQualityAs(const EncoderSettings& other) const;

    bool m_enabled = false;
    qint64 m_encoderSetting = 0;
    qint32 m_encoderType = 0;
    QString m_extension;
    qint64 m_bitrate = 0;
    qint64 m_quality = 0;
    qint64 m_sampleRate = 0;
    qint32 m_bitrateMethod = 0;
    qint32 m_channelMode = 0;
    quint32 m_bitDepth = 0;
    qint64 m_vbrQuality = 0;
    quint32 m_framesPerPacket = 0;
    qint32 m_encoderAction = 0;
    quint32 m_fileType = 0;
    quint32 m_formatID = 0;
    quint32 m_formatFlags = 0;
    quint32 m_flacCompressionLevel = 0;
    bool m_flacVerifyEncoding = false;
    qint32 m_macCompressionLevel = 0;
    bool m_speexDenoise = false;
    bool m_speexAdaptiveGainControl = false;
    bool m_speexVoiceActivityDetection = false;
    bool m_speexDiscontinuousTransmission = false;
};
