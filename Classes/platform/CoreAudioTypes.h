#pragma once
// The PCM stream description, buffer list and channel-layout records that the
// decoders hand to the encoders. They keep the field layout of the audio
// format records that desktop audio frameworks use, so that a format can be
// described and compared field by field; nothing here talks to a system audio
// service.

#include <cstdint>
#include <vector>

// Four-character codes, packed big-end first: fourCC("lpcm") == 0x6C70636D.
constexpr uint32_t fourCC(const char (&code)[5])
{
    return (uint32_t(uint8_t(code[0])) << 24) | (uint32_t(uint8_t(code[1])) << 16) |
           (uint32_t(uint8_t(code[2])) << 8) | uint32_t(uint8_t(code[3]));
}

// Audio format identifiers.
constexpr uint32_t kAudioFormatLinearPCM = fourCC("lpcm");
constexpr uint32_t kAudioFormatAppleLossless = fourCC("alac");
constexpr uint32_t kAudioFormatMPEG4AAC = fourCC("aac ");
constexpr uint32_t kAudioFormatMPEGLayer1 = fourCC(".mp1");
constexpr uint32_t kAudioFormatMPEGLayer2 = fourCC(".mp2");
constexpr uint32_t kAudioFormatMPEGLayer3 = fourCC(".mp3");
constexpr uint32_t kAudioFormatALaw = fourCC("alaw");
constexpr uint32_t kAudioFormatULaw = fourCC("ulaw");

// Format flags of linear PCM.
constexpr uint32_t kAudioFormatFlagIsFloat = 1u << 0;
constexpr uint32_t kAudioFormatFlagIsBigEndian = 1u << 1;
constexpr uint32_t kAudioFormatFlagIsSignedInteger = 1u << 2;
constexpr uint32_t kAudioFormatFlagIsPacked = 1u << 3;
constexpr uint32_t kAudioFormatFlagIsAlignedHigh = 1u << 4;
constexpr uint32_t kAudioFormatFlagIsNonInterleaved = 1u << 5;
constexpr uint32_t kAudioFormatFlagIsNonMixable = 1u << 6;
// Signed integer, packed, native (little-endian) byte order: what every
// decoder delivers.
constexpr uint32_t kLinearPCMFormatFlagsSignedPacked = kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked;
static_assert(kLinearPCMFormatFlagsSignedPacked == 12);

// Flags of an Apple Lossless stream description: the source bit depth.
constexpr uint32_t kAppleLosslessFormatFlag_16BitSourceData = 1;
constexpr uint32_t kAppleLosslessFormatFlag_20BitSourceData = 2;
constexpr uint32_t kAppleLosslessFormatFlag_24BitSourceData = 3;
constexpr uint32_t kAppleLosslessFormatFlag_32BitSourceData = 4;

// 40 bytes, field for field.
struct AudioStreamBasicDescription
{
    double mSampleRate = 0;
    uint32_t mFormatID = 0;
    uint32_t mFormatFlags = 0;
    uint32_t mBytesPerPacket = 0;
    uint32_t mFramesPerPacket = 0;
    uint32_t mBytesPerFrame = 0;
    uint32_t mChannelsPerFrame = 0;
    uint32_t mBitsPerChannel = 0;
    uint32_t mReserved = 0;

    bool operator==(const AudioStreamBasicDescription&) const = default;
};
static_assert(sizeof(AudioStreamBasicDescription) == 40);

struct AudioBuffer
{
    uint32_t mNumberChannels = 0;
    uint32_t mDataByteSize = 0;
    void* mData = nullptr;
};

// A count followed by that many buffers; callers that need one buffer use it
// as declared, interleaved data lives in mBuffers[0].
struct AudioBufferList
{
    uint32_t mNumberBuffers = 0;
    AudioBuffer mBuffers[1];
};

