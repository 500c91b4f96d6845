#include "ChannelLayouts.h"

#include <array>
#include <cstddef>
#include <initializer_list>
#include <vector>

namespace {

// A row per channel count, starting at one channel. A row either names a
// layout tag or, when the tag is UseChannelDescriptions, lists its labels.
struct LayoutRow
{
    uint32_t channels;
    uint32_t tag;
    std::initializer_list<uint32_t> labels;
};

template <std::size_t N> constexpr bool rowsCountUpFromOne(const std::array<LayoutRow, N>& rows)
{
    for (std::size_t i = 0; i < N; ++i) {
        if (rows[i].channels != i + 1) {
            return false;
        }
        if (rows[i].tag != kAudioChannelLayoutTag_UseChannelDescriptions &&
            channelCountOfLayoutTag(rows[i].tag) != rows[i].channels) {
            return false;
        }
        if (rows[i].tag == kAudioChannelLayoutTag_UseChannelDescriptions &&
            rows[i].labels.size() != rows[i].channels) {
            return false;
        }
    }
    return true;
}

constexpr std::array<LayoutRow, 6> kFLACLayouts = {{
    {1, kAudioChannelLayoutTag_Mono, {}},
    {2, kAudioChannelLayoutTag_Stereo, {}},
    {3, kAudioChannelLayoutTag_MPEG_3_0_A, {}},
    {4, kAudioChannelLayoutTag_Quadraphonic, {}},
    {5, kAudioChannelLayoutTag_MPEG_5_0_A, {}},
    {6, kAudioChannelLayoutTag_MPEG_5_1_A, {}},
}};
static_assert(rowsCountUpFromOne(kFLACLayouts));

constexpr std::array<LayoutRow, 8> kVorbisLayouts = {{
    {1, kAudioChannelLayoutTag_Mono, {}},
    {2, kAudioChannelLayoutTag_Stereo, {}},
    {3, kAudioChannelLayoutTag_MPEG_3_0_A, {}},
    {4, kAudioChannelLayoutTag_Quadraphonic, {}},
    {5, kAudioChannelLayoutTag_MPEG_5_0_C, {}},
    {6, kAudioChannelLayoutTag_MPEG_5_1_C, {}},
    {7,
     kAudioChannelLayoutTag_UseChannelDescriptions,
     {kAudioChannelLabel_Left, kAudioChannelLabel_Center, kAudioChannelLabel_Right,
      kAudioChannelLabel_LeftSurround, kAudioChannelLabel_RightSurround, kAudioChannelLabel_CenterSurround,
      kAudioChannelLabel_LFEScreen}},
    {8,
     kAudioChannelLayoutTag_UseChannelDescriptions,
     {kAudioChannelLabel_Left, kAudioChannelLabel_Center, kAudioChannelLabel_Right,
      kAudioChannelLabel_LeftSurround, kAudioChannelLabel_RightSurround, kAudioChannelLabel_RearSurroundLeft,
      kAudioChannelLabel_RearSurroundRight, kAudioChannelLabel_LFEScreen}},
}};
static_assert(rowsCountUpFromOne(kVorbisLayouts));

constexpr std::array<LayoutRow, 2> kSpeexLayouts = {{
    {1, kAudioChannelLayoutTag_Mono, {}},
    {2, kAudioChannelLayoutTag_Stereo, {}},
}};
static_assert(rowsCountUpFromOne(kSpeexLayouts));

// DSD files: the layouts the DSD decoder has always reported, four channels
// included.
constexpr std::array<LayoutRow, 6> kDSDLayouts = {{
    {1, kAudioChannelLayoutTag_Mono, {}},
    {2, kAudioChannelLayoutTag_Stereo, {}},
    {3, kAudioChannelLayoutTag_MPEG_3_0_A, {}},
    {4, kAudioChannelLayoutTag_DVD_10, {}},
    {5, kAudioChannelLayoutTag_MPEG_5_0_A, {}},
    {6, kAudioChannelLayoutTag_MPEG_5_1_A, {}},
}};
static_assert(rowsCountUpFromOne(kDSDLayouts));

template <std::size_t N>
AudioChannelLayout layoutFromTable(const std::array<LayoutRow, N>& rows, uint32_t channels)
{
    if (channels == 0 || channels > N) {
        return AudioChannelLayout::withTag(kAudioChannelLayoutTag_Unknown);
    }
    const LayoutRow& row = rows[channels - 1];
    if (row.tag == kAudioChannelLayoutTag_UseChannelDescriptions) {
        return AudioChannelLayout::withLabels(std::vector<uint32_t>(row.labels));
    }
    return AudioChannelLayout::withTag(row.tag);
}

} // namespace

namespace ChannelLayouts {

AudioChannelLayout flacLayout(uint32_t channels)
{
    return layoutFromTable(kFLACLayouts, channels);
}

AudioChannelLayout vorbisLayout(uint32_t channels)
{
    return layoutFromTable(kVorbisLayouts, channels);
}

AudioChannelLayout speexLayout(uint32_t channels)
{
    return layoutFromTable(kSpeexLayouts, channels);
}

AudioChannelLayout dsdLayout(uint32_t channels)
{
    return layoutFromTable(kDSDLayouts, channels);
}

} // namespace ChannelLayouts
