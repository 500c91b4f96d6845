#pragma once
// Encodes one long source with several LAME instances at once, one per
// chunk of the source on its own thread, and joins their frames into one
// gapless MPEG layer III stream (MP3StreamJoiner) with one LAME information
// frame for the whole, as if a single instance had encoded it.
//
// plan() cuts the source into chunks of equal stretches: every chunk after the
// first starts 32 frames before the first frame it provides (its seam; the
// joiner needs MP3StreamJoiner::kMinimumLeadIn, CBR's bit reservoir needs
// the rest to be as full at the seam as in a single encode), at an input
// frame that maps to a whole MP3 frame at the output rate (with resampling
// 48000 to 44100 Hz every 49th frame), and every chunk before the last reads
// on past the next chunk's seam by MP3StreamJoiner::kSeamWindow frames plus
// four frames of look-ahead, so the frames the joiner may take from it are
// complete and untouched by its flush.
//
// encode() configures one LAME instance per chunk (the LAME information frame
// only on the first) and runs the chunks in order on a few std::threads, each
// taking the next chunk when it is done; more chunks than threads keep every
// thread busy to the end even when the machine slows one of them. On the
// calling thread it checks Poll about ten times a second and joins each chunk
// as soon as it and those before it are done: a placeholder for the
// information frame, the joined frames, and at the end the information frame
// over the placeholder. The caller writes any tags afterwards.
//
// Memory: a chunk's MP3 output is kept in memory until it is joined, so at
// worst (the first chunk finishing last) encode() holds about the size of the
// finished MP3 (plus about 50 frames of lead-in and overlap per chunk), 170 MB
// for 70 minutes at 320 kbit/s, 70 MB at 128, and while joining two copies of
// one chunk's more. The PCM is read as it goes, a block at a time per chunk.
//
// Threads: construct, encode() and destroy on one thread (the caller's).
// ConfigureLame and OpenChunk run on that thread; each PcmBlockSource is read
// on its chunk's thread. Poll runs on the caller's thread.
//
// Same source + settings + chunk list always give the same bytes. A cancelled
// or failed encode leaves a partial stream in output, for the caller to delete.

#include "PcmBlockSource.h"

#include <cstdint>
#include <cstdio>
#include <functional>
#include <lame/lame.h>
#include <memory>
#include <vector>

class SplitMP3Encoder
{
public:
    struct Chunk
    {
        int64_t inputStart = 0;  // first input frame (sample frame at the source's rate) the instance reads
        int64_t inputFrames = 0; // input frames it reads (lead-in + own stretch + overlap/look-ahead; the
                                 // last one to the end)
        int64_t firstFrame = 0;  // index in the joined MP3 of the instance's first audio frame
        int64_t seamFrame = 0;   // first MP3 frame this chunk provides (0 for the first)
    };
    // The chunks for a source of sourceFrames input frames at inputRate, encoded at outputRate
    // with MP3 frames of frameSize samples, cut into chunkCount chunks (fewer, or one, when the
    // source is too short for them). Chunk starts are aligned so that frames line up exactly,
    // also when LAME resamples. Pure arithmetic; deterministic.
    static std::vector<Chunk> plan(int64_t sourceFrames, int inputRate, int outputRate, int frameSize,
                                   int chunkCount);

    // Sets every LAME parameter of the conversion (channels, rates, mode, bit rate...) on a fresh
    // instance, but does not call lame_init_params. Called once per chunk, on the calling thread.
    using ConfigureLame = std::function<void(lame_global_flags*)>;
    // Opens the PCM of one chunk's input frames. Called once per chunk, on the calling thread,
    // before any chunk starts; the source is then read on the chunk's thread.
    using OpenChunk = std::function<std::unique_ptr<PcmBlockSource>(const Chunk&)>;
    // Called on the calling thread about ten times a second with the input frames encoded so far
    // (over all chunks, lead-ins not counted twice is not required); return false to cancel.
    using Poll = std::function<bool(int64_t framesEncoded)>;

    // threads: how many chunks are encoded at once (0: all of them). With more chunks than
    // threads, a thread that is done takes the next chunk.
    SplitMP3Encoder(ConfigureLame configure, OpenChunk open, std::vector<Chunk> chunks, int threads = 0);
    ~SplitMP3Encoder();

    // Encodes every chunk, on the threads given, and writes the joined MP3 with its LAME information
    // frame to output, from its current position (nothing else is written to it). Returns false
    // when Poll asked to stop: every chunk's thread has then stopped, and the output holds a
    // partial stream the caller deletes. Throws NamedException for a failure in any chunk
    // (LAME refusing the parameters, a read failure, an unjoinable stream), after all threads stopped.
    bool encode(std::FILE* output, const Poll& poll);

private:
    ConfigureLame m_configure;
    OpenChunk m_open;
    std::vector<Chunk> m_chunks;
    int m_threads = 0;
};
