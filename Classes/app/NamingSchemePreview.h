#pragma once
// The preview of a naming scheme in the preferences: the name a scheme
// gives to an example source (track 1 of 17, "Lantern Road" by "The Quiet
// Orchards", a 24-bit FLAC at 44100 Hz converted to 192 kbps MP3, found at
// "~/Music/iTunes/iTunes Media/The Quiet Orchards/North of Tidewater/01
// Lantern Road.m4a"), with the extension "mp3".
//
// The preferences the naming function reads ("useTwoDigitNumbers" and the
// safe-name keys) are read at every call, so a preview taken after one of
// them changed follows it.
//
// Main thread (it owns its example records); never fails.

#include <QString>
#include <memory>

class AudioMetadata;
class EncoderSettings;

class NamingSchemePreview
{
public:
    NamingSchemePreview();
    ~NamingSchemePreview();

    // scheme applied to the example, as an output file name.
    QString sampleFor(const QString& scheme) const;

    const AudioMetadata& testMetadata() const { return *m_testMetadata; }
    const EncoderSettings& testEncoderSettings() const { return *m_testEncoderSettings; }
    const QString& examplePath() const { return m_examplePath; }

private:
    std::shared_ptr<AudioMetadata> m_testMetadata;
    std::shared_ptr<EncoderSettings> m_testEncoderSettings;
    QString m_examplePath;
};
