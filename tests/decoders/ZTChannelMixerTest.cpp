#include "ZTChannelMixer.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

namespace {

AudioStreamBasicDescription integerFormat(uint32_t channels, uint32_t bytes)
{
    AudioStreamBasicDescription format;
    format.mSampleRate = 44100;
    format.mFormatID = kAudioFormatLinearPCM;
    format.mFormatFlags = kLinearPCMFormatFlagsSignedPacked;
    format.mChannelsPerFrame = channels;
    format.mBitsPerChannel = bytes * 8;
    format.mBytesPerFrame = bytes * channels;
    format.mBytesPerPacket = format.mBytesPerFrame;
    format.mFramesPerPacket = 1;
    return format;
}

template <class T> AudioBufferList listOf(std::vector<T>& samples, uint32_t channels)
{
    AudioBufferList list;
    list.mNumberBuffers = 1;
    list.mBuffers[0] = AudioBuffer{channels, uint32_t(samples.size() * sizeof(T)), samples.data()};
    return list;
}

std::unique_ptr<ZTChannelMixer> mixer16(uint32_t tagIn, uint32_t tagOut)
{
    return ZTChannelMixer::create(integerFormat(channelCountOfLayoutTag(tagIn), 2),
                                  integerFormat(channelCountOfLayoutTag(tagOut), 2),
                                  AudioChannelLayout::withTag(tagIn), AudioChannelLayout::withTag(tagOut));
}

// Mixes interleaved 16-bit samples in one call.
std::vector<int16_t> mix(ZTChannelMixer& mixer, std::vector<int16_t> in)
{
    const uint32_t frames = uint32_t(in.size() / mixer.sourceChannels());
    std::vector<int16_t> out(size_t(frames) * mixer.destinationChannels(), 0x5A5A);
    AudioBufferList from = listOf(in, mixer.sourceChannels());
    AudioBufferList to = listOf(out, mixer.destinationChannels());
    EXPECT_EQ(mixer.mixFrom(&from, &to, frames), noErr);
    EXPECT_EQ(to.mBuffers[0].mDataByteSize, out.size() * sizeof(int16_t));
    return out;
}

TEST(ZTChannelMixer, StereoToMonoOfAFullScaleLeftChannelGivesMinus3dB)
{
    auto mixer = mixer16(kAudioChannelLayoutTag_Stereo, kAudioChannelLayoutTag_Mono);
    ASSERT_NE(mixer, nullptr);
    EXPECT_FLOAT_EQ(mixer->masterGain(), 0.70710677f);
    std::vector<int16_t> in;
    for (int i = 0; i < 64; ++i) {
        in.insert(in.end(), {int16_t(i % 2 ? 32767 : -32768), 0});
    }
    const std::vector<int16_t> out = mix(*mixer, in);
    for (size_t i = 0; i < out.size(); ++i) {
        EXPECT_NEAR(out[i], in[2 * i] * 0.70710677 * mixer->crosspoint(0, 0), 1.0) << i;
    }
    EXPECT_EQ(out[1], 23170);
}

// Zero frames, and too small a destination, write nothing.
TEST(ZTChannelMixer, MonoToStereoCopiesTheChannelAndZeroFramesTouchNothing)
{
    auto mixer = mixer16(kAudioChannelLayoutTag_Mono, kAudioChannelLayoutTag_Stereo);
    ASSERT_NE(mixer, nullptr);
    EXPECT_FLOAT_EQ(mixer->masterGain(), 1.0f);
    std::vector<int16_t> in{-32768, -1, 0, 1, 12345, 32767};
    std::vector<int16_t> out(4, 0x5A5A);
    AudioBufferList from = listOf(in, 1);
    AudioBufferList to = listOf(out, 2);
    EXPECT_EQ(mixer->mixFrom(&from, &to, 0), noErr);
    EXPECT_EQ(to.mBuffers[0].mDataByteSize, 8u);
    EXPECT_EQ(mixer->mixFrom(&from, &to, 3), ZTChannelMixer::kParameterError);
    EXPECT_EQ(out, std::vector<int16_t>(4, 0x5A5A));
    EXPECT_EQ(mixer->sampleTime(), 0.0);

    out = mix(*mixer, in);
    for (size_t i = 0; i < in.size(); ++i) {
        EXPECT_EQ(out[2 * i], in[i]);
        EXPECT_EQ(out[2 * i + 1], in[i]);
    }
}

// A 5.1 block of several slices, mixed at once, equals the same frames mixed
// call by call in odd pieces, and each frame follows the down-mix weights.
TEST(ZTChannelMixer, BlocksLongerThanASliceComeOutContinuous)
{
    auto whole = mixer16(kAudioChannelLayoutTag_MPEG_5_1_A, kAudioChannelLayoutTag_Stereo);
    auto pieces = mixer16(kAudioChannelLayoutTag_MPEG_5_1_A, kAudioChannelLayoutTag_Stereo);
    ASSERT_NE(whole, nullptr);
    const uint32_t frames = 3 * ZTChannelMixer::kMaximumFramesPerSlice + 123;
    std::vector<int16_t> in(size_t(frames) * 6);
    for (size_t i = 0; i < in.size(); ++i) {
        in[i] = int16_t(std::lround(8000.0 * std::sin(double(i) * 0.013 + double(i % 6))));
    }
    const std::vector<int16_t> out = mix(*whole, in);
    EXPECT_EQ(whole->sampleTime(), double(frames));
    EXPECT_EQ(whole->currentFrame(), frames);

    std::vector<int16_t> joined;
    for (size_t start = 0; start < frames;) {
        const size_t piece = std::min<size_t>(1531, frames - start);
        const std::vector<int16_t> part =
            mix(*pieces,
                std::vector<int16_t>(in.begin() + long(start * 6), in.begin() + long((start + piece) * 6)));
        joined.insert(joined.end(), part.begin(), part.end());
        start += piece;
    }
    EXPECT_EQ(joined, out);

    // L R C LFE Ls Rs: the centre and each surround at -3 dB, no LFE.
    const double k = 0.70710677;
    for (size_t f = 0; f < frames; ++f) {
        const int16_t* s = &in[f * 6];
        ASSERT_NEAR(out[2 * f], s[0] + k * s[2] + k * s[4], 1.0) << f;
        ASSERT_NEAR(out[2 * f + 1], s[1] + k * s[2] + k * s[5], 1.0) << f;
    }
}

// Sums beyond full scale clip at the ends of the destination's range instead
// of wrapping round, at every sample width.
TEST(ZTChannelMixer, LoudSumsClipAtEveryWidth)
{
    for (uint32_t bytes : {1u, 2u, 3u, 4u}) {
        auto mixer = ZTChannelMixer::create(integerFormat(6, bytes), integerFormat(2, bytes),
                                            AudioChannelLayout::withTag(kAudioChannelLayoutTag_MPEG_5_1_A),
                                            AudioChannelLayout::withTag(kAudioChannelLayoutTag_Stereo));
        ASSERT_NE(mixer, nullptr);
        const int64_t top = (int64_t(1) << (8 * bytes - 1)) - 1;
        // Frame 0 all at the top, frame 1 all at the bottom, frame 2 left only at -1/4.
        std::vector<int64_t> values(18, 0);
        std::fill(values.begin(), values.begin() + 6, top);
        std::fill(values.begin() + 6, values.begin() + 12, -top - 1);
        values[12] = -(top + 1) / 4;
        std::vector<uint8_t> in(values.size() * bytes);
        for (size_t i = 0; i < in.size(); ++i) {
            in[i] = uint8_t(uint64_t(values[i / bytes]) >> (8 * (i % bytes)));
        }
        std::vector<uint8_t> out(6 * bytes, 0);
        AudioBufferList from = listOf(in, 6);
        AudioBufferList to = listOf(out, 2);
        ASSERT_EQ(mixer->mixFrom(&from, &to, 3), noErr);
        std::vector<int64_t> mixed(6, 0);
        for (size_t i = 0; i < out.size(); ++i) {
            mixed[i / bytes] |= int64_t(out[i]) << (8 * (i % bytes));
        }
        for (int64_t& sample : mixed) {
            sample = int64_t(uint64_t(sample) << (64 - 8 * bytes)) >> (64 - 8 * bytes);
        }
        EXPECT_EQ(mixed, (std::vector<int64_t>{top, top, -top - 1, -top - 1, -(top + 1) / 4, 0})) << bytes;
    }
}

} // namespace
