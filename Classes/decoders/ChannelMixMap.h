#pragma once
// The standard gain matrix between two channel layouts: rows by source
// channel, columns by destination channel, row-major (the weight of source
// channel i in destination channel j is at i * destChannels + j).
//
// Down-mixes to stereo follow the usual ITU-R BS.775 weights: front left and
// right keep full gain, the centre goes to both sides at -3 dB (1/sqrt(2)),
// each surround to its own side at -3 dB, a single back surround to both
// sides at -3 dB, and the LFE channel is left out. Mono takes the left and
// right weights of that stereo mix, each at 1/sqrt(2) again, except from
// stereo itself, whose 1/sqrt(2) is the mixer's master gain. Mono to stereo
// copies the channel to both sides; a layout to itself is the identity.
//
// A layout is understood by its tag (mono, stereo, the MPEG, DVD, AAC and
// quadraphonic tags), its channel bitmap or its channel descriptions; an
// unknown layout of 1 to 8 channels is taken in the order that the decoders
// assign to that count (mono, stereo, MPEG_3_0_A, DVD_10, DVD_11,
// MPEG_5_1_A, MPEG_6_1_A, MPEG_7_1_C).
//
// Pure functions; callable from any thread.

#include "CoreAudioTypes.h"

#include <optional>
#include <vector>

namespace ChannelMixMap {

// The matrix, or nothing when there is no standard mix between the two
// (an up-mix beyond mono to stereo, or a layout whose channels cannot be
// named).
std::optional<std::vector<float>> matrix(const AudioChannelLayout& source, uint32_t sourceChannels,
                                         const AudioChannelLayout& destination, uint32_t destinationChannels);

// The labels of a layout's channels in their order, or nothing when they
// cannot be named.
std::optional<std::vector<uint32_t>> channelLabels(const AudioChannelLayout& layout, uint32_t channels);

} // namespace ChannelMixMap
