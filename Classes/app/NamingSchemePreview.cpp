#include "NamingSchemePreview.h"

#include "AudioMetadata.h"
#include "EncoderSettings.h"
#include "NamingScheme.h"

#include <QDir>

NamingSchemePreview::NamingSchemePreview()
    : m_testMetadata(std::make_shared<AudioMetadata>()),
      m_testEncoderSettings(std::make_shared<EncoderSettings>()),
      m_examplePath(
          QDir::homePath() +
          QStringLiteral(
              "/Music/iTunes/iTunes Media/The Quiet Orchards/North of Tidewater/01 Lantern Road.m4a"))
{
    AudioMetadata& metadata = *m_testMetadata;
    metadata.setTrackNumber(1);
    metadata.setTotalTracks(17);
    metadata.setTrackTitle(QStringLiteral("Lantern Road"));
    metadata.setAlbumTitle(QStringLiteral("North of Tidewater"));
    metadata.setTrackArtist(QStringLiteral("The Quiet Orchards"));
    metadata.setAlbumArtist(QStringLiteral("The Quiet Orchards"));
    metadata.setTrackComposer(QStringLiteral("Halden/Marsh"));
    metadata.setTrackYear(1969);
    metadata.setTrackGenre(QStringLiteral("Rock"));
    metadata.setGrouping(QStringLiteral("Grouping"));
    metadata.setDiscNumber(1);
    metadata.setDiscTotal(1);
    metadata.setBpm(83);
    metadata.setKey(QStringLiteral("D Minor"));
    metadata.setISRC(QStringLiteral("QZK8M6900017"));
    metadata.setSourceBitrate(1523);
    // An empty mode, unlike a missing one, keeps the text of its group.
    metadata.setSourceBitrateMode(QString());
    metadata.setSourceChannels(2);
    metadata.setSourceFormat(QStringLiteral("Free Lossless Audio Codec"));
    metadata.setSourceKind(QStringLiteral("FLAC"));
    metadata.setSourceSampleRate(44100);
    metadata.setSourceSampleSize(24);

    EncoderSettings& settings = *m_testEncoderSettings;
    settings.setEncoderType(0);
    settings.setBitrate(192);
    settings.setQuality(10);
    settings.setSampleRate(44100);
    settings.setBitrateMethod(0);
    settings.setChannelMode(1);
    settings.setBitDepth(16);
    settings.setVbrQuality(10);
    settings.setExtension(QStringLiteral("mp3"));
}

NamingSchemePreview::~NamingSchemePreview() = default;

QString NamingSchemePreview::sampleFor(const QString& scheme) const
{
    return NamingScheme::evaluate(scheme, m_testMetadata.get(), m_testEncoderSettings.get(), m_examplePath,
                                  true) +
           QStringLiteral(".mp3");
}
