// The naming function on the example schemes, as the encode operation calls
// it once per output file and the preferences window at every keystroke.

#include "AudioMetadata.h"
#include "EncoderSettings.h"
#include "NamingScheme.h"
#include "Preferences.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <memory>

namespace {

struct Example
{
    std::unique_ptr<AudioMetadata> metadata = std::make_unique<AudioMetadata>();
    std::unique_ptr<EncoderSettings> settings;
    QString source =
        QStringLiteral("/home/user/Music/The Quiet Orchards/North of Tidewater/01 Lantern Road.flac");

    Example()
    {
        metadata->setTrackNumber(1);
        metadata->setTotalTracks(17);
        metadata->setTrackTitle(QStringLiteral("Lantern Road"));
        metadata->setAlbumTitle(QStringLiteral("North of Tidewater"));
        metadata->setTrackArtist(QStringLiteral("The Quiet Orchards"));
        metadata->setAlbumArtist(QStringLiteral("The Quiet Orchards"));
        metadata->setTrackComposer(QStringLiteral("Halden/Marsh"));
        metadata->setTrackYear(1969);
        metadata->setDiscNumber(1);
        metadata->setDiscTotal(1);
        metadata->setSourceKind(QStringLiteral("FLAC"));
        metadata->setSourceSampleRate(44100);
        metadata->setSourceChannels(2);
        settings = std::make_unique<EncoderSettings>(
            Preferences::shared().dictionaryValue(QStringLiteral("defaultEncoderSetting")));
    }
};

void evaluate(benchmark::State& state, const char* scheme, bool pathMode)
{
    static Example example;
    const QString text = QString::fromUtf8(scheme);
    for (auto _ : state) {
        QString result = NamingScheme::evaluate(text, example.metadata.get(), example.settings.get(),
                                                example.source, pathMode);
        benchmark::DoNotOptimize(result);
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK_CAPTURE(evaluate, DefaultScheme, "{albumArtist}/{albumTitle}/{trackNumber - }{trackTitle}", true);
BENCHMARK_CAPTURE(evaluate, TrackNumberAndTitle, "{trackNumber - }{trackTitle}", true);
BENCHMARK_CAPTURE(evaluate, DiscFolders,
                  "{albumArtist}/{albumTitle}/{Disc discNumber/}{trackNumber - }{trackTitle}", true);
BENCHMARK_CAPTURE(evaluate, CommentText, "{sourceKind} converted to {outputFormat} {outputEncoding}", false);
BENCHMARK_CAPTURE(evaluate, SourceFilename, "", true);

} // namespace

// A private preferences folder, so that the run neither reads nor writes
// the user's settings.
int main(int argc, char** argv)
{
    QTemporaryDir config;
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(config.path()));
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
