#pragma once
// The channel layouts the decoders report, by channel count. Each codec
// family has its own table because each orders its channels its own way:
// FLAC follows the WAVE order, Vorbis (and Opus, which borrows Vorbis's
// mapping) puts the centre second.
//
// Pure functions of the channel count; callable from any thread.

#include "CoreAudioTypes.h"

#include <cstdint>

namespace ChannelLayouts {

// 1 Mono, 2 Stereo, 3 MPEG_3_0_A, 4 Quadraphonic, 5 MPEG_5_0_A, 6 MPEG_5_1_A;
// any other count Unknown.
AudioChannelLayout flacLayout(uint32_t channels);

// 1 Mono, 2 Stereo, 3 MPEG_3_0_A, 4 Quadraphonic, 5 MPEG_5_0_C, 6 MPEG_5_1_C,
// 7 and 8 as labelled channel descriptions in Vorbis order; any other count
// Unknown.
AudioChannelLayout vorbisLayout(uint32_t channels);

// 1 Mono, 2 Stereo; any other count Unknown.
AudioChannelLayout speexLayout(uint32_t channels);

// 1 Mono, 2 Stereo, 3 MPEG_3_0_A, 4 DVD_10, 5 MPEG_5_0_A, 6 MPEG_5_1_A; any
// other count Unknown.
AudioChannelLayout dsdLayout(uint32_t channels);
// The same rule for the codecs that state no channel order of their own
// (Monkey's Audio, WavPack, Musepack, True Audio).
inline AudioChannelLayout monoStereoLayout(uint32_t channels)
{
    return speexLayout(channels);
}

} // namespace ChannelLayouts
