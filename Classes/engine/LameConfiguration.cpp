#include "LameConfiguration.h"

#include "EncoderSettings.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace {

// Output rates LAME is told; any other value leaves the choice to LAME.
constexpr std::array<int64_t, 9> kOutputSampleRates{8000,  11025, 12000, 16000, 22050,
                                                    24000, 32000, 44100, 48000};

struct ChannelModeRow
{
    qint32 channelMode;
    MPEG_mode mode;
    bool forceMS;
};
constexpr std::array<ChannelModeRow, 3> kChannelModes{{
    {1, STEREO, false},
    {2, JOINT_STEREO, true},
    {3, MONO, false},
}};

} // namespace

bool LameConfiguration::apply(lame_global_flags* gfp, const EncoderSettings& format, int inputSampleRate,
                              int channels)
{
    lame_set_bWriteVbrTag(gfp, 1);

    MPEG_mode mode = NOT_SET;
    bool forceMS = false;
    for (const ChannelModeRow& row : kChannelModes) {
        if (row.channelMode == format.channelMode()) {
            mode = row.mode;
            forceMS = row.forceMS;
        }
    }
    lame_set_mode(gfp, mode);
    if (forceMS) {
        lame_set_force_ms(gfp, 1);
    }

    if (std::find(kOutputSampleRates.begin(), kOutputSampleRates.end(), format.sampleRate()) !=
        kOutputSampleRates.end()) {
        lame_set_out_samplerate(gfp, int(format.sampleRate()));
    }

    lame_set_quality(gfp, int(10 - format.quality()));

    switch (format.bitrateMethod()) {
    case EncoderSettings::ABR:
        lame_set_VBR(gfp, vbr_abr);
        lame_set_VBR_mean_bitrate_kbps(gfp, int(format.bitrate()));
        break;
    case EncoderSettings::VBR:
        lame_set_VBR(gfp, vbr_mtrh);
        lame_set_VBR_q(gfp, int(10 - format.vbrQuality()));
        break;
    default:
        lame_set_brate(gfp, int(format.bitrate()));
        lame_set_VBR(gfp, vbr_off);
        break;
    }

    lame_set_findReplayGain(gfp, 0);

    const bool channelsTaken = lame_set_num_channels(gfp, channels) >= 0;
    const bool rateTaken = lame_set_in_samplerate(gfp, inputSampleRate) >= 0;
    return channelsTaken && rateTaken;
}
