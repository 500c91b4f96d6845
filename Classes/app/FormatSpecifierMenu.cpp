#include "FormatSpecifierMenu.h"

#include <array>

namespace FormatSpecifierMenu {
namespace {

constexpr int kItemCount = 29;

// Tags are fixed: stored menus and the insertion command refer to them.
constexpr std::array<Item, kItemCount> kItems{{
    {1, "{trackTitle}", "Track Title"},
    {2, "{trackArtist}", "Track Artist"},
    {3, "{albumArtist}", "Album Artist"},
    {4, "{composer}", "Composer"},
    {5, "{albumTitle}", "Album Title"},
    {6, "{genre}", "Genre"},
    {7, "{year}", "Year"},
    {8, "{trackNumber}", "Track Number"},
    {9, "{trackTotal}", "Track Total"},
    {10, "{discNumber}", "Disc Number"},
    {11, "{discTotal}", "Disc Total"},
    {12, "{sourceFilename}", "Source File Name"},
    {13, "{outputBitrate}", "Output Bit Rate"},
    {14, "{outputBitrateMethod}", "Output Bit Rate Method"},
    {15, "{outputFileFormat}", "Output File Format"},
    {16, "{outputEncoding}", "Output Encoding"},
    {17, "{outputSampleRate}", "Output Sample Rate"},
    {18, "{bpm}", "Tempo (BPM)"},
    {19, "{grouping}", "Grouping"},
    {20, "{outputChannels}", "Output Channels"},
    {21, "{sourceBitrate}", "Source Bit Rate"},
    {22, "{sourceBitrateMethod}", "Source Bit Rate Method"},
    {23, "{sourceSampleRate}", "Source Sample Rate"},
    {24, "{sourceChannels}", "Source Channels"},
    {25, "{sourceKind}", "Source Kind"},
    {26, "{sourceFormat}", "Source Format"},
    {27, "{key}", "Key"},
    {28, "{ISRC}", "ISRC"},
    {29, "{sourceEncodedWith}", "Source Encoded With"},
}};

constexpr bool tagsFollowRows()
{
    for (int i = 0; i < kItemCount; ++i) {
        if (kItems[i].tag != i + 1) {
            return false;
        }
    }
    return true;
}
static_assert(tagsFollowRows(), "menu tags must be 1 ... 29 in row order, tokenForTag indexes by them");

} // namespace

std::span<const Item> items()
{
    return kItems;
}

QString tokenForTag(int tag)
{
    if (tag < 1 || tag > kItemCount) {
        return QString();
    }
    return QString::fromLatin1(kItems[tag - 1].token);
}

} // namespace FormatSpecifierMenu
