#include "SplitMP3Encoder.h"

#include "MP3StreamJoiner.h"
#include "NamedException.h"

#include <QByteArray>
#include <QCoreApplication>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <numeric>
#include <thread>

namespace {

// Messages of failures, in the translation context the other encoders' failures use.
QString exceptionsTr(const char* text)
{
    return QCoreApplication::translate("Exceptions", text);
}

// Frames a chunk reads past the last frame the joiner may take from it: LAME holds back about
// one frame of input for its look-ahead (psychoacoustic model, MDCT overlap) and the resampler a
// few samples more; the frames it writes at the flush are then all past the seam window.
constexpr int64_t kLookAheadFrames = 4;
// Frames of lead-in a chunk after the first is given (at least the joiner's minimum). Measured
// on music with bursts at the seams, three chunks against one instance, SNR change: with no
// lead-in CBR loses 2 dB and ABR 1 dB (the first frame's MDCT overlap is missing); from one frame
// on ABR and VBR are within 0.01 dB; CBR, whose reservoir starts empty in each chunk, is within
// 0.1 dB at 8 frames, 0.06 dB at 16 and 0.01 dB at 32. Each chunk encodes them twice, less than
// a second of audio.
constexpr int64_t kLeadInFrames = std::max<int64_t>(32, MP3StreamJoiner::kMinimumLeadIn);
// The fewest frames a chunk provides; shorter sources get fewer chunks.
constexpr int64_t kMinimumStretchFrames = 4 * MP3StreamJoiner::kSeamWindow;
// Input frames given to LAME at a time.
constexpr size_t kSliceFrames = 8192;

struct LameDeleter
{
    void operator()(lame_global_flags* gfp) const { lame_close(gfp); }
};
using Lame = std::unique_ptr<lame_global_flags, LameDeleter>;

// One chunk's encoder, its PCM and what came out.
struct ChunkRun
{
    Lame lame;
    std::unique_ptr<PcmBlockSource> source;
    QByteArray mp3;
    QByteArray infoFrame;
    int delay = 0;
    int padding = 0;
    std::exception_ptr failure;
};

// Runs on the chunk's thread. Returns early, with nothing flushed, when cancel is set.
void encodeChunk(ChunkRun& run, const std::atomic<bool>& cancel, std::atomic<int64_t>& framesEncoded)
{
    lame_global_flags* gfp = run.lame.get();
    std::vector<unsigned char> mp3(kSliceFrames * 5 / 4 + 7200);
    for (;;) {
        if (cancel.load()) {
            return;
        }
        const PcmBlockSource::Block block = run.source->next();
        if (block.frames == 0) {
            break;
        }
        if (!block.left16 && !block.left32) {
            ZT_FAIL(QStringLiteral("A block of PCM without samples."));
        }
        for (size_t done = 0; done < block.frames;) {
            const size_t n = std::min(kSliceFrames, block.frames - done);
            int written = 0;
            if (block.left32) {
                const int* left = block.left32 + done;
                const int* right = block.right32 ? block.right32 + done : left;
                written = lame_encode_buffer_int(gfp, left, right, int(n), mp3.data(), int(mp3.size()));
            } else {
                const short* left = block.left16 + done;
                const short* right = block.right16 ? block.right16 + done : left;
                written = lame_encode_buffer(gfp, left, right, int(n), mp3.data(), int(mp3.size()));
            }
            if (written < 0) {
                ZT_FAIL(QStringLiteral("lame_encode_buffer Failed: %1").arg(written));
            }
            run.mp3.append(reinterpret_cast<const char*>(mp3.data()), written);
            done += n;
            framesEncoded += int64_t(n);
        }
    }
    const int flushed = lame_encode_flush(gfp, mp3.data(), int(mp3.size()));
    if (flushed < 0) {
        ZT_FAIL(QStringLiteral("lame_encode_flush Failed."));
    }
    run.mp3.append(reinterpret_cast<const char*>(mp3.data()), flushed);
    run.infoFrame.resize(qsizetype(lame_get_lametag_frame(gfp, nullptr, 0)));
    lame_get_lametag_frame(gfp, reinterpret_cast<unsigned char*>(run.infoFrame.data()),
                           size_t(run.infoFrame.size()));
    run.delay = lame_get_encoder_delay(gfp);
    run.padding = lame_get_encoder_padding(gfp);
}

void writeAll(std::FILE* output, const QByteArray& bytes)
{
    if (std::fwrite(bytes.constData(), 1, size_t(bytes.size()), output) != size_t(bytes.size())) {
        NamedException::raise(kIOException, exceptionsTr("Could not write the MP3 file."));
    }
}

} // namespace

