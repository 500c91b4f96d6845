// How fast the DSD decoder runs, and what its filters let through.
//
//   DSDBenchmark --response       the decimation filters' frequency response
//   DSDBenchmark --decode FILE    decodes FILE, writing its 24-bit PCM to
//                                 standard output (what dsd-vs-ffmpeg.sh
//                                 times beside ffmpeg)
//   DSDBenchmark [benchmark options]
//                                 decodes $SONABRIK_BENCH_DSD/bench.dsf and
//                                 bench.dff ("x_realtime": seconds of audio
//                                 per second of CPU time), and runs one
//                                 channel's filter alone
//
// benchmarks/dsd-vs-ffmpeg.sh makes the minute-long files and runs all three.

#include "DSDFilter.h"
#include "DSDFilterCoefficients.h"
#include "ErrorLog.h"
#include "ZTDecoder.h"

#include <QCoreApplication>
#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdio>
#include <memory>
#include <span>
#include <vector>

namespace {

constexpr double kSeconds = 60.0;
constexpr double kDSD64 = 2822400.0;

// |H(f)| in dB of the whole symmetric filter of which half is stored.
double responseDB(std::span<const double> half, double frequency, double rate)
{
    double sum = 0;
    for (size_t k = 0; k < half.size(); ++k) {
        sum += 2 * half[k] * std::cos(2 * M_PI * frequency / rate * (double(k) + 0.5));
    }
    return 20 * std::log10(std::max(std::abs(sum), 1e-300));
}

void printResponse()
{
    struct Filter
    {
        int decimation;
        std::span<const double> half;
    };
    const Filter filters[] = {{8, DSDFilterCoefficients::kDecimation8},
                              {16, DSDFilterCoefficients::kDecimation16},
                              {32, DSDFilterCoefficients::kDecimation32}};
    std::printf("Decimation filters at DSD64 (2822400 Hz), |H| in dB\n");
    for (const Filter& filter : filters) {
        const double out = kDSD64 / filter.decimation;
        double passLow = 0, passHigh = -1e9;
        for (double f = 0; f <= 20000; f += 10) {
            const double h = responseDB(filter.half, f, kDSD64);
            passLow = std::min(passLow, h);
            passHigh = std::max(passHigh, h);
        }
        // Whatever lies above out - 20 kHz folds back into the audio band.
        double foldPeak = -1e9;
        for (double f = out - 20000; f <= kDSD64 / 2; f += 25) {
            foldPeak = std::max(foldPeak, responseDB(filter.half, f, kDSD64));
        }
        std::printf("  %2d (%3zu taps, out %6.0f Hz): pass band 0-20 kHz %+.5f .. %+.5f dB; "
                    "-6 dB near %.0f Hz; above %.0f Hz (folds below 20 kHz) at most %.1f dB\n",
                    filter.decimation, 2 * filter.half.size(), out, passLow, passHigh,
                    [&] {
                        double f = 0;
                        while (responseDB(filter.half, f, kDSD64) > -6.0206 && f < kDSD64 / 2) {
                            f += 10;
                        }
                        return f;
                    }(),
                    out - 20000, foldPeak);
        std::printf("     ");
        for (double f : {1000.0, 10000.0, 20000.0, out / 4, out / 2, out * 0.75, out}) {
            std::printf(" %.0f Hz %.2f;", f, responseDB(filter.half, f, kDSD64));
        }
        std::printf("\n");
    }
}

// Decodes path to its end, handing each chunk to sink; frames decoded.
template <class Sink> uint64_t decodeWhole(const QString& path, Sink sink)
{
    std::unique_ptr<ZTDecoder> decoder = ZTDecoder::decoderWithFilename(path);
    if (!decoder) {
        return 0;
    }
    const AudioStreamBasicDescription format = decoder->decodeFormat();
    constexpr uint32_t kFrames = 4096;
    std::vector<uint8_t> chunk(size_t(kFrames) * format.mBytesPerFrame);
    AudioBufferList list{1, {{format.mChannelsPerFrame, uint32_t(chunk.size()), chunk.data()}}};
    uint64_t frames = 0;
    while (true) {
        list.mBuffers[0].mDataByteSize = uint32_t(chunk.size());
        const uint32_t got = decoder->readAudio(&list, kFrames);
        if (got == 0 && decoder->isEndOfFile()) {
            break;
        }
        sink(chunk.data(), size_t(got) * format.mBytesPerFrame);
        frames += got;
    }
    return frames;
}

void decodeFile(benchmark::State& state, const char* name)
{
    const QString dir = qEnvironmentVariable("SONABRIK_BENCH_DSD");
    if (dir.isEmpty()) {
        state.SkipWithError("set SONABRIK_BENCH_DSD (benchmarks/dsd-vs-ffmpeg.sh does)");
        return;
    }
    const QString path = dir + QLatin1Char('/') + QLatin1String(name);
    for (auto _ : state) {
        const uint64_t frames = decodeWhole(path, [](const uint8_t*, size_t) {});
        if (frames == 0) {
            state.SkipWithError("cannot decode the file");
            return;
        }
        benchmark::DoNotOptimize(frames);
    }
    state.counters["x_realtime"] =
        benchmark::Counter(kSeconds * double(state.iterations()), benchmark::Counter::kIsRate);
}

// One channel's filter over a second of DSD64 noise-like bytes.
void filterOneChannel(benchmark::State& state)
{
    std::vector<uint8_t> bytes(size_t(kDSD64 / 8));
    uint32_t seed = 1;
    for (uint8_t& byte : bytes) {
        seed = seed * 1664525u + 1013904223u;
        byte = uint8_t(seed >> 24);
    }
    std::vector<float> out(bytes.size() / 4);
    DSDFilter filter(32, true);
    for (auto _ : state) {
        filter.translate(out.size(), bytes.data(), 1, out.data(), 1);
        benchmark::DoNotOptimize(out.data());
    }
    state.counters["x_realtime"] = benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}

} // namespace

BENCHMARK_CAPTURE(decodeFile, DSF_DSD64_stereo, "bench.dsf")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(decodeFile, DFF_DSD64_stereo, "bench.dff")->Unit(benchmark::kMillisecond);
BENCHMARK(filterOneChannel)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc == 2 && QLatin1String(argv[1]) == QLatin1String("--response")) {
        printResponse();
        return 0;
    }
    if (argc == 3 && QLatin1String(argv[1]) == QLatin1String("--decode")) {
        const uint64_t frames = decodeWhole(QString::fromLocal8Bit(argv[2]), [](const uint8_t* data, size_t size) {
            std::fwrite(data, 1, size, stdout);
        });
        if (frames == 0) {
            std::fprintf(stderr, "%s", qPrintable(ErrorLog::shared()->errorLogAsString()));
            return 1;
        }
        return 0;
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
