// How fast the FLAC, Ogg, WavPack, Musepack and True Audio decoders run, in multiples of real time
// ("x_realtime": seconds of audio per second of CPU time, which a busy
// shared machine disturbs less than wall time), on 60 seconds of stereo
// noise and tones. The audio comes
// from $SONABRIK_BENCH_AUDIO (decoders-vs-tools.sh puts it there, so that
// the reference tools decode the very same files) or is made here with
// sox, flac, oggenc, opusenc, speexenc, wavpack, mpcenc and ffmpeg. "DecoderBenchmark --make-audio
// DIR" only makes the files.

#include "ErrorLog.h"
#include "ZTDecoder.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <memory>
#include <vector>

namespace {

constexpr double kSeconds = 60.0;

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

// Makes the benchmark's files in dir; false when a tool is missing or fails.
bool makeAudio(const QString& dir)
{
    const QString seconds = QString::number(kSeconds);
    const auto file = [&](const char* name) { return dir + QLatin1Char('/') + QLatin1String(name); };
    for (const auto& [name, rate] :
         {std::pair{"source-44k.wav", "44100"}, {"source-48k.wav", "48000"}, {"source-16k.wav", "16000"}}) {
        if (!run(QStringLiteral("sox"),
                 {QStringLiteral("-R"), QStringLiteral("-D"), QStringLiteral("-n"), QStringLiteral("-r"),
                  QLatin1String(rate), QStringLiteral("-c"), QStringLiteral("2"), QStringLiteral("-b"),
                  QStringLiteral("16"), file(name), QStringLiteral("synth"), seconds,
                  QStringLiteral("pinknoise"), QStringLiteral("sine"), QStringLiteral("220-1760"),
                  QStringLiteral("vol"), QStringLiteral("0.4")})) {
            return false;
        }
    }
    return run(QStringLiteral("flac"), {QStringLiteral("-s"), QStringLiteral("-f"), QStringLiteral("-o"),
                                        file("bench.flac"), file("source-44k.wav")}) &&
           run(QStringLiteral("flac"),
               {QStringLiteral("-s"), QStringLiteral("-f"), QStringLiteral("--ogg"), QStringLiteral("-o"),
                file("bench.oggflac"), file("source-44k.wav")}) &&
           run(QStringLiteral("oggenc"), {QStringLiteral("-Q"), QStringLiteral("-q"), QStringLiteral("5"),
                                          QStringLiteral("-o"), file("bench.ogg"), file("source-44k.wav")}) &&
           run(QStringLiteral("opusenc"),
               {QStringLiteral("--quiet"), file("source-48k.wav"), file("bench.opus")}) &&
           run(QStringLiteral("opusenc"),
               {QStringLiteral("--quiet"), file("source-44k.wav"), file("bench-44k.opus")}) &&
           run(QStringLiteral("speexenc"),
               {QStringLiteral("--quiet"), QStringLiteral("-w"), QStringLiteral("--stereo"),
                file("source-16k.wav"), file("bench.spx")}) &&
           run(QStringLiteral("wavpack"), {QStringLiteral("-q"), QStringLiteral("-y"), file("source-44k.wav"),
                                           QStringLiteral("-o"), file("bench.wv")}) &&
           run(QStringLiteral("mpcenc"), {QStringLiteral("--silent"), QStringLiteral("--overwrite"),
                                          file("source-44k.wav"), file("bench.mpc")}) &&
           run(QStringLiteral("ffmpeg"),
               {QStringLiteral("-nostdin"), QStringLiteral("-v"), QStringLiteral("error"),
                QStringLiteral("-y"), QStringLiteral("-i"), file("source-44k.wav"), QStringLiteral("-c:a"),
                QStringLiteral("tta"), file("bench.tta")}) &&
           // A module renders rather than decodes: the test suite's
           // 123.5-second four-channel song, played once.
           run(QStringLiteral("python3"), {QStringLiteral(SONABRIK_SOURCE_DIR "/tests/fixtures/make_mod.py"),
                                           file("bench.mod"), QStringLiteral("length")});
}

QString g_audioDir;

void decodeFile(benchmark::State& state, const char* name)
{
    const QString path = g_audioDir + QLatin1Char('/') + QLatin1String(name);
    std::vector<uint8_t> chunk;
    double seconds = 0; // of audio delivered, which for a module is its own length
    for (auto _ : state) {
        std::unique_ptr<ZTDecoder> decoder = ZTDecoder::decoderWithFilename(path);
        if (!decoder) {
            state.SkipWithError("cannot open the file");
            return;
        }
        const AudioStreamBasicDescription format = decoder->decodeFormat();
        constexpr uint32_t kFrames = 4096;
        chunk.resize(size_t(kFrames) * format.mBytesPerFrame);
        AudioBufferList list{1, {{format.mChannelsPerFrame, uint32_t(chunk.size()), chunk.data()}}};
        uint64_t frames = 0;
        while (true) {
            list.mBuffers[0].mDataByteSize = uint32_t(chunk.size());
            const uint32_t got = decoder->readAudio(&list, kFrames);
            if (got == 0 && decoder->isEndOfFile()) {
                break;
            }
            frames += got;
        }
        benchmark::DoNotOptimize(frames);
        state.counters["frames"] = double(frames);
        seconds = double(frames) / format.mSampleRate;
    }
    state.counters["x_realtime"] =
        benchmark::Counter(seconds * double(state.iterations()), benchmark::Counter::kIsRate);
}

} // namespace

BENCHMARK_CAPTURE(decodeFile, FLAC, "bench.flac")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(decodeFile, OggFLAC, "bench.oggflac")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(decodeFile, Vorbis, "bench.ogg")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(decodeFile, Opus48k, "bench.opus")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(decodeFile, Opus44k, "bench-44k.opus")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(decodeFile, SpeexWideband, "bench.spx")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(decodeFile, WavPack, "bench.wv")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(decodeFile, Musepack, "bench.mpc")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(decodeFile, TrueAudio, "bench.tta")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(decodeFile, Module, "bench.mod")->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc == 3 && QLatin1String(argv[1]) == QLatin1String("--make-audio")) {
        QDir().mkpath(QString::fromLocal8Bit(argv[2]));
        return makeAudio(QString::fromLocal8Bit(argv[2])) ? 0 : 1;
    }
    std::unique_ptr<QTemporaryDir> scratch;
    g_audioDir = qEnvironmentVariable("SONABRIK_BENCH_AUDIO");
    if (g_audioDir.isEmpty()) {
        scratch = std::make_unique<QTemporaryDir>();
        g_audioDir = scratch->path();
        if (!makeAudio(g_audioDir)) {
            return 1;
        }
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    const QString log = ErrorLog::shared()->errorLogAsString();
    if (!log.isEmpty()) {
        std::fprintf(stderr, "%s", qPrintable(log));
    }
    return 0;
}
