// How many source files a second AudioMetadata::metadataFromFile reads (the
// intake reads every dropped file this way): 1,000 tagged files of eight
// formats, short tones made with sox and encoded with flac, oggenc,
// opusenc, lame, ffmpeg (AAC in MP4, Windows Media), wavpack and mpcenc,
// tagged by mutagen, then copied into album folders of 12 files (each read
// also looks for a cover image beside the file, as by default). The files
// are read once before the timed passes, so the cache is warm; the
// preferences are a fresh set in a private folder, not the user's.

#include "AudioMetadata.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <cstdio>

namespace {

constexpr int kFileCount = 1000;

bool run(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(600000) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0) {
        std::fprintf(stderr, "%s failed: %s\n", qPrintable(program),
                     process.readAllStandardError().constData());
        return false;
    }
    return true;
}

const char* const kTagScript = R"(
import sys, mutagen
for path in sys.argv[1:]:
    f = mutagen.File(path, easy=True)
    if f.tags is None:
        f.add_tags()
    kind = type(f).__name__
    if kind == "ASF":
        f.tags.update({"Title": "Benchmark Title", "Author": "Artist", "WM/AlbumTitle": "Album",
                       "WM/TrackNumber": "3", "WM/Year": "1999", "WM/Genre": "Ambient"})
    elif kind in ("WavPack", "Musepack"):
        f.tags.update({"Title": "Benchmark Title", "Artist": "Artist", "Album": "Album", "Track": "3/12",
                       "Year": "1999", "Genre": "Ambient"})
    else:
        f.tags.update({"title": "Benchmark Title", "artist": "Artist", "album": "Album",
                       "tracknumber": "3/12", "date": "1999", "genre": "Ambient"})
    f.save()
)";

// The tagged files, made once per run in a temporary folder.
class Corpus
{
public:
    Corpus()
    {
        const QString wav = m_dir.filePath(QStringLiteral("tone.wav"));
        const QString mono = m_dir.filePath(QStringLiteral("mono.wav"));
        auto path = [this](const char* name) { return m_dir.filePath(QString::fromLatin1(name)); };
        const QStringList ff{QStringLiteral("-nostdin"), QStringLiteral("-loglevel"), QStringLiteral("error"),
                             QStringLiteral("-y"),       QStringLiteral("-i"),        wav};
        const QStringList originals{path("a.flac"), path("a.ogg"), path("a.opus"), path("a.mp3"),
                                    path("a.m4a"),  path("a.wma"), path("a.wv"),   path("a.mpc")};
        m_valid =
            run(QStringLiteral("sox"),
                {QStringLiteral("-D"), QStringLiteral("-n"), QStringLiteral("-r"), QStringLiteral("44100"),
                 QStringLiteral("-b"), QStringLiteral("16"), QStringLiteral("-c"), QStringLiteral("2"), wav,
                 QStringLiteral("synth"), QStringLiteral("1"), QStringLiteral("sine"),
                 QStringLiteral("440")}) &&
            run(QStringLiteral("sox"), {wav, QStringLiteral("-r"), QStringLiteral("48000"),
                                        QStringLiteral("-c"), QStringLiteral("1"), mono}) &&
            run(QStringLiteral("flac"),
                {QStringLiteral("-s"), QStringLiteral("-f"), QStringLiteral("-o"), originals[0], wav}) &&
            run(QStringLiteral("oggenc"), {QStringLiteral("-Q"), QStringLiteral("-o"), originals[1], wav}) &&
            run(QStringLiteral("opusenc"), {QStringLiteral("--quiet"), mono, originals[2]}) &&
            run(QStringLiteral("lame"), {QStringLiteral("--quiet"), wav, originals[3]}) &&
            run(QStringLiteral("ffmpeg"),
                ff + QStringList{QStringLiteral("-c:a"), QStringLiteral("aac"), originals[4]}) &&
            run(QStringLiteral("ffmpeg"),
                ff + QStringList{QStringLiteral("-c:a"), QStringLiteral("wmav2"), originals[5]}) &&
            run(QStringLiteral("wavpack"),
                {QStringLiteral("-q"), QStringLiteral("-y"), wav, QStringLiteral("-o"), originals[6]}) &&
            run(QStringLiteral("mpcenc"),
                {QStringLiteral("--silent"), QStringLiteral("--overwrite"), wav, originals[7]}) &&
            run(QStringLiteral("/usr/bin/python3"),
                QStringList{QStringLiteral("-c"), QString::fromLatin1(kTagScript)} + originals);
        for (int i = 0; m_valid && i < kFileCount; ++i) {
            const QString& original = originals[i % originals.size()];
            const QString album = m_dir.filePath(QStringLiteral("album-%1").arg(i / 12));
            const QString copy = album + QStringLiteral("/%1.%2").arg(i).arg(QFileInfo(original).suffix());
            m_valid = QDir().mkpath(album) && QFile::copy(original, copy);
            m_files << copy;
        }
        for (const QString& file : std::as_const(m_files)) {
            AudioMetadata::metadataFromFile(file);
        }
    }

    bool valid() const { return m_valid; }
    const QStringList& files() const { return m_files; }

private:
    QTemporaryDir m_dir;
    bool m_valid = false;
    QStringList m_files;
};

void BM_MetadataFromFile(benchmark::State& state)
{
    static Corpus corpus;
    if (!corpus.valid()) {
        state.SkipWithError("could not make the tagged files");
        return;
    }
    int64_t titled = 0;
    for (auto _ : state) {
        for (const QString& file : corpus.files()) {
            const AudioMetadataPtr record = AudioMetadata::metadataFromFile(file);
            titled += record->trackTitle() ? 1 : 0;
            benchmark::DoNotOptimize(record.get());
        }
    }
    state.counters["files/s"] =
        benchmark::Counter(double(state.iterations()) * kFileCount, benchmark::Counter::kIsRate);
    // Every file carries a title; fewer means something was not read.
    state.counters["titled"] = double(titled) / double(state.iterations());
}
BENCHMARK(BM_MetadataFromFile)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

} // namespace

int main(int argc, char** argv)
{
    QTemporaryDir configuration;
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(configuration.path()));
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
