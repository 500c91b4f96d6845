#include "ChannelMixMap.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <initializer_list>

namespace {

constexpr float kMinus3dB = 0.70710677f;

constexpr uint32_t kL = kAudioChannelLabel_Left;
constexpr uint32_t kR = kAudioChannelLabel_Right;
constexpr uint32_t kC = kAudioChannelLabel_Center;
constexpr uint32_t kLFE = kAudioChannelLabel_LFEScreen;
constexpr uint32_t kLs = kAudioChannelLabel_LeftSurround;
constexpr uint32_t kRs = kAudioChannelLabel_RightSurround;
constexpr uint32_t kCs = kAudioChannelLabel_CenterSurround;
constexpr uint32_t kLsd = kAudioChannelLabel_LeftSurroundDirect;
constexpr uint32_t kRsd = kAudioChannelLabel_RightSurroundDirect;
constexpr uint32_t kRls = kAudioChannelLabel_RearSurroundLeft;
constexpr uint32_t kRrs = kAudioChannelLabel_RearSurroundRight;
constexpr uint32_t kLc = kAudioChannelLabel_LeftCenter;
constexpr uint32_t kRc = kAudioChannelLabel_RightCenter;

struct TagRow
{
    uint32_t tag;
    std::initializer_list<uint32_t> labels;
};

// The channel order of each layout tag the decoders report.
constexpr std::array<TagRow, 18> kTagLabels = {{
    {kAudioChannelLayoutTag_Mono, {kC}},
    {kAudioChannelLayoutTag_Stereo, {kL, kR}},
    {kAudioChannelLayoutTag_StereoHeadphones, {kL, kR}},
    {kAudioChannelLayoutTag_MPEG_3_0_A, {kL, kR, kC}},
    {kAudioChannelLayoutTag_MPEG_4_0_A, {kL, kR, kC, kCs}},
    {kAudioChannelLayoutTag_Quadraphonic, {kL, kR, kLs, kRs}},
    {kAudioChannelLayoutTag_DVD_10, {kL, kR, kC, kLFE}},
    {kAudioChannelLayoutTag_DVD_11, {kL, kR, kC, kLFE, kCs}},
    {kAudioChannelLayoutTag_MPEG_5_0_A, {kL, kR, kC, kLs, kRs}},
    {kAudioChannelLayoutTag_MPEG_5_0_C, {kL, kC, kR, kLs, kRs}},
    {kAudioChannelLayoutTag_MPEG_5_1_A, {kL, kR, kC, kLFE, kLs, kRs}},
    {kAudioChannelLayoutTag_MPEG_5_1_C, {kL, kC, kR, kLs, kRs, kLFE}},
    {kAudioChannelLayoutTag_MPEG_6_1_A, {kL, kR, kC, kLFE, kLs, kRs, kCs}},
    {kAudioChannelLayoutTag_MPEG_7_1_A, {kL, kR, kC, kLFE, kLs, kRs, kLc, kRc}},
    {kAudioChannelLayoutTag_MPEG_7_1_C, {kL, kR, kC, kLFE, kLs, kRs, kRls, kRrs}},
    {kAudioChannelLayoutTag_AAC_6_0, {kC, kL, kR, kLs, kRs, kCs}},
    {kAudioChannelLayoutTag_AAC_6_1, {kC, kL, kR, kLs, kRs, kCs, kLFE}},
    {kAudioChannelLayoutTag_AAC_7_0, {kC, kL, kR, kLs, kRs, kRls, kRrs}},
}};

template <std::size_t N> constexpr bool tagsNameTheirChannels(const std::array<TagRow, N>& rows)
{
    for (const TagRow& row : rows) {
        if (channelCountOfLayoutTag(row.tag) != row.labels.size()) {
            return false;
        }
    }
    return true;
}
static_assert(tagsNameTheirChannels(kTagLabels), "every tag lists one label per channel it names");

// What an unknown layout of a given channel count is taken to be.
constexpr std::array<uint32_t, 8> kTagOfCount = {
    kAudioChannelLayoutTag_Mono,       kAudioChannelLayoutTag_Stereo,     kAudioChannelLayoutTag_MPEG_3_0_A,
    kAudioChannelLayoutTag_DVD_10,     kAudioChannelLayoutTag_DVD_11,     kAudioChannelLayoutTag_MPEG_5_1_A,
    kAudioChannelLayoutTag_MPEG_6_1_A, kAudioChannelLayoutTag_MPEG_7_1_C,
};
static_assert(channelCountOfLayoutTag(kTagOfCount[7]) == 8);

// Bitmap bits in the order a channel bitmap lists its channels.
constexpr std::array<std::pair<uint32_t, uint32_t>, 12> kBitLabels = {{
    {kAudioChannelBit_Left, kL},
    {kAudioChannelBit_Right, kR},
    {kAudioChannelBit_Center, kC},
    {kAudioChannelBit_LFEScreen, kLFE},
    {kAudioChannelBit_LeftSurround, kLs},
    {kAudioChannelBit_RightSurround, kRs},
    {kAudioChannelBit_LeftCenter, kLc},
    {kAudioChannelBit_RightCenter, kRc},
    {kAudioChannelBit_CenterSurround, kCs},
    {kAudioChannelBit_LeftSurroundDirect, kLsd},
    {kAudioChannelBit_RightSurroundDirect, kRsd},
    {kAudioChannelBit_TopCenterSurround, kAudioChannelLabel_TopCenterSurround},
}};

struct StereoWeights
{
    uint32_t label;
    float left;
    float right;
};

// Each speaker's share of a stereo down-mix. Labels not listed (LFE, height
// and unknown channels) are left out of the mix.
constexpr std::array<StereoWeights, 13> kStereoWeights = {{
    {kL, 1.0f, 0.0f},
    {kR, 0.0f, 1.0f},
    {kC, kMinus3dB, kMinus3dB},
    {kLs, kMinus3dB, 0.0f},
    {kRs, 0.0f, kMinus3dB},
    {kLsd, kMinus3dB, 0.0f},
    {kRsd, 0.0f, kMinus3dB},
    {kRls, kMinus3dB, 0.0f},
    {kRrs, 0.0f, kMinus3dB},
    {kCs, kMinus3dB, kMinus3dB},
    {kLc, 1.0f, 0.0f},
    {kRc, 0.0f, 1.0f},
    {kAudioChannelLabel_TopCenterSurround, kMinus3dB* kMinus3dB, kMinus3dB* kMinus3dB},
}};

StereoWeights stereoWeights(uint32_t label)
{
    for (const StereoWeights& row : kStereoWeights) {
        if (row.label == label) {
            return row;
        }
    }
    return StereoWeights{label, 0.0f, 0.0f};
}

} // namespace