std::vector<SplitMP3Encoder::Chunk> SplitMP3Encoder::plan(int64_t sourceFrames, int inputRate, int outputRate,
                                                          int frameSize, int chunkCount)
{
    ZT_REQUIRE(inputRate > 0 && outputRate > 0 && frameSize > 0, "rates and frame size > 0");
    const int64_t outputSamples = std::max<int64_t>(0, sourceFrames) * outputRate / inputRate;
    const int64_t totalFrames = (outputSamples + frameSize - 1) / frameSize;
    // MP3 frame f starts at input frame f * frameSize * inputRate / outputRate; chunk starts are
    // the frames where that is a whole number: the multiples of `step`.
    const int64_t samplesIn = int64_t(frameSize) * inputRate;
    const int64_t step = outputRate / std::gcd(samplesIn, int64_t(outputRate));
    const auto inputAt = [&](int64_t frame) { return frame * samplesIn / outputRate; };

    const int64_t count =
        std::clamp<int64_t>(std::min<int64_t>(chunkCount, totalFrames / (kMinimumStretchFrames + step)), 1,
                            std::max(1, chunkCount));
    std::vector<Chunk> chunks(static_cast<size_t>(count));
    for (int64_t k = 0; k < count; ++k) {
        Chunk& chunk = chunks[size_t(k)];
        chunk.seamFrame = k * totalFrames / count;
        chunk.firstFrame = k == 0 ? 0 : std::max<int64_t>(0, chunk.seamFrame - kLeadInFrames) / step * step;
        chunk.inputStart = inputAt(chunk.firstFrame);
    }
    for (int64_t k = 0; k < count; ++k) {
        Chunk& chunk = chunks[size_t(k)];
        int64_t end = std::max<int64_t>(0, sourceFrames);
        if (k + 1 < count) {
            const int64_t lastFrame =
                chunks[size_t(k + 1)].seamFrame + MP3StreamJoiner::kSeamWindow + kLookAheadFrames;
            // Rounded up: the whole of the last frame's input.
            end = std::min(end, (lastFrame * samplesIn + outputRate - 1) / outputRate);
        }
        chunk.inputFrames = end - chunk.inputStart;
    }
    return chunks;
}

SplitMP3Encoder::SplitMP3Encoder(ConfigureLame configure, OpenChunk open, std::vector<Chunk> chunks,
                                 int threads)
    : m_configure(std::move(configure)), m_open(std::move(open)), m_chunks(std::move(chunks)),
      m_threads(threads)
{
    ZT_REQUIRE(!m_chunks.empty(), "chunks.size() > 0");
}

SplitMP3Encoder::~SplitMP3Encoder() = default;