// Layout tags: (index << 16) | number of channels.
enum AudioChannelLayoutTag : uint32_t {
    kAudioChannelLayoutTag_UseChannelDescriptions = 0,
    kAudioChannelLayoutTag_UseChannelBitmap = 1u << 16,
    kAudioChannelLayoutTag_Mono = (100u << 16) | 1,
    kAudioChannelLayoutTag_Stereo = (101u << 16) | 2,
    kAudioChannelLayoutTag_StereoHeadphones = (102u << 16) | 2,
    kAudioChannelLayoutTag_MatrixStereo = (103u << 16) | 2,
    kAudioChannelLayoutTag_MidSide = (104u << 16) | 2,
    kAudioChannelLayoutTag_XY = (105u << 16) | 2,
    kAudioChannelLayoutTag_Binaural = (106u << 16) | 2,
    kAudioChannelLayoutTag_Ambisonic_B_Format = (107u << 16) | 4,
    kAudioChannelLayoutTag_Quadraphonic = (108u << 16) | 4,
    kAudioChannelLayoutTag_Pentagonal = (109u << 16) | 5,
    kAudioChannelLayoutTag_Hexagonal = (110u << 16) | 6,
    kAudioChannelLayoutTag_Octagonal = (111u << 16) | 8,
    kAudioChannelLayoutTag_Cube = (112u << 16) | 8,
    kAudioChannelLayoutTag_MPEG_3_0_A = (113u << 16) | 3,
    kAudioChannelLayoutTag_MPEG_3_0_B = (114u << 16) | 3,
    kAudioChannelLayoutTag_MPEG_4_0_A = (115u << 16) | 4,
    kAudioChannelLayoutTag_MPEG_4_0_B = (116u << 16) | 4,
    kAudioChannelLayoutTag_MPEG_5_0_A = (117u << 16) | 5,
    kAudioChannelLayoutTag_MPEG_5_0_B = (118u << 16) | 5,
    kAudioChannelLayoutTag_MPEG_5_0_C = (119u << 16) | 5,
    kAudioChannelLayoutTag_MPEG_5_0_D = (120u << 16) | 5,
    kAudioChannelLayoutTag_MPEG_5_1_A = (121u << 16) | 6,
    kAudioChannelLayoutTag_MPEG_5_1_B = (122u << 16) | 6,
    kAudioChannelLayoutTag_MPEG_5_1_C = (123u << 16) | 6,
    kAudioChannelLayoutTag_MPEG_5_1_D = (124u << 16) | 6,
    kAudioChannelLayoutTag_MPEG_6_1_A = (125u << 16) | 7,
    kAudioChannelLayoutTag_MPEG_7_1_A = (126u << 16) | 8,
    kAudioChannelLayoutTag_MPEG_7_1_B = (127u << 16) | 8,
    kAudioChannelLayoutTag_MPEG_7_1_C = (128u << 16) | 8,
    kAudioChannelLayoutTag_Emagic_Default_7_1 = (129u << 16) | 8,
    kAudioChannelLayoutTag_SMPTE_DTV = (130u << 16) | 8,
    kAudioChannelLayoutTag_DVD_4 = (133u << 16) | 3,
    kAudioChannelLayoutTag_DVD_5 = (134u << 16) | 4,
    kAudioChannelLayoutTag_DVD_6 = (135u << 16) | 5,
    kAudioChannelLayoutTag_DVD_10 = (136u << 16) | 4,
    kAudioChannelLayoutTag_DVD_11 = (137u << 16) | 5,
    kAudioChannelLayoutTag_DVD_18 = (138u << 16) | 5,
    kAudioChannelLayoutTag_AAC_6_0 = (141u << 16) | 6,
    kAudioChannelLayoutTag_AAC_6_1 = (142u << 16) | 7,
    kAudioChannelLayoutTag_AAC_7_0 = (143u << 16) | 7,
    kAudioChannelLayoutTag_AAC_Octagonal = (144u << 16) | 8,
    kAudioChannelLayoutTag_Unknown = 0xFFFF0000u,
};
static_assert(kAudioChannelLayoutTag_Mono == 0x640001 && kAudioChannelLayoutTag_MPEG_7_1_C == 0x800008 &&
              kAudioChannelLayoutTag_DVD_11 == 0x890005);

// Number of channels a tag names (its low 16 bits).
constexpr uint32_t channelCountOfLayoutTag(uint32_t tag) { return tag & 0xFFFFu; }

// Channel bitmap bits, for layouts that use kAudioChannelLayoutTag_UseChannelBitmap.
enum AudioChannelBit : uint32_t {
    kAudioChannelBit_Left = 1u << 0,
    kAudioChannelBit_Right = 1u << 1,
    kAudioChannelBit_Center = 1u << 2,
    kAudioChannelBit_LFEScreen = 1u << 3,
    kAudioChannelBit_LeftSurround = 1u << 4,
    kAudioChannelBit_RightSurround = 1u << 5,
    kAudioChannelBit_LeftCenter = 1u << 6,
    kAudioChannelBit_RightCenter = 1u << 7,
    kAudioChannelBit_CenterSurround = 1u << 8,
    kAudioChannelBit_LeftSurroundDirect = 1u << 9,
    kAudioChannelBit_RightSurroundDirect = 1u << 10,
    kAudioChannelBit_TopCenterSurround = 1u << 11,
};

// Channel labels used in channel descriptions.
enum AudioChannelLabel : uint32_t {
    kAudioChannelLabel_Unknown = 0xFFFFFFFFu,
    kAudioChannelLabel_Unused = 0,
    kAudioChannelLabel_Left = 1,
    kAudioChannelLabel_Right = 2,
    kAudioChannelLabel_Center = 3,
    kAudioChannelLabel_LFEScreen = 4,
    kAudioChannelLabel_LeftSurround = 5,
    kAudioChannelLabel_RightSurround = 6,
    kAudioChannelLabel_LeftCenter = 7,
    kAudioChannelLabel_RightCenter = 8,
    kAudioChannelLabel_CenterSurround = 9,
    kAudioChannelLabel_LeftSurroundDirect = 10,
    kAudioChannelLabel_RightSurroundDirect = 11,
    kAudioChannelLabel_TopCenterSurround = 12,
    kAudioChannelLabel_RearSurroundLeft = 33,
    kAudioChannelLabel_RearSurroundRight = 34,
};

struct AudioChannelDescription
{
    uint32_t mChannelLabel = 0;
    uint32_t mChannelFlags = 0;
    float mCoordinates[3] = {0, 0, 0};
};
static_assert(sizeof(AudioChannelDescription) == 20);

// A layout: a tag, a bitmap (meaningful with UseChannelBitmap) and, with
// UseChannelDescriptions, one description per channel. The descriptions live
// in a vector instead of trailing the header, so the record owns its memory.
struct AudioChannelLayout
{
    uint32_t mChannelLayoutTag = kAudioChannelLayoutTag_Unknown;
    uint32_t mChannelBitmap = 0;
    std::vector<AudioChannelDescription> mChannelDescriptions;

    uint32_t numberChannelDescriptions() const { return uint32_t(mChannelDescriptions.size()); }

    static AudioChannelLayout withTag(uint32_t tag) { return AudioChannelLayout{tag, 0, {}}; }
    // A UseChannelDescriptions layout whose channels carry the given labels.
    static AudioChannelLayout withLabels(const std::vector<uint32_t>& labels)
    {
        AudioChannelLayout layout{kAudioChannelLayoutTag_UseChannelDescriptions, 0, {}};
        for (uint32_t label : labels) {
            layout.mChannelDescriptions.push_back(AudioChannelDescription{label, 0, {0, 0, 0}});
        }
        return layout;
    }
};
