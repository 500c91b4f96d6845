// How close the Opus decoder's 48 kHz to 44.1 kHz resampling comes to a
// high-precision reference (sox's "rate -v"), for libspeexdsp at quality 5
// (the resampler opusdec uses) and for libsoxr at its quality settings, and
// what each costs in CPU time. Prints one line per resampler: the
// signal-to-error ratio against the reference in dB and the CPU time for 60
// seconds of stereo.
//
// usage: sonabrik-resampler-comparison   (needs sox)

#include <QByteArray>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <soxr.h>
#include <speex/speex_resampler.h>
#include <vector>

namespace {

constexpr int kChannels = 2;
constexpr int kSeconds = 60;

std::vector<float> readFloats(const QString& path)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    const QByteArray bytes = file.readAll();
    std::vector<float> samples(size_t(bytes.size()) / sizeof(float));
    std::memcpy(samples.data(), bytes.constData(), samples.size() * sizeof(float));
    return samples;
}

double cpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
}

// Feeds the input in Opus-sized packets of 960 frames, as the decoder does.
std::vector<float> withSpeex(const std::vector<float>& in, int quality)
{
    int error = 0;
    SpeexResamplerState* state = speex_resampler_init(kChannels, 48000, 44100, quality, &error);
    speex_resampler_skip_zeros(state);
    std::vector<float> out(in.size());
    size_t produced = 0;
    for (size_t at = 0; at < in.size() / kChannels;) {
        spx_uint32_t inLength = spx_uint32_t(std::min<size_t>(960, in.size() / kChannels - at));
        spx_uint32_t outLength = spx_uint32_t(out.size() / kChannels - produced);
        speex_resampler_process_interleaved_float(state, in.data() + at * kChannels, &inLength,
                                                  out.data() + produced * kChannels, &outLength);
        at += inLength;
        produced += outLength;
    }
    speex_resampler_destroy(state);
    out.resize(produced * kChannels);
    return out;
}

std::vector<float> withSoxr(const std::vector<float>& in, unsigned long recipe)
{
    soxr_error_t error = nullptr;
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
    const soxr_quality_spec_t quality = soxr_quality_spec(recipe, 0);
    soxr_t state = soxr_create(48000, 44100, kChannels, &error, &io, &quality, nullptr);
    std::vector<float> out(in.size());
    size_t produced = 0;
    for (size_t at = 0; at < in.size() / kChannels;) {
        const size_t length = std::min<size_t>(960, in.size() / kChannels - at);
        size_t done = 0;
        size_t made = 0;
        soxr_process(state, in.data() + at * kChannels, length, &done, out.data() + produced * kChannels,
                     out.size() / kChannels - produced, &made);
        at += done;
        produced += made;
    }
    size_t made = 0;
    soxr_process(state, nullptr, 0, nullptr, out.data() + produced * kChannels,
                 out.size() / kChannels - produced, &made);
    produced += made;
    soxr_delete(state);
    out.resize(produced * kChannels);
    return out;
}

// Signal-to-error ratio of a against the reference, at the best lag within
// a few frames, over the middle of the signal.
double snr(const std::vector<float>& a, const std::vector<float>& reference)
{
    double best = -1e9;
    const long frames = long(std::min(a.size(), reference.size()) / kChannels);
    for (long lag = -4; lag <= 4; ++lag) {
        double signal = 0;
        double noise = 0;
        for (long i = 44100; i < frames - 44100; ++i) {
            for (int c = 0; c < kChannels; ++c) {
                const double r = reference[size_t(i * kChannels + c)];
                const double d = a[size_t((i + lag) * kChannels + c)] - r;
                signal += r * r;
                noise += d * d;
            }
        }
        best = std::max(best, 10.0 * std::log10(signal / noise));
    }
    return best;
}

} // namespace

int main()
{
    QTemporaryDir dir;
    const QString in = dir.filePath(QStringLiteral("in.f32"));
    const QString reference = dir.filePath(QStringLiteral("reference.f32"));
    // Noise and a sweep, band-limited to 20 kHz as Opus output is.
    const QStringList raw{QStringLiteral("-t"), QStringLiteral("f32"), QStringLiteral("-c"),
                          QStringLiteral("2")};
    if (QProcess::execute(QStringLiteral("sox"),
                          QStringList{QStringLiteral("-D"), QStringLiteral("-n"), QStringLiteral("-r"),
                                      QStringLiteral("48000")} +
                              raw +
                              QStringList{in, QStringLiteral("synth"), QString::number(kSeconds),
                                          QStringLiteral("pinknoise"), QStringLiteral("sine"),
                                          QStringLiteral("220-1760"), QStringLiteral("vol"),
                                          QStringLiteral("0.4"), QStringLiteral("sinc"),
                                          QStringLiteral("-20k")}) != 0 ||
        QProcess::execute(QStringLiteral("sox"),
                          QStringList{QStringLiteral("-D"), QStringLiteral("-r"), QStringLiteral("48000")} +
                              raw + QStringList{in, QStringLiteral("-r"), QStringLiteral("44100")} + raw +
                              QStringList{reference, QStringLiteral("rate"), QStringLiteral("-v")}) != 0) {
        std::fprintf(stderr, "sox failed\n");
        return 1;
    }
    const std::vector<float> input = readFloats(in);
    const std::vector<float> expected = readFloats(reference);

    const struct
    {
        const char* name;
        std::function<std::vector<float>()> run;
    } rows[] = {
        {"libspeexdsp quality 5", [&] { return withSpeex(input, 5); }},
        {"libspeexdsp quality 10", [&] { return withSpeex(input, 10); }},
        {"libsoxr SOXR_LQ", [&] { return withSoxr(input, SOXR_LQ); }},
        {"libsoxr SOXR_MQ", [&] { return withSoxr(input, SOXR_MQ); }},
        {"libsoxr SOXR_HQ", [&] { return withSoxr(input, SOXR_HQ); }},
        {"libsoxr SOXR_VHQ", [&] { return withSoxr(input, SOXR_VHQ); }},
    };
    std::printf("%-24s %12s %14s\n", "resampler", "snr_db", "cpu_seconds");
    for (const auto& row : rows) {
        double best = 1e9;
        std::vector<float> out;
        for (int i = 0; i < 5; ++i) {
            const double start = cpuSeconds();
            out = row.run();
            best = std::min(best, cpuSeconds() - start);
        }
        std::printf("%-24s %12.1f %14.4f\n", row.name, snr(out, expected), best);
    }
    return 0;
}