std::optional<std::vector<uint32_t>> ChannelMixMap::channelLabels(const AudioChannelLayout& layout,
                                                                  uint32_t channels)
{
    std::vector<uint32_t> labels;
    switch (layout.mChannelLayoutTag) {
    case kAudioChannelLayoutTag_UseChannelDescriptions:
        for (const AudioChannelDescription& description : layout.mChannelDescriptions) {
            labels.push_back(description.mChannelLabel);
        }
        break;
    case kAudioChannelLayoutTag_UseChannelBitmap:
        for (const auto& [bit, label] : kBitLabels) {
            if (layout.mChannelBitmap & bit) {
                labels.push_back(label);
            }
        }
        break;
    case kAudioChannelLayoutTag_Unknown:
        if (channels >= 1 && channels <= kTagOfCount.size()) {
            return channelLabels(AudioChannelLayout::withTag(kTagOfCount[channels - 1]), channels);
        }
        return std::nullopt;
    default:
        for (const TagRow& row : kTagLabels) {
            if (row.tag == layout.mChannelLayoutTag) {
                labels.assign(row.labels.begin(), row.labels.end());
            }
        }
        break;
    }
    if (labels.size() != channels) {
        return std::nullopt;
    }
    return labels;
}

std::optional<std::vector<float>> ChannelMixMap::matrix(const AudioChannelLayout& source,
                                                        uint32_t sourceChannels,
                                                        const AudioChannelLayout& destination,
                                                        uint32_t destinationChannels)
{
    if (sourceChannels == 0 || destinationChannels == 0) {
        return std::nullopt;
    }
    std::vector<float> gains(size_t(sourceChannels) * destinationChannels, 0.0f);
    if (sourceChannels == destinationChannels && source.mChannelLayoutTag == destination.mChannelLayoutTag) {
        for (uint32_t i = 0; i < sourceChannels; ++i) {
            gains[size_t(i) * destinationChannels + i] = 1.0f;
        }
        return gains;
    }
    if (sourceChannels == 1) {
        // Mono spreads to every destination channel.
        std::fill(gains.begin(), gains.end(), 1.0f);
        return destinationChannels <= 2 ? std::optional(gains) : std::nullopt;
    }
    if (destinationChannels > 2) {
        return std::nullopt;
    }
    const std::optional<std::vector<uint32_t>> labels = channelLabels(source, sourceChannels);
    if (!labels) {
        return std::nullopt;
    }
    for (uint32_t i = 0; i < sourceChannels; ++i) {
        const StereoWeights w = stereoWeights((*labels)[i]);
        if (destinationChannels == 2) {
            gains[size_t(i) * 2] = w.left;
            gains[size_t(i) * 2 + 1] = w.right;
        } else if (sourceChannels == 2) {
            // Stereo to mono: the master gain brings the 1/sqrt(2).
            gains[i] = w.left + w.right;
        } else {
            gains[i] = (w.left + w.right) * kMinus3dB;
        }
    }
    return gains;
}
