// The loudness meter beside the encoder it runs with: both take the same
// chunks of planar stereo PCM (pink-ish noise, 44.1 kHz, the chunk sizes the
// MP3 encoder reads), so their frames per second read as the share of the
// conversion that ReplayGain adds (benchmarks/replaygain-cost.sh times the
// whole conversion). libebur128 takes the same chunks, as it would be fed
// in place of our meter: interleaved, in the modes ReplayGain needs.

#include "LoudnessMeter.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <ebur128.h>
#include <lame/lame.h>
#include <memory>
#include <random>
#include <vector>

namespace {

constexpr int kRate = 44100;
constexpr size_t kFrames = size_t(kRate) * 10;

// Noise with most of its energy low, as music has; samples of the given
// width, left-justified.
template <class Sample> std::vector<Sample> noise(unsigned seed)
{
    std::mt19937 random(seed);
    std::normal_distribution<double> white(0.0, 0.1);
    std::vector<Sample> samples(kFrames);
    double low = 0;
    const double fullScale = sizeof(Sample) == 2 ? 32767.0 : 2147483647.0;
    for (Sample& sample : samples) {
        low = 0.98 * low + 0.2 * white(random);
        sample = Sample(std::clamp(low + white(random) * 0.3, -1.0, 1.0) * fullScale);
    }
    return samples;
}

template <class Sample> void meter(benchmark::State& state)
{
    const std::vector<Sample> left = noise<Sample>(1), right = noise<Sample>(2);
    const size_t chunk = size_t(state.range(0));
    for (auto _ : state) {
        LoudnessMeter loudness(2, kRate);
        for (size_t at = 0; at < kFrames; at += chunk) {
            loudness.add(left.data() + at, right.data() + at, std::min(chunk, kFrames - at));
        }
        benchmark::DoNotOptimize(loudness.loudness());
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(kFrames));
}

struct StateDeleter
{
    void operator()(ebur128_state* state) const { ebur128_destroy(&state); }
};

void libebur128(benchmark::State& state)
{
    const std::vector<short> left = noise<short>(1), right = noise<short>(2);
    const size_t chunk = size_t(state.range(0));
    std::vector<short> interleaved(chunk * 2);
    for (auto _ : state) {
        const std::unique_ptr<ebur128_state, StateDeleter> meter(
            ebur128_init(2, kRate, EBUR128_MODE_I | EBUR128_MODE_SAMPLE_PEAK | EBUR128_MODE_HISTOGRAM));
        for (size_t at = 0; at < kFrames; at += chunk) {
            const size_t frames = std::min(chunk, kFrames - at);
            for (size_t i = 0; i < frames; ++i) {
                interleaved[2 * i] = left[at + i];
                interleaved[2 * i + 1] = right[at + i];
            }
            ebur128_add_frames_short(meter.get(), interleaved.data(), frames);
        }
        double loudness = 0;
        ebur128_loudness_global(meter.get(), &loudness);
        benchmark::DoNotOptimize(loudness);
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(kFrames));
}

struct LameDeleter
{
    void operator()(lame_global_flags* gfp) const { lame_close(gfp); }
};

// LAME at V2 (the program's default) on the same PCM.
void lameV2(benchmark::State& state)
{
    const std::vector<short> left = noise<short>(1), right = noise<short>(2);
    const size_t chunk = size_t(state.range(0));
    std::vector<unsigned char> mp3(chunk * 2 + 7200);
    for (auto _ : state) {
        const std::unique_ptr<lame_global_flags, LameDeleter> gfp(lame_init());
        lame_set_num_channels(gfp.get(), 2);
        lame_set_in_samplerate(gfp.get(), kRate);
        lame_set_VBR(gfp.get(), vbr_mtrh);
        lame_set_VBR_q(gfp.get(), 2);
        lame_set_findReplayGain(gfp.get(), 0);
        lame_init_params(gfp.get());
        for (size_t at = 0; at < kFrames; at += chunk) {
            const int frames = int(std::min(chunk, kFrames - at));
            benchmark::DoNotOptimize(lame_encode_buffer(gfp.get(), left.data() + at, right.data() + at,
                                                        frames, mp3.data(), int(mp3.size())));
        }
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(kFrames));
}

} // namespace

// 16-bit chunks of 64 KiB and 24/32-bit chunks of 128 KiB hold 16384 frames.
BENCHMARK(meter<short>)->Arg(16384)->Unit(benchmark::kMillisecond);
BENCHMARK(meter<int>)->Arg(16384)->Unit(benchmark::kMillisecond);
BENCHMARK(libebur128)->Arg(16384)->Unit(benchmark::kMillisecond);
BENCHMARK(lameV2)->Arg(16384)->Unit(benchmark::kMillisecond);
