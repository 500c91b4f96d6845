#pragma once
// One stretch of a source, as LAME is fed: planar 16-bit samples, or 32-bit
// samples left-justified (24- and 32-bit sources). Right is null for mono.
//
// The split encoder (SplitMP3Encoder) asks for one per chunk through its
// OpenChunk callback and reads it on that chunk's thread until a block of 0
// frames; the source yields exactly the chunk's inputFrames frames (fewer only
// when the source itself ends early).
//
// Ownership: the block's pointers belong to the source and stay valid until
// the next call to next() or the source's destruction.
// Threads: made on one thread, then used by one other thread at a time.
// Failures: next() throws NamedException (a read or decode failure); the
// encoder carries it to its caller.

#include <cstddef>

class PcmBlockSource
{
public:
    struct Block
    {
        const short* left16 = nullptr; // set for 8- and 16-bit sources
        const short* right16 = nullptr;
        const int* left32 = nullptr; // set for 24- and 32-bit sources
        const int* right32 = nullptr;
        size_t frames = 0; // 0: the stretch has ended
    };
    virtual ~PcmBlockSource() = default;
    // The next block; the pointers stay valid until the next call. Throws NamedException.
    virtual Block next() = 0;
};