bool SplitMP3Encoder::encode(std::FILE* output, const Poll& poll)
{
    ZT_REQUIRE(output != nullptr, "output != NULL");
    std::vector<ChunkRun> runs(m_chunks.size());
    bool variableBitrate = false;
    for (size_t k = 0; k < runs.size(); ++k) {
        runs[k].lame.reset(lame_init());
        lame_global_flags* gfp = runs[k].lame.get();
        if (!gfp) {
            ZT_FAIL(exceptionsTr("Unable to initialize the LAME encoder."));
        }
        m_configure(gfp);
        // Only the first chunk's information frame is kept, rewritten for the whole stream.
        lame_set_bWriteVbrTag(gfp, k == 0 ? 1 : 0);
        if (lame_init_params(gfp) == -1) {
            ZT_FAIL(exceptionsTr("Unable to initialize the LAME encoder."));
        }
        variableBitrate = lame_get_VBR(gfp) != vbr_off;
    }
    for (size_t k = 0; k < runs.size(); ++k) {
        runs[k].source = m_open(m_chunks[k]);
        ZT_ASSERT(runs[k].source != nullptr, QStringLiteral("No PCM for chunk %1.").arg(k));
    }

    std::atomic<bool> cancel = false;
    std::atomic<int64_t> framesEncoded = 0;
    // Chunks are taken in order by m_threads workers; a worker that is done
    // takes the next one, so a thread slowed by others on the machine does
    // not leave the rest idle at the end.
    std::atomic<size_t> nextChunk = 0;
    std::mutex mutex;
    std::condition_variable finishedChanged;
    std::vector<char> finished(runs.size(), 0);
    size_t workersRunning = 0;
    std::vector<std::thread> threads;
    // Whatever leaves this scope (Poll or the joiner may throw too), no thread outlives it.
    struct JoinAll
    {
        std::vector<std::thread>& threads;
        std::atomic<bool>& cancel;
        ~JoinAll()
        {
            cancel = true;
            for (std::thread& thread : threads) {
                if (thread.joinable()) {
                    thread.join();
                }
            }
        }
    } joinAll{threads, cancel};
    const size_t workers = std::min(runs.size(), m_threads > 0 ? size_t(m_threads) : runs.size());
    workersRunning = workers;
    for (size_t w = 0; w < workers; ++w) {
        threads.emplace_back([&] {
            for (size_t k = nextChunk++; k < runs.size() && !cancel.load(); k = nextChunk++) {
                try {
                    encodeChunk(runs[k], cancel, framesEncoded);
                } catch (...) {
                    runs[k].failure = std::current_exception();
                    cancel = true;
                }
                const std::lock_guard lock(mutex);
                finished[k] = 1;
                finishedChanged.notify_all();
            }
            const std::lock_guard lock(mutex);
            --workersRunning;
            finishedChanged.notify_all();
        });
    }

    // The information frame's place, its content known once every frame is written.
    const int64_t start = ftello(output);
    MP3StreamJoiner joiner(output, variableBitrate);
    bool placeholderWritten = false;
    size_t joined = 0;
    bool stopped = false;
    // Each chunk is joined as soon as it and those before it are done, while
    // the later ones still encode.
    const auto joinFinished = [&] {
        for (;;) {
            {
                const std::lock_guard lock(mutex);
                if (joined == runs.size() || !finished[joined] || runs[joined].failure || cancel.load()) {
                    return;
                }
            }
            ChunkRun& run = runs[joined];
            if (!placeholderWritten) {
                writeAll(output, QByteArray(run.infoFrame.size(), '\0'));
                placeholderWritten = true;
            }
            joiner.append(run.mp3, m_chunks[joined].firstFrame, m_chunks[joined].seamFrame);
            run.mp3 = QByteArray();
            ++joined;
        }
    };
    {
        std::unique_lock lock(mutex);
        while (workersRunning > 0) {
            finishedChanged.wait_for(lock, std::chrono::milliseconds(100));
            if (stopped || workersRunning == 0) {
                continue;
            }
            lock.unlock();
            joinFinished();
            stopped = !poll(framesEncoded.load());
            lock.lock();
            if (stopped) {
                cancel = true;
            }
        }
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    threads.clear();
    for (const ChunkRun& run : runs) {
        if (run.failure) {
            std::rethrow_exception(run.failure);
        }
    }
    if (stopped) {
        return false;
    }
    joinFinished();
    const QByteArray& template0 = runs.front().infoFrame;
    joiner.finish();
    if (!template0.isEmpty()) {
        const QByteArray info = joiner.infoFrame(template0, runs.front().delay, runs.back().padding);
        const int64_t end = ftello(output);
        if (start < 0 || end < 0 || fseeko(output, start, SEEK_SET) != 0) {
            NamedException::raise(kIOException, exceptionsTr("Could not write the MP3 file."));
        }
        writeAll(output, info);
        if (fseeko(output, end, SEEK_SET) != 0 || std::fflush(output) != 0) {
            NamedException::raise(kIOException, exceptionsTr("Could not write the MP3 file."));
        }
    }
    return true;
}
