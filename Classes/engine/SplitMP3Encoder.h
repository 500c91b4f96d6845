#pragma once
// Encodes one long source with several LAME instances at once, one per
// chunk of the source on its own thread, and joins their frames into one
// gapless MPEG layer III stream (MP3StreamJoiner) with one LAME information
// frame for the whole, as if a single instance had encoded it.
//
// plan() cuts the source: every chunk after the first starts kMinimumLeadIn
// frames or more before the first frame it provides (its seam), so that the
// psychoacoustic model, the MDCT overlap and the resampler are warm there,
// and every chunk before the last reads on past the next chunk's seam by
// MP3StreamJoiner::kSeamWindow frames plus look-ahead, so the joiner has a
// window of complete frames to choose the exact seam in.
//
// Memory: each chunk's whole MP3 output is kept in memory until the join, so
// encode() holds about the size of the finished MP3 (plus the overlaps and
// lead-ins, a few KiB per chunk) at its peak; the PCM is read as it goes.
//
// Threads: construct, encode() and destroy on one thread (the caller's).
// ConfigureLame and OpenChunk run on that thread; each PcmBlockSource is read
// on its chunk's thread. Poll runs on the caller's thread.
//
// Same source + settings + chunk list always give the same bytes.

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

    SplitMP3Encoder(ConfigureLame configure, OpenChunk open, std::vector<Chunk> chunks);
    ~SplitMP3Encoder();

    // Encodes every chunk, one thread each, and writes the joined MP3 with its LAME information
    // frame to output, from its current position (nothing else is written to it). Returns false
    // when Poll asked to stop: every chunk's thread has then stopped, and the output holds a
    // partial stream the caller deletes. Throws NamedException for a failure in any chunk
    // (LAME refusing the parameters, a read failure, an unjoinable stream), after all threads stopped.
    bool encode(std::FILE* output, const Poll& poll);

private:
    ConfigureLame m_configure;
    OpenChunk m_open;
    std::vector<Chunk> m_chunks;
};
