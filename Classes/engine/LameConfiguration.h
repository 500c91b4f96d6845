#pragma once
// The LAME parameters of one MP3 output format: channel mode, output rate,
// quality, bit-rate method and rate, always with the VBR/LAME information
// frame and without LAME's own ReplayGain analysis; plus the input's rate and
// channel count. The single LAME instance of an encode and every instance of
// a split encode (one per chunk) are set up by the same call, so that their
// frames agree.
//
// Plain function of its arguments; any thread, on an instance that thread
// owns. Does not call lame_init_params.

#include <lame/lame.h>

class EncoderSettings;

class LameConfiguration
{
public:
    // Sets every parameter on a fresh instance. False when LAME refused the
    // channel count or the input rate: LAME refuses more than two channels
    // already when told the count and would then go on with its default of
    // two, so the caller must take a refusal as a refusal of the parameters.
    static bool apply(lame_global_flags* gfp, const EncoderSettings& format, int inputSampleRate,
                      int channels);
};
