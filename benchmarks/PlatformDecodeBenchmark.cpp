// Decoding speed of CoreAudioDecoder and FFMPEGDecoder beside the bare
// libraries under them: libsndfile reading 16-bit samples, and libavformat
// plus libavcodec decoding without any conversion. The ratio of each decoder
// to its baseline is the cost of the reader, the ring buffer and the sample
// conversion. Ten-second files are made once, with sox and ffmpeg, in a
// temporary folder.

#include "CoreAudioDecoder.h"
#include "FFMPEGDecoder.h"
#include "FFmpegPointers.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <sndfile.h>
#include <vector>

namespace {

struct Files
{
    QTemporaryDir dir{QDir::tempPath() + QStringLiteral("/sonabrik-bench-XXXXXX")};

    Files()
    {
        const QByteArray d = QFile::encodeName(dir.path());
        const QByteArray script =
            "cd '" + d +
            "' && sox -D -V1 -n -r 44100 -c 2 -b 16 s16.wav synth 10 sine 330 sine 440 gain -3 && "
            "sox -D -V1 -n -r 48000 -c 2 -b 24 s24.wav synth 10 sine 330 sine 440 gain -3 && "
            "ffmpeg -nostdin -loglevel error -y -i s16.wav -c:a aac -b:a 128k aac.m4a && "
            "ffmpeg -nostdin -loglevel error -y -i s16.wav -c:a wmav2 -b:a 128k wma.wma && "
            "lame --quiet -b 128 s16.wav mp3.mp3";
        if (std::system(script.constData()) != 0) {
            std::abort();
        }
    }
    QString path(const char* name) const { return dir.filePath(QLatin1String(name)); }
};

const Files& files()
{
    static const Files instance;
    return instance;
}

// Reads the decoder to its end the way the encoder does: 64 KiB at a time.
template <class Decoder> void decodeWhole(benchmark::State& state, const char* name)
{
    const QString path = files().path(name);
    int64_t frames = 0;
    for (auto _ : state) {
        Decoder decoder;
        if (!decoder.initWithFilename(path)) {
            state.SkipWithError("cannot open");
            return;
        }
        const uint32_t bytesPerFrame = decoder.decodeFormat().mBytesPerFrame;
        std::vector<uint8_t> chunk(65536);
        AudioBufferList list;
        while (true) {
            list.mNumberBuffers = 1;
            list.mBuffers[0] =
                AudioBuffer{decoder.decodeFormat().mChannelsPerFrame, uint32_t(chunk.size()), chunk.data()};
            const uint32_t got = decoder.readAudio(&list, uint32_t(chunk.size()) / bytesPerFrame);
            if (got == 0 && decoder.isEndOfFile()) {
                break;
            }
            frames += got;
        }
    }
    state.counters["frames/s"] = benchmark::Counter(double(frames), benchmark::Counter::kIsRate);
}

void sndfileWhole(benchmark::State& state, const char* name)
{
    const QByteArray path = QFile::encodeName(files().path(name));
    int64_t frames = 0;
    for (auto _ : state) {
        SF_INFO info{};
        SNDFILE* file = sf_open(path.constData(), SFM_READ, &info);
        std::vector<int> samples(size_t(8192) * size_t(info.channels));
        sf_count_t got = 0;
        while ((got = sf_readf_int(file, samples.data(), 8192)) > 0) {
            frames += got;
        }
        sf_close(file);
    }
    state.counters["frames/s"] = benchmark::Counter(double(frames), benchmark::Counter::kIsRate);
}

void ffmpegWhole(benchmark::State& state, const char* name)
{
    const QByteArray path = QFile::encodeName(files().path(name));
    int64_t frames = 0;
    for (auto _ : state) {
        AVFormatContext* raw = nullptr;
        ff::avformat_open_input(&raw, path.constData(), nullptr, nullptr);
        AVFormatContextPtr format(raw);
        ff::avformat_find_stream_info(raw, nullptr);
        const AVCodec* codec = ff::avcodec_find_decoder(raw->streams[0]->codecpar->codec_id);
        AVCodecContextPtr context(ff::avcodec_alloc_context3(codec));
        ff::avcodec_parameters_to_context(context.get(), raw->streams[0]->codecpar);
        ff::avcodec_open2(context.get(), codec, nullptr);
        AVPacketPtr packet(ff::av_packet_alloc());
        AVFramePtr frame(ff::av_frame_alloc());
        while (ff::av_read_frame(raw, packet.get()) >= 0) {
            ff::avcodec_send_packet(context.get(), packet.get());
            ff::av_packet_unref(packet.get());
            while (ff::avcodec_receive_frame(context.get(), frame.get()) == 0) {
                frames += frame->nb_samples;
            }
        }
    }
    state.counters["frames/s"] = benchmark::Counter(double(frames), benchmark::Counter::kIsRate);
}

void coreAudioWhole(benchmark::State& state, const char* name)
{
    decodeWhole<CoreAudioDecoder>(state, name);
}

void ffmpegDecoderWhole(benchmark::State& state, const char* name)
{
    decodeWhole<FFMPEGDecoder>(state, name);
}

} // namespace

BENCHMARK_CAPTURE(sndfileWhole, wav16, "s16.wav")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(coreAudioWhole, wav16, "s16.wav")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(sndfileWhole, wav24, "s24.wav")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(coreAudioWhole, wav24, "s24.wav")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(sndfileWhole, mp3, "mp3.mp3")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(coreAudioWhole, mp3, "mp3.mp3")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ffmpegWhole, aac, "aac.m4a")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(coreAudioWhole, aac, "aac.m4a")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ffmpegWhole, wma, "wma.wma")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ffmpegDecoderWhole, wma, "wma.wma")->Unit(benchmark::kMillisecond);
